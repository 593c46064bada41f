#include "Delivery/DeliveryJournal.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <optional>

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
constexpr std::string_view kWords[] = {"unique", "account", "file", "attempts", "reached", "refused", "later"};

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

// "word <value>": the bracket at the end tells a whole value from a torn one.
std::string lineWith(std::string_view word, std::string_view value) {
    return std::string(word) + " <" + oneLine(value) + ">";
}

void takeUp(DeliveryJournal::State& state, std::string_view word, std::string_view value) {
    if (word == "unique") state.uniqueID = value;
    if (word == "account") state.account = value;
    if (word == "file") state.claimedFile = std::string(value);
    if (word == "reached") state.reached.emplace(value);
    if (word == "attempts") state.attempts = std::atoi(std::string(value).c_str());
    if (word == "refused" || word == "later") {
        const auto space = value.find(' ');
        auto& list = word == "later" ? state.later : state.refused;
        list[std::string(value.substr(0, space))] =
            space == std::string_view::npos ? std::string_view() : value.substr(space + 1);
    }
}

bool isTorn(std::string_view line) {
    const auto begins = [line](std::string_view word) { return word.starts_with(line.substr(0, line.find(' '))); };
    return std::any_of(std::begin(kStages), std::end(kStages), [&](const auto& each) { return begins(each.second); }) ||
           std::any_of(std::begin(kWords), std::end(kWords), begins);
}

// False for a line that is neither whole nor the beginning of one.
bool takeUpLine(DeliveryJournal::State& state, std::string_view line) {
    for (const auto& [stage, word] : kStages) {
        if (word != line) continue;
        state.stage = stage;
        return true;
    }
    const auto space = std::min(line.find(' '), line.size());
    const std::string_view word = line.substr(0, space);
    std::string_view value = line.substr(std::min(space + 1, line.size()));
    const bool isKnown = std::find(std::begin(kWords), std::end(kWords), word) != std::end(kWords);
    if (!isKnown || !value.starts_with('<') || !value.ends_with('>') || value.size() < 2) return isTorn(line);
    value.remove_prefix(1);
    value.remove_suffix(1);
    takeUp(state, word, value);
    return true;
}

// Nothing when it makes no sense. What follows the last line end was being written when the power went.
std::optional<DeliveryJournal::State> parse(std::string_view text) {
    DeliveryJournal::State state;
    for (auto end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
        const auto line = text.substr(0, end);
        text.remove_prefix(end + 1);
        if (!line.empty() && !takeUpLine(state, line)) return std::nullopt;
    }
    return state.claimedFile.empty() ? std::nullopt : std::optional(state);
}

}  // namespace

DeliveryJournal::DeliveryJournal(std::filesystem::path folder, FileSystem& files)
    : folder_(std::move(folder)), files_(files) {}

// Named after the claimed file: that name is unique, and nothing of it comes from outside.
std::filesystem::path DeliveryJournal::fileOf(const State& state) const {
    return folder_ / (state.claimedFile.filename().string() + std::string(kEnding));
}

// The line end in front closes what an append that failed may have left.
Result<void> DeliveryJournal::appendLine(const State& state, std::string_view line) {
    return files_.append(fileOf(state), "\n" + std::string(line) + "\n");
}

Result<void> DeliveryJournal::begin(const State& state) {
    if (auto made = files_.makeFolder(folder_); !made) return made;
    std::string text = lineWith("unique", state.uniqueID) + "\n" + lineWith("account", state.account) + "\n" +
                       lineWith("file", state.claimedFile.string()) + "\n" +
                       lineWith("attempts", std::to_string(state.attempts)) + "\n";
    for (const auto& recipient : state.reached)
        text += lineWith("reached", recipient) + "\n";
    for (const auto& [recipient, why] : state.refused)
        text += lineWith("refused", recipient + " " + why) + "\n";
    for (const auto& [recipient, why] : state.later)
        text += lineWith("later", recipient + " " + why) + "\n";
    return files_.replace(fileOf(state), text + std::string(wordOf(state.stage)) + "\n");
}

Result<void> DeliveryJournal::noteStage(const State& state, Stage stage) { return appendLine(state, wordOf(stage)); }

Result<void> DeliveryJournal::noteReached(const State& state, std::string_view recipient) {
    return appendLine(state, lineWith("reached", recipient));
}

Result<void> DeliveryJournal::noteRefused(const State& state, std::string_view recipient, std::string_view why) {
    return appendLine(state, lineWith("refused", std::string(recipient) + " " + std::string(why)));
}

Result<void> DeliveryJournal::noteLater(const State& state, std::string_view recipient, std::string_view why) {
    return appendLine(state, lineWith("later", std::string(recipient) + " " + std::string(why)));
}

Result<void> DeliveryJournal::end(const State& state) {
    auto removed = files_.remove(fileOf(state));
    return removed || removed.error().code == ENOENT ? files_.syncFolder(folder_) : removed;
}

DeliveryJournal::State DeliveryJournal::readOne(const std::filesystem::path& file, std::vector<std::string>& damaged) {
    const std::string name = file.filename().string();
    auto text = files_.read(file);
    if (auto state = text ? parse(*text) : std::nullopt) return std::move(*state);
    // The journal itself stays until the delivery is settled: without it the message would count as never sent.
    const auto copy = folder_ / "corrupt" / name;
    if (!files_.exists(copy)) {
        auto kept = files_.makeFolder(copy.parent_path());
        if (kept && text) kept = files_.writeNew(copy, *text);
        if (!kept) logWarning("A damaged record of a delivery could not be put aside: " + kept.error().description);
        damaged.push_back("The record of a delivery was damaged, so nobody knows whether the message was sent. It was "
                          "put aside as " +
                          copy.string() + ".");
    }
    State state;
    state.claimedFile = name.substr(0, name.size() - kEnding.size());
    state.stage = Stage::FinalDot;
    return state;
}

std::vector<DeliveryJournal::State> DeliveryJournal::readAll(std::vector<std::string>& damaged) {
    std::vector<State> result;
    auto listing = files_.list(folder_);
    if (!listing) return result;  // no delivery was ever under way
    for (const auto& entry : *listing)
        if (!entry.isFolder && entry.path.filename().string().ends_with(kEnding))
            result.push_back(readOne(entry.path, damaged));
    return result;
}

}  // namespace qs
