#include <sdbus-c++/sdbus-c++.h>

#include <list>
#include <mutex>
#include <thread>

#include "Adapters.h"
#include "DistributedNotifications/DistributedNotificationCenter.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Foundation/PropertyList.h"
#include "Foundation/RunLoop.h"
#include "MessageBus/BusConnection.h"

namespace qs {

namespace {

constexpr const char* kPath = "/org/quillstead/Notifications";
constexpr const char* kInterface = "org.quillstead.DistributedNotifications";
constexpr const char* kMember = "Posted";

// A connection with a thread that listens. It ends by itself when the bus goes away.
class Listener {
public:
    using Handler = std::function<void(std::string name, std::string userInfo)>;

    // Throws sdbus::Error without a bus.
    explicit Listener(Handler handler)
        : handler_(std::move(handler)),
          connection_(connectToSessionBus()),
          object_(sdbus::createObject(*connection_, kPath)) {
        const std::string rule =
            std::string("type='signal',interface='") + kInterface + "',member='" + kMember + "',path='" + kPath + "'";
        match_ = connection_->addMatch(rule, [this](sdbus::Message& message) { receive(message); });
        thread_ = std::thread([this] { listen(); });
    }
    ~Listener() {
        connection_->leaveEventLoop();
        thread_.join();
    }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    bool isAlive() const { return isAlive_; }

    void post(const std::string& name, const std::string& object, const std::string& userInfo) {
        auto signal = object_->createSignal(kInterface, kMember);
        signal << name << object << userInfo;
        object_->emitSignal(signal);
    }

private:
    void listen() {
        try {
            connection_->enterEventLoop();
        } catch (const sdbus::Error& error) {
            logDebug(stringWithFormat("The session bus went away: %@", {error.getMessage()}));
        }
        isAlive_ = false;
    }

    void receive(sdbus::Message& message) {
        try {
            std::string name, object, userInfo;
            message >> name >> object >> userInfo;
            handler_(std::move(name), std::move(userInfo));
        } catch (const sdbus::Error& error) {
            logDebug(
                stringWithFormat("A distributed notification of another form was ignored: %@", {error.getMessage()}));
        }
    }

    Handler handler_;
    std::atomic<bool> isAlive_ = true;
    std::unique_ptr<sdbus::IConnection> connection_;
    std::unique_ptr<sdbus::IObject> object_;
    sdbus::Slot match_;
    std::thread thread_;
};

struct Observer {
    std::string name;
    std::function<void(std::string_view, const Value&)> handler;
};

// Shared with the observations and with blocks on their way to the main thread, which may outlive the centre.
struct Observers {
    std::mutex lock;
    std::list<std::shared_ptr<Observer>> all;

    void deliver(const std::string& name, const Value& userInfo) {
        std::list<std::shared_ptr<Observer>> called;
        {
            const std::lock_guard hold(lock);
            called = all;
        }
        for (const auto& observer : called)
            if (isStillThere(observer) && (observer->name.empty() || observer->name == name))
                observer->handler(name, userInfo);
    }
    // An observer that an earlier one has just ended must not be called.
    bool isStillThere(const std::shared_ptr<Observer>& observer) {
        const std::lock_guard hold(lock);
        return std::find(all.begin(), all.end(), observer) != all.end();
    }
};

class DistributedObservation : public Observation {
public:
    DistributedObservation(std::shared_ptr<Observers> observers, std::shared_ptr<Observer> observer)
        : observers_(std::move(observers)), observer_(std::move(observer)) {}
    ~DistributedObservation() override {
        const std::lock_guard hold(observers_->lock);
        observers_->all.remove(observer_);
    }

private:
    std::shared_ptr<Observers> observers_;
    std::shared_ptr<Observer> observer_;
};

class SessionBusNotificationCenter : public DistributedNotificationCenter {
public:
    SessionBusNotificationCenter() { connect(); }

    void postNotificationName(std::string_view name, std::string_view object, const Value& userInfo) override {
        const std::lock_guard hold(lock_);
        if (!connect()) {
            logDebug(stringWithFormat("Nobody can hear %@: there is no session bus.", {name}));
            return;
        }
        try {
            listener_->post(std::string(name), std::string(object), xmlPropertyList(userInfo));
        } catch (const sdbus::Error& error) {
            logWarning(stringWithFormat("%@ could not be posted: %@", {name, error.getMessage()}));
        }
    }

    ObservationRef addObserver(std::string name, std::function<void(std::string_view, const Value&)> handler) override {
        auto observer = std::make_shared<Observer>(Observer{std::move(name), std::move(handler)});
        {
            const std::lock_guard hold(observers_->lock);
            observers_->all.push_back(observer);
        }
        const std::lock_guard hold(lock_);
        connect();
        return std::make_unique<DistributedObservation>(observers_, std::move(observer));
    }

    bool isConnected() const override {
        const std::lock_guard hold(lock_);
        return listener_ && listener_->isAlive();
    }

private:
    // The bus may come, or come back, after us: each use tries anew.
    bool connect() {
        if (listener_ && listener_->isAlive()) return true;
        listener_.reset();
        try {
            listener_ = std::make_unique<Listener>([observers = observers_](std::string name, std::string userInfo) {
                hear(observers, std::move(name), userInfo);
            });
        } catch (const sdbus::Error& error) {
            logDebug(stringWithFormat("There is no session bus: %@", {error.getMessage()}));
        }
        return listener_ != nullptr;
    }

    static void hear(const std::shared_ptr<Observers>& observers, std::string name, const std::string& text) {
        auto userInfo = parsePropertyList(text);
        if (!userInfo && !text.empty()) logDebug(userInfo.error().description);
        RunLoop* loop = RunLoop::mainIfInstalled();
        if (!loop) return;  // nobody to hear it
        loop->post([observers, name = std::move(name), userInfo = userInfo.value_or(Value())] {
            observers->deliver(name, userInfo);
        });
    }

    std::shared_ptr<Observers> observers_ = std::make_shared<Observers>();
    mutable std::mutex lock_;
    std::unique_ptr<Listener> listener_;
};

}  // namespace

std::shared_ptr<DistributedNotificationCenter> makeDistributedNotificationCenter() {
    return std::make_shared<SessionBusNotificationCenter>();
}

}  // namespace qs
