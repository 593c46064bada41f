#include "Models/Alert.h"

#include <algorithm>

#include "Foundation/Assertion.h"
#include "Foundation/RunLoop.h"
#include "Models/ModelChanges.h"
#include "Models/View.h"

namespace qs {
namespace {

std::function<void()>& beepHandler() {
    static std::function<void()> handler;
    return handler;
}

}  // namespace

int Alert::runModal() {
    RunLoop& loop = RunLoop::main();
    assertThat(loop.isMainThread(), "Alerts run on the main thread");
    if (buttons.empty()) buttons.push_back("OK");
    AlertCentre& centre = AlertCentre::shared();
    identifier = ++centre.lastIdentifier_;

    // However the loop ends, the alert is no longer shown and no answer to it is left.
    struct Showing {
        AlertCentre& centre;
        Alert& alert;
        Showing(AlertCentre& c, Alert& a) : centre(c), alert(a) { centre.shown_.push_back(&alert); }
        ~Showing() {
            std::erase(centre.shown_, &alert);
            std::erase_if(centre.answers_, [&](const auto& answer) { return answer.first == alert.identifier; });
            noteModelChange();
        }
    } showing(centre, *this);
    noteModelChange();

    const auto answered = [&] { return std::ranges::find(centre.answers_, identifier, &std::pair<int, int>::first); };
    if (!loop.runUntil([&] { return answered() != centre.answers_.end(); }))
        return kAlertFirstButtonReturn + cancelButtonIndex();
    return kAlertFirstButtonReturn + answered()->second;
}

int Alert::runModalSheetForWindow(Window& window) {
    windowIdentifier = window.identifier();
    return runModal();
}

int Alert::cancelButtonIndex() const {
    const int count = static_cast<int>(buttons.size());
    if (cancelButton >= 0 && cancelButton < count) return cancelButton;
    const auto found = std::ranges::find(buttons, "Cancel");
    return found != buttons.end() ? static_cast<int>(found - buttons.begin()) : std::max(count - 1, 0);
}

AlertCentre& AlertCentre::shared() {
    static AlertCentre centre;
    return centre;
}

bool AlertCentre::answer(int identifier, int buttonIndex, bool suppressionState) {
    const auto found = std::ranges::find(shown_, identifier, [](const Alert* alert) { return alert->identifier; });
    if (found == shown_.end()) return false;
    Alert& alert = **found;
    if (buttonIndex < 0 || buttonIndex >= static_cast<int>(alert.buttons.size())) return false;
    if (alert.showsSuppressionButton) alert.suppressionState = suppressionState;
    answers_.emplace_back(identifier, buttonIndex);
    // Gone from sight at once, though its run returns only after those that were opened over it.
    shown_.erase(found);
    noteModelChange();
    return true;
}

void beep() {
    if (const auto handler = beepHandler()) handler();
}

void setBeepHandler(std::function<void()> handler) { beepHandler() = std::move(handler); }

}  // namespace qs
