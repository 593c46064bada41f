// The headers editor's patch: the switch for read tracking beside the subject, the row of the follow-up. Main thread.
#include <algorithm>

#include "Account/QSBackend.h"
#include "Account/QSQuillsteadUser.h"
#include "Compose/ComposeController.h"
#include "Compose/HeadersEditor.h"
#include "Core/PatchClass.h"
#include "Core/QSPluginDelegate.h"
#include "Core/QSPopoverController.h"
#include "Core/QSSession.h"
#include "Foundation/RunLoop.h"
#include "Mail/MessageHeaders.h"
#include "Models/ModelChanges.h"
#include "Models/View.h"
#include "Outgoing/QSHeaderKeys.h"
#include "Reminder/FollowUpRow.h"
#include "Services/Reachability.h"
#include "Settings/UserDefaults.h"

namespace qs {

namespace {

constexpr TimeInterval kHintDelay = 1.0;
constexpr int kTrailing = 3;
constexpr const char* kTrackingRow = "trackingView";

const Operation<void()> quillstead_configureButtonsAndPopUps{"quillstead_configureButtonsAndPopUps"};

std::shared_ptr<HeaderRow> trackingView(const HeadersEditor& editor) {
    return editor.associated<std::shared_ptr<HeaderRow>>(kTrackingRow);
}

bool isTracking(const HeadersEditor& editor) { return editor.associated<bool>("enableTracking"); }

void setEnableTracking(HeadersEditor& editor, bool enable) {
    editor.setAssociatedObject("enableTracking", enable);
    if (const auto row = trackingView(editor)) row->controls.front().value = enable;
    noteModelChange();
}

// A draft of a tracked message is tracked, too.
bool isTrackedAtFirst(const HeadersEditor& editor) {
    if (QSPluginDelegate::quillsteadDefaults().boolForKey("QSEnableReadTracking")) return true;
    const auto controller = editor.composeController();
    const auto backEnd = controller ? controller->backEnd() : nullptr;
    const auto headers = backEnd ? backEnd->originalMessageHeaders() : nullptr;
    return headers && headers->hasHeaderForKey(QSHeaderKeyXTrackingUUID);
}

std::shared_ptr<HeaderRow> makeTrackingView(const std::weak_ptr<HostObject>& editor) {
    auto row = std::make_shared<HeaderRow>("ComposeHeaderRowView");
    row->identifier = kTrackingRow;
    FormControl button{.kind = FormControl::Kind::CheckBox, .id = "trackingButton"};
    button.label = QSLocalizedString("Track");
    button.toolTip = QSLocalizedString("Learn when this message is read: an invisible picture tells.");
    button.onChange = [editor](const Value& value) {
        if (const auto locked = editor.lock())
            setEnableTracking(static_cast<HeadersEditor&>(*locked), value.boolValue());
    };
    row->controls.push_back(std::move(button));
    return row;
}

void offerTracking(const std::weak_ptr<HostObject>& editor) {
    const auto locked = std::static_pointer_cast<HeadersEditor>(editor.lock());
    const auto controller = locked ? locked->composeController() : nullptr;
    const auto window = controller ? controller->window() : nullptr;
    if (!window || !QSSession::currentIfLoaded()) return;
    auto hint = std::make_shared<QSPopoverInfoView>(
        "EnableTracking",
        QSLocalizedString("Do you want to learn when your messages are read? You can choose for each one with this "
                          "button."),
        std::make_shared<View>("row:" + window->identifier() + ":trackingButton", window));
    hint->actionButtonTitles = {QSLocalizedString("Yes"), QSLocalizedString("No")};
    hint->completionHandler = [editor](int segment) {
        QSPluginDelegate::quillsteadDefaults().setObject(segment == 0, "QSEnableReadTracking");
        if (const auto shown = editor.lock()) setEnableTracking(static_cast<HeadersEditor&>(*shown), segment == 0);
    };
    QSPopoverController::sharedController().queuePopoverView(hint);
}

void refreshEnableTrackingView(HeadersEditor& editor) {
    auto row = trackingView(editor);
    if (!row) {
        row = makeTrackingView(editor.weak_from_this());
        editor.setAssociatedObject(kTrackingRow, row);
        setEnableTracking(editor, isTrackedAtFirst(editor));
    }
    const auto network = Reachability::reachabilityForInternetConnection();
    FormControl& button = row->controls.front();
    // Without a network the switch rests; what it stood for stays.
    button.enabled = QSBackend::isReachable() || (network->isReachable() && !network->isInterventionRequired());
    button.value = button.enabled && isTracking(editor);
    if (button.enabled) RunLoop::main().after(kHintDelay, [weak = editor.weak_from_this()] { offerTracking(weak); });
    noteModelChange();
}

void addUnlessThere(StackView& stack, const std::shared_ptr<HeaderRow>& row) {
    const auto views = stack.views();
    if (std::find(views.begin(), views.end(), row) == views.end()) stack.addView(row, kTrailing);
}

void configureButtonsAndPopUps(HostObject& self) {
    quillstead_configureButtonsAndPopUps(self);
    auto& editor = static_cast<HeadersEditor&>(self);
    if (!QSSession::currentIfLoaded() || !editor.composeController()) return;
    // Nobody is offered what cannot work.
    if (QSBackend::isConfigured() && QSQuillsteadUser::me().hasCredentials()) {
        refreshEnableTrackingView(editor);
        addUnlessThere(*editor.subjectStack(), trackingView(editor));
    }
    if (refreshQuillsteadUtilityView(editor)) addUnlessThere(*editor.contentStack(), followUpRowOf(editor));
}

void load() {
    PatchClass patch("HeadersEditor_Quillstead");
    patch.add(quillstead_configureButtonsAndPopUps, configureButtonsAndPopUps);
    patch.addAsCategoryOf("HeadersEditor");
    patch.exchange("HeadersEditor", headers_editor::configureButtonsAndPopUps.selector(),
                   quillstead_configureButtonsAndPopUps.selector());
    patch.finish();
}

const PatchClassRegistration registration(load);

}  // namespace

}  // namespace qs
