#include "Outgoing/HoldRules.h"

#include <gtest/gtest.h>

namespace qs {
namespace {

constexpr Date kNow{1'700'000'000};
constexpr double kNever = -1e9;  // no such date

struct Case {
    const char* why;
    double received;  // seconds from now
    bool hasHeader;
    double scheduled;  // seconds from now; kNever: the header holds no date
    bool delayIsOn;
    double delay;
    double until;       // seconds from now; kNever: not held
    bool reportIsKept;  // from the person
};

// A header that stands there decides alone; without it the delay does.
constexpr Case kCases[] = {
    {"an ordinary message", 0, false, kNever, false, 20, kNever, false},
    {"dated ahead without the header", 3600, false, kNever, false, 20, kNever, false},

    {"both dates ahead", 3600, true, 3600, false, 20, 3600, true},
    {"the message's own date is the later one", 3600, true, 60, false, 20, 3600, true},
    {"the header's is", 0, true, 3600, false, 20, 3600, true},
    {"exactly 2.0 seconds ahead", 2.0, true, 2.0, false, 20, kNever, false},
    {"a moment more, in the message's date", 2.000001, true, 2.0, false, 20, 2.000001, true},
    {"a moment more, in the header", 2.0, true, 2.000001, false, 20, 2.000001, true},
    {"due", -1, true, -1, false, 20, kNever, false},
    {"a header that is no date, the message ahead", 60, true, kNever, false, 20, 60, true},
    {"a header that is no date, the message due", 0, true, kNever, false, 20, kNever, false},
    {"due within the delay: never subject to it", 0, true, 0, true, 20, kNever, false},
    {"years ahead", 3e8, true, 3e8, true, 20, 3e8, true},

    {"the delay, at once", 0, false, kNever, true, 20, 23, true},
    {"the delay, nearly over", -22.999, false, kNever, true, 20, 0.001, true},
    {"exactly over", -23, false, kNever, true, 20, kNever, true},
    {"the last of the second in which nothing is said", -23.999, false, kNever, true, 20, kNever, true},
    {"and that is over", -24, false, kNever, true, 20, kNever, false},
    {"a fraction of a second", 0, false, kNever, true, 0.5, 3.5, true},
    {"no delay: nothing is held, and failures of the first seconds are kept all the same", 0, false, kNever, true, 0,
     kNever, true},
    {"no delay, later", -4, false, kNever, true, 0, kNever, false},
    {"a delay below nothing", 0, false, kNever, true, -5, kNever, false},
    {"switched off", 0, false, kNever, false, 3600, kNever, false},
    // Sent while the clock was wrong: held longer, never less.
    {"dated ahead, with the delay", 3600, false, kNever, true, 20, 3623, true},
};

TEST(HoldRules, AMessageIsHeldByItsScheduleOrByTheDelay) {
    for (const Case& c : kCases) {
        OutboxDates dates{kNow + c.received, c.hasHeader, {}};
        if (c.scheduled != kNever) dates.scheduled = kNow + c.scheduled;
        const SendDelay delay{c.delayIsOn, c.delay};
        const auto until = heldUntil(dates, delay, kNow);
        EXPECT_EQ(until.has_value(), c.until != kNever) << c.why;
        if (until) {
            EXPECT_NEAR(*until - kNow, c.until, 1e-6) << c.why;
        }
        EXPECT_EQ(wasHeld(dates, delay, kNow), c.reportIsKept) << c.why;
    }
}

}  // namespace
}  // namespace qs
