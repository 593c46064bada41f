// What a rule deletes can be had back.
#include "Core/Store/RecoveryFolder.h"

#include "Foundation/FileSystem.h"
#include "StoreTest.h"
#include "Support/TornDisk.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr Date kNow{1'700'000'000};
constexpr TimeInterval kDay = 86400;

class Recovery : public StoreTest {
protected:
    void SetUp() override { open(); }
    RecoveryFolder recovery(FileSystem& files) { return {folder_ / "Deleted", files}; }
    RecoveryFolder recovery() { return recovery(FileSystem::real()); }
    std::string keepAndDelete(const ManagedObjectRef& object, std::string_view reason = "a rule", Date when = kNow) {
        const auto name = recovery().keep(*object, reason, when);
        EXPECT_TRUE(name) << name.error().description;
        context_->deleteObject(*object);
        save();
        return *name;
    }
    ManagedObjectRef restore(const std::string& name) {
        const auto object = recovery().restore(name, *context_);
        if (!object) throw std::runtime_error(object.error().description);
        save();
        return *object;
    }
    std::string refusal(const std::string& name) {
        const auto object = recovery().restore(name, *context_);
        return object ? "" : object.error().description;
    }
};

TEST_F(Recovery, BringsARecordBackWithAllItsValuesAndLinks) {
    std::string everyByte;
    for (int i = 0; i < 256; ++i)
        everyByte += static_cast<char>(i);
    const auto austen = author("Austen"), shelf = context_->insertNewObjectForEntityForName("Shelf");
    shelf->setValue("top", "name");
    auto emma = book("Emma", austen);
    emma->setRelatedObject(shelf, "shelf");
    const std::vector<std::pair<std::string, Value>> values{{"pages", 480},
                                                            {"weight", 0.1},
                                                            {"isLent", true},
                                                            {"bought", Date{1'700'000'000.125}},
                                                            {"chapters", Array{"b", everyByte, "b"}},
                                                            {"tags", Array{"x", "y"}},
                                                            {"notes", Dictionary{{everyByte, "v"}}}};
    for (const auto& [name, value] : values)
        emma->setValue(value, name);
    save();
    const std::string name = keepAndDelete(emma, "The service refused it: \"no\"");
    const auto listed = recovery().list();
    ASSERT_EQ(listed.size(), 1u);
    EXPECT_EQ(listed[0].name, name);
    EXPECT_EQ(listed[0].entity, "Book");
    EXPECT_EQ(listed[0].title, "Emma");
    EXPECT_EQ(listed[0].reason, "The service refused it: \"no\"");
    EXPECT_EQ(listed[0].deleted, kNow);
    emma.reset();
    context_->deleteObject(*shelf);
    restore(name);
    reopen();
    const auto again = fetch("Book").front();
    for (const auto& [attribute, value] : values)
        EXPECT_TRUE(again->valueForKey(attribute) == value) << attribute;
    EXPECT_EQ(again->relatedObject("author")->valueForKey("name").stringValue(), "Austen");
    EXPECT_EQ(again->relatedObject("shelf"), nullptr) << "it is not there any more";
}

TEST_F(Recovery, BringsBackWhatWasDeletedAlongAndTakesNothingFromOthers) {
    const auto austen = author("Austen");
    book("Emma", austen), book("Persuasion", austen);
    const auto top = context_->insertNewObjectForEntityForName("Shelf");
    top->setValue("top", "name");
    const auto lower = context_->insertNewObjectForEntityForName("Shelf");
    lower->setValue("lower", "name");
    for (const auto& each : fetch("Book"))
        each->setRelatedObject(top, "shelf");
    save();
    const std::string shelf = keepAndDelete(top);
    const std::string writer = keepAndDelete(austen);
    EXPECT_THAT(titles(), IsEmpty());
    EXPECT_THAT(titles(restore(writer), "books"), ElementsAre("Emma", "Persuasion"));
    fetch("Book").front()->setRelatedObject(lower, "shelf");
    EXPECT_THAT(titles(restore(shelf), "books"), ElementsAre("Persuasion")) << "Emma has another shelf now";
}

TEST_F(Recovery, SaysWhyARecordCannotComeBack) {
    const auto emma = book("Emma");
    const auto name = recovery().keep(*emma, "a rule", kNow);
    ASSERT_TRUE(name);
    EXPECT_THAT(refusal(*name), HasSubstr("there already"));
    EXPECT_THAT(refusal("../Books.sqlite"), HasSubstr("no such"));
    EXPECT_THAT(refusal("1-Book-1.json"), HasSubstr("no such file"));
    folder_.write("Deleted/2-Book-1.json", "{\"record\":");
    EXPECT_THAT(refusal("2-Book-1.json"), HasSubstr("JSON"));
    folder_.write("Deleted/3-Film-1.json", "{\"record\":{\"entity\":\"Film\"}}");
    EXPECT_THAT(refusal("3-Film-1.json"), HasSubstr("knows no such records"));
    EXPECT_EQ(recovery().list().size(), 2u) << "what can't be read is left out";
    ASSERT_TRUE(recovery().forget(*name));
    EXPECT_FALSE(recovery().forget(*name));
    EXPECT_FALSE(recovery().forget("../Books.sqlite"));
    EXPECT_TRUE(std::filesystem::exists(file()));
}

TEST_F(Recovery, AFileThatSomebodyEditedGivesWhatFits) {
    folder_.write("Deleted/3-Book-1.json",
                  R"({"record":{"entity":"Book","attributes":{"title":"Emma","pages":"many","isLent":null,"colour":1,
                     "tags":["b",2],"bought":5},"links":{"author":["x"]},"parts":7}})");
    const auto emma = restore("3-Book-1.json");
    EXPECT_EQ(emma->valueForKey("title").stringValue(), "Emma");
    EXPECT_TRUE(emma->valueForKey("pages").isNil());
    EXPECT_TRUE(emma->valueForKey("isLent") == Value(false));
    EXPECT_TRUE(emma->valueForKey("tags").isNil());
    EXPECT_TRUE(emma->valueForKey("bought") == Value(Date{5}));
}

