// Tasks made of messages: the toolbar item and its menu, the banner, and what stands in the calendar file.
#include <algorithm>

#include "Core/QSQuillsteadPreferenceModule.h"
#include "Mail/MessageColor.h"
#include "MainViewer.h"
#include "Models/Alert.h"
#include "Models/Form.h"
#include "Models/Menu.h"
#include "Models/Toolbar.h"
#include "Reminder/QSTaskOptionsViewController.h"
#include "ReminderTest.h"
#include "Support/AlertAnswers.h"
#include "Viewer/Banner.h"

namespace qs {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr double kStart = 1'795'428'000;

class TasksTest : public ReminderTest {
protected:
    // With a viewer that looks at the inbox and has the item.
    void startWithItem(int osMinor = 12) {
        start(osMinor);
        syncServices();
        host_->viewer().toolbar()->insertItemWithItemIdentifier("Tasks", 0);
        item_ = host_->viewer().toolbar()->items().front();
        ASSERT_EQ(item_->itemIdentifier(), "Tasks");
        host_->viewer().selectMailbox("ada/INBOX");
    }
    void TearDown() override {
        item_.reset();
        ReminderTest::TearDown();
    }
    std::string receive(const std::string& subject, std::string_view headers = {}) {
        return host_->receive("ada", "Ben <ben@example.org>", subject, "Text", MailboxKind::Inbox, headers)
            ->messageID();
    }
    void select(const std::vector<std::string>& messageIDs) {
        std::vector<std::int64_t> ids;
        for (const std::string& id : messageIDs)
            ids.push_back(host_->library().messagesWithMessageIDHeader(id).at(0)->libraryID());
        host_->viewer().selectIDs(ids);
        host_->viewer().toolbar()->validateVisibleItems();
        host_->settle();
    }
    // Pressing the item itself.
    void press() {
        ASSERT_TRUE(host_->application().sendAction(item_->action, nullptr, item_.get()));
        host_->viewer().toolbar()->validateVisibleItems();
        host_->settle();
    }
    FormModel& openMenu() {
        host_->viewer().toolbar()->validateVisibleItems();
        item_->menu->update();
        return *item_->menu->itemAtIndex(1)->form();
    }
    static void set(FormModel& form, std::string_view id, const Value& value) {
        form.control(id)->value = value;
        form.control(id)->onChange(value);
    }
    std::shared_ptr<QSReminder> taskOf(const std::string& messageID) {
        const auto tasks = manager().remindersForMessageID(messageID, kReminderTypeTask);
        EXPECT_LE(tasks.size(), 1U);
        return tasks.empty() ? nullptr : tasks.front();
    }
    std::shared_ptr<BannerViewController> banner() {
        for (const auto& shown : host_->viewer().banners()->displayed())
            if (shown->associated<int>("bannerViewType") == 3) return shown;
        return nullptr;
    }

