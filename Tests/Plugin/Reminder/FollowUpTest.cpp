// A follow-up's life: the row in the compose window, the outbox, delivery, the file, and the reply that ends it.
#include "Compose/HeadersEditor.h"
#include "ComposeWindow.h"
#include "Core/Store/ManagedObjectContext.h"
#include "Models/Popover.h"
#include "ReminderTest.h"

namespace qs {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class FollowUpTest : public ReminderTest {
protected:
    void startWithLists() {
        start();
        defaults().setObject(false, "QSSendDelay");
        defaults().setObject(true, "QSShowedEnableFollowUp");
        syncServices();
    }
    static std::shared_ptr<HeaderRow> rowOf(const std::shared_ptr<ComposeWindow>& window) {
        for (const ComposeRow& row : window->extraRows())
            if (row.identifier == "utilityView") return row.row;
        return nullptr;
    }
    static FormControl& control(const std::shared_ptr<ComposeWindow>& window, std::string_view id) {
        return *std::ranges::find(rowOf(window)->controls, id, &FormControl::id);
    }
    // As a person does it.
    void set(const std::shared_ptr<ComposeWindow>& window, std::string_view id, const Value& value) {
        const auto change = control(window, id).onChange;
        control(window, id).value = value;
        change(value);
        host_->settle();
    }
    std::shared_ptr<ComposeWindow> compose() {
        return host_->compose("ada", "ben@example.org", "Minutes", "All agreed.");
    }
    void sendWithFollowUp() {
        auto window = compose();
        set(window, "enableFollowUp", true);
        window->send();
        host_->settle();
    }
    std::string sentMessageID() { return host_->messagesOf("ada", MailboxKind::Sent).at(0).messageID; }
};

TEST_F(FollowUpTest, TheRowShowsTheDateOfTheDistance) {
    startWithLists();
    auto window = compose();
    ASSERT_NE(rowOf(window), nullptr);
    EXPECT_EQ(control(window, "followUpDateField").value.stringValue(), "11/25/2026, 10:00\u202FAM");
    set(window, "followUpTimeDistance", 24);
    EXPECT_EQ(control(window, "followUpDateField").value.stringValue(), "Tomorrow, 10:00\u202FAM");
    EXPECT_TRUE(control(window, "followUpDatePicker").hidden);
    set(window, "followUpTimeDistance", 0);
    EXPECT_FALSE(control(window, "followUpDatePicker").hidden);
    EXPECT_EQ(control(window, "followUpDatePicker").value.dateValue(), Date{1'795'514'400}) << "as it was before";
    EXPECT_EQ(defaults().integerForKey("QSFollowUpTimeDistance"), 0) << "kept for the next message";
    window = compose();
    EXPECT_EQ(control(window, "followUpDatePicker").value.dateValue(), host_->loop().now());
    defaults().setObject(false, "QSShowFollowUpControl");
    window = compose();
    EXPECT_EQ(rowOf(window), nullptr);
}

TEST_F(FollowUpTest, WithoutATaskServiceItCannotBeSwitchedOn) {
    startWithLists();
    service()->markAsLinked(false);
    EXPECT_FALSE(control(compose(), "enableFollowUp").enabled);
}

TEST_F(FollowUpTest, TheHintAsksAboutReplies) {
    for (const int segment : {0, 1}) {
        start();
        defaults().setObject(true, "QSShowedSendLaterButton");
        auto window = compose();
        host_->advance(5);
        const auto popovers = Popover::allShown();
        ASSERT_THAT(popovers, SizeIs(1));
        EXPECT_EQ(popovers[0]->identifier(), "EnableFollowUp");
        EXPECT_EQ(popovers[0]->content.text,
                  "Activate a follow-up reminder to make sure you don't forget about this email.\n\nDelete reminders "
                  "when receiving a reply?");
        defaults().setObject(segment == 1, "QSDeleteFollowUpReminderOnReply");
        popovers[0]->onButton(segment);
        host_->settle();
        EXPECT_EQ(defaults().boolForKey("QSDeleteFollowUpReminderOnReply"), segment == 0);
        window.reset();
        TearDown();
    }
    start();
}

TEST_F(FollowUpTest, ItWaitsForTheDeliveryAndLearnsTheMessageId) {
    startWithLists();
    defaults().setObject(true, "QSSendDelay");
    defaults().setObject(60, "QSSendDelaySeconds");
    sendWithFollowUp();
    const auto pending = manager().pendingReminders();
    ASSERT_THAT(pending, SizeIs(1));
    EXPECT_EQ(pending[0]->title(), "Follow-Up: Minutes");
    EXPECT_EQ(pending[0]->type(), kReminderTypeFollowUp);
    EXPECT_EQ(pending[0]->dueDate(), Date{1'795'428'000 + 48 * 3600.0});
    EXPECT_EQ(pending[0]->messageID(), std::nullopt);
    host_->advance(30);
    manager().syncWithServices();
    EXPECT_THAT(calendarFiles(), IsEmpty()) << "the message has not left";
    EXPECT_FALSE(delegate().managedObjectContext().hasChanges()) << "it would outlive a crash";
    host_->advance(120);
    const std::string id = sentMessageID();
    EXPECT_THAT(onlyFile(), AllOf(HasSubstr("SUMMARY:Follow-Up: Minutes\r\n"),
                                  HasSubstr("DESCRIPTION:To: ben@example.org | message://" + id.substr(0, 10)),
                                  HasSubstr("DUE:20261125T100000Z\r\n")));
    EXPECT_THAT(userNotifications(),
                ElementsAre("Reminder created: A reminder was successfully created at Reminders."));
}

TEST_F(FollowUpTest, ItsMessageIdIsKeptWhenNoServiceCanTakeIt) {
    startWithLists();
    auto window = compose();
    set(window, "enableFollowUp", true);
    service()->markAsLinked(false);
    window->send();
    host_->advance(1);
    const auto waiting = manager().remindersForMessageID(sentMessageID());
    ASSERT_THAT(waiting, SizeIs(1));
    EXPECT_FALSE(waiting[0]->isRemote());
    EXPECT_FALSE(delegate().managedObjectContext().hasChanges()) << "it would outlive a crash";
}

TEST_F(FollowUpTest, AReplyTakesItAway) {
    for (const bool deletes : {true, false}) {
        startWithLists();
        defaults().setObject(deletes, "QSDeleteFollowUpReminderOnReply");
        sendWithFollowUp();
        host_->advance(1);
        ASSERT_THAT(calendarFiles(), SizeIs(1));
        const std::string references = "References: <other@x> <" + sentMessageID() + ">\r\n";
        host_->receive("ada", "Ben <ben@example.org>", "No reply", "Hm.", MailboxKind::Inbox,
                       "References: <other@x>\r\n");
        host_->receive("ada", "Ada <ada@example.org>", "Still here", "x", MailboxKind::Outbox, references);
        host_->advance(1);
        EXPECT_THAT(calendarFiles(), SizeIs(1));
        host_->receive("ada", "Ben <ben@example.org>", "Re: Minutes", "Yes.", MailboxKind::Inbox, references);
        host_->advance(1);
        EXPECT_THAT(calendarFiles(), SizeIs(deletes ? 0 : 1));
        EXPECT_THAT(manager().remindersForMessageID(sentMessageID()), SizeIs(deletes ? 0 : 1));
        TearDown();
        std::filesystem::remove_all(root_);
    }
    start();
}

TEST_F(FollowUpTest, WithoutAListNothingIsMade) {
    start();
    defaults().setObject(false, "QSSendDelay");
    sendWithFollowUp();
    host_->advance(1);
    EXPECT_THAT(manager().pendingReminders(), IsEmpty());
    EXPECT_THAT(host_->messagesOf("ada", MailboxKind::Sent), SizeIs(1)) << "the message left all the same";
}

TEST_F(FollowUpTest, AReopenedMessageShowsIt) {
    startWithLists();
    defaults().setObject(true, "QSSendDelay");
    defaults().setObject(600, "QSSendDelaySeconds");
    sendWithFollowUp();
    host_->advance(60);
    const auto held = host_->messagesOf("ada", MailboxKind::Outbox);
    ASSERT_THAT(held, SizeIs(1));
    ComposeRequest request;
    request.mode = ComposeMode::Draft;
    request.message = host_->library().messageWithID(held[0].id);
    auto window = ComposeWindow::open(host_->application(), request);
    ASSERT_TRUE(window);
    host_->settle();
    EXPECT_TRUE(control(*window, "enableFollowUp").value.boolValue());
    EXPECT_EQ(control(*window, "followUpTimeDistance").value.integerValue(), 0);
    EXPECT_EQ(control(*window, "followUpDatePicker").value.dateValue(), Date{1'795'428'000 + 48 * 3600.0});
}

}  // namespace
}  // namespace qs
