#include "DataFolder.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

#include "InstanceLock.h"
#include "PlugInLink.h"
#include "Support/TemporaryFolder.h"

namespace qs {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

class DataFolderTest : public ::testing::Test {
protected:
    DataFolderTest() { ::setenv("XDG_DATA_HOME", home_.path().c_str(), 1); }
    ~DataFolderTest() override { ::unsetenv("XDG_DATA_HOME"); }
    static unsigned modeOf(const fs::path& path) {
        struct stat info {};
        return ::stat(path.c_str(), &info) == 0 ? info.st_mode & 0777u : 0;
    }

    TemporaryFolder home_;
};

TEST_F(DataFolderTest, WithoutAccountsItIsTheDemoAndSaysSo) {
    const auto first = chooseDataFolder({});
    ASSERT_TRUE(first);
    EXPECT_EQ(first->path, home_ / "quillstead-demo");
    EXPECT_TRUE(first->isDemo);
    EXPECT_THAT(first->remark, HasSubstr("no mail accounts in " + (home_ / "quillstead").string()));

    home_.write("quillstead/Accounts.plist", "x");
    const auto later = chooseDataFolder({});
    EXPECT_EQ(later->path, home_ / "quillstead");
    EXPECT_FALSE(later->isDemo);
    EXPECT_EQ(later->remark, "");

    const auto asked = chooseDataFolder({.demo = true});
    EXPECT_EQ(asked->path, home_ / "quillstead-demo");
    EXPECT_EQ(asked->remark, "");
    // A folder that was named gets demo mails only when that was asked for, too.
    EXPECT_FALSE(chooseDataFolder({.data = home_ / "own"})->isDemo);
    EXPECT_TRUE(chooseDataFolder({.demo = true, .data = home_ / "own"})->isDemo);
}

TEST_F(DataFolderTest, IsForItsOwnerAlone) {
    ASSERT_TRUE(prepareDataFolder(home_ / "new/data"));
    EXPECT_EQ(modeOf(home_ / "new/data"), 0700u);

    fs::create_directory(home_ / "empty");
    fs::permissions(home_ / "empty", fs::perms(0755));
    ASSERT_TRUE(prepareDataFolder(home_ / "empty"));
    EXPECT_EQ(modeOf(home_ / "empty"), 0700u);

    home_.write("documents/letter.txt", "x");
    fs::permissions(home_ / "documents", fs::perms(0755));
    ASSERT_TRUE(prepareDataFolder(home_ / "documents"));
    EXPECT_EQ(modeOf(home_ / "documents"), 0755u) << "other things lie in it: it is not ours to close";
}

TEST_F(DataFolderTest, WhatCantBeUsedIsToldInASentence) {
    home_.write("file", "x");
    const auto inFile = prepareDataFolder(home_ / "file/data");
    ASSERT_FALSE(inFile);
    EXPECT_THAT(inFile.error().description, HasSubstr("can't be made: Not a directory."));
    if (::geteuid() == 0) {
        ASSERT_EQ(::mkdir((home_ / "others").c_str(), 0777), 0);
        ASSERT_EQ(::chown((home_ / "others").c_str(), 65534, 65534), 0);
        EXPECT_THAT(prepareDataFolder(home_ / "others").error().description, HasSubstr("belongs to another user"));
    } else {
        fs::create_directory(home_ / "closed");
        fs::permissions(home_ / "closed", fs::perms(0500));
        EXPECT_THAT(prepareDataFolder(home_ / "closed").error().description, HasSubstr("can't be read and written"));
    }
}

TEST_F(DataFolderTest, OnlyOneHoldsTheLock) {
    auto first = InstanceLock::take(home_.path());
    ASSERT_TRUE(first && *first);
    auto second = InstanceLock::take(home_.path());
    ASSERT_TRUE(second);
    EXPECT_FALSE(*second);
    EXPECT_EQ(modeOf(home_ / "lock"), 0600u);
    first->reset();
    EXPECT_TRUE(*InstanceLock::take(home_.path()));

    const auto nowhere = InstanceLock::take(home_ / "nowhere");
    ASSERT_FALSE(nowhere);
    EXPECT_THAT(nowhere.error().description, HasSubstr("can't be locked"));
}

class PlugInLink : public DataFolderTest {
protected:
    PlugInLink() { home_.write("build/Bundles/Quillstead.mailbundle/Info.plist", "x"); }
    Result<PlugInPlace> link(bool reinstall = false) { return linkPlugIn(data(), home_ / "build/Bundles", reinstall); }
    fs::path data() const { return home_ / "data"; }
    fs::path bundle() const { return data() / "Bundles/Quillstead.mailbundle"; }
};

TEST_F(PlugInLink, LeadsToTheBuiltBundle) {
    ASSERT_EQ(link(), PlugInPlace::Linked);
    EXPECT_EQ(fs::read_symlink(bundle()), home_ / "build/Bundles/Quillstead.mailbundle");
    // The build has moved.
    fs::remove(bundle());
    fs::create_directory_symlink(home_ / "former", bundle());
    ASSERT_EQ(link(), PlugInPlace::Linked);
    EXPECT_TRUE(fs::exists(bundle() / "Info.plist"));
}

TEST_F(PlugInLink, LeavesAFolderThatSomebodyPutThere) {
    home_.write("data/Bundles/Quillstead.mailbundle/Info.plist", "own");
    ASSERT_EQ(link(), PlugInPlace::Linked);
    EXPECT_FALSE(fs::is_symlink(bundle()));
}

TEST_F(PlugInLink, StaysAwayAfterUninstallingUntilItIsAskedFor) {
    ASSERT_TRUE(link());
    home_.write("data/Bundles/Quillstead.removed", "");
    EXPECT_EQ(link(), PlugInPlace::Uninstalled);
    EXPECT_FALSE(fs::exists(fs::symlink_status(bundle()))) << "left by an uninstalling that was cut off";
    EXPECT_EQ(link(true), PlugInPlace::Linked);
    EXPECT_EQ(link(), PlugInPlace::Linked);
}

TEST_F(PlugInLink, ABundleThatIsNotThereIsTold) {
    fs::remove_all(home_ / "build");
    const auto linked = link();
    ASSERT_FALSE(linked);
    EXPECT_THAT(linked.error().description, HasSubstr("The plug-in is not at " + (home_ / "build").string()));
    EXPECT_THAT(linked.error().description, HasSubstr("--no-plugin"));
}

}  // namespace
}  // namespace qs
