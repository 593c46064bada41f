// The tracking part of the interface that the plug-in speaks: registering pixels, and telling what was opened. JSON
// both ways.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Service.h"

namespace qs {

HttpServerResponse takePixels(Service& service, const Call& call);
HttpServerResponse showPixels(Service& service, const Call& call);

// A UUID in upper case; nothing for another form, and for the one of zeros, which stands for no pixel.
std::optional<std::string> pixelId(std::string_view text);
// The picture that is the pixel. The same whatever id was asked for.
HttpServerResponse pixelAnswer();

}  // namespace qs
