#include "ComposeSupport.h"

#include <cerrno>

#include "Foundation/RunLoop.h"
#include "Html/HtmlDocument.h"
#include "Mail/MessageHeaders.h"
#include "MailApplication.h"
#include "Mime/MimeMessage.h"
#include "Models/Alert.h"
#include "Models/ModelChanges.h"
#include "Text/Escapes.h"

namespace qs {
namespace {

bool isBelow(const std::filesystem::path& file, const std::string& part) {
    return !part.empty() && file.string().find(part) != std::string::npos;
}

tl::unexpected<Error> diskError(int code) {
    return failure(std::string(kFileErrorDomain), code, "There is no space left on the disk.");
}

}  // namespace

void FailingDisk::fillUp(std::string part) {
    const std::lock_guard hold(lock_);
    full_ = std::move(part);
}

void FailingDisk::keepAll(std::string part) {
    const std::lock_guard hold(lock_);
    kept_ = std::move(part);
}

void FailingDisk::failAt(int step, bool lasting) {
    const std::lock_guard hold(lock_);
    steps_ = 0;
    failingStep_ = step;
    lasting_ = lasting;
}

bool FailingDisk::fails(const std::filesystem::path& file, const std::string& part) {
    const std::lock_guard hold(lock_);
    const int step = ++steps_;
    const bool isStep = failingStep_ > 0 && (step == failingStep_ || (lasting_ && step > failingStep_));
    return isStep || isBelow(file, part);
}

Result<void> FailingDisk::writeNew(const std::filesystem::path& f, std::string_view c) {
    if (fails(f, full_)) return diskError(ENOSPC);
    return real().writeNew(f, c);
}

Result<void> FailingDisk::append(const std::filesystem::path& f, std::string_view c) {
    if (fails(f, full_)) return diskError(ENOSPC);
    return real().append(f, c);
}

Result<void> FailingDisk::rename(const std::filesystem::path& a, const std::filesystem::path& b) {
    if (fails(a, {})) return diskError(EIO);
    return real().rename(a, b);
}

Result<void> FailingDisk::renameNew(const std::filesystem::path& a, const std::filesystem::path& b) {
    if (fails(a, {})) return diskError(EIO);
    return real().renameNew(a, b);
}

Result<void> FailingDisk::remove(const std::filesystem::path& f) {
    if (fails(f, kept_)) return diskError(EIO);
    return real().remove(f);
}

Result<void> FailingDisk::syncFolder(const std::filesystem::path& f) {
    if (fails(f, {})) return diskError(EIO);
    return real().syncFolder(f);
}

Result<void> FailingDisk::makeFolder(const std::filesystem::path& f) {
    if (fails(f, {})) return diskError(EIO);
    return real().makeFolder(f);
}

void ComposeJourney::start(TemporaryHostOptions options) {
    alerts.reset();
    host.reset();
    options.files = &disk;
    host = std::make_unique<TemporaryHost>(std::move(options));
    alerts = std::make_unique<AlertAnswers>();
}

std::shared_ptr<ComposeWindow> ComposeJourney::open(ComposeRequest request) {
    auto opened = ComposeWindow::open(host->application(), request);
    if (!opened) {
        ADD_FAILURE() << opened.error().description;
        return nullptr;
    }
    host->settle();
    return *opened;
}

std::shared_ptr<ComposeWindow> ComposeJourney::openMessage(ComposeMode mode, MessageRef message) {
    ComposeRequest request;
    request.mode = mode;
    request.message = std::move(message);
    return open(request);
}

std::shared_ptr<ComposeWindow> ComposeJourney::openDraft(int index, MailboxKind kind) {
    const auto messages = host->messagesOf("ada", kind);
    return openMessage(ComposeMode::Draft,
                       host->library().messageWithID(messages.at(static_cast<std::size_t>(index)).id));
}

void ComposeJourney::type(ComposeWindow& window, std::string_view text) {
    ComposeUpdate update;
    update.bodyHtml = "<div>" + stringByEscapingXMLEntities(text) + "</div>";
    update.bodyRevision = window.bodyRevision();
    window.update(update);
}

std::string ComposeJourney::contentOf(const MessageSummary& message) {
    return host->library().content(message.id).value_or("");
}

std::string ComposeJourney::textOf(const MessageSummary& message) {
    return MimeMessage::parse(contentOf(message))->plainBody().value_or("(no text)");
}

std::string ComposeJourney::headerOf(const MessageSummary& message, std::string_view name) {
    return parseHeaders(contentOf(message))->firstHeaderForKey(name).value_or("(none)");
}

std::vector<std::filesystem::path> ComposeJourney::windowFolders() const {
    std::vector<std::filesystem::path> folders;
    if (const auto found = FileSystem::real().list(host->dataFolder() / "Compose"))
        for (const FileInfo& folder : *found)
            folders.push_back(folder.path);
    return folders;
}

std::size_t ComposeJourney::openWindows() const { return host->application().composeWindows().size(); }

}  // namespace qs
