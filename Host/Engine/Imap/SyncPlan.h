// What has to be done to bring a mailbox here and at its server into step. Pure: no files, no network.
//
// A change of the server's is taken over first (pull), then what was changed here is handed on (push). In between, what
// both agreed on is what the server said last, so that a change of ours stays one until the server has it. Of a flag
// that was changed on both sides, ours holds.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "Imap/ImapUidSet.h"
#include "Imap/MirrorState.h"
#include "MailLibrary.h"

namespace qs {

// Names of the messages that lie in a folder, with their packed flags.
using MessagesHere = std::unordered_map<std::string, int>;

struct ServerView {
    std::map<std::uint32_t, int> flags;  // packed
    bool isComplete = false;             // every message of the mailbox is among them; else those that changed
    ImapUidSet vanished;                 // when it is not complete
    // At Gmail: the messages' own numbers, as far as told; and uids that are gone, also of messages never fetched.
    std::map<std::uint32_t, std::uint64_t> gmail;
    std::vector<std::uint32_t> gmailGone;
};

struct PullPlan {
    std::vector<std::uint32_t> forget;          // gone at the server
    std::vector<std::string> drop;              // and so here
    std::vector<MirroredMessage> gone;          // gone at the server while it was moved or erased here
    std::map<std::string, FlagBits> flagsHere;  // to be set here
    std::vector<MirroredMessage> agreed;        // what both now agree on, where that changed
    std::vector<std::uint32_t> arrived;         // not known yet; newest first
    bool isWhole = true;  // no: flags were changed there of messages that are elsewhere here, and wait until they are
};

bool isGone(const ServerView& server, std::uint32_t uid);
// `kept`: flags that the server keeps for that mailbox, packed. The others are not compared.
PullPlan planPull(const std::vector<MirroredMessage>& known, const ServerView& server, const MessagesHere& here,
                  int kept = -1);

// Where a message is that is missing in a mailbox.
struct Whereabouts {
    enum class Kind {
        Nowhere,
        Unknown,  // a folder can't be read
        Erased,   // on purpose
        Moved,    // into another mailbox, which at the server has no such message yet
        Arrived,  // there, also at the server; or in a folder that the server does not see
    };
    Kind kind = Kind::Nowhere;
    std::string folder;  // of a moved one
};

struct PushPlan {
    // Uids that get the same change.
    std::map<std::pair<int, int>, ImapUidSet> flagsThere;       // by bits to set and to clear
    std::vector<MirroredMessage> agreed;                        // once that is done
    std::map<std::string, std::vector<MirroredMessage>> moves;  // by target folder
    std::vector<MirroredMessage> expunge;
    std::vector<MirroredMessage> fetchAgain;  // lost here without an order
    std::vector<std::string> onlyHere;        // names
    bool isWhole = true;                      // no: of some that are missing it can't be said where they are
};

PushPlan planPush(const std::vector<MirroredMessage>& known, const MessagesHere& here,
                  const std::function<Whereabouts(const std::string& name)>& whereabouts, int kept = -1);

}  // namespace qs
