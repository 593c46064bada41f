#include "BundleLoader.h"

#include "Application/Bundles.h"
#include "Application/InterfaceClasses.h"
#include "Foundation/NotificationCenter.h"
#include "Foundation/PropertyList.h"
#include "Models/Toolbar.h"
#include "Models/View.h"
#include "Support/TemporaryFolder.h"
#include "Support/VirtualClockTest.h"
#include "WindowJourney.h"

namespace qs {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

// A bundle's folder with this Info.plist and a copy of this library.
void makeBundle(const std::filesystem::path& folder, const Dictionary& info, const char* library) {
    std::filesystem::create_directories(folder / "Resources");
    ASSERT_TRUE(FileSystem::real().writeNew(folder / "Info.plist", xmlPropertyList(info)));
    if (library) std::filesystem::copy_file(library, folder / (folder.stem().string() + ".so"));
}

Dictionary goodInfo() { return {{"CFBundleIdentifier", "org.example.test"}, {"NSPrincipalClass", "TestBundle"}}; }

class BundleLoaderTest : public VirtualClockTest {
protected:
    BundleLoaderTest() {
        defineInterfaceClasses();
        for (const char* name : {"TestBundleDidLoad", "TestBundleDidUnload"})
            observations_.push_back(
                NotificationCenter::defaultCenter().addObserver(name, [this](const Notification& notification) {
                    told_.push_back(notification.name + " " + notification.userInfo.stringValue());
                }));
    }
    std::filesystem::path bundle(const std::string& name) const { return folder_ / (name + ".mailbundle"); }
    std::vector<std::string> load() { return loader_.loadAll({folder_.path()}); }

