// A D-Bus session bus of the test's own, on a socket in a temporary folder. While it lives it is the session bus of
// this process and of those that it starts.
#pragma once

#include <sys/types.h>

#include <string>

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
