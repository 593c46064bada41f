// What the person's locale tells about where they are. Thread-safe.
#pragma once

#include <string>

namespace qs {

// The country of the user's locale, or of the given ICU locale id, by its English name ("Germany"); empty when it names
// none.
std::string englishCountryName(const std::string& locale = {});

}  // namespace qs
