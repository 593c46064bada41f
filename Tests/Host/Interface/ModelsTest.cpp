#include <thread>

#include "Compose/HeadersEditor.h"
#include "Foundation/Assertion.h"
#include "ModelTest.h"
#include "Models/Form.h"
#include "Models/Menu.h"

namespace qs {
namespace {

using testing::ElementsAre;

class ModelsTest : public ModelTest {};

TEST_F(ModelsTest, AllChangesOfATurnLeadToOneRedraw) {
    int redraws = 0;
    setModelChangeHandler([&] { ++redraws; });
    Menu menu;
    const auto item = menu.addItemWithTitle("Send", "send:", "");
    item->setTitle("Send now");
    loop_->runUntilIdle();
    EXPECT_EQ(redraws, 1);
    item->setTitle("Send now");
    item->setState(0);
    loop_->runUntilIdle();
    EXPECT_EQ(redraws, 1) << "what stays as it was is no change";
    item->setTitle("Send");
    loop_->runUntilIdle();
    EXPECT_EQ(redraws, 2);
}

TEST_F(ModelsTest, ARedrawThatChangesAModelLeadsToOneMore) {
    Menu menu;
    int redraws = 0;
    setModelChangeHandler([&] {
        if (++redraws == 1) menu.addItemWithTitle("late", "", "");
    });
    noteModelChange();
    loop_->runUntilIdle();
    EXPECT_EQ(redraws, 2);
}

TEST_F(ModelsTest, ChangesThatALoopTookAlongDoNotSilenceTheNext) {
    int redraws = 0;
    setModelChangeHandler([&] { ++redraws; });
    noteModelChange();
    loop_.reset();
    loop_ = RunLoop::make(RunLoop::Clock::Virtual, kStart);
    noteModelChange();
    loop_->runUntilIdle();
    EXPECT_EQ(redraws, 1);
}

TEST_F(ModelsTest, ModelsBelongToTheMainThread) {
    std::thread([] { EXPECT_THROW(noteModelChange(), AssertionFailure); }).join();
}

TEST_F(ModelsTest, MenuItemsStandWhereTheyAreInserted) {
    Menu menu;
    menu.addItemWithTitle("Send", "send:", "");
    menu.insertItemWithTitle("Send Later", "sendLater:", "", 1)->setTag(4419);
    menu.insertItem(MenuItem::separatorItem(), 2);
    menu.insertItemWithTitle("Snooze", "snooze:", "", 99);
    const auto titles = [&] {
        std::vector<std::string> found;
        for (const auto& item : menu.itemArray())
            found.push_back(item->isSeparatorItem() ? "-" : item->title());
        return found;
    };
    EXPECT_THAT(titles(), ElementsAre("Send", "Send Later", "-", "Snooze"));
    ASSERT_NE(menu.itemWithTag(4419), nullptr);
    menu.removeItem(menu.itemWithTag(4419));
    EXPECT_THAT(titles(), ElementsAre("Send", "-", "Snooze"));
    EXPECT_EQ(menu.itemWithTag(4419), nullptr);
    EXPECT_EQ(menu.itemAtIndex(3), nullptr);
}

TEST_F(ModelsTest, AStackOrdersItsViewsByGravity) {
    registry_.define("NSButton");
    StackView stack("NSStackView");
    const auto trailing = std::make_shared<HostObject>("NSButton"), leading = std::make_shared<HostObject>("NSButton"),
               second = std::make_shared<HostObject>("NSButton");
    stack.addView(trailing, 3);
    stack.addView(leading, 1);
    stack.addView(second, 1);
    EXPECT_THAT(stack.views(), ElementsAre(leading, second, trailing));
    stack.addView(leading, 3);
    EXPECT_THAT(stack.views(), ElementsAre(second, trailing, leading)) << "a view stands in one place";
    stack.removeView(trailing);
    EXPECT_THAT(stack.views(), ElementsAre(second, leading));
}

TEST_F(ModelsTest, AControlIsFoundInAnyGroup) {
    FormModel form;
    form.groups = {{.title = "A", .controls = {{.id = "one"}}}, {.title = "B", .controls = {{.id = "two"}}}};
    ASSERT_NE(form.control("two"), nullptr);
    EXPECT_EQ(form.control("two"), &form.groups[1].controls[0]);
    EXPECT_EQ(form.control("three"), nullptr);
}

}  // namespace
}  // namespace qs
