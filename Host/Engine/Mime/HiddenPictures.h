// Pictures on the web that nobody sees. They tell their server when a message is read, so they belong to the one
// message that they were put into. Thread-safe.
#pragma once

#include <string>
#include <string_view>

namespace qs {

// The message without them; unchanged, byte for byte, when there are none. CR LF line ends.
std::string withoutHiddenPictures(std::string_view content);

}  // namespace qs
