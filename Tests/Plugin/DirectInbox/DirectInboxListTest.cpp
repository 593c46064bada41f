// What the Direct Inbox lists, over a whole host: which messages of which mailboxes, in what order, told how.
#include "Core/Store/ManagedObjectContext.h"
#include "DirectInbox/DirectInboxIcons.h"
#include "DirectInbox/QSDirectInboxViewController.h"
#include "Mail/MailAccount.h"
#include "Mail/Mailbox.h"
#include "Mail/MessageFlagBits.h"
#include "Mail/SnippetManager.h"
#include "MailCategories/MessageMarks.h"
#include "Models/Menu.h"
#include "Notes/QSNote.h"
#include "PluginTest.h"
#include "Reminder/QSReminder.h"
#include "Snooze/QSSnoozeManager.h"
#include "Tracking/QSTrackingPixel.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr Date kNow{1'795'428'000};  // Monday, 23 November 2026, 10:00
constexpr TimeInterval kDay = 86400;

class DirectInboxListTest : public PluginTest {
protected:
    void start(TemporaryHostOptions options = {}) {
        options.start = kNow;
        options.startDeliveries = false;
        startHost(std::move(options));
        // What the plug-in shows of itself has a list of its own.
        defaults().setObject(false, "QSShowMenuBar");
        controller_ = QSDirectInboxViewController::make();
    }
    void TearDown() override {
        controller_.reset();
        PluginTest::TearDown();
    }
    MessageRef put(const std::string& subject, TimeInterval age, MessageFlags flags = {},
                   const std::string& mailbox = "ada/INBOX", const std::string& headers = "") {
        const auto target = host_->library().mailboxWithIdentifier(mailbox);
        const std::string content =
            "From: \"The Mill\" <mill@example.org>\r\nTo: ada@example.org\r\nSubject: " + subject +
            "\r\nMessage-Id: <" + subject + "@mill>\r\n" + headers + "\r\nWheat.\r\n";
        return host_->library().add(*target, content, flags, kNow - age).value();
    }
    void choose(const std::vector<std::string>& identifiers) {
        defaults().setObject(Array(identifiers.begin(), identifiers.end()), "QSDirectInboxActiveIdentifiers");
        controller_ = QSDirectInboxViewController::make();
    }
    void reload() {
        controller_->reloadMailboxMessages();
        host_->settle();
    }
    // "= account/mailbox" for a heading, the subject for a message, "-" for the placeholder.
    std::vector<std::string> list() {
        reload();
        std::vector<std::string> lines;
        for (const QSDirectInboxRow& row : controller_->mailboxMessages())
            switch (row.type()) {
            case QSDirectInboxRowType::Message:
                lines.push_back(row[QSDirectInboxMessageSubjectKey].stringValue());
                break;
            case QSDirectInboxRowType::Mailbox:
                lines.push_back("= " + row[QSDirectInboxMailboxAccountNameKey].stringValue() + "/" +
                                row[QSDirectInboxMailboxNameKey].stringValue());
                break;
            case QSDirectInboxRowType::EmptyMailbox: lines.emplace_back("-"); break;
            }
        return lines;
    }
    const QSDirectInboxRow& rowAt(std::size_t index) { return controller_->mailboxMessages().at(index); }
    std::string accountName(const std::string& identifier) {
        return MailAccount::accountWithIdentifier(identifier)->displayName();
    }

    std::shared_ptr<QSDirectInboxViewController> controller_;
};

TEST_F(DirectInboxListTest, TheNewestOfTheLastSevenDaysOfEachMailboxInTheChosenOrder) {
    start();
    host_->library().createMailbox("ada", "Lists").value();
    choose({"ben/INBOX", "ada/INBOX", "ada/Lists"});
    defaults().setObject(2, "QSNumMessagesPerMailbox");
    put("An hour old", 3600);
    put("Two hours old", 2 * 3600);
    put("Three hours old", 3 * 3600);
    put("Just inside", 7 * kDay, {}, "ben/INBOX");
    put("Just outside", 7 * kDay + 1, {}, "ben/INBOX");
    put("To be erased", 60, {.deleted = true}, "ben/INBOX");
    EXPECT_THAT(list(),
                ElementsAre("= " + accountName("ben") + "/Inbox", "Just inside", "= " + accountName("ada") + "/Inbox",
                            "An hour old", "Two hours old", "= " + accountName("ada") + "/Lists", "-"));
    host_->advance(2);
    EXPECT_THAT(list()[1], "-") << "time goes on";
}

