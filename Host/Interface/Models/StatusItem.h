// Items in the status bar, which the page shows at the end of its title bar, and a desktop in its panel: a picture that
// does something when it is clicked. Main thread.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Runtime.h"

namespace qs {

class View;
class Window;

class StatusItem : public HostObject {
public:
    // Class "NSStatusItem"; made by the bar.
    StatusItem(int number, const std::shared_ptr<Window>& bar);

    const std::string& identifier() const { return identifier_; }  // "status:2"; also its view's anchor
    const std::shared_ptr<View>& view() const { return view_; }
    const std::string& title() const { return title_; }  // told where the picture can't be seen
    void setTitle(std::string title);
    const std::string& imageName() const { return imageName_; }  // "plugin:NAME"
    void setImageName(std::string name);
    const std::string& action() const { return action_; }  // a selector's name
    void setAction(std::string action) { action_ = std::move(action); }
    std::shared_ptr<HostObject> target() const { return target_.lock(); }
    void setTarget(std::weak_ptr<HostObject> target) { target_ = std::move(target); }

private:
    std::string identifier_, title_, imageName_, action_;
    std::shared_ptr<View> view_;
    std::weak_ptr<HostObject> target_;
};

// Posted on NotificationCenter::defaultCenter(), main thread, when items came, went or changed.
inline constexpr std::string_view StatusBarDidChangeNotification = "StatusBarDidChange";

class StatusBar {
public:
    static StatusBar& systemStatusBar();  // of the running host
    StatusBar();
    ~StatusBar();

    // As wide as it is high.
    std::shared_ptr<StatusItem> squareStatusItem();
    void removeStatusItem(const StatusItem& item);
    const std::vector<std::shared_ptr<StatusItem>>& statusItems() const { return items_; }
    std::shared_ptr<StatusItem> itemWithIdentifier(std::string_view identifier) const;  // null for none

private:
    std::shared_ptr<Window> window_;
    std::vector<std::shared_ptr<StatusItem>> items_;
    int lastNumber_ = 0;
};

}  // namespace qs
