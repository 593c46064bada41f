// Snoozing through a whole host: messages go aside, come back at their time, and what the person does meanwhile counts.
#include <algorithm>

#include "Application/HostInstances.h"
#include "Foundation/DateFormatter.h"
#include "Mail/LibraryReading.h"
#include "MailboxPlaces.h"
#include "MainViewer.h"
#include "Models/Alert.h"
#include "Models/Form.h"
#include "Models/Menu.h"
#include "Models/Toolbar.h"
#include "PluginTest.h"
#include "Snooze/QSSnoozeManager.h"
#include "UserNotifications.h"
#include "Viewer/MessageViewer.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr const char* kId = "one@mill.example";

class SnoozeTest : public PluginTest {
protected:
    // Monday, 23 November 2026, 10:00.
    void start(int osMinor = 12) {
        startHost({.osMinor = osMinor, .start = {1'795'428'000}});
        told_.clear();
        toldWatch_ = NotificationCenter::defaultCenter().addObserver(
            std::string(UserNotificationWasPostedNotification), [this](const Notification& posted) {
                for (const Value& id : posted.userInfo["messages"].array())
                    told_.push_back(host_->library().summary(id.integerValue())->subject);
            });
    }
    void TearDown() override {
        toldWatch_.reset();
        PluginTest::TearDown();
    }
    static QSSnoozeManager& manager() { return QSSnoozeManager::sharedManager(); }
    MessageRef receive(const std::string& id = kId, MailboxKind kind = MailboxKind::Inbox) {
        auto& library = host_->library();
        const std::string content = "From: The mill <mill@example.org>\r\nTo: ada@example.org\r\nSubject: Paper\r\n" +
                                    (id.empty() ? "" : "Message-Id: <" + id + ">\r\n") + "\r\nIt is ready.\r\n";
        auto message =
            library.add(*library.mailbox("ada", kind, true), content, {.seen = true}, host_->loop().now()).value();
        host_->settle();
        return message;
    }
    // Where the copies of the message are.
    std::vector<std::string> places(const std::string& id = kId) {
        std::vector<std::string> found;
        for (const MessageRef& copy : host_->library().messagesWithMessageIDHeader(id))
            found.push_back(copy->mailbox()->identifier());
        return found;
    }
    bool isUnread() { return !host_->library().messagesWithMessageIDHeader(kId).at(0)->flags().seen; }
    void move(const std::string& to, const std::string& id = kId) {
        const auto copies = host_->library().messagesWithMessageIDHeader(id);
        const auto target = host_->library().mailboxWithIdentifier(to);
        ASSERT_TRUE(target && copies.size() == 1);
        ASSERT_TRUE(host_->library().move({copies[0]->libraryID()}, *target));
        host_->settle();
    }
    // The host made its toolbar before the plug-in came.
    std::shared_ptr<ToolbarItem> snoozeItem() {
        const auto toolbar = host_->viewer().toolbar();
        toolbar->insertItemWithItemIdentifier("Snooze", 5);
        return toolbar->items().size() > 5 && toolbar->items()[5]->itemIdentifier() == "Snooze" ? toolbar->items()[5]
                                                                                                : nullptr;
    }
    std::string dateOf(const std::string& id = kId) {
        const auto date = manager().snoozeDateForMessageID(id);
        return date ? formatDate(*date, {"yyyy-MM-dd HH:mm", "en_US_POSIX", ""}) : "";
    }

    std::vector<std::string> told_;
    ObservationRef toldWatch_;
};

TEST_F(SnoozeTest, AMessageGoesAsideAndComesBackUnread) {
    for (const int minor : {10, 11, 12}) {
        start(minor);
        manager().snoozeMessage(receive(), kSnoozeOneHour);
        host_->settle();
        EXPECT_THAT(places(), ElementsAre("ada/Snooze"));
        host_->advance(3600);
        EXPECT_THAT(places(), ElementsAre("ada/Snooze")) << "not before its time";
        host_->advance(20);
        EXPECT_THAT(places(), ElementsAre("ada/INBOX"));
        EXPECT_FALSE(manager().isSnoozedMessageWithMessageID(kId));
        host_->advance(0.6);
        EXPECT_TRUE(isUnread());
        host_->advance(0.6);
        EXPECT_EQ(told_, std::vector<std::string>(minor >= 11 ? 1 : 0, "Paper")) << minor;
        host_->advance(3600);
        EXPECT_THAT(told_, SizeIs(minor >= 11 ? 1 : 0)) << "once";
        TearDown();
    }
    start();
}

TEST_F(SnoozeTest, TheBookSurvivesAndWhatFellDueMeanwhileWakes) {
    start();
    receive("other@mill.example", MailboxKind::Archive);
    manager().snoozeMessage(receive(), kSnoozeOneHour);
    manager().snoozeMessage(host_->library().messagesWithMessageIDHeader("other@mill.example").at(0), kSnoozeOneWeek);
    const Value shared = UserDefaults::suite("com.tallowbay.Quillstead.shared")->objectForKey("QSSnoozeMessages");
    EXPECT_EQ(shared, defaults().objectForKey("QSSnoozeMessages"));
    EXPECT_EQ(shared[kId]["QSSnoozeOriginalMailboxIdentifier"], Value("ada/INBOX"));
    EXPECT_EQ(shared[kId]["QSSnoozeMailboxIdentifier"], Value("ada/Snooze"));
    MailBundleUnload();
    host_->shutDown();
    host_->passWhileDown(7200);
    host_->start();
    load();
    host_->advance(21);
    EXPECT_THAT(places(), ElementsAre("ada/INBOX"));
    EXPECT_THAT(places("other@mill.example"), ElementsAre("ada/Snooze"));
    host_->advance(7 * 86400);
    EXPECT_THAT(places("other@mill.example"), ElementsAre("ada/Archive")) << "where it came from";
}

TEST_F(SnoozeTest, OnceMoreTakesTheNewDateAndTheFirstOrigin) {
    start();
    manager().snoozeMessage(receive(kId, MailboxKind::Archive), kSnoozeOneHour);
    manager().snoozeMessage(host_->library().messagesWithMessageIDHeader(kId).at(0), kSnoozeOneWeek);
    EXPECT_EQ(dateOf(), "2026-11-30 10:00");
    host_->advance(7 * 86400 + 21);
    EXPECT_THAT(places(), ElementsAre("ada/Archive"));
}

TEST_F(SnoozeTest, WhoMovesAMessageEndsItsSnooze) {
    start();
    manager().snoozeMessage(receive(), kSnoozeOneWeek);
    host_->settle();
    ASSERT_TRUE(host_->library().createMailbox("ada", "Projects"));
    move("ada/Projects");
    EXPECT_FALSE(manager().isSnoozedMessageWithMessageID(kId));
    host_->advance(1);
    EXPECT_TRUE(isUnread());
    EXPECT_THAT(places(), ElementsAre("ada/Projects"));
    // "Unsnooze" brings it back and tells it as a timed end does.
    manager().snoozeMessage(host_->library().messagesWithMessageIDHeader(kId).at(0), kSnoozeOneWeek);
    host_->settle();
    told_.clear();
    manager().unsnoozeMessageWithMessageID(kId, true);
    host_->advance(1.2);
    EXPECT_THAT(places(), ElementsAre("ada/Projects"));
    EXPECT_FALSE(manager().isSnoozedMessageWithMessageID(kId));
    EXPECT_THAT(told_, ElementsAre("Paper"));
}

TEST_F(SnoozeTest, AllCopiesGoTogetherAndTheBookSpeaksForThemAll) {
    start();
    receive(kId, MailboxKind::Archive);
    manager().snoozeMessage(receive(), kSnoozeOneHour);
    host_->settle();
    EXPECT_THAT(places(), ElementsAre("ada/Snooze", "ada/Snooze"));
    const auto snooze = host_->library().mailboxWithIdentifier("ada/Snooze");
    EXPECT_EQ(manager().snoozedCountForMailbox(*snooze), 1);
    const MailboxRow row = host_->application().rowOfMailbox(*snooze);
    EXPECT_EQ(row.badge, 1);
    EXPECT_EQ(row.image, "plugin:SidebarSnooze");
    EXPECT_FALSE(row.takesDrops);
    const auto archive = host_->library().mailboxWithIdentifier("ada/Archive");
    EXPECT_TRUE(host_->application().rowOfMailbox(*archive).takesDrops);
    const auto other = host_->library().createMailbox("ada", "Other");
    ASSERT_TRUE(other);
    std::vector<std::string> targets;
    const auto menu = host_->application().contextualMenu();
    for (const auto& item : menu->itemArray())
        if (item->title() == "Move to")
            for (const auto& account : item->submenu()->itemArray())
                for (const auto& target : account->submenu()->itemArray())
                    targets.push_back(target->title());
    EXPECT_THAT(targets, testing::AllOf(testing::Contains("Other"), testing::Not(testing::Contains("Snooze"))));
    host_->advance(3621);
    EXPECT_THAT(places(), ElementsAre("ada/INBOX", "ada/INBOX"));
}

TEST_F(SnoozeTest, NoMailboxIsMadeInTheSnoozeMailboxOrMovedIntoIt) {
    start();
    manager().snoozeMessage(receive(), kSnoozeOneHour);
    auto& application = host_->application();
    const auto other = createMailbox(application, "ada", "Other");
    ASSERT_TRUE(other);
    const std::string why = "Nothing can be put into “Snooze”.";
    EXPECT_EQ(application.renameMailbox((*other)->identifier(), "Snooze/Other").error().description, why);
    EXPECT_EQ(createMailbox(application, "ada", "Snooze/Later").error().description, why);
    EXPECT_EQ(createMailbox(application, "ada", "Snooze/Later/Still").error().description, why);
    EXPECT_TRUE(createMailbox(application, "ben", "Snoozes/Later"));
    // Nor is it offered.
    const auto choose = [&](const char* mailbox) {
        const auto menu = application.contextualMenuOfMailbox(mailbox);
        return menu && menu->itemAtIndex(0)->title() == "New Mailbox Inside…" &&
               application.choose(*menu->itemAtIndex(0));
    };
    EXPECT_FALSE(choose("ada/Snooze"));
    ASSERT_TRUE(choose("ada/Other"));
    const auto sheet = host_->viewer().window()->currentSheet();
    FormControl* const place = sheet ? sheet->control("parent") : nullptr;
    ASSERT_NE(place, nullptr);
    std::vector<std::string> offered;
    for (const FormOption& option : place->options)
        offered.push_back(option.title);
    EXPECT_THAT(offered, ElementsAre("No other mailbox", "Other"));
}

// The host's library before it knows anything of its folders.
class UnreadLibrary : public Library, public LibraryReading {
public:
    UnreadLibrary() : Library("MFLibrary") {}
    MessageList messagesMatchingCriterion(const MessageCriterion&, unsigned, int) override { return {}; }
    MessageRef messageWithLibraryID(std::int64_t) override { return nullptr; }
    MessageList messagesWithMessageIDHeader(std::string_view) override { return {}; }
    bool isReadIn() const override { return isRead; }
    bool isRead = false;
};

TEST_F(SnoozeTest, NoMessageIsMissedBeforeTheLibraryIsReadIn) {
    constexpr const char* kMissed = "Snoozed message could not be found in snooze mailbox after 3 days";
    start();
    const LogCapture log;
    manager().snoozeMessage(receive(), kSnoozeOneHour);
    const auto read = HostInstances::current().library;
    const auto unread = std::make_shared<UnreadLibrary>();
    HostInstances::current().library = unread;
    host_->advance(4 * 86400);
    EXPECT_FALSE(log.contains(kMissed));
    HostInstances::current().library = read;
    host_->advance(20);
    EXPECT_THAT(places(), ElementsAre("ada/INBOX")) << "as soon as it is there";
    manager().addSnoozeInfo({host_->loop().now() - 4 * 86400, "ada/INBOX", "ada/Snooze"}, "lost@mill.example");
    unread->isRead = true;
    HostInstances::current().library = unread;
    host_->advance(20);
    EXPECT_TRUE(log.contains(kMissed)) << "a library that is read in knows all there is";
    HostInstances::current().library = read;
}

TEST_F(SnoozeTest, WhatCannotBeSnoozedStays) {
    start();
    const LogCapture log;
    const auto message = receive("");
    host_->loop().post([] {
        const auto& shown = AlertCentre::shared().shown();
        ASSERT_THAT(shown, SizeIs(1));
        EXPECT_EQ(shown[0]->messageText, "Failed to snooze");
        EXPECT_EQ(shown[0]->informativeText,
                  "Quillstead can not snooze this message, because it does not have a unique message identifier.");
        AlertCentre::shared().answer(shown[0]->identifier, 0, false);
    });
    manager().snoozeMessage(message, kSnoozeOneHour);
    EXPECT_EQ(message->mailbox()->identifier(), "ada/INBOX");
    EXPECT_TRUE(log.contains("Message does not have a message-id. Cannot perform snoozing!"));
    EXPECT_EQ(host_->library().mailboxWithIdentifier("ada/Snooze"), nullptr) << "nothing was made for it";
    EXPECT_FALSE(manager().isSnoozedMessageWithMessageID(""));
    EXPECT_FALSE(manager().isItTimeToWakeUpForMessageID(""));
}

TEST_F(SnoozeTest, ALostOriginMeansTheInboxAndALostMessageIsMissedAfterThreeDays) {
    start();
    const LogCapture log;
    manager().snoozeMessage(receive(), kSnoozeOneHour);
    manager().addSnoozeInfo({*manager().snoozeDateForMessageID(kId), "ada/Gone", "ada/Snooze"}, kId);
    manager().addSnoozeInfo({host_->loop().now(), "ada/INBOX", "ada/Snooze"}, "lost@mill.example");
    EXPECT_FALSE(manager().isItTimeToWakeUpForMessageID("lost@mill.example")) << "now is not past";
    host_->advance(3621);
    EXPECT_THAT(places(), ElementsAre("ada/INBOX"));
    EXPECT_TRUE(log.contains("Could not find target mailbox for snoozed message. Will wake-up in inbox"));
    EXPECT_FALSE(log.contains("after 3 days"));
    host_->advance(3 * 86400);
    EXPECT_TRUE(log.contains("Snoozed message could not be found in snooze mailbox after 3 days... Ignoring it "
                             "from now on"));
    EXPECT_TRUE(manager().isSnoozedMessageWithMessageID("lost@mill.example")) << "a stale entry stays";
}

TEST_F(SnoozeTest, TheMenuTellsDatesAndTheActionsTakeTheirModeFromIt) {
    start();
    defaults().setObject(true, "QSSnoozeDateInWorkingHours");
    host_->advance(4 * 86400 + 9 * 3600);  // Friday, 19:00
    const auto message = receive();
    host_->viewer().selectMailbox("ada/INBOX");
    host_->viewer().selectIDs({message->libraryID()});
    const auto tool = snoozeItem();
    ASSERT_NE(tool, nullptr);
    tool->menu->update();
    std::vector<std::string> titles;
    std::shared_ptr<MenuItem> picker, custom, month;
    for (const auto& item : tool->menu->itemArray()) {
        if (item->form()) picker = item;
        if (item->action().empty()) continue;
        titles.push_back(item->title());
        if (item->tag() == kSnoozeCustomDate) custom = item;
        if (item->tag() == kSnoozeOneMonth) month = item;
        EXPECT_EQ(item->isEnabled(), item->tag() != kSnoozeTodayEvening && item->tag() != kSnoozeCustomDate)
            << item->title();
        EXPECT_EQ(item->state(), item->tag() == kSnoozeTomorrowMorning ? 1 : 0);
        EXPECT_TRUE(item->title().ends_with(item->faintEnd()) && item->faintEnd().starts_with(" ("));
        EXPECT_EQ(item->target(), nullptr);
    }
    ASSERT_THAT(titles, SizeIs(8));
    EXPECT_THAT(titles[0], HasSubstr("+1 hour (Today, "));
    EXPECT_THAT(titles[3], HasSubstr("Next workday morning ("));
    EXPECT_THAT(titles[6], HasSubstr("Next workday in one month ("));
    ASSERT_TRUE(picker && custom && month);
    FormControl* date = picker->form()->control("customDate");
    ASSERT_NE(date, nullptr);
    EXPECT_EQ(date->value.dateValue(), host_->loop().now() + 10800);
    date->onChange(host_->loop().now() + 90000);
    EXPECT_EQ(custom->isEnabled(), true) << "the menu follows the picker";
    EXPECT_TRUE(host_->application().choose(*custom));
    host_->settle();
    EXPECT_EQ(dateOf(), "2026-11-28 20:00");
    EXPECT_THAT(places(), ElementsAre("ada/Snooze"));
    // In the snooze mailbox the contextual menu ends it.
    host_->viewer().selectMailbox("ada/Snooze");
    host_->viewer().selectIDs({host_->library().messagesWithMessageIDHeader(kId).at(0)->libraryID()});
    const auto unsnooze = host_->application().contextualMenu()->itemWithTag(kTagSnooze);
    EXPECT_EQ(unsnooze->title(), "Unsnooze");
    EXPECT_TRUE(host_->application().choose(*unsnooze));
    host_->advance(1);
    EXPECT_THAT(places(), ElementsAre("ada/INBOX"));
}

TEST_F(SnoozeTest, TheToolbarItemStandsAheadOfArchivingAndNeedsASelection) {
    start();
    host_->viewer().selectIDs({});
    const auto toolbar = host_->viewer().toolbar();
    const auto identifiers = toolbar_delegate::defaultItemIdentifiers(toolbar->delegate(), *toolbar);
    const auto place = std::ranges::find(identifiers, "Snooze");
    ASSERT_NE(place, identifiers.end());
    EXPECT_EQ(*(place + 1), "archiveMessages:");
    const auto item = snoozeItem();
    ASSERT_NE(item, nullptr);
    toolbar->validateVisibleItems();
    EXPECT_FALSE(item->enabled);
    host_->viewer().selectMailbox("ada/INBOX");
    host_->viewer().selectIDs({receive()->libraryID()});
    toolbar->validateVisibleItems();
    EXPECT_TRUE(item->enabled);
    EXPECT_TRUE(host_->application().sendAction(item->action, nullptr, item.get()));
    host_->settle();
    EXPECT_EQ(dateOf(), "2026-11-24 09:00") << "the default mode";
}

}  // namespace
}  // namespace qs
