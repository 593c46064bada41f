// The sheet of an account in a whole host, as the page uses it, with a keychain and a browser of the test's own.
#pragma once

#include <gmock/gmock.h>

#include <memory>
#include <string>

#include "AccountBook.h"
#include "Accounts/AccountSheet.h"
#include "Http/HttpClient.h"
#include "MailEngine.h"
#include "Models/Form.h"
#include "Models/View.h"
#include "Platform.h"
#include "PreferencesWindow.h"
#include "Support/HookedKeychain.h"
#include "Support/PrivatePageAddress.h"
#include "Support/RecordingWorkspace.h"
#include "Text/Url.h"
#include "WindowJourney.h"

namespace qs {

class AccountSheetTest : public WindowJourney {
protected:
    void begin(TemporaryHostOptions options = {.noAccounts = true}) {
        options.preparePlatform = [this](Platform& platform) {
            platform.keychain = keychain_;
            platform.workspace = workspace_;
            if (!platform.http) platform.http = HttpClient::make({});
        };
        start(std::move(options));
    }

    std::shared_ptr<FormModel> sheet() {
        if (auto shown = host->application().viewer().window()->currentSheet()) return shown;
        const auto window = host->application().preferences().preferenceWindow();
        return window ? window->currentSheet() : nullptr;
    }
    // As the page does with what was typed.
    void enter(const std::string& control, const Value& value) {
        FormControl* found = sheet() ? sheet()->control(control) : nullptr;
        ASSERT_NE(found, nullptr) << control;
        ASSERT_TRUE(found->enabled) << control;
        found->value = value;
        if (const auto change = found->onChange) change(value);
    }
    void press(const std::string& title) {
        pressOnly(title);
        host->settle();
    }
    void pressOnly(const std::string& title) {
        ASSERT_NE(sheet(), nullptr);
        for (const FormButton& button : sheet()->buttons)
            if (button.title == title) {
                const FormButton pressed = button;
                if (pressed.action) pressed.action();
                return;
            }
        FAIL() << "no button " << title;
    }
    std::string value(const std::string& control) {
        const FormControl* found = sheet() ? sheet()->control(control) : nullptr;
        return found ? found->value.stringValue() : "no such control";
    }
    // As the browser does when the provider sends it back.
    void comeBack() {
        const std::string page = addressBehind(workspace_->openedUrls.back());
        auto asked = queryFields(page.substr(page.find('?') + 1));
        Platform::current().http->send({.url = asked["redirect_uri"] + "/?code=one&state=" + asked["state"]},
                                       [](const auto& answer) { EXPECT_TRUE(answer); });
        host->settle();
    }
    std::string errorAt(const std::string& control) {
        const FormControl* found = sheet() ? sheet()->control(control) : nullptr;
        return found ? found->error : "no such control";
    }
    void enterServer(const std::string& side, int port) {
        enter(side + "Host", "127.0.0.1");
        enter(side + "Port", port);
        enter(side + "Security", static_cast<int>(TransportSecurity::None));
        enter(side + "User", "ada");
    }
    AccountBook& book() { return host->engine().accounts(); }

    void show(const std::string& account) {
        host->application().preferences().show("Accounts");
        host->application().preferences().setValue("accounts", Array{account});
    }
    void pressInPane(const std::string& button) {
        host->application().preferences().setValue(button, {});
        host->settle();
    }

    TemporaryFolder place_;
    const std::shared_ptr<HookedKeychain> keychain_ =
        std::make_shared<HookedKeychain>(Keychain::vault({.folder = place_ / "Keychain", .key = {}, .files = nullptr}));
    const std::shared_ptr<RecordingWorkspace> workspace_ = std::make_shared<RecordingWorkspace>();
};

}  // namespace qs
