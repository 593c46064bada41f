// Dates as texts and texts as dates, by ICU patterns (https://unicode.org/reports/tr35/tr35-dates.html). Thread-safe.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Foundation/Date.h"

namespace qs {

struct DateFormat {
    std::string pattern;                 // such as "EEE, d MMM yyyy HH:mm:ss ZZZ"
    std::string locale = "en_US_POSIX";  // ICU locale id; empty for the user's
    std::string timeZone;                // IANA name; empty for defaultTimeZone()
};

std::string formatDate(Date date, const DateFormat& format);
// Nothing when the text has another form. The whole text must match but for surrounding white space.
std::optional<Date> parseDate(std::string_view text, const DateFormat& format);

// The pattern by which a locale writes these fields: "jm" is "HH:mm" in one and "h:mm a" in another. For the skeletons
// see the same source. An empty locale is the user's.
std::string localizedDatePattern(std::string_view skeleton, const std::string& locale = {});

// The zone in force: the one set by setDefaultTimeZone, else the system's.
std::string defaultTimeZone();
void setDefaultTimeZone(std::string_view ianaName);  // empty: the system's again

}  // namespace qs
