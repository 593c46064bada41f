// Builds the octets of a message from headers and contents: text/plain, or multipart/alternative with HTML, inline
// pictures as multipart/related, attachments as multipart/mixed. CR LF line ends, 7-bit clean, lines within 998 octets.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "Compose/ComposeBackEnd.h"
#include "Foundation/ByteSource.h"
#include "Foundation/Date.h"
#include "Foundation/Result.h"

namespace qs {

class MessageWriter {
public:
    // Adds what is missing of Date (now), Message-Id, MIME-Version and X-Universally-Unique-Identifier to `headers`;
    // leaves what is there. Draft and sent form alike keep Bcc and the unique id; transmittedForm() cuts them.
    // Fails when an attachment can't be read.
    Result<std::shared_ptr<OutgoingMessage>> write(const ComposeContents& contents,
                                                   std::shared_ptr<MessageHeaders> headers, bool isDraft,
                                                   bool shouldBePlainText, Date now) const;
};

// All of a message, with its large parts. The message must outlive it.
ByteSource sourceOf(const OutgoingMessage& message);
// What goes to a server or another's inbox: without Bcc and the unique id, every line ended by CR LF.
std::string transmittedForm(std::string_view content);
ByteSource transmittedForm(ByteSource content);
// A new Message-Id without brackets, in the domain of the address.
std::string newMessageID(std::string_view fromAddress);
std::string newUniqueIdentifier();  // an upper-case UUID

}  // namespace qs
