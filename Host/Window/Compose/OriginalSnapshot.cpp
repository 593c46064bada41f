#include "Compose/OriginalSnapshot.h"

#include "Mail/MailAccount.h"
#include "Mail/Mailbox.h"
#include "Mail/MessageHeaders.h"

namespace qs {

std::shared_ptr<OriginalSnapshot> OriginalSnapshot::of(const MessageRef& message) {
    auto headers = message ? message->headers() : nullptr;
    return headers ? std::make_shared<OriginalSnapshot>(*message, std::move(headers)) : nullptr;
}

OriginalSnapshot::OriginalSnapshot(const Message& message, std::shared_ptr<MessageHeaders> headers)
    : Message(message.isa().name()),
      headers_(std::move(headers)),
      libraryID_(message.libraryID()),
      messageID_(message.messageID()),
      subject_(message.subject()),
      from_(message.from()),
      to_(message.to()),
      snippet_(message.snippet()),
      priority_(message.priority()),
      numberOfAttachments_(message.numberOfAttachments()),
      dateReceived_(message.dateReceived()),
      dateSent_(message.dateSent()),
      flags_(message.flags()),
      mailbox_(message.mailbox()),
      account_(message.account()),
      messageSize_(message.messageSize()) {}

}  // namespace qs
