#include "HostProgram.h"

#include <cstdio>
#include <memory>
#include <string>

#include "Application/HostInstances.h"
#include "BundleLoader.h"
#include "ControlCommands.h"
#include "ControlSocket.h"
#include "DataFolder.h"
#include "DeliveryService.h"
#include "Demo/DemoBackend.h"
#include "Demo/DemoData.h"
#include "Demo/DemoNewsletter.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"
#include "Foundation/Runtime.h"

#include "HostServer.h"
#include "InstanceLock.h"
#include "MailApplication.h"
#include "MailEngine.h"
#include "MailReading.h"
#include "MailSync.h"
#include "PanelItems.h"
#include "Platform.h"
#include "PlugInLink.h"
#include "Process/StopSignals.h"
#include "Settings/UserDefaults.h"
#include "StartPage.h"

#include "UninstallWatch.h"

namespace qs {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kLastPort = "LastPagePort";  // in the host's standard defaults
constexpr std::string_view kGoodbye = "Quillstead has stopped. Start it again to go on.";

void tell(const std::string& sentence) {
    std::printf("%s\n", sentence.c_str());
    std::fflush(stdout);
}

void complain(const std::string& sentence) { std::fprintf(stderr, "%s\n", sentence.c_str()); }

// In the order of making; finish() undoes it by hand.
class HostProgram {
public:
    HostProgram(const HostOptions& options, fs::path programFolder, DataFolder data)
        : options_(options), programFolder_(std::move(programFolder)), data_(std::move(data)) {}

    int run() {
        if (auto started = start(); !started) {
            complain("Quillstead can't start. " + started.error().description);
            finish();
            return 1;
        }
        if (!loop_->isStopped()) loop_->run();
        return finish() ? 0 : 1;
    }

private:
    Result<void> start() {
        DDTTYLogger::sharedInstance()->setMostDetailed(options_.verbose ? LogLevel::Debug : LogLevel::Warning);
        DDLog::addLogger(DDTTYLogger::sharedInstance());
        loop_ = RunLoop::make(options_.virtualClock ? RunLoop::Clock::Virtual : RunLoop::Clock::Real,
                              {options_.virtualClock.value_or(0)});
        // Pages and alerts may bring work at any time, which a virtual clock could not know.
        if (options_.virtualClock) clockHold_ = loop_->holdTime();
        stopSignals_ = StopSignals::make([this] { stop(); });
        makePlatform();
        if (auto server = listen(); !server) return server;
        if (auto control = ControlSocket::listen(data_.path))
            control_ = std::move(*control);
        else
            logWarning(control.error().description);
        startDemoBackend();
        if (data_.isDemo)
            if (auto started = demoNewsletter_.start(); !started)
                logWarning("The demo's newsletter can't be left: " + started.error().description);
        if (auto opened = openEngine(); !opened) return opened;
        application_ = MailApplication::make(*engine_);
        application_->setQuitHandler([this] { stop(); });
        serve();
        if (auto loaded = loadPlugIn(); !loaded) return loaded;
        showInPanel();
        tellOfDamage();
        application_->finishLaunching();
        if (!loop_->isStopped()) engine_->deliveries().start();
        if (!loop_->isStopped()) engine_->sync().start();
        return {};
    }

    void makePlatform() {
        auto platform =
            Platform::make({.dataFolder = data_.path, .osMinor = options_.osMinor, .isApart = data_.isDemo});
        watchUninstall(platform, data_.path, [this] { loop_->post([this] { giveHeldMailBack(); }); });
        Platform::install(std::move(platform));
        UserDefaults::setFolder(data_.path / "Settings");
    }

    // Early, so that a port in use costs nothing. The port of last time is preferred, because the browser keeps what it
    // remembers of the page (the widths of its columns, say) by address.
    Result<void> listen() {
        const auto page = folderOr(options_.page, "page");
        if (!FileSystem::real().exists(page / "index.html"))
            return failure("HostProgram", 1,
                           "The page is not at " + page.lexically_normal().string() +
                               ". Build it, or name its place with --page.");
        const auto settings = UserDefaults::suite("");
        HostServerOptions wanted{.port = options_.port.value_or(static_cast<int>(settings->integerForKey(kLastPort))),
                                 .pageFolder = page};
        auto server = HostServer::listen(wanted);
        if (!server && !options_.port && wanted.port != 0) {
            wanted.port = 0;
            server = HostServer::listen(wanted);
        }
        if (!server) return failed(server);
        server_ = std::move(*server);
        if (!options_.port) settings->setObject(std::int64_t{server_->port()}, kLastPort);
        return {};
    }

