#include <algorithm>

#include "Display/Sanitizer.h"
#include "Html/HtmlDocument.h"
#include "Text/Ascii.h"
#include "Text/Escapes.h"
#include "Text/Utf8.h"

namespace qs {

namespace {

constexpr std::size_t kDeepestQuotation = 20;

std::size_t addressLength(std::string_view text) {
    const bool isWeb = startsWithIgnoringCase(text, "http://") || startsWithIgnoringCase(text, "https://") ||
                       startsWithIgnoringCase(text, "www.");
    if (!isWeb) return 0;
    std::string_view address = text.substr(0, text.find_first_of(" \t\r\n<>\""));
    // Punctuation of the sentence around it, and the bracket that it stands in.
    while (!address.empty()) {
        const char last = address.back();
        const bool isOpenBracket = last == ')' && std::count(address.begin(), address.end(), '(') <
                                                      std::count(address.begin(), address.end(), ')');
        if (std::string_view(".,;:!?'").find(last) == std::string_view::npos && !isOpenBracket) break;
        address.remove_suffix(1);
    }
    const std::size_t host = address.find("://") == std::string_view::npos ? 4 : address.find("://") + 3;
    return address.size() > host ? address.size() : 0;
}

void appendLine(std::string& html, std::string_view line) {
    std::size_t plain = 0;
    for (std::size_t i = 0; i < line.size(); ++i) {
        const bool beginsWord = i == 0 || !(isAsciiLetter(line[i - 1]) || isAsciiDigit(line[i - 1]));
        const std::size_t length = beginsWord ? addressLength(line.substr(i)) : 0;
        if (length == 0) continue;
        const std::string address = stringByEscapingXMLEntities(line.substr(i, length));
        html += stringByEscapingXMLEntities(line.substr(plain, i - plain));
        html += "<a href=\"" + std::string(startsWithIgnoringCase(address, "www.") ? "http://" : "") + address + "\">" +
                address + "</a>";
        i += length - 1;
        plain = i + 1;
    }
    html += stringByEscapingXMLEntities(line.substr(plain));
}

// With line feeds as the only line ends, however they came, and the sign for what can't be read in place of other
// control characters: HTML has none of these.
std::string readable(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '\r') {
            if (i + 1 == text.size() || text[i + 1] != '\n') result += '\n';
        } else if (isAsciiControl(c) && c != '\n' && c != '\t') {
            result += "\uFFFD";
        } else {
            result += c;
        }
    }
    return result;
}

// Takes the marks of quotation off a line: "> > text", ">> text".
std::size_t takeQuotation(std::string_view& line) {
    std::size_t depth = 0;
    while (line.starts_with('>') && depth < kDeepestQuotation) {
        line.remove_prefix(1);
        if (line.starts_with(' ')) line.remove_prefix(1);
        ++depth;
    }
    return depth;
}

}  // namespace

std::string plainTextToHtml(std::string_view source) {
    const std::string text = readable(validUtf8(source));
    std::string_view rest = text;
    while (rest.ends_with('\n'))
        rest.remove_suffix(1);
    std::string html = "<div style=\"white-space: pre-wrap\">";
    std::size_t depth = 0;
    bool isFirst = true;
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find('\n'), rest.size());
        std::string_view line = rest.substr(0, end);
        rest.remove_prefix(std::min(end + 1, rest.size()));
        const std::size_t lineDepth = takeQuotation(line);
        if (lineDepth == depth && !isFirst) html += "<br>";
        for (; depth < lineDepth; ++depth)
            html += "<blockquote type=\"cite\">";
        for (; depth > lineDepth; --depth)
            html += "</blockquote>";
        appendLine(html, line);
        isFirst = false;
    }
    for (; depth > 0; --depth)
        html += "</blockquote>";
    return html + "</div>";
}

}  // namespace qs
