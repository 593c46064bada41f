#include "MessageBus/BusConnection.h"

#include <sdbus-c++/sdbus-c++.h>

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <exception>
#include <mutex>
#include <set>
#include <string>
#include <thread>

#include "Foundation/Log.h"

namespace qs {

namespace {

constexpr std::chrono::seconds kAnswerTime(2);
constexpr const char* kTimeout = "org.freedesktop.DBus.Error.Timeout";

using Connection = std::unique_ptr<sdbus::IConnection>;

struct Bus {
    std::string place;  // tells it from a bus that the environment names later
    Connection (*connect)();
    const char* isMissed;
};

// Those that have not answered yet. Never destroyed: a question may outlive main().
struct SilentBuses {
    std::mutex lock;
    std::set<std::string> places;

    bool has(const std::string& place) {
        const std::lock_guard hold(lock);
        return places.contains(place);
    }
};
SilentBuses& silentBuses() {
    static auto* const silent = new SilentBuses;
    return *silent;
}

// On a thread of its own, which the library holds as long as it likes.
class Question {
public:
    void ask(const Bus& bus) {
        Connection made;
        std::exception_ptr fault;
        try {
            made = bus.connect();
        } catch (...) {
            fault = std::current_exception();
        }
        const std::lock_guard hold(silentBuses().lock);
        silentBuses().places.erase(bus.place);
        // Nobody waits any more for an answer that comes late; the next one asks anew.
        if (isGivenUp_) return;
        made_ = std::move(made);
        fault_ = fault;
        isAnswered_ = true;
        answered_.notify_all();
    }

    // Null when no answer came in time; what the library says against the bus is thrown.
    Connection answer(const Bus& bus) {
        std::unique_lock hold(silentBuses().lock);
        if (!answered_.wait_for(hold, kAnswerTime, [this] { return isAnswered_; })) {
            isGivenUp_ = true;
            silentBuses().places.insert(bus.place);
            return nullptr;
        }
        if (fault_) std::rethrow_exception(fault_);
        return std::move(made_);
    }

private:
    std::condition_variable answered_;
    bool isAnswered_ = false, isGivenUp_ = false;
    Connection made_;
    std::exception_ptr fault_;
};

Connection connectTo(const Bus& bus) {
    const auto silent = [] { return sdbus::Error(kTimeout, "it does not answer"); };
    if (silentBuses().has(bus.place)) throw silent();
    const auto question = std::make_shared<Question>();
    std::thread([question, bus] { question->ask(bus); }).detach();
    auto connection = question->answer(bus);
    if (!connection) {
        logWarning(bus.isMissed);
        throw silent();
    }
    connection->setMethodCallTimeout(kAnswerTime);
    return connection;
}

Bus sessionBus() {
    std::string place = "session";
    for (const char* name : {"DBUS_SESSION_BUS_ADDRESS", "XDG_RUNTIME_DIR"})
        if (const char* value = std::getenv(name)) place += std::string(" ") + value;
    return {.place = std::move(place),
            .connect = [] { return sdbus::createSessionBusConnection(); },
            .isMissed = "The desktop's session bus does not answer. Quillstead goes on as without a desktop: the "
                        "keyring, the icon in the panel and desktop notifications are missing until it answers."};
}

Bus systemBus() {
    return {.place = "system",
            .connect = [] { return sdbus::createSystemBusConnection(); },
            .isMissed = "The system bus does not answer. Whether the network is reachable is told from the kernel's "
                        "routes alone until it does."};
}

}  // namespace

Connection connectToSessionBus() { return connectTo(sessionBus()); }

Connection connectToSystemBus() { return connectTo(systemBus()); }

bool isSessionBusSilent() {
    const Bus bus = sessionBus();
    try {
        connectTo(bus);
    } catch (const sdbus::Error&) {
        return silentBuses().has(bus.place);
    }
    return false;
}

}  // namespace qs