TEST_F(Recovery, KeepsForNinetyDaysNewestFirst) {
    for (const auto& [title, daysAgo] : {std::pair{"old", 90.1}, {"nearly old", 89.9}, {"new", 0.0}, {"new too", 0.0}})
        keepAndDelete(book(title), "a rule", kNow - daysAgo * kDay);
    folder_.write("Deleted/.12-Book-1.json.77.tmp", "a piece that a crash left");
    folder_.write("Deleted/readme.txt", "somebody's own");
    const auto listed = [&] {
        std::vector<std::string> names;
        for (const auto& each : recovery().list())
            names.push_back(each.title);
        return names;
    };
    EXPECT_THAT(listed(), ElementsAre("new", "new too", "nearly old", "old"));
    recovery().prune(kNow);
    EXPECT_THAT(listed(), ElementsAre("new", "new too", "nearly old"));
    EXPECT_TRUE(std::filesystem::exists(folder_ / "Deleted/readme.txt"));
    EXPECT_FALSE(std::filesystem::exists(folder_ / "Deleted/.12-Book-1.json.77.tmp"));
}

TEST_F(Recovery, ARecordIsOnTheDiskBeforeItMayBeDeleted) {
    const auto emma = book("Emma");
    for (int cut = 1;; ++cut) {
        ASSERT_LT(cut, 50);
        TornDisk disk({.step = cut, .fault = TornDisk::Fault::PowerCut});
        const auto kept = recovery(disk).keep(*emma, "a rule", kNow);
        for (unsigned seed = 0; seed < 10; ++seed) {
            const auto after = disk.afterPowerCut(seed);
            const auto listed = recovery(*after).list();
            EXPECT_TRUE(listed.size() == 1 || (!kept && listed.empty())) << "cut " << cut << ", seed " << seed;
        }
        if (kept) break;
    }
    EXPECT_THAT(log_.messages(LogLevel::Warning), IsEmpty()) << "no half records";
}

}  // namespace
}  // namespace qs
