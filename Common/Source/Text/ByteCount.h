// Sizes as people read them.
#pragma once

#include <cstdint>
#include <string>

namespace qs {

// "2.5 MB", in millions of bytes. With one place behind the point, so that a limit and what is beyond it rarely look the
// same.
std::string megabytesText(std::uint64_t bytes);

}  // namespace qs
