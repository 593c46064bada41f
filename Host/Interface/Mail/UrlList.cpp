#include "Mail/UrlList.h"

#include <algorithm>

#include "Mail/MessageHeaders.h"
#include "Text/Ascii.h"

namespace qs {

namespace {

std::string withoutBlanks(std::string_view text) {
    std::string result(text);
    std::erase_if(result, [](char c) { return isAsciiSpace(c) || isAsciiControl(c); });
    return result;
}

bool beginsWithScheme(std::string_view text) {
    const auto colon = text.find(':');
    if (colon == 0 || colon == std::string_view::npos || !isAsciiLetter(text.front())) return false;
    return std::ranges::all_of(text.substr(0, colon), [](char c) {
        return isAsciiLetter(c) || isAsciiDigit(c) || c == '+' || c == '-' || c == '.';
    });
}

// Where the comment that begins at `start` ends; comments may lie in comments.
std::size_t endOfComment(std::string_view field, std::size_t start) {
    int depth = 0;
    for (std::size_t i = start; i < field.size(); ++i) {
        if (field[i] == '\\')
            ++i;
        else if (field[i] == '(')
            ++depth;
        else if (field[i] == ')' && --depth == 0)
            return i + 1;
    }
    return field.size();
}

}  // namespace

std::vector<std::string> urlsInField(std::string_view field) {
    std::vector<std::string> urls;
    std::string bare;
    const auto endPiece = [&] {
        if (beginsWithScheme(trimmedAscii(bare))) urls.push_back(withoutBlanks(bare));
        bare.clear();
    };
    for (std::size_t i = 0; i < field.size();) {
        if (field[i] == '<') {
            bare.clear();
            const std::size_t end = field.find('>', i);
            if (std::string url = withoutBlanks(field.substr(i + 1, end - i - 1)); !url.empty())
                urls.push_back(std::move(url));
            if (end == std::string_view::npos) return urls;
            i = end + 1;
        } else if (field[i] == '(' && trimmedAscii(bare).empty()) {
            i = endOfComment(field, i);
        } else if (field[i] == ',') {
            endPiece();
            ++i;
        } else {
            bare += field[i++];
        }
    }
    endPiece();
    return urls;
}

std::vector<std::string> urlListForKey(const MessageHeaders& headers, std::string_view key) {
    std::vector<std::string> urls;
    for (const std::string& value : headers.allHeadersForKey(key))
        for (std::string& url : urlsInField(value))
            urls.push_back(std::move(url));
    return urls;
}

}  // namespace qs
