// The dialogs of the account, as forms that a page would draw.
#include "Account/BackendTest.h"
#include "Account/QSQuillsteadLoginController.h"
#include "MainViewer.h"
#include "Models/Form.h"
#include "Models/Popover.h"
#include "Models/View.h"
#include "Support/AlertAnswers.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::Eq;
using ::testing::HasSubstr;
using ::testing::Optional;

class LoginTest : public BackendTest {
protected:
    void SetUp() override { startWithBackend(); }
    std::shared_ptr<Window> window() { return host_->viewer().window(); }
    std::shared_ptr<FormModel> sheet() { return window()->currentSheet(); }
    void show(bool registration) {
        QSQuillsteadLoginController::sharedController().showAccountForWindow(
            window(), registration, [this](bool success, const std::optional<Error>&) { ended_.push_back(success); });
        host_->advance(0.25);
        ASSERT_NE(sheet(), nullptr);
    }
    void type(std::string_view id, const char* text) {
        FormControl* control = sheet()->control(id);
        ASSERT_NE(control, nullptr) << id;
        control->onChange(text);
    }
    void press(std::size_t button) {
        const auto action = sheet()->buttons.at(button).action;
        action();
        host_->settle();
    }
    std::vector<bool> ended_;
};

TEST_F(LoginTest, AGoodLoginIsKept) {
    show(false);
    EXPECT_EQ(sheet()->buttons.at(1).title, "Sign in");
    type("dialogEmail", "ada@example.org");
    type("dialogPassword", "s3cret!");
    answers_["/api/v1/profile"] = {.body = R"({"id": 1, "name": "Ada"})"};
    sheet()->buttons.at(1).action();
    EXPECT_EQ(sheet()->buttons.at(1).title, "Signing in...");
    EXPECT_FALSE(sheet()->buttons.at(1).enabled);
    EXPECT_FALSE(sheet()->control("dialogEmail")->enabled);
    host_->settle();
    EXPECT_EQ(sheet(), nullptr);
    EXPECT_THAT(ended_, ElementsAre(true));
    EXPECT_THAT(QSQuillsteadUser::me().name, Optional(Eq("Ada"))) << "and the profile is asked for at once";
    EXPECT_TRUE(QSQuillsteadUser::me().hasCredentials());
    EXPECT_FALSE(QSQuillsteadLoginController::sharedController().isShowing());
}

TEST_F(LoginTest, ARefusedOneShakesThenTellsWhyAndCanBeTriedAgain) {
    AlertAnswers alerts;
    show(false);
    type("dialogEmail", "ada@example.org");
    type("dialogPassword", "wrong");
    answers_["/api/v1/profile"] = {.status = 401, .body = R"({"error": "Unknown."})"};
    const std::string identifier = sheet()->identifier;
    press(1);
    EXPECT_EQ(sheet()->refusals, 1);
    EXPECT_NE(sheet()->identifier, identifier) << "so that the page draws it anew";
    EXPECT_EQ(sheet()->control("dialogPassword")->value, Value(""));
    EXPECT_EQ(sheet()->buttons.at(1).title, "Sign in");
    EXPECT_TRUE(sheet()->buttons.at(1).enabled);
    EXPECT_THAT(alerts.seen, ::testing::IsEmpty());
    host_->advance(0.5);
    EXPECT_THAT(alerts.seen, ElementsAre(HasSubstr("Sign in Error")));
    press(0);
    EXPECT_EQ(sheet(), nullptr);
    EXPECT_THAT(ended_, ElementsAre(false));
}

TEST_F(LoginTest, APasswordIsCheckedBeforeItIsRegistered) {
    AlertAnswers alerts;
    show(true);
    type("dialogEmail", "ada@example.org");
    for (const char* tooShort : {"12345", "Größe"}) {
        type("dialogPassword", tooShort);
        press(1);
    }
    type("dialogPassword", "123456");
    type("dialogPasswordConfirm", "123457");
    press(1);
    EXPECT_THAT(alerts.seen,
                ElementsAre(HasSubstr("Password Error"), HasSubstr("Password Error"), HasSubstr("Password Error")));
    EXPECT_TRUE(backend_.requests().empty());
    EXPECT_TRUE(QSQuillsteadLoginController::sharedController().isShowing());
}

TEST_F(LoginTest, ARegistrationWaitsForTheMailAndOffersTheLoginNext) {
    show(true);
    type("dialogEmail", "ada@example.org");
    type("dialogPassword", "s3cret!");
    type("dialogPasswordConfirm", "s3cret!");
    answers_["/api/v1/addUser"] = {.body = "{}"};
    press(1);
    ASSERT_EQ(Popover::allShown().size(), 1u);
    Popover& popover = *Popover::allShown().front();
    EXPECT_THAT(popover.content.text, HasSubstr("you will receive an email with a confirmation link"));
    EXPECT_EQ(popover.positioningView()->anchor(), "sheet:viewer:dialogEmail");
    EXPECT_NE(sheet(), nullptr) << "until the hint was read";
    popover.close();
    host_->settle();
    EXPECT_EQ(sheet(), nullptr);
    EXPECT_THAT(ended_, ElementsAre(true));
    EXPECT_TRUE(delegate().showLoginNextTime());
}

TEST_F(LoginTest, OneDialogAtATimeAndFromOneToTheOther) {
    show(false);
    QSQuillsteadLoginController::sharedController().showAccountForWindow(window(), true, nullptr);
    host_->advance(1);
    EXPECT_EQ(sheet()->identifier, "QuillsteadLogin");
    type("dialogEmail", "ada@example.org");
    sheet()->control("showRegistrationForm")->onChange({});
    host_->settle();
    ASSERT_NE(sheet(), nullptr);
    EXPECT_EQ(sheet()->identifier, "QuillsteadRegistration");
    EXPECT_EQ(sheet()->control("dialogEmail")->value, Value("ada@example.org"));
    EXPECT_TRUE(ended_.empty()) << "it is the same dialog still";
    window()->endAllSheets();
    host_->settle();
    EXPECT_THAT(ended_, ElementsAre(false)) << "its window was closed";

    show(false);
    sheet()->control("forgotQuillsteadPassword")->onChange({});
    EXPECT_THAT(workspace_->openedUrls, ElementsAre(backend_.url("/password/email")));
    host_->advance(0.2);
    EXPECT_EQ(sheet(), nullptr);
}

TEST_F(LoginTest, AnActivationOffersItAndTheLoginAddressShowsIt) {
    delegate().applicationDidBecomeActive();
    host_->advance(3);
    ASSERT_NE(sheet(), nullptr);
    EXPECT_EQ(sheet()->identifier, "QuillsteadRegistration");
    press(0);
    host_->application().openAddress("quillstead://login");
    host_->advance(1);
    ASSERT_NE(sheet(), nullptr);
    EXPECT_EQ(sheet()->identifier, "QuillsteadLogin");
}

}  // namespace
}  // namespace qs
