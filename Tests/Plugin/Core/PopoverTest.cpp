// One-time hints and countdowns, over the host's popovers and a virtual clock.
#include <set>

#include "Core/QSPopoverController.h"
#include "MainViewer.h"
#include "Models/Popover.h"
#include "Models/View.h"
#include "PluginTest.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class HintTest : public PluginTest {
protected:
    void SetUp() override {
        startHost();
        window_ = makeWindow("compose-1");
    }
    QSPopoverController& controller() { return QSPopoverController::sharedController(); }
    void queue(const std::string& identifier, int edge = 3) {
        controller().queuePopoverWithIdentifier(identifier, "About " + identifier, window_->titleView(), edge);
    }
    static std::vector<std::string> shown() {
        std::vector<std::string> result;
        for (const Popover* popover : Popover::allShown())
            result.push_back(popover->identifier());
        return result;
    }
    static Popover& popover() { return *Popover::allShown().at(0); }
    static void press(int segment) {
        const auto onButton = popover().onButton;  // the popover may go
        onButton(segment);
    }
    std::shared_ptr<Window> makeWindow(const std::string& name, bool visible = true) {
        auto window = std::make_shared<Window>(name);
        window->setVisible(visible);
        return window;
    }
    std::shared_ptr<QSPopoverInfoView> countdownView(double timeout) {
        auto view = std::make_shared<QSPopoverInfoView>("Countdown", "Soon", window_->titleView());
        view->timeout = timeout;
        view->showOnlyOnce = false;
        view->actionButtonTitles = {"Now", "Never"};
        view->completionHandler = [this](int segment) { pressed_.push_back(segment); };
        return view;
    }
    void TearDown() override {
        window_.reset();
        PluginTest::TearDown();
    }

    std::shared_ptr<Window> window_;
    std::vector<int> pressed_;
};

TEST_F(HintTest, HintsComeOneAfterTheOtherAndOnlyOnce) {
    queue("One");
    queue("Two");
    queue("Two");
    queue("Three");
    EXPECT_THAT(shown(), ElementsAre("One"));
    EXPECT_EQ(popover().content.text, "About One");
    EXPECT_EQ(popover().positioningView(), window_->titleView());
    host_->advance(60);
    EXPECT_THAT(shown(), ElementsAre("One")) << "the others wait";
    EXPECT_FALSE(controller().didShowPopoverWithIdentifier("One")) << "remembered when it closes";
    popover().close();
    EXPECT_TRUE(defaults().boolForKey("QSShowedOne"));
    EXPECT_THAT(shown(), ElementsAre("Two"));
    press(0);
    EXPECT_THAT(shown(), IsEmpty()) << "a second apart, however quickly they are dismissed";
    host_->advance(1.1);
    EXPECT_THAT(shown(), ElementsAre("Three"));
    press(0);
    queue("One");
    host_->advance(5);
    EXPECT_THAT(shown(), IsEmpty());
}

TEST_F(HintTest, WhatWasNotClosedComesAgain) {
    window_.reset();
    const auto queueAtViewer = [this](const std::string& identifier) {
        controller().queuePopoverWithIdentifier(identifier, "Text", host_->viewer().window()->titleView(), 3);
    };
    queueAtViewer("One");
    queueAtViewer("Two");
    EXPECT_THAT(shown(), ElementsAre("One"));
    restart();
    EXPECT_THAT(shown(), IsEmpty());
    queueAtViewer("One");
    queueAtViewer("Two");
    EXPECT_THAT(shown(), ElementsAre("One"));
    popover().close();
    host_->advance(1.1);
    EXPECT_THAT(shown(), ElementsAre("Two"));
}

TEST_F(HintTest, AHintWaitsForItsWindowAndKeepsNobodyElseWaiting) {
    const auto hidden = makeWindow("preferences", false);
    auto going = makeWindow("compose-2", false);
    const auto hint = [&](const char* identifier, Window& window) {
        // Not the title view: the preferences have none.
        const auto view = std::make_shared<View>("place", std::static_pointer_cast<Window>(window.shared_from_this()));
        controller().queuePopoverWithIdentifier(identifier, "Text", view, 1);
        return view;
    };
    hint("Hidden", *hidden);
    hint("Going", *going);
    EXPECT_THAT(shown(), IsEmpty());
    EXPECT_EQ(controller().nextViewInQueue()->identifier(), "Hidden");
    queue("Visible");
    EXPECT_THAT(shown(), ElementsAre("Visible"));
    press(0);
    going.reset();
    hidden->setVisible(true);
    host_->advance(1.1);
    EXPECT_THAT(shown(), ElementsAre("Hidden"));
    EXPECT_EQ(popover().preferredEdge(), 1);
    press(0);
    EXPECT_EQ(controller().nextViewInQueue(), nullptr) << "the hint of the closed window is gone";
    going = makeWindow("compose-3");
    hint("Going", *going);
    host_->advance(1.1);
    EXPECT_THAT(shown(), ElementsAre("Going"));
}

