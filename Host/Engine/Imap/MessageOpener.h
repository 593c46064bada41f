// Fetches single messages that somebody is waiting for, past the long queue, over a connection and on a thread of its
// own. What fails is left to the queue.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Foundation/Date.h"
#include "Foundation/Result.h"
#include "Imap/SecretSource.h"

namespace qs {

class ImapConnection;
class MailKeeper;
class MirrorState;
class OperationQueue;
struct MirroredMailbox;

class MessageOpener {
public:
    MessageOpener(ImapServer server, SecretSource secret, std::shared_ptr<MirrorState> state, MailKeeper& keeper,
                  std::function<void(const std::string& sentence)> tellPerson);
    ~MessageOpener();  // hangs up and waits
    MessageOpener(const MessageOpener&) = delete;
    MessageOpener& operator=(const MessageOpener&) = delete;

    // By the unique part of its name; what was asked for last comes first. Returns at once. Any thread.
    void open(const std::string& name);
    // Hangs up when nothing is waited for. Any thread.
    void rest();

private:
    void work();
    Result<void> fetch(const std::string& name);
    Result<void> ready(const MirroredMailbox& mailbox);

    const ImapServer server_;
    const SecretSource secret_;
    const std::shared_ptr<MirrorState> state_;
    MailKeeper& keeper_;
    const std::function<void(const std::string&)> tellPerson_;
    std::mutex lock_;
    std::vector<std::string> wanted_;
    bool isStopping_ = false;
    TimeInterval failedAt_ = -1e9;  // on the clock of uptime()
    std::unique_ptr<ImapConnection> line_;
    std::string selected_;  // of the thread alone
    std::unique_ptr<OperationQueue> queue_;
};

}  // namespace qs
