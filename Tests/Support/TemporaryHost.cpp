#include "Support/TemporaryHost.h"

#include <stdexcept>

#include "Application/HostInstances.h"
#include "BundleLoader.h"
#include "ComposeWindow.h"
#include "DeliveryService.h"
#include "Foundation/DateFormatter.h"
#include "Foundation/FileSystem.h"
#include "Foundation/RunLoop.h"
#include "MailApplication.h"
#include "MailEngine.h"
#include "MailSync.h"
#include "MainViewer.h"
#include "Platform.h"
#include "Settings/UserDefaults.h"
#include "Support/TestMachine.h"

namespace qs {
namespace {

template <class T>
T valueOf(Result<T> result) {
    if (!result) throw std::runtime_error(result.error().description);
    if constexpr (!std::is_void_v<T>) return std::move(*result);
}

}  // namespace

AccountRecord localAccount(std::string identifier, std::string fullName, std::string address) {
    AccountRecord record;
    record.identifier = std::move(identifier);
    record.displayName = address;
    record.identities = {{std::move(fullName), std::move(address)}};
    return record;
}

// In the order of making; undone by hand in shutDown().
struct TemporaryHost::Running {
    std::unique_ptr<RunLoop> loop;
    ClassRegistry registry;
    std::unique_ptr<MailEngine> engine;
    std::shared_ptr<MailApplication> application;
    BundleLoader bundles;
};

TemporaryHost::TemporaryHost(TemporaryHostOptions options) : options_(std::move(options)), now_(options_.start) {
    if (options_.accounts.empty() && !options_.noAccounts)
        options_.accounts = {localAccount("ada", "Ada Lovelace", "ada@example.org"),
                             localAccount("ben", "Ben Nevis", "ben@example.org")};
    auto book = valueOf(AccountBook::open(folder_ / "Accounts.plist", FileSystem::real()));
    for (const AccountRecord& account : options_.accounts)
        valueOf(book->put(account));
    start();
}

TemporaryHost::~TemporaryHost() { shutDown(); }

void TemporaryHost::start() {
    if (running_) return;
    try {
        startAll();
    } catch (...) {
        // What stands of a host that can't start is in nobody's way afterwards.
        HostInstances::current() = {};
        running_.reset();
        Platform::install({});
        throw;
    }
}

void TemporaryHost::startAll() {
    setDefaultTimeZone(options_.timeZone);
    Platform platform;
    platform.processInfo = std::make_shared<TestMachine>(folder_.path(), options_.osMinor);
    if (options_.preparePlatform) options_.preparePlatform(platform);
    Platform::install(std::move(platform));

    running_ = std::make_unique<Running>();
    running_->loop = RunLoop::make(RunLoop::Clock::Virtual, now_);
    UserDefaults::setFolder(folder_ / "Settings");
    if (options_.prepareSettings) options_.prepareSettings();

    running_->engine = valueOf(MailEngine::open({.dataFolder = folder_.path(), .files = options_.files}));
    running_->application = MailApplication::make(*running_->engine);
    bundleErrors_.clear();
    if (!options_.plugIn.empty()) {
        // The loader takes folders of bundles, so this one gets a folder of its own.
        const auto folder = folder_ / "Bundles";
        std::filesystem::create_directories(folder);
        std::error_code ignored;
        std::filesystem::create_directory_symlink(std::filesystem::absolute(options_.plugIn),
                                                  folder / options_.plugIn.filename(), ignored);
        bundleErrors_ = running_->bundles.loadAll({folder});
    }
    running_->application->finishLaunching();
    if (options_.startDeliveries) running_->engine->deliveries().start();
    running_->engine->sync().start();
    settle();
}

void TemporaryHost::shutDown() {
    if (!running_) return;
    running_->application->terminate();
    running_->engine->deliveries().stop();
    settle();
    running_->bundles.unloadAll();
    running_->application.reset();
    running_->engine.reset();
    HostInstances::current() = {};
    valueOf(UserDefaults::synchronizeAll());
    now_ = running_->loop->now();
    running_->loop.reset();
    running_.reset();
    Platform::install({});
    setDefaultTimeZone({});
}

void TemporaryHost::restart() {
    shutDown();
    start();
}

RunLoop& TemporaryHost::loop() { return *running_->loop; }
void TemporaryHost::advance(TimeInterval seconds) { loop().advance(seconds); }
void TemporaryHost::settle() { loop().runUntilIdle(); }
MailEngine& TemporaryHost::engine() { return *running_->engine; }
MailLibrary& TemporaryHost::library() { return engine().library(); }
MailApplication& TemporaryHost::application() { return *running_->application; }
MainViewer& TemporaryHost::viewer() { return application().viewer(); }
BundleLoader& TemporaryHost::bundles() { return running_->bundles; }
const std::vector<std::string>& TemporaryHost::bundleErrors() const { return bundleErrors_; }
const std::filesystem::path& TemporaryHost::dataFolder() const { return folder_.path(); }

std::shared_ptr<ComposeWindow> TemporaryHost::compose(std::string_view fromAccount, std::string_view to,
                                                      std::string_view subject, std::string_view body) {
    ComposeRequest request;
    request.account = fromAccount;
    if (!to.empty()) request.to = {std::string(to)};
    request.subject = subject;
    request.plainBody = body;
    auto window = valueOf(ComposeWindow::open(application(), request));
    settle();
    return window;
}

void TemporaryHost::composeAndSend(std::string_view fromAccount, std::string_view to, std::string_view subject,
                                   std::string_view body) {
    compose(fromAccount, to, subject, body)->send();
    settle();
}

MessageRef TemporaryHost::receive(std::string_view account, std::string_view from, std::string_view subject,
                                  std::string_view body, MailboxKind kind, std::string_view extraHeaders) {
    const AccountRecord* record = engine().accounts().find(account);
    if (!record) throw std::runtime_error("No account " + std::string(account));
    const Date now = loop().now();
    std::string content =
        "From: " + std::string(from) + "\r\nTo: " + record->mainAddress() + "\r\nSubject: " + std::string(subject) +
        "\r\nDate: " + formatDate(now, {.pattern = "EEE, dd MMM yyyy HH:mm:ss Z"}) + "\r\nMessage-Id: <received-" +
        std::to_string(++received_) + "@example.org>\r\n" + std::string(extraHeaders) +
        "MIME-Version: 1.0\r\nContent-Type: text/plain; charset=utf-8" + "\r\n\r\n" + std::string(body) + "\r\n";
    const auto mailbox = library().mailbox(account, kind, true);
    if (!mailbox) throw std::runtime_error("No such mailbox of " + std::string(account));
    auto message = valueOf(library().add(*mailbox, content, {}, now));
    settle();
    return message;
}

std::vector<MessageSummary> TemporaryHost::messagesOf(std::string_view account, MailboxKind kind) {
    const auto mailbox = library().mailbox(account, kind, false);
    if (!mailbox) return {};
    return library().page(mailbox->criterion(), {}, 0, 500).rows;
}

}  // namespace qs
