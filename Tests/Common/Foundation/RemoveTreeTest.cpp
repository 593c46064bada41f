#include "Foundation/RemoveTree.h"

#include <gtest/gtest.h>

#include "Foundation/FileSystem.h"
#include "Support/TemporaryFolder.h"

namespace qs {
namespace {

namespace fs = std::filesystem;

TEST(RemoveTree, TakesEverythingAndFollowsNoLink) {
    const TemporaryFolder place;
    place.write("mine/.Archive/cur/1", "one");
    place.write("mine/2", "two");
    place.write("others/cur/3", "three");
    fs::create_directory_symlink(place / "others", place / "mine/.Linked");
    fs::create_symlink(place / "others/cur/3", place / "mine/.Archive/cur/link");
    ASSERT_TRUE(removeTree(FileSystem::real(), place / "mine"));
    EXPECT_FALSE(fs::exists(place / "mine"));
    EXPECT_TRUE(fs::exists(place / "others/cur/3"));

    fs::create_directory_symlink(place / "others", place / "link");
    ASSERT_TRUE(removeTree(FileSystem::real(), place / "link"));
    EXPECT_FALSE(fs::exists(fs::symlink_status(place / "link")));
    EXPECT_TRUE(fs::exists(place / "others/cur/3"));
    EXPECT_FALSE(removeTree(FileSystem::real(), place / "nowhere"));
}

}  // namespace
}  // namespace qs
