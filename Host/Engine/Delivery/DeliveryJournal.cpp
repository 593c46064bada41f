#include "Delivery/DeliveryJournal.h"

#include <cerrno>
#include <cstdlib>

#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"

namespace qs {

namespace {

constexpr std::string_view kEnding = ".journal";
constexpr std::pair<DeliveryJournal::Stage, std::string_view> kStages[] = {
    {DeliveryJournal::Stage::Claimed, "claimed"},
    {DeliveryJournal::Stage::FinalDot, "final-dot"},
    {DeliveryJournal::Stage::Accepted, "accepted"},
    {DeliveryJournal::Stage::SentCopied, "sent-copied"}};

std::string_view wordOf(DeliveryJournal::Stage stage) {
    for (const auto& [each, word] : kStages)
        if (each == stage) return word;
    return {};
}

// One line's worth: what came from a message or a server must not make a second one.
std::string oneLine(std::string_view text) {
    std::string line(text);
    for (char& c : line)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) c = ' ';
    return line;
}

void takeUp(DeliveryJournal::State& state, std::string_view word, std::string_view value) {
    for (const auto& [stage, name] : kStages)
        if (name == word) state.stage = stage;
    if (word == "unique") state.uniqueID = value;
    if (word == "account") state.account = value;
    if (word == "file") state.claimedFile = std::string(value);
    if (word == "reached") state.reached.emplace(value);
    if (word == "attempts") state.attempts = std::atoi(std::string(value).c_str());
    if (word == "answer") state.lastAnswer = value;
}

// Lines up to the last line end: a torn last line counts as not written.
DeliveryJournal::State parse(std::string_view text) {
    DeliveryJournal::State state;
    for (auto end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
        const auto line = text.substr(0, end);
        text.remove_prefix(end + 1);
        const auto space = line.find(' ');
        takeUp(state, line.substr(0, space),
               space == std::string_view::npos ? std::string_view() : line.substr(space + 1));
    }
    return state;
}

}  // namespace

DeliveryJournal::DeliveryJournal(std::filesystem::path folder, FileSystem& files)
    : folder_(std::move(folder)), files_(files) {}

// Named after the claimed file: that name is unique, and nothing of it comes from outside.
std::filesystem::path DeliveryJournal::fileOf(const State& state) const {
    return folder_ / (state.claimedFile.filename().string() + std::string(kEnding));
}

Result<void> DeliveryJournal::appendLine(const State& state, std::string_view word, std::string_view value) {
    return files_.append(fileOf(state), std::string(word) + (value.empty() ? "" : " ") + oneLine(value) + "\n");
}

Result<void> DeliveryJournal::begin(const State& state) {
    if (auto made = files_.makeFolder(folder_); !made) return made;
    const std::string text = "unique " + oneLine(state.uniqueID) + "\naccount " + oneLine(state.account) + "\nfile " +
                             state.claimedFile.string() + "\nattempts " + std::to_string(state.attempts) + "\n" +
                             std::string(wordOf(state.stage)) + "\n";
    return files_.replace(fileOf(state), text);
}

Result<void> DeliveryJournal::noteStage(const State& state, Stage stage) {
    return appendLine(state, wordOf(stage), {});
}

Result<void> DeliveryJournal::noteReached(const State& state, std::string_view recipient) {
    return appendLine(state, "reached", recipient);
}

Result<void> DeliveryJournal::end(const State& state) {
    auto removed = files_.remove(fileOf(state));
    return removed || removed.error().code == ENOENT ? files_.syncFolder(folder_) : removed;
}

std::vector<DeliveryJournal::State> DeliveryJournal::readAll(std::vector<std::string>& damaged) {
    std::vector<State> result;
    auto listing = files_.list(folder_);
    if (!listing) return result;  // no delivery was ever under way
    for (const auto& entry : *listing) {
        const std::string name = entry.path.filename().string();
        if (entry.isFolder || !name.ends_with(kEnding)) continue;
        auto text = files_.read(entry.path);
        State state = text ? parse(*text) : State();
        if (!state.claimedFile.empty()) {
            result.push_back(std::move(state));
            continue;
        }
        const auto corrupt = folder_ / "corrupt";
        (void)files_.makeFolder(corrupt);
        (void)files_.rename(entry.path, corrupt / name);
        damaged.push_back("A record of a delivery was damaged. It was put aside as " + (corrupt / name).string() + ".");
    }
    return result;
}

}  // namespace qs
