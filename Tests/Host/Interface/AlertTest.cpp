#include "Models/Alert.h"

#include "ModelTest.h"
#include "Models/View.h"

namespace qs {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class AlertTest : public ModelTest {
protected:
    static int ask(std::string text, std::vector<std::string> buttons = {"Yes", "No", "Later"}) {
        Alert alert;
        alert.messageText = std::move(text);
        alert.buttons = std::move(buttons);
        return alert.runModal();
    }
    static std::vector<std::string> shown() {
        std::vector<std::string> texts;
        for (const Alert* alert : AlertCentre::shared().shown())
            texts.push_back(alert->messageText);
        return texts;
    }
    // Answers the alert of that text when the run loop next has a moment.
    void answerSoon(std::string text, int button) {
        loop_->post([text = std::move(text), button] {
            for (const Alert* alert : AlertCentre::shared().shown())
                if (alert->messageText == text) {
                    EXPECT_TRUE(AlertCentre::shared().answer(alert->identifier, button, false));
                    return;
                }
            ADD_FAILURE() << text << " is not shown";
        });
    }
};

TEST_F(AlertTest, TheCodeTellsTheButton) {
    for (int button : {0, 1, 2}) {
        answerSoon("Go on?", button);
        EXPECT_EQ(ask("Go on?"), kAlertFirstButtonReturn + button);
    }
    EXPECT_THAT(shown(), IsEmpty());
}

TEST_F(AlertTest, WhatIsNoAnswerIsRefused) {
    bool checked = false;
    loop_->post([&] {
        AlertCentre& centre = AlertCentre::shared();
        ASSERT_THAT(centre.shown(), testing::SizeIs(1));
        const int identifier = centre.shown().front()->identifier;
        EXPECT_THAT(centre.shown().front()->buttons, ElementsAre("OK")) << "an alert has at least one button";
        EXPECT_FALSE(centre.answer(identifier, 1, false));
        EXPECT_FALSE(centre.answer(identifier, -1, false));
        EXPECT_FALSE(centre.answer(identifier + 1, 0, false));
        EXPECT_TRUE(centre.answer(identifier, 0, false));
        EXPECT_FALSE(centre.answer(identifier, 0, false)) << "a second click on the same button";
        checked = true;
    });
    EXPECT_EQ(ask("Done.", {}), kAlertFirstButtonReturn);
    EXPECT_TRUE(checked);
}

TEST_F(AlertTest, TheRestOfTheProgramGoesOnWhileOneWaits) {
    int done = 0;
    loop_->post([&] { ++done; });
    loop_->postToGlobalQueue([&] {
        loop_->post([&] {
            ++done;
            answerSoon("Wait?", 0);
        });
    });
    EXPECT_EQ(ask("Wait?"), kAlertFirstButtonReturn);
    EXPECT_EQ(done, 2);
}

TEST_F(AlertTest, AnOuterAlertIsAnsweredWhileAnInnerOneStands) {
    std::vector<std::string> order;
    loop_->post([&] {
        answerSoon("outer", 1);
        loop_->post([&] {
            EXPECT_THAT(shown(), ElementsAre("inner")) << "what is answered is no longer shown";
            answerSoon("inner", 2);
        });
        order.push_back("inner " + std::to_string(ask("inner")));
    });
    order.push_back("outer " + std::to_string(ask("outer")));
    EXPECT_THAT(order, ElementsAre("inner 1002", "outer 1001"));
}

TEST_F(AlertTest, StoppingTheProgramAnswersAllWithWhatChangesNothing) {
    int inner = 0;
    loop_->post([&] {
        loop_->post([&] { loop_->stop(); });
        inner = ask("inner", {"Delete", "Cancel"});
    });
    EXPECT_EQ(ask("outer"), kAlertThirdButtonReturn);
    EXPECT_EQ(inner, kAlertSecondButtonReturn);
    EXPECT_THAT(shown(), IsEmpty());
}

TEST_F(AlertTest, EscapeBelongsToTheButtonThatCancels) {
    const struct {
        std::vector<std::string> buttons;
        int named, cancel;
    } cases[] = {
        {{"Send", "Cancel", "Attach"}, -1, 1},     {{"Yes", "No"}, -1, 1},     {{"OK"}, -1, 0},
        {{"Senden", "Abbrechen", "Anhang"}, 1, 1}, {{"Send", "Cancel"}, 7, 1}, {{}, -1, 0},
    };
    for (const auto& c : cases)
        EXPECT_EQ((Alert{.buttons = c.buttons, .cancelButton = c.named}.cancelButtonIndex()), c.cancel);
}

TEST_F(AlertTest, ASheetKnowsItsWindowAndTheCheckBoxItsState) {
    Window window("compose-7");
    Alert alert;
    alert.showsSuppressionButton = true;
    loop_->post([] {
        const Alert& shown = *AlertCentre::shared().shown().front();
        EXPECT_EQ(shown.windowIdentifier, "compose-7");
        AlertCentre::shared().answer(shown.identifier, 0, true);
    });
    alert.runModalSheetForWindow(window);
    EXPECT_TRUE(alert.suppressionState);
}

}  // namespace
}  // namespace qs
