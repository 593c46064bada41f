// The intents of messages that a person takes back out of an outbox: written before the message moves and removed
// after it, so that a crash in between leaves no message that is among the drafts and leaves all the same.
//
// A file <Deliveries>/<name>.takeback for each, a property list; <name> is the unique part of the name of the queued
// file, which stays the same when the message moves. Blocking; safe from every thread.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Result.h"

namespace qs {

class FileSystem;

struct TakeBackNote {
    std::string name;      // unique part of the queued file's name
    std::string target;    // identifier of the mailbox it goes to; empty when the note is damaged
    std::string uniqueID;  // of the message; may be empty
    std::string subject;
};

class TakeBackNotes {
public:
    TakeBackNotes(std::filesystem::path folder, FileSystem& files) : folder_(std::move(folder)), files_(&files) {}

    // Of one that can't be read only the name is known, which is enough.
    std::vector<TakeBackNote> readAll() const;
    Result<void> write(const TakeBackNote& note) const;  // durable when it returns
    Result<void> remove(std::string_view name) const;    // none there is a success

private:
    std::filesystem::path fileOf(std::string_view name) const;

    std::filesystem::path folder_;
    FileSystem* files_;
};

}  // namespace qs
