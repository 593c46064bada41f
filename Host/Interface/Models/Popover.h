// Popovers: a small card that points at a view, with a text, perhaps a picture, a countdown and buttons.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Foundation/Runtime.h"

namespace qs {

class View;
struct FormModel;
struct RowList;

struct PopoverContent {
    std::string text;
    std::string imageName;      // or a data URL with a picture
    std::string countdownText;  // shown large when not empty
    std::vector<std::string> buttonTitles;
    std::vector<std::string> buttonIcons;  // by index; may be shorter
    std::shared_ptr<FormModel> form;       // controls instead of a text
    std::shared_ptr<const RowList> list;   // likewise, a list
};

class Popover : public HostObject {
public:
    // Class "NSPopover".
    explicit Popover(std::string identifier);
    const std::string& identifier() const { return identifier_; }

    PopoverContent content;                    // call noteModelChange() after changing it while shown
    std::function<void(int button)> onButton;  // the popover stays until it is closed
    std::function<void()> onClose;             // however it came to close; once per showing

    bool isShown() const { return shown_; }
    std::shared_ptr<View> positioningView() const { return view_; }
    int preferredEdge() const { return edge_; }  // 0 left, 1 below, 2 right, 3 above
    // Does nothing when the view's window is not visible.
    void showRelativeTo(std::shared_ptr<View> view, int preferredEdge);
    void close();

    // All that are shown, oldest first.
    static const std::vector<Popover*>& allShown();
    ~Popover() override;

private:
    std::string identifier_;
    std::shared_ptr<View> view_;
    int edge_ = 3;
    bool shown_ = false;
};

}  // namespace qs
