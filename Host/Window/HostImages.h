// Pictures of the host's own bundle, as SVG text.
#pragma once

#include <string>
#include <string_view>

namespace qs {

std::string hostImage(std::string_view name);  // "ApplicationIcon"; empty for any other

}  // namespace qs
