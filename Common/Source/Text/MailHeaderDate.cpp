#include "Text/MailHeaderDate.h"

#include "Foundation/DateFormatter.h"

namespace qs {

namespace {
const DateFormat kWithWeekday{.pattern = "EEE, d MMM yyyy HH:mm:ss ZZZ"};
const DateFormat kWithoutWeekday{.pattern = "d MMM yyyy HH:mm:ss ZZZ"};
}  // namespace

std::optional<Date> dateFromMailHeaderString(std::string_view text) {
    text = text.substr(0, text.find(" ("));
    return parseDate(text, text.find(',') != std::string_view::npos ? kWithWeekday : kWithoutWeekday);
}

std::string mailHeaderStringFromDate(Date date) { return formatDate(date, kWithWeekday); }

}  // namespace qs
