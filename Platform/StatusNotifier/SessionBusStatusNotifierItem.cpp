#include <sdbus-c++/sdbus-c++.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"
#include "MessageBus/BusConnection.h"
#include "StatusNotifier/StatusNotifierItem.h"

namespace qs {

namespace {

constexpr const char *kWatcher = "org.kde.StatusNotifierWatcher", *kWatcherPath = "/StatusNotifierWatcher";
constexpr const char *kInterface = "org.kde.StatusNotifierItem", *kPath = "/StatusNotifierItem";
constexpr std::chrono::seconds kPanelTime(25);   // it may be busy with the login
constexpr const char* kNoMenu = "/NO_DBUSMENU";  // what panels take for an item without one

using Pixmap = sdbus::Struct<std::int32_t, std::int32_t, std::vector<std::uint8_t>>;
using ToolTip = sdbus::Struct<std::string, std::vector<Pixmap>, std::string, std::string>;

// Four bytes for each pixel: alpha, red, green, blue, the colours not multiplied.
std::vector<Pixmap> pixmapsOf(const std::optional<Image>& icon) {
    if (!icon) return {};
    const auto [width, height] = icon->size();
    std::vector<std::uint8_t> bytes;
    bytes.reserve(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const Color color = icon->colorAt(x, y);
            for (const double part : {color.alpha, color.red, color.green, color.blue})
                bytes.push_back(static_cast<std::uint8_t>(std::clamp(part, 0.0, 1.0) * 255 + 0.5));
        }
    return {Pixmap(width, height, std::move(bytes))};
}

// One name on the bus for each item of each process.
std::string newName() {
    static std::atomic<int> last = 0;
    return stringWithFormat("org.kde.StatusNotifierItem-%ld-%ld", {std::int64_t{::getpid()}, std::int64_t{++last}});
}

class SessionBusStatusNotifierItem : public StatusNotifierItem {
public:
    // Throws sdbus::Error without a bus.
    SessionBusStatusNotifierItem(StatusNotifierFacts facts, std::function<void()> activated)
        : facts_(std::move(facts)),
          pixmaps_(pixmapsOf(facts_.icon)),
          activated_(std::make_shared<std::function<void()>>(std::move(activated))),
          name_(newName()),
          connection_(connectToSessionBus()),
          object_(sdbus::createObject(*connection_, kPath)),
          watcher_(sdbus::createProxy(*connection_, kWatcher, kWatcherPath)) {
        addProperties();
        addMethods();
        object_->finishRegistration();
        connection_->requestName(name_);
        const std::string watcherComes =
            std::string("type='signal',sender='org.freedesktop.DBus',member='NameOwnerChanged',arg0='") + kWatcher +
            "'";
        match_ = connection_->addMatch(watcherComes, [this](sdbus::Message& message) { watcherDidChange(message); });
        thread_ = std::thread([this] { listen(); });
        introduce();
    }
    ~SessionBusStatusNotifierItem() override {
        connection_->leaveEventLoop();
        thread_.join();
    }
    SessionBusStatusNotifierItem(const SessionBusStatusNotifierItem&) = delete;
    SessionBusStatusNotifierItem& operator=(const SessionBusStatusNotifierItem&) = delete;

    bool isShown() const override { return isShown_; }

private:
    template <class T>
    void addProperty(const char* name, T value) {
        object_->registerProperty(name).onInterface(kInterface).withGetter([value = std::move(value)] {
            return value;
        });
    }
    void addProperties() {
        addProperty("Category", std::string("Communications"));
        addProperty("Id", facts_.identifier);
        addProperty("Title", facts_.title);
        addProperty("Status", std::string("Active"));
        addProperty("WindowId", std::uint32_t{0});
        addProperty("IconPixmap", pixmaps_);
        for (const char* name : {"IconName", "OverlayIconName", "AttentionIconName", "AttentionMovieName"})
            addProperty(name, std::string());
        for (const char* name : {"OverlayIconPixmap", "AttentionIconPixmap"})
            addProperty(name, std::vector<Pixmap>());
        addProperty("ToolTip", ToolTip("", {}, facts_.title, ""));
        addProperty("ItemIsMenu", false);
        addProperty("Menu", sdbus::ObjectPath(kNoMenu));
    }
    void addMethods() {
        const auto activate = [this](std::int32_t, std::int32_t) { tellActivated(); };
        for (const char* name : {"Activate", "SecondaryActivate", "ContextMenu"})
            object_->registerMethod(name).onInterface(kInterface).implementedAs(activate);
        object_->registerMethod("Scroll").onInterface(kInterface).implementedAs([](std::int32_t, const std::string&) {
        });
    }

    // On the connection's thread.
    void tellActivated() {
        RunLoop* const loop = RunLoop::mainIfInstalled();
        if (!loop) return;
        loop->post([weak = std::weak_ptr(activated_)] {
            if (const auto activated = weak.lock(); activated && *activated) (*activated)();
        });
    }
    void watcherDidChange(sdbus::Message& message) {
        try {
            std::string name, before, now;
            message >> name >> before >> now;
            isShown_ = false;
            if (!now.empty()) introduce();
        } catch (const sdbus::Error& error) {
            logDebug(stringWithFormat("The bus told of a panel in a form that is not known: %@", {error.getMessage()}));
        }
    }

    // Nobody waits for the panel's answer.
    void introduce() {
        try {
            watcher_->callMethodAsync("RegisterStatusNotifierItem")
                .onInterface(kWatcher)
                .withTimeout(kPanelTime)
                .withArguments(name_)
                .uponReplyInvoke([this](const sdbus::Error* error) {
                    isShown_ = error == nullptr;
                    if (error) logDebug(stringWithFormat("No panel shows the item: %@", {error->getMessage()}));
                });
        } catch (const sdbus::Error& error) {
            logDebug(stringWithFormat("No panel could be told of the item: %@", {error.getMessage()}));
        }
    }

    void listen() {
        try {
            connection_->enterEventLoop();
        } catch (const sdbus::Error& error) {
            logDebug(stringWithFormat("The session bus went away: %@", {error.getMessage()}));
        }
        isShown_ = false;
    }

    const StatusNotifierFacts facts_;
    const std::vector<Pixmap> pixmaps_;
    const std::shared_ptr<std::function<void()>> activated_;
    const std::string name_;
    std::atomic<bool> isShown_ = false;
    std::unique_ptr<sdbus::IConnection> connection_;
    std::unique_ptr<sdbus::IObject> object_;
    std::unique_ptr<sdbus::IProxy> watcher_;
    sdbus::Slot match_;
    std::thread thread_;
};

}  // namespace

std::unique_ptr<StatusNotifierItem> StatusNotifierItem::show(StatusNotifierFacts facts,
                                                             std::function<void()> activated) {
    try {
        return std::make_unique<SessionBusStatusNotifierItem>(std::move(facts), std::move(activated));
    } catch (const sdbus::Error& error) {
        logDebug(stringWithFormat("Nothing is shown in a panel, as there is no session bus: %@", {error.getMessage()}));
        return nullptr;
    }
}

}  // namespace qs
