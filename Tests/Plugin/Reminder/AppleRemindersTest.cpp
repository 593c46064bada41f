// The person's own reminders as a task service, on real files.
#include "MailCategories/BannerViewController_Quillstead.h"
#include "Reminder/QSAppleRemindersConverter.h"
#include "ReminderTest.h"
#include "Support/BlindDisk.h"

namespace qs {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

std::string calendarOf(const std::string& identifier, const std::string& lines) {
    return "BEGIN:VCALENDAR\r\nBEGIN:VTODO\r\nUID:" + identifier + "\r\n" + lines + "END:VTODO\r\nEND:VCALENDAR\r\n";
}

class AppleRemindersTest : public ReminderTest {
protected:
    std::shared_ptr<QSReminder> add(const char* identifier, std::int64_t priority = 3) {
        const auto list = manager().defaultListForAccountIdentifier("ada");
        auto made = manager().addReminderWithIdentifier(identifier, list->serviceIdentifier());
        made->setMessageID("m@x");
        made->setTitle("Task: Minutes");
        made->setPriority(priority);
        made->setList(list);
        return made;
    }
    std::vector<std::string> listNames() {
        std::vector<std::string> names;
        for (const auto& list : manager().allLists())
            names.push_back(list->name().value_or(""));
        return names;
    }
};

TEST_F(AppleRemindersTest, TheListsFollowTheFolders) {
    start();
    syncServices();
    EXPECT_THAT(listNames(), ElementsAre("Quillstead")) << "without any list one is made";
    EXPECT_EQ(manager().defaultListForAccountIdentifier("ben")->name(), "Quillstead");
    EXPECT_EQ(FileSystem::real().read(root_ / "Quillstead/color").value_or(""), "#7CAF9E");
    write("cloud.example/home/displayname", "Home");
    write("Quillstead/displayname", "mail");
    syncServices();
    EXPECT_THAT(listNames(), ElementsAre("cloud.example | Home", "mail"));
    std::filesystem::permissions(root_ / "cloud.example/home",
                                 std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
    syncServices();
    EXPECT_THAT(listNames(), ElementsAre("mail")) << "one that can't be changed is no list for us";
    std::filesystem::permissions(root_ / "cloud.example/home", std::filesystem::perms::owner_all);
}

TEST_F(AppleRemindersTest, TheFirstListIsChosenOrMadeWhereItIsShared) {
    start();
    write("cloud.example/home/displayname", "Home");
    write("mine/displayname", "Mine");
    auto& converter = dynamic_cast<QSAppleRemindersConverter&>(service()->slave());
    EXPECT_EQ(converter.fallbackCalendar()->identifier, "cloud.example/Quillstead") << "rather at a server";
    write("named/displayname", "My Quillstead tasks");
    std::filesystem::remove_all(root_ / "cloud.example/Quillstead");
    Platform::current().reminders->reload();
    EXPECT_EQ(converter.fallbackCalendar()->identifier, "named") << "one with the name in its title";
    service()->credentials()["FollowUpList"] = "mine";
    EXPECT_EQ(converter.fallbackCalendar()->identifier, "mine") << "the chosen one";
}

TEST_F(AppleRemindersTest, AReminderBecomesAFileAndFollowsChanges) {
    start();
    syncServices();
    const auto reminder = add("AA-1", 1);
    reminder->setNotes("Bring both copies");
    reminder->setDueDate(Date{1'795'514'400});
    manager().syncWithServices();
    EXPECT_TRUE(reminder->isRemote());
    EXPECT_EQ(reminder->uniqueIdentifier(), "AA-1");
    EXPECT_THAT(onlyFile(),
                AllOf(HasSubstr("SUMMARY:Task: Minutes\r\n"),
                      HasSubstr("DESCRIPTION:Bring both copies | message://m@x\r\n"),
                      HasSubstr("URL:message://m@x\r\n"), HasSubstr("DUE:20261124T100000Z\r\n"),
                      HasSubstr("TRIGGER;VALUE=DATE-TIME:20261124T100000Z\r\n"), HasSubstr("PRIORITY:1\r\n")));
    reminder->setCompleted(true);
    reminder->setDueDate({});
    reminder->setPriority(2);  // no such step there
    reminder->setDirty(true);
    manager().syncWithServices();
    EXPECT_THAT(onlyFile(), AllOf(HasSubstr("STATUS:COMPLETED\r\n"), HasSubstr("COMPLETED:20261123T100000Z\r\n"),
                                  HasSubstr("PRIORITY:1\r\n"), Not(HasSubstr("DUE:"))));
    syncServices();
    EXPECT_EQ(reminder->dueDate(), std::nullopt) << "a date that was taken away does not come back";
    manager().deleteReminder(reminder);
    EXPECT_THAT(calendarFiles(), IsEmpty());
}

TEST_F(AppleRemindersTest, WhatOtherProgramsChangeIsReadBack) {
    start();
    syncServices();
    const auto reminder = add("AA-1");
    reminder->setDueDate(Date{1'795'514'400});
    manager().syncWithServices();
    rewrite("STATUS:NEEDS-ACTION", "STATUS:COMPLETED\r\nCOMPLETED:20261123T090000Z\r\nX-THEIRS:1");
    rewrite("PRIORITY:5", "PRIORITY:9");
    rewrite("DUE:20261124T100000Z", "DUE:20261125T100000Z");
    EXPECT_FALSE(reminder->completed());
    syncServices();
    EXPECT_TRUE(reminder->completed());
    EXPECT_EQ(reminder->completionDate(), Date{1'795'424'400});
    EXPECT_EQ(reminder->dueDate(), Date{1'795'600'800});
    EXPECT_EQ(reminder->priority(), 5);
    reminder->setCompleted(false);
    reminder->setDirty(true);
    syncServices();
    EXPECT_FALSE(reminder->completed()) << "what was changed here and not yet handed on counts";
    manager().syncWithServices();
    EXPECT_THAT(onlyFile(), AllOf(HasSubstr("STATUS:NEEDS-ACTION\r\n"), HasSubstr("X-THEIRS:1\r\n")));

    write("Quillstead/other.ics", calendarOf("other", "SUMMARY:Milk\r\nURL:message://m@x\r\n"));
    syncServices();
    EXPECT_THAT(manager().remindersForMessageID("m@x"), ElementsAre(reminder)) << "others' to-dos are not taken";
    EXPECT_EQ(manager().reminderWithIdentifier("other"), nullptr);
}

TEST_F(AppleRemindersTest, WhatWasWrittenIsNothingNewWhenItIsReadBack) {
    start();
    syncServices();
    const auto reminder = add("AA-1");
    reminder->setDueDate(Date{1'795'514'400.75});
    manager().syncWithServices();
    EXPECT_EQ(reminder->dueDate(), Date{1'795'514'400}) << "a file knows whole seconds";
    reminder->setCompleted(true);
    reminder->setDirty(true);
    host_->advance(0.5);
    manager().syncWithServices();
    EXPECT_EQ(reminder->completionDate(), Date{1'795'428'000});
    int changes = 0;
    const auto observation = NotificationCenter::defaultCenter().addObserver(
        std::string(QSBannerViewInfoDidChangeNotification), [&](const Notification&) { ++changes; });
    syncServices();
    EXPECT_EQ(changes, 0);
    reminder->setCompleted(false);
    reminder->setDirty(true);
    manager().syncWithServices();
    EXPECT_EQ(reminder->completionDate(), std::nullopt) << "else it would be the date of the next time, too";
}

TEST_F(AppleRemindersTest, ListsThatCannotBeSeenForAWhileStay) {
    BlindDisk disk;
    disk.put(root_ / "home/displayname", "Quillstead");
    files_ = &disk;
    start();
    syncServices();
    const auto reminder = add("AA-1");
    disk.unseen = root_ / "home";
    syncServices();
    EXPECT_THAT(listNames(), ElementsAre("Quillstead"));
    EXPECT_NE(reminder->list(), nullptr);
    EXPECT_TRUE(log_.contains("The reminders can't be read now; trying again later."));
    TearDown();  // before the disk goes
    files_ = &FileSystem::real();
    start();
}

TEST_F(AppleRemindersTest, AToDoThatWasDeletedElsewhereStaysHere) {
    start();
    syncServices();
    const auto reminder = add("AA-1");
    manager().syncWithServices();
    std::filesystem::remove(calendarFiles().at(0));
    Platform::current().reminders->reload();
    reminder->setDirty(true);
    manager().syncWithServices();
    EXPECT_TRUE(reminder->dirty() && !reminder->transmitting());
    EXPECT_TRUE(log_.contains("Failed to find reminder in Apple Reminders application."));
    EXPECT_THAT(log_.messages(LogLevel::Error),
                ::testing::Contains(HasSubstr("Failed to update remote reminder at service 'Reminders': ")));
}

TEST_F(AppleRemindersTest, WithoutItsListAReminderWaits) {
    start();
    syncServices();
    const auto reminder = add("AA-1");
    std::filesystem::remove_all(root_ / "Quillstead");
    Platform::current().reminders->reload();
    manager().syncWithServices();
    EXPECT_FALSE(reminder->isRemote() || reminder->transmitting());
    EXPECT_TRUE(log_.contains("Could not find or create target calendar list."));
    std::filesystem::create_directories(root_ / "Quillstead");
    Platform::current().reminders->reload();
    manager().syncWithServices();
    EXPECT_TRUE(reminder->isRemote());
}

TEST_F(AppleRemindersTest, WithoutAccessNothingIsDone) {
    std::ofstream(folder_ / "Reminders") << "in the way";
    start();
    const auto own = service()->uniqueIdentifier().value();
    const auto reminder = manager().addReminderWithIdentifier("1", own);
    reminder->setMessageID("m@x");
    manager().syncWithServices();
    EXPECT_TRUE(reminder->transmitting()) << "until the program starts again";
    syncServices();
    EXPECT_THAT(manager().allLists(), IsEmpty());
    EXPECT_TRUE(log_.contains("Could not get access to Apple Reminder store: "));
}

}  // namespace
}  // namespace qs
