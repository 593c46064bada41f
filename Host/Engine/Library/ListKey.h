// The number of a row in the index: its date, and a count for messages of one date. Rows in the order of their numbers
// are in the order of their dates, so that a list is read by steps from a known row and a range of dates is a range of
// numbers.
#pragma once

#include <algorithm>
#include <cstdint>

#include "Foundation/Date.h"

namespace qs {

inline constexpr std::int64_t kKeysPerTick = 4096;  // messages of one date; more take the next ticks' numbers
inline constexpr double kTicksPerSecond = 1024;
inline constexpr double kLatestListed = 253'402'300'799.0;  // the end of the year 9999

// The first number for that date.
inline std::int64_t firstKeyAt(Date date) {
    const double seconds = std::clamp(date.secondsSince1970, 0.0, kLatestListed);
    return static_cast<std::int64_t>(seconds * kTicksPerSecond) * kKeysPerTick;
}

}  // namespace qs
