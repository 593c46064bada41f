// Reading the description of a store's objects, and the mistakes that it may have.
#include "Core/Store/ObjectModel.h"

#include "Foundation/Bundle.h"
#include "StoreTest.h"

namespace qs {
namespace {

using ::testing::HasSubstr;

TEST(ObjectModel, ComesBackFromItsOwnList) {
    const auto model = modelFrom(libraryModelList());
    const auto again = modelFrom(model->propertyList());
    EXPECT_TRUE(again->propertyList() == model->propertyList());
    EXPECT_EQ(again->entities().size(), 3u);
    EXPECT_EQ(again->entityNamed("Author")->relationships[0].deleteRule, DeleteRule::Cascade);
    EXPECT_EQ(again->entityNamed("Book")->attributes[3].defaultValue, Value(false));
}

TEST(ObjectModel, TellsWhatIsWrongWithIt) {
    const Value name = attributeList("name", "String");
    const Value toB = relationshipList("b", "B", "as"), toA = relationshipList("as", "A", "b", {{"toMany", true}});
    const Value fine = entityList("B", {name}, {toA});
    struct Case {
        const char* why;
        Value list;
        const char* told;
    };
    for (const Case& c : {
             Case{"nothing", {}, "no version"},
             Case{"no version", Dictionary{{"entities", Array{entityList("A", {name})}}}, "no version"},
             Case{"no entities", modelList(1, {}), "too few"},
             Case{"a name that is none", modelList(1, {entityList("A;--", {name})}), "A;--"},
             Case{"a name of the store's own", modelList(1, {entityList("A", {attributeList("_id", "String")})}), "A"},
             Case{"two entities of a name", modelList(1, {entityList("A", {name}), entityList("a", {})}), "two"},
             Case{"two attributes of a name", modelList(1, {entityList("A", {name, name})}), "two of one name"},
             Case{"a type that is none", modelList(1, {entityList("A", {attributeList("x", "Colour")})}), "A.x"},
             Case{"a default of another type",
                  modelList(1, {entityList("A", {attributeList("x", "Integer", {{"default", "many"}})})}), "A.x"},
             Case{"no such identity", modelList(1, {entityList("A", {name}, {}, {{"identity", "x"}})}), "x"},
             Case{"no such destination", modelList(1, {entityList("A", {name}, {toB})}), "A.b"},
             Case{"no inverse", modelList(1, {entityList("A", {name}, {toB}), entityList("B", {name})}), "A.b"},
             Case{"many to many",
                  modelList(1, {entityList("A", {}, {relationshipList("b", "B", "as", {{"toMany", true}})}), fine}),
                  "A.b"},
             Case{"a cascade from the many",
                  modelList(
                      1, {entityList("A", {}, {relationshipList("b", "B", "as", {{"deleteRule", "Cascade"}})}), fine}),
                  "A.b can't cascade"},
             Case{"a rule that is none",
                  modelList(1,
                            {entityList("A", {}, {relationshipList("b", "B", "as", {{"deleteRule", "Deny"}})}), fine}),
                  "A.b"},
         }) {
        const auto model = ManagedObjectModel::fromPropertyList(c.list);
        ASSERT_FALSE(model) << c.why;
        EXPECT_THAT(model.error().description, HasSubstr(c.told)) << c.why;
    }
}

class ModelOfBundles : public ::testing::Test {
protected:
    std::shared_ptr<Bundle> bundle(const std::string& name, const std::vector<std::string>& models) {
        folder_.write(name + "/Info.plist", "<plist version=\"1.0\"><dict/></plist>");
        for (std::size_t i = 0; i < models.size(); ++i)
            folder_.write(name + "/Resources/" + std::to_string(i) + ".qsmodel",
                          "<plist version=\"1.0\"><dict>" + models[i] + "</dict></plist>");
        return Bundle::open(folder_ / name).value();
    }
    static std::string model(int version, const std::string& entity) {
        return "<key>version</key><integer>" + std::to_string(version) +
               "</integer><key>entities</key><array><dict><key>name</key><string>" + entity +
               "</string></dict></array>";
    }
    TemporaryFolder folder_;
    LogCapture log_;
};

TEST_F(ModelOfBundles, IsTheMergeOfAllFiles) {
    const auto one = bundle("one", {model(2, "A"), model(5, "B")}), two = bundle("two", {model(1, "C")});
    const auto merged = ManagedObjectModel::mergedModelFromBundles({one.get(), two.get()});
    ASSERT_NE(merged, nullptr);
    EXPECT_EQ(merged->version(), 5);
    EXPECT_EQ(merged->entities().size(), 3u);
}

TEST_F(ModelOfBundles, IsMissingWhenAFileIsOrCannotBeUsed) {
    const auto none = bundle("none", {}), broken = bundle("broken", {model(1, "A"), "<key>"}),
               doubled = bundle("doubled", {model(1, "A"), model(1, "A")});
    for (const auto& each : {none, broken, doubled}) {
        log_.clear();
        EXPECT_EQ(ManagedObjectModel::mergedModelFromBundles({each.get()}), nullptr) << each->path();
        EXPECT_EQ(log_.messages(LogLevel::Error).size(), 1u) << each->path();
    }
}

}  // namespace
}  // namespace qs
