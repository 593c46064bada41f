#include "Viewer/ListDates.h"

#include <map>
#include <mutex>

#include "Foundation/DateFormatter.h"

namespace qs {
namespace {

// Finding a locale's pattern takes far longer than using it.
std::string pattern(const std::string& skeleton) {
    static std::mutex lock;
    static std::map<std::string, std::string> found;
    const std::lock_guard guard(lock);
    std::string& known = found[skeleton];
    if (known.empty()) known = localizedDatePattern(skeleton);
    return known;
}

std::string text(Date date, const std::string& skeleton) {
    return formatDate(date, {.pattern = pattern(skeleton), .locale = {}});
}

std::string dayOf(Date date) { return formatDate(date, {.pattern = "yyyy-MM-dd"}); }
std::string yearOf(Date date) { return formatDate(date, {.pattern = "yyyy"}); }

TimeInterval secondsIntoDay(Date date) {
    return std::stod(formatDate(date, {.pattern = "A"})) / 1000;  // "A": milliseconds in the day
}

// Noon of the day before, which is yesterday also where that day had 23 or 25 hours.
Date yesterday(Date now) { return now - secondsIntoDay(now) - 43'200; }

}  // namespace

std::string todayText(Date date) { return text(date, "jm"); }

std::string dateWithTimeText(Date date, Date now) {
    return text(date, yearOf(date) == yearOf(now) ? "MMMdjm" : "yMMMdjm");
}

std::string untilText(Date date, Date now) {
    constexpr TimeInterval kSecondsCount = 600;
    if (date - now < kSecondsCount) return text(date, "jms");
    return dayOf(date) == dayOf(now) ? todayText(date) : dateWithTimeText(date, now);
}

std::string longDateText(Date date) { return text(date, "yMMMMEEEEdjm"); }

std::string listDateText(Date date, Date now) {
    if (date == Date{}) return {};
    const std::string day = dayOf(date);
    if (day == dayOf(now)) return todayText(date);
    if (day == dayOf(yesterday(now))) return "Yesterday";
    return text(date, yearOf(date) == yearOf(now) ? "MMMd" : "yMMMd");
}

TimeInterval secondsUntilTomorrow(Date now) {
    // A day of another length makes this late or early by an hour, twice a year.
    constexpr TimeInterval kDay = 86'400;
    return std::max(1.0, kDay - secondsIntoDay(now) + 1);
}

}  // namespace qs
