#include "Text/ISO8601.h"

#include "Foundation/DateFormatter.h"

namespace qs {

std::string ISO8601String(Date date) { return formatDate(date, {.pattern = "yyyy-MM-dd'T'HH:mm:ssZZZZZ"}); }

}  // namespace qs
