// Texts that are to become addresses of the web.
#pragma once

#include <string>
#include <string_view>

namespace qs {

// With every byte escaped that no URL may hold, as a browser does before it asks for an address: a text that is none
// may become one by this.
std::string escapedForUrl(std::string_view text);

}  // namespace qs
