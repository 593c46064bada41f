#include "Imap/MailKeeper.h"

#include <functional>
#include <utility>

#include "Database/Database.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"
#include "Imap/MirrorState.h"
#include "Imap/MirroredName.h"
#include "Library/LibraryObjects.h"
#include "MailLibrary.h"
#include "Maildir/MaildirFlags.h"

namespace qs {

namespace {

// Files that were not moved on.
struct Leftovers {
    FileSystem& files;
    const std::vector<FetchedMessage>& messages;
    const std::function<void(const FetchedMessage&)> release;
    ~Leftovers() {
        for (const FetchedMessage& each : messages) {
            if (!each.file.empty()) (void)files.remove(each.file);
            release(each);
        }
    }
};

// What is lost with it is but the time to fetch something again.
void quietly(const std::function<void()>& note) {
    try {
        note();
    } catch (const DatabaseFailure& failure) {
        logWarning("what has come of a large message is not remembered: " + std::string(failure.what()));
    }
}

}  // namespace

std::filesystem::path MailKeeper::newTemporary() const { return inbox_.newTemporary(RunLoop::main().now()); }

std::filesystem::path MailKeeper::temporaryNamed(const std::string& file) const {
    return newTemporary().parent_path() / file;
}

BegunMessage MailKeeper::takeBegun(const std::string& name) {
    const std::lock_guard hold(begunLock_);
    const auto known = state_.begun(name);
    BegunMessage anew{.file = newTemporary()};
    anew.isNoted = held_.insert(name).second;
    if (!known || !anew.isNoted) return anew;
    const auto file = temporaryNamed(known->file);
    files_.setModified(file, RunLoop::main().now());  // before the look, so that it is not swept behind it as forgotten
    const auto info = files_.info(file);
    if (info && info->size == known->size) return {.file = file, .size = known->size, .told = known->told};
    // Swept, or the program ended while more was written to it.
    if (info) (void)files_.remove(file);
    return anew;
}

void MailKeeper::noteBegun(const std::string& name, const BegunMessage& begun) {
    if (begun.isNoted) quietly([&] { state_.putBegun(name, {begun.file.filename(), begun.size, begun.told}); });
}

void MailKeeper::leaveBegun(const std::string& name, const BegunMessage& begun) {
    if (begun.size == 0 || !begun.isNoted) return dropBegun(name, begun);
    release(name, false);
}

void MailKeeper::dropBegun(const std::string& name, const BegunMessage& begun) {
    (void)files_.remove(begun.file);  // mostly there is none
    if (begun.isNoted) release(name, true);
}

void MailKeeper::release(const std::string& name, bool isOver) {
    const std::lock_guard hold(begunLock_);
    held_.erase(name);
    if (isOver) quietly([&] { state_.forgetBegun(name); });
}

std::uint64_t MailKeeper::begunSize(const std::string& name) {
    const auto begun = state_.begun(name);
    return begun ? begun->size : 0;
}

void MailKeeper::forgetBegun() {
    const std::lock_guard hold(begunLock_);
    for (const auto& [name, begun] : state_.allBegun()) {
        if (held_.contains(name)) continue;
        (void)files_.remove(temporaryNamed(begun.file));
        state_.forgetBegun(name);
    }
}

Result<void> MailKeeper::keep(const MirroredMailbox& mailbox, const std::vector<FetchedMessage>& messages) {
    const Leftovers leftovers{files_, messages, [&](const FetchedMessage& each) {
                                  if (each.isBegun) release(mirroredName(mailbox, each.uid), true);
                              }};
    return add(mailbox, messages);
}

Result<void> MailKeeper::add(const MirroredMailbox& mailbox, const std::vector<FetchedMessage>& messages) {
    // It may have been renamed meanwhile. Out of one that was removed comes what has a place elsewhere.
    const auto now = state_.mailboxNumbered(mailbox.number);
    const bool isRemoved = now && now->order == MirroredMailbox::Order::Remove;
    const auto box =
        now ? library_.mailboxWithIdentifier(mailboxIdentifier(account_, isRemoved ? "" : now->folder)) : nullptr;
    if (!box) return failure(std::string(kMailLibraryErrorDomain), kMailLibraryNotFound, "The mailbox is not there.");
    if (now->uidValidity != mailbox.uidValidity)
        return failure(std::string(kMailLibraryErrorDomain), kMailLibraryNotFound,
                       "The messages of the mailbox have got other numbers meanwhile.");
    // One that another has brought meanwhile may have been moved on or erased since: it must not come a second time.
    const std::lock_guard oneAtATime(lock_);
    std::vector<MirroredArrival> arrivals;
    std::vector<MirroredMessage> known;
    for (const FetchedMessage& each : messages) {
        if (state_.knows(mailbox.number, each.uid)) continue;
        known.push_back({each.uid, mirroredName(mailbox, each.uid), each.flags});
        arrivals.push_back({known.back().name, each.content, unpackedFlags(each.flags), each.date, each.file});
    }
    const bool isNews = mailbox.uidNext != 0;
    if (auto added = library_.addMirrored(*box, arrivals, isNews); !added) return added;
    state_.change(mailbox.number, known, {});
    return {};
}

}  // namespace qs
