#include "WindowJourney.h"

#include "Foundation/RunLoop.h"
#include "Mail/MailAccount.h"
#include "MailEngine.h"
#include "Models/View.h"
#include "Viewer/MessageListObjectProxy.h"

namespace qs {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class ViewerTest : public WindowJourney {
protected:
    bool isUnread(std::int64_t id) { return !host->library().summary(id)->flags.seen; }
};

TEST_F(ViewerTest, ShowsTheWindowOfRowsThatIsAskedFor) {
    start();
    const auto ids = receive(7);
    EXPECT_EQ(host->viewer().title(), "Inbox – ada@example.org");
    struct Case {
        const char* why;
        int offset, limit, offsetAfter;
        std::vector<std::string> rows;
    };
    for (const Case& c :
         {Case{"newest first", 0, 3, 0, {"7", "6", "5"}}, Case{"further down", 5, 3, 5, {"2", "1"}},
          Case{"beyond the end: the last page", 90, 3, 4, {"3", "2", "1"}}, Case{"nonsense", -5, 0, 0, {"7"}}}) {
        host->viewer().setWindowOfRows(c.offset, c.limit);
        EXPECT_EQ(subjects(), c.rows) << c.why;
        EXPECT_EQ(host->viewer().offset(), c.offsetAfter) << c.why;
        EXPECT_EQ(host->viewer().total(), 7) << c.why;
    }
}

TEST_F(ViewerTest, NewMailShowsWithoutBeingAskedFor) {
    start();
    receive(1);
    EXPECT_THAT(subjects(), ElementsAre("1"));
    receive(2);
    EXPECT_THAT(subjects(), ElementsAre("2", "1", "1"));
}

TEST_F(ViewerTest, SearchNarrowsTheMailboxAndKeepsTheSelection) {
    start();
    const auto ids = receive(2);
    host->receive("ada", "Eve <eve@example.org>", "Minutes", "All agreed.");
    select({ids[0]});
    host->viewer().search("minutes");
    EXPECT_THAT(subjects(), ElementsAre("Minutes"));
    host->viewer().search("");
    EXPECT_THAT(subjects(), SizeIs(3));
    EXPECT_THAT(host->viewer().selectedIDs(), ElementsAre(ids[0]));
    host->viewer().search("nothing of the kind");
    EXPECT_EQ(host->viewer().total(), 0);
    host->viewer().selectMailbox(host->library().mailbox("ben", MailboxKind::Inbox, true)->identifier());
    EXPECT_EQ(host->viewer().searchText(), "") << "another mailbox is shown whole";
}

TEST_F(ViewerTest, ASearchThatSaysWhereLooksThere) {
    start();
    const auto ids = receive(2);
    auto sent = host->library().mailbox("ada", MailboxKind::Sent, true);
    const auto message = host->library().add(*sent, "From: ada@example.org\nSubject: Sent\n\n", {.seen = true}, {1e9});
    ASSERT_TRUE(message);
    host->viewer().search("in:sent");
    EXPECT_THAT(subjects(), ElementsAre("Sent"));
    EXPECT_EQ(host->viewer().title(), "Inbox – ada@example.org") << "where one goes back to";
    select({(*message)->libraryID()});
    EXPECT_THAT(host->viewer().selectedIDs(), SizeIs(1));
    host->viewer().search("in:all");
    EXPECT_THAT(subjects(), SizeIs(3));
}

TEST_F(ViewerTest, AMessageShowsItsConversation) {
    start();
    const auto add = [&](MailboxKind kind, const char* account, const char* subject, const char* id,
                         const char* answers) {
        host->advance(1);
        const auto added = host->library().add(*host->library().mailbox(account, kind, true),
                                               "From: Ben <ben@example.org>\nSubject: " + std::string(subject) +
                                                   "\nMessage-Id: <" + id + ">\nIn-Reply-To: <" + answers + ">\n\n",
                                               {.seen = true}, RunLoop::main().now());
        return (*added)->libraryID();
    };
    const auto shown = [&] {
        std::vector<std::string> found;
        for (const ViewerRow& row : host->viewer().conversation())
            found.push_back(row.summary.subject);
        return found;
    };
    const auto first = add(MailboxKind::Inbox, "ada", "first", "1@x", "");
    const auto answer = add(MailboxKind::Sent, "ada", "answer", "2@x", "1@x");
    add(MailboxKind::Archive, "ada", "copy", "2@x", "1@x");
    add(MailboxKind::Trash, "ada", "thrown away", "3@x", "2@x");
    add(MailboxKind::Inbox, "ben", "of somebody else", "2@x", "1@x");
    const auto last = add(MailboxKind::Inbox, "ada", "last", "4@x", "3@x");
    add(MailboxKind::Inbox, "ada", "alone", "5@x", "");
    EXPECT_THAT(shown(), IsEmpty()) << "nothing is selected";
    EXPECT_FALSE(isEnabled("View", "Next in Conversation"));
    select({first});
    EXPECT_THAT(shown(), ElementsAre("first", "answer", "last"));
    EXPECT_FALSE(isEnabled("View", "Previous in Conversation"));
    ASSERT_TRUE(choose("View", "Next in Conversation"));
    EXPECT_THAT(host->viewer().selectedIDs(), ElementsAre(answer)) << "though it lies in another mailbox";
    EXPECT_EQ(host->viewer().selectedMessage()->subject(), "answer");
    receive(1);
    EXPECT_THAT(host->viewer().selectedIDs(), ElementsAre(answer)) << "and it stays when mail comes";
    ASSERT_TRUE(choose("View", "Next in Conversation"));
    EXPECT_THAT(host->viewer().selectedIDs(), ElementsAre(last));
    EXPECT_FALSE(isEnabled("View", "Next in Conversation"));
    select({answer});
    EXPECT_THAT(host->viewer().selectedIDs(), IsEmpty()) << "only a conversation leads out of the mailbox";
    select({last});
    ASSERT_TRUE(choose("View", "Show Conversations"));
    EXPECT_THAT(shown(), IsEmpty());
    EXPECT_FALSE(isEnabled("View", "Previous in Conversation"));
    ASSERT_TRUE(choose("View", "Show Conversations"));
    EXPECT_THAT(shown(), SizeIs(3));
}

TEST_F(ViewerTest, NoMailboxMeansAllOfThem) {
    start();
    receive(1);
    host->receive("ben", "Ada <ada@example.org>", "For Ben", "Text.");
    host->viewer().selectMailbox("");
    EXPECT_EQ(host->viewer().mailbox(), nullptr);
    EXPECT_THAT(subjects(), testing::UnorderedElementsAre("1", "For Ben"));
}

TEST_F(ViewerTest, SelectingOneUnreadMessageMarksItRead) {
    start();
    const auto ids = receive(4);
    host->viewer().selectIDs({ids[0]});
    EXPECT_TRUE(isUnread(ids[0])) << "only when the selection stands";
    host->settle();
    EXPECT_FALSE(isUnread(ids[0]));
    select({ids[1], ids[2]});
    EXPECT_TRUE(isUnread(ids[1]));
    host->viewer().selectIDs({ids[2]});
    host->viewer().selectIDs({ids[3]});
    host->settle();
    EXPECT_TRUE(isUnread(ids[2])) << "passed over at once";
    EXPECT_FALSE(isUnread(ids[3]));
    choose("Message", "Mark as Unread");
    EXPECT_TRUE(isUnread(ids[3])) << "the person's word counts, though the message is still selected";
}

TEST_F(ViewerTest, TheSelectionHoldsOnlyWhatIsThere) {
    start();
    const auto ids = receive(3);
    select({ids[0], 99'999, ids[0], ids[2]});
    EXPECT_THAT(host->viewer().selectedIDs(), ElementsAre(ids[0], ids[2]));
    EXPECT_EQ(host->viewer().selectedMessage(), nullptr) << "two are not one";
    EXPECT_THAT(host->viewer().messagesTargetedByAction("replyMessage:"), SizeIs(2));
    ASSERT_TRUE(host->library().erase({ids[0]}));
    host->settle();
    EXPECT_THAT(host->viewer().selectedIDs(), ElementsAre(ids[2])) << "another program took the first";
    ASSERT_NE(host->viewer().selectedMessage(), nullptr);
    EXPECT_EQ(host->viewer().selectedMessage()->subject(), "3");
}

// What a plug-in does when its icons changed: it remembers the row, reloads and selects the row again.
TEST_F(ViewerTest, ReloadingTheTableKeepsTheSelection) {
    for (int minor : {10, 11, 12}) {
        start({.osMinor = minor});
        const auto ids = receive(4);
        std::shared_ptr<HostObject> manager;
        if (minor == 11)
            manager = message_viewer::tableViewManager(message_viewer::messageListController(host->viewer()));
        else
            manager = message_viewer::tableManager(host->viewer());
        const auto table = std::dynamic_pointer_cast<TableViewManager>(manager)->tableView();
        ASSERT_NE(table, nullptr);
        EXPECT_EQ(table->selectedRow(), -1);
        table->selectRow(table->selectedRow(), false);
        EXPECT_THAT(host->viewer().selectedIDs(), IsEmpty());

        select({ids[1], ids[2]});
        const int row = table->selectedRow();
        EXPECT_EQ(row, 2) << "the row of the first of them";
        host->receive("ada", "Eve <eve@example.org>", "new", "Text.");
        table->reloadData();
        table->selectRow(row, false);
        host->settle();
        EXPECT_THAT(host->viewer().selectedIDs(), ElementsAre(ids[1], ids[2]))
            << "the same messages, though others stand in these rows now";
        table->selectRow(0, false);
        host->settle();
        EXPECT_EQ(host->viewer().selectedMessage()->subject(), "new") << "another row is another choice";
    }
}

TEST_F(ViewerTest, TheTableIsReachedAsTheVersionHasIt) {
    for (int minor : {10, 11, 12}) {
        start({.osMinor = minor});
        EXPECT_EQ(message_viewer::tableManager.isAnsweredBy(host->viewer()), minor != 11);
        EXPECT_EQ(message_viewer::messageListController.isAnsweredBy(host->viewer()), minor == 11);
        EXPECT_EQ(NSClassFromString("MessageListController") != nullptr, minor == 11);
    }
}

TEST_F(ViewerTest, RowsAreDrawnByOperationsThatCanBeExchanged) {
    start();
    const auto ids = receive(2);
    using namespace message_list_object_proxy;
    const Operation<std::string()> patchedDate{"quillstead_dateString"};
    const Operation<std::vector<ListIcon>()> patchedIcons{"quillstead_flagImages"};
    Class& cls = *NSClassFromString("MessageListObjectProxy");
    cls.add(patchedDate, [&](HostObject& self) {
        const auto& row = dynamic_cast<MessageListObjectProxy&>(self);
        const auto message = std::dynamic_pointer_cast<Message>(row.message());
        return patchedDate(self) + (message->subject() == "2" ? " (Snoozed)" : "");
    });
    cls.add(patchedIcons, [&](HostObject& self) {
        auto icons = patchedIcons(self);
        icons.push_back({dynamic_cast<MessageListObjectProxy&>(self).selected() ? "plugin:NoteWhite" : "plugin:Note",
                         "Has a note"});
        return icons;
    });
    ASSERT_TRUE(cls.jr_swizzleMethod(dateString.selector(), patchedDate.selector()));
    ASSERT_TRUE(cls.jr_swizzleMethod(flagImages.selector(), patchedIcons.selector()));
    select({ids[0]});
    const auto rows = host->viewer().rows();
    ASSERT_THAT(rows, SizeIs(2));
    EXPECT_TRUE(rows[0].date.ends_with(" (Snoozed)")) << rows[0].date;
    EXPECT_FALSE(rows[1].date.ends_with(" (Snoozed)")) << rows[1].date;
    ASSERT_THAT(rows[0].icons, SizeIs(1));
    EXPECT_EQ(rows[0].icons[0].image, "plugin:Note");
    EXPECT_EQ(rows[1].icons[0].image, "plugin:NoteWhite");
}

TEST_F(ViewerTest, AFaultInOneRowLeavesTheListStanding) {
    start();
    receive(2);
    const Operation<std::string()> patched{"quillstead_dateString"};
    Class& cls = *NSClassFromString("MessageListObjectProxy");
    cls.add(patched, [](HostObject&) -> std::string { throw std::runtime_error("no date today"); });
    ASSERT_TRUE(cls.jr_swizzleMethod(message_list_object_proxy::dateString.selector(), patched.selector()));
    host->viewer().setWindowOfRows(0, 10);
    EXPECT_THAT(subjects(), ElementsAre("2", "1"));
    EXPECT_TRUE(log.contains("no date today"));
}

TEST_F(ViewerTest, SentAndDraftsShowWhomMailGoesTo) {
    start();
    host->receive("ada", "Ben Nevis <ben@example.org>", "in", "Text.");
    EXPECT_EQ(host->viewer().rows().at(0).correspondent, "Ben Nevis");
    host->receive("ada", "eve@example.org", "bare", "Text.");
    EXPECT_EQ(host->viewer().rows().at(0).correspondent, "eve@example.org");
    host->receive("ada", "\"Bank <help@bank.example>\" <x@evil.example>", "lie", "Text.");
    EXPECT_EQ(host->viewer().rows().at(0).correspondent, "x@evil.example");
    host->receive("ada", "Ada <ada@example.org>", "out", "Text.", MailboxKind::Sent);
    host->viewer().selectMailbox(host->library().mailbox("ada", MailboxKind::Sent, true)->identifier());
    EXPECT_EQ(host->viewer().rows().at(0).correspondent, "ada@example.org") << "the recipient, not the sender";
}

TEST_F(ViewerTest, DatesGrowShorterAsTheyGrowOld) {
    start({.start = {1'700'000'000}, .timeZone = "UTC"});  // Tuesday 14 November 2023, 22:13
    receive(1);
    const auto date = [&] { return host->viewer().rows().at(0).date; };
    EXPECT_NE(date().find(":13"), std::string::npos) << date();
    host->advance(2 * 3600);
    EXPECT_EQ(date(), "Yesterday") << "midnight redraws the list by itself";
    host->advance(5 * 86'400);
    EXPECT_NE(date().find("14"), std::string::npos) << date();
    EXPECT_EQ(date().find("2023"), std::string::npos) << date();
    host->advance(60 * 86'400);
    EXPECT_NE(date().find("2023"), std::string::npos) << date();
}

TEST_F(ViewerTest, ADoubleClickOpensWhatCanBeEdited) {
    start();
    const auto ids = receive(1);
    host->viewer().open(ids[0]);
    EXPECT_THAT(host->application().composeWindows(), IsEmpty());
    EXPECT_THAT(host->viewer().selectedIDs(), ElementsAre(ids[0]));
    const auto draft = host->receive("ada", "Ada <ada@example.org>", "Half written", "So far", MailboxKind::Drafts);
    host->viewer().open(draft->libraryID());
    ASSERT_THAT(host->application().composeWindows(), SizeIs(1));
    EXPECT_EQ(host->application().composeWindows()[0]->subject(), "Half written");
}

TEST_F(ViewerTest, WalksThroughTheList) {
    start();
    const auto ids = receive(4);
    ASSERT_TRUE(host->library().setFlags({ids[2]}, {.seen = true}));
    host->viewer().setWindowOfRows(0, 2);
    EXPECT_TRUE(choose("View", "Next Message"));
    EXPECT_THAT(host->viewer().selectedIDs(), ElementsAre(ids[3]));
    EXPECT_TRUE(choose("View", "Next Unread Message"));
    EXPECT_THAT(host->viewer().selectedIDs(), ElementsAre(ids[1])) << "beyond the window of rows, past the read one";
    EXPECT_TRUE(choose("Edit", "Select All Messages"));
    EXPECT_THAT(host->viewer().selectedIDs(), ElementsAre(ids[3], ids[2], ids[1], ids[0]));
}

TEST_F(ViewerTest, AMailboxThatGoesLeavesTheInbox) {
    start();
    const auto made = host->library().createMailbox("ada", "Projects");
    ASSERT_TRUE(made);
    const std::string identifier = (*made)->identifier();
    host->viewer().selectMailbox(identifier);
    ASSERT_EQ(host->viewer().mailbox()->identifier(), identifier);
    host->viewer().selectMailbox("nowhere/at-all");
    EXPECT_EQ(host->viewer().mailbox()->identifier(), identifier) << "an unknown mailbox changes nothing";

    std::filesystem::remove_all(host->dataFolder() / "Mail" / "ada" / ".Projects");
    host->library().rescan(identifier);
    host->settle();
    ASSERT_EQ(host->library().mailboxWithIdentifier(identifier), nullptr);
    ASSERT_NE(host->viewer().mailbox(), nullptr);
    EXPECT_EQ(host->viewer().mailbox()->kind(), MailboxKind::Inbox);
}

}  // namespace
}  // namespace qs
