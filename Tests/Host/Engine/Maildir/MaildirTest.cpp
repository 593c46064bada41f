#include "Maildir/Maildir.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cerrno>
#include <thread>

#include "Foundation/FileSystem.h"
#include "Support/TemporaryFolder.h"
#include "Support/TornDisk.h"

namespace qs {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

namespace {

const char* const kMail = "Subject: Minutes\r\n\r\nAll agreed.\r\n";

std::vector<std::string> filesOf(const Maildir& maildir) {
    std::vector<std::string> files;
    EXPECT_TRUE(maildir.forEachFile([&](const std::string& file) { files.push_back(file); }));
    return files;
}

}  // namespace

TEST(Maildir, DeliversIntoNewOrWithFlagsIntoCur) {
    const TemporaryFolder folder;
    const Maildir maildir(folder / "box", FileSystem::real());
    ASSERT_TRUE(maildir.create(true));
    EXPECT_EQ(maildir.deliver(kMail, "one", "", {1'600'000'000}), "new/one");
    EXPECT_EQ(maildir.deliver(kMail, "two", "SF", {1'600'000'000}), "cur/two:2,FS");
    EXPECT_THAT(filesOf(maildir), UnorderedElementsAre("new/one", "cur/two:2,FS"));
    EXPECT_EQ(FileSystem::real().read(maildir.pathOf("new/one")), kMail);
    EXPECT_EQ(FileSystem::real().info(maildir.pathOf("new/one"))->modified, Date{1'600'000'000});
    EXPECT_TRUE(std::filesystem::is_empty(folder / "box/tmp"));
    EXPECT_TRUE(std::filesystem::exists(folder / "box/maildirfolder"));
    EXPECT_EQ(maildir.deliver("other", "one", "", {}).error().code, EEXIST);
    EXPECT_EQ(FileSystem::real().read(maildir.pathOf("new/one")), kMail);
}

TEST(Maildir, SeveralMayMakeTheSameAtOnce) {
    const TemporaryFolder folder;
    std::atomic<int> failures = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 50; ++i)
                if (!Maildir(folder / ("box" + std::to_string(i)), FileSystem::real()).create(true)) ++failures;
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(failures, 0);
}

TEST(Maildir, SetsFlagsByRenaming) {
    const TemporaryFolder folder;
    const Maildir maildir(folder.path(), FileSystem::real());
    ASSERT_TRUE(maildir.create(false));
    folder.write("new/a", kMail);
    folder.write("cur/b:2,Sx", kMail);
    EXPECT_EQ(maildir.setLetters("new/a", ""), "new/a");
    EXPECT_EQ(maildir.setLetters("new/a", "S"), "cur/a:2,S");
    EXPECT_EQ(maildir.setLetters("cur/b:2,Sx", "x"), "cur/b:2,x");
    EXPECT_EQ(maildir.setLetters("cur/b:2,x", "x"), "cur/b:2,x");
    EXPECT_THAT(filesOf(maildir), UnorderedElementsAre("cur/a:2,S", "cur/b:2,x"));
    EXPECT_EQ(maildir.setLetters("cur/gone:2,", "S").error().code, ENOENT);
    EXPECT_EQ(maildir.find("b"), "cur/b:2,x");
    EXPECT_EQ(maildir.find("c"), std::nullopt);
}

TEST(Maildir, ListsMessagesAlone) {
    const TemporaryFolder folder;
    const Maildir maildir(folder.path(), FileSystem::real());
    EXPECT_FALSE(maildir.exists());
    ASSERT_TRUE(maildir.create(false));
    folder.write("cur/.nfs0001", "");
    folder.write("cur/folder/inside", "");
    folder.write("tmp/half", "");
    folder.write(".Sent/cur/other", "");
    folder.write("cur/mail:2,", kMail);
    EXPECT_THAT(filesOf(maildir), ElementsAre("cur/mail:2,"));
}

TEST(Maildir, SweepsWhatInterruptedDeliveriesLeftAfter36Hours) {
    const TemporaryFolder folder;
    const Maildir maildir(folder.path(), FileSystem::real());
    ASSERT_TRUE(maildir.create(false));
    const auto file = folder.write("tmp/half", "Subj");
    const Date written = FileSystem::real().info(file)->modified;
    maildir.sweepTmp(written + 36 * 3600 - 1);
    EXPECT_TRUE(std::filesystem::exists(file));
    maildir.sweepTmp(written + 36 * 3600 + 1);
    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST(Maildir, PowerCutLeavesTheWholeMessageOrNone) {
    for (const char* letters : {"", "S"}) {
        for (int cut = 1;; ++cut) {
            TornDisk disk;
            ASSERT_TRUE(Maildir("/box", disk).create(false));
            disk.failAt({.step = cut, .fault = TornDisk::Fault::PowerCut});
            const bool isDelivered = Maildir("/box", disk).deliver(kMail, "one", letters, {}).has_value();
            for (unsigned seed = 0; seed < 20; ++seed) {
                const auto after = disk.afterPowerCut(seed);
                const Maildir maildir("/box", *after);
                const auto files = filesOf(maildir);
                if (isDelivered) {
                    EXPECT_EQ(files.size(), 1U) << "cut " << cut;
                }
                for (const std::string& file : files)
                    EXPECT_EQ(after->read(maildir.pathOf(file)), kMail) << "cut " << cut;
            }
            if (disk.steps() < cut) break;
            EXPECT_FALSE(isDelivered);
        }
    }
}

TEST(Maildir, ABatchIsThereWholeOnceItIsAcknowledged) {
    const std::vector<Maildir::Delivery> batch{
        {kMail, "one", "", {}}, {kMail, "two", "S", {}}, {kMail, "three", "", {}}};
    for (int cut = 1;; ++cut) {
        TornDisk disk;
        ASSERT_TRUE(Maildir("/box", disk).create(false));
        ASSERT_TRUE(Maildir("/box", disk).deliver("as it was", "three", "", {}));
        disk.failAt({.step = cut, .fault = TornDisk::Fault::PowerCut});
        const auto delivered = Maildir("/box", disk).deliverAll(batch);
        if (delivered) {
            EXPECT_THAT(*delivered, ElementsAre("new/one", "cur/two:2,S", "")) << "a name that was taken";
        }
        for (unsigned seed = 0; seed < 20; ++seed) {
            const auto after = disk.afterPowerCut(seed);
            const Maildir maildir("/box", *after);
            const auto files = filesOf(maildir);
            EXPECT_TRUE(!delivered || files.size() == 3U) << "cut " << cut;
            for (const std::string& file : files)
                EXPECT_EQ(after->read(maildir.pathOf(file)), file == "new/three" ? "as it was" : kMail) << cut;
        }
        if (disk.steps() < cut) break;
        EXPECT_FALSE(delivered);
    }
}

TEST(Maildir, AFailedDeliveryLeavesNothing) {
    for (const auto fault : {TornDisk::Fault::Error, TornDisk::Fault::NoSpace, TornDisk::Fault::ShortWrite}) {
        for (int step = 1;; ++step) {
            TornDisk disk;
            ASSERT_TRUE(Maildir("/box", disk).create(false));
            disk.failAt({.step = step, .fault = fault});
            const auto delivered = Maildir("/box", disk).deliver(kMail, "one", "", {});
            if (disk.steps() < step) break;
            EXPECT_FALSE(delivered);
            EXPECT_FALSE(delivered.error().description.empty());
            EXPECT_THAT(disk.contents(), IsEmpty()) << "step " << step;
        }
    }
}

}  // namespace qs
