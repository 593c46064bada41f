// The order in which lists of names are shown to people: by the rules of the user's language, numbers in names by their
// value ("Note 9" before "Note 10").
#pragma once

#include <string_view>

namespace qs {

// Below 0, 0, above 0. Texts that differ in nothing but case or accents are not equal. Safe from every thread.
int localizedStandardCompare(std::string_view a, std::string_view b);

}  // namespace qs
