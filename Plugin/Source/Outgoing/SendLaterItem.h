// The toolbar item of compose windows that sends later.
#pragma once

#include <string_view>

namespace qs {

inline constexpr std::string_view kSendLaterItem = "SendLater";

}  // namespace qs
