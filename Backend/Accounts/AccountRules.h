// What addresses, passwords and names may be, and how long tokens live.
#pragma once

#include <string>
#include <string_view>

#include "Foundation/Date.h"

namespace qs {

inline constexpr TimeInterval kSignUpLife = 2 * 86'400;
inline constexpr TimeInterval kResetLife = 3600;

// Without blanks around it, in lower case: the form in which addresses are compared and kept.
std::string normalisedAddress(std::string_view address);
// Sentences that say what is wrong; empty when nothing is.
std::string faultOfAddress(const std::string& normalised);
std::string faultOfPassword(std::string_view password);

}  // namespace qs
