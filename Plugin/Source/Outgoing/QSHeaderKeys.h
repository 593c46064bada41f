// Headers of the plug-in on a message. None is ever removed: they travel with the delivered message.
#pragma once

#include <string_view>

namespace qs {

inline constexpr std::string_view QSHeaderKeyXScheduledDate = "X-Quillstead-Scheduled-Date";  // mail header form
inline constexpr std::string_view QSHeaderKeyXTrackingUUID = "X-Quillstead-Tracking-UUID";
// A message with it is neither held nor announced. Nothing here writes it.
inline constexpr std::string_view QSHeaderKeyXUnsubscribe = "X-Quillstead-Unsubscribe";

}  // namespace qs
