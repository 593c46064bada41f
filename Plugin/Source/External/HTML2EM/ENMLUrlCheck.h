// Whether an address may stand in a note. Two parsers look at it, a strict one and the pattern of RFC 3986 (appendix
// B): where they read it differently, a reader of the note might too, and be led elsewhere than it shows.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Text/Url.h"

namespace qs {

struct URLCheck {
    bool isValid = false;
    std::vector<std::string> mismatches;  // lines for the log
};
// The strict parser's view is given: nothing for what it refused.
URLCheck checkURLComponents(const std::optional<Url>& url);

// The pieces that the pattern "^(([^:/?#]+):)?(//([^/?#]*))?([^?#]*)(\?([^#]*))?(#(.*))?" finds, by the numbers of its
// groups. A group that took no part is empty. Any text without a line end matches as a whole.
struct URLGroups {
    std::string_view scheme;     // 2
    std::string_view authority;  // 4
    std::string_view path;       // 5
    std::string_view query;      // 7
    std::string_view fragment;   // 9
};
URLGroups groupsOfURL(std::string_view url);

}  // namespace qs
