#include "Text/ContentLines.h"

#include <algorithm>

#include "Text/Ascii.h"
#include "Text/Utf8.h"

namespace qs {

namespace {

constexpr std::size_t kLineLength = 75;  // bytes, as the formats want it

}  // namespace

// Cut between characters, as some programs do not mend those that were cut.
std::string foldedContentLine(std::string_view line, std::string_view lineEnd) {
    std::string text;
    std::size_t used = 0;
    while (!line.empty()) {
        const std::size_t length = std::max<std::size_t>(utf8CharacterLength(line), 1);
        if (used + length > kLineLength) {
            text += lineEnd;
            text += ' ';
            used = 1;
        }
        text += line.substr(0, length);
        used += length;
        line.remove_prefix(length);
    }
    return text.append(lineEnd);
}

std::size_t findUnquoted(std::string_view line, char wanted) {
    bool isQuoted = false;
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (line[i] == '"') isQuoted = !isQuoted;
        if (line[i] == wanted && !isQuoted) return i;
    }
    return std::string_view::npos;
}

std::string escapedContentText(std::string_view text) {
    std::string value;
    for (const char c : text) {
        if (c == '\\' || c == ',' || c == ';') value += '\\';
        if (c == '\n') value += "\\n";
        if (!isAsciiControl(c)) value += c;
    }
    return value;
}

std::string unescapedContentText(std::string_view value) {
    std::string text;
    for (std::size_t i = 0; i < value.size(); ++i) {
        if (value[i] != '\\' || i + 1 == value.size()) {
            text += value[i];
            continue;
        }
        const char next = value[++i];
        text += next == 'n' || next == 'N' ? '\n' : next;
    }
    return text;
}

}  // namespace qs
