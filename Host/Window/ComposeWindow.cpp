#include "ComposeWindow.h"

#include "Compose/ComposeSession.h"
#include "Compose/Drafts.h"
#include "Delivery/DeliveryQueueObject.h"
#include "Foundation/FileSystem.h"
#include "MailApplication.h"
#include "MailEngine.h"
#include "MailReading.h"
#include "Mime/MessageWriter.h"

namespace qs {
namespace {

std::filesystem::path composeFolder(MailEngine& engine) { return engine.dataFolder() / "Compose"; }

// A draft that is open already is not opened twice: two windows would replace each other's versions.
std::shared_ptr<ComposeWindow> windowEditing(MailApplication& application, std::string_view uniqueID) {
    if (uniqueID.empty()) return nullptr;
    for (const auto& window : application.composeWindows())
        if (const auto session = std::dynamic_pointer_cast<ComposeSession>(window); session && session->edits(uniqueID))
            return window;
    return nullptr;
}

// Of a draft the newest version, should a crash have left several.
MessageRef newestVersion(MailEngine& engine, const MessageRef& message, const std::string& uniqueID) {
    const auto mailbox = message->mailbox();
    if (uniqueID.empty() || !mailbox || mailbox->kind() != MailboxKind::Drafts) return message;
    settleDoubleDrafts(engine.library(), engine.accounts(), uniqueID);
    const auto drafts = messagesWithUniqueID(engine.library(), engine.accounts(), MailboxKind::Drafts, uniqueID);
    const auto newest = drafts.empty() ? nullptr : engine.library().messageWithID(drafts.front().id);
    return newest ? newest : message;
}

}  // namespace

void ComposeWindow::defineClasses() {
    HeadersEditorObject::defineClass();
    ComposeBackEndObject::defineClass();
    ComposeControllerObject::defineClasses();
    // In the oldest version the compose controller's class also tells of failed deliveries.
    if (!hasWindowController())
        ClassRegistry::current()
            .define("DocumentEditor")
            .addClassMethod(delivery_queue::handleFailedDelivery,
                            [](Class&, std::shared_ptr<Message> message, const Error& error) {
                                reportFailedDelivery(message, error);
                            });
}

Result<std::shared_ptr<ComposeWindow>> ComposeWindow::open(MailApplication& application,
                                                           const ComposeRequest& request) {
    MailEngine& engine = application.engine();
    ComposeRequest settled = request;
    if (request.mode == ComposeMode::Draft && request.message) {
        const auto summary = engine.library().summary(request.message->libraryID());
        const std::string uniqueID = summary ? summary->uniqueID : std::string();
        if (auto open = windowEditing(application, uniqueID)) {
            application.bringToFront(open->window()->identifier());
            return open;
        }
        settled.message = newestVersion(engine, request.message, uniqueID);
    }
    const auto attachments =
        std::make_shared<AttachmentFolder>(engine.files(), composeFolder(engine) / newUniqueIdentifier());
    auto start = startOf(settled, engine, *attachments);
    if (!start) {
        attachments->erase();
        return failed(start);
    }
    const auto session = std::make_shared<ComposeSession>(application, std::move(*start), attachments);
    session->begin();
    return session;
}

void ComposeWindow::recover(MailApplication& application) {
    std::vector<std::filesystem::path> folders;
    if (const auto found = application.engine().files().list(composeFolder(application.engine())))
        for (const FileInfo& folder : *found)
            if (folder.isFolder) folders.push_back(folder.path);
    MailReading::of(application.engine().library()).whenReadIn([weak = application.weak_from_this(), folders] {
        const auto present = std::static_pointer_cast<MailApplication>(weak.lock());
        if (!present) return;
        settleDoubleDrafts(present->engine().library(), present->engine().accounts());
        if (folders.empty()) return;
        // In a turn of its own, when the deliveries have settled what a crash left of theirs.
        RunLoop::main().post([weak, folders] {
            const auto alive = std::static_pointer_cast<MailApplication>(weak.lock());
            if (!alive) return;
            settleSends(alive->engine(), folders, [&](std::string sentence) { alive->addNotice(std::move(sentence)); });
        });
    });
}

}  // namespace qs