    std::shared_ptr<ToolbarItem> item_;
    std::shared_ptr<FormModel> form_;
};

TEST_F(TasksTest, PressingTheItemMakesATaskThenCompletesIt) {
    startWithItem();
    const std::string id = receive("Minutes", "X-Priority: 1\r\n");
    select({});
    EXPECT_FALSE(item_->enabled);
    select({id});
    EXPECT_EQ(item_->toolTip, "Create task for email");
    EXPECT_EQ(item_->imageName, "plugin:TB_TaskUnchecked");
    press();
    const auto task = taskOf(id);
    ASSERT_NE(task, nullptr);
    EXPECT_EQ(task->title(), "Task: Minutes");
    EXPECT_EQ(task->priority(), 1);
    EXPECT_EQ(task->dueDate(), std::nullopt);
    EXPECT_FALSE(task->completed());
    EXPECT_TRUE(task->isRemote());
    EXPECT_EQ(item_->toolTip, "Mark task as completed");
    EXPECT_EQ(item_->imageName, "plugin:TB_Task");
    press();
    EXPECT_EQ(item_->toolTip, "Mark task as uncompleted");
    EXPECT_EQ(item_->imageName, "plugin:TB_TaskUnchecked");
    EXPECT_THAT(onlyFile(), HasSubstr("STATUS:COMPLETED\r\n"));
    press();
    EXPECT_THAT(onlyFile(), HasSubstr("STATUS:NEEDS-ACTION\r\n"));
    const std::string toolTip = item_->toolTip;
    EXPECT_NE(item_->menu->itemAtIndex(0)->representedObject(), nullptr);
    select({});
    EXPECT_FALSE(item_->enabled);
    EXPECT_EQ(item_->toolTip, toolTip) << "greyed out as it was";
    EXPECT_EQ(item_->menu->itemAtIndex(0)->representedObject(), nullptr);
}

TEST_F(TasksTest, TheMenuMakesAndChangesATask) {
    startWithItem();
    const std::string id = receive("Minutes");
    select({id});
    FormModel& form = openMenu();
    EXPECT_EQ(form.buttons[0].title, "Create Task");
    EXPECT_TRUE(form.control(kTaskSetDueDateKey)->value.boolValue());
    EXPECT_EQ(form.control(kTaskDueDateKey)->value.dateValue(), host_->loop().now());
    set(form, kTaskDueDateKey, Date{kStart + 3600});
    set(form, kTaskNoteKey, "Sign them");
    form.buttons[0].action();
    host_->settle();
    EXPECT_TRUE(item_->menu->isTrackingCancelled());
    const auto task = taskOf(id);
    ASSERT_NE(task, nullptr);
    EXPECT_EQ(task->dueDate(), Date{kStart + 3600});
    EXPECT_THAT(onlyFile(), HasSubstr("DESCRIPTION:Sign them | message://"));
    for (const char* key : {kTaskSetDueDateKey, kTaskDueDateKey, kTaskNoteKey})
        EXPECT_FALSE(defaults().setValues().contains(key)) << key;

    EXPECT_EQ(openMenu().buttons[0].title, "Update Task");
    EXPECT_EQ(form.control(kTaskNoteKey)->value.stringValue(), "Sign them");
    EXPECT_EQ(form.control(kTaskDueDateKey)->value.dateValue(), Date{kStart + 3600});
    set(form, kTaskSetDueDateKey, false);
    EXPECT_FALSE(form.control(kTaskDueDateKey)->enabled);
    form.buttons[0].action();
    host_->settle();
    EXPECT_EQ(taskOf(id)->dueDate(), std::nullopt) << "switched off, it clears the date";
    EXPECT_FALSE(taskOf(id)->completed()) << "the menu's button turns nothing over";
    EXPECT_FALSE(openMenu().control(kTaskSetDueDateKey)->value.boolValue());
}

TEST_F(TasksTest, AnEmptyNoteIsNone) {
    startWithItem();
    const std::string id = receive("Minutes");
    select({id});
    for (const char* note : {"Sign them", ""}) {
        FormModel& form = openMenu();
        set(form, kTaskNoteKey, note);
        form.buttons[0].action();
        host_->settle();
    }
    EXPECT_EQ(taskOf(id)->notes(), std::nullopt);
    EXPECT_THAT(onlyFile(), HasSubstr("DESCRIPTION:message://"));
}

TEST_F(TasksTest, AnOpenTaskColoursItsMessage) {
    startWithItem();
    const std::string id = receive("Minutes");
    const auto message = host_->library().messagesWithMessageIDHeader(id).at(0);
    select({id});
    defaults().setObject(false, "QSHighlightReminderMessages");
    press();
    EXPECT_EQ(message::color(*message), std::nullopt);
    press();
    defaults().setObject(true, "QSHighlightReminderMessages");
    press();
    EXPECT_EQ(message::color(*message), Color::colorWithRed(0.64, 0.84, 0.77)) << "open again";
    press();
    EXPECT_EQ(message::color(*message), std::nullopt) << "done";
}

TEST_F(TasksTest, OfSeveralMessagesTheFirstThatHasATaskSaysItsState) {
    startWithItem();
    std::vector<std::string> ids;
    for (const char* subject : {"One", "Two", "Three"})
        ids.push_back(receive(subject));
    select({ids[1]});
    press();
    select(ids);
    EXPECT_EQ(item_->toolTip, "Mark task as completed");
    press();
    for (const std::string& id : ids)
        EXPECT_EQ(taskOf(id)->completed(), id == ids[1]) << "those without a task get one";
}

TEST_F(TasksTest, WhatCannotHaveATaskBeeps) {
    startWithItem();
    auto& library = host_->library();
    const auto nameless = library.add(*library.mailbox("ada", MailboxKind::Inbox, true),
                                      "From: b@x\r\nSubject: Nameless\r\n\r\nText", {}, host_->loop().now());
    ASSERT_TRUE(nameless);
    host_->settle();
    host_->viewer().selectIDs({(*nameless)->libraryID()});
    press();
    EXPECT_TRUE(log_.contains("This message does not have a valid messageID, cannot create a task for it!"));
    defaults().removeObjectForKey("QSQuillstead_DefaultReminderList_ada");
    defaults().setObject("x", kTaskNoteKey);
    select({receive("No list")});
    press();
    EXPECT_TRUE(log_.contains("Could not find a valid target list for creating a new task. Exiting..."));
    EXPECT_THAT(manager().pendingReminders(), IsEmpty());
    EXPECT_TRUE(defaults().objectForKey(kTaskNoteKey).isNil());
}

TEST_F(TasksTest, TheBannerCompletesTheTask) {
    for (const int minor : {10, 11, 12}) {
        startWithItem(minor);
        const std::string id = receive("Minutes");
        select({id});
        EXPECT_EQ(banner(), nullptr);
        FormModel& form = openMenu();
        set(form, kTaskDueDateKey, Date{kStart + 86400});
        form.buttons[0].action();
        host_->settle();
        auto shown = banner();
        ASSERT_NE(shown, nullptr) << minor;
        ASSERT_THAT(shown->buttons(), SizeIs(1)) << "the second button is out of the way";
        const auto button = shown->buttons()[0];
        EXPECT_EQ(button->title, "Mark task as completed");
        EXPECT_TRUE(button->isCheckBox && !button->isOn && !button->isHidden);
        EXPECT_EQ(shown->trailingField.text, "Tomorrow, 10:00\u202FAM");
        EXPECT_FALSE(shown->isTrailingFieldRed);
        EXPECT_TRUE(shown->isIconHidden && shown->messageField.isHidden);
        taskOf(id)->setNotes("Sign them");
        host_->advance(2 * 86400);
        host_->viewer().banners()->updateBannerDisplay();
        EXPECT_EQ(button->title, "Sign them");
        EXPECT_TRUE(shown->isTrailingFieldRed) << "its time has passed";
        ASSERT_TRUE(host_->application().sendAction(button->action, nullptr, button.get()));
        host_->settle();
        EXPECT_EQ(banner(), nullptr);
        EXPECT_TRUE(taskOf(id)->completed());
        press();
        EXPECT_NE(banner(), nullptr) << "open again";
        shown.reset();
        TearDown();
        std::filesystem::remove_all(root_);
    }
    start();
}

TEST_F(TasksTest, WhatAnotherProgramCompletesLosesItsBanner) {
    startWithItem();
    const std::string id = receive("Minutes");
    select({id});
    press();
    ASSERT_NE(banner(), nullptr);
    rewrite("STATUS:NEEDS-ACTION", "STATUS:COMPLETED");
    Platform::current().reminders->reload();
    NotificationCenter::defaultCenter().post(ReminderStoreChangedNotification);
    host_->settle();
    EXPECT_EQ(banner(), nullptr);
    EXPECT_EQ(item_->toolTip, "Mark task as completed");
    host_->viewer().toolbar()->validateVisibleItems();
    EXPECT_EQ(item_->toolTip, "Mark task as uncompleted");
}

TEST_F(TasksTest, TheItemStandsBehindTheFlag) {
    start();
    auto& viewer = host_->viewer();
    const auto identifiers = toolbar_delegate::defaultItemIdentifiers(viewer, *viewer.toolbar());
    const auto flag = std::ranges::find(identifiers, "FlaggedStatus");
    ASSERT_NE(flag, identifiers.end());
    EXPECT_EQ(*(flag + 1), "Tasks");
}

TEST_F(TasksTest, EachAccountHasItsListInThePreferences) {
    start();
    syncServices();
    write("home/displayname", "Home");
    syncServices();
    const auto form = QSQuillsteadPreferenceModule::sharedInstance()->form();
    FormControl* ada = form->control("defaultReminderList:ada");
    ASSERT_NE(ada, nullptr);
    EXPECT_EQ(ada->value.stringValue(), "Quillstead");
    ASSERT_THAT(ada->options, SizeIs(2));
    EXPECT_EQ(ada->options[0].title, "Home");
    EXPECT_EQ(ada->options[0].imageName, "plugin:Reminders_Icon");
    ada->onChange(Value("home"));
    EXPECT_EQ(manager().defaultListForAccountIdentifier("ada")->name(), "Home");
    EXPECT_EQ(manager().defaultListForAccountIdentifier("ben")->name(), "Quillstead");
    service()->markAsLinked(false);
    EXPECT_NE(QSQuillsteadPreferenceModule::sharedInstance()->form()->control("noReminderLists"), nullptr);
}

TEST_F(TasksTest, WhatARuleRemovedIsBroughtBackInThePreferences) {
    startWithItem();
    const std::string id = receive("Minutes");
    select({id});
    press();
    press();
    const auto table = [this]() -> FormControl* {
        form_ = QSQuillsteadPreferenceModule::sharedInstance()->form();
        return form_->control("setAsideReminders");
    };
    EXPECT_EQ(table(), nullptr);
    manager().deleteReminders({taskOf(id)}, "A reply has arrived.");
    QSRemindersManager::remindersDidChange();
    EXPECT_THAT(calendarFiles(), IsEmpty());
    ASSERT_NE(table(), nullptr);
    ASSERT_THAT(table()->options, SizeIs(1));
    const FormOption row = table()->options[0];
    EXPECT_EQ(row.title, "Task: Minutes");
    EXPECT_EQ(row.detail, "A reply has arrived.");

    AlertAnswers answers;
    service()->markAsLinked(false);
    table()->onChange(row.value);
    EXPECT_THAT(answers.seen, ElementsAre("The Task Can't Be Brought Back"));
    service()->markAsLinked(true);
    // The list that it was in is gone; another has come.
    std::filesystem::remove_all(root_ / "Quillstead");
    write("home/displayname", "Home");
    syncServices();
    table()->onChange(row.value);
    host_->settle();
    ASSERT_NE(taskOf(id), nullptr);
    EXPECT_EQ(taskOf(id)->list()->name(), "Home");
    EXPECT_THAT(onlyFile(), AllOf(HasSubstr("SUMMARY:Task: Minutes\r\n"), HasSubstr("STATUS:COMPLETED\r\n")));
    EXPECT_FALSE(taskOf(id)->dirty());
    EXPECT_EQ(table(), nullptr);
}

}  // namespace
}  // namespace qs
