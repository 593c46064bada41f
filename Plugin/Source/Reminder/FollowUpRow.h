// The follow-up's controls in a compose window: a check box, a distance from now, the date that follows. Main thread.
#pragma once

#include <memory>
#include <optional>

#include "Foundation/Date.h"

namespace qs {

class HeaderRow;
class HeadersEditor;

// Makes the row the first time, where the settings want it; then the date is now plus the distance of the settings.
// True if this call made the row.
bool refreshQuillsteadUtilityView(HeadersEditor& editor);
std::shared_ptr<HeaderRow> followUpRowOf(const HeadersEditor& editor);  // null for none
// The date that the row shows; nothing before there is a row.
std::optional<Date> followUpDateOf(const HeadersEditor& editor);

}  // namespace qs
