// The manager's pass over new and changed reminders, with a service that answers what the test says.
#include "Core/QSObjectStore.h"
#include "Core/SetAsideRecords.h"
#include "Foundation/Assertion.h"
#include "Foundation/Format.h"
#include "Mail/MailAccount.h"
#include "Reminder/QSReminderConverter.h"
#include "ReminderTest.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

// Keeps what it is asked until the test answers.
class AskedConverter : public QSReminderConverter {
public:
    struct Asked {
        std::string what;
        std::shared_ptr<QSReminder> reminder;
        Success success;
        Failure failure;
    };
    AskedConverter(std::weak_ptr<QSService> service, std::vector<Asked>& asked)
        : QSReminderConverter(std::move(service)), asked_(asked) {}
    void convertReminder(const std::shared_ptr<QSReminder>& reminder, const Success& success,
                         const Failure& failure) override {
        asked_.push_back({"convert", reminder, success, failure});
    }
    void updateReminder(const std::shared_ptr<QSReminder>& reminder, const Success& success,
                        const Failure& failure) override {
        asked_.push_back({"update", reminder, success, failure});
    }
    void deleteReminder(const std::shared_ptr<QSReminder>& reminder) override {
        asked_.push_back({"delete", reminder, {}, {}});
    }

private:
    std::vector<Asked>& asked_;
};

// Is no worker of a task service.
class OtherSlave : public QSServiceSlaveProtocol {
    bool respondsTo(QSSlaveOperation) const override { return false; }
};

class RemindersManagerTest : public ReminderTest {
protected:
    void startWithService() {
        start();
        QSServicesManager::sharedManager().slaveClasses().setMaker(
            17, [this](const QSServiceRef& own) { return std::make_shared<AskedConverter>(own, asked_); });
        id_ = service()->uniqueIdentifier().value();
    }
    void TearDown() override {
        asked_.clear();
        ReminderTest::TearDown();
    }
    std::shared_ptr<QSReminder> add(const char* identifier, const char* messageID, const std::string& serviceID) {
        auto made = manager().addReminderWithIdentifier(identifier, serviceID);
        if (*messageID) made->setMessageID(messageID);
        return made;
    }
    std::vector<std::string> whatWasAsked() {
        std::vector<std::string> texts;
        for (const auto& asked : asked_)
            texts.push_back(asked.what + " " + asked.reminder->title().value_or("(none)"));
        return texts;
    }

    std::vector<AskedConverter::Asked> asked_;
    std::string id_;
};

TEST_F(RemindersManagerTest, ANewReminderIsHandedOverUntilItsServiceHasIt) {
    startWithService();
    const auto reminder = add("1", "a@x", id_);
    EXPECT_THAT(asked_, IsEmpty());
    host_->advance(4.9);
    EXPECT_THAT(asked_, IsEmpty()) << "the first pass comes after five seconds";
    host_->advance(0.2);
    EXPECT_THAT(whatWasAsked(), ElementsAre("convert Quillstead Reminder")) << "without a title it gets one";
    EXPECT_TRUE(reminder->transmitting());
    manager().syncWithServices();
    EXPECT_THAT(asked_, SizeIs(1)) << "one that is under way is left alone";

    asked_[0].failure(Error{"x", 1, "No room", {}});
    EXPECT_THAT(log_.messages(LogLevel::Error),
                ::testing::Contains("Failed to convert local reminder to service 'Reminders': No room"));
    EXPECT_FALSE(reminder->transmitting() || reminder->isRemote());
    host_->advance(300);
    ASSERT_THAT(asked_, SizeIs(2)) << "tried again at the next pass";
    EXPECT_THROW(asked_[1].success(add("2", "", id_)), AssertionFailure);
    asked_[1].success(reminder);
    host_->settle();
    EXPECT_TRUE(reminder->isRemote() && !reminder->transmitting());
    EXPECT_THAT(userNotifications(),
                ElementsAre("Reminder created: A reminder was successfully created at Reminders."));
    host_->advance(300);
    EXPECT_THAT(asked_, SizeIs(2)) << "nothing new; one without a message is never sent";
}

TEST_F(RemindersManagerTest, AChangedReminderIsHandedOnceMoreUntilThatSucceeds) {
    startWithService();
    const auto reminder = add("1", "a@x", id_);
    reminder->setTitle("Task: x");
    reminder->setIsRemote(true);
    reminder->setDirty(true);
    manager().syncWithServices();
    EXPECT_THAT(whatWasAsked(), ElementsAre("update Task: x"));
    asked_[0].failure(std::nullopt);
    EXPECT_THAT(log_.messages(LogLevel::Error),
                ::testing::Contains("Failed to update remote reminder at service 'Reminders': (null)"));
    EXPECT_TRUE(reminder->dirty() && !reminder->transmitting());
    host_->advance(300);
    ASSERT_THAT(asked_, SizeIs(2));
    asked_[1].success(reminder);
    EXPECT_FALSE(reminder->dirty() || reminder->transmitting());
    EXPECT_THAT(userNotifications(), IsEmpty()) << "a change is not told";
}

