// The dialogs about a scheduled send. One instance per dialog, kept alive by the sheet that it shows. The state of its
// controls lives in settings, so that it comes back as it was left. Main thread.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string_view>

#include "Core/QSInterfaceFile.h"
#include "Foundation/Date.h"
#include "Foundation/Value.h"

namespace qs {

class Timer;
class UserDefaultsController;
class Window;

// What a dialog ends with.
enum QSSendLaterDialogResult {
    kSendLaterConfirmed = 0,  // confirmDialog:
    kSendLaterCancelled = 1,  // cancelDialog:
    kSendLaterIgnored = 2     // ignoreDialog:, in the dialog about a schedule that stands: send now
};

class QSSendLaterDialogController : public std::enable_shared_from_this<QSSendLaterDialogController> {
public:
    // Loads the interface file; if that fails there are no panels, and every dialog ends as cancelled.
    explicit QSSendLaterDialogController(const std::shared_ptr<Window>& mailWindow);
    ~QSSendLaterDialogController();

    // Lets the person choose a date. One that lies ahead is shown as it is; without, the dialog opens as it was left.
    // The handler gets the code, and the date that the controls tell at that moment, if they tell one.
    void showSchedulingDialogForDate(std::optional<Date> date,
                                     std::function<void(int code, std::optional<Date> date)> completionHandler);
    // For a message that is sent while its schedule still lies ahead: keep the date (0), cancel (1), send now (2). With
    // a date that doesn't lie ahead nothing is asked and the answer is 2.
    void showSchedulingUpdateDialogForDate(Date date, std::function<void(int code)> completionHandler);

    // Enables the controls of the mode and tells the date that they stand for.
    void updateDialog();

private:
    std::optional<Date> _dateForDialog() const;
    void loadPanels();
    void bindControls();
    void controlTextDidChange(const std::string& control, const Value& value);
    Value valueOf(std::string_view key) const;
    void setValue(Value value, std::string_view key);
    void showDate(std::optional<Date> date);

    const std::weak_ptr<Window> mailWindow_;
    UserDefaultsController& defaultsController_;
    std::shared_ptr<FormModel> dialogPanel_, dialogUpdatePanel_;  // null when the interface file can't be loaded
    std::map<std::string, std::string> bindings_;
    std::shared_ptr<Timer> clockTimer_;
};

}  // namespace qs
