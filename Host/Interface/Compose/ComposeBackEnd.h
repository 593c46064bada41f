// What stands behind a compose window: the message as it is being written.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "Foundation/Runtime.h"
#include "Mail/Message.h"

namespace qs {

class MailAccount;
class MessageHeaders;
class OpenFile;

enum class ComposeMode { New, Reply, ReplyAll, Forward, Draft };

struct ComposeAttachment {
    std::string identifier;  // unique within the window, also the content id of a picture in the body
    std::string fileName, mimeType;
    std::uint64_t size = 0;      // bytes
    std::filesystem::path file;  // where the content lies while the window is open
    bool isInline = false;
};

// A finished message, ready for a mailbox or a server: the octets with CR LF line ends. Large attachments are not among
// them, only the places where they belong.
struct OutgoingMessage {
    std::shared_ptr<MessageHeaders> headers;
    std::string content;
    struct LargePart {
        std::size_t place = 0;                 // in `content`
        std::shared_ptr<const OpenFile> file;  // written there in Base64
    };
    std::vector<LargePart> largeParts = {};  // in the order of their places
};

// The body as the editor holds it.
struct ComposeContents {
    std::string html, plainText;
    std::vector<ComposeAttachment> attachments;
};

class MessageWriter;  // the host's; opaque to a plug-in

class ComposeBackEnd : public HostObject {
public:
    using HostObject::HostObject;  // class "ComposeBackEnd"

    // The draft or held message that the window edits; null for a message written anew.
    virtual MessageRef originalMessage() const = 0;
    virtual std::shared_ptr<MessageHeaders> originalMessageHeaders() const = 0;  // null likewise
    virtual std::vector<ComposeAttachment> attachments() const = 0;
    virtual std::string subject() const = 0;
    virtual ComposeMode composeMode() const = 0;
    virtual std::shared_ptr<MailAccount> deliveryAccount() const = 0;
};

namespace compose_back_end {
// Exchangeable; called for drafts, autosaves and sends alike. `headers` are those of the message to be, to be changed
// before the host's own code builds the message from them.
inline const Operation<std::shared_ptr<OutgoingMessage>(MessageWriter& writer, const ComposeContents& contents,
                                                        std::shared_ptr<MessageHeaders> headers, bool isDraft,
                                                        bool shouldBePlainText)>
    newOutgoingMessage{"newOutgoingMessageUsingWriter:contents:headers:isDraft:shouldBePlainText:"};
}  // namespace compose_back_end

// What the host reports once a message stands in the outbox.
struct OutboxAppendResult {
    MessageRef message;
    std::shared_ptr<MailAccount> account;
};

}  // namespace qs
