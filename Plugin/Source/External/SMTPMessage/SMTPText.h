// What both halves of SMTPMessage write texts with; private to this folder.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace qs::smtp_text {

// A line end in a header or a command would begin another one.
std::string withoutControls(std::string_view text);
// time(), by the program's clock. From every thread.
std::int64_t secondsNow();

}  // namespace qs::smtp_text
