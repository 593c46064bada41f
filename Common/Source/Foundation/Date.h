// A point in time, as seconds since 1970-01-01 00:00 UTC in a double, and nothing else: calendars, zones and texts are
// made of it elsewhere (DateFormatter.h). "Now" comes from RunLoop::now() alone, so that tests can run whole months.
#pragma once

#include <compare>

namespace qs {

using TimeInterval = double;  // seconds

// Dates are compared with this tolerance: a date counts as future only if it lies further ahead than this.
inline constexpr TimeInterval kDateTolerance = 2.0;

struct Date {
    double secondsSince1970 = 0;

    friend constexpr auto operator<=>(const Date&, const Date&) = default;
    friend constexpr Date operator+(Date d, TimeInterval s) { return {d.secondsSince1970 + s}; }
    friend constexpr Date operator-(Date d, TimeInterval s) { return {d.secondsSince1970 - s}; }
    friend constexpr TimeInterval operator-(Date a, Date b) { return a.secondsSince1970 - b.secondsSince1970; }

    // Strictly more than kDateTolerance after `now`.
    constexpr bool isAheadOf(Date now) const { return *this - now > kDateTolerance; }
};

}  // namespace qs
