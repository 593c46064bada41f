// Owns the Direct Inbox's item in the status bar, the popover under it, and the watch for clicks elsewhere that close
// the popover. Main thread.
#pragma once

#include <memory>

#include "Application/EventMonitors.h"
#include "Foundation/NotificationCenter.h"
#include "Foundation/Runtime.h"

namespace qs {

class Popover;
class QSDirectInboxViewController;
class StatusItem;
class View;
class Window;

class QSDirectInboxMenuController : public HostObject {
public:
    // Class "QSDirectInboxMenuController". Shows the item if the setting says so.
    static std::shared_ptr<QSDirectInboxMenuController> make();
    ~QSDirectInboxMenuController() override;

    // Makes the item or takes it away, as the setting "QSShowMenuBar" says.
    void updateMenuVisibility();
    void showPopover(HostObject* sender);
    void closePopover(HostObject* sender);
    void togglePopover(HostObject* sender);
    // From the main thread. Does nothing without an item: nobody can see a list then.
    void reloadMailboxMessages();
    void showInfoWindow();                      // a hint under the item, once
    std::shared_ptr<View> menubarView() const;  // the item's; null for no item

    const std::shared_ptr<StatusItem>& menubarItem() const { return menubarItem_; }
    // Both null until the item was first shown; they stay when it goes.
    const std::shared_ptr<QSDirectInboxViewController>& directInboxViewController() const { return viewController_; }
    const std::shared_ptr<Popover>& directInboxPopover() const { return popover_; }
    bool hasEventMonitor() const { return eventMonitor_ != nullptr; }

private:
    QSDirectInboxMenuController();
    void makePopover();
    void draw();
    void viewDidLoad();
    void popoverDidClose();

    std::shared_ptr<StatusItem> menubarItem_;
    std::shared_ptr<QSDirectInboxViewController> viewController_;
    std::shared_ptr<Popover> popover_;
    std::shared_ptr<Window> popoverWindow_;  // on the screen while the popover is: what points into it goes with it
    std::shared_ptr<View> addMailboxButton_;
    ObservationRef listObservation_;
    EventMonitors::GlobalMonitor eventMonitor_;
};

}  // namespace qs
