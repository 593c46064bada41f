// HTML on its way to the parser: made to hold only what may stand in an XML document, and freed of marks that browsers
// pass over and libxml2 stumbles on: "<![if ...]>" and "<![endif]>" around parts of a page, which it takes for text,
// and
// "<wbr>", in which it puts all that follows. A byte order mark at the start goes too.
#pragma once

#include <string>
#include <string_view>

namespace qs {

// A view of the text itself when it can stay as it is, which is mostly so, else of `room`.
std::string_view cleanedHTML(std::string_view html, std::string& room);

}  // namespace qs
