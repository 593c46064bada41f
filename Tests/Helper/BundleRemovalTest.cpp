#include "BundleRemoval.h"

#include <gmock/gmock.h>

#include "Support/TemporaryFolder.h"

namespace qs {
namespace {

using ::testing::HasSubstr;

class BundleRemoval : public ::testing::Test {
protected:
    BundleRemoval() {
        folder_.write("data/Bundles/Quillstead.mailbundle/Info.plist", "x");
        folder_.write("data/Bundles/Quillstead.mailbundle/Resources/en.lproj/Localizable.strings", "x");
        folder_.write("data/Bundles/Other.mailbundle/Info.plist", "x");
        folder_.write("elsewhere/Quillstead.mailbundle/Info.plist", "x");
    }
    bool exists(std::string_view name) const { return std::filesystem::exists(folder_ / name); }

    TemporaryFolder folder_;
};

TEST_F(BundleRemoval, TakesTheBundleAndNothingElse) {
    ASSERT_TRUE(removeInstalledBundle(folder_ / "data/Bundles", folder_ / "data"));
    EXPECT_FALSE(exists("data/Bundles/Quillstead.mailbundle"));
    EXPECT_TRUE(exists("data/Bundles/Other.mailbundle/Info.plist"));
    EXPECT_TRUE(exists("data/Bundles/Quillstead.removed")) << "the mail program would put it there again";
    EXPECT_FALSE(removeInstalledBundle(folder_ / "data/Bundles", folder_ / "data")) << "it is gone";
}

TEST_F(BundleRemoval, RemovesLinksButNotWhatTheyLeadTo) {
    std::filesystem::create_directory_symlink(folder_ / "elsewhere",
                                              folder_ / "data/Bundles/Quillstead.mailbundle/Resources/link");
    ASSERT_TRUE(removeInstalledBundle(folder_ / "data/Bundles", folder_ / "data"));
    std::filesystem::create_directory_symlink(folder_ / "elsewhere/Quillstead.mailbundle",
                                              folder_ / "data/Bundles/Quillstead.mailbundle");
    ASSERT_TRUE(removeInstalledBundle(folder_ / "data/Bundles", folder_ / "data"));
    EXPECT_FALSE(std::filesystem::is_symlink(folder_ / "data/Bundles/Quillstead.mailbundle"));
    EXPECT_TRUE(exists("elsewhere/Quillstead.mailbundle/Info.plist"));
}

TEST_F(BundleRemoval, RefusesFoldersThatAreNotTheUsersOwn) {
    folder_.write("tree/build/CMakeCache.txt", "x");
    folder_.write("tree/build/Bundles/Quillstead.mailbundle/Info.plist", "x");
    std::filesystem::create_directory_symlink(folder_ / "elsewhere", folder_ / "data/Link");
    const struct {
        const char* bundles;
        const char* data;
        const char* kept;
        const char* reason;
    } cases[] = {
        {"elsewhere", "data", "elsewhere/Quillstead.mailbundle/Info.plist", "outside of the data folder"},
        {"data/Link", "data", "elsewhere/Quillstead.mailbundle/Info.plist", "outside of the data folder"},
        {"data/../elsewhere", "data", "elsewhere/Quillstead.mailbundle/Info.plist", "outside of the data folder"},
        {"data/Bundles", "data/Bundles", "data/Bundles/Quillstead.mailbundle/Info.plist", "outside of the data folder"},
        {"data/Bundles", "nowhere", "data/Bundles/Quillstead.mailbundle/Info.plist", "is not there"},
        {"tree/build/Bundles", "tree", "tree/build/Bundles/Quillstead.mailbundle/Info.plist", "source or build tree"},
    };
    for (const auto& c : cases) {
        const auto removed = removeInstalledBundle(folder_ / c.bundles, folder_ / c.data);
        ASSERT_FALSE(removed) << c.bundles;
        EXPECT_THAT(removed.error().description, HasSubstr(c.reason)) << c.bundles;
        EXPECT_TRUE(exists(c.kept)) << c.bundles;
        EXPECT_FALSE(std::filesystem::exists((folder_ / c.bundles) / "Quillstead.removed")) << c.bundles;
    }
}

}  // namespace
}  // namespace qs
