// A real keyring daemon on a session bus of the test's own, with its files in a temporary folder.
#pragma once

#include <sys/types.h>

#include "Support/PrivateBus.h"
#include "Support/TemporaryFolder.h"

namespace qs {

class PrivateKeyring {
public:
    PrivateKeyring();  // unlocked, with an empty default keyring; throws if there is no gnome-keyring-daemon
    ~PrivateKeyring();
    PrivateKeyring(const PrivateKeyring&) = delete;
    PrivateKeyring& operator=(const PrivateKeyring&) = delete;

    void stop();
    // Stops it if it runs; it comes back on the same files, locked unless told otherwise.
    void restart(bool isUnlocked);
    // It forgets all that it ever kept, and is stopped.
    void loseEverything();

private:
    void start(bool isUnlocked);
    PrivateBus bus_;
    TemporaryFolder folder_;
    pid_t daemon_ = -1;
};

}  // namespace qs
