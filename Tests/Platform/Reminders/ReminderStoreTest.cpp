#include "Reminders/ReminderStore.h"

#include <gmock/gmock.h>

#include <fstream>

#include "Foundation/FileSystem.h"
#include "Foundation/NotificationCenter.h"
#include "Foundation/RunLoop.h"
#include "Support/BlindDisk.h"
#include "Support/LogCapture.h"
#include "Support/TemporaryFolder.h"
#include "Text/Color.h"

namespace qs {

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
namespace fs = std::filesystem;

std::string calendarOf(const std::string& identifier, const std::string& lines) {
    return "BEGIN:VCALENDAR\r\nBEGIN:VTODO\r\nUID:" + identifier + "\r\n" + lines + "END:VTODO\r\nEND:VCALENDAR\r\n";
}

class ReminderStoreTest : public ::testing::Test {
protected:
    void write(const std::string& file, const std::string& text) {
        fs::create_directories((root_ / file).parent_path());
        std::ofstream(root_ / file) << text;
        store_->reload();
    }
    std::vector<std::string> titlesOf(const std::string& list) {
        std::vector<std::string> titles;
        store_->fetchToDos(list, [&](const std::vector<ToDo>& toDos) {
            for (const ToDo& toDo : toDos)
                titles.push_back(toDo.title);
        });
        loop_->runUntilIdle();
        return titles;
    }

    std::unique_ptr<RunLoop> loop_ = RunLoop::make(RunLoop::Clock::Virtual);
    TemporaryFolder folder_;
    fs::path root_ = folder_ / "Reminders";
    std::shared_ptr<ReminderStore> store_ = ReminderStore::inFolder(root_, FileSystem::real(), false);
};

}  // namespace

TEST_F(ReminderStoreTest, FindsListsOfTheMachineAndOfAccounts) {
    EXPECT_THAT(store_->lists().value(), IsEmpty()) << "there is no folder yet";
    EXPECT_EQ(store_->sources().size(), 1U) << "but one can be made";
    write("home/displayname", " Zuhause\n");
    write("errands/1.ics", calendarOf("1", "SUMMARY:Milk\r\n"));
    fs::create_directories(root_ / "empty");
    write("work.example/tasks/displayname", "Büro");
    write("work.example/.cache/x.ics", "");
    write(".hidden/1.ics", "");
    write("stray.ics", calendarOf("9", ""));
    std::vector<std::string> found;
    const auto lists = store_->lists();
    ASSERT_TRUE(lists);
    for (const ToDoList& list : *lists)
        found.push_back(list.identifier + " = " + list.source.title + "/" + list.title);
    EXPECT_THAT(found, ElementsAre("empty = /empty", "errands = /errands", "home = /Zuhause",
                                   "work.example/tasks = work.example/Büro"));
    const auto sources = store_->sources();
    ASSERT_EQ(sources.size(), 2U);
    EXPECT_EQ(sources[0].kind, ToDoSource::Kind::Local);
    EXPECT_EQ(sources[1].kind, ToDoSource::Kind::CalDav);
}

TEST_F(ReminderStoreTest, KeepsAToDoThroughItsLife) {
    ASSERT_TRUE(store_->requestAccess());
    const auto list = store_->addList("Quillstead", Color::colorWithRed(0.49, 0.69, 0.62), {});
    ASSERT_TRUE(list) << list.error().description;
    EXPECT_EQ(FileSystem::real().read(root_ / "Quillstead/color").value_or(""), "#7CAF9E");
    ToDo toDo{.identifier = "A-1", .listIdentifier = list->identifier, .title = "Task: Minutes"};
    ASSERT_TRUE(store_->save(toDo));
    EXPECT_TRUE(fs::exists(root_ / "Quillstead/A-1.ics"));
    toDo.isCompleted = true;
    const auto saved = store_->save(toDo);
    ASSERT_TRUE(saved);
    EXPECT_EQ(saved->completionDate, loop_->now());
    EXPECT_TRUE(ReminderStore::inFolder(root_, FileSystem::real(), false)->toDoWithIdentifier("A-1")->isCompleted)
        << "it is on the disk";
    ASSERT_TRUE(store_->remove("A-1"));
    EXPECT_FALSE(fs::exists(root_ / "Quillstead/A-1.ics"));
    EXPECT_EQ(store_->remove("A-1").error().code, kReminderStoreNotFound);
    EXPECT_EQ(store_->save({.identifier = "B", .listIdentifier = "../out"}).error().code, kReminderStoreNotFound);
}

