#include "Foundation/FileSystem.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <set>
#include <thread>

#include "Support/TemporaryFolder.h"
#include "Support/TornDisk.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

int codeOf(const auto& result) { return result ? 0 : result.error().code; }

unsigned modeOf(const std::filesystem::path& path) {
    struct stat facts {};
    EXPECT_EQ(::stat(path.c_str(), &facts), 0) << path;
    return facts.st_mode & 0777;
}

std::vector<std::string> namesIn(FileSystem& files, const std::filesystem::path& folder) {
    std::vector<std::string> names;
    const auto listed = files.list(folder);
    for (const FileInfo& each : listed.value())
        names.push_back(each.path.filename().string());
    return names;
}

// What both must do alike, or tests on the torn disk would prove nothing about the real one.
class EveryFileSystem : public ::testing::TestWithParam<const char*> {
protected:
    FileSystem& files() {
        if (GetParam() == std::string_view("real")) return FileSystem::real();
        return torn_;
    }
    void SetUp() override { ASSERT_TRUE(files().makeFolder(root())); }
    std::filesystem::path root() const { return folder_ / "root"; }

private:
    TemporaryFolder folder_;
    TornDisk torn_;
};

TEST_P(EveryFileSystem, WritesAndReadsInPieces) {
    std::string content;
    for (int i = 0; i < 40'000; ++i)
        content += std::to_string(i);
    ASSERT_TRUE(files().writeNewFrom(root() / "a", sourceOf(content)));
    ASSERT_TRUE(files().writeNew(root() / "b", content));
    ASSERT_TRUE(files().writeNew(root() / "c", content.substr(0, content.size() - 1) + "x"));
    EXPECT_EQ(codeOf(files().writeNewFrom(root() / "a", sourceOf("other"))), EEXIST);
    const auto a = files().open(root() / "a"), b = files().open(root() / "b"), c = files().open(root() / "c");
    ASSERT_TRUE(a && b && c);
    EXPECT_EQ((*a)->size(), content.size());
    EXPECT_EQ(areSame(**a, **b), true);
    EXPECT_EQ(areSame(**a, **c), false);
    EXPECT_EQ(areSame(**a, *openText(content + "x")), false);

    ASSERT_TRUE(files().remove(root() / "a"));
    EXPECT_EQ(startOf(sourceOf(*a), content.size() * 2), content) << "an open file outlives its name";
    std::string piece(10, ' ');
    EXPECT_EQ((*a)->readAt(content.size() - 4, piece.data(), piece.size()), 4u);
    EXPECT_EQ(piece.substr(0, 4), content.substr(content.size() - 4));
    EXPECT_EQ((*a)->readAt(content.size() + 4, piece.data(), piece.size()), 0u);
    EXPECT_EQ(codeOf(files().open(root() / "a")), ENOENT);
    EXPECT_NE(codeOf(files().open(root())), 0);
}

TEST_P(EveryFileSystem, ASourceThatBreaksLeavesNoFile) {
    const std::string start(200'000, 'x');
    const auto written = files().writeNewFrom(
        root() / "a",
        sourceOf(start, [](char*, std::size_t) -> Result<std::size_t> { return failure("test", 7, "no"); }));
    EXPECT_EQ(codeOf(written), 7);
    EXPECT_FALSE(files().exists(root() / "a"));
}

TEST_P(EveryFileSystem, WritesManyFilesOrNone) {
    for (const int count : {3, 30}) {
        std::vector<FileToWrite> all;
        for (int i = 0; i < count; ++i)
            all.push_back({root() / (std::to_string(count) + "-" + std::to_string(i)), "content"});
        ASSERT_TRUE(files().writeAllNew(all)) << count;
        EXPECT_EQ(files().read(all.back().file).value(), "content");
        EXPECT_EQ(namesIn(files(), root()).size(), all.size());
        // One of them is there: that one stays as it is, the others don't come.
        for (std::size_t i = 0; i + 1 < all.size(); ++i)
            ASSERT_TRUE(files().remove(all[i].file));
        EXPECT_EQ(codeOf(files().writeAllNew(all)), EEXIST) << count;
        EXPECT_THAT(namesIn(files(), root()), ElementsAre(all.back().file.filename().string())) << count;
        ASSERT_TRUE(files().remove(all.back().file));
    }
}

TEST_P(EveryFileSystem, WritesReadsRenamesAndRemoves) {
    const auto a = root() / "a", b = root() / "b", c = root() / "c";
    ASSERT_TRUE(files().writeNew(a, "one"));
    EXPECT_EQ(codeOf(files().writeNew(a, "other")), EEXIST);
    EXPECT_EQ(files().read(a).value(), "one");
    ASSERT_TRUE(files().append(a, " more"));
    ASSERT_TRUE(files().append(b, std::string(300'000, 'x')));
    EXPECT_EQ(files().info(b)->size, 300'000u);
    EXPECT_EQ(codeOf(files().renameNew(a, b)), EEXIST);
    ASSERT_TRUE(files().renameNew(a, c));
    EXPECT_EQ(codeOf(files().renameNew(a, root() / "d")), ENOENT);
    ASSERT_TRUE(files().rename(c, b));
    EXPECT_EQ(files().read(b).value(), "one more");
    EXPECT_THAT(namesIn(files(), root()), ElementsAre("b"));
    ASSERT_TRUE(files().remove(b));
    EXPECT_EQ(codeOf(files().remove(b)), ENOENT);
    EXPECT_EQ(codeOf(files().read(b)), ENOENT);
    EXPECT_FALSE(files().exists(b));
}

TEST_P(EveryFileSystem, TellsFilesAndFoldersApart) {
    const auto file = root() / "file", folder = root() / "x/y/z";
    ASSERT_TRUE(files().writeNew(file, ""));
    ASSERT_TRUE(files().makeFolder(folder));
    EXPECT_TRUE(files().makeFolder(folder));
    EXPECT_TRUE(files().info(folder)->isFolder);
    EXPECT_FALSE(files().info(file)->isFolder);
    EXPECT_EQ(codeOf(files().makeFolder(file / "below")), ENOTDIR);
    EXPECT_EQ(codeOf(files().read(folder)), EISDIR);
    EXPECT_EQ(codeOf(files().writeNew(root() / "nowhere/file", "x")), ENOENT);
    EXPECT_EQ(codeOf(files().list(root() / "nowhere")), ENOENT);
    EXPECT_EQ(codeOf(files().syncFolder(root() / "nowhere")), ENOENT);
    EXPECT_EQ(codeOf(files().remove(root() / "x")), ENOTEMPTY);
    EXPECT_TRUE(files().remove(folder));
}

TEST_P(EveryFileSystem, ReplacesWholeFilesAndLeavesNothingElse) {
    const auto file = root() / "settings";
    for (const char* content : {"first", "second, longer", ""}) {
        ASSERT_TRUE(files().replace(file, content));
        EXPECT_EQ(files().read(file).value(), content);
    }
    EXPECT_THAT(namesIn(files(), root()), ElementsAre("settings"));
    EXPECT_EQ(codeOf(files().replace(root() / "nowhere/file", "x")), ENOENT);
}

TEST_P(EveryFileSystem, ManyMayClaimButOneWins) {
    std::atomic<int> winners = 0;
    ASSERT_TRUE(files().writeNew(root() / "message", "m"));
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&, i] {
            if (files().renameNew(root() / "message", root() / ("claim" + std::to_string(i)))) ++winners;
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(winners, 1);
    EXPECT_EQ(namesIn(files(), root()).size(), 1u);
}

INSTANTIATE_TEST_SUITE_P(, EveryFileSystem, ::testing::Values("real", "torn"));

TEST(RealFileSystem, KeepsFilesAndFoldersPrivateWhateverTheMask) {
    const TemporaryFolder folder;
    FileSystem& files = FileSystem::real();
    const mode_t former = ::umask(0);
    EXPECT_TRUE(files.makeFolder(folder / "a/b"));
    EXPECT_TRUE(files.writeNew(folder / "new", "x"));
    EXPECT_TRUE(files.append(folder / "appended", "x"));
    EXPECT_TRUE(files.replace(folder / "replaced", "x"));
    ::umask(former);
    EXPECT_EQ(modeOf(folder / "a"), 0700u);
    EXPECT_EQ(modeOf(folder / "a/b"), 0700u);
    for (const char* name : {"new", "appended", "replaced"})
        EXPECT_EQ(modeOf(folder / name), 0600u) << name;
}

TEST(RealFileSystem, DoesNotWriteThroughLinksNorWaitForPipes) {
    const TemporaryFolder folder;
    FileSystem& files = FileSystem::real();
    const auto target = folder.write("target", "untouched");
    std::filesystem::create_symlink(target, folder / "link");
    EXPECT_EQ(codeOf(files.append(folder / "link", "x")), ELOOP);
    EXPECT_EQ(codeOf(files.writeNew(folder / "link", "x")), EEXIST);
    ASSERT_TRUE(files.replace(folder / "link", "new"));  // takes the link's place
    EXPECT_EQ(files.read(target).value(), "untouched");
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(codeOf(files.read(folder / "pipe")), EINVAL);
}

TEST(RealFileSystem, AFullDiskIsToldPlainlyAndLeavesNoPieces) {
    const TemporaryFolder folder;
    FileSystem& files = FileSystem::real();
    ASSERT_TRUE(files.replace(folder / "settings", "old"));
    // A limit on file size stands for the full disk: the write fails in its middle.
    rlimit former{};
    ::getrlimit(RLIMIT_FSIZE, &former);
    rlimit small = former;
    small.rlim_cur = 1000;
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    ::setrlimit(RLIMIT_FSIZE, &small);
    const auto failed = files.replace(folder / "settings", std::string(5000, 'x'));
    ::setrlimit(RLIMIT_FSIZE, &former);
    std::signal(SIGXFSZ, handler);
    EXPECT_EQ(codeOf(failed), EFBIG);
    EXPECT_EQ(files.read(folder / "settings").value(), "old");
    EXPECT_THAT(namesIn(files, folder.path()), ElementsAre("settings"));

    const auto full = files.append("/dev/full", "x");
    EXPECT_EQ(codeOf(full), ENOSPC);
    EXPECT_THAT(full.error().description, HasSubstr("There is no space left on the disk."));
}

TEST(FileReplacement, PowerCutAtEveryStepLeavesOldOrNew) {
    for (int cut = 1;; ++cut) {
        TornDisk disk;
        ASSERT_TRUE(disk.makeFolder("/s"));
        ASSERT_TRUE(disk.replace("/s/file", "old"));
        disk.failAt({.step = cut, .fault = TornDisk::Fault::PowerCut});
        const bool isSaved = disk.replace("/s/file", "new, and longer").has_value();
        const auto check = [&](TornDisk& left, const std::string& where) {
            const auto found = left.read("/s/file");
            ASSERT_TRUE(found) << where;
            EXPECT_TRUE(*found == "new, and longer" || (!isSaved && *found == "old")) << where << ": " << *found;
        };
        check(*disk.afterPowerCut(), "cut " + std::to_string(cut));
        for (unsigned seed = 0; seed < 50; ++seed)
            check(*disk.afterPowerCut(seed), "cut " + std::to_string(cut) + ", seed " + std::to_string(seed));
        if (isSaved) {
            EXPECT_EQ(cut, 4) << "written, renamed, folder synced";
            break;
        }
    }
}

TEST(FileReplacement, AFailureAtEveryStepLeavesNoTemporaryFile) {
    for (const auto fault : {TornDisk::Fault::Error, TornDisk::Fault::NoSpace, TornDisk::Fault::ShortWrite})
        for (int step = 1; step <= 2; ++step) {
            TornDisk disk;
            disk.put("/s/file", "old");
            disk.failAt({.step = step, .fault = fault});
            EXPECT_FALSE(disk.replace("/s/file", "new"));
            EXPECT_EQ(disk.contents(), (std::map<std::string, std::string>{{"/s/file", "old"}})) << step;
        }
}

// The disk itself must forget what was not synced, or every test on it would pass.
TEST(TornDisk, ForgetsWhatWasNotSynced) {
    TornDisk disk;
    ASSERT_TRUE(disk.makeFolder("/tmp"));
    ASSERT_TRUE(disk.makeFolder("/new"));
    ASSERT_TRUE(disk.writeNew("/tmp/m", "mail"));
    EXPECT_TRUE(disk.afterPowerCut()->contents().empty());
    ASSERT_TRUE(disk.syncFolder("/tmp"));
    ASSERT_TRUE(disk.rename("/tmp/m", "/new/m"));
    using Contents = std::map<std::string, std::string>;
    EXPECT_EQ(disk.afterPowerCut()->contents(), (Contents{{"/tmp/m", "mail"}}));
    ASSERT_TRUE(disk.syncFolder("/new"));
    EXPECT_EQ(disk.afterPowerCut()->contents(), (Contents{{"/new/m", "mail"}, {"/tmp/m", "mail"}}));
    ASSERT_TRUE(disk.syncFolder("/tmp"));
    EXPECT_EQ(disk.afterPowerCut()->contents(), (Contents{{"/new/m", "mail"}}));
    ASSERT_TRUE(disk.remove("/new/m"));
    EXPECT_EQ(disk.afterPowerCut()->contents(), (Contents{{"/new/m", "mail"}}));
    bool cameBack = false, stayedAway = false;
    for (unsigned seed = 0; seed < 20; ++seed)
        (disk.afterPowerCut(seed)->contents().empty() ? stayedAway : cameBack) = true;
    EXPECT_TRUE(cameBack && stayedAway);
}

TEST(TornDisk, TearsAnAppendAnywhere) {
    TornDisk disk;
    ASSERT_TRUE(disk.append("/journal", "one\n"));
    ASSERT_TRUE(disk.syncFolder("/"));
    disk.failAt({.step = 1, .fault = TornDisk::Fault::PowerCut});
    EXPECT_EQ(codeOf(disk.append("/journal", "two\n")), EIO);
    EXPECT_EQ(codeOf(disk.read("/journal")), EIO) << "the power is off";
    std::set<std::string> seen;
    for (unsigned seed = 0; seed < 100; ++seed)
        seen.insert(disk.afterPowerCut(seed)->contents()["/journal"]);
    EXPECT_THAT(seen, ElementsAre("one\n", "one\nt", "one\ntw", "one\ntwo", "one\ntwo\n"));
    EXPECT_EQ(disk.afterPowerCut()->contents()["/journal"], "one\n");
}

}  // namespace
}  // namespace qs
