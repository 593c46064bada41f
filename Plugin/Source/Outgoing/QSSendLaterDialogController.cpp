#include "Outgoing/QSSendLaterDialogController.h"

#include <algorithm>

#include "Core/QSPluginDelegate.h"
#include "Core/QSSession.h"
#include "Core/QSWorkingHours.h"
#include "Foundation/DateFormatter.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"
#include "Models/Form.h"
#include "Models/ModelChanges.h"
#include "Models/View.h"
#include "Outgoing/SendLaterDates.h"
#include "Settings/UserDefaults.h"

namespace qs {

namespace {

constexpr TimeInterval kTick = 1.0;
constexpr std::string_view kModeKey = "QSSendLaterModeKey", kDateKey = "QSSendLaterDateKey";
constexpr std::string_view kExactDatePicker = "exactDatePicker", kTimePicker = "specialDateTimePicker";
constexpr std::string_view kDateText = "dateTextField";

// The controls that can be used in each mode. A field for a number has its stepper in it.
constexpr std::pair<std::string_view, int> kModeOfControl[] = {{"specialDateSelector", kSendLaterSpecialDate},
                                                               {kTimePicker, kSendLaterSpecialDate},
                                                               {"distantDateField", kSendLaterDistance},
                                                               {"distantDateScaleSelector", kSendLaterDistance},
                                                               {kExactDatePicker, kSendLaterExactDate}};

constexpr std::pair<std::string_view, int> kCodes[] = {{"confirmDialog:", kSendLaterConfirmed},
                                                       {"cancelDialog:", kSendLaterCancelled},
                                                       {"ignoreDialog:", kSendLaterIgnored}};

// "Monday, 23 November 2026 at 09:00", as the person's language writes it. Without seconds: the text is read out when
// it changes.
std::string dateInWords(Date date) {
    static const std::string pattern = localizedDatePattern("yMMMMEEEEdjm");
    return formatDate(date, {.pattern = pattern, .locale = {}});
}

std::shared_ptr<FormModel> panelNamed(QSInterface& interface, std::string_view name) {
    const auto found = interface.find(name);
    if (found == interface.end()) return nullptr;
    const QSInterfacePanel& panel = found->second;
    for (std::size_t i = 0; i < panel.actions.size(); ++i)
        for (const auto& [action, code] : kCodes)
            if (panel.actions[i] == action) panel.form->buttons[i].code = code;
    return panel.form;
}

bool isWhole(FormModel& panel, const std::map<std::string, std::string>& bindings) {
    return panel.control(kDateText) &&
           std::all_of(std::begin(kModeOfControl), std::end(kModeOfControl),
                       [&](const auto& each) { return panel.control(each.first) != nullptr; }) &&
           std::all_of(bindings.begin(), bindings.end(),
                       [&](const auto& each) { return panel.control(each.first) != nullptr; });
}

}  // namespace

QSSendLaterDialogController::QSSendLaterDialogController(const std::shared_ptr<Window>& mailWindow)
    : mailWindow_(mailWindow), defaultsController_(QSPluginDelegate::quillsteadDefaultsController()) {
    loadPanels();
    updateDialog();
}

QSSendLaterDialogController::~QSSendLaterDialogController() {
    if (clockTimer_) clockTimer_->invalidate();
}

void QSSendLaterDialogController::loadPanels() {
    auto interface = loadInterfaceFile("SendLaterDialog");
    auto panel = interface ? panelNamed(*interface, "dialogPanel") : nullptr;
    auto updatePanel = interface ? panelNamed(*interface, "dialogUpdatePanel") : nullptr;
    if (!panel || !updatePanel || !isWhole(*panel, (*interface)["dialogPanel"].bindings))
        return logError("FATAL: Failed loading send later view nib file");
    dialogPanel_ = std::move(panel);
    dialogUpdatePanel_ = std::move(updatePanel);
    bindings_ = (*interface)["dialogPanel"].bindings;
}

Value QSSendLaterDialogController::valueOf(std::string_view key) const {
    return defaultsController_.defaults().objectForKey(key);
}

void QSSendLaterDialogController::setValue(Value value, std::string_view key) {
    defaultsController_.defaults().setObject(std::move(value), key);
}

void QSSendLaterDialogController::bindControls() {
    for (const auto& [id, keyPath] : bindings_) {
        FormControl* control = dialogPanel_->control(id);
        control->value = defaultsController_.valueForKeyPath(keyPath);
        control->onChange = [self = weak_from_this(), id = id](const Value& value) {
            const auto controller = self.lock();
            if (controller && QSSession::currentIfLoaded()) controller->controlTextDidChange(id, value);
        };
    }
}

void QSSendLaterDialogController::controlTextDidChange(const std::string& id, const Value& value) {
    FormControl& control = *dialogPanel_->control(id);
    const auto date = value.dateValue();
    if (date && control.earliest && *date < *control.earliest) control.value = *control.earliest;
    defaultsController_.setValueForKeyPath(control.value, bindings_.at(id));
    updateDialog();
}

void QSSendLaterDialogController::showSchedulingDialogForDate(
    std::optional<Date> date, std::function<void(int, std::optional<Date>)> completionHandler) {
    const auto window = mailWindow_.lock();
    if (!window || !dialogPanel_) return completionHandler(kSendLaterCancelled, std::nullopt);
    const Date now = RunLoop::main().now();
    const bool isAhead = date && date->isAheadOf(now);
    if (isAhead) setValue(int{kSendLaterExactDate}, kModeKey);
    setValue(isAhead ? *date : now, kDateKey);
    bindControls();
    dialogPanel_->control(kExactDatePicker)->earliest = now;

    clockTimer_ = RunLoop::main().every(kTick, [self = weak_from_this()] {
        const auto controller = self.lock();
        if (controller && QSSession::currentIfLoaded()) controller->updateDialog();
    });
    updateDialog();
    window->beginSheet(dialogPanel_, [self = shared_from_this(), completionHandler](int code) {
        self->clockTimer_->invalidate();
        self->clockTimer_.reset();
        // The window of a program that ends closes when the plug-in may have gone, and its settings with it.
        if (QSSession::currentIfLoaded()) completionHandler(code, self->_dateForDialog());
    });
}

void QSSendLaterDialogController::updateDialog() {
    if (!dialogPanel_) return;
    const std::int64_t mode = valueOf(kModeKey).integerValue();
    for (const auto& [id, modeOfControl] : kModeOfControl)
        dialogPanel_->control(id)->enabled = mode == modeOfControl;
    showDate(_dateForDialog());
}

// Mail that is planned for a time that has passed leaves at once. Nobody should find that out afterwards.
void QSSendLaterDialogController::showDate(std::optional<Date> date) {
    const bool isAhead = date && date->isAheadOf(RunLoop::main().now());
    std::string text = date ? dateInWords(*date) : QSLocalizedString("Choose when it shall leave.");
    if (date && !isAhead)
        text += "\n" + QSLocalizedString("That time is not ahead any more: the message will leave at once.");
    const std::string button = QSLocalizedString(date && !isAhead ? "Send Now" : "Schedule");

    Value& shown = dialogPanel_->control(kDateText)->value;
    const auto confirm = std::find_if(dialogPanel_->buttons.begin(), dialogPanel_->buttons.end(),
                                      [](const FormButton& each) { return each.isDefault; });
    if (shown == Value(text) && (confirm == dialogPanel_->buttons.end() || confirm->title == button)) return;
    shown = text;
    if (confirm != dialogPanel_->buttons.end()) confirm->title = button;
    noteModelChange();
}

std::optional<Date> QSSendLaterDialogController::_dateForDialog() const {
    const Date now = RunLoop::main().now();
    switch (valueOf(kModeKey).integerValue()) {
    case kSendLaterSpecialDate: {
        auto time = valueOf("QSSendLaterSpecialTimeKey").dateValue();
        if (!time) time = dialogPanel_->control(kTimePicker)->value.dateValue();
        if (!time) return std::nullopt;
        return specialSendDate(now, *time, valueOf("QSSendLaterSpecialDateKey").integerValue(),
                               workingHoursOfSettings());
    }
    case kSendLaterDistance:
        return distantSendDate(now, valueOf("QSSendLaterDistanceCounterKey").integerValue(),
                               valueOf("QSSendLaterDistanceScaleKey").integerValue());
    case kSendLaterExactDate: return dialogPanel_->control(kExactDatePicker)->value.dateValue();
    default: return std::nullopt;
    }
}

void QSSendLaterDialogController::showSchedulingUpdateDialogForDate(Date date,
                                                                    std::function<void(int)> completionHandler) {
    if (!date.isAheadOf(RunLoop::main().now())) return completionHandler(kSendLaterIgnored);
    const auto window = mailWindow_.lock();
    if (!window || !dialogUpdatePanel_) return completionHandler(kSendLaterCancelled);
    setValue(date, kDateKey);
    dialogUpdatePanel_->message = stringWithFormat(dialogUpdatePanel_->message, {dateInWords(date)});
    window->beginSheet(dialogUpdatePanel_,
                       [self = shared_from_this(), completionHandler](int code) { completionHandler(code); });
}

}  // namespace qs
