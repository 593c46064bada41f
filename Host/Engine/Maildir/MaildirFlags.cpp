#include "Maildir/MaildirFlags.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"
#include "MailLibrary.h"
#include "Text/Ascii.h"

namespace qs {

namespace {

constexpr std::string_view kJunk = "$Junk";
constexpr std::array<std::string_view, 3> kColourBits{"$MailFlagBit0", "$MailFlagBit1", "$MailFlagBit2"};
constexpr int kLastColour = 6;
constexpr std::size_t kLargestKeywordFile = 64 * 1024;

struct PlainFlag {
    char letter;
    bool MessageFlags::*member;
    int bit;
};
constexpr std::array<PlainFlag, 6> kPlainFlags{{{'S', &MessageFlags::seen, 1},
                                                {'R', &MessageFlags::answered, 2},
                                                {'F', &MessageFlags::flagged, 4},
                                                {'D', &MessageFlags::draft, 8},
                                                {'T', &MessageFlags::deleted, 16},
                                                {'P', &MessageFlags::forwarded, 32}}};
constexpr int kJunkBit = 64, kColourShift = 8;

bool contains(std::string_view letters, char letter) { return letters.find(letter) != std::string_view::npos; }

void setLetter(std::string& letters, char letter, bool on) {
    std::erase(letters, letter);
    if (on) letters += letter;
}

bool isKeywordLetter(char c) { return c >= 'a' && c <= 'z'; }

}  // namespace

MaildirKeywords MaildirKeywords::load(const std::filesystem::path& maildir, FileSystem& files, bool isOthers) {
    MaildirKeywords keywords;
    keywords.file_ = maildir / "dovecot-keywords";
    keywords.files_ = &files;
    keywords.isOthers_ = isOthers;
    const auto content = files.readStart(keywords.file_, kLargestKeywordFile);
    if (!content) return keywords;
    std::string_view rest = *content;
    while (!rest.empty()) {
        const std::size_t length = std::min(rest.find('\n'), rest.size());
        const std::string_view line = trimmedAscii(rest.substr(0, length));
        rest.remove_prefix(std::min(rest.size(), length + 1));
        int index = -1;
        const auto end = std::from_chars(line.data(), line.data() + line.size(), index).ptr;
        const std::string_view name = trimmedAscii(line.substr(static_cast<std::size_t>(end - line.data())));
        if (index >= 0 && index < 26 && !name.empty()) keywords.names_.emplace(static_cast<char>('a' + index), name);
    }
    return keywords;
}

std::optional<std::string> MaildirKeywords::nameOf(char letter) const {
    const auto found = names_.find(letter);
    if (found == names_.end()) return {};
    return found->second;
}

std::optional<char> MaildirKeywords::letterOf(std::string_view name) const {
    for (const auto& [letter, each] : names_)
        if (equalsIgnoringCase(each, name)) return letter;
    return {};
}

Result<char> MaildirKeywords::assignLetter(std::string_view name) {
    if (const auto letter = letterOf(name)) return *letter;
    // Another program may have added names since.
    *this = load(file_.parent_path(), *files_);
    if (const auto letter = letterOf(name)) return *letter;
    char free = 'a';
    while (names_.contains(free))
        ++free;
    if (!isKeywordLetter(free))
        return failure(std::string(kMailLibraryErrorDomain), kMailLibraryFull,
                       "The mailbox has no room for another keyword: all 26 are taken.");
    names_.emplace(free, name);
    std::string content;
    for (const auto& [letter, each] : names_)
        content += std::to_string(letter - 'a') + " " + each + "\n";
    if (auto saved = files_->replace(file_, content); !saved) {
        names_.erase(free);
        return failed(saved);
    }
    return free;
}

MessageFlags flagsFromLetters(std::string_view letters, const MaildirKeywords& keywords) {
    MessageFlags flags;
    for (const PlainFlag& plain : kPlainFlags)
        flags.*plain.member = contains(letters, plain.letter);
    const auto has = [&](std::string_view name) {
        const auto letter = keywords.letterOf(name);
        return letter && contains(letters, *letter);
    };
    flags.junk = has(kJunk);
    for (std::size_t bit = 0; bit < kColourBits.size(); ++bit)
        if (has(kColourBits[bit])) flags.colour |= 1 << bit;
    flags.colour = std::min(flags.colour, kLastColour);
    return flags;
}

Result<std::string> lettersWithFlags(std::string_view letters, const MessageFlags& flags, MaildirKeywords& keywords) {
    const MessageFlags before = flagsFromLetters(letters, keywords);
    std::string result(letters);
    for (const PlainFlag& plain : kPlainFlags)
        setLetter(result, plain.letter, flags.*plain.member);
    const auto setKeyword = [&](std::string_view name, bool on) -> Result<void> {
        if (!on) {
            if (const auto letter = keywords.letterOf(name)) setLetter(result, *letter, false);
            return {};
        }
        if (!keywords.canHold(name)) return {};
        const auto letter = keywords.assignLetter(name);
        if (!letter) return failed(letter);
        setLetter(result, *letter, true);
        return {};
    };
    if (before.junk != flags.junk)
        if (auto done = setKeyword(kJunk, flags.junk); !done) return failed(done);
    const int colour = std::clamp(flags.colour, 0, kLastColour);
    for (std::size_t bit = 0; before.colour != colour && bit < kColourBits.size(); ++bit)
        if (auto done = setKeyword(kColourBits[bit], (colour >> bit & 1) != 0); !done) return failed(done);
    std::sort(result.begin(), result.end());
    return result;
}

Result<std::string> lettersForOtherFolder(std::string_view letters, const MaildirKeywords& from, MaildirKeywords& to) {
    std::string result;
    for (const char letter : letters) {
        const auto name = from.nameOf(letter);
        // A keyword without a name keeps its letter, as long as that doesn't mean something else over there.
        if (!isKeywordLetter(letter) || (!name && !to.nameOf(letter))) {
            result += letter;
            continue;
        }
        const std::string wanted = name.value_or("Unnamed-" + std::string(1, letter));
        if (!to.canHold(wanted)) continue;
        const auto other = to.assignLetter(wanted);
        if (!other) return failed(other);
        result += *other;
    }
    std::sort(result.begin(), result.end());
    return result;
}

MessageFlags flagsWithChange(MessageFlags flags, const FlagChange& change) {
    flags.seen = change.seen.value_or(flags.seen);
    flags.answered = change.answered.value_or(flags.answered);
    flags.flagged = change.flagged.value_or(flags.flagged);
    flags.draft = change.draft.value_or(flags.draft);
    flags.deleted = change.deleted.value_or(flags.deleted);
    flags.forwarded = change.forwarded.value_or(flags.forwarded);
    flags.junk = change.junk.value_or(flags.junk);
    flags.colour = std::clamp(change.colour.value_or(flags.colour), 0, kLastColour);
    return flags;
}

int packedFlags(const MessageFlags& flags) {
    int packed = flags.colour << kColourShift;
    for (const PlainFlag& plain : kPlainFlags)
        if (flags.*plain.member) packed |= plain.bit;
    return flags.junk ? packed | kJunkBit : packed;
}

MessageFlags unpackedFlags(int packed) {
    MessageFlags flags;
    for (const PlainFlag& plain : kPlainFlags)
        flags.*plain.member = (packed & plain.bit) != 0;
    flags.junk = (packed & kJunkBit) != 0;
    flags.colour = packed >> kColourShift;
    return flags;
}

}  // namespace qs
