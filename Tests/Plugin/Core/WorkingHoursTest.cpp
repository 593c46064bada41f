#include "Core/QSWorkingHours.h"

#include "Foundation/DateFormatter.h"
#include "PluginTest.h"

namespace qs {
namespace {

Date at(std::string_view text) { return parseDate(text, {"yyyy-MM-dd HH:mm"}).value(); }

TEST_F(PluginTest, WorkingHoursAreThoseOfTheSettings) {
    startHost({.timeZone = "America/New_York"});
    // As shipped: Monday to Friday, 9 to 18 o'clock wherever one is. 2026-11-27 is a Friday.
    EXPECT_TRUE(isWorkingHourDate(at("2026-11-27 09:00")));
    EXPECT_FALSE(isWorkingHourDate(at("2026-11-27 18:01")));
    EXPECT_FALSE(isWorkingHourDate(at("2026-11-28 12:00")));
    EXPECT_EQ(nextWorkingHourDateAtEndOfDay(at("2026-11-27 12:00"), false), at("2026-11-30 09:00"));
    EXPECT_EQ(nextWorkingHourDateAtEndOfDay(at("2026-11-27 12:00"), true), at("2026-11-30 17:30"));

    defaults().setObject(true, "QSSaturdayIsWorkingDay");
    defaults().setObject(at("2020-02-02 10:15"), "QSWorkingHoursBegin");
    defaults().setObject(at("2020-07-02 11:00"), "QSWorkingHoursEnd");
    EXPECT_TRUE(isWorkingHourDate(at("2026-11-28 10:15")));
    EXPECT_FALSE(isWorkingHourDate(at("2026-11-28 10:14")));
    EXPECT_EQ(nextWorkingHourDateAtEndOfDay(at("2026-11-27 12:00"), true), at("2026-11-28 10:30"));

    defaults().setObject("nonsense", "QSWorkingHoursBegin");
    EXPECT_TRUE(isWorkingHourDate(at("2026-11-27 00:00"))) << "what is no time counts as midnight";
}

}  // namespace
}  // namespace qs