TEST_F(HintTest, TheButtonIsOneOfThreeConfirmations) {
    std::set<std::string> seen;
    for (int i = 0; i < 200; ++i) {
        const QSPopoverInfoView view("", "Text", window_->titleView());
        EXPECT_THAT(view.confirmations(), ElementsAre("Okay, got it", "Thank you", "Understood"));
        ASSERT_EQ(view.actionButtonTitles.size(), 1u);
        seen.insert(view.actionButtonTitles[0]);
    }
    EXPECT_THAT(seen, ElementsAre("Okay, got it", "Thank you", "Understood"));
}

TEST_F(HintTest, NothingIsShownWithoutAView) {
    controller().queuePopoverWithIdentifier("One", "Text", nullptr, 3);
    controller().showPopoverView(std::make_shared<QSPopoverInfoView>("Two", "Text", nullptr));
    host_->advance(5);
    EXPECT_THAT(shown(), IsEmpty());
}

TEST_F(HintTest, ACountdownRunsOutSecondBySecond) {
    queue("Hint");
    controller().showPopoverView(countdownView(3));
    EXPECT_THAT(shown(), ElementsAre("Hint", "Countdown")) << "it doesn't wait for the queue";
    press(0);
    for (const char* left : {"3", "2", "1"}) {
        ASSERT_THAT(shown(), ElementsAre("Countdown"));
        EXPECT_EQ(popover().content.countdownText, left);
        EXPECT_THAT(pressed_, IsEmpty());
        host_->advance(1);
    }
    EXPECT_THAT(shown(), IsEmpty());
    EXPECT_THAT(pressed_, ElementsAre(0)) << "running out is pressing the first button";
    EXPECT_FALSE(controller().didShowPopoverWithIdentifier("Countdown"));
    host_->advance(60);
    EXPECT_THAT(pressed_, ElementsAre(0));
}

TEST_F(HintTest, ACountdownEndsAsItIsEnded) {
    struct Case {
        const char* why;
        std::function<void()> end;
        std::vector<int> pressed;
    };
    for (const Case& c : {Case{"first button", [] { press(0); }, {0}}, Case{"second button", [] { press(1); }, {1}},
                          Case{"dismissed", [] { popover().close(); }, {}},
                          Case{"window closed", [this] { window_->setVisible(false); }, {}}}) {
        window_->setVisible(true);
        pressed_.clear();
        controller().showPopoverView(countdownView(10));
        host_->advance(2.5);
        EXPECT_EQ(popover().content.countdownText, "8");
        c.end();
        EXPECT_THAT(shown(), IsEmpty()) << c.why;
        host_->advance(60);
        EXPECT_EQ(pressed_, c.pressed) << c.why;
    }
}

TEST_F(HintTest, ASecondCountdownOfThatNameIsNotShown) {
    controller().showPopoverView(countdownView(10));
    auto second = countdownView(20);
    controller().showPopoverView(second);
    EXPECT_THAT(shown(), ElementsAre("Countdown"));
    EXPECT_EQ(popover().content.countdownText, "10");
    press(1);
    controller().showPopoverView(second);
    EXPECT_EQ(popover().content.countdownText, "20");
}

TEST_F(HintTest, OneSecondOrLessDoesNotCountDown) {
    struct Case {
        double timeout;
        const char* text;
    };
    for (const Case& c : {Case{1.0, "1"}, Case{0.5, ""}, Case{0, ""}, Case{1.5, "1"}}) {
        pressed_.clear();
        controller().showPopoverView(countdownView(c.timeout));
        EXPECT_EQ(popover().content.countdownText, c.text) << c.timeout;
        host_->advance(60);
        if (c.timeout > 1) {
            EXPECT_THAT(pressed_, ElementsAre(0)) << c.timeout;
            continue;
        }
        EXPECT_THAT(shown(), ElementsAre("Countdown")) << c.timeout;
        press(1);
    }
}

}  // namespace
}  // namespace qs
