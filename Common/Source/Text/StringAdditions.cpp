#include "Text/StringAdditions.h"

#include <unicode/normalizer2.h>
#include <unicode/translit.h>
#include <unicode/uchar.h>

#include <algorithm>
#include <memory>
#include <mutex>

#include "Foundation/Assertion.h"
#include "Text/IcuText.h"
#include "Text/Utf8.h"

namespace qs {

namespace {

constexpr std::string_view kEllipsis = "\u2026";

// The next character, broken bytes as U+FFFD; the text moves on behind it.
char32_t takeCharacter(std::string_view& text) {
    const char32_t character = firstUtf8Character(text);
    text.remove_prefix(std::max<std::size_t>(utf8CharacterLength(text), 1));
    return character;
}

bool isWhiteSpace(char32_t c) { return u_isUWhiteSpace(static_cast<UChar32>(c)) != 0; }
bool isUpper(char32_t c) { return u_isupper(static_cast<UChar32>(c)) != 0; }
bool isMark(char32_t c) { return (U_GET_GC_MASK(static_cast<UChar32>(c)) & U_GC_M_MASK) != 0; }

// A form in which equal texts have equal bytes.
std::string comparable(std::string_view text, StringCompare options) {
    const bool plain = std::ranges::all_of(text, [](char c) { return static_cast<unsigned char>(c) < 128; });
    if (plain && options == StringCompare::Literal) return std::string(text);
    icu::UnicodeString wide = icuText(text);
    if (options == StringCompare::CaseInsensitive) wide.foldCase();
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* composed = icu::Normalizer2::getNFCInstance(status);
    if (U_SUCCESS(status) && !plain) wide = composed->normalize(wide, status);
    return utf8Text(wide);
}

bool holds(std::string_view comparableText, std::string_view part, StringCompare options) {
    return !part.empty() && comparableText.find(comparable(part, options)) != std::string_view::npos;
}

// A letter with its accents, or a run of them, in ASCII as far as there are spellings.
std::string latinSpelling(std::string_view text) {
    // Making one takes milliseconds.
    static std::mutex lock;
    static const std::unique_ptr<icu::Transliterator> latin = [] {
        UErrorCode status = U_ZERO_ERROR;
        std::unique_ptr<icu::Transliterator> made(
            icu::Transliterator::createInstance("Latin-ASCII", UTRANS_FORWARD, status));
        assertThat(U_SUCCESS(status), "ICU lacks its Latin-ASCII transform.");
        return made;
    }();
    icu::UnicodeString wide = icuText(text);
    const std::lock_guard hold(lock);
    latin->transliterate(wide);
    return utf8Text(wide);
}

}  // namespace

std::string stringByRemovingWhitespace(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    bool pending = false;
    while (!text.empty()) {
        const std::string_view rest = text;
        if (isWhiteSpace(takeCharacter(text))) {
            pending = !out.empty();
            continue;
        }
        if (pending) out += ' ';
        pending = false;
        out += rest.substr(0, rest.size() - text.size());
    }
    return out;
}

std::string titleCaseString(std::string_view text) {
    std::string out;
    std::size_t end = 0;  // behind the last character that is no white space
    bool startsWord = true;
    while (!text.empty()) {
        const char32_t c = takeCharacter(text);
        const bool isBlank = isWhiteSpace(c);
        if (isBlank && out.empty()) continue;
        if (isUpper(c) && !out.empty()) {
            out += ' ';
            startsWord = true;
        }
        const auto code = static_cast<UChar32>(c);
        appendUtf8(out, static_cast<char32_t>(startsWord ? u_totitle(code) : u_tolower(code)));
        startsWord = isBlank;
        if (!isBlank) end = out.size();
    }
    out.resize(end);
    return out;
}

std::string asciiString(std::string_view text) {
    constexpr std::size_t kLongestRun = 256;  // a transform of a long text takes time that grows with its square
    std::string out;
    out.reserve(text.size());
    const auto appendAscii = [&out](std::string_view spelling) {
        while (!spelling.empty()) {
            const char32_t c = takeCharacter(spelling);
            if (c < 128)
                out += static_cast<char>(c);
            else if (!isMark(c))
                out += '?';
        }
    };
    while (!text.empty()) {
        // As far as a run of other letters goes, with the plain letter before it, which may carry their accents.
        std::string_view rest = text;
        const bool isPlain = takeCharacter(rest) < 128;
        const bool standsAlone = rest.empty() || firstUtf8Character(rest) < 128;
        while (!(isPlain && standsAlone) && !rest.empty() && text.size() - rest.size() < kLongestRun &&
               firstUtf8Character(rest) >= 128)
            takeCharacter(rest);
        const std::string_view run = text.substr(0, text.size() - rest.size());
        appendAscii(isPlain && standsAlone ? std::string(run) : latinSpelling(validUtf8(run)));
        text = rest;
    }
    return out;
}

std::string stringByTruncatingTailWithLength(std::string_view text, std::size_t length) {
    std::string out;
    std::size_t collected = 0;
    for (;;) {
        const auto blank = text.find(' ');
        const std::string_view word = text.substr(0, blank);
        for (std::string_view rest = word; !rest.empty();)
            collected += takeCharacter(rest) > 0xFFFF ? 2 : 1;
        ++collected;
        out += word;
        out += ' ';
        if (collected > length) return out += kEllipsis;
        if (blank == std::string_view::npos) return out;
        text.remove_prefix(blank + 1);
    }
}

std::string stringByReplacingOccurrences(std::string_view text, std::string_view from, std::string_view to) {
    std::string out;
    out.reserve(text.size());
    for (;;) {
        const auto found = from.empty() ? std::string_view::npos : text.find(from);
        out += text.substr(0, found);
        if (found == std::string_view::npos) return out;
        out += to;
        text.remove_prefix(found + from.size());
    }
}

bool containsString(std::string_view text, std::optional<std::string_view> part, StringCompare options) {
    return part && holds(comparable(text, options), *part, options);
}

bool containsWordsInArray(std::string_view text, const std::vector<std::string>& words, StringCompare options) {
    return firstContainingWordFromArray(text, words, options).has_value();
}

std::optional<std::string> firstContainingWordFromArray(std::string_view text, const std::vector<std::string>& words,
                                                        StringCompare options) {
    const std::string within = comparable(text, options);
    const auto found = std::ranges::find_if(words, [&](const auto& word) { return holds(within, word, options); });
    if (found == words.end()) return std::nullopt;
    return *found;
}

}  // namespace qs
