#include "Account/AccountSettings.h"

#include "Account/QSBackend.h"
#include "Account/QSQuillsteadLoginController.h"
#include "Account/QSQuillsteadUser.h"
#include "Application/Preferences.h"
#include "Core/QSPluginDelegate.h"
#include "Core/QSSession.h"
#include "Foundation/Format.h"
#include "Models/Form.h"
#include "Models/ModelChanges.h"
#include "Models/View.h"
#include "Settings/UserDefaults.h"

namespace qs {

namespace {

std::string whoIsSignedIn(const QSQuillsteadUser& user) {
    if (!QSBackend::isConfigured() && !QSPluginDelegate::quillsteadDefaults().stringForKey("QSBackendURL").empty())
        return QSLocalizedString(
            "This address can't be used. It has to begin with https://, as your password goes there.");
    if (!QSBackend::isConfigured())
        return QSLocalizedString("Read tracking needs a backend. Enter the address of yours, or leave this empty.");
    if (!user.hasCredentials()) return QSLocalizedString("Nobody is signed in.");
    if (user.name && !user.name->empty())
        return stringWithFormat(QSLocalizedString("Signed in as %@, %@."), {*user.name, *user.email});
    return stringWithFormat(QSLocalizedString("Signed in as %@."), {*user.email});
}

FormControl button(const char* id, const char* label, void (*perform)()) {
    FormControl control{.kind = FormControl::Kind::Button, .id = id};
    control.label = QSLocalizedString(label);
    control.onChange = [perform](const Value&) { perform(); };
    return control;
}

void showDialog(bool registration) {
    const auto panel = preferences::sharedPreferences.onClass(NSClassFromString("NSPreferences"));
    QSQuillsteadLoginController::sharedController().showAccountForWindow(panel ? panel->preferencesPanel() : nullptr,
                                                                         registration, nullptr);
}

// Who changes the backend is signed out: his address and password are for the other one alone.
void backendDidChange(const Value& value) {
    const std::string before = QSBackend::baseURL();
    QSPluginDelegate::quillsteadDefaults().setObject(value, "QSBackendURL");
    if (QSBackend::baseURL() == before) return;
    QSQuillsteadUser::me().resetUser();
    QSQuillsteadUser::me().save();
    noteModelChange();
}

}  // namespace

FormGroup accountGroup() {
    const auto& user = QSQuillsteadUser::me();
    FormGroup group{.title = QSLocalizedString("Account")};
    FormControl who{.kind = FormControl::Kind::Text, .id = "account"};
    who.value = whoIsSignedIn(user);
    FormControl backend{.kind = FormControl::Kind::TextField, .id = "QSBackendURL"};
    backend.label = QSLocalizedString("Backend");
    backend.placeholder = "https://";
    backend.value = QSPluginDelegate::quillsteadDefaults().stringForKey("QSBackendURL");
    backend.onChange = backendDidChange;
    group.controls = {std::move(who), std::move(backend)};
    if (user.hasCredentials())
        group.controls.push_back(button("signOut", "Sign out", [] {
            QSQuillsteadUser::me().resetUser();
            QSQuillsteadUser::me().save();
            noteModelChange();
        }));
    else if (QSBackend::isConfigured()) {
        group.controls.push_back(button("signIn", "Sign in…", [] { showDialog(false); }));
        group.controls.push_back(button("register", "Register…", [] { showDialog(true); }));
    }
    return group;
}

}  // namespace qs
