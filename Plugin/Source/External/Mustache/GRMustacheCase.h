// Upper, lower and title case of all scripts, by no particular language. Broken UTF-8 never fails.
#pragma once

#include <string>
#include <string_view>

namespace qs {

std::string mustacheUppercase(std::string_view text);
std::string mustacheLowercase(std::string_view text);
// The first letter of each word in title case, the others in lower case.
std::string mustacheCapitalized(std::string_view text);

}  // namespace qs
