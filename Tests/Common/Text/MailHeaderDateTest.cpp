#include "Text/MailHeaderDate.h"

#include <gtest/gtest.h>

#include "Foundation/DateFormatter.h"
#include "Text/ISO8601.h"

namespace qs {
namespace {

class MailHeaderDate : public ::testing::Test {
protected:
    ~MailHeaderDate() override { setDefaultTimeZone(""); }
};

TEST_F(MailHeaderDate, IsWrittenInTheZoneInForce) {
    const struct {
        const char* zone;
        Date date;
        const char* text;
    } cases[] = {
        {"UTC", {1'795'384'800}, "Sun, 22 Nov 2026 22:00:00 +0000"},
        {"Asia/Kolkata", {1'795'384'800}, "Mon, 23 Nov 2026 03:30:00 +0530"},
        {"America/St_Johns", {1'795'384'800}, "Sun, 22 Nov 2026 18:30:00 -0330"},
        // One second before and after the clocks went forward in spring, and back in autumn.
        {"Europe/Berlin", {1'774'745'999}, "Sun, 29 Mar 2026 01:59:59 +0100"},
        {"Europe/Berlin", {1'774'746'000}, "Sun, 29 Mar 2026 03:00:00 +0200"},
        {"Europe/Berlin", {1'792'889'999}, "Sun, 25 Oct 2026 02:59:59 +0200"},
        {"Europe/Berlin", {1'792'890'000}, "Sun, 25 Oct 2026 02:00:00 +0100"},
        {"America/New_York", {1'793'512'800}, "Sun, 1 Nov 2026 01:00:00 -0500"},
        {"UTC", {1'767'225'600}, "Thu, 1 Jan 2026 00:00:00 +0000"},
    };
    for (const auto& c : cases) {
        setDefaultTimeZone(c.zone);
        EXPECT_EQ(mailHeaderStringFromDate(c.date), c.text) << c.zone;
        EXPECT_EQ(dateFromMailHeaderString(c.text), c.date) << c.zone;
    }
}

TEST_F(MailHeaderDate, IsReadInTheFormsThatMailCarries) {
    const struct {
        const char* text;
        double seconds;
    } cases[] = {
        {"Sun, 22 Nov 2026 22:00:00 +0000", 1'795'384'800},
        {"22 Nov 2026 22:00:00 +0000", 1'795'384'800},
        {"Sun, 22 Nov 2026 23:00:00 +0100 (CET)", 1'795'384'800},
        {"22 Nov 2026 23:00:00 +0100 (Central European Time)", 1'795'384'800},
        {"Sun, 22 Nov 2026 22:00:00 GMT", 1'795'384'800},
        {"Sun, 1 Nov 2026 01:30:00 -0400", 1'793'511'000},
        {"Sun, 01 Nov 2026 01:30:00 -0500", 1'793'514'600},
    };
    for (const char* zone : {"UTC", "Asia/Tokyo", "America/New_York", "Europe/Berlin"}) {
        setDefaultTimeZone(zone);
        for (const auto& c : cases)
            EXPECT_EQ(dateFromMailHeaderString(c.text), Date{c.seconds}) << c.text << " in " << zone;
    }
}

TEST_F(MailHeaderDate, OtherFormsGiveNothing) {
    setDefaultTimeZone("Europe/Berlin");
    for (const char* text :
         {"", " (CET)", "Sun, 22 Nov 2026", "Sun, 22 Nov 2026 22:00:00", "Sun, 22 Nov 2026 22:00:00 +0000 tail",
          "Sun 22 Nov 2026 22:00:00 +0000", "Sonntag, 22 Nov 2026 22:00:00 +0000", "2026-11-22 22:00:00 +0000",
          "Sun, 32 Nov 2026 22:00:00 +0000", "22 Foo 2026 22:00:00 +0000", ",", "\r\n\r\n"})
        EXPECT_FALSE(dateFromMailHeaderString(text)) << text;
}

TEST_F(MailHeaderDate, WebServicesGetAFormOfTheirOwn) {
    const struct {
        const char* zone;
        Date date;
        const char* text;
    } cases[] = {
        {"UTC", {1'795'384'800.7}, "2026-11-22T22:00:00Z"},
        {"Asia/Kathmandu", {1'795'384'800}, "2026-11-23T03:45:00+05:45"},
        {"America/New_York", {1'795'384'800}, "2026-11-22T17:00:00-05:00"},
        {"Europe/Berlin", {1'774'746'000}, "2026-03-29T03:00:00+02:00"},
    };
    for (const auto& c : cases) {
        setDefaultTimeZone(c.zone);
        EXPECT_EQ(ISO8601String(c.date), c.text) << c.zone;
    }
}

}  // namespace
}  // namespace qs
