#include "Core/RelativeDateText.h"

#include <utility>

#include "Core/QSSession.h"
#include "Foundation/Calendar.h"
#include "Foundation/DateFormatter.h"

namespace qs {

bool isSameDay(Date one, Date other) {
    const CalendarTime a = calendarTime(one), b = calendarTime(other);
    return a.year == b.year && a.month == b.month && a.day == b.day;
}

// ICU can do that, but for the system's clock alone.
std::string relativeDateText(Date date, Date now, std::string_view daySkeleton) {
    const std::string locale;  // the user's
    const std::string time = formatDate(date, {localizedDatePattern("jm"), locale, ""});
    constexpr std::pair<int, const char*> kNamedDays[] = {{-1, "Yesterday"}, {0, "Today"}, {1, "Tomorrow"}};
    for (const auto& [distance, name] : kNamedDays)
        if (isSameDay(date, dateByAdding({.days = distance}, now))) return QSLocalizedString(name) + ", " + time;
    return formatDate(date, {localizedDatePattern(daySkeleton), locale, ""}) + ", " + time;
}

}  // namespace qs
