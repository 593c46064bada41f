#include "HTML2EM/ENHTMLInput.h"

#include <algorithm>
#include <cstring>

#include "HTML2EM/ENXMLText.h"
#include "Text/Ascii.h"
#include "Text/Utf8.h"

namespace qs {

namespace {

constexpr std::string_view kMarkStart = "<![";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::size_t kLongestMark = 256;

std::size_t findMarkStart(std::string_view text) {
    // Looks at many bytes in one step, unlike find().
    const void* found = memmem(text.data(), text.size(), kMarkStart.data(), kMarkStart.size());
    return found ? static_cast<std::size_t>(static_cast<const char*>(found) - text.data()) : text.npos;
}

// The length of the mark that the text begins with; 0 for none. "<![endif]-->" ends a comment, and is left alone.
std::size_t markLength(std::string_view text) {
    std::string_view inside = text.substr(kMarkStart.size(), kLongestMark);
    if (!startsWithIgnoringCase(inside, "if") && !startsWithIgnoringCase(inside, "endif")) return 0;
    const std::size_t end = inside.find_first_of("<>");
    if (end == inside.npos || inside[end] == '<' || inside[end - 1] != ']') return 0;
    return kMarkStart.size() + end + 1;
}

// How much of the end may be a mark that goes on in the next chunk.
std::size_t openMark(std::string_view text) {
    const std::string_view tail = text.substr(text.size() - std::min(text.size(), kLongestMark));
    const std::size_t start = tail.rfind('<');
    if (start == tail.npos) return 0;
    const std::string_view mark = tail.substr(start);
    if (mark.size() < kMarkStart.size()) return kMarkStart.starts_with(mark) ? mark.size() : 0;
    return mark.starts_with(kMarkStart) && mark.find('>') == mark.npos ? mark.size() : 0;
}

// How much of the end may be a character that goes on in the next chunk.
std::size_t openCharacter(std::string_view text) {
    for (std::size_t length = 1; length <= std::min<std::size_t>(text.size(), 3); ++length) {
        const std::string_view tail = text.substr(text.size() - length);
        const auto first = static_cast<unsigned char>(tail.front());
        if (first < 0x80) return 0;
        if (first < 0xC0) continue;
        const std::size_t wanted = first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
        return length < wanted ? length : 0;
    }
    return 0;
}

void appendCleaned(std::string& target, std::string_view text) {
    for (std::size_t start = findMarkStart(text); start != text.npos; start = findMarkStart(text)) {
        const std::size_t length = markLength(text.substr(start));
        appendLegalXml(target, text.substr(0, length == 0 ? start + 1 : start));
        text.remove_prefix(length == 0 ? start + 1 : start + length);
    }
    appendLegalXml(target, text);
}

}  // namespace

std::string_view ENHTMLInput::add(std::string_view chunk) {
    std::string joined;
    if (!waiting_.empty()) {
        joined = waiting_.append(chunk);
        chunk = joined;
    }
    const std::size_t open = std::max(openMark(chunk), openCharacter(chunk));
    waiting_ = chunk.substr(chunk.size() - open);
    chunk.remove_suffix(open);
    chunk = dropByteOrderMark(chunk);
    if (joined.empty() && findMarkStart(chunk) == chunk.npos && legalXmlPrefix(chunk) == chunk.size()) return chunk;
    ready_.clear();
    appendCleaned(ready_, chunk);
    return ready_;
}

std::string_view ENHTMLInput::finish() {
    ready_.clear();
    appendCleaned(ready_, dropByteOrderMark(waiting_));
    waiting_.clear();
    return ready_;
}

std::string_view ENHTMLInput::dropByteOrderMark(std::string_view text) {
    if (!hasStarted_ && text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
    hasStarted_ = hasStarted_ || !text.empty();
    return text;
}

}  // namespace qs
