// Keeps the person's own looking at a tracked message out of the count.
#pragma once

#include <string>
#include <string_view>

namespace qs {

// With the ids of pixels that have a record here replaced by zeros; other senders' pixels stay as they are. Main
// thread.
std::string htmlWithOwnPixelsBlanked(std::string_view html);

// Whether the address, as a whole and with its escapes, asks for a pixel that has a record here. Main thread.
bool isAddressOfOwnPixel(std::string_view absoluteString);

}  // namespace qs
