// The plug-in's own colour: rings, lists that it makes; lighter behind banners and rows.
#pragma once

#include "Text/Color.h"

namespace qs {

inline constexpr Color kPluginColor{.red = 0.49, .green = 0.69, .blue = 0.62, .alpha = 1};
inline Color lightPluginColor() { return kPluginColor.lightenColorByValue(0.15); }

}  // namespace qs
