// What of the mailboxes' folders is still to be read into the index, how far that is, and who waits for its end. Safe
// from every thread.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "MailReading.h"

namespace qs {

class ReadingState : public std::enable_shared_from_this<ReadingState> {
public:
    // By the number of a mailbox.
    void await(std::int64_t mailbox);  // its folders are to be looked at
    // They have been, and so many files are new. Nothing: they can't be listed.
    void noteListed(std::int64_t mailbox, const std::string& account, std::optional<std::int64_t> files);
    void noteTaken(const std::string& account, std::int64_t files);  // of those that lay there
    void noteRead(std::int64_t mailbox);                             // all of it, or it is gone
    // Nobody has looked at its folders yet: whatever is found there is nothing new to the person.
    bool isAwaited(std::int64_t mailbox) const;
    bool isRead(std::int64_t mailbox) const;
    ReadingProgress progress(std::string_view account) const;

    // One piece of reading. It is all over when none is left.
    void jobAdded();
    // Answers the accounts whose progress came to its end.
    std::vector<std::string> jobEnded();
    bool isOver() const;
    void whenOver(std::function<void()> done);  // main thread
    void waitUntilOver();
    void stop();
    bool isStopped() const;

private:
    enum class Stage { Awaited, Begun };
    void tell();

    mutable std::mutex lock_;
    std::condition_variable changed_;
    std::map<std::int64_t, Stage> unread_;
    std::map<std::string, ReadingProgress, std::less<>> progress_;
    std::vector<std::function<void()>> waiting_;
    int jobs_ = 0;
    bool isStopped_ = false;
};

}  // namespace qs
