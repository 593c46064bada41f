#include "Account/AccountHooks.h"

#include "Account/QSBackend.h"
#include "Account/QSQuillsteadLoginController.h"
#include "Account/QSQuillsteadUser.h"
#include "Core/QSLifecycleHooks.h"
#include "Core/QSSession.h"
#include "Foundation/RunLoop.h"
#include "Models/View.h"
#include "Services/NUKeychain.h"

namespace qs {

namespace {

// Without a backend there is nobody to ask, and nothing worth a line in the log every half minute.
void fetchRemoteInfo(bool now, std::function<void()> completion) {
    RunLoop::main().post([now, completion = std::move(completion)] {
        if (!QSSession::currentIfLoaded() || !QSBackend::isConfigured()) return completion ? completion() : void();
        QSQuillsteadUser::me().fetchRemoteInfoNow(now, [completion](bool, const std::optional<Error>&) {
            if (completion) completion();
        });
    });
}

}  // namespace

void installAccountHooks(QSSession& session) {
    auto& hooks = session.lifecycleHooks();
    hooks.fetchRemoteInfo = fetchRemoteInfo;
    // Nobody is asked to sign in where there is nothing to sign in to.
    hooks.hasCredentials = [] { return !QSBackend::isConfigured() || QSQuillsteadUser::me().hasCredentials(); };
    hooks.userName = [] { return QSQuillsteadUser::me().name; };
    hooks.userEmail = [] { return QSQuillsteadUser::me().email; };
    hooks.showAccount = [](std::shared_ptr<Window> window, bool registration) {
        if (QSBackend::isConfigured())
            QSQuillsteadLoginController::sharedController().showAccountForWindow(std::move(window), registration,
                                                                                 nullptr);
    };
    hooks.saveUser = [] { QSQuillsteadUser::me().save(); };
    hooks.removeKeychainItem = [](const std::string& email) { NUKeychain::removeKeychainItem("Quillstead", email); };
}

}  // namespace qs
