// The messages themselves: in large ranges, kept in batches with one sync of the disk for each.
#include <algorithm>
#include <utility>

#include "Foundation/Format.h"
#include "Imap/ImapError.h"
#include "Imap/MailKeeper.h"
#include "Imap/MirroredName.h"
#include "Imap/ServerFlags.h"
#include "Imap/SyncPass.h"
#include "Imap/WorkBehind.h"
#include "Maildir/FolderName.h"

namespace qs {

namespace {

// The first batch is small, so that something is to be seen at once.
constexpr std::size_t kFirstBatch = 50, kBatch = 1000, kFaster = 20;
constexpr std::size_t kBatchBytes = 16 << 20;

}  // namespace

// What somebody has done something to already.
void SyncPass::takeWishedForFirst(Work& work) {
    const auto wishes = parts_.state.wishes();
    if (wishes.empty()) return;
    std::stable_partition(work.arrived.begin(), work.arrived.end(),
                          [&](std::uint32_t uid) { return wishes.contains(mirroredName(work.mailbox, uid)); });
}

Result<void> SyncPass::fetch(Work& work, std::size_t most) {
    if (!work.isPulled) return {};
    if (auto kept = keepCopies(work); !kept) return kept;
    takeWishedForFirst(work);
    WorkBehind behind;
    std::size_t wanted = kFirstBatch;
    while (!work.arrived.empty() && most > 0 && behind.isWell()) {
        if (auto done = selected(work.mailbox); !done) return done;
        const std::size_t count = std::min({wanted, most, work.arrived.size()});
        const auto settled = fetchBatch(work, count, behind);
        if (!settled) return failed(settled);
        most -= *settled;
        // One of them is refused, and with it the others: it is come at by halves.
        const bool isRefused = *settled < count;
        wanted = isRefused ? std::max<std::size_t>(1, (count - *settled) / 2) : std::min(kBatch, wanted * kFaster);
    }
    if (auto kept = behind.finish(); !kept) return kept;
    tree_.forget(work.mailbox.folder);
    // Only when everything is here that the server had up to there, or is remembered.
    if (!work.arrived.empty()) return {};
    if (work.left != work.leftBefore) {
        parts_.state.setUnfetched(work.mailbox.number, {work.left.begin(), work.left.end()});
        work.leftBefore = work.left;
    }
    const bool isNew = work.uidNext != work.mailbox.uidNext || work.modSeq != work.mailbox.modSeq;
    if (!isNew) return {};
    work.mailbox.uidNext = work.uidNext;
    work.mailbox.modSeq = work.modSeq;
    parts_.state.putMailbox(work.mailbox);
    return {};
}

bool SyncPass::isRefusal(const Error& error) const {
    if (error.domain != kImapErrorDomain || !parts_.line.isOpen()) return false;
    // It says so of the message that it stumbles over, too.
    return imapFailure(error) != ImapFailure::Temporary || imapResponseCode(error) == "SERVERBUG";
}

// Once left out of an answer, somebody may just have removed it.
void SyncPass::leaveOut(Work& work, std::uint32_t uid, const Result<void>& asked) {
    work.left.insert(uid);
    if (asked && !work.leftBefore.contains(uid)) return;
    if (!parts_.refused.insert(mirroredName(work.mailbox, uid)).second) return;
    const std::string folder = work.mailbox.folder.empty() ? "Inbox" : pathFromFolderName(work.mailbox.folder);
    parts_.tellPerson(stringWithFormat(
        "A message in “%@” can't be fetched from the server. It is tried again when the program starts the next "
        "time. %@",
        {folder, asked ? "The server leaves it out." : asked.error().description}));
}

Result<std::size_t> SyncPass::fetchBatch(Work& work, std::size_t count, WorkBehind& behind) {
    ImapUidSet uids;
    for (std::size_t i = count; i-- > 0;)
        uids.add(work.arrived[i]);
    std::vector<FetchedMessage> batch;
    std::set<std::uint32_t> came;
    std::size_t bytes = 0;
    const auto done =
        parts_.line.fetch(uids, {.date = true, .content = ImapFetch::Content::Whole}, [&](ImapMessage message) {
            if (!message.content || message.uid == 0) return;
            came.insert(message.uid);
            bytes += message.content->size();
            batch.push_back({message.uid, packedFromServer(message.flags.value_or(ImapFlags())),
                             message.internalDate.value_or(Date{}), std::move(*message.content)});
            if (bytes < kBatchBytes) return;
            keepBehind(work, std::exchange(batch, {}), behind);
            bytes = 0;
        });
    // What came before the connection broke counts.
    keepBehind(work, std::move(batch), behind);
    if (!done && !isRefusal(done.error())) return failed(done);
    const auto begin = work.arrived.begin(), end = begin + static_cast<std::ptrdiff_t>(count);
    const bool isKnownWhich = done || count == 1;
    const auto rest = std::remove_if(begin, end, [&](std::uint32_t uid) {
        if (!came.contains(uid) && isKnownWhich) leaveOut(work, uid, done);
        return came.contains(uid) || isKnownWhich;
    });
    const auto settled = static_cast<std::size_t>(end - rest);
    work.arrived.erase(rest, end);
    return settled;
}

void SyncPass::keepBehind(const Work& work, std::vector<FetchedMessage> batch, WorkBehind& behind) {
    if (batch.empty()) return;
    behind.put([this, mailbox = work.mailbox, batch = std::move(batch)] {
        auto kept = parts_.keeper.keep(mailbox, batch);
        if (kept) tellProgress(batch.size());
        return kept;
    });
}

void SyncPass::tellProgress(std::size_t more) {
    progress_.done += more;
    progress_.total = std::max(progress_.total, progress_.done);
    parts_.tellProgress(progress_);
}

}  // namespace qs