TEST_F(RemindersManagerTest, ARemindersVanishedServiceEndsThePassAndTheReminder) {
    startWithService();
    add("gone-1", "a@x", "no such service");
    add("gone-2", "b@x", "no such service");
    const auto changed = add("3", "c@x", id_);
    changed->setIsRemote(true);
    changed->setDirty(true);
    for (const std::size_t left : {1U, 0U}) {
        manager().syncWithServices();
        EXPECT_EQ(manager().remindersForMessageIDs({"a@x", "b@x"}).size(), left);
        EXPECT_THAT(asked_, IsEmpty()) << "the changed ones have to wait";
    }
    EXPECT_TRUE(log_.contains("Could not find service for this reminder. Deleting it."));
    manager().syncWithServices();
    EXPECT_THAT(asked_, SizeIs(1));
    EXPECT_THAT(recoveredRecords().list(), SizeIs(2)) << "each was set aside first";
}

TEST_F(RemindersManagerTest, OneThatCannotBeSetAsideKeepsNobodyWaiting) {
    startWithService();
    add("gone", "a@x", "no such service");
    add("waiting", "b@x", id_);
    std::filesystem::create_directories(objectStoreFile().parent_path());
    std::ofstream(objectStoreFile().parent_path() / "Recovered Records") << "in the way";
    manager().syncWithServices();
    EXPECT_THAT(manager().remindersForMessageID("a@x"), SizeIs(1)) << "nothing is deleted without a copy";
    ASSERT_THAT(asked_, SizeIs(1));
    EXPECT_EQ(asked_[0].reminder->messageID(), "b@x");
}

TEST_F(RemindersManagerTest, AServiceWithoutAWorkerForRemindersLosesThem) {
    start();
    QSServicesManager::sharedManager().slaveClasses().setMaker(
        17, [](const QSServiceRef&) { return std::make_shared<OtherSlave>(); });
    add("1", "a@x", service()->uniqueIdentifier().value());
    manager().syncWithServices();
    EXPECT_TRUE(log_.contains("Could not find service connector for this reminder. Deleting it."));
    EXPECT_THAT(manager().pendingReminders(), IsEmpty());
}

TEST_F(RemindersManagerTest, WithoutALinkedServiceNothingIsDone) {
    startWithService();
    add("1", "a@x", "no such service");
    service()->markAsLinked(false);
    manager().syncWithServices();
    EXPECT_THAT(manager().pendingReminders(), SizeIs(1));
}

TEST_F(RemindersManagerTest, ListsAreOfAServiceAndDefaultsOfAccounts) {
    startWithService();
    EXPECT_EQ(manager().addListWithIdentifier({}, id_), nullptr);
    EXPECT_EQ(manager().addListWithIdentifier("l", {}), nullptr);
    EXPECT_EQ(manager().addReminderWithIdentifier({}, id_), nullptr);
    EXPECT_EQ(manager().addReminderWithIdentifier("r", {}), nullptr);
    for (const char* line : {"Cannot create a reminder list without a unique identifier!",
                             "Cannot create a reminder list without a connected service identifier!",
                             "Cannot create a reminder without a unique identifier!",
                             "Cannot create a reminder without a connected service identifier!"})
        EXPECT_TRUE(log_.contains(line)) << line;

    int told = 0;
    const auto observation = manager().addObserver("allLists", [&](bool isPrior) { told += isPrior ? 0 : 1; });
    const auto add = [&](const char* identifier, const char* name, const std::string& serviceID) {
        auto list = manager().addListWithIdentifier(identifier, serviceID);
        list->setName(name);
        return list;
    };
    const auto ten = add("1", "List 10", id_), two = add("2", "List 2", id_), first = add("3", "Zoo", "!earlier");
    EXPECT_EQ(manager().addListWithIdentifier("1", id_), ten);
    EXPECT_EQ(told, 3) << "one that is there already is nothing new";
    EXPECT_THAT(manager().allLists(), ElementsAre(first, two, ten));
    EXPECT_THAT(manager().listsWithServiceIdentifier(id_), ElementsAre(two, ten));

    EXPECT_EQ(manager().defaultListForAccountIdentifier("ada"), nullptr);
    manager().setDefaultList(first, "ben");
    manager().setDefaultFallbackList(two);
    EXPECT_EQ(manager().defaultListForAccountIdentifier("ada"), two);
    EXPECT_EQ(manager().defaultListForAccountIdentifier("ben"), first);
    EXPECT_EQ(defaults().stringForKey("QSQuillstead_DefaultReminderList_ada"), "2");
    manager().setDefaultList(two, "ben");
    EXPECT_THAT(manager().defaultListsWithServiceIdentifier(id_), ElementsAre(two, two));
    const auto reminder = manager().addReminderWithIdentifier("r", id_);
    reminder->setList(two);
    manager().deleteLists({two});
    EXPECT_EQ(manager().defaultListForAccountIdentifier("ada"), nullptr);
    EXPECT_EQ(manager().reminderWithIdentifier("r"), reminder) << "a list takes no reminder with it";
    EXPECT_EQ(reminder->list(), nullptr);
}

TEST_F(RemindersManagerTest, DeletingAsksTheService) {
    startWithService();
    const auto reminder = add("1", "a@x", id_);
    add("2", "b@x", "no such service");
    manager().deleteReminders(manager().remindersForMessageIDs({"a@x", "b@x"}));
    EXPECT_THAT(whatWasAsked(), ElementsAre("delete (none)"));
    EXPECT_THAT(manager().pendingReminders(), IsEmpty());
    manager().deleteReminders({});
    EXPECT_THAT(manager().remindersForMessageID(std::nullopt), IsEmpty());
    EXPECT_THAT(manager().remindersForMessageIDs({}), IsEmpty());
}

}  // namespace
}  // namespace qs
