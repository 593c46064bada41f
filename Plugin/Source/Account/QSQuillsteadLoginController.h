// The dialogs of the account: sign in, and register. Sheets on a window, one at a time. Main thread.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Core/QSPopoverInfoView.h"
#include "Foundation/Result.h"

namespace qs {

class Window;
struct FormModel;

class QSQuillsteadLoginController : public QSPopoverInfoViewDelegate,
                                    public std::enable_shared_from_this<QSQuillsteadLoginController> {
public:
    using Completion = std::function<void(bool success, const std::optional<Error>& error)>;

    static QSQuillsteadLoginController& sharedController();  // the session's

    bool isShowing() const { return form_ != nullptr; }
    // Does nothing without a window or while a dialog is shown. The completion, which may be null, comes once, with
    // what came of it.
    void showAccountForWindow(std::shared_ptr<Window> window, bool registration, Completion completionHandler);
    void showRegistrationForm();
    void showLoginForm();

    void forgotQuillsteadPassword();
    void openTermsAndConditions();
    void closeLoginSheet(bool confirmed);
    void closeRegistrationSheet(bool confirmed);

    void didClosePopoverView(QSPopoverInfoView& view) override;  // the one that tells of the confirmation mail

private:
    enum class Form { Login, Registration };
    void show(Form which);
    void bind(Form which);
    void begin();
    void setProcessing(bool processing);
    void end(int code, bool success, const std::optional<Error>& error);
    void refuse(const char* title, const std::optional<Error>& error);
    void loginSucceeded();
    void registrationSucceeded();

    std::weak_ptr<Window> window_;
    Completion completion_;
    std::shared_ptr<FormModel> form_;  // while a sheet is shown
    Form which_ = Form::Login;
    std::string dialogEmail_, dialogPassword_, dialogPasswordConfirm_;
    bool processing_ = false, waiting_ = false;  // for the backend; for the moment when the form appears
    bool changing_ = false;                      // one sheet goes so that another can come
    std::shared_ptr<QSPopoverInfoView> confirmation_;
};

}  // namespace qs
