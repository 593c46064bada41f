// The plug-in's own pictures, for what is drawn and not only named: a model names its icon ("plugin:NAME") instead.
#pragma once

#include <optional>
#include <string_view>

#include "Images/Image.h"

namespace qs {

// Resources/<name>.svg, .png or .jpg of the plug-in's bundle, a vector picture drawn at its own size or at
// `vectorSize`. Nothing, and a line in the log, when there is no such picture.
std::optional<Image> pluginImageNamed(std::string_view name, std::optional<ImageSize> vectorSize = {});

}  // namespace qs
