// The invisible picture in the body of a tracked message.
#pragma once

#include <string_view>

namespace qs {

class ComposeController;

inline constexpr std::string_view kTrackingPixelElementId = "QuillsteadTrackingPixel";

// Takes out the pixels of earlier sends, and puts in a new one if this message is to be tracked; a tracked message goes
// out as rich text. The back end learns the pixel's id. Main thread.
void addTrackingPixelToMessageBody(ComposeController& controller);

}  // namespace qs
