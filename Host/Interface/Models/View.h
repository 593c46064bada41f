// What a plug-in can point at or hang something on: views and windows, as models without any drawing.
//
// A View stands for a place in the page by its anchor name ("toolbar:viewer:Notes", "title:compose-3"); the page knows
// where that is. A Window owns its toolbar, its title view and the sheets that hang on it.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Runtime.h"

namespace qs {

class Toolbar;
class Window;
struct FormModel;

class View : public HostObject {
public:
    View(std::string anchor, std::weak_ptr<Window> window, std::string_view className = "NSView");
    const std::string& anchor() const { return anchor_; }
    std::shared_ptr<Window> window() const { return window_.lock(); }

private:
    std::string anchor_;
    std::weak_ptr<Window> window_;
};

// Posted on NotificationCenter::defaultCenter(), main thread, object: the window that now gets the keys. This host
// tells it of the preferences.
inline constexpr std::string_view NSWindowDidBecomeKeyNotification = "NSWindowDidBecomeKeyNotification";

// Results of sheets are integers; these are those of the two usual buttons where nothing else is agreed.
enum SheetCode { kSheetConfirmed = 0, kSheetCancelled = 1 };

class Window : public HostObject {
public:
    // Class "NSWindow". `identifier` is unique among open windows ("viewer", "compose-3").
    explicit Window(std::string identifier);
    ~Window() override;  // ends its sheets, closes the popovers that point at it

    const std::string& identifier() const { return identifier_; }
    const std::string& title() const { return title_; }
    void setTitle(std::string title);
    bool isVisible() const { return visible_; }
    void setVisible(bool visible);  // false closes it: sheets end, popovers close
    std::shared_ptr<Toolbar> toolbar() const { return toolbar_; }
    void setToolbar(std::shared_ptr<Toolbar> toolbar);
    // The view in the middle of the title bar; null for the preferences, which have none.
    std::shared_ptr<View> titleView();

    // A form shown as a sheet on this window, one at a time, others wait. `completion` gets the code, on the main
    // queue, once; closing the window ends its sheets with kSheetCancelled.
    void beginSheet(std::shared_ptr<FormModel> form, std::function<void(int code)> completion);
    void endSheet(const FormModel& form, int code);
    std::shared_ptr<FormModel> currentSheet() const;
    void endAllSheets();

private:
    struct Sheet {
        std::shared_ptr<FormModel> form;
        std::function<void(int)> completion;
    };
    std::string identifier_, title_;
    bool visible_ = false;
    std::shared_ptr<Toolbar> toolbar_;
    std::shared_ptr<View> titleView_;
    std::vector<Sheet> sheets_;
};

}  // namespace qs