TEST_F(DirectInboxListTest, OnlyUnreadOnes) {
    start();
    choose({"ada/INBOX"});
    put("Read", 60, {.seen = true});
    EXPECT_THAT(list(), SizeIs(2));
    EXPECT_EQ(controller_->emptyMailboxText(), "No messages in last 7 days");
    std::vector<std::string> texts;
    const auto watch =
        controller_->addObserver("emptyMailboxText", [&](bool) { texts.push_back(controller_->emptyMailboxText()); });
    controller_->toggleShowOnlyUnread(true);
    EXPECT_THAT(texts, ElementsAre("No messages in last 7 days", "No unread messages in last 7 days"));
    EXPECT_THAT(list(), ElementsAre("= " + accountName("ada") + "/Inbox", "-"));
    put("Unread", 90);
    EXPECT_EQ(list()[1], "Unread");
}

TEST_F(DirectInboxListTest, NoMessagesAtAllWhenNoneAreWanted) {
    start();
    choose({"ada/INBOX", "ben/INBOX"});
    put("There", 60);
    for (const int wanted : {0, -1}) {
        defaults().setObject(wanted, "QSNumMessagesPerMailbox");
        const auto lines = list();
        ASSERT_THAT(lines, SizeIs(4)) << wanted;
        EXPECT_EQ(lines[1] + lines[3], "--") << wanted;
    }
}

TEST_F(DirectInboxListTest, AMailboxThatIsGoneIsPassedOverAndComesBack) {
    for (const int minor : {10, 12}) {
        start({.osMinor = minor});
        const auto lists = host_->library().createMailbox("ada", "Lists").value();
        choose({"ada/Lists", "ada/INBOX"});
        ASSERT_TRUE(host_->library().removeMailbox(*lists));
        EXPECT_THAT(list(), ElementsAre("= " + accountName("ada") + "/Inbox", "-"));
        EXPECT_FALSE(rowAt(0)[QSDirectInboxMailboxIsFirstKey].boolValue()) << "it keeps its place";
        host_->library().createMailbox("ada", "Lists").value();
        EXPECT_THAT(list(), SizeIs(4));
        EXPECT_TRUE(rowAt(0)[QSDirectInboxMailboxIsFirstKey].boolValue());
        TearDown();
    }
    start();
}

TEST_F(DirectInboxListTest, BeginsWithAllInboxesAndRemembersNothingUntilItIsChanged) {
    start();
    put("For Ada", 60);
    put("For Ben", 30, {}, "ben/INBOX");
    host_->advance(0.4);
    EXPECT_THAT(controller_->mailboxMessages(), IsEmpty());
    host_->advance(0.2);
    EXPECT_THAT(controller_->mailboxMessages(), SizeIs(3)) << "by itself, after half a second";
    EXPECT_THAT(list(), ElementsAre("= Mail/Inbox", "For Ben", "For Ada"));
    EXPECT_TRUE(defaults().objectForKey("QSDirectInboxActiveIdentifiers").isNil());
    controller_->removeMailbox(rowAt(0));
    EXPECT_EQ(defaults().objectForKey("QSDirectInboxActiveIdentifiers"), Value(Array()));
    controller_ = QSDirectInboxViewController::make();
    EXPECT_THAT(list(), IsEmpty()) << "an empty list is a choice, too";
}

TEST_F(DirectInboxListTest, MailboxesAreAddedMovedAndRemoved) {
    start();
    choose({"ada/INBOX"});
    const auto add = [&](const std::shared_ptr<HostObject>& object) {
        MenuItem item("Any", "addMailbox:");
        item.setRepresentedObject(object);
        controller_->addMailbox(&item);
        reload();
    };
    const auto identifiers = [&] { return controller_->activeMailboxIdentifiers(); };
    add(host_->library().mailboxWithIdentifier("ben/INBOX"));
    add(host_->library().mailboxWithIdentifier("ada/INBOX"));
    add(nullptr);
    controller_->addMailbox(nullptr);
    EXPECT_THAT(identifiers(), ElementsAre("ada/INBOX", "ben/INBOX"));
    controller_->moveMailboxUp(rowAt(0));
    controller_->moveMailboxDown(rowAt(2));
    EXPECT_THAT(identifiers(), ElementsAre("ada/INBOX", "ben/INBOX")) << "they stand at the ends";
    controller_->moveMailboxUp(rowAt(2));
    EXPECT_THAT(identifiers(), ElementsAre("ben/INBOX", "ada/INBOX"));
    reload();
    controller_->moveMailboxDown(rowAt(0));
    EXPECT_THAT(identifiers(), ElementsAre("ada/INBOX", "ben/INBOX"));
    reload();
    controller_->removeMailbox(rowAt(0));
    EXPECT_EQ(defaults().objectForKey("QSDirectInboxActiveIdentifiers"), Value(Array{"ben/INBOX"}));
    EXPECT_THAT(list(), SizeIs(2));
}

