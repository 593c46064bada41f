// Puts messages that came from the server into the account's Maildirs and into what is known of the server, once,
// whoever brings them: the synchronisation, or somebody who is waiting for a single one. Safe from every thread.
#pragma once

#include <cstdint>
#include <filesystem>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "Foundation/Date.h"
#include "Foundation/Result.h"
#include "Maildir/Maildir.h"

namespace qs {

class MailLibrary;
class MirrorState;
struct MirroredMailbox;

struct FetchedMessage {
    std::uint32_t uid = 0;
    int flags = 0;  // packed
    Date date;
    std::string content;
    std::filesystem::path file = {};  // instead of the content, of a large one: made by newTemporary()
    bool isBegun = false;             // the file is one that was taken with takeBegun()
};

// Of a large message, what has come so far.
struct BegunMessage {
    std::filesystem::path file;  // none yet while the size is 0
    std::uint64_t size = 0;
    std::uint64_t told = 0;  // the whole, by the server; 0: it has not said yet
    bool isNoted = true;     // no: another brings the same message just now, and its part is the one to be kept
};

class MailKeeper {
public:
    // `folder`: of the account's mail.
    MailKeeper(std::string account, const std::filesystem::path& folder, FileSystem& files, MailLibrary& library,
               MirrorState& state)
        : account_(std::move(account)), inbox_(folder, files), files_(files), library_(library), state_(state) {}

    FileSystem& files() { return files_; }
    // For the file of a large message.
    std::filesystem::path newTemporary() const;

    // By the name that the message will have; also what came before the program ended. Whoever takes it has it alone,
    // until he leaves or drops it, or its message is kept; another begins anew.
    BegunMessage takeBegun(const std::string& name);
    void noteBegun(const std::string& name, const BegunMessage& begun);  // more has come
    void leaveBegun(const std::string& name, const BegunMessage& begun);
    void dropBegun(const std::string& name, const BegunMessage& begun);  // with its file
    std::uint64_t begunSize(const std::string& name);
    void forgetBegun();  // with their files, but those that somebody has

    // Durable when it returns. Files of messages are gone then, kept or not. Throws DatabaseFailure.
    Result<void> keep(const MirroredMailbox& mailbox, const std::vector<FetchedMessage>& messages);

private:
    std::filesystem::path temporaryNamed(const std::string& file) const;
    void release(const std::string& name, bool isOver);
    Result<void> add(const MirroredMailbox& mailbox, const std::vector<FetchedMessage>& messages);

    const std::string account_;
    const Maildir inbox_;
    FileSystem& files_;
    MailLibrary& library_;
    MirrorState& state_;
    std::mutex lock_, begunLock_;
    std::set<std::string> held_;  // what has begun and somebody has
};

}  // namespace qs
