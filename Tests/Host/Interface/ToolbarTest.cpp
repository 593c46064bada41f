#include "Models/Toolbar.h"

#include "ModelTest.h"
#include "Models/View.h"

namespace qs {
namespace {

using testing::ElementsAre;

const Operation<std::vector<std::string>(Toolbar& toolbar)> patchedDefaults{
    "quillstead_toolbarDefaultItemIdentifiers:"};
const Operation<std::shared_ptr<ToolbarItem>(Toolbar& toolbar, const std::string& identifier, bool inserted)>
    patchedItem{"quillstead_toolbar:itemForItemIdentifier:willBeInsertedIntoToolbar:"};

class ToolbarTest : public ModelTest {
protected:
    ToolbarTest() {
        cls_.add(toolbar_delegate::defaultItemIdentifiers, [](HostObject&, Toolbar&) {
            return std::vector<std::string>{"reply",   kToolbarSpace, "archive", kToolbarSpace,
                                            "unknown", "broken",      "reply"};
        });
        cls_.add(toolbar_delegate::itemForItemIdentifier,
                 [](HostObject&, Toolbar&, const std::string& identifier, bool) {
                     if (identifier == "broken") throw std::runtime_error("no such picture");
                     return identifier == "unknown" ? nullptr : std::make_shared<ToolbarItem>(identifier);
                 });
        cls_.add(toolbar_delegate::validateToolbarItem,
                 [](HostObject&, ToolbarItem& item) { return item.itemIdentifier() != "archive"; });
        delegate_ = std::make_shared<HostObject>("Delegate");
    }
    std::vector<std::string> identifiers() const {
        std::vector<std::string> identifiers;
        for (const auto& item : toolbar_->items())
            identifiers.push_back(item->itemIdentifier());
        return identifiers;
    }

    Class& cls_ = registry_.define("Delegate");
    std::shared_ptr<HostObject> delegate_;
    std::shared_ptr<Window> window_ = std::make_shared<Window>("viewer");
    std::shared_ptr<Toolbar> toolbar_ = std::make_shared<Toolbar>("test");
};

TEST_F(ToolbarTest, TakesTheItemsThatTheDelegateKnows) {
    toolbar_->setDelegate(delegate_, window_);
    EXPECT_THAT(identifiers(), ElementsAre("reply", kToolbarSpace, "archive", kToolbarSpace))
        << "unknown and broken items are left out, an item stands once";
    EXPECT_EQ(toolbar_->items().front()->view()->anchor(), "toolbar:viewer:reply");
    toolbar_->insertItemWithItemIdentifier("trash", 99);
    toolbar_->insertItemWithItemIdentifier("flag", 1);
    EXPECT_THAT(identifiers(), ElementsAre("reply", "flag", kToolbarSpace, "archive", kToolbarSpace, "trash"));
}

TEST_F(ToolbarTest, APatchedDelegateAddsItemsOfItsOwn) {
    cls_.add(patchedDefaults, [](HostObject& self, Toolbar& toolbar) {
        auto defaults = patchedDefaults(self, toolbar);
        defaults.insert(defaults.begin() + 1, "SendLater");
        return defaults;
    });
    cls_.add(patchedItem, [](HostObject& self, Toolbar& toolbar, const std::string& identifier, bool inserted) {
        if (identifier == "SendLater") return std::make_shared<ToolbarItem>(identifier, "BorderlessToolbarItem");
        return patchedItem(self, toolbar, identifier, inserted);
    });
    ASSERT_TRUE(cls_.jr_swizzleMethod(toolbar_delegate::defaultItemIdentifiers.selector(), patchedDefaults.selector()));
    ASSERT_TRUE(cls_.jr_swizzleMethod(toolbar_delegate::itemForItemIdentifier.selector(), patchedItem.selector()));
    toolbar_->setDelegate(delegate_, window_);
    ASSERT_THAT(identifiers(), ElementsAre("reply", "SendLater", kToolbarSpace, "archive", kToolbarSpace));
    EXPECT_TRUE(toolbar_->items()[1]->isKindOf("NSToolbarItem"));
}

TEST_F(ToolbarTest, ItemsAreJudgedByTheirTargetElseByTheDelegate) {
    Class& strict = registry_.define("Strict");
    strict.add(toolbar_delegate::validateToolbarItem, [](HostObject&, ToolbarItem&) { return false; });
    registry_.define("Indifferent");
    registry_.define("Broken").add(toolbar_delegate::validateToolbarItem,
                                   [](HostObject&, ToolbarItem&) -> bool { throw std::runtime_error("no answer"); });
    struct Case {
        const char* why;
        const char* item;
        const char* targetClass;
        bool enabled;
    };
    toolbar_->setDelegate(delegate_, window_);
    for (const Case& c : {Case{"the delegate, for want of a target", "reply", nullptr, true},
                          Case{"the delegate refuses", "archive", nullptr, false},
                          Case{"the target comes before the delegate", "reply", "Strict", false},
                          Case{"a target that judges nothing", "reply", "Indifferent", true},
                          Case{"a judge that fails", "reply", "Broken", false}}) {
        const auto target = c.targetClass ? std::make_shared<HostObject>(c.targetClass) : nullptr;
        for (const auto& item : toolbar_->items())
            if (item->itemIdentifier() == c.item) {
                item->target = target;
                toolbar_->validateVisibleItems();
                EXPECT_EQ(item->enabled, c.enabled) << c.why;
                item->target.reset();
            }
    }
}

}  // namespace
}  // namespace qs
