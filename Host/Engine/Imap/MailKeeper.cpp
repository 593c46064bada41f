#include "Imap/MailKeeper.h"

#include <utility>

#include "Foundation/FileSystem.h"
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
    ~Leftovers() {
        for (const FetchedMessage& each : messages)
            if (!each.file.empty()) (void)files.remove(each.file);
    }
};

}  // namespace

std::filesystem::path MailKeeper::newTemporary() const { return inbox_.newTemporary(RunLoop::main().now()); }

BegunMessage MailKeeper::takeBegun(const std::string& name) {
    const std::lock_guard hold(begunLock_);
    const auto begun = begun_.extract(name);
    return begun ? begun.mapped() : BegunMessage{newTemporary()};
}

void MailKeeper::leaveBegun(const std::string& name, BegunMessage begun) {
    const std::lock_guard hold(begunLock_);
    BegunMessage& kept = begun_[name];
    if (kept.size < begun.size) std::swap(kept, begun);
    if (begun.size > 0) (void)files_.remove(begun.file);
    if (kept.size == 0) begun_.erase(name);
}

std::uint64_t MailKeeper::begunSize(const std::string& name) {
    const std::lock_guard hold(begunLock_);
    const auto begun = begun_.find(name);
    return begun == begun_.end() ? 0 : begun->second.size;
}

void MailKeeper::forgetBegun() {
    const std::lock_guard hold(begunLock_);
    for (const auto& [name, begun] : std::exchange(begun_, {}))
        (void)files_.remove(begun.file);
}

Result<void> MailKeeper::keep(const MirroredMailbox& mailbox, const std::vector<FetchedMessage>& messages) {
    const Leftovers leftovers{files_, messages};
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
