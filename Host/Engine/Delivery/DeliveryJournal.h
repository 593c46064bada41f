// What is known of one delivery under way, kept so that a crash at any moment leaves enough to go on from: which
// recipients were reached, whether the final dot may have gone out, whether the sent copy stands.
//
// A file <Deliveries>/<unique>.journal of lines, each appended and synced before what it announces happens (or after
// what it reports has happened). A torn line is as if it had not been written; anything else that is not understood
// makes the outcome unknown.
#pragma once

#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Result.h"

namespace qs {

class FileSystem;

class DeliveryJournal {
public:
    enum class Stage {
        Claimed,    // out of the outbox, nothing sent
        FinalDot,   // the server may have the whole message from here on
        Accepted,   // the server, or every local inbox, has it
        SentCopied  // the copy stands in Sent; only tidying is left
    };
    struct State {
        std::string uniqueID, account;
        std::filesystem::path claimedFile;
        Stage stage = Stage::Claimed;
        std::set<std::string> reached;               // recipients that need nothing more: almost always, they have it
        std::map<std::string, std::string> refused;  // recipients that will not get it, and why
        std::map<std::string, std::string> later;    // recipients that are to be tried again, and why
        int attempts = 0;
    };

    DeliveryJournal(std::filesystem::path folder, FileSystem& files);

    // All journals, with their states. Those that can't be read are copied to `corrupt` and named in `damaged`; as
    // nobody knows how far these deliveries went, their stage is FinalDot.
    std::vector<State> readAll(std::vector<std::string>& damaged);

    // Each is durable when it returns. begin() writes the whole state anew, whatever was noted before.
    Result<void> begin(const State& state);
    Result<void> noteStage(const State& state, Stage stage);
    Result<void> noteReached(const State& state, std::string_view recipient);
    Result<void> noteRefused(const State& state, std::string_view recipient, std::string_view why);
    Result<void> noteLater(const State& state, std::string_view recipient, std::string_view why);
    Result<void> end(const State& state);  // the delivery is over: the file goes

private:
    std::filesystem::path fileOf(const State& state) const;
    Result<void> appendLine(const State& state, std::string_view line);
    State readOne(const std::filesystem::path& file, std::vector<std::string>& damaged);

    std::filesystem::path folder_;
    FileSystem& files_;
};

}  // namespace qs