    // Before the mail is opened, to get ready meanwhile. Without it the demo goes on as it can.
    void startDemoBackend() {
        if (!data_.isDemo || options_.noPlugIn) return;
        demoBackend_ = std::make_unique<DemoBackend>(data_.path, programFolder_ / "quillstead-backend");
        if (auto started = demoBackend_->start(); !started) noteWithoutBackend(started.error());
    }

    void noteWithoutBackend(const Error& error) {
        logWarning("The demo has no backend for read tracking: " + error.description);
        demoBackend_.reset();
    }

    Result<void> openEngine() {
        const DemoData demo(data_.path);
        if (data_.isDemo)
            if (auto made = demo.makeAccounts(); !made) return made;
        auto engine = MailEngine::open({.dataFolder = data_.path, .network = Platform::current().network});
        if (!engine) return failed(engine);
        engine_ = std::move(*engine);
        return data_.isDemo ? demo.addMails(*engine_, programFolder_ / ".." / "Demo", demoNewsletter_.address())
                            : Result<void>();
    }

    // The page is told of in a turn of the run loop: a plug-in that shows an alert while it loads waits for an answer,
    // which only the page can give.
    void serve() {
        server_->start(*application_, bundles_);
        if (control_)
            control_->serve([this](const std::string& command) {
                return answerControlCommand(command, {.loop = *loop_,
                                                      .server = *server_,
                                                      .application = *application_,
                                                      .clockHold = clockHold_,
                                                      .stop = [this] { stop(); }});
            });
        loop_->post([this] { announce(); });
    }

    void announce() {
        if (!data_.remark.empty()) tell(data_.remark);
        const std::string link = server_->newStartLink();
        tell("Quillstead is running. Open: " + link);
        if (!options_.noBrowser && Platform::current().workspace)
            openStartPage(*Platform::current().workspace, data_.path, server_->newStartLink());
        if (!options_.openURL.empty()) loop_->post([this] { application_->openAddress(options_.openURL); });
    }

    Result<void> loadPlugIn() {
        if (options_.noPlugIn) return {};
        const auto place = linkPlugIn(data_.path, folderOr(options_.bundles, "Bundles"), options_.reinstall);
        if (!place) return failed(place);
        if (*place == PlugInPlace::Uninstalled) {
            tell("The plug-in was uninstalled; --reinstall brings it back.");
            giveHeldMailBack();
        }
        if (demoBackend_)
            if (auto introduced = demoBackend_->introduce(); !introduced) noteWithoutBackend(introduced.error());
        // The loader has logged them; mail goes on without.
        for (auto& sentence : bundles_.loadAll({data_.path / "Bundles"}))
            application_->addNotice(std::move(sentence));
        return {};
    }

    // A demo keeps off the desktop.
    void showInPanel() {
        if (data_.isDemo) return;
        panelItems_ = std::make_unique<PanelItems>(*application_, bundles_, [this] {
            if (!server_->hasPages() && Platform::current().workspace)
                openStartPage(*Platform::current().workspace, data_.path, server_->newStartLink());
        });
    }

    // Nobody is left who knows what became of the plans for it, so it doesn't leave by itself.
    void giveHeldMailBack() {
        if (!engine_ || stopping_) return;  // the next start does it
        engine_->deliveries().turnHeldIntoDrafts([this](int moved, const Result<void>& result) {
            if (moved > 0)
                application_->addNotice(
                    moved == 1
                        ? "A message that was waiting to leave is a draft now, as Quillstead was removed."
                        : stringWithFormat(
                              "%ld messages that were waiting to leave are drafts now, as Quillstead was removed.",
                              {moved}));
            if (!result)
                application_->addNotice("Not all of the waiting messages could be made drafts. " +
                                        result.error().description);
        });
    }

    // Settings that were found damaged, the plug-in's included.
    void tellOfDamage() {
        for (auto& report : UserDefaults::takeDamageReports())
            application_->addNotice(std::move(report));
    }

