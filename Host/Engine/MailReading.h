// How the library's index is brought in step with the folders of mail: on a thread of its own, while everybody works
// with what it knows already. Until that is over, messages may be missing from what MailLibrary answers. Whoever must
// not be mistaken about that waits for it (whenReadIn()), or has a mailbox read at once (readNow()).
#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

#include "Mail/LibraryReading.h"

namespace qs {

class MailLibrary;

// Of the messages that lay in the folders and were not in the index.
struct ReadingProgress {
    std::int64_t done = 0, total = 0;  // of the folders that were looked at so far
};

class MailReading : public LibraryReading {
public:
    static MailReading& of(MailLibrary& library);  // lives as long as that

    // Begins to take up what changed in the folders while nobody looked, in batches, the newest first and inboxes
    // before the rest. Once; after watchFolders(), so that nothing is missed in between.
    virtual void readIn() = 0;
    // Calls `done` when everything is read in, at once if it is; in the order of the calls. Not after stopReading().
    // Main thread.
    virtual void whenReadIn(std::function<void()> done) = 0;
    virtual void waitUntilReadIn() = 0;  // or until it is stopped
    // Messages that come in great numbers are listed at once, but found by their words, and shown with their
    // beginnings, some time later: until that has come for all.
    virtual void waitForTexts() = 0;
    // For good. What is being read, also by others, stops within a batch.
    virtual void stopReading() = 0;
    // As MailLibrary::rescan(). False when not all could be read, so that what is missing from the index may lie in the
    // folders all the same.
    virtual bool readNow(std::string_view mailboxIdentifier) = 0;
    // Nothing to do, or done: zeros. Any thread.
    virtual ReadingProgress readingProgress(std::string_view account) const = 0;
};

}  // namespace qs