    TemporaryFolder folder_;
    BundleLoader loader_;
    std::vector<std::string> told_;
    std::vector<ObservationRef> observations_;
};

TEST_F(BundleLoaderTest, AGoodBundleIsLoadedAndLetGo) {
    makeBundle(bundle("Good"), goodInfo(), QS_TEST_BUNDLE);
    EXPECT_THAT(load(), IsEmpty());
    ASSERT_THAT(loader_.bundles(), SizeIs(1));
    EXPECT_EQ(loader_.bundles()[0]->identifier(), "org.example.test");
    EXPECT_THAT(MailBundleRegistry::allBundles(), ElementsAre(NSClassFromString("TestBundle")));
    EXPECT_THAT(load(), IsEmpty()) << "a second look loads nothing twice";
    loader_.unloadAll();
    loader_.unloadAll();
    EXPECT_THAT(told_, ElementsAre("TestBundleDidLoad Good.mailbundle", "TestBundleDidUnload "));
    EXPECT_THAT(loader_.bundles(), IsEmpty());
    EXPECT_THAT(MailBundleRegistry::allBundles(), IsEmpty());
}

TEST_F(BundleLoaderTest, EachWayOfBeingBrokenHasItsSentence) {
    const auto behaving = [](const char* behaviour) {
        Dictionary info = goodInfo();
        info["TestBehaviour"] = behaviour;
        return info;
    };
    const auto without = [](const char* key) {
        Dictionary info = goodInfo();
        info.erase(key);
        return info;
    };
    const auto with = [](const char* key, const char* value) {
        Dictionary info = goodInfo();
        info[key] = value;
        return info;
    };
    struct Case {
        const char* why;
        std::function<void(const std::filesystem::path&)> make;
        const char* sentence;
    };
    const Case cases[] = {
        {"no Info.plist", [](const auto& folder) { std::filesystem::create_directories(folder); }, "Info.plist"},
        {"damaged Info.plist",
         [](const auto& folder) {
             std::filesystem::create_directories(folder);
             ASSERT_TRUE(FileSystem::real().writeNew(folder / "Info.plist", "<plist><dict><key>half"));
         },
         "damaged"},
        {"a file instead of a folder",
         [](const auto& folder) { ASSERT_TRUE(FileSystem::real().writeNew(folder, "no folder")); }, "no folder"},
        {"no library", [](const auto& folder) { makeBundle(folder, goodInfo(), nullptr); }, "has no library Broken.so"},
        {"a library that is none",
         [](const auto& folder) {
             makeBundle(folder, goodInfo(), nullptr);
             ASSERT_TRUE(FileSystem::real().writeNew(folder / "Broken.so", "no library"));
         },
         "can't be opened"},
        {"a library elsewhere",
         [&](const auto& folder) { makeBundle(folder, with("CFBundleExecutable", "../Broken.so"), QS_TEST_BUNDLE); },
         "outside of its folder"},
        {"no entry point", [](const auto& folder) { makeBundle(folder, goodInfo(), QS_TEST_NO_PLUG_IN); },
         "no MailBundleLoad"},
        {"an assertion fails", [&](const auto& folder) { makeBundle(folder, behaving("assert"), QS_TEST_BUNDLE); },
         "the assertion of a test"},
        {"an exception", [&](const auto& folder) { makeBundle(folder, behaving("throw"), QS_TEST_BUNDLE); },
         "the fault of a test"},
        {"an exception that is none",
         [&](const auto& folder) { makeBundle(folder, behaving("throwNumber"), QS_TEST_BUNDLE); },
         "failed while it started"},
        {"no principal class named",
         [&](const auto& folder) { makeBundle(folder, without("NSPrincipalClass"), QS_TEST_BUNDLE); },
         "names no principal class"},
        {"no principal class brought",
         [&](const auto& folder) { makeBundle(folder, behaving("noClass"), QS_TEST_BUNDLE); },
         "did not bring its principal class TestBundle"},
    };
    int number = 0;
    for (const Case& c : cases) {
        // The system knows an open library by its file, so that each case has a copy of its own.
        const auto folder = folder_ / std::to_string(++number);
        std::filesystem::create_directories(folder);
        c.make(folder / "Broken.mailbundle");
        EXPECT_THAT(loader_.loadAll({folder}), ElementsAre(AllOf(HasSubstr("Broken"), HasSubstr(c.sentence)))) << c.why;
        EXPECT_THAT(loader_.bundles(), IsEmpty()) << c.why;
        EXPECT_THAT(log_.messages(LogLevel::Error), testing::Contains(HasSubstr(c.sentence))) << c.why;
        log_.clear();
    }
    EXPECT_THAT(told_, ElementsAre("TestBundleDidLoad Broken.mailbundle", "TestBundleDidUnload "))
        << "only what had started was let go: the bundle without its class";
}

TEST_F(BundleLoaderTest, ABrokenBundleKeepsNoOtherOut) {
    makeBundle(bundle("A"), {}, nullptr);
    makeBundle(bundle("B"), goodInfo(), QS_TEST_BUNDLE);
    ASSERT_TRUE(FileSystem::real().writeNew(folder_ / "C.txt", "no bundle"));
    EXPECT_THAT(load(), ElementsAre(HasSubstr("The plug-in A could not be loaded.")));
    EXPECT_THAT(loader_.bundles(), SizeIs(1));
}

TEST_F(BundleLoaderTest, ANameThatWasFoundBeforeIsLeftOut) {
    TemporaryFolder second;
    makeBundle(bundle("Same"), goodInfo(), QS_TEST_BUNDLE);
    makeBundle(second / "Same.mailbundle", goodInfo(), QS_TEST_BUNDLE);
    EXPECT_THAT(loader_.loadAll({folder_ / "missing", folder_.path(), second.path()}), IsEmpty());
    ASSERT_THAT(loader_.bundles(), SizeIs(1));
    EXPECT_EQ(loader_.bundles()[0]->path().parent_path(), folder_.path());
}

TEST_F(BundleLoaderTest, PicturesComeFromResourcesAlone) {
    makeBundle(bundle("Good"), goodInfo(), QS_TEST_BUNDLE);
    ASSERT_TRUE(FileSystem::real().writeNew(bundle("Good") / "Resources" / "TB_Snooze1.svg", "<svg/>"));
    ASSERT_TRUE(FileSystem::real().writeNew(bundle("Good") / "secret.svg", "<svg>secret</svg>"));
    ASSERT_THAT(load(), IsEmpty());
    EXPECT_EQ(loader_.image("TB_Snooze1"), "<svg/>");
    for (const char* name : {"", "Unknown", "../secret", "/etc/passwd", "..", "TB_Snooze1.svg"})
        EXPECT_EQ(loader_.image(name), "") << name;
}

// In a whole host: what a bundle patches while it loads is there when the windows are made.
TEST_F(WindowJourney, ABundlesToolbarItemStandsInTheViewer) {
    TemporaryFolder folder;
    makeBundle(folder / "Good.mailbundle", goodInfo(), QS_TEST_BUNDLE);
    for (int life = 1; life <= 2; ++life) {
        if (life == 1)
            start({.plugIn = folder / "Good.mailbundle"});
        else
            host->restart();
        EXPECT_THAT(host->bundleErrors(), IsEmpty());
        const auto& items = host->viewer().toolbar()->items();
        const auto snooze = std::ranges::find(items, "Snooze", [](const auto& item) { return item->itemIdentifier(); });
        ASSERT_NE(snooze, items.end()) << life;
        ASSERT_NE(snooze + 1, items.end());
        EXPECT_EQ((*(snooze + 1))->itemIdentifier(), "archiveMessages:");
        EXPECT_EQ((*snooze)->view()->anchor(), "toolbar:viewer:Snooze");
        EXPECT_THAT(MailBundleRegistry::allBundles(), SizeIs(1)) << life;
    }
}

}  // namespace
}  // namespace qs
