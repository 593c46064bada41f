#include "ModelTest.h"
#include "Models/Form.h"
#include "Models/Popover.h"
#include "Models/View.h"

namespace qs {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class WindowTest : public ModelTest {
protected:
    std::shared_ptr<FormModel> begin(const std::string& name) {
        auto form = std::make_shared<FormModel>();
        form->identifier = name;
        window_->beginSheet(form, [this, name](int code) { ended_.push_back(name + " " + std::to_string(code)); });
        return form;
    }
    std::string shown() const { return window_->currentSheet() ? window_->currentSheet()->identifier : ""; }

    std::shared_ptr<Window> window_ = std::make_shared<Window>("viewer");
    std::vector<std::string> ended_;
};

TEST_F(WindowTest, SheetsComeOneAfterTheOther) {
    const auto first = begin("first"), second = begin("second"), third = begin("third");
    EXPECT_EQ(shown(), "first");
    window_->endSheet(*second, 7);  // while it still waits
    EXPECT_EQ(shown(), "first");
    window_->endSheet(*first, kSheetConfirmed);
    EXPECT_EQ(shown(), "third");
    window_->endSheet(*first, kSheetConfirmed);
    EXPECT_THAT(ended_, IsEmpty()) << "completions run in a turn of their own";
    loop_->runUntilIdle();
    EXPECT_THAT(ended_, ElementsAre("second 7", "first 0")) << "each once";
}

TEST_F(WindowTest, ClosingCancelsAllSheets) {
    for (const bool destroyed : {false, true}) {
        window_ = std::make_shared<Window>("viewer");
        window_->setVisible(true);
        ended_.clear();
        begin("first");
        begin("second");
        if (destroyed)
            window_.reset();
        else
            window_->setVisible(false);
        loop_->runUntilIdle();
        EXPECT_THAT(ended_, ElementsAre("first 1", "second 1")) << destroyed;
    }
}

TEST_F(WindowTest, ASheetMayBeginTheNextWhenItEnds) {
    auto form = std::make_shared<FormModel>();
    window_->beginSheet(form, [&](int) { begin("next"); });
    window_->endSheet(*form, 0);
    loop_->runUntilIdle();
    EXPECT_EQ(shown(), "next");
}

class PopoverTest : public WindowTest {
protected:
    PopoverTest() {
        window_->setVisible(true);
        popover_->onClose = [this] { ++closed_; };
    }
    std::shared_ptr<Popover> popover_ = std::make_shared<Popover>("hint");
    int closed_ = 0;
};

TEST_F(PopoverTest, ShowsOnlyWhereItCanBeSeen) {
    window_->setVisible(false);
    popover_->showRelativeTo(window_->titleView(), 1);
    popover_->showRelativeTo(nullptr, 1);
    EXPECT_FALSE(popover_->isShown());
    window_->setVisible(true);
    popover_->showRelativeTo(window_->titleView(), 1);
    popover_->showRelativeTo(window_->titleView(), 2);
    EXPECT_THAT(Popover::allShown(), ElementsAre(popover_.get())) << "shown twice is shown once";
    EXPECT_EQ(popover_->preferredEdge(), 2);
    EXPECT_EQ(popover_->positioningView()->anchor(), "title:viewer");
}

TEST_F(PopoverTest, ClosesOnceHoweverItCloses) {
    const auto show = [&] { popover_->showRelativeTo(window_->titleView(), 1); };
    show();
    popover_->close();
    popover_->close();
    EXPECT_EQ(closed_, 1);
    show();
    window_->setVisible(false);
    EXPECT_EQ(closed_, 2) << "with its window";
    window_->setVisible(true);
    show();
    window_.reset();
    EXPECT_EQ(closed_, 3) << "with a window that goes";
    window_ = std::make_shared<Window>("viewer");
    window_->setVisible(true);
    show();
    popover_.reset();
    EXPECT_EQ(closed_, 4) << "when it goes itself";
    EXPECT_THAT(Popover::allShown(), IsEmpty());
}

TEST_F(PopoverTest, MayDropItselfWhileItCloses) {
    popover_->onClose = [&] { popover_.reset(); };
    popover_->showRelativeTo(window_->titleView(), 1);
    popover_->close();
    EXPECT_EQ(popover_, nullptr);
    EXPECT_THAT(Popover::allShown(), IsEmpty());
}

}  // namespace
}  // namespace qs
