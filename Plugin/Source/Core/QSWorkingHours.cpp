#include "Core/QSWorkingHours.h"

#include <array>
#include <string_view>

#include "Core/QSPluginDelegate.h"
#include "Foundation/Calendar.h"
#include "Settings/UserDefaults.h"

namespace qs {

WorkingHours workingHoursOfSettings() {
    constexpr std::array<std::string_view, 7> kDayKeys = {
        "QSSundayIsWorkingDay",   "QSMondayIsWorkingDay", "QSTuesdayIsWorkingDay", "QSWednesdayIsWorkingDay",
        "QSThursdayIsWorkingDay", "QSFridayIsWorkingDay", "QSSaturdayIsWorkingDay"};
    const UserDefaults& settings = QSPluginDelegate::quillsteadDefaults();
    const auto time = [&settings](std::string_view key) {
        const auto set = settings.objectForKey(key).dateValue();
        return set ? *set : dateBySettingTimeOfDay(0, 0, 0, Date{});
    };
    WorkingHours hours{.begin = time("QSWorkingHoursBegin"), .end = time("QSWorkingHoursEnd")};
    for (std::size_t day = 0; day < kDayKeys.size(); ++day)
        hours.workingDays[day] = settings.boolForKey(kDayKeys[day]);
    return hours;
}

bool isWorkingHourDate(Date date) { return workingHoursOfSettings().isWorkingHourDate(date); }

Date nextWorkingHourDateAtEndOfDay(Date date, bool atEndOfDay) {
    return workingHoursOfSettings().nextWorkingHourDateAtEndOfDay(date, atEndOfDay);
}

}  // namespace qs
