// The dialogs about a scheduled send. One instance per dialog, kept alive by the sheet that it shows. Main thread.
#pragma once

#include <functional>
#include <memory>

#include "Foundation/Date.h"

namespace qs {

class Window;

// What a dialog ends with.
enum QSSendLaterDialogResult { kSendLaterConfirmed = 0, kSendLaterCancelled = 1, kSendLaterIgnored = 2 };

class QSSendLaterDialogController : public std::enable_shared_from_this<QSSendLaterDialogController> {
public:
    explicit QSSendLaterDialogController(std::shared_ptr<Window> mailWindow) : mailWindow_(std::move(mailWindow)) {}

    // For a message that is sent while its schedule still lies ahead: keep the date (0), cancel (1), send now (2). With
    // a date that doesn't lie ahead, or no window, nothing is asked and the answer is 2 and 1.
    void showSchedulingUpdateDialogForDate(Date date, std::function<void(int code)> completionHandler);

private:
    std::shared_ptr<Window> mailWindow_;
};

}  // namespace qs
