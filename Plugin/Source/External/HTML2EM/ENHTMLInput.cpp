#include "HTML2EM/ENHTMLInput.h"

#include <algorithm>
#include <iterator>

#include "HTML2EM/ENXMLText.h"
#include "Text/Ascii.h"
#include "Text/Utf8.h"

namespace qs {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::size_t kLongestMark = 256;

// Tags of an element that has no content and no meaning but where a line may break, by how they begin.
constexpr std::string_view kBreakTags[] = {"<wbr", "</wbr"};
constexpr std::string_view kConditionStart = "<![";

// Asked at every tag of a document, hence first of all cheap.
bool mayBeMark(std::string_view text) {
    const auto isBreak = [text](std::size_t at) { return text.size() > at && asciiLower(text[at]) == 'w'; };
    return (text.size() > 1 && text[1] == '!') || isBreak(1) || (isBreak(2) && text[1] == '/');
}

bool isBreakTag(std::string_view text) {
    return std::any_of(std::begin(kBreakTags), std::end(kBreakTags), [text](std::string_view start) {
        if (!startsWithIgnoringCase(text, start) || text.size() == start.size()) return false;
        const char next = text[start.size()];
        return next == '>' || next == '/' || isAsciiSpace(next);
    });
}

bool isCondition(std::string_view text) {
    if (!text.starts_with(kConditionStart)) return false;
    text.remove_prefix(kConditionStart.size());
    return startsWithIgnoringCase(text, "if") || startsWithIgnoringCase(text, "endif");
}

// The length of the mark that the text begins with; 0 for none. "<![endif]-->" ends a comment, and is left alone.
std::size_t markLength(std::string_view text) {
    const bool isConditional = isCondition(text);
    if (!isConditional && !isBreakTag(text)) return 0;
    const std::size_t end = text.substr(0, kLongestMark).find_first_of("<>", 1);
    if (end == text.npos || text[end] == '<' || (isConditional && text[end - 1] != ']')) return 0;
    return end + 1;
}

struct Mark {
    std::size_t start, length;
};
// The first one; its start is npos when there is none.
Mark findMark(std::string_view text) {
    for (std::size_t at = text.find('<'); at != text.npos; at = text.find('<', at + 1)) {
        const std::string_view rest = text.substr(at);
        if (!mayBeMark(rest)) continue;
        if (const std::size_t length = markLength(rest)) return {at, length};
    }
    return {text.npos, 0};
}

}  // namespace

std::string_view cleanedHTML(std::string_view html, std::string& room) {
    if (html.starts_with(kByteOrderMark)) html.remove_prefix(kByteOrderMark.size());
    Mark mark = findMark(html);
    if (mark.length == 0 && legalXmlPrefix(html) == html.size()) return html;
    room.clear();
    for (; mark.length > 0; mark = findMark(html)) {
        appendLegalXml(room, html.substr(0, mark.start));
        html.remove_prefix(mark.start + mark.length);
    }
    appendLegalXml(room, html);
    return room;
}

}  // namespace qs
