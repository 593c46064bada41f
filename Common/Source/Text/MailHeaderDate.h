// The form of a date in a mail header, both ways, in the default time zone (see DateFormatter.h).
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Foundation/Date.h"

namespace qs {

// Reads "EEE, d MMM yyyy HH:mm:ss ZZZ", or without the weekday when the text has no comma. A comment in brackets, such
// as the zone's name, is cut off first. Nothing for any other form.
std::optional<Date> dateFromMailHeaderString(std::string_view text);
// "EEE, d MMM yyyy HH:mm:ss ZZZ", such as "Sun, 22 Nov 2026 22:00:00 +0000".
std::string mailHeaderStringFromDate(Date date);

}  // namespace qs
