// The messages themselves: in large ranges, kept in batches with one sync of the disk for each; what is too large for
// that comes last and one by one.
#include <algorithm>
#include <utility>

#include "Foundation/Format.h"
#include "Imap/ImapError.h"
#include "Imap/LargeMessage.h"
#include "Imap/MailKeeper.h"
#include "Imap/MailboxNames.h"
#include "Imap/MirroredName.h"
#include "Imap/ServerFlags.h"
#include "Imap/SyncPass.h"
#include "Imap/WorkBehind.h"

namespace qs {

namespace {

// The first batch is small, so that something is to be seen at once.
constexpr std::size_t kFirstBatch = 50, kBatch = 1000, kFaster = 20;
constexpr std::size_t kBatchBytes = 16 << 20;
constexpr int kMostRefused = 10;  // in a row
// Connections that break over a message: then it comes alone, then it stays there.
constexpr int kCutsTogether = 2, kCutsAlone = 5;

bool isNonsense(const Error& error) {
    return error.domain == kImapErrorDomain && imapFailure(error) == ImapFailure::Malformed;
}

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
    if (!parts_.troubles.alone.empty())
        for (const std::uint32_t uid : work.arrived)
            if (parts_.troubles.alone.contains(mirroredName(work.mailbox, uid))) work.large.insert(uid);
    WorkBehind behind;
    std::size_t wanted = kFirstBatch;
    int refusedInARow = 0;
    while (!work.arrived.empty() && most > 0 && behind.isWell()) {
        if (auto done = selected(work.mailbox); !done) return done;
        const auto count = withoutLarge(work, std::min(wanted, most));
        if (!count) return failed(count);
        if (*count == 0) break;
        const std::size_t left = work.left.size();
        const auto settled = fetchBatch(work, *count, behind);
        if (!settled) return failed(settled);
        most -= *settled;
        if (*settled > 0) refusedInARow = work.left.size() - left == *settled ? refusedInARow + 1 : 0;
        // It has trouble with the mailbox, not with each of its messages.
        if (refusedInARow >= kMostRefused) break;
        // One of them is refused, and with it the others: it is come at by halves.
        const bool isRefused = *settled < *count;
        wanted = isRefused ? std::max<std::size_t>(1, (*count - *settled) / 2) : std::min(kBatch, wanted * kFaster);
    }
    if (auto kept = behind.finish(); !kept) return kept;
    concludeFetch(work);
    return {};
}

Result<void> SyncPass::fetchLarge(Work& work) {
    if (!work.isPulled || work.arrived.empty()) return {};
    if (auto kept = keepCopies(work); !kept) return kept;
    takeWishedForFirst(work);
    for (const std::uint32_t uid : std::vector(work.arrived)) {
        if (!work.large.contains(uid)) continue;
        if (auto done = selected(work.mailbox); !done) return done;
        if (auto done = fetchLargeOne(work, uid); !done) return done;
    }
    concludeFetch(work);
    return {};
}

// Only when everything is here that the server had up to there, or is remembered.
void SyncPass::concludeFetch(Work& work) {
    tree_.forget(work.mailbox.folder);
    if (!work.arrived.empty()) return;
    if (work.left != work.leftBefore) {
        parts_.state.setUnfetched(work.mailbox.number, {work.left.begin(), work.left.end()});
        work.leftBefore = work.left;
    }
    if (work.uidNext == work.mailbox.uidNext && work.modSeq == work.mailbox.modSeq) return;
    work.mailbox.uidNext = work.uidNext;
    work.mailbox.modSeq = work.modSeq;
    parts_.state.putMailbox(work.mailbox);
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
    if (!parts_.troubles.refused.insert(mirroredName(work.mailbox, uid)).second) return;
    parts_.tellPerson(stringWithFormat(
        "A message in “%@” can't be fetched from the server. It is tried again when the program starts the next "
        "time. %@",
        {shownPath(work.mailbox.folder), asked ? "The server leaves it out." : asked.error().description}));
}

Result<std::size_t> SyncPass::withoutLarge(Work& work, std::size_t most) {
    for (;;) {
        const auto begin = work.arrived.begin();
        auto end = work.arrived.end();
        if (!work.large.empty())
            end = std::stable_partition(begin, end, [&](std::uint32_t uid) { return !work.large.contains(uid); });
        const std::size_t count = std::min(most, static_cast<std::size_t>(end - begin));
        if (count == 0) return count;
        ImapUidSet uids;
        for (std::size_t i = count; i-- > 0;)
            uids.add(work.arrived[i]);
        const auto large = largeMessages(parts_.line, uids);
        if (!large && !isRefusal(large.error())) return failed(large);
        if (!large || large->empty()) return count;
        // They take long, and are to be seen meanwhile; those of a removed mailbox are, where they were moved to.
        if (work.mailbox.order != MirroredMailbox::Order::Remove) {
            const auto listed = listHeaders(work, {large->rbegin(), large->rend()});
            if (!listed && !isRefusal(listed.error())) return failed(listed);
        }
        work.large.insert(large->begin(), large->end());
    }
}

Result<void> SyncPass::fetchLargeOne(Work& work, std::uint32_t uid) {
    const std::string name = mirroredName(work.mailbox, uid);
    const std::uint64_t before = parts_.keeper.begunSize(name);
    auto message = fetchOne(parts_.line, uid, parts_.keeper, name);
    if (message && *message) {
        parts_.troubles.cut.erase(name);
        if (auto kept = parts_.keeper.keep(work.mailbox, {std::move(**message)}); !kept) return kept;
        tellProgress(1);
    } else if (message || isRefusal(message.error())) {
        leaveOut(work, uid, message ? Result<void>() : failed(message));
    } else if (isLackOfRoom(message.error())) {
        // Others may be smaller, and the next pass sees whether there is room.
        work.left.insert(uid);
        if (!work.leftBefore.contains(uid)) parts_.tellPerson(message.error().description + " It stays at the server.");
    } else {
        // As long as more of it comes each time, the line is bad and not the message.
        if (parts_.keeper.begunSize(name) > before) parts_.troubles.cut.erase(name);
        if (isNonsense(message.error()) || isCutOver(name, message.error(), kCutsAlone))
            leaveOut(work, uid, failed(message));
        return failed(message);
    }
    std::erase(work.arrived, uid);
    work.large.erase(uid);
    return {};
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
    if (!done && !isRefusal(done.error())) {
        // It may be larger than the server says, or garbled: alone it comes in pieces, and is found out.
        std::set<std::string> missing;
        std::uint32_t next = 0;
        for (std::size_t i = 0; i < count; ++i) {
            const std::uint32_t uid = work.arrived[i];
            if (came.contains(uid)) continue;
            missing.insert(mirroredName(work.mailbox, uid));
            if (next == 0 || uid < next) next = uid;
        }
        // Or the server itself can't cope with it. They mostly come in the order of their uids.
        const std::string name = next == 0 ? "" : mirroredName(work.mailbox, next);
        if (isNonsense(done.error()))
            parts_.troubles.alone.merge(missing);
        else if (next != 0 && isCutOver(name, done.error(), kCutsTogether))
            parts_.troubles.alone.insert(name);
        return failed(done);
    }
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