TEST_F(ReminderStoreTest, KeepsWhatOthersWroteSinceItWasRead) {
    write("home/1.ics", calendarOf("1", "SUMMARY:Milk\r\nX-THEIRS:1\r\n"));
    auto toDo = store_->toDoWithIdentifier("1");
    ASSERT_TRUE(toDo);
    // Nobody told of this one.
    std::ofstream(root_ / "home/1.ics") << calendarOf("1", "SUMMARY:Milk\r\nX-THEIRS:2\r\nLOCATION:Shop\r\n");
    toDo->priority = 1;
    ASSERT_TRUE(store_->save(*toDo));
    EXPECT_THAT(FileSystem::real().read(root_ / "home/1.ics").value_or(""),
                ::testing::AllOf(HasSubstr("X-THEIRS:2\r\nLOCATION:Shop\r\n"), HasSubstr("PRIORITY:1\r\n")));
}

TEST_F(ReminderStoreTest, LeavesBrokenFilesAndTellsOfThem) {
    LogCapture log;
    write("home/broken.ics", "BEGIN:VCALENDAR\r\nBEGIN:VTODO\r\nUID:A\r\nSUMMARY:Mi");
    write("home/2.ics", calendarOf("2", "SUMMARY:Bread\r\n"));
    EXPECT_THAT(titlesOf("home"), ElementsAre("Bread"));
    EXPECT_THAT(titlesOf("home"), ElementsAre("Bread"));
    EXPECT_THAT(log.messages(), ElementsAre(HasSubstr("“broken.ics” in the reminders “home”"))) << "told once";
    // The name that a new one would get is taken by a file that can't be read: that stays.
    write("home/A.ics", "half a f");
    ASSERT_TRUE(store_->save({.identifier = "A", .listIdentifier = "home", .title = "New"}));
    EXPECT_EQ(FileSystem::real().read(root_ / "home/A.ics").value_or(""), "half a f");
    EXPECT_THAT(titlesOf("home"), ::testing::UnorderedElementsAre("Bread", "New"));
}

TEST_F(ReminderStoreTest, ListsThatCanOnlyBeReadStayAsTheyAre) {
    write("shared/1.ics", calendarOf("1", "SUMMARY:Milk\r\n"));
    fs::permissions(root_ / "shared", fs::perms::owner_read | fs::perms::owner_exec);
    store_->reload();
    const auto list = store_->listWithIdentifier("shared");
    ASSERT_TRUE(list);
    EXPECT_FALSE(list->allowsContentModifications);
    EXPECT_EQ(store_->save({.identifier = "1", .listIdentifier = "shared", .title = "x"}).error().code,
              kReminderStoreReadOnly);
    EXPECT_EQ(store_->remove("1").error().code, kReminderStoreReadOnly);
    fs::permissions(root_ / "shared", fs::perms::owner_all);
    EXPECT_THAT(titlesOf("shared"), ElementsAre("Milk"));
}

