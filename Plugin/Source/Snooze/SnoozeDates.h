// The dates that the modes of snoozing stand for. Pure: knows no menu and no settings.
#pragma once

#include <cstdint>
#include <optional>

#include "Foundation/Date.h"
#include "Foundation/WorkingHours.h"

namespace qs {

// Also the tags of the menu's items.
enum QSSnoozeMode {
    kSnoozeOneHour = 0,
    kSnoozeThreeHours = 1,
    kSnoozeTodayEvening = 2,
    kSnoozeTomorrowMorning = 3,
    kSnoozeTomorrowEvening = 4,
    kSnoozeOneWeek = 5,
    kSnoozeOneMonth = 6,
    kSnoozeCustomDate = 7,
    kSnoozeDefaultMode = 8
};

struct SnoozeSettings {
    WorkingHours workingHours;
    bool shiftIntoWorkingHours = false;
    std::int64_t defaultMode = kSnoozeTomorrowMorning;  // any number: the nearest mode below the default mode
    std::optional<Date> customDate;
};

struct SnoozeDate {
    Date date;
    bool shifted = false;  // into working hours
};

// May lie in the past: this evening when that is over, a month on in December. An assertion failure for any other mode.
SnoozeDate snoozeDate(std::int64_t mode, Date now, const SnoozeSettings& settings);

}  // namespace qs