TEST_F(DirectInboxListTest, ARowTellsWhatTheMessageIs) {
    start();
    choose({"ada/INBOX"});
    auto kept = put("Flour", 60, {.seen = true, .flagged = true, .junk = true, .colour = 3}, "ada/INBOX",
                    "X-Priority: 1 (Highest)\r\n");
    reload();
    const QSDirectInboxRow row = rowAt(1);
    EXPECT_EQ(row.QSDirectInboxRepresentedMessage, kept);
    EXPECT_TRUE(row.QSDirectInboxRepresentedMessage->isKindOf("MFLibraryMessage"));
    EXPECT_EQ(row[QSDirectInboxMessageSenderKey], Value("The Mill"));
    EXPECT_EQ(row[QSDirectInboxMessageSnippetKey], Value("Wheat."));
    EXPECT_EQ(row[QSDirectInboxMessageDateKey], Value(kNow - 60));
    EXPECT_EQ(row[QSDirectInboxMessageIsReadKey], Value(1));
    EXPECT_EQ(row[QSDirectInboxMessageJunkKey], Value(std::int64_t{0x1000000}));
    EXPECT_EQ(row[QSDirectInboxMessagePriorityKey], Value(true));
    EXPECT_EQ(row[QSDirectInboxMessageFlagModeKey], Value(std::int64_t{0x400090})) << "green";
    EXPECT_THAT(row[QSDirectInboxMessageAvatarKey].string(), ::testing::HasSubstr("TM"));
    kept.reset();

    put("Oats", 30, {.colour = 3});
    EXPECT_EQ((list(), rowAt(1)[QSDirectInboxMessageFlagModeKey]), Value(0)) << "a colour without a flag";
    EXPECT_EQ(rowAt(1)[QSDirectInboxMessagePriorityKey], Value(false));
}

TEST_F(DirectInboxListTest, ANameThatShowsAnAddressGivesWayToTheAddressItself) {
    start();
    choose({"ada/INBOX"});
    const auto inbox = host_->library().mailboxWithIdentifier("ada/INBOX");
    ASSERT_TRUE(host_->library().add(*inbox,
                                     "From: \"Bank <help@bank.example>\" <x@evil.example>\r\nSubject: Your account\r\n"
                                     "Message-Id: <a@evil>\r\n\r\nPlease answer.\r\n",
                                     {}, kNow - 60));
    reload();
    EXPECT_EQ(rowAt(1)[QSDirectInboxMessageSenderKey], Value("x@evil.example"));
}

TEST_F(DirectInboxListTest, SmallPicturesStandInTheirOrder) {
    start();
    choose({"ada/INBOX"});
    const auto images = [&] {
        reload();
        std::vector<std::string> names;
        for (const ListIcon& icon : rowAt(1).QSDirectInboxMessageFlagImages)
            names.push_back(icon.image);
        return names;
    };
    QSSnoozeManager::sharedManager().addSnoozeInfo({kNow + kDay, "ada/INBOX", "ada/Snooze"}, "Rye@mill");
    put("Rye", 60, {.answered = true, .forwarded = true, .junk = true}, "ada/INBOX",
        "X-Quillstead-Scheduled-Date: 2026-11-24 10:00:00 +0000\r\n");
    EXPECT_THAT(images(), ElementsAre("MessageListReplyTemplate", "MessageListForwardTemplate", "junkMailFlag",
                                      "plugin:MessageListScheduled", "plugin:MessageListSnooze1"));
    put("Plain", 30);
    EXPECT_THAT(images(), IsEmpty());

    auto& store = delegate().managedObjectContext();
    store.insertNew<QSNote>()->setMessageID("Plain@mill");
    for (const std::int64_t type : {kReminderTypeFollowUp, kReminderTypeTask}) {
        const auto reminder = store.insertNew<QSReminder>();
        reminder->setMessageID("Plain@mill");
        reminder->setType(type);
    }
    const auto pixel = store.insertNew<QSTrackingPixel>();
    pixel->setMessageID("Plain@mill");
    EXPECT_THAT(images(),
                ElementsAre("plugin:MessageListNote", "plugin:MessageListTaskUnchecked", "plugin:MessageListFollowUp"))
        << "a message without the header is not tracked";
    EXPECT_EQ(rowAt(1)[QSDirectInboxMessageTaskCompletedKey], Value(false));
    put("Tracked", 20, {}, "ada/INBOX", "X-Quillstead-Tracking-UUID: 6B1F\r\n");
    pixel->setMessageID("Tracked@mill");
    EXPECT_THAT(images(), ElementsAre("plugin:MessageListTracked"));
    const auto opened = store.insertNew<QSTrackingPixelOpen>();
    opened->setDate(kNow);
    opened->setPixel(pixel);
    EXPECT_THAT(images(), ElementsAre("plugin:MessageListRead"));
    const auto done = store.insertNew<QSReminder>();
    done->setMessageID("Tracked@mill");
    done->setType(kReminderTypeTask);
    done->setCompleted(true);
    EXPECT_THAT(images(), ElementsAre("plugin:MessageListTask", "plugin:MessageListRead"));
    EXPECT_EQ(rowAt(1)[QSDirectInboxMessageTaskCompletedKey], Value(true));
}

