// The list of what is still to be fetched: headers come long before the messages, so that they are to be seen, found
// and opened meanwhile.
#include <algorithm>
#include <utility>

#include "Imap/MirroredName.h"
#include "Imap/ServerFlags.h"
#include "Imap/SyncPass.h"
#include "Imap/WorkBehind.h"
#include "Library/LibraryObjects.h"
#include "MailLibrary.h"
#include "Maildir/MaildirFlags.h"

namespace qs {

namespace {

// Fewer are fetched as a whole soon enough.
constexpr std::size_t kWorthListing = 20;
// The first batch is small, so that something is to be seen at once.
constexpr std::size_t kFirstBatch = 200, kBatch = 2500;
constexpr int kMostCuts = 4;  // connections that break over a list

struct Header {
    std::string name, text;
    int flags = 0;
    Date date;
};

}  // namespace

Result<void> SyncPass::list(Work& work) {
    if (!work.isPulled || work.mailbox.order == MirroredMailbox::Order::Remove) return {};
    const auto flags = std::exchange(work.flags, {});
    if (!listed_) listed_ = parts_.library.listed(parts_.account);
    const std::string prefix = mirroredPrefix(work.mailbox),
                      allOfMailbox = mirroredPrefixWhateverValidity(work.mailbox);
    std::map<std::string, int> present;
    std::vector<std::uint32_t> missing;
    std::vector<std::uint32_t> awaited(work.arrived);
    awaited.insert(awaited.end(), work.left.begin(), work.left.end());
    for (const std::uint32_t uid : awaited) {
        std::string name = prefix + std::to_string(uid);
        const auto there = flags.find(uid);
        const auto listed = listed_->find(name);
        if (listed == listed_->end())
            missing.push_back(uid);
        else
            present[std::move(name)] = there != flags.end() ? there->second : listed->second.flags;
    }
    std::vector<std::string> gone, expunged;
    for (auto each = listed_->lower_bound(allOfMailbox); each != listed_->end(); ++each) {
        if (!each->first.starts_with(allOfMailbox)) break;
        if (present.contains(each->first)) continue;
        gone.push_back(each->first);
        if (each->first.starts_with(prefix)) expunged.push_back(each->first);
    }
    // The server counts anew, and nobody knows which of its messages they were meant for.
    for (const auto& [name, wish] : parts_.state.wishes())
        if (!wish.isRemoved && name.starts_with(allOfMailbox) && !name.starts_with(prefix)) expunged.push_back(name);
    parts_.state.forgetWishes(expunged);
    std::erase_if(present, [&](const auto& entry) { return listed_->at(entry.first).flags == entry.second; });
    if (!present.empty() || !gone.empty()) parts_.library.changeListed(parts_.account, present, gone);
    if (missing.size() < kWorthListing) return {};
    // A header over which the server falls each time must not keep the messages back.
    const std::string trouble = "/" + work.mailbox.folder;
    if (const auto cut = parts_.troubles.cut.find(trouble);
        cut != parts_.troubles.cut.end() && cut->second >= kMostCuts)
        return {};
    auto done = listHeaders(work, missing);
    if (done)
        parts_.troubles.cut.erase(trouble);
    else
        (void)isCutOver(trouble, done.error(), kMostCuts);
    return done;
}

Result<void> SyncPass::listHeaders(const Work& work, const std::vector<std::uint32_t>& uids) {
    const auto box = boxOf(work.mailbox.folder);
    if (!box) return failure(std::string(kMailLibraryErrorDomain), kMailLibraryNotFound, "The mailbox is not there.");
    if (auto done = selected(work.mailbox); !done) return done;
    const std::string prefix = mirroredPrefix(work.mailbox);
    WorkBehind behind;
    for (std::size_t at = 0, count = kFirstBatch; at < uids.size() && behind.isWell(); at += count, count = kBatch) {
        ImapUidSet set;
        for (std::size_t i = std::min(at + count, uids.size()); i-- > at;)
            set.add(uids[i]);
        std::vector<Header> batch;
        auto done =
            parts_.line.fetch(set, {.date = true, .content = ImapFetch::Content::ListFields}, [&](ImapMessage message) {
                if (!message.content || message.uid == 0) return;
                batch.push_back({prefix + std::to_string(message.uid), std::move(*message.content),
                                 packedFromServer(message.flags.value_or(ImapFlags())),
                                 message.internalDate.value_or(Date{})});
            });
        behind.put([this, box, batch = std::move(batch)] {
            std::vector<MirroredListing> listings;
            for (const Header& each : batch)
                listings.push_back({each.name, each.text, unpackedFlags(each.flags), each.date});
            const auto listed = parts_.library.listMirrored(*box, listings);
            // The messages themselves need no index.
            const bool isIndex =
                !listed && listed.error().domain == kMailLibraryErrorDomain && listed.error().code == kMailLibraryIndex;
            return isIndex ? Result<void>() : listed;
        });
        if (!done) return done;
    }
    return behind.finish();
}

}  // namespace qs
