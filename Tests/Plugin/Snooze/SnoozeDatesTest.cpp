#include "Snooze/SnoozeDates.h"

#include <gtest/gtest.h>

#include "Foundation/Assertion.h"
#include "Foundation/DateFormatter.h"

namespace qs {
namespace {

constexpr const char* kPattern = "yyyy-MM-dd HH:mm:ss";

Date at(std::string_view text) { return parseDate(text, {kPattern, "en_US_POSIX", ""}).value(); }
std::string text(Date date) { return formatDate(date, {kPattern, "en_US_POSIX", ""}); }

// Monday to Friday, 8 to 18.
SnoozeSettings settings(bool shift = true) {
    return {.workingHours = {.workingDays = {false, true, true, true, true, true, false},
                             .begin = at("2001-01-01 08:00:00"),
                             .end = at("2001-01-01 18:00:00")},
            .shiftIntoWorkingHours = shift};
}

class SnoozeDates : public ::testing::Test {
protected:
    void TearDown() override { setDefaultTimeZone({}); }
};

// 2026-11-23 is a Monday, the 27th a Friday.
TEST_F(SnoozeDates, OfEachMode) {
    struct Case {
        const char* why;
        int mode;
        const char *now, *expected;
        bool shifted = false;
    };
    for (const Case& c : {
             Case{"an hour counts at night, too", 0, "2026-11-28 23:30:00", "2026-11-29 00:30:00"},
             Case{"three hours", 1, "2026-11-23 10:00:05", "2026-11-23 13:00:05"},
             Case{"this evening", 2, "2026-11-23 10:00:05", "2026-11-23 17:30:00"},
             Case{"this evening is over", 2, "2026-11-23 19:00:00", "2026-11-23 17:30:00"},
             Case{"the evening of a Sunday is not shifted", 2, "2026-11-29 10:00:00", "2026-11-29 17:30:00"},
             Case{"tomorrow morning", 3, "2026-11-23 10:00:05", "2026-11-24 08:00:00"},
             Case{"tomorrow is a Saturday", 3, "2026-11-27 10:00:00", "2026-11-30 08:00:00", true},
             Case{"tomorrow evening", 4, "2026-11-23 10:00:05", "2026-11-24 17:30:00"},
             Case{"the evening of a Saturday", 4, "2026-11-27 10:00:00", "2026-11-30 17:30:00", true},
             Case{"a week, within the working hours", 5, "2026-11-23 10:00:05", "2026-11-30 10:00:05"},
             Case{"a week, late in the evening", 5, "2026-11-23 21:00:00", "2026-12-01 08:00:00", true},
             Case{"a month", 6, "2026-10-23 10:00:00", "2026-11-23 10:00:00"},
             Case{"a month of which the day is missing", 6, "2026-01-31 10:00:00", "2026-03-02 08:00:00", true},
             Case{"after December comes January of that year", 6, "2026-12-15 10:00:00", "2026-01-15 10:00:00"},
             Case{"no custom date: now", 7, "2026-11-29 22:00:07", "2026-11-29 22:00:07"},
         }) {
        setDefaultTimeZone("Europe/Berlin");
        const SnoozeDate found = snoozeDate(c.mode, at(c.now), settings());
        EXPECT_EQ(text(found.date), c.expected) << c.why;
        EXPECT_EQ(found.shifted, c.shifted) << c.why;
        EXPECT_FALSE(snoozeDate(c.mode, at(c.now), settings(false)).shifted) << c.why;
    }
    SnoozeSettings custom = settings();
    custom.customDate = at("2026-11-29 03:00:00");
    EXPECT_EQ(snoozeDate(7, at("2026-11-23 10:00:00"), custom).date, *custom.customDate) << "never shifted";
    EXPECT_THROW(snoozeDate(9, {}, settings()), AssertionFailure);
    EXPECT_THROW(snoozeDate(-1, {}, settings()), AssertionFailure);
}

TEST_F(SnoozeDates, ADayWhoseClocksChange) {
    setDefaultTimeZone("Europe/Berlin");
    EXPECT_EQ(text(snoozeDate(3, at("2026-03-28 12:00:00"), settings(false)).date), "2026-03-29 08:00:00");
    EXPECT_EQ(text(snoozeDate(4, at("2026-10-24 12:00:00"), settings(false)).date), "2026-10-25 17:30:00");
    EXPECT_EQ(text(snoozeDate(5, at("2026-10-24 12:00:00"), settings(false)).date), "2026-10-31 11:00:00")
        << "a week is so many seconds";
}

TEST_F(SnoozeDates, TheDefaultModeIsNeverInThePast) {
    setDefaultTimeZone("UTC");
    struct Case {
        const char* why;
        std::int64_t defaultMode;
        const char *now, *expected;
    };
    for (const Case& c : {Case{"as chosen", 3, "2026-11-23 10:00:00", "2026-11-24 08:00:00"},
                          Case{"shifted as that one", 3, "2026-11-27 10:00:00", "2026-11-30 08:00:00"},
                          Case{"the evening is over", 2, "2026-11-23 19:00:00", "2026-11-23 22:00:00"},
                          Case{"below all modes", -1, "2026-11-23 10:00:00", "2026-11-23 11:00:00"},
                          Case{"above all modes: the custom date", 9, "2026-11-23 10:00:00", "2026-11-23 10:00:00"}}) {
        SnoozeSettings chosen = settings();
        chosen.defaultMode = c.defaultMode;
        EXPECT_EQ(text(snoozeDate(kSnoozeDefaultMode, at(c.now), chosen).date), c.expected) << c.why;
    }
}

}  // namespace
}  // namespace qs
