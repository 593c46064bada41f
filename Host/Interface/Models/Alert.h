// Alerts: a short title, one sentence, some buttons. Modal: runModal() spins the run loop until it is answered, as long
// as that takes; the rest of the program goes on meanwhile.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace qs {

class Window;

// Codes of the buttons, in order: 1000, 1001, 1002.
inline constexpr int kAlertFirstButtonReturn = 1000;
inline constexpr int kAlertSecondButtonReturn = 1001;
inline constexpr int kAlertThirdButtonReturn = 1002;

struct Alert {
    std::string windowTitle, messageText, informativeText;
    std::string iconName;
    std::vector<std::string> buttons;  // empty: one button "OK"
    int cancelButton = -1;             // the index of the one that Escape presses; -1: "Cancel", else the last
    bool showsSuppressionButton = false;
    bool suppressionState = false;  // the check box, before and after
    int identifier = 0;             // given when it is shown
    std::string windowIdentifier;   // of the window that it is a sheet of; empty for one of the application

    // Main thread. Returns the code of the pressed button; that of the cancel button when the program is stopped while
    // it waits.
    int runModal();
    int runModalSheetForWindow(Window& window);
    int cancelButtonIndex() const;
};

// The alerts that are shown now, for who draws them and answers them. Main thread.
class AlertCentre {
public:
    static AlertCentre& shared();
    const std::vector<Alert*>& shown() const { return shown_; }
    // False when no such alert is shown any more or it has no such button.
    bool answer(int identifier, int buttonIndex, bool suppressionState);

private:
    friend struct Alert;
    std::vector<Alert*> shown_;
    std::vector<std::pair<int, int>> answers_;
    int lastIdentifier_ = 0;
};

// The host's beep: a short sign in the page that something could not be done.
void beep();
void setBeepHandler(std::function<void()> handler);

}  // namespace qs
