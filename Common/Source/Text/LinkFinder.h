// Finds an address of the web in a text for people.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace qs {

// The first match of this pattern (ICU, upper and lower case alike), or nothing. It takes exponential time for some
// texts when a regular expression engine walks it, so it is matched by hand, in linear time:
//
//   \b((?:https?://|www\d{0,3}[.]|[a-z0-9.\-]+[.][a-z]{2,4}/)
//   (?:[^\s()<>\\]+|\(([^\s()<>]+|(\([^\s()<>]+\)))*\))+
//   (?:\(([^\s()<>]+|(\([^\s()<>]+\)))*\)|[^\s`!()\[\]{};:'".,<>?«»“”‘’\\]))
std::optional<std::string> containingURLString(std::string_view text);

}  // namespace qs
