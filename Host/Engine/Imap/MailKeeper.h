// Puts messages that came from the server into the account's Maildirs and into what is known of the server, once,
// whoever brings them: the synchronisation, or somebody who is waiting for a single one. Safe from every thread.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "Foundation/Date.h"
#include "Foundation/Result.h"

namespace qs {

class MailLibrary;
class MirrorState;
struct MirroredMailbox;

struct FetchedMessage {
    std::uint32_t uid = 0;
    int flags = 0;  // packed
    Date date;
    std::string content;
};

class MailKeeper {
public:
    MailKeeper(std::string account, MailLibrary& library, MirrorState& state)
        : account_(std::move(account)), library_(library), state_(state) {}

    // Durable when it returns. Throws DatabaseFailure.
    Result<void> keep(const MirroredMailbox& mailbox, const std::vector<FetchedMessage>& messages);

private:
    const std::string account_;
    MailLibrary& library_;
    MirrorState& state_;
    std::mutex lock_;
};

}  // namespace qs
