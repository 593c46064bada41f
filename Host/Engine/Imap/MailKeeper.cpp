#include "Imap/MailKeeper.h"

#include "Imap/MirrorState.h"
#include "Imap/MirroredName.h"
#include "Library/LibraryObjects.h"
#include "MailLibrary.h"
#include "Maildir/MaildirFlags.h"

namespace qs {

Result<void> MailKeeper::keep(const MirroredMailbox& mailbox, const std::vector<FetchedMessage>& messages) {
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
        arrivals.push_back({known.back().name, each.content, unpackedFlags(each.flags), each.date});
    }
    const bool isNews = mailbox.uidNext != 0;
    if (auto added = library_.addMirrored(*box, arrivals, isNews); !added) return added;
    state_.change(mailbox.number, known, {});
    return {};
}

}  // namespace qs
