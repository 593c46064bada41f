// The form of a date that web services take (ISO 8601).
#pragma once

#include <string>

#include "Foundation/Date.h"

namespace qs {

// "yyyy-MM-dd'T'HH:mm:ssZZZZZ" in the default time zone (see DateFormatter.h), such as "2026-11-22T23:00:00+01:00"; "Z"
// stands for no difference to UTC.
std::string ISO8601String(Date date);

}  // namespace qs
