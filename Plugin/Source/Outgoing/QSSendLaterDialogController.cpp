#include "Outgoing/QSSendLaterDialogController.h"

#include "Core/QSPluginDelegate.h"
#include "Core/QSSession.h"
#include "Foundation/DateFormatter.h"
#include "Foundation/Format.h"
#include "Foundation/RunLoop.h"
#include "Models/Form.h"
#include "Models/View.h"
#include "Settings/UserDefaults.h"

namespace qs {

void QSSendLaterDialogController::showSchedulingUpdateDialogForDate(Date date,
                                                                    std::function<void(int)> completionHandler) {
    if (!date.isAheadOf(RunLoop::main().now())) return completionHandler(kSendLaterIgnored);
    if (!mailWindow_) return completionHandler(kSendLaterCancelled);
    QSPluginDelegate::quillsteadDefaults().setObject(date, "QSSendLaterDateKey");

    auto panel = std::make_shared<FormModel>();
    panel->identifier = "SendLaterUpdate";
    panel->title = QSLocalizedString("This message is scheduled");
    panel->message =
        stringWithFormat(QSLocalizedString("It is planned to leave on %@. Keep that time, or send it now?"),
                         {formatDate(date, {"EEEE, d MMMM yyyy, HH:mm", "", ""})});
    panel->buttons = {
        {.title = QSLocalizedString("Keep Schedule"), .code = kSendLaterConfirmed, .isDefault = true, .action = {}},
        {.title = QSLocalizedString("Send Now"), .code = kSendLaterIgnored, .action = {}},
        {.title = QSLocalizedString("Cancel"), .code = kSendLaterCancelled, .isCancel = true, .action = {}}};
    mailWindow_->beginSheet(panel,
                            [self = shared_from_this(), completionHandler](int code) { completionHandler(code); });
}

}  // namespace qs
