// A connection of its own that waits for news of an account's inbox (IDLE), on a thread of its own.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <thread>

#include "Foundation/Result.h"
#include "Imap/SecretSource.h"

namespace qs {

class ImapConnection;

class InboxWatch {
public:
    // `changed` is called on the watch's thread, for the first time as soon as it watches.
    InboxWatch(const ImapServer& server, SecretSource secret, std::function<void()> changed);
    ~InboxWatch();  // hangs up and waits
    InboxWatch(const InboxWatch&) = delete;
    InboxWatch& operator=(const InboxWatch&) = delete;

    // False once it has ended: the connection broke, or the server does not know IDLE.
    bool isAlive() const { return isAlive_; }

private:
    Result<void> watch(const SecretSource& secret, const std::function<void()>& changed);

    const std::unique_ptr<ImapConnection> line_;
    std::atomic<bool> isAlive_ = true;
    std::thread thread_;
};

}  // namespace qs
