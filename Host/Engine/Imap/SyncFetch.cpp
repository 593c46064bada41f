// The messages themselves: in large ranges, kept in batches with one sync of the disk for each.
#include <algorithm>
#include <future>
#include <utility>

#include "Imap/ServerFlags.h"
#include "Imap/SyncPass.h"
#include "MailLibrary.h"
#include "Maildir/MaildirFlags.h"

namespace qs {

namespace {

// The first batch is small, so that something is to be seen at once.
constexpr std::size_t kFirstBatch = 50, kBatch = 1000;
constexpr std::size_t kBatchBytes = 16 << 20;

}  // namespace

struct SyncPass::Fetched {
    std::uint32_t uid;
    int flags;
    Date date;
    std::string content;
};

// Keeps one batch on a thread of its own while the next one comes.
class SyncPass::Keeper {
public:
    Keeper(SyncPass& pass, const Work& work) : pass_(pass), work_(work) {}
    ~Keeper() {
        if (keeping_.valid()) keeping_.wait();
    }
    void put(std::vector<Fetched> batch) {
        if (!finish() || batch.empty()) return;
        keeping_ =
            std::async(std::launch::async, [this, batch = std::move(batch)] { return pass_.keep(work_, batch); });
    }
    bool isWell() const { return result_.has_value(); }
    // Waits for what was put. After a failure nothing more is kept.
    Result<void> finish() {
        if (keeping_.valid()) result_ = keeping_.get();
        return result_;
    }

private:
    SyncPass& pass_;
    const Work& work_;
    std::future<Result<void>> keeping_;
    Result<void> result_;
};

Result<void> SyncPass::fetch(Work& work, std::size_t most) {
    if (!work.isPulled) return {};
    Keeper keeper(*this, work);
    std::size_t wanted = kFirstBatch;
    while (!work.arrived.empty() && most > 0 && keeper.isWell()) {
        if (auto done = selected(work.mailbox); !done) return done;
        const std::size_t count = std::min({wanted, most, work.arrived.size()});
        if (auto done = fetchBatch(work, count, keeper); !done) return done;
        most -= count;
        wanted = kBatch;
    }
    if (auto kept = keeper.finish(); !kept) return kept;
    tree_.forget(work.mailbox.folder);
    // Only when everything is here that the server had up to there.
    const bool isNew = work.uidNext != work.mailbox.uidNext || work.modSeq != work.mailbox.modSeq;
    if (!work.arrived.empty() || !isNew) return {};
    work.mailbox.uidNext = work.uidNext;
    work.mailbox.modSeq = work.modSeq;
    parts_.state.putMailbox(work.mailbox);
    return {};
}

Result<void> SyncPass::fetchBatch(Work& work, std::size_t count, Keeper& keeper) {
    ImapUidSet uids;
    for (std::size_t i = count; i-- > 0;)
        uids.add(work.arrived[i]);
    std::vector<Fetched> batch;
    std::size_t bytes = 0;
    const auto done =
        parts_.line.fetch(uids, {.date = true, .content = ImapFetch::Content::Whole}, [&](ImapMessage message) {
            if (!message.content || message.uid == 0) return;
            bytes += message.content->size();
            batch.push_back({message.uid, packedFromServer(message.flags.value_or(ImapFlags())),
                             message.internalDate.value_or(Date{}), std::move(*message.content)});
            if (bytes < kBatchBytes) return;
            keeper.put(std::exchange(batch, {}));
            bytes = 0;
        });
    // What came before the connection broke counts.
    keeper.put(std::move(batch));
    if (!done) return done;
    work.arrived.erase(work.arrived.begin(), work.arrived.begin() + static_cast<std::ptrdiff_t>(count));
    return {};
}

Result<void> SyncPass::keep(const Work& work, const std::vector<Fetched>& batch) {
    const auto box = boxOf(work.mailbox.folder);
    if (!box) return failure(std::string(kMailLibraryErrorDomain), kMailLibraryNotFound, "The mailbox is not there.");
    std::vector<MirroredArrival> arrivals;
    std::vector<MirroredMessage> known;
    for (const Fetched& each : batch) {
        const std::string name = mirroredName(work.mailbox, each.uid);
        arrivals.push_back({name, each.content, unpackedFlags(each.flags), each.date});
        known.push_back({each.uid, name, each.flags});
    }
    const bool isNews = work.mailbox.uidNext != 0;
    if (auto added = parts_.library.addMirrored(*box, arrivals, isNews); !added) return added;
    parts_.state.change(work.mailbox.number, known, {});
    tellProgress(batch.size());
    return {};
}

void SyncPass::tellProgress(std::size_t more) {
    progress_.done += more;
    progress_.total = std::max(progress_.total, progress_.done);
    parts_.tellProgress(progress_);
}

}  // namespace qs
