// Whether the machine is on a network that leads out. A network that wants the person to sign in first (a captive
// portal) counts as one that does not.
#pragma once

#include <functional>
#include <memory>
#include <string_view>

namespace qs {

class NetworkState {
public:
    struct Facts {
        bool isReachable = false;
        bool isInterventionRequired = false;  // somebody has to sign in
        bool operator==(const Facts&) const = default;
    };
    virtual ~NetworkState() = default;
    virtual Facts facts() = 0;  // any thread; cheap
    // Called on the main thread when the facts have changed, for as long as what is returned lives.
    [[nodiscard]] virtual std::shared_ptr<void> observe(std::function<void(const Facts&)> changed) = 0;

    // The routes of the kernel, and NetworkManager's opinion where it runs.
    static std::shared_ptr<NetworkState> system();
    // Said by a test, or by whoever knows better.
    class Fixed;
    static std::shared_ptr<Fixed> fixed(bool isReachable);
};

class NetworkState::Fixed : public NetworkState {
public:
    virtual void set(const Facts& facts) = 0;  // main thread
};

// An address of this very machine, which is reachable without a network.
bool isOwnHost(std::string_view host);

}  // namespace qs
