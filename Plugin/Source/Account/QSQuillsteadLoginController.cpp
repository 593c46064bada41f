#include "Account/QSQuillsteadLoginController.h"

#include <algorithm>

#include "Account/QSBackend.h"
#include "Account/QSQuillsteadUser.h"
#include "Core/QSInterfaceFile.h"
#include "Core/QSPluginDelegate.h"
#include "Core/QSRunAlertPanel.h"
#include "Core/QSSession.h"
#include "Foundation/Bundle.h"
#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"
#include "Models/Form.h"
#include "Models/ModelChanges.h"
#include "Models/View.h"
#include "Platform.h"
#include "Workspace/Workspace.h"

namespace qs {

namespace {

constexpr TimeInterval kShowDelay = 0.25, kShake = 0.4, kForgotDelay = 0.1;
constexpr std::ptrdiff_t kShortestPassword = 6;  // characters
constexpr std::size_t kCancelButton = 0, kConfirmButton = 1;
constexpr int kCancelled = 0, kDone = 1;  // codes that the sheets end with
constexpr const char* kConfirmationMail =
    "To validate your email address, you will receive an email with a confirmation link to this address within the "
    "next 5 minutes.";

void openURL(const std::string& url) {
    if (const auto workspace = Platform::current().workspace)
        if (auto opened = workspace->openURL(url); !opened) logError(opened.error().description);
}

std::ptrdiff_t charactersIn(std::string_view text) {
    return std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; });
}

}  // namespace

QSQuillsteadLoginController& QSQuillsteadLoginController::sharedController() {
    return QSSession::current().part<QSQuillsteadLoginController>();
}

void QSQuillsteadLoginController::showAccountForWindow(std::shared_ptr<Window> window, bool registration,
                                                       Completion completionHandler) {
    if (!window || isShowing() || waiting_) return;
    window_ = window;
    completion_ = std::move(completionHandler);
    dialogEmail_ = QSQuillsteadUser::me().email.value_or("");
    dialogPassword_.clear();
    dialogPasswordConfirm_.clear();
    waiting_ = true;
    RunLoop::main().after(kShowDelay, [weak = weak_from_this(), registration] {
        const auto self = weak.lock();
        if (!self) return;
        self->waiting_ = false;
        registration ? self->showRegistrationForm() : self->showLoginForm();
    });
}

void QSQuillsteadLoginController::showRegistrationForm() { show(Form::Registration); }
void QSQuillsteadLoginController::showLoginForm() { show(Form::Login); }

void QSQuillsteadLoginController::show(Form which) {
    const auto window = window_.lock();
    if (!window || processing_) return;
    auto interface = loadInterfaceFile("QuillsteadLogin");
    const auto panel = interface ? interface->find(which == Form::Login ? "loginPanel" : "registrationPanel")
                                 : QSInterface::iterator();
    if (!interface || panel == interface->end()) return logError("FATAL: Failed loading the login view");
    if (form_) {
        changing_ = true;
        window->endSheet(*form_, kCancelled);
        changing_ = false;
    }
    form_ = panel->second.form;
    which_ = which;
    bind(which);
    begin();
}

void QSQuillsteadLoginController::bind(Form which) {
    for (auto& [id, text] : {std::pair{"dialogEmail", &dialogEmail_},
                             {"dialogPassword", &dialogPassword_},
                             {"dialogPasswordConfirm", &dialogPasswordConfirm_}})
        if (FormControl* control = form_->control(id)) {
            control->value = *text;
            control->onChange = [text = text](const Value& value) { *text = value.stringValue(); };
        }
    const auto act = [&](const char* id, void (QSQuillsteadLoginController::*perform)()) {
        if (FormControl* control = form_->control(id))
            control->onChange = [weak = weak_from_this(), perform](const Value&) {
                if (const auto self = weak.lock(); self && !self->processing_) (self.get()->*perform)();
            };
    };
    act("forgotQuillsteadPassword", &QSQuillsteadLoginController::forgotQuillsteadPassword);
    act("openTermsAndConditions", &QSQuillsteadLoginController::openTermsAndConditions);
    act("showRegistrationForm", &QSQuillsteadLoginController::showRegistrationForm);
    act("showLoginForm", &QSQuillsteadLoginController::showLoginForm);
    for (const bool confirmed : {false, true})
        form_->buttons[confirmed ? kConfirmButton : kCancelButton].action = [weak = weak_from_this(), which,
                                                                             confirmed] {
            const auto self = weak.lock();
            if (!self) return;
            which == Form::Login ? self->closeLoginSheet(confirmed) : self->closeRegistrationSheet(confirmed);
        };
}

void QSQuillsteadLoginController::begin() {
    const auto window = window_.lock();
    if (!window) return;
    window->beginSheet(form_, [weak = weak_from_this(), form = form_.get()](int) {
        // By us everything was seen to before; else the window was closed.
        const auto self = weak.lock();
        if (self && !self->changing_ && self->form_.get() == form) self->end(kCancelled, false, std::nullopt);
    });
}

