// Moves of messages that can be taken back, the last one first. A message is found again by what stays the same while
// it is moved, as its library id may not.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Foundation/Result.h"

namespace qs {

class MailLibrary;
struct MessageSummary;

class MoveHistory {
public:
    struct Moved {
        std::int64_t id = 0;  // before the move
        std::string messageID;
        std::uint64_t size = 0;
        std::string from, to;  // mailbox identifiers
        bool isJunk = false;   // marked so before the move
    };
    static Moved describe(const MessageSummary& before, std::string to);

    // name: as in "Undo Archive"; text: a sentence that tells what was done.
    void add(std::string name, std::string text, std::vector<Moved> moved);
    bool isEmpty() const { return moves_.empty(); }
    std::string lastName() const;
    // The last one's number, which grows with every move, and its sentence; nothing when there is none.
    struct Last {
        int number = 0;
        std::string text;
    };
    std::optional<Last> last() const;
    // Moves back what can still be found where it was put; the error tells of the rest. Either way it is done with.
    Result<void> undo(MailLibrary& library);

private:
    struct Move {
        int number = 0;
        std::string name, text;
        std::vector<Moved> messages;
    };
    std::vector<Move> moves_;
    int lastNumber_ = 0;
};

// Where the message is now, if it is in the mailbox that it was moved to; one not in `taken`.
std::optional<std::int64_t> findMoved(MailLibrary& library, const MoveHistory::Moved& moved,
                                      const std::set<std::int64_t>& taken);

}  // namespace qs
