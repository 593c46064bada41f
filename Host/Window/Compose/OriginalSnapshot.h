// A message as it was when a compose window was opened from it. The library's own object loses its file as soon as a
// new version of the draft replaces it, and what depends on its headers (a schedule above all) must not get lost with
// it.
#pragma once

#include "Mail/Message.h"

namespace qs {

class OriginalSnapshot final : public Message {
public:
    // Null when the message can't be read.
    static std::shared_ptr<OriginalSnapshot> of(const MessageRef& message);
    OriginalSnapshot(const Message& message, std::shared_ptr<MessageHeaders> headers);

    std::int64_t libraryID() const override { return libraryID_; }
    std::shared_ptr<MessageHeaders> headers() const override { return headers_; }
    std::shared_ptr<MessageHeaders> headersIfAvailable() const override { return headers_; }
    std::string messageID() const override { return messageID_; }
    std::string subject() const override { return subject_; }
    std::string from() const override { return from_; }
    std::string to() const override { return to_; }
    int priority() const override { return priority_; }
    Date dateReceived() const override { return dateReceived_; }
    Date dateSent() const override { return dateSent_; }
    MessageFlags flags() const override { return flags_; }
    std::shared_ptr<Mailbox> mailbox() const override { return mailbox_; }
    std::shared_ptr<MailAccount> account() const override { return account_; }
    std::uint64_t messageSize() const override { return messageSize_; }
    int numberOfAttachments() const override { return numberOfAttachments_; }
    std::string snippet() const override { return snippet_; }

private:
    const std::shared_ptr<MessageHeaders> headers_;
    const std::int64_t libraryID_;
    const std::string messageID_, subject_, from_, to_, snippet_;
    const int priority_, numberOfAttachments_;
    const Date dateReceived_, dateSent_;
    const MessageFlags flags_;
    const std::shared_ptr<Mailbox> mailbox_;
    const std::shared_ptr<MailAccount> account_;
    const std::uint64_t messageSize_;
};

}  // namespace qs
