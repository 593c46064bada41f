// What a template's text is: HTML, into which values are escaped, or plain text.
#pragma once

#include <cstdint>

namespace qs {

enum class GRMustacheContentType : std::uint64_t { HTML = 0, Text = 1 };

}  // namespace qs
