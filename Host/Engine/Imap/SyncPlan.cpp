#include "Imap/SyncPlan.h"

#include <algorithm>
#include <unordered_set>

namespace qs {

namespace {

// A colour is a number in three bits: half of it from each side would be a colour that nobody chose.
constexpr int kColour = 7 << 8;

int withWholeColour(int bits) { return (bits & kColour) != 0 ? bits | kColour : bits; }

}  // namespace

bool isGone(const ServerView& server, std::uint32_t uid) {
    if (server.isComplete) return !server.flags.contains(uid);
    return server.vanished.contains(uid) && !server.flags.contains(uid);
}

PullPlan planPull(const std::vector<MirroredMessage>& known, const ServerView& server, const MessagesHere& here,
                  int kept) {
    PullPlan plan;
    std::unordered_set<std::uint32_t> uids;
    for (const MirroredMessage& message : known) {
        uids.insert(message.uid);
        const auto local = here.find(message.name);
        if (isGone(server, message.uid)) {
            plan.forget.push_back(message.uid);
            if (local != here.end())
                plan.drop.push_back(message.name);
            else
                plan.gone.push_back(message);
            continue;
        }
        const auto found = server.flags.find(message.uid);
        if (found == server.flags.end()) continue;
        const int there = (found->second & kept) | (message.flags & ~kept);
        if (there == message.flags) continue;
        // Of one that is moved, the mailbox that it goes to tells it.
        if (local == here.end()) {
            plan.isWhole = false;
            continue;
        }
        plan.agreed.push_back({message.uid, message.name, there});
        const int ours = withWholeColour(local->second ^ message.flags);
        const int theirs = withWholeColour(there ^ message.flags) & ~ours;
        const FlagBits bits{.set = theirs & there & ~local->second, .clear = theirs & ~there & local->second};
        if (bits.set != 0 || bits.clear != 0) plan.flagsHere[message.name] = bits;
    }
    for (const auto& [uid, flags] : server.flags)
        if (!uids.contains(uid)) plan.arrived.push_back(uid);
    std::reverse(plan.arrived.begin(), plan.arrived.end());
    return plan;
}

PushPlan planPush(const std::vector<MirroredMessage>& known, const MessagesHere& here,
                  const std::function<Whereabouts(const std::string& name)>& whereabouts, int kept) {
    PushPlan plan;
    std::unordered_set<std::string> names;
    for (const MirroredMessage& message : known) {
        names.insert(message.name);
        const auto local = here.find(message.name);
        if (local != here.end()) {
            const int changed = (local->second ^ message.flags) & kept;
            if (changed == 0) continue;
            plan.flagsThere[{changed & local->second, changed & message.flags}].add(message.uid);
            plan.agreed.push_back({message.uid, message.name, message.flags ^ changed});
            continue;
        }
        const Whereabouts where = whereabouts(message.name);
        switch (where.kind) {
        case Whereabouts::Kind::Unknown: plan.isWhole = false; break;
        case Whereabouts::Kind::Nowhere: plan.fetchAgain.push_back(message); break;
        case Whereabouts::Kind::Moved: plan.moves[where.folder].push_back(message); break;
        case Whereabouts::Kind::Erased:
        case Whereabouts::Kind::Arrived: plan.expunge.push_back(message); break;
        }
    }
    for (const auto& [name, flags] : here)
        if (!names.contains(name)) plan.onlyHere.push_back(name);
    std::sort(plan.onlyHere.begin(), plan.onlyHere.end());
    return plan;
}

}  // namespace qs
