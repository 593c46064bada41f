// The compose windows of the application, and which window is in front.
#include <algorithm>

#include "ComposeWindow.h"
#include "Foundation/RunLoop.h"
#include "MailApplicationObject.h"
#include "Models/ModelChanges.h"
#include "Models/View.h"
#include "ViewerObject.h"

namespace qs {

std::shared_ptr<ComposeWindow> MailApplicationObject::composeWindow(std::string_view windowIdentifier) const {
    const auto found = std::ranges::find_if(
        composeWindows_, [&](const auto& compose) { return compose->window()->identifier() == windowIdentifier; });
    return found == composeWindows_.end() ? nullptr : *found;
}

void MailApplicationObject::bringToFront(std::string_view windowIdentifier) {
    const auto compose = composeWindow(windowIdentifier);
    viewerInFront_ = !compose;
    if (compose && compose != composeWindows_.back()) {
        std::erase(composeWindows_, compose);
        composeWindows_.push_back(compose);
    }
    noteModelChange();
}

std::shared_ptr<ComposeWindow> MailApplicationObject::compose(const ComposeRequest& request) {
    if (terminated_) return nullptr;
    auto opened = ComposeWindow::open(*this, request);
    if (opened) return *opened;
    tell("The message can't be opened", opened.error().description);
    return nullptr;
}

void MailApplicationObject::composeWindowDidOpen(std::shared_ptr<ComposeWindow> window) {
    if (!window || std::ranges::find(composeWindows_, window) != composeWindows_.end()) return;
    composeWindows_.push_back(window);
    viewerInFront_ = false;
    showWindowsInMenu();
    requestFromPage("focus", window->window()->identifier());
    noteModelChange();
}

void MailApplicationObject::composeWindowDidClose(const ComposeWindow& window) {
    const auto found =
        std::ranges::find_if(composeWindows_, [&](const auto& compose) { return compose.get() == &window; });
    if (found == composeWindows_.end()) return;
    // It is in the midst of closing: its last reference goes in a later turn.
    RunLoop::main().post([going = *found] {});
    composeWindows_.erase(found);
    if (composeWindows_.empty()) viewerInFront_ = true;
    showWindowsInMenu();
    noteModelChange();
}

std::vector<std::shared_ptr<Window>> MailApplicationObject::windowsByAge() const {
    std::vector<std::shared_ptr<Window>> windows;
    for (const auto& compose : composeWindows_)
        windows.push_back(compose->window());
    // By their numbers: "compose-9" is older than "compose-10".
    std::ranges::sort(windows, [](const auto& a, const auto& b) {
        const std::string &x = a->identifier(), &y = b->identifier();
        return x.size() != y.size() ? x.size() < y.size() : x < y;
    });
    return windows;
}

void MailApplicationObject::showWindowsInMenu() { menu_.showWindows(windowsByAge()); }

void MailApplicationObject::frontWindowFirst(Window& window) {
    bringToFront(window.identifier());
    requestFromPage("focus", window.identifier());
}

void MailApplicationObject::selectNextWindow() {
    std::vector<std::shared_ptr<Window>> windows = windowsByAge();
    windows.insert(windows.begin(), viewer_->window());
    const auto front =
        std::ranges::find(windows, frontWindowIdentifier(), [](const auto& window) { return window->identifier(); });
    const bool isLast = front == windows.end() || front + 1 == windows.end();
    frontWindowFirst(isLast ? *windows.front() : **(front + 1));
}

}  // namespace qs
