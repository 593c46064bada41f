// One compose window in all its pieces: the controller (and, from OS minor 11 on, a window controller), back end,
// headers editor, body editor, toolbar; drafts with autosave. The page's view of it goes through this one class.
//
// Main thread only.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Compose/ComposeController.h"
#include "Foundation/ByteSource.h"
#include "Foundation/Result.h"
#include "Models/Form.h"

namespace qs {

class MailApplication;
class OpenFile;

struct ComposeRequest {
    ComposeMode mode = ComposeMode::New;
    MessageRef message;           // replied to, forwarded, or the draft to edit
    std::vector<std::string> to;  // display forms
    std::vector<std::string> cc, bcc;
    std::string subject, plainBody;  // of a mailto: address
    std::string account;             // identifier; empty: chosen by the message or the first
};

// What the page changed; what is not set stays.
struct ComposeUpdate {
    std::optional<std::string> account;  // as sender() names it
    std::optional<std::string> subject, bodyHtml;
    std::optional<std::vector<std::string>> to, cc, bcc;
    std::optional<bool> plainText;
    int bodyRevision = 0;  // that the page's HTML grew from; older than ours: the body is ignored
};

struct ComposeRow {
    std::string identifier, place;  // place: "subject", "content" or "status"
    std::shared_ptr<class HeaderRow> row;
};

class ComposeWindow {
public:
    virtual ~ComposeWindow() = default;
    // Defines the host classes of compose windows by OS minor. Once for each registry, by MailApplication::make.
    static void defineClasses();
    // The window is one of the application's, in front, when this returns.
    static Result<std::shared_ptr<ComposeWindow>> open(MailApplication& application, const ComposeRequest& request);
    // Settles what a crash left: attachments of windows that are gone, a draft beside the newer one that replaced it,
    // the draft of a message that already stands in the outbox. Once, by MailApplication::make, before any window
    // opens.
    static void recover(MailApplication& application);

    virtual std::shared_ptr<ComposeController> controller() const = 0;
    virtual std::shared_ptr<Window> window() const = 0;  // identifier "compose-<n>"
    virtual std::string title() const = 0;
    virtual std::string accountIdentifier() const = 0;
    // Whom it is from: the account's identifier for its main address, "<account>/<address>" for another of its.
    virtual std::string sender() const = 0;
    virtual std::vector<std::string> to() const = 0;
    virtual std::vector<std::string> cc() const = 0;
    virtual std::vector<std::string> bcc() const = 0;
    virtual std::string subject() const = 0;
    virtual std::string bodyHtml() const = 0;
    virtual int bodyRevision() const = 0;  // grows when host or plug-in changed the body
    virtual bool isPlainText() const = 0;
    virtual std::vector<ComposeAttachment> attachments() const = 0;
    virtual std::vector<ComposeRow> extraRows() const = 0;
    virtual std::string statusText() const = 0;
    virtual bool isBusy() const = 0;

    virtual void update(const ComposeUpdate& update) = 0;
    // Answers the attachment's id.
    Result<std::string> addAttachment(std::string_view fileName, std::string_view content, bool isInline) {
        return addAttachmentFrom(fileName, content, isInline);
    }
    virtual Result<std::string> addAttachmentFrom(std::string_view fileName, const SizedSource& content,
                                                  bool isInline) = 0;
    virtual void removeAttachment(std::string_view identifier) = 0;
    virtual Result<std::shared_ptr<const OpenFile>> openAttachment(std::string_view identifier) = 0;
    // As the send button does: through the runtime, so that a plug-in's chain runs first. What is wrong (no recipients,
    // an address that can't be one, no account) comes as an alert.
    virtual void send() = 0;
    virtual Result<void> saveDraft() = 0;
    enum class Closing { Save, Discard, Ask };
    virtual void close(Closing closing) = 0;
};

}  // namespace qs
