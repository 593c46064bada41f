#include "Models/View.h"

#include <algorithm>
#include <utility>

#include "Foundation/RunLoop.h"
#include "Models/Form.h"
#include "Models/ModelChanges.h"
#include "Models/Popover.h"
#include "Models/Toolbar.h"

namespace qs {
namespace {

constexpr std::string_view kPreferencesWindow = "preferences";

// The completion runs in a turn of its own: whoever ends a sheet is done by then.
void complete(std::function<void(int)> completion, int code) {
    if (!completion) return;
    if (RunLoop* loop = RunLoop::mainIfInstalled())
        loop->post([completion = std::move(completion), code] { completion(code); });
}

void closePopoversOf(const Window* window) {
    const std::vector<Popover*> shown = Popover::allShown();
    for (Popover* popover : shown) {
        const bool stillShown = std::ranges::count(Popover::allShown(), popover) > 0;
        if (stillShown && popover->positioningView()->window().get() == window) popover->close();
    }
}

}  // namespace

View::View(std::string anchor, std::weak_ptr<Window> window, std::string_view className)
    : HostObject(className), anchor_(std::move(anchor)), window_(std::move(window)) {}

Window::Window(std::string identifier) : HostObject("NSWindow"), identifier_(std::move(identifier)) {}

Window::~Window() {
    endAllSheets();
    closePopoversOf(nullptr);  // views no longer see a window that is going
}

void Window::setTitle(std::string title) {
    if (title_ == title) return;
    title_ = std::move(title);
    noteModelChange();
}

void Window::setVisible(bool visible) {
    if (visible_ == visible) return;
    visible_ = visible;
    noteModelChange();
    if (visible) return;
    endAllSheets();
    closePopoversOf(this);
}

void Window::setToolbar(std::shared_ptr<Toolbar> toolbar) {
    toolbar_ = std::move(toolbar);
    noteModelChange();
}

std::shared_ptr<View> Window::titleView() {
    if (identifier_ == kPreferencesWindow) return nullptr;
    if (!titleView_)
        titleView_ =
            std::make_shared<View>("title:" + identifier_, std::static_pointer_cast<Window>(shared_from_this()));
    return titleView_;
}

void Window::beginSheet(std::shared_ptr<FormModel> form, std::function<void(int code)> completion) {
    if (!form) return complete(std::move(completion), kSheetCancelled);
    sheets_.push_back({std::move(form), std::move(completion)});
    noteModelChange();
}

void Window::endSheet(const FormModel& form, int code) {
    const auto sheet = std::ranges::find_if(sheets_, [&](const Sheet& s) { return s.form.get() == &form; });
    if (sheet == sheets_.end()) return;
    const Sheet ended = std::move(*sheet);  // keeps the form, which may be `form`, until here is done
    sheets_.erase(sheet);
    noteModelChange();
    complete(ended.completion, code);
}

std::shared_ptr<FormModel> Window::currentSheet() const { return sheets_.empty() ? nullptr : sheets_.front().form; }

void Window::endAllSheets() {
    if (sheets_.empty()) return;
    for (Sheet& sheet : std::exchange(sheets_, {}))
        complete(std::move(sheet.completion), kSheetCancelled);
    noteModelChange();
}

}  // namespace qs
