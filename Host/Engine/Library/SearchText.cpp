#include "Library/SearchText.h"

#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <array>
#include <utility>

#include "Text/Ascii.h"
#include "Text/Utf8.h"

namespace qs {

namespace {

constexpr std::size_t kMostSearchWords = 32, kLongestSearch = 1000, kLongestEntity = 12;

icu::UnicodeString folded(std::string_view text) {
    return icu::UnicodeString::fromUTF8({text.data(), static_cast<int32_t>(text.size())}).foldCase();
}

bool hasWordCharacter(std::string_view word) {
    while (!word.empty()) {
        if (u_isalnum(static_cast<UChar32>(firstUtf8Character(word)))) return true;
        word.remove_prefix(std::max<std::size_t>(utf8CharacterLength(word), 1));
    }
    return false;
}

// One name, or number, of the "&...;" at the start; the rest stays. Those that matter in running text.
char32_t entityCharacter(std::string_view name) {
    constexpr std::array<std::pair<std::string_view, char32_t>, 14> kNamed{{{"amp", U'&'},
                                                                            {"lt", U'<'},
                                                                            {"gt", U'>'},
                                                                            {"quot", U'"'},
                                                                            {"apos", U'\''},
                                                                            {"nbsp", U' '},
                                                                            {"auml", U'ä'},
                                                                            {"ouml", U'ö'},
                                                                            {"uuml", U'ü'},
                                                                            {"eacute", U'é'},
                                                                            {"ndash", U'–'},
                                                                            {"mdash", U'—'},
                                                                            {"hellip", U'…'},
                                                                            {"zwnj", U' '}}};
    for (const auto& [known, character] : kNamed)
        if (name == known) return character;
    if (name.size() < 2 || name.front() != '#') return 0;
    const bool isHex = asciiLower(name[1]) == 'x';
    char32_t number = 0;
    for (const char c : name.substr(isHex ? 2 : 1)) {
        const char lower = asciiLower(c);
        const bool isHexDigit = isHex && lower >= 'a' && lower <= 'f';
        if ((!isAsciiDigit(c) && !isHexDigit) || number > 0x10FFFF) return 0;
        number = number * (isHex ? 16 : 10) + static_cast<char32_t>(isHexDigit ? lower - 'a' + 10 : c - '0');
    }
    return number;
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

std::string foldedCase(std::string_view text) {
    std::string result;
    folded(text).toUTF8String(result);
    return result;
}

bool containsIgnoringCase(std::string_view text, std::string_view part) {
    return folded(text).indexOf(folded(part)) >= 0;
}

std::string matchExpression(std::string_view typed) {
    std::string expression;
    const std::string line = singleLine(typed, kLongestSearch);
    std::string_view rest = line;
    for (std::size_t count = 0; !rest.empty() && count < kMostSearchWords; ++count) {
        const std::string_view word = rest.substr(0, rest.find(' '));
        rest.remove_prefix(std::min(rest.size(), word.size() + 1));
        if (!hasWordCharacter(word)) continue;
        if (!expression.empty()) expression += ' ';
        expression += '"';
        for (const char c : word)
            expression += c == '"' ? "\"\"" : std::string(1, c);
        expression += "\"*";
    }
    return expression;
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
            const std::size_t length = html.substr(i, kLongestEntity).find(';');
            const std::size_t end = i + length;
            const char32_t character =
                length != std::string_view::npos ? entityCharacter(html.substr(i + 1, length - 1)) : 0;
            if (character != 0)
                appendUtf8(text, character);
            else
                text += c;
            i = character != 0 ? end + 1 : i + 1;
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
        const std::size_t length = std::max<std::size_t>(utf8CharacterLength(text), 1);
        const char32_t character = firstUtf8Character(text);
        text.remove_prefix(length);
        if (isInvisible(character)) continue;
        if (isBlank(character)) {
            needsSpace = !line.empty();
            joiners.clear();
        } else if (isJoiner(character)) {
            // Between two characters it belongs to a word or picture, beside blanks it is padding.
            if (!needsSpace && !line.empty() && joiners.empty()) appendUtf8(joiners, character);
        } else {
            std::string piece = needsSpace ? " " : joiners;
            appendUtf8(piece, character);
            if (line.size() + piece.size() > limit) break;
            line += piece;
            needsSpace = false;
            joiners.clear();
        }
    }
    return line;
}

}  // namespace qs
