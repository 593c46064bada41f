#include "Reminders/CalendarFile.h"

#include <gmock/gmock.h>

#include "Foundation/DateFormatter.h"

namespace qs {

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

constexpr Date kNow{1'700'000'000};  // 2023-11-14 22:13:20 UTC

std::string calendar(const std::string& lines) {
    return "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nBEGIN:VTODO\r\nUID:1\r\n" + lines + "END:VTODO\r\nEND:VCALENDAR\r\n";
}

ToDo only(std::string_view bytes) {
    const auto found = readCalendar(bytes).toDos;
    EXPECT_EQ(found.size(), 1U) << bytes;
    return found.empty() ? ToDo{} : found.front();
}

std::string changed(const std::string& bytes, const ToDo& wanted) {
    const auto result = changedCalendar(bytes, wanted, kNow);
    EXPECT_TRUE(result) << bytes;
    return result.value_or("");
}

class CalendarFile : public ::testing::Test {
protected:
    void SetUp() override { setDefaultTimeZone("Europe/Berlin"); }
    void TearDown() override { setDefaultTimeZone("UTC"); }
};

}  // namespace

TEST_F(CalendarFile, ReadsWhenAToDoIsDue) {
    struct Case {
        const char *why, *lines;
        std::optional<double> due;
    };
    const double nine = 1795507200;  // 2026-11-24 09:00 in Berlin is 08:00 UTC
    for (const Case& c : {
             Case{"nothing said", "", {}},
             Case{"UTC", "DUE:20261124T080000Z\r\n", nine},
             Case{"a zone by its name", "DUE;TZID=America/New_York:20261124T030000\r\n", nine},
             Case{"a zone that nobody knows: the wall's", "DUE;TZID=Nowhere/Else:20261124T090000\r\n", nine},
             Case{"no zone: the wall's", "DUE:20261124T090000\r\n", nine},
             Case{"a whole day", "DUE;VALUE=DATE:20261124\r\n", nine - 9 * 3600},
             Case{"an alarm alone",
                  "BEGIN:VALARM\r\nACTION:DISPLAY\r\nTRIGGER;VALUE=DATE-TIME:20261124T080000Z\r\nEND:VALARM\r\n", nine},
             Case{"an alarm that was dealt with",
                  "BEGIN:VALARM\r\nTRIGGER;VALUE=DATE-TIME:20261124T080000Z\r\nACKNOWLEDGED:20261124T080001Z\r\n"
                  "END:VALARM\r\n",
                  {}},
             Case{"an alarm before the due date, which counts",
                  "DUE:20261124T080000Z\r\nBEGIN:VALARM\r\nTRIGGER:-PT15M\r\nEND:VALARM\r\n", nine},
             Case{"no such day", "DUE:20261399T080000Z\r\n", {}},
         }) {
        const auto due = only(calendar(c.lines)).due;
        EXPECT_EQ(due ? std::optional(due->secondsSince1970) : std::nullopt, c.due) << c.why;
    }
}

TEST_F(CalendarFile, ReadsWhetherAToDoIsDone) {
    struct Case {
        const char *why, *lines;
        bool isCompleted;
    };
    for (const Case& c : {Case{"nothing said", "", false},
                          Case{"by its state", "STATUS:COMPLETED\r\nCOMPLETED:20231114T000000Z\r\n", true},
                          Case{"by its date alone", "COMPLETED:20231114T000000Z\r\n", true},
                          Case{"opened again, with the date left behind",
                               "STATUS:NEEDS-ACTION\r\nCOMPLETED:20231114T000000Z\r\n", false}})
        EXPECT_EQ(only(calendar(c.lines)).isCompleted, c.isCompleted) << c.why;
}

TEST_F(CalendarFile, WritesWhatItReads) {
    const ToDo toDo{.identifier = "A;B,\\C",
                    .listIdentifier = {},
                    .title = "Follow-Up: Grüße, und; mehr \\ so " + std::string(100, 'x'),
                    .notes = "To: ada@example.org | message://1@x\nsecond line",
                    .url = "message://1@x",
                    .due = Date{1'700'003'600},
                    .priority = 9,
                    .isCompleted = true,
                    .completionDate = Date{1'700'000'007}};
    const std::string written = newCalendar(toDo, kNow);
    EXPECT_EQ(only(written), toDo) << written;
    EXPECT_EQ(changed(written, toDo), written) << "nothing new, nothing written";
    EXPECT_THAT(newCalendar({.identifier = "1", .title = "x\r\nBEGIN:VALARM", .url = "a\r\nEND:VTODO"}, kNow),
                ::testing::AllOf(Not(HasSubstr("\nBEGIN:VALARM")), HasSubstr("\r\nURL:aEND:VTODO\r\n")));
}

TEST_F(CalendarFile, ChangesNothingButWhatChanged) {
    const std::string foreign =
        "BEGIN:VCALENDAR\nPRODID:other\nX-WR-CALNAME:Home\nBEGIN:VTODO\nUID:other\nSUMMARY:Other\nEND:VTODO\n"
        "BEGIN:VTODO\nUID:1\nRECURRENCE-ID:20231101T080000Z\nSUMMARY:Once\nEND:VTODO\n"
        "BEGIN:VTODO\nUID:1\nDTSTAMP:20200101T000000Z\nSUMMARY;LANGUAGE=en:Old\n  title\nRRULE:FREQ=WEEKLY\n"
        "CATEGORIES:A,B\nX-APPLE-SORT-ORDER;X-P=\"a:b\":q\\,w\nFUTURE:thing\nno colon here\nGEO:1.5;2.5\n"
        "BEGIN:VALARM\nUID:theirs\nTRIGGER:-PT15M\nEND:VALARM\nBEGIN:X-COMP\nSUMMARY:inner\nEND:X-COMP\nEND:VTODO\n"
        "END:VCALENDAR\n";
    ToDo wanted;
    for (const ToDo& each : readCalendar(foreign).toDos)
        if (each.identifier == "1") wanted = each;
    EXPECT_EQ(wanted.title, "Old title");
    wanted.title = "New";
    wanted.isCompleted = true;
    wanted.completionDate = kNow;
    EXPECT_EQ(changed(foreign, wanted),
              "BEGIN:VCALENDAR\nPRODID:other\nX-WR-CALNAME:Home\nBEGIN:VTODO\nUID:other\nSUMMARY:Other\nEND:VTODO\n"
              "BEGIN:VTODO\nUID:1\nRECURRENCE-ID:20231101T080000Z\nSUMMARY:Once\nEND:VTODO\n"
              "BEGIN:VTODO\nUID:1\nDTSTAMP:20231114T221320Z\nSUMMARY:New\nRRULE:FREQ=WEEKLY\n"
              "CATEGORIES:A,B\nX-APPLE-SORT-ORDER;X-P=\"a:b\":q\\,w\nFUTURE:thing\nno colon here\nGEO:1.5;2.5\n"
              "STATUS:COMPLETED\nCOMPLETED:20231114T221320Z\nPERCENT-COMPLETE:100\nLAST-MODIFIED:20231114T221320Z\n"
              "BEGIN:VALARM\nUID:theirs\nTRIGGER:-PT15M\nEND:VALARM\nBEGIN:X-COMP\nSUMMARY:inner\nEND:X-COMP\n"
              "END:VTODO\nEND:VCALENDAR\n");
    EXPECT_EQ(calendarWithout(foreign, "1").value_or("?"),
              "BEGIN:VCALENDAR\nPRODID:other\nX-WR-CALNAME:Home\nBEGIN:VTODO\nUID:other\nSUMMARY:Other\nEND:VTODO\n"
              "END:VCALENDAR\n");
    EXPECT_EQ(calendarWithout(calendar(""), "1").value_or("?"), "");
}

TEST_F(CalendarFile, IsEmptyOnlyWhenNothingOfOthersIsLeft) {
    struct Case {
        const char *why, *lines;
        bool isEmpty;
    };
    for (const Case& c : {
             Case{"a zone says nothing by itself",
                  "BEGIN:VTIMEZONE\nTZID:X\nBEGIN:STANDARD\nEND:STANDARD\nbegin:daylight\nEND:DAYLIGHT\n"
                  "END:VTIMEZONE\n",
                  true},
             Case{"an appointment", "BEGIN:VEVENT\nUID:2\nEND:VEVENT\n", false},
             Case{"a component of another program", "BEGIN:X-THEIRS\nEND:X-THEIRS\n", false},
             Case{"a to-do that never ends", "BEGIN:VTODO\nUID:2\nSUMMARY:cut of\n", false},
         }) {
        const std::string own = "BEGIN:VTODO\nUID:1\nSUMMARY:Milk\nEND:VTODO\n";
        const std::string head = "BEGIN:VCALENDAR\n", tail = "END:VCALENDAR\n";
        const std::string left = c.isEmpty ? "" : head + c.lines + tail;
        EXPECT_EQ(calendarWithout(head + own + c.lines + tail, "1").value_or("?"), left) << c.why;
    }
}

TEST_F(CalendarFile, RingsForTheLastDateAlone) {
    ToDo toDo{.identifier = "1", .title = "Call", .url = "message://1@x", .due = kNow + 3600};
    const std::string first = newCalendar(toDo, kNow);
    toDo.due = kNow + 7200;
    const std::string second = changed(first, toDo);
    EXPECT_EQ(only(second).due, toDo.due);
    EXPECT_THAT(second, HasSubstr("TRIGGER;VALUE=DATE-TIME:20231114T231320Z\r\nURL:message://1@x\r\nACKNOWLEDGED:"))
        << "the former alarm stays, but has had its say";
    toDo.due = kNow + 3600;
    const std::string third = changed(second, toDo);
    EXPECT_EQ(only(third).due, toDo.due);
    EXPECT_THAT(third, HasSubstr("TRIGGER;VALUE=DATE-TIME:20231114T231320Z\r\nURL:message://1@x\r\nEND:VALARM"))
        << "the same moment again needs no third alarm";
    toDo.due.reset();
    EXPECT_EQ(only(changed(third, toDo)).due, std::nullopt) << "a date that was taken away does not come back";
}

TEST_F(CalendarFile, LeavesWhatItCannotUnderstand) {
    for (const std::string& bytes : {std::string(), std::string("hello"), std::string("\0\xFF\xFE", 3),
                                     std::string("BEGIN:VCALENDAR\r\nBEGIN:VTODO\r\nUID:1\r\nSUMMARY:cut of")}) {
        const auto content = readCalendar(bytes);
        EXPECT_TRUE(content.toDos.empty() && content.isBroken) << bytes;
        EXPECT_FALSE(changedCalendar(bytes, {.identifier = "1"}, kNow)) << bytes;
        EXPECT_FALSE(calendarWithout(bytes, "1")) << bytes;
    }
    const auto partly = readCalendar(calendar("DUE:soon\r\nSUMMARY:Still here\r\n"));
    ASSERT_EQ(partly.toDos.size(), 1U);
    EXPECT_EQ(partly.toDos.front().title, "Still here");
    EXPECT_TRUE(partly.isBroken);

    const std::string damaged = calendar("SUMMARY;LANGUAGE=en\r\n");
    ToDo wanted = only(damaged);
    wanted.title = "New";
    EXPECT_EQ(only(changed(damaged, wanted)).title, "New") << "the damaged title is not read in place of the new one";
}

}  // namespace qs
