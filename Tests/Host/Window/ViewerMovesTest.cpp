#include "WindowJourney.h"

#include "Mail/MailAccount.h"

namespace qs {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;

class ViewerMovesTest : public WindowJourney {
protected:
    std::shared_ptr<Mailbox> mailboxOf(std::string_view account, MailboxKind kind) {
        return host->library().mailbox(account, kind, true);
    }
    std::vector<std::string> in(MailboxKind kind) { return subjectsOf("ada", kind); }
};

TEST_F(ViewerMovesTest, EachActionMovesTheSelectionAndCanBeUndone) {
    struct Case {
        const char* action;
        MailboxKind target;
        const char* undo;
        const char* told;
    };
    for (const Case& c :
         {Case{"Archive", MailboxKind::Archive, "Undo Archive", "2 messages moved to Archive."},
          Case{"Junk", MailboxKind::Junk, "Undo Junk", "2 messages moved to Junk."},
          Case{"Move to Trash", MailboxKind::Trash, "Undo Move to Trash", "2 messages moved to Trash."}}) {
        start();
        const auto ids = receive(3);
        const std::string undoTitle = c.undo;
        EXPECT_FALSE(isEnabled("Message", c.action)) << "nothing is selected";
        EXPECT_FALSE(isEnabled("Edit", "Undo Move"));
        select({ids[0], ids[2]});
        ASSERT_TRUE(choose("Message", c.action)) << c.action;
        EXPECT_THAT(in(MailboxKind::Inbox), ElementsAre("2")) << c.action;
        EXPECT_THAT(in(c.target), UnorderedElementsAre("1", "3")) << c.action;
        EXPECT_THAT(subjects(), ElementsAre("2")) << "the list follows at once";
        ASSERT_TRUE(host->viewer().lastMove());
        EXPECT_EQ(host->viewer().lastMove()->text, c.told);

        EXPECT_TRUE(isEnabled("Edit", "Undo Move"));
        ASSERT_TRUE(choose("Edit", undoTitle)) << "validating gave the item its full title";
        EXPECT_THAT(in(MailboxKind::Inbox), ElementsAre("3", "2", "1")) << c.action;
        EXPECT_THAT(in(c.target), IsEmpty()) << c.action;
        EXPECT_FALSE(isEnabled("Edit", undoTitle)) << "once";
        EXPECT_FALSE(host->viewer().lastMove());
        for (const MessageSummary& message : host->inboxOf("ada"))
            EXPECT_FALSE(message.flags.junk) << c.action << ": what came back is as it was";
    }
}

TEST_F(ViewerMovesTest, UndoGoesBackMoveByMove) {
    start();
    const auto ids = receive(2);
    select({ids[0]});
    choose("Message", "Archive");
    select({ids[1]});
    choose("Message", "Move to Trash");
    EXPECT_THAT(in(MailboxKind::Inbox), IsEmpty());
    const auto undo = item("Edit", "Undo Move");
    host->application().choose(*undo);
    host->settle();
    EXPECT_THAT(in(MailboxKind::Inbox), ElementsAre("2"));
    host->application().choose(*undo);
    host->settle();
    EXPECT_THAT(in(MailboxKind::Inbox), ElementsAre("2", "1"));
}

TEST_F(ViewerMovesTest, UndoTellsOfWhatIsNoLongerThere) {
    start();
    const auto ids = receive(2);
    select(ids);
    choose("Message", "Move to Trash");
    const auto trashed = host->messagesOf("ada", MailboxKind::Trash);
    ASSERT_THAT(trashed, SizeIs(2));
    ASSERT_TRUE(host->library().erase({trashed[trashed[0].subject == "1" ? 0 : 1].id}));
    host->settle();
    host->application().choose(*item("Edit", "Undo Move"));
    host->settle();
    EXPECT_THAT(in(MailboxKind::Inbox), ElementsAre("2"));
    EXPECT_THAT(alerts->seen, ElementsAre("Not everything could be moved back"));
}

TEST_F(ViewerMovesTest, TheSelectionGoesOnToTheNextMessage) {
    start();
    const auto ids = receive(4);  // rows: 4 3 2 1
    struct Step {
        const char* why;
        const char* selected;  // after the move
    };
    select({ids[2]});
    for (const Step& step :
         {Step{"the one that took its row", "2"}, Step{"and again", "1"}, Step{"at the end the one above", "4"}}) {
        choose("Message", "Archive");
        ASSERT_NE(host->viewer().selectedMessage(), nullptr) << step.why;
        EXPECT_EQ(host->viewer().selectedMessage()->subject(), step.selected) << step.why;
    }
    choose("Message", "Archive");
    EXPECT_THAT(host->viewer().selectedIDs(), IsEmpty()) << "nothing is left to select";
}

TEST_F(ViewerMovesTest, MessagesOfSeveralAccountsGoToTheirOwnArchives) {
    start();
    const auto mine = host->receive("ada", "x@example.org", "Ada's", "Text.");
    const auto his = host->receive("ben", "x@example.org", "Ben's", "Text.");
    host->viewer().selectMailbox("");
    select({mine->libraryID(), his->libraryID()});
    choose("Message", "Archive");
    EXPECT_THAT(subjectsOf("ada", MailboxKind::Archive), ElementsAre("Ada's"));
    EXPECT_THAT(subjectsOf("ben", MailboxKind::Archive), ElementsAre("Ben's"));
    EXPECT_EQ(item("Edit", "Undo Move") != nullptr, true);
    choose("Edit", "Undo Move");
    EXPECT_THAT(subjectsOf("ada", MailboxKind::Inbox), ElementsAre("Ada's"));
    EXPECT_THAT(subjectsOf("ben", MailboxKind::Inbox), ElementsAre("Ben's")) << "one action, one undo";
}

TEST_F(ViewerMovesTest, JunkIsTakenBackByTheSameItem) {
    start();
    const auto ids = receive(1);
    select(ids);
    choose("Message", "Junk");
    const auto junk = host->messagesOf("ada", MailboxKind::Junk);
    ASSERT_THAT(junk, SizeIs(1));
    EXPECT_TRUE(junk[0].flags.junk);
    host->viewer().selectMailbox(mailboxOf("ada", MailboxKind::Junk)->identifier());
    select({junk[0].id});
    EXPECT_TRUE(isEnabled("Message", "Junk"));
    ASSERT_TRUE(choose("Message", "Not Junk"));
    const auto inbox = host->inboxOf("ada");
    ASSERT_THAT(inbox, SizeIs(1));
    EXPECT_FALSE(inbox[0].flags.junk);
}

TEST_F(ViewerMovesTest, OnlyWhatIsConfirmedIsDeletedForGood) {
    start();
    const auto ids = receive(1);
    select(ids);
    choose("Message", "Move to Trash");
    EXPECT_THAT(alerts->seen, IsEmpty()) << "into the trash without a question";
    host->viewer().selectMailbox(mailboxOf("ada", MailboxKind::Trash)->identifier());
    const auto remove = item("Message", "Move to Trash");
    for (const char* answer : {"Cancel", "Delete"}) {
        ASSERT_THAT(in(MailboxKind::Trash), SizeIs(1));
        select({host->messagesOf("ada", MailboxKind::Trash)[0].id});
        alerts->give(answer);
        host->application().choose(*remove);
        host->settle();
    }
    EXPECT_THAT(in(MailboxKind::Trash), IsEmpty());
    EXPECT_THAT(alerts->seen, ElementsAre("Delete the message for good?", "Delete the message for good?"));
}

TEST_F(ViewerMovesTest, EmptyingTheTrashEmptiesAllOfThem) {
    start();
    host->receive("ada", "x@example.org", "a", "Text.", MailboxKind::Trash);
    host->receive("ben", "x@example.org", "b", "Text.", MailboxKind::Trash);
    alerts->give("Delete");
    choose("Mailbox", "Empty Trash…");
    EXPECT_THAT(alerts->seen, ElementsAre("Delete 2 messages for good?"));
    EXPECT_THAT(subjectsOf("ada", MailboxKind::Trash), IsEmpty());
    EXPECT_THAT(subjectsOf("ben", MailboxKind::Trash), IsEmpty());
}

TEST_F(ViewerMovesTest, NothingIsMovedIntoAnOutbox) {
    start();
    const auto ids = receive(1);
    const auto outbox = mailboxOf("ada", MailboxKind::Outbox);
    EXPECT_FALSE(host->viewer().moveTo(ids, outbox->identifier()));
    const auto message = host->library().messageWithID(ids[0]);
    for (const bool deleteOriginals : {true, false})
        EXPECT_FALSE(host->viewer().transferMessages({message}, *outbox, {.deleteOriginals = deleteOriginals}));
    EXPECT_THAT(in(MailboxKind::Outbox), IsEmpty());
    EXPECT_THAT(in(MailboxKind::Inbox), ElementsAre("1"));
    const auto moveTo = item("Message", "Move to");
    EXPECT_EQ(itemIn(*moveTo->submenu(), "Outbox"), nullptr);
}

TEST_F(ViewerMovesTest, WhatLeftTheOutboxIsNotPutBackByUndo) {
    start({.startDeliveries = false});
    host->composeAndSend("ada", "ben@example.org", "Held", "Text.");
    ASSERT_THAT(in(MailboxKind::Outbox), ElementsAre("Held"));
    host->viewer().selectMailbox(mailboxOf("ada", MailboxKind::Outbox)->identifier());
    select({host->messagesOf("ada", MailboxKind::Outbox)[0].id});
    ASSERT_TRUE(choose("Message", "Move to Trash"));
    EXPECT_THAT(in(MailboxKind::Trash), ElementsAre("Held"));
    EXPECT_FALSE(isEnabled("Edit", "Undo Move"));
}

TEST_F(ViewerMovesTest, APlugInsTransferMovesOrCopiesAsItIsTold) {
    start();
    const auto ids = receive(2);
    const auto drafts = mailboxOf("ada", MailboxKind::Drafts);
    const auto message = [&](int index) { return host->library().messageWithID(ids[static_cast<std::size_t>(index)]); };
    ASSERT_TRUE(host->viewer().transferMessages({message(0)}, *drafts, {.deleteOriginals = true, .allowUndo = false}));
    EXPECT_THAT(in(MailboxKind::Inbox), ElementsAre("2"));
    EXPECT_THAT(in(MailboxKind::Drafts), ElementsAre("1"));
    host->settle();
    EXPECT_FALSE(isEnabled("Edit", "Undo Move"));
    ASSERT_TRUE(host->viewer().transferMessages({message(1)}, *drafts, {.deleteOriginals = false}));
    EXPECT_THAT(in(MailboxKind::Inbox), ElementsAre("2"));
    EXPECT_THAT(in(MailboxKind::Drafts), UnorderedElementsAre("1", "2"));
    ASSERT_TRUE(host->viewer().transferMessages({nullptr, message(1)}, *drafts, {})) << "a gap in the list is no fault";
}

TEST_F(ViewerMovesTest, WhatIsDoneThroughAViewerThatNobodySeesIsUndoneInThePersonsOwn) {
    start();
    const auto ids = receive(2);
    const auto viewerFor = [&](int index) {
        return single_message_viewer::viewerForMessage.onClass(
            NSClassFromString("SingleMessageViewer"),
            host->library().messageWithID(ids[static_cast<std::size_t>(index)]), false, false, nullptr);
    };
    const auto trash = mailboxOf("ada", MailboxKind::Trash);
    const auto other = viewerFor(1);
    ASSERT_TRUE(other->transferMessages(other->selectedMessages(), *trash, {}));
    EXPECT_FALSE(isEnabled("Edit", "Undo Move")) << "no deed of the person's";
    ASSERT_TRUE(host->application().sendAction("archiveMessages:", viewerFor(0).get(), nullptr));
    host->settle();
    EXPECT_THAT(in(MailboxKind::Archive), ElementsAre("1"));
    ASSERT_TRUE(host->viewer().lastMove());
    EXPECT_EQ(host->viewer().lastMove()->text, "Message moved to Archive.");
    ASSERT_TRUE(choose("Edit", "Undo Move"));
    EXPECT_THAT(in(MailboxKind::Inbox), ElementsAre("1"));
    EXPECT_THAT(in(MailboxKind::Trash), ElementsAre("2"));
}

TEST_F(ViewerMovesTest, TheMoveToMenuFollowsTheMailboxes) {
    start();
    const auto ids = receive(1);
    EXPECT_EQ(item("Message", "Projects"), nullptr);
    ASSERT_TRUE(host->library().createMailbox("ada", "Projects"));
    host->settle();
    const auto projects = item("Message", "Projects");
    ASSERT_NE(projects, nullptr);
    EXPECT_FALSE(host->application().isEnabled(*projects)) << "with nothing to move";
    select(ids);
    ASSERT_TRUE(host->application().choose(*projects));
    host->settle();
    EXPECT_THAT(in(MailboxKind::Inbox), IsEmpty());
}

TEST_F(ViewerMovesTest, FlagsAreSetInTheColourThatIsChosen) {
    start();
    const auto ids = receive(1);
    const auto flags = [&] { return host->library().summary(ids[0])->flags; };
    select(ids);
    choose("Message", "Green");
    EXPECT_TRUE(flags().flagged);
    EXPECT_EQ(flags().colour, 3);
    choose("Message", "Clear Flag");
    EXPECT_FALSE(flags().flagged);
}

}  // namespace
}  // namespace qs
