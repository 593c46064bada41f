// A D-Bus session bus of the test's own, on a socket in a temporary folder. While it lives it is the session bus of
// this process and of those that it starts.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "Support/TemporaryFolder.h"

namespace qs {

class PrivateBus {
public:
    PrivateBus();  // throws if there is no dbus-daemon
    ~PrivateBus();
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    const std::string& address() const { return address_; }
    // Ends the bus, as at the end of a desktop session. The environment still names it.
    void stop();

private:
    TemporaryFolder folder_;
    std::string address_, formerAddress_;
    pid_t daemon_ = -1;
};

// The session bus takes connections while it lives, and never says a word.
class SilentBus {
public:
    SilentBus();
    ~SilentBus();  // hangs up
    SilentBus(const SilentBus&) = delete;
    SilentBus& operator=(const SilentBus&) = delete;

    // How many still wait for an answer, and how many have hung up.
    struct Callers {
        int waiting = 0, gone = 0;
        bool operator==(const Callers&) const = default;
    };
    Callers callers();

private:
    TemporaryFolder folder_;
    std::string formerAddress_;
    int listener_ = -1;
    std::vector<int> callers_;
};

// No session bus can be found while it lives.
class NoBus {
public:
    NoBus();
    ~NoBus();
    NoBus(const NoBus&) = delete;
    NoBus& operator=(const NoBus&) = delete;

private:
    TemporaryFolder folder_;  // stands for the runtime folder, where a bus would be looked for
    std::string formerAddress_, formerRuntime_;
};

}  // namespace qs
