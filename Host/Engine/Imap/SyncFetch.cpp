// The messages themselves: in large ranges, kept in batches with one sync of the disk for each.
#include <algorithm>
#include <utility>

#include "Imap/MailKeeper.h"
#include "Imap/MirroredName.h"
#include "Imap/ServerFlags.h"
#include "Imap/SyncPass.h"
#include "Imap/WorkBehind.h"

namespace qs {

namespace {

// The first batch is small, so that something is to be seen at once.
constexpr std::size_t kFirstBatch = 50, kBatch = 1000;
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
    takeWishedForFirst(work);
    WorkBehind behind;
    std::size_t wanted = kFirstBatch;
    while (!work.arrived.empty() && most > 0 && behind.isWell()) {
        if (auto done = selected(work.mailbox); !done) return done;
        const std::size_t count = std::min({wanted, most, work.arrived.size()});
        if (auto done = fetchBatch(work, count, behind); !done) return done;
        most -= count;
        wanted = kBatch;
    }
    if (auto kept = behind.finish(); !kept) return kept;
    tree_.forget(work.mailbox.folder);
    // Only when everything is here that the server had up to there.
    const bool isNew = work.uidNext != work.mailbox.uidNext || work.modSeq != work.mailbox.modSeq;
    if (!work.arrived.empty() || !isNew) return {};
    work.mailbox.uidNext = work.uidNext;
    work.mailbox.modSeq = work.modSeq;
    parts_.state.putMailbox(work.mailbox);
    return {};
}

Result<void> SyncPass::fetchBatch(Work& work, std::size_t count, WorkBehind& behind) {
    ImapUidSet uids;
    for (std::size_t i = count; i-- > 0;)
        uids.add(work.arrived[i]);
    std::vector<FetchedMessage> batch;
    std::size_t bytes = 0;
    const auto done =
        parts_.line.fetch(uids, {.date = true, .content = ImapFetch::Content::Whole}, [&](ImapMessage message) {
            if (!message.content || message.uid == 0) return;
            bytes += message.content->size();
            batch.push_back({message.uid, packedFromServer(message.flags.value_or(ImapFlags())),
                             message.internalDate.value_or(Date{}), std::move(*message.content)});
            if (bytes < kBatchBytes) return;
            keepBehind(work, std::exchange(batch, {}), behind);
            bytes = 0;
        });
    // What came before the connection broke counts.
    keepBehind(work, std::move(batch), behind);
    if (!done) return done;
    work.arrived.erase(work.arrived.begin(), work.arrived.begin() + static_cast<std::ptrdiff_t>(count));
    return {};
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