TEST_F(ReminderStoreTest, WritesNothingThatItWouldNotFindAgain) {
    const std::string milk = calendarOf("1", "SUMMARY:Milk\r\n");
    TornDisk disk;
    disk.put("/r/home/1.ics", milk);
    auto store = ReminderStore::inFolder("/r", disk, false);
    for (const char* identifier : {"", "\x01", "\xFF"}) {
        const auto saved = store->save({.identifier = identifier, .listIdentifier = "home", .title = "Bread"});
        ASSERT_FALSE(saved) << identifier;
        EXPECT_EQ(saved.error().code, kReminderStoreRefused) << identifier;
    }
    EXPECT_EQ(disk.contents().size(), 1U);
    for (int i = 2; i <= 20'000; ++i)
        disk.put("/r/home/" + std::to_string(i) + ".ics", milk);
    store->reload();
    EXPECT_EQ(store->save({.identifier = "new", .listIdentifier = "home", .title = "Bread"}).error().code,
              kReminderStoreRefused);
    EXPECT_EQ(disk.contents().size(), 20'000U) << "more of them are not read";
    EXPECT_TRUE(store->save({.identifier = "1", .listIdentifier = "home", .title = "Bread"})) << "what is there, is";
}

TEST_F(ReminderStoreTest, WhatCannotBeSeenForAWhileIsNotGone) {
    LogCapture log;
    BlindDisk disk;
    disk.put("/r/errands/1.ics", calendarOf("1", "SUMMARY:Milk\r\n"));
    disk.put("/r/work.example/tasks/2.ics", calendarOf("2", "SUMMARY:Minutes\r\n"));
    const auto store = ReminderStore::inFolder("/r", disk, false);
    ASSERT_EQ(store->lists().value().size(), 2U);
    for (const char* folder : {"/r", "/r/errands", "/r/work.example", "/r/work.example/tasks"}) {
        disk.unseen = folder;
        store->reload();
        EXPECT_EQ(store->lists().error().code, kReminderStoreUnreadable) << folder;
        EXPECT_TRUE(store->toDoWithIdentifier("1") && store->toDoWithIdentifier("2")) << folder;
        disk.unseen.clear();
        EXPECT_EQ(store->lists().value().size(), 2U) << folder;
    }
    EXPECT_EQ(log.messages(LogLevel::Warning).size(), 4U) << "each told once";
    disk.unseen = "/r/errands";
    disk.error = EACCES;
    store->reload();
    EXPECT_TRUE(store->lists()) << "one that is closed to us holds nothing for us";
    EXPECT_FALSE(store->toDoWithIdentifier("1"));
}

TEST_F(ReminderStoreTest, APowerCutLeavesTheOldFileOrTheNewOne) {
    const std::string before = calendarOf("1", "SUMMARY:Milk\r\n");
    bool saved = false;
    for (int cut = 1; !saved; ++cut) {
        ASSERT_LT(cut, 20);
        TornDisk disk;
        disk.put("/r/home/1.ics", before);
        disk.failAt({.step = cut, .fault = TornDisk::Fault::PowerCut});
        const auto store = ReminderStore::inFolder("/r", disk, false);
        saved = store->save({.identifier = "1", .listIdentifier = "home", .title = "Bread"}).has_value();
        for (unsigned seed = 0; seed < 10; ++seed) {
            const auto after = disk.afterPowerCut(seed);
            const auto found = ReminderStore::inFolder("/r", *after, false)->toDoWithIdentifier("1");
            ASSERT_TRUE(found) << "cut at step " << cut;
            EXPECT_TRUE(found->title == "Bread" || (!saved && found->title == "Milk")) << "cut at step " << cut;
        }
    }
}

TEST(ReminderStoreWatch, TellsWhatOtherProgramsDo) {
    const auto loop = RunLoop::make(RunLoop::Clock::Real);
    const auto limit = loop->after(60, [&] { loop->stop(); });  // for a test that fails
    const TemporaryFolder folder;
    const auto root = folder / "Reminders";
    auto store = ReminderStore::inFolder(root, FileSystem::real(), true);
    EXPECT_THAT(store->lists().value(), IsEmpty());
    bool isMainThread = true;
    int told = 0;
    const auto observation =
        NotificationCenter::defaultCenter().addObserver(std::string(ReminderStoreChangedNotification), [&](auto&) {
            isMainThread = isMainThread && loop->isMainThread();
            ++told;
        });
    const auto seen = [&](std::string_view title) {
        return loop->runUntil([&] {
            const auto toDo = store->toDoWithIdentifier("1");
            return toDo ? toDo->title == title : title.empty();
        });
    };
    // The loop looks again whenever something happens: here, when the notification comes.
    fs::create_directories(root / "home");
    std::ofstream(root / "home/1.ics") << calendarOf("1", "SUMMARY:Milk\r\n");
    EXPECT_TRUE(seen("Milk"));
    std::ofstream(root / "home/.new") << calendarOf("1", "SUMMARY:Bread\r\n");
    fs::rename(root / "home/.new", root / "home/1.ics");
    EXPECT_TRUE(seen("Bread"));
    fs::remove(root / "home/1.ics");
    EXPECT_TRUE(seen(""));
    EXPECT_TRUE(loop->runUntil([&] { return told > 0; }));
    EXPECT_TRUE(isMainThread);
    store.reset();
}

}  // namespace qs
