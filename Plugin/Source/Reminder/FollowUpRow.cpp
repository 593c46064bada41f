#include "Reminder/FollowUpRow.h"

#include "Compose/ComposeController.h"
#include "Compose/HeadersEditor.h"
#include "Core/QSPluginDelegate.h"
#include "Core/QSPopoverController.h"
#include "Core/QSSession.h"
#include "Core/RelativeDateText.h"
#include "Foundation/RunLoop.h"
#include "Mail/MessageHeaders.h"
#include "Models/ModelChanges.h"
#include "Models/View.h"
#include "Reminder/QSRemindersManager.h"
#include "Settings/UserDefaults.h"

namespace qs {

namespace {

using Kind = FormControl::Kind;

constexpr TimeInterval kHintDelay = 1.0, kHour = 3600;
constexpr const char* kUtilityView = "utilityView";
constexpr const char* kFollowUpDate = "followUpDate";
constexpr const char* kEnableFollowUp = "enableFollowUp";
constexpr const char* kDistanceKey = "QSFollowUpTimeDistance";
constexpr std::int64_t kCustom = 0;  // hours: the person chooses a date
constexpr int kBelow = 1;

// Of the row, in this order.
enum Place { kSwitch, kDistance, kDateText, kDatePicker };

struct Choice {
    const char* title;
    std::int64_t hours;
};
constexpr Choice kChoices[] = {
    {"in 2 hours", 2},     {"in 4 hours", 4},     {"tomorrow", 24},      {"the day after tomorrow", 48},
    {"in one week", 168},  {"in two weeks", 336}, {"in one month", 720}, {"", -1},
    {"Custom...", kCustom}};

using EditorRef = std::weak_ptr<HostObject>;

UserDefaults& settings() { return QSPluginDelegate::quillsteadDefaults(); }

std::shared_ptr<HeaderRow> utilityView(const HeadersEditor& editor) {
    return editor.associated<std::shared_ptr<HeaderRow>>(kUtilityView);
}

void setFollowUpDate(HeadersEditor& editor, Date date) {
    editor.setAssociatedObject(kFollowUpDate, std::optional(date));
    const auto row = utilityView(editor);
    if (!row || row->controls.empty()) return;
    row->controls[kDateText].value = relativeDateText(date, RunLoop::main().now());
    row->controls[kDatePicker].value = date;
    noteModelChange();
}

// The picker stands in the place of the date's text while the person chooses one.
void setShowsPicker(HeadersEditor& editor, bool shows) {
    auto& controls = utilityView(editor)->controls;
    controls[kDateText].hidden = shows;
    controls[kDatePicker].hidden = !shows;
    noteModelChange();
}

Date dateOfDistance() {
    return RunLoop::main().now() + static_cast<double>(settings().integerForKey(kDistanceKey)) * kHour;
}

void toggleFollowUp(HeadersEditor& editor, bool enable) {
    editor.setAssociatedObject(kEnableFollowUp, enable);
    utilityView(editor)->controls[kSwitch].value = enable;
    noteModelChange();
}

// It stays as it was until another one is picked.
void setCustomFollowUpTime(HeadersEditor& editor) { setShowsPicker(editor, true); }

void didChangeFollowUpTimeDistance(HeadersEditor& editor) {
    if (settings().integerForKey(kDistanceKey) == kCustom) return setCustomFollowUpTime(editor);
    setFollowUpDate(editor, dateOfDistance());
    setShowsPicker(editor, false);
}

template <class Act>
auto onEditor(const EditorRef& editor, Act act) {
    return [editor, act](const Value& value) {
        const auto locked = editor.lock();
        if (locked && QSSession::currentIfLoaded()) act(static_cast<HeadersEditor&>(*locked), value);
    };
}

FormControl distanceControl(const EditorRef& editor) {
    FormControl distance{.kind = Kind::PopUp, .id = "followUpTimeDistance"};
    distance.toolTip = QSLocalizedString("When to follow up");
    for (const Choice& choice : kChoices)
        distance.options.push_back({.title = *choice.title ? QSLocalizedString(choice.title) : std::string(),
                                    .value = choice.hours,
                                    .imageName = {},
                                    .separator = !*choice.title});
    distance.value = settings().integerForKey(kDistanceKey);
    distance.onChange = onEditor(editor, [](HeadersEditor& shown, const Value& hours) {
        settings().setObject(hours.integerValue(), kDistanceKey);
        didChangeFollowUpTimeDistance(shown);
    });
    return distance;
}

std::shared_ptr<HeaderRow> makeRow(const EditorRef& editor) {
    auto row = std::make_shared<HeaderRow>("ComposeHeaderRowView");
    row->identifier = kUtilityView;
    FormControl enable{.kind = Kind::CheckBox, .id = kEnableFollowUp, .label = QSLocalizedString("Follow-Up")};
    enable.value = false;
    enable.enabled = QSRemindersManager::sharedManager().hasReminderService();
    enable.onChange =
        onEditor(editor, [](HeadersEditor& shown, const Value& value) { toggleFollowUp(shown, value.boolValue()); });
    FormControl picker{.kind = Kind::DateTime, .id = "followUpDatePicker"};
    picker.toolTip = QSLocalizedString("Date of the follow-up");
    picker.onChange = onEditor(editor, [](HeadersEditor& shown, const Value& value) {
        if (const auto date = value.dateValue()) setFollowUpDate(shown, *date);
    });
    row->controls = {
        std::move(enable), distanceControl(editor), {.kind = Kind::Text, .id = "followUpDateField"}, std::move(picker)};
    return row;
}

// Of the message that is opened again; null for a new one.
std::shared_ptr<QSReminder> followUpOfOriginal(const HeadersEditor& editor) {
    const auto controller = editor.composeController();
    const auto backEnd = controller ? controller->backEnd() : nullptr;
    const auto headers = backEnd && backEnd->originalMessage() ? backEnd->originalMessageHeaders() : nullptr;
    if (!headers) return nullptr;
    return QSRemindersManager::sharedManager().reminderWithIdentifier(
        headers->firstHeaderForKey(MCHeaderKeyXUniversallyUniqueIdentifier));
}

void offerDeletionOnReply(const EditorRef& editor) {
    const auto locked = std::static_pointer_cast<HeadersEditor>(editor.lock());
    const auto controller = locked ? locked->composeController() : nullptr;
    const auto window = controller ? controller->window() : nullptr;
    if (!window || !QSSession::currentIfLoaded()) return;
    auto hint = std::make_shared<QSPopoverInfoView>(
        "EnableFollowUp",
        QSLocalizedString("Activate a follow-up reminder to make sure you don't forget about this email.\n\nDelete "
                          "reminders when receiving a reply?"),
        std::make_shared<View>("row:" + window->identifier() + ":" + kEnableFollowUp, window));
    hint->preferredEdge = kBelow;
    hint->actionButtonTitles = {QSLocalizedString("Yes"), QSLocalizedString("No")};
    hint->completionHandler = [](int segment) {
        settings().setObject(segment == 0, "QSDeleteFollowUpReminderOnReply");
    };
    QSPopoverController::sharedController().queuePopoverView(hint);
}

}  // namespace

bool refreshQuillsteadUtilityView(HeadersEditor& editor) {
    const bool isNew = !utilityView(editor) && settings().boolForKey("QSShowFollowUpControl");
    if (isNew) {
        editor.setAssociatedObject(kUtilityView, makeRow(editor.weak_from_this()));
        didChangeFollowUpTimeDistance(editor);
        RunLoop::main().after(kHintDelay, [weak = editor.weak_from_this()] { offerDeletionOnReply(weak); });
    }
    setFollowUpDate(editor, dateOfDistance());
    const auto followUp = isNew ? followUpOfOriginal(editor) : nullptr;
    if (!followUp) return isNew;
    toggleFollowUp(editor, true);
    utilityView(editor)->controls[kDistance].value = kCustom;
    setCustomFollowUpTime(editor);
    // Sending the message again must not move the date that was chosen for it.
    if (const auto due = followUp->dueDate()) setFollowUpDate(editor, *due);
    return true;
}

std::optional<Date> followUpDateOf(const HeadersEditor& editor) {
    return editor.associated<std::optional<Date>>(kFollowUpDate);
}

std::shared_ptr<HeaderRow> followUpRowOf(const HeadersEditor& editor) { return utilityView(editor); }

}  // namespace qs