// While the backend is asked nothing can be changed; the word on the button tells what goes on.
void QSQuillsteadLoginController::setProcessing(bool processing) {
    processing_ = processing;
    if (!form_) return;
    for (auto& group : form_->groups)
        for (auto& control : group.controls)
            control.enabled = !processing;
    FormButton& button = form_->buttons[kConfirmButton];
    button.enabled = !processing;
    button.title = QSLocalizedString(which_ == Form::Login ? (processing ? "Signing in..." : "Sign in")
                                                           : (processing ? "Registering..." : "Register"));
    noteModelChange();
}

void QSQuillsteadLoginController::end(int code, bool success, const std::optional<Error>& error) {
    const auto window = window_.lock();
    const auto form = std::exchange(form_, nullptr);
    const auto completion = std::exchange(completion_, nullptr);
    processing_ = false;
    confirmation_.reset();
    dialogPassword_.clear();
    dialogPasswordConfirm_.clear();
    if (window && form) window->endSheet(*form, code);
    if (completion) completion(success, error);
}

// The same sheet shakes its head and comes back without the passwords, then the alert tells why.
void QSQuillsteadLoginController::refuse(const char* title, const std::optional<Error>& error) {
    if (!form_) return;
    dialogPassword_.clear();
    dialogPasswordConfirm_.clear();
    for (const char* id : {"dialogPassword", "dialogPasswordConfirm"})
        if (FormControl* control = form_->control(id)) control->value = "";
    ++form_->refusals;
    form_->identifier += "'";
    setProcessing(false);
    RunLoop::main().after(kShake, [title, text = error ? error->description : std::string()] {
        if (QSSession::currentIfLoaded()) QSRunAlertPanel(QSLocalizedString(title), "%@", {}, {text});
    });
}

void QSQuillsteadLoginController::closeLoginSheet(bool confirmed) {
    if (!form_) return;
    if (!confirmed) return end(kCancelled, false, std::nullopt);
    if (processing_) return;
    setProcessing(true);
    QSQuillsteadUser::me().attemptLoginWithEmail(
        dialogEmail_, dialogPassword_,
        [weak = weak_from_this(), form = form_](bool success, const std::optional<Error>& error) {
            const auto self = weak.lock();
            if (!self || self->form_ != form) return;  // cancelled meanwhile
            if (!success || error) return self->refuse("Sign in Error", error);
            self->loginSucceeded();
        });
}

void QSQuillsteadLoginController::loginSucceeded() {
    auto& user = QSQuillsteadUser::me();
    user.email = dialogEmail_;
    user.password = dialogPassword_;
    user.fetchRemoteInfoNow(true, nullptr);
    end(kDone, true, std::nullopt);
    noteModelChange();
}

void QSQuillsteadLoginController::closeRegistrationSheet(bool confirmed) {
    if (!form_) return;
    if (!confirmed) return end(kCancelled, false, std::nullopt);
    if (processing_) return;
    const auto complain = [](const char* text) {
        QSRunAlertPanel(QSLocalizedString("Password Error"), QSLocalizedString(text), {});
    };
    if (charactersIn(dialogPassword_) < kShortestPassword)
        return complain("Your new password must have at least 6 characters.");
    if (dialogPassword_ != dialogPasswordConfirm_)
        return complain("Your given password confirmation does not match your password.");
    setProcessing(true);
    QSQuillsteadUser::me().registerNewUserWithEmail(
        dialogEmail_, dialogPassword_,
        [weak = weak_from_this(), form = form_](bool success, const std::optional<Error>& error) {
            const auto self = weak.lock();
            if (!self || self->form_ != form) return;
            if (!success || error) return self->refuse("Registration Error", error);
            self->registrationSucceeded();
        });
}

void QSQuillsteadLoginController::registrationSucceeded() {
    QSPluginDelegate::sharedDelegate().setShowLoginNextTime(true);
    auto& user = QSQuillsteadUser::me();
    if (!user.hasCredentials()) user.email = dialogEmail_;  // for the form that asks next
    const auto window = window_.lock();
    confirmation_ = std::make_shared<QSPopoverInfoView>(
        "WaitForConfirmationEmail", QSLocalizedString(kConfirmationMail),
        std::make_shared<View>("sheet:" + (window ? window->identifier() : "") + ":dialogEmail", window));
    confirmation_->showOnlyOnce = false;
    confirmation_->delegate = weak_from_this();
    confirmation_->showPopover();
    if (!confirmation_->isShown()) end(kDone, true, std::nullopt);
}

void QSQuillsteadLoginController::didClosePopoverView(QSPopoverInfoView& view) {
    if (&view == confirmation_.get()) end(kDone, true, std::nullopt);
}

void QSQuillsteadLoginController::forgotQuillsteadPassword() {
    openURL(QSBackend::baseURL() + "/password/email");
    RunLoop::main().after(kForgotDelay, [weak = weak_from_this(), form = form_] {
        const auto self = weak.lock();
        if (self && form && self->form_ == form) self->closeLoginSheet(false);
    });
}

void QSQuillsteadLoginController::openTermsAndConditions() { openURL(QSBackend::baseURL() + "/terms"); }

}  // namespace qs