    fs::path folderOr(const fs::path& given, const char* name) const {
        return given.empty() ? programFolder_ / ".." / name : given;
    }

    // Pages hear of it first; the little while is for them to be told. The run loop's own clock may stand still. It
    // goes on while a delivery under way ends, which may wait for a turn of the main thread.
    void stop() {
        if (std::exchange(stopping_, true)) return;
        const int waiting = engine_ ? engine_->deliveries().waitingCount() : 0;
        const std::string rest = waiting == 0 ? ""
                                 : waiting == 1
                                     ? " A message waits in the outbox until then."
                                     : stringWithFormat(" %ld messages wait in the outbox until then.", {waiting});
        if (waiting > 0) tell(std::string(kGoodbye) + rest);
        if (server_) server_->sayGoodbye(std::string(kGoodbye) + rest);
        StopSignals::afterAMoment([this] {
            loop_->postToGlobalQueue([this] {
                if (engine_) MailReading::of(engine_->library()).stopReading();
                if (engine_) engine_->deliveries().stop();
                loop_->stop();
            });
        });
    }

    // False when something could not be saved, which was told.
    bool finish() {
        control_.reset();
        panelItems_.reset();
        clockHold_.reset();
        if (stopping_) loop_->runUntilIdle();  // a start that failed while it was being stopped: the end of that
        if (application_) application_->terminate();
        if (engine_) MailReading::of(engine_->library()).stopReading();
        if (engine_) engine_->deliveries().stop();
        const auto saved = UserDefaults::synchronizeAll();
        if (!saved) complain("Some settings could not be saved: " + saved.error().description);
        server_.reset();
        bundles_.unloadAll();
        DDLog::addLogger(DDTTYLogger::sharedInstance());  // a plug-in takes away what it added, too
        application_.reset();
        engine_.reset();
        demoBackend_.reset();
        demoNewsletter_.end();
        HostInstances::current() = {};
        removeStartPage(data_.path);
        stopSignals_.reset();
        Platform::install({});
        loop_.reset();
        return saved.has_value();
    }

    const HostOptions& options_;
    fs::path programFolder_;
    DataFolder data_;
    bool stopping_ = false;
    std::unique_ptr<RunLoop> loop_;
    std::shared_ptr<void> clockHold_;
    std::unique_ptr<StopSignals> stopSignals_;
    ClassRegistry registry_;
    std::unique_ptr<HostServer> server_;
    std::unique_ptr<ControlSocket> control_;
    std::unique_ptr<MailEngine> engine_;
    std::shared_ptr<MailApplication> application_;
    BundleLoader bundles_;
    std::unique_ptr<PanelItems> panelItems_;
    std::unique_ptr<DemoBackend> demoBackend_;
    DemoNewsletter demoNewsletter_;
};

// What a second start is for: the page of the program that runs already, or an address for it.
int askTheOther(const HostOptions& options, const DataFolder& data) {
    const bool opens = !options.openURL.empty();
    const auto answer = askRunningHost(data.path, opens ? "open " + options.openURL : "link");
    if (!answer) {
        complain("Quillstead is already running with this data folder. " + answer.error().description);
        return 1;
    }
    constexpr std::string_view kLink = "link ";
    if (!answer->starts_with(kLink)) {
        tell("Quillstead is already running with this data folder; its page shows it.");
        return 0;
    }
    const std::string link = answer->substr(kLink.size());
    tell("Quillstead is already running with this data folder. Open its page: " + link);
    if (options.noBrowser) return 0;
    const auto platform = Platform::make({.dataFolder = data.path, .osMinor = options.osMinor});
    openStartPage(*platform.workspace, data.path, link);
    return 0;
}

}  // namespace

int runHost(const HostOptions& options, const fs::path& programFolder) {
    auto data = chooseDataFolder(options);
    if (data)
        if (auto prepared = prepareDataFolder(data->path); !prepared) data = failed(prepared);
    if (!data) {
        complain(data.error().description);
        return 1;
    }
    // Before anything else of the folder is opened.
    const auto lock = InstanceLock::take(data->path);
    if (!lock) {
        complain(lock.error().description);
        return 1;
    }
    if (!*lock) return askTheOther(options, *data);
    return HostProgram(options, programFolder, std::move(*data)).run();
}

}  // namespace qs
