#include <arpa/inet.h>
#include <sdbus-c++/sdbus-c++.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <list>
#include <mutex>
#include <sstream>
#include <string>

#include "Foundation/RunLoop.h"
#include "MessageBus/BusConnection.h"
#include "Reachability/NetworkState.h"
#include "Text/Ascii.h"

namespace qs {

namespace {

constexpr TimeInterval kLookAgain = 5;
constexpr auto kAnswer = std::chrono::seconds(1);

using Facts = NetworkState::Facts;

// The kernel's tables, one route a line: of IPv4 the destination is the second word and the mask the eighth, of IPv6
// the destination and its length are the first two, and the device is the last.
bool hasDefaultRoute() {
    std::string line;
    std::ifstream routes("/proc/net/route");
    while (std::getline(routes, line)) {
        std::istringstream words(line);
        std::string device, destination, word, mask;
        words >> device >> destination;
        for (int i = 0; i < 5; ++i)
            words >> word;
        if (words >> mask && destination == "00000000" && mask == "00000000") return true;
    }
    std::ifstream routes6("/proc/net/ipv6_route");
    while (std::getline(routes6, line)) {
        const std::string anywhere(32, '0');
        if (line.starts_with(anywhere + " 00 ") && !line.ends_with(" lo")) return true;
    }
    return false;
}

// https://networkmanager.dev/docs/api/latest/nm-dbus-types.html#NMConnectivityState
enum class Connectivity : unsigned { Unknown = 0, None = 1, Portal = 2, Limited = 3, Full = 4 };

Connectivity askNetworkManager() {
    try {
        const auto bus = connectToSystemBus();
        const auto manager =
            sdbus::createProxy(*bus, "org.freedesktop.NetworkManager", "/org/freedesktop/NetworkManager");
        sdbus::Variant state;
        manager->callMethod("Get")
            .onInterface("org.freedesktop.DBus.Properties")
            .withTimeout(kAnswer)
            .withArguments("org.freedesktop.NetworkManager", "Connectivity")
            .storeResultsTo(state);
        return static_cast<Connectivity>(state.get<std::uint32_t>());
    } catch (const sdbus::Error&) {
        return Connectivity::Unknown;  // it does not run here
    }
}

class Observers {
public:
    std::shared_ptr<void> add(std::function<void(const Facts&)> changed) {
        auto each = std::make_shared<std::function<void(const Facts&)>>(std::move(changed));
        all_.push_back(each);
        return each;
    }
    bool tell(const Facts& facts) {
        std::erase_if(all_, [](const auto& each) { return each.expired(); });
        for (const auto& each : std::list(all_))
            if (const auto observer = each.lock()) (*observer)(facts);
        return !all_.empty();
    }
    bool isEmpty() {
        std::erase_if(all_, [](const auto& each) { return each.expired(); });
        return all_.empty();
    }

private:
    std::list<std::weak_ptr<std::function<void(const Facts&)>>> all_;
};

class SystemNetworkState : public NetworkState, public std::enable_shared_from_this<SystemNetworkState> {
public:
    ~SystemNetworkState() override {
        if (timer_) timer_->invalidate();
    }
    Facts facts() override {
        const Connectivity connectivity = connectivity_;
        return {.isReachable = hasDefaultRoute() && connectivity != Connectivity::None,
                .isInterventionRequired = connectivity == Connectivity::Portal};
    }
    std::shared_ptr<void> observe(std::function<void(const Facts&)> changed) override {
        auto observation = observers_.add(std::move(changed));
        if (!timer_) {
            last_ = facts();
            look();
            timer_ = RunLoop::main().every(kLookAgain, [weak = weak_from_this()] {
                if (const auto self = weak.lock()) self->look();
            });
        }
        return observation;
    }

private:
    void look() {
        if (observers_.isEmpty()) {
            if (timer_) std::exchange(timer_, nullptr)->invalidate();
            return;
        }
        RunLoop::main().postToGlobalQueue([weak = weak_from_this()] {
            const Connectivity now = askNetworkManager();
            if (const auto self = weak.lock()) self->connectivity_ = now;
        });
        if (const Facts now = facts(); now != last_) {
            last_ = now;
            observers_.tell(now);
        }
    }

    std::atomic<Connectivity> connectivity_ = Connectivity::Unknown;
    Observers observers_;
    Facts last_;
    TimerRef timer_;
};

class FixedNetworkState : public NetworkState::Fixed {
public:
    explicit FixedNetworkState(bool isReachable) : facts_{.isReachable = isReachable} {}
    Facts facts() override {
        const std::lock_guard guard(lock_);
        return facts_;
    }
    std::shared_ptr<void> observe(std::function<void(const Facts&)> changed) override {
        return observers_.add(std::move(changed));
    }
    void set(const Facts& facts) override {
        {
            const std::lock_guard guard(lock_);
            if (std::exchange(facts_, facts) == facts) return;
        }
        observers_.tell(facts);
    }

private:
    std::mutex lock_;
    Facts facts_;
    Observers observers_;
};

}  // namespace

std::shared_ptr<NetworkState> NetworkState::system() { return std::make_shared<SystemNetworkState>(); }

std::shared_ptr<NetworkState::Fixed> NetworkState::fixed(bool isReachable) {
    return std::make_shared<FixedNetworkState>(isReachable);
}

bool isOwnHost(std::string_view host) {
    // Only a whole address counts: 127.0.0.1.example.org is somebody else's.
    in_addr ipv4{};
    const bool isAddress = ::inet_pton(AF_INET, std::string(host).c_str(), &ipv4) == 1;
    return equalsIgnoringCase(host, "localhost") || (isAddress && host.starts_with("127.")) || host == "::1" ||
           host == "[::1]";
}

}  // namespace qs
