// What list, message head and sidebar show of notes, tasks, follow-ups, snoozes, schedules, delays and tracking.
#include "MailCategories/StatusIcons.h"
#include "Core/Store/ManagedObjectContext.h"
#include "MainViewer.h"
#include "Notes/QSNote.h"
#include "Outgoing/QSHeaderKeys.h"
#include "PluginTest.h"
#include "Reminder/QSReminder.h"
#include "Services/QSService.h"
#include "Services/QSServicesManager.h"
#include "Snooze/QSSnoozeManager.h"
#include "Text/Color.h"
#include "Text/MailHeaderDate.h"
#include "Tracking/QSTrackingPixel.h"
#include "Viewer/HeaderView.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

constexpr const char *kId = "one@mill.example", *kUuid = "6F9619FF-8B86-4D01-B42D-00C04FC964FF";
constexpr std::int32_t kEvernote = 10, kReminders = 17;
constexpr TimeInterval kDay = 86'400;

class StatusIconsTest : public PluginTest {
protected:
    // Monday, 23 November 2026, 10:00.
    void start(int osMinor = 12) {
        startHost({.osMinor = osMinor, .start = {1'795'428'000}, .startDeliveries = false});
        link(kEvernote);
        host_->viewer().selectMailbox(inbox()->identifier());
    }
    static Date now() { return RunLoop::main().now(); }
    std::shared_ptr<Mailbox> inbox() { return host_->library().mailbox("ada", MailboxKind::Inbox, true); }
    static void link(std::int32_t type) {
        QSServicesManager::sharedManager().addServiceOfType(type)->markAsLinked(true);
    }
    static void unlink(std::int32_t type) {
        for (const auto& service : QSServicesManager::sharedManager().servicesOfServiceType(type, true))
            service->markAsLinked(false);
    }
    MessageRef receive(std::string_view extraHeaders = {}, MailboxKind kind = MailboxKind::Inbox,
                       const char* id = kId) {
        auto& library = host_->library();
        const std::string content = "From: The mill <mill@example.org>\r\nTo: ada@example.org\r\nSubject: Paper\r\n" +
                                    std::string(extraHeaders) + "Message-Id: <" + id + ">\r\n\r\nIt is ready.\r\n";
        auto message = library.add(*library.mailbox("ada", kind, true), content, {.seen = true}, now()).value();
        host_->settle();
        return message;
    }
    ManagedObjectContext& store() { return delegate().managedObjectContext(); }
    std::shared_ptr<QSNote> addNote(const char* id = kId) {
        auto note = store().insertNew<QSNote>();
        note->setMessageID(id);
        note->setUniqueIdentifier("N");
        return note;
    }
    std::shared_ptr<QSReminder> addReminder(std::int64_t type, const char* id = kId) {
        auto reminder = store().insertNew<QSReminder>();
        reminder->setMessageID(id);
        reminder->setType(type);
        return reminder;
    }
    std::shared_ptr<QSTrackingPixel> addPixel(const char* id = kId) {
        auto pixel = store().insertNew<QSTrackingPixel>();
        pixel->setUuid(kUuid);
        pixel->setMessageID(id);
        return pixel;
    }
    static void snooze(TimeInterval ahead, const char* id = kId) {
        QSSnoozeManager::sharedManager().addSnoozeInfo({now() + ahead, "ada/INBOX", "ada/Snooze"}, id);
    }
    ViewerRow row(std::size_t index = 0) {
        host_->settle();
        return host_->viewer().rows().at(index);
    }
    std::vector<std::string> icons(std::size_t index = 0) {
        std::vector<std::string> names;
        for (const ListIcon& icon : row(index).icons) {
            EXPECT_THAT(icon.image, StartsWith("plugin:MessageList"));
            EXPECT_FALSE(icon.label.empty()) << icon.image;
            const std::string name = icon.image.substr(std::string("plugin:").size());
            EXPECT_FALSE(QSSession::current().bundle().pathForResource(name, "svg").empty()) << name;
            names.push_back(name.substr(std::string("MessageList").size()));
        }
        return names;
    }
    std::vector<std::string> headerIcons() {
        host_->settle();
        std::vector<std::string> names;
        for (const auto& below : host_->viewer().header()->belowDate)
            for (const HeaderImage& image : below->images)
                names.push_back(image.image.substr(std::string("plugin:MessageList").size()));
        return names;
    }
    std::string headerDate() {
        host_->settle();
        return host_->viewer().header()->dateView.text;
    }
    static std::string scheduled(TimeInterval ahead) {
        return std::string(QSHeaderKeyXScheduledDate) + ": " + mailHeaderStringFromDate(now() + ahead) + "\r\n";
    }
};

TEST_F(StatusIconsTest, AllThatIsKnownOfAMessageStandsInAFixedOrderInWhiteWhenItIsSelected) {
    for (const int minor : {10, 11, 12}) {
        start(minor);
        const auto message = receive(std::string(QSHeaderKeyXTrackingUUID) + ": " + kUuid + "\r\n");
        receive({}, MailboxKind::Inbox, "other@mill.example");
        EXPECT_THAT(icons(1), IsEmpty()) << minor;
        addPixel();
        snooze(kDay);
        addReminder(kReminderTypeFollowUp);
        addNote();
        EXPECT_THAT(icons(1), ElementsAre("Note", "FollowUp", "Snooze1", "Tracked")) << minor;
        EXPECT_THAT(icons(0), IsEmpty()) << "of another message, " << minor;
        host_->viewer().selectIDs({message->libraryID()});
        EXPECT_THAT(icons(1), ElementsAre("NoteWhite", "FollowUpWhite", "SnoozeWhite1", "TrackedWhite")) << minor;
        EXPECT_EQ(row(1).icons[0].size, 12);
        EXPECT_EQ(row(1).icons[3].size, 13);
        EXPECT_EQ(row(1).date, "Nov 24, 10:00\u202FAM (Snoozed)") << minor;
        TearDown();
    }
    start();
}

TEST_F(StatusIconsTest, OnlyTheFirstReminderCountsAndAFollowUpThatIsDoneHasNoIcon) {
    start();
    receive();
    const auto first = addReminder(kReminderTypeTask), second = addReminder(kReminderTypeFollowUp);
    EXPECT_THAT(icons(), ElementsAre("TaskUnchecked"));
    first->setCompleted(true);
    EXPECT_THAT(icons(), ElementsAre("Task"));
    first->setType(5);
    EXPECT_THAT(icons(), IsEmpty()) << "a kind that nobody knows";
    store().deleteObject(*first);
    EXPECT_THAT(icons(), ElementsAre("FollowUp"));
    second->setCompleted(true);
    EXPECT_THAT(icons(), IsEmpty());
    second->setCompleted(false);
    unlink(kReminders);
    EXPECT_THAT(icons(), IsEmpty()) << "nothing is linked that could keep it";
    host_->viewer().selectIDs({host_->viewer().rows()[0].id});
    EXPECT_THAT(headerIcons(), ElementsAre("FollowUp")) << "the head does not ask";
    addNote();
    EXPECT_THAT(icons(), ElementsAre("NoteWhite"));
    unlink(kEvernote);
    EXPECT_THAT(icons(), IsEmpty());
    EXPECT_THAT(headerIcons(), ElementsAre("FollowUp"));
}

TEST_F(StatusIconsTest, AReminderColoursItsRowUntilItIsDone) {
    for (const std::int64_t type : {kReminderTypeFollowUp, kReminderTypeTask}) {
        start();
        receive();
        const auto reminder = addReminder(type);
        defaults().setObject(false, "QSHighlightReminderMessages");
        EXPECT_EQ(row().colour, "") << type;
        defaults().setObject(true, "QSHighlightReminderMessages");
        host_->advance(1);
        EXPECT_EQ(row().colour, Color::colorWithRed(0.49, 0.69, 0.62).lightenColorByValue(0.15).hexString()) << type;
        reminder->setCompleted(true);
        EXPECT_EQ(row().colour, "") << type;
        TearDown();
    }
    start();
}

TEST_F(StatusIconsTest, TrackingIsToldByTheHeaderAndTheRecordTogether) {
    start();
    receive({}, MailboxKind::Inbox, "plain@mill.example");
    receive(std::string(QSHeaderKeyXTrackingUUID) + ": " + kUuid + "\r\n");
    EXPECT_THAT(icons(), IsEmpty()) << "there is no record of it";
    const auto pixel = addPixel();
    addPixel("plain@mill.example");
    EXPECT_THAT(icons(0), ElementsAre("Tracked"));
    EXPECT_THAT(icons(1), IsEmpty()) << "it bears no pixel";
    const auto open = store().insertNew<QSTrackingPixelOpen>();
    open->setPixel(pixel);
    open->setDate(now());
    EXPECT_THAT(icons(0), ElementsAre("Read"));
    addPixel();
    EXPECT_THAT(icons(0), ElementsAre("Read")) << "the first one counts";
}

// Such an id is known by its cleaned form everywhere.
TEST_F(StatusIconsTest, AnIdWithInvisibleCharactersHidesNothing) {
    start();
    const auto message = receive({}, MailboxKind::Inbox, "o\u202ene@mill.example");
    host_->viewer().selectIDs({message->libraryID()});
    addNote();
    addReminder(kReminderTypeFollowUp);
    QSSnoozeManager::sharedManager().snoozeMessage(message, kSnoozeOneHour);
    host_->settle();
    ASSERT_THAT(host_->library().messagesWithMessageIDHeader(kId), ::testing::SizeIs(1));
    const auto snoozed = host_->library().messagesWithMessageIDHeader(kId).front();
    EXPECT_EQ(snoozed->mailbox()->displayName(), "Snooze");
    host_->viewer().selectMailbox(snoozed->mailbox()->identifier());
    EXPECT_THAT(icons(), ElementsAre("Note", "FollowUp", "Snooze1"));
    host_->viewer().selectIDs({snoozed->libraryID()});
    EXPECT_THAT(headerIcons(), ElementsAre("NoteLight", "FollowUp", "Snooze1"));
    EXPECT_THAT(headerDate(), StartsWith("Today, 11:00"));
    host_->advance(3621);
    EXPECT_EQ(host_->library().messagesWithMessageIDHeader(kId).front()->mailbox()->kind(), MailboxKind::Inbox);
}

TEST_F(StatusIconsTest, EveryIconHasBothItsPictures) {
    start();
    for (const StatusIcon& icon : status_icons::kAll)
        for (const char* name : {icon.name, icon.selectedName})
            EXPECT_FALSE(QSSession::current().bundle().pathForResource(name, "svg").empty()) << name;
}

TEST_F(StatusIconsTest, AScheduledMessageShowsWhenItLeaves) {
    struct Case {
        const char* why;
        TimeInterval ahead;
        const char *date, *header;
    };
    start();
    const std::string today = "10:00\u202FAM";
    for (const Case& c :
         {Case{"later today", 3600, "11:00\u202FAM (Scheduled)", "Today, 11:00\u202FAM (Scheduled)"},
          Case{"on another day", 40 * kDay, "Jan 2, 2027, 10:00\u202FAM (Scheduled)",
               "January 2, 2027, 10:00\u202FAM (Scheduled)"},
          Case{"tomorrow", kDay, "Nov 24, 10:00\u202FAM (Scheduled)", "Tomorrow, 10:00\u202FAM (Scheduled)"},
          Case{"in a second", 1, today.c_str(), nullptr}, Case{"in the past", -kDay, today.c_str(), nullptr}}) {
        const auto message = receive(scheduled(c.ahead), MailboxKind::Outbox, "planned@mill.example");
        host_->viewer().selectMailbox(message->mailbox()->identifier());
        EXPECT_THAT(icons(), ElementsAre("Scheduled")) << c.why;
        host_->viewer().selectIDs({message->libraryID()});
        EXPECT_THAT(icons(), ElementsAre("ScheduledWhite")) << c.why;
        EXPECT_EQ(row().date, c.date) << c.why;
        if (c.header) {
            EXPECT_EQ(headerDate(), c.header) << c.why;
        }
        EXPECT_EQ(headerDate().ends_with(" (Scheduled)"), c.header != nullptr) << c.why << headerDate();
        EXPECT_THAT(row().dateLong, ::testing::HasSubstr(c.header ? c.date : "November 23")) << c.why;
        EXPECT_TRUE(host_->library().erase({message->libraryID()}));
        host_->settle();
    }
    // What bears the header is never told as snoozed or delayed, whatever the header says.
    snooze(kDay, "late@mill.example");
    for (const std::string& header : {scheduled(1), std::string(QSHeaderKeyXScheduledDate) + ": soon\r\n"}) {
        const auto late = receive(header, MailboxKind::Outbox, "late@mill.example");
        host_->viewer().selectMailbox(late->mailbox()->identifier());
        host_->viewer().selectIDs({late->libraryID()});
        EXPECT_EQ(row().date, today);
        EXPECT_EQ(headerDate().find(" ("), std::string::npos) << headerDate();
        EXPECT_TRUE(host_->library().erase({late->libraryID()}));
        host_->settle();
    }
    const auto elsewhere = receive(std::string(QSHeaderKeyXScheduledDate) + ": soon\r\n");
    host_->viewer().selectMailbox(elsewhere->mailbox()->identifier());
    EXPECT_THAT(icons(), IsEmpty()) << "only what waits in the outbox";
}

TEST_F(StatusIconsTest, ADelayedMessageHasItsIconLongerThanItsWord) {
    start();
    defaults().setObject(10, "QSSendDelaySeconds");
    const auto message = receive("Date: " + mailHeaderStringFromDate(now()) + "\r\n", MailboxKind::Outbox);
    host_->viewer().selectMailbox(message->mailbox()->identifier());
    host_->viewer().selectIDs({message->libraryID()});
    struct Case {
        TimeInterval after;
        bool icon, word;
    };
    const Date arrived = message->dateReceived();
    for (const Case& c : {Case{0, true, true}, Case{12.5, true, true}, Case{13.5, true, false}, Case{19.5, true, false},
                          Case{20.5, false, false}}) {
        host_->advance(arrived + c.after - now());
        EXPECT_EQ(icons(), c.icon ? std::vector<std::string>{"DelayedWhite"} : std::vector<std::string>{}) << c.after;
        EXPECT_EQ(row().date.ends_with(" (Delayed)"), c.word) << c.after;
        EXPECT_EQ(headerDate().ends_with(" (Delayed)"), c.icon) << c.after;
    }
}

TEST_F(StatusIconsTest, TheHeadShowsNotesFollowUpsAndSnoozes) {
    for (const int minor : {10, 11, 12}) {
        start(minor);
        const auto message = receive();
        host_->viewer().selectIDs({message->libraryID()});
        const auto note = addNote();
        const auto followUp = addReminder(kReminderTypeTask);
        if (minor == 10) {
            EXPECT_THAT(headerIcons(), IsEmpty());
            EXPECT_EQ(headerDate().find(" ("), std::string::npos);
            TearDown();
            continue;
        }
        EXPECT_THAT(headerIcons(), ElementsAre("NoteLight")) << minor;
        note->setIsRemote(true);
        addReminder(kReminderTypeFollowUp)->setCompleted(true);
        snooze(kDay);
        EXPECT_THAT(headerIcons(), ElementsAre("Note", "FollowUp", "Snooze1")) << "also when it is done, " << minor;
        EXPECT_THAT(headerDate(), StartsWith("Tomorrow, 10:00")) << minor;
        EXPECT_TRUE(headerDate().ends_with(" (Snoozed)")) << minor;
        const auto other = receive({}, MailboxKind::Inbox, "other@mill.example");
        host_->viewer().selectIDs({other->libraryID()});
        EXPECT_THAT(headerIcons(), IsEmpty()) << minor;
        TearDown();
    }
    start();
}

TEST_F(StatusIconsTest, TheRowOfAConversationTellsOfItsNewestMessage) {
    start();
    receive({}, MailboxKind::Inbox, "old@mill.example");
    receive("References: <old@mill.example>\r\n");
    host_->application().sendAction("toggleGrouping:", nullptr, nullptr);
    addNote("old@mill.example");
    host_->settle();
    ASSERT_EQ(host_->viewer().total(), 1);
    EXPECT_THAT(icons(), IsEmpty());
    addNote();
    EXPECT_THAT(icons(), ElementsAre("Note"));
}

TEST_F(StatusIconsTest, WithoutThePlugInTheHostDrawsByItself) {
    start();
    const auto message = receive();
    addNote();
    snooze(kDay);
    host_->viewer().selectIDs({message->libraryID()});
    EXPECT_THAT(headerIcons(), ElementsAre("NoteLight", "Snooze1"));
    MailBundleUnload();
    host_->viewer().selectIDs({});
    host_->viewer().selectIDs({message->libraryID()});
    EXPECT_THAT(row().icons, IsEmpty());
    EXPECT_EQ(row().date.find(" ("), std::string::npos);
    EXPECT_THAT(headerIcons(), IsEmpty());
}

}  // namespace
}  // namespace qs
