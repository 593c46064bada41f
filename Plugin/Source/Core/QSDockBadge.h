// Draws the plug-in's badge over the program's icon.
#pragma once

#include <string>
#include <string_view>

namespace qs {

class Bundle;

// Both are SVG texts. The result is 512 by 512 with the badge, 245.76 wide and high, in the lower right corner. An icon
// without a badge picture in the bundle comes back as it is.
std::string iconWithBadge(std::string_view icon, const Bundle& bundle);

}  // namespace qs
