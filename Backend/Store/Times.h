// Times as the database keeps them and as the interface tells them.
#pragma once

#include <cmath>
#include <cstdint>
#include <string>

#include "Foundation/Date.h"

namespace qs {

inline std::int64_t secondsOf(Date date) { return static_cast<std::int64_t>(std::floor(date.secondsSince1970)); }
inline Date dateOf(std::int64_t seconds) { return {static_cast<double>(seconds)}; }

// "yyyy-MM-dd HH:mm:ss" in UTC. Called for every open of an answer, so it does without a formatter.
std::string timestamp(Date date);

}  // namespace qs
