// What the page sends about forms reaches the form that it means, wherever that is shown.
#include <gmock/gmock.h>

#include <boost/json.hpp>

#include "Calls.h"
#include "MailApplication.h"
#include "MainViewer.h"
#include "Models/Form.h"
#include "Models/Popover.h"
#include "Models/View.h"
#include "PreferencesWindow.h"
#include "Support/TemporaryHost.h"

namespace qs {
namespace {

namespace json = boost::json;
using testing::ElementsAre;

class DialogCalls : public testing::Test {
protected:
    void call(std::string_view name, json::object arguments) {
        CallContext context{host_.application(), page_};
        allCalls().find(name)->second(context, arguments);
        host_.settle();
    }
    // A form that tells what happens to it: one check box, a button with an action, one without.
    std::shared_ptr<FormModel> form(const std::string& identifier) {
        auto form = std::make_shared<FormModel>();
        form->identifier = identifier;
        FormControl box{.kind = FormControl::Kind::CheckBox, .id = "box"};
        box.onChange = [this, identifier](const Value& value) {
            told_.push_back(identifier + (value.boolValue() ? " on" : " off"));
        };
        form->groups = {{.controls = {box}}};
        form->buttons = {{.title = "Act", .action = [this, identifier] { told_.push_back(identifier + " acts"); }},
                         {.title = "End", .code = 7}};
        return form;
    }
    void useAll(const std::string& window, const std::string& identifier) {
        call("sheet.set", {{"window", window}, {"form", identifier}, {"control", "box"}, {"value", true}});
        call("sheet.button", {{"window", window}, {"form", identifier}, {"button", 0}, {"title", "Act"}});
        EXPECT_THROW(call("sheet.button", {{"window", window}, {"form", identifier}, {"button", 1}, {"title", "Act"}}),
                     CallRefused);
        call("sheet.button", {{"window", window}, {"form", identifier}, {"button", 1}, {"title", "End"}});
    }

    TemporaryHost host_;
    PageMemory page_;
    std::vector<std::string> told_;
};

class Pane : public PreferencesModule {
public:
    explicit Pane(std::shared_ptr<FormModel> form) : PreferencesModule("NSPreferencesModule"), form_(std::move(form)) {}
    std::string imageName() const override { return ""; }
    std::shared_ptr<FormModel> form() override { return form_; }

private:
    std::shared_ptr<FormModel> form_;
};

TEST_F(DialogCalls, ReachASheetAndEndItWithTheButtonsCode) {
    auto window = host_.viewer().window();
    window->beginSheet(form("sheet"), [this](int code) { told_.push_back("ended " + std::to_string(code)); });
    useAll(window->identifier(), "sheet");
    EXPECT_THAT(told_, ElementsAre("sheet on", "sheet acts", "ended 7"));
    EXPECT_THROW(useAll(window->identifier(), "sheet"), CallRefused) << "it is closed";
}

TEST_F(DialogCalls, MakeRichTextSafeBeforeAnybodyHearsOfIt) {
    auto window = host_.viewer().window();
    auto sheet = form("sheet");
    FormControl text{.kind = FormControl::Kind::RichText, .id = "text"};
    text.onChange = [this](const Value& value) { told_.push_back(value.stringValue()); };
    sheet->groups.front().controls.push_back(text);
    window->beginSheet(sheet, [](int) {});
    call("sheet.set", {{"window", window->identifier()},
                       {"form", "sheet"},
                       {"control", "text"},
                       {"value", "<p onclick=\"evil()\">Mine<script>evil()</script>"
                                 "<img src=\"https://pictures.example/1.png\"></p>"}});
    EXPECT_THAT(told_, ElementsAre("<p>Mine<img src=\"https://pictures.example/1.png\"></p>"));
    EXPECT_EQ(sheet->control("text")->value.stringValue(), told_.front());
}

TEST_F(DialogCalls, ReachTheFormInAPopoverAndCloseIt) {
    Popover popover("options");
    popover.content.form = form("card");
    popover.onClose = [this] { told_.push_back("closed"); };
    popover.showRelativeTo(host_.viewer().window()->titleView(), 1);
    EXPECT_THROW(
        call("sheet.button", {{"window", "popover:options"}, {"form", "other"}, {"button", 0}, {"title", "Act"}}),
        CallRefused);
    useAll("popover:options", "card");
    EXPECT_THAT(told_, ElementsAre("card on", "card acts", "closed"));
}

TEST_F(DialogCalls, ReachThePaneOfThePreferencesAndASheetOverIt) {
    auto& preferences = host_.application().preferences();
    preferences.addPreferenceNamed("Pane", std::make_shared<Pane>(form("pane")));
    EXPECT_THROW(useAll("preferences", "pane"), CallRefused) << "not shown yet";
    preferences.show("Pane");
    useAll("preferences", "pane");
    EXPECT_THAT(told_, ElementsAre("pane on", "pane acts"));
    EXPECT_TRUE(preferences.preferenceWindow()->isVisible()) << "a pane has nothing to end";
    preferences.preferenceWindow()->beginSheet(form("asked"), [this](int) { told_.push_back("ended"); });
    useAll("preferences", "asked");
    EXPECT_THAT(told_, ElementsAre("pane on", "pane acts", "asked on", "asked acts", "ended"));
}

}  // namespace
}  // namespace qs
