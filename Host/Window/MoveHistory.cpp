#include "MoveHistory.h"

#include <map>

#include "Foundation/Format.h"
#include "MailLibrary.h"

namespace qs {
namespace {

constexpr std::size_t kMostMoves = 20;
constexpr int kMostCopies = 100;

// The size of one that is only listed yet is not known.
bool isSame(const MessageSummary& found, const MoveHistory::Moved& moved) {
    const bool isOfSize = found.size == moved.size || found.size == 0 || moved.size == 0;
    return found.mailbox == moved.to && found.messageID == moved.messageID && isOfSize;
}

}  // namespace

std::optional<std::int64_t> findMoved(MailLibrary& library, const MoveHistory::Moved& moved,
                                      const std::set<std::int64_t>& taken) {
    const auto byID = library.summary(moved.id);
    if (byID && isSame(*byID, moved) && !taken.contains(moved.id)) return moved.id;
    if (moved.messageID.empty()) return {};
    using Criterion = MessageCriterion;
    const auto copies = Criterion::allOf({Criterion::with(Criterion::Kind::InMailbox, moved.to),
                                          Criterion::with(Criterion::Kind::MessageIDIs, moved.messageID)});
    for (const MessageSummary& copy : library.page(copies, {}, 0, kMostCopies).rows)
        if (isSame(copy, moved) && !taken.contains(copy.id)) return copy.id;
    return {};
}

MoveHistory::Moved MoveHistory::describe(const MessageSummary& before, std::string to) {
    return {before.id, before.messageID, before.size, before.mailbox, std::move(to), before.flags.junk};
}

void MoveHistory::add(std::string name, std::string text, std::vector<Moved> moved) {
    if (moved.empty()) return;
    if (moves_.size() == kMostMoves) moves_.erase(moves_.begin());
    moves_.push_back({++lastNumber_, std::move(name), std::move(text), std::move(moved)});
}

std::optional<MoveHistory::Last> MoveHistory::last() const {
    if (moves_.empty()) return std::nullopt;
    return Last{moves_.back().number, moves_.back().text};
}

std::string MoveHistory::lastName() const { return moves_.empty() ? std::string() : moves_.back().name; }

Result<void> MoveHistory::undo(MailLibrary& library) {
    if (moves_.empty()) return {};
    const Move last = std::move(moves_.back());
    moves_.pop_back();
    std::map<std::string, std::vector<std::int64_t>> idsBySource;
    std::set<std::int64_t> taken;
    std::vector<std::int64_t> toMark[2];  // what is to be no junk again, and what is to be junk
    std::int64_t missing = 0;
    for (const Moved& moved : last.messages) {
        if (const auto id = findMoved(library, moved, taken)) {
            taken.insert(*id);
            idsBySource[moved.from].push_back(*id);
            const auto now = library.summary(*id);
            if (now && now->flags.junk != moved.isJunk) toMark[moved.isJunk ? 1 : 0].push_back(*id);
        } else {
            ++missing;
        }
    }
    Result<void> result;
    for (const bool isJunk : {false, true})
        if (const auto& ids = toMark[isJunk ? 1 : 0]; !ids.empty())
            if (auto marked = library.setFlags(ids, {.junk = isJunk}); !marked) result = marked;
    for (const auto& [source, ids] : idsBySource) {
        const auto mailbox = library.mailboxWithIdentifier(source);
        if (!mailbox) {
            missing += static_cast<std::int64_t>(ids.size());
            continue;
        }
        if (auto moved = library.move(ids, *mailbox); !moved) result = moved;
    }
    if (missing > 0 && result)
        return failure("Viewer", 1,
                       missing == 1 ? "A message is no longer where it was moved to, and stays where it is now."
                                    : stringWithFormat("%ld messages are no longer where they were moved to, and stay "
                                                       "where they are now.",
                                                       {missing}));
    return result;
}

}  // namespace qs
