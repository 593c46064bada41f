#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "Demo/DemoTemplate.h"
#include "Foundation/DateFormatter.h"
#include "Mail/MessageHeaders.h"
#include "Mime/MimeMessage.h"

namespace qs {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

constexpr Date kNow{1'700'000'000};  // 2023-11-14 22:13:20 UTC, a Tuesday

class DemoTemplateTest : public ::testing::Test {
protected:
    DemoTemplateTest() { setDefaultTimeZone("Europe/Berlin"); }
    ~DemoTemplateTest() override { setDefaultTimeZone({}); }
};

TEST_F(DemoTemplateTest, PlacesAndDatesAreFilledIn) {
    const auto mail =
        readDemoTemplate("Demo-Place: mira/Sent seen\nDemo-Place: tobias/Inbox flagged answered\n"
                         "From: Mira\nDate: {{-3d 14:20}}\n\nSee you on {{+1d 09:00|EEEE d MMMM, HH:mm}}.\n",
                         kNow);
    ASSERT_TRUE(mail) << mail.error().description;
    ASSERT_EQ(mail->places.size(), 2u);
    EXPECT_EQ(mail->places[0].account, "mira");
    EXPECT_EQ(mail->places[0].mailbox, MailboxKind::Sent);
    EXPECT_EQ(mail->places[1].flags, (MessageFlags{.answered = true, .flagged = true}));
    EXPECT_EQ(mail->content, "From: Mira\r\nDate: Sat, 11 Nov 2023 14:20:00 +0100\r\n\r\n"
                             "See you on Wednesday 15 November, 09:00.\r\n");
    EXPECT_EQ(mail->date, (Date{1'699'708'800}));
}

TEST_F(DemoTemplateTest, DaysAreThoseOfTheCalendar) {
    // Between these two days lies the night in which the clock goes back.
    const auto mail = readDemoTemplate("Subject: x\nDate: {{-20d 00:30}}\n\n", kNow);
    ASSERT_TRUE(mail);
    EXPECT_THAT(mail->content, HasSubstr("Wed, 25 Oct 2023 00:30:00 +0200"));
}

TEST_F(DemoTemplateTest, MistakesAreNamed) {
    const struct {
        const char* text;
        const char* sentence;
    } cases[] = {
        {"Demo-Place: mira\nFrom: x\nDate: {{-1h}}\n\n", "'mira' is no mailbox"},
        {"Demo-Place: mira/Attic\nFrom: x\nDate: {{-1h}}\n\n", "'mira/Attic' is no mailbox"},
        {"Demo-Place: mira/Inbox red\nFrom: x\nDate: {{-1h}}\n\n", "There is no flag 'red'"},
        {"From: x\nDate: {{-1w}}\n\n", "'-1w' is no date"},
        {"From: x\nDate: {{-1d}}\n\n", "'-1d' is no date"},
        {"From: x\nDate: {{-1h\n\n", "has no end"},
        {"From: x\n\nDate of no header\n", "no Date header"},
    };
    for (const auto& c : cases) {
        const auto mail = readDemoTemplate(c.text, kNow);
        ASSERT_FALSE(mail) << c.text;
        EXPECT_THAT(mail.error().description, HasSubstr(c.sentence)) << c.text;
    }
}

TEST_F(DemoTemplateTest, EveryMailOfTheDemoIsSoundAndOfTheLastTwoWeeks) {
    int inInboxes[2] = {0, 0}, unread = 0, attachments = 0;
    for (const auto& file : std::filesystem::directory_iterator(QS_DEMO_MAILS)) {
        std::ostringstream text;
        text << std::ifstream(file.path()).rdbuf();
        const auto mail = readDemoTemplate(text.str(), kNow, {{"newsletter", "http://127.0.0.1:80"}});
        ASSERT_TRUE(mail) << file << mail.error().description;
        EXPECT_LT(mail->date, kNow) << file;
        EXPECT_GT(mail->date, kNow - 14 * 86'400) << file;
        EXPECT_THAT(mail->content, Not(HasSubstr("{{"))) << file;
        EXPECT_FALSE(mail->places.empty()) << file;
        for (const DemoPlace& place : mail->places) {
            if (place.mailbox != MailboxKind::Inbox) continue;
            ++inInboxes[place.account == "tobias"];
            unread += place.flags.seen ? 0 : 1;
        }
        const auto parsed = MimeMessage::parse(mail->content);
        EXPECT_EQ(parsed->damage(), "") << file;
        EXPECT_TRUE(parsed->htmlBody() || parsed->plainBody()) << file;
        attachments += static_cast<int>(parsed->attachments().size());
    }
    EXPECT_GE(inInboxes[0], 5);
    EXPECT_GE(inInboxes[1], 5);
    EXPECT_GE(unread, 3);
    EXPECT_EQ(attachments, 3);
}

}  // namespace
}  // namespace qs
