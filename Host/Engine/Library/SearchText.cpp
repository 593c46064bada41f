#include "Library/SearchText.h"

#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <utility>
#include <vector>

#include "Html/HtmlTokenizer.h"
#include "Text/Ascii.h"
#include "Text/CaseFolding.h"
#include "Text/Utf8.h"

namespace qs {

namespace {

constexpr std::size_t kShortestOpenWord = 3, kLongestEntity = 12, kMostFragments = 20;
constexpr std::string_view kReplacement = "\xEF\xBF\xBD";  // of what is no UTF-8

icu::UnicodeString folded(std::string_view text) {
    return icu::UnicodeString::fromUTF8({text.data(), static_cast<int32_t>(text.size())}).foldCase();
}

// Scripts whose words no blanks part.
bool standsAlone(char32_t c) {
    return (c >= 0x0E00 && c <= 0x0EFF) ||                                  // Thai, Lao
           (c >= 0x1000 && c <= 0x109F) || (c >= 0x1780 && c <= 0x17FF) ||  // Burmese, Khmer
           (c >= 0x1100 && c <= 0x11FF) || (c >= 0xAC00 && c <= 0xD7A3) ||  // Korean
           (c >= 0x3040 && c <= 0x30FF) || (c >= 0x31F0 && c <= 0x31FF) ||  // Japanese
           (c >= 0x3400 && c <= 0x9FFF) || (c >= 0xF900 && c <= 0xFAFF) ||  // Chinese
           (c >= 0x20000 && c <= 0x3FFFF);
}

std::size_t lengthOfLastWord(std::string_view text) {
    std::size_t length = 0;
    while (!text.empty()) {
        const char32_t c = firstUtf8Character(text);
        text.remove_prefix(std::max<std::size_t>(utf8CharacterLength(text), 1));
        length = u_isalnum(static_cast<UChar32>(c)) ? length + 1 : 0;
    }
    return length;
}

// Of "&...;" at the start; what is no reference stands for itself, and so does its "&".
std::string takeReference(std::string_view& html) {
    const std::string_view start = html.substr(0, kLongestEntity + 1);
    const std::string_view reference = start.substr(0, start.find(';') == std::string_view::npos ? 1 : start.find(';') + 1);
    std::string decoded = decodedEntities(reference, false);
    html.remove_prefix(decoded == reference ? 1 : reference.size());
    return decoded == reference ? "&" : decoded;
}

// Who writes "Straße" and who writes "Strasse" mean the same, and not every keyboard has the one letter.
std::string withoutSharpS(std::string text) {
    for (const std::string_view sharp : {"ß", "ẞ"})
        for (std::size_t at = text.find(sharp); at != std::string::npos; at = text.find(sharp, at + 2))
            text.replace(at, sharp.size(), "ss");
    return text;
}

// Marks that steer a display only: they pad previews with nothing, or turn a name round.
bool isInvisible(char32_t c) {
    return c == 0xAD || c == 0x34F || c == 0x200B || c == 0x200E || c == 0x200F || (c >= 0x202A && c <= 0x202E) ||
           (c >= 0x2060 && c <= 0x206F) || c == 0xFEFF;
}

bool isBlank(char32_t c) { return c <= 0x20 || (c >= 0x7F && c <= 0xA0); }
bool isJoiner(char32_t c) { return c == 0x200C || c == 0x200D; }

// Where the element of that name is closed, or the end.
std::size_t endOfElement(std::string_view html, std::size_t from, std::string_view name) {
    for (std::size_t at = html.find("</", from); at != std::string_view::npos; at = html.find("</", at + 2))
        if (startsWithIgnoringCase(html.substr(at + 2), name)) return at;
    return html.size();
}

}  // namespace

bool containsIgnoringCase(std::string_view text, std::string_view part) {
    return folded(text).indexOf(folded(part)) >= 0;
}

std::string wordsApart(std::string_view text) {
    std::string apart;
    apart.reserve(text.size());
    bool isBehindOne = false;
    while (!text.empty()) {
        // All of these have three bytes or more, the first of them above this one.
        std::size_t plain = 0;
        while (plain < text.size() && static_cast<unsigned char>(text[plain]) < 0xE0)
            ++plain;
        if (plain > 0) {
            if (isBehindOne && text.front() != ' ') apart += ' ';
            apart += text.substr(0, plain);
            text.remove_prefix(plain);
            isBehindOne = false;
            continue;
        }
        const std::size_t length = std::max<std::size_t>(utf8CharacterLength(text), 1);
        const bool isOne = standsAlone(firstUtf8Character(text));
        if ((isOne || isBehindOne) && !apart.empty() && apart.back() != ' ') apart += ' ';
        apart += text.substr(0, length);
        text.remove_prefix(length);
        isBehindOne = isOne;
    }
    return withoutSharpS(std::move(apart));
}

bool hasWord(std::string_view text) {
    while (!text.empty()) {
        if (u_isalnum(static_cast<UChar32>(firstUtf8Character(text)))) return true;
        text.remove_prefix(std::max<std::size_t>(utf8CharacterLength(text), 1));
    }
    return false;
}

std::string matchPhrase(std::string_view words) {
    const bool isOpen = words.ends_with('*');
    if (isOpen) words.remove_suffix(1);
    const std::string apart = wordsApart(words);
    std::string phrase = "\"";
    for (const char c : apart)
        phrase += c == '"' ? "\"\"" : std::string(1, c);
    phrase += '"';
    if (isOpen && lengthOfLastWord(apart) >= kShortestOpenWord) phrase += '*';
    return phrase;
}

std::string matchFragments(std::string_view text) {
    const std::string folded = foldedCase(text);
    std::vector<std::size_t> starts;
    for (std::size_t at = 0; at < folded.size();
         at += std::max<std::size_t>(utf8CharacterLength(folded.substr(at, 4)), 1))
        starts.push_back(at);
    starts.push_back(folded.size());
    std::string expression;
    for (std::size_t i = 0; i + 3 < starts.size() && i < kMostFragments; ++i) {
        expression += expression.empty() ? "(\"" : " AND \"";
        for (const char c : std::string_view(folded).substr(starts[i], starts[i + 3] - starts[i]))
            expression += c == '"' ? "\"\"" : std::string(1, c);
        expression += '"';
    }
    return expression.empty() ? expression : expression + ")";
}

std::string textOfHtml(std::string_view html, std::size_t limit) {
    std::string text;
    for (std::size_t i = 0; i < html.size() && text.size() < limit;) {
        const char c = html[i];
        if (c == '<') {
            const std::string_view rest = html.substr(i + 1);
            if (rest.starts_with("!--")) {
                const std::size_t end = html.find("-->", i);
                i = end == std::string_view::npos ? html.size() : end + 3;
                continue;
            }
            for (const std::string_view hidden : {"script", "style", "head", "title"}) {
                const bool isName = startsWithIgnoringCase(rest, hidden) &&
                                    (rest.size() == hidden.size() || !isAsciiLetter(rest[hidden.size()]));
                if (isName) i = endOfElement(html, i, hidden);
            }
            const std::size_t end = html.find('>', i);
            i = end == std::string_view::npos ? html.size() : end + 1;
            text += ' ';
        } else if (c == '&') {
            std::string_view rest = html.substr(i);
            text += takeReference(rest);
            i = html.size() - rest.size();
        } else {
            text += c;
            ++i;
        }
    }
    return singleLine(text, limit);
}

std::string singleLine(std::string_view text, std::size_t limit) {
    std::string line, joiners;
    bool needsSpace = false;
    while (!text.empty()) {
        const bool isAscii = static_cast<unsigned char>(text.front()) < 0x80;  // nearly all are
        const std::size_t length = isAscii ? 1 : utf8CharacterLength(text);
        const char32_t character = isAscii ? static_cast<unsigned char>(text.front()) : firstUtf8Character(text);
        const std::string_view piece = length == 0 ? kReplacement : text.substr(0, length);
        text.remove_prefix(std::max<std::size_t>(length, 1));
        if (isInvisible(character)) continue;
        if (isBlank(character)) {
            needsSpace = !line.empty();
            joiners.clear();
        } else if (isJoiner(character)) {
            // Between two characters it belongs to a word or picture, beside blanks it is padding.
            if (!needsSpace && !line.empty() && joiners.empty()) joiners = piece;
        } else {
            const std::string_view between = needsSpace ? std::string_view(" ") : joiners;
            if (line.size() + between.size() + piece.size() > limit) break;
            line.append(between).append(piece);
            needsSpace = false;
            joiners.clear();
        }
    }
    return line;
}

}  // namespace qs