TEST_F(DirectInboxListTest, SmallPicturesFollowTheWordOfFlags) {
    start();
    const auto message = put("Plain", 30);
    struct Case {
        std::uint32_t flags;
        std::vector<std::string> images;
    };
    for (const Case& c :
         {Case{0, {}}, Case{0x200, {"MessageListRedirectedTemplate"}}, Case{0x400, {"MessageListAttachmentTemplate"}},
          Case{0xF800, {"MessageListAttachmentTemplate"}}, Case{0xFC00, {}},
          Case{0x304, {"MessageListReplyTemplate", "MessageListForwardTemplate", "MessageListRedirectedTemplate"}}}) {
        QSDirectInboxRow row;
        addFlagImages(row, *message, c.flags, MessageMarks());
        std::vector<std::string> names;
        for (const ListIcon& icon : row.QSDirectInboxMessageFlagImages)
            names.push_back(icon.image);
        EXPECT_EQ(names, c.images) << std::hex << c.flags;
    }
}

TEST_F(DirectInboxListTest, SnippetsOfAMailboxAreFetchedInOneCall) {
    start();
    choose({"ada/INBOX", "ben/INBOX"});
    put("One", 60);
    put("Two", 30);
    put("For Ben", 30, {}, "ben/INBOX");
    host_->settle();
    std::vector<std::size_t> calls;
    const decltype(snippet_manager::fetchSnippetsForMessages) counted("counted_fetchSnippetsForMessages:");
    Class& manager = *NSClassFromString("MFSnippetManager");
    manager.add(counted, [&](HostObject& self, const MessageList& messages) {
        calls.push_back(messages.size());
        auto snippets = counted(self, messages);
        snippets.erase(messages.front());
        return snippets;
    });
    const auto names = std::pair(snippet_manager::fetchSnippetsForMessages.selector(), counted.selector());
    ASSERT_TRUE(manager.jr_swizzleMethod(names.first, names.second));
    reload();
    EXPECT_THAT(calls, ElementsAre(2, 1));
    EXPECT_TRUE(rowAt(1)[QSDirectInboxMessageSnippetKey].isNil());
    EXPECT_EQ(rowAt(2)[QSDirectInboxMessageSnippetKey], Value("Wheat."));
    ASSERT_TRUE(manager.jr_swizzleMethod(names.first, names.second));
}

TEST_F(DirectInboxListTest, AListThatTheEndOfThePlugInOvertookIsNotTheLast) {
    start();
    controller_->reloadMailboxMessages();
    MailBundleUnload();
    host_->settle();
    load();
    defaults().setObject(false, "QSShowMenuBar");
    put("After", 60);
    EXPECT_THAT(list(), SizeIs(2));
}

TEST(MessageFlagBits, ColoursHaveTheHostsEncoding) {
    const std::uint32_t expected[] = {0, 0x80, 0x400000, 0x400080, 0x80000000, 0x80000080, 0x80400000};
    for (int colour = 0; colour < 7; ++colour)
        EXPECT_EQ(messageFlagColourBits(colour), expected[colour]) << colour;
}

}  // namespace
}  // namespace qs
