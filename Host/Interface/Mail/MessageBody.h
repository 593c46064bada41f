// A message's content as a plug-in sees it: its text parts, its attachments, its source. Read anew at each call, from
// the message's file; of a message that can't be read there is none. Main thread.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Foundation/Runtime.h"

namespace qs {

class MessageAttachment : public HostObject {
public:
    using HostObject::HostObject;                                // class "MCAttachment"
    virtual std::string filename() const = 0;                    // holds no path; never empty
    virtual std::optional<std::string> fileWrapper() const = 0;  // its content; nothing when it can't be read
};

using MessageAttachments = std::vector<std::shared_ptr<MessageAttachment>>;

// A text, or a part that has others below it.
class BodyPart : public HostObject {
public:
    using HostObject::HostObject;  // class "MFMimePart"
    // The part itself when it is a plain text, or HTML; else null.
    virtual std::shared_ptr<BodyPart> textPart() const = 0;
    virtual std::shared_ptr<BodyPart> textHtmlPart() const = 0;
    virtual std::vector<std::shared_ptr<BodyPart>> subparts() const = 0;
};

class MessageBody : public HostObject {
public:
    using HostObject::HostObject;                                     // class "MFMimeBody"
    virtual std::shared_ptr<BodyPart> preferredBodyPart() const = 0;  // null when the message has no text
    virtual MessageAttachments attachments() const = 0;
};

namespace message {
// Null or nothing when the message is gone.
inline const Operation<std::shared_ptr<MessageBody>()> messageBody{"messageBody"};        // OS minor 12 and up
inline const Operation<std::shared_ptr<MessageBody>()> cachedMimeBody{"cachedMimeBody"};  // OS minor 10 and 11
// As it lies on the disk; bytes that are no UTF-8 as if they were Latin-1.
inline const Operation<std::optional<std::string>()> rawSource{"rawSource"};
}  // namespace message

namespace body_part {
// The text; nothing for a part that is none.
inline const Operation<std::optional<std::string>()> decodedContent{"decodedContent"};    // OS minor 12 and up
inline const Operation<std::optional<std::string>()> _decodedContent{"_decodedContent"};  // OS minor 10 and 11
}  // namespace body_part

}  // namespace qs
