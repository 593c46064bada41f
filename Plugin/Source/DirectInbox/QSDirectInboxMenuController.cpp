#include "DirectInbox/QSDirectInboxMenuController.h"

#include "Application/HostInstances.h"
#include "Core/QSPluginDelegate.h"
#include "Core/QSPopoverController.h"
#include "Core/QSSession.h"
#include "DirectInbox/DirectInboxView.h"
#include "DirectInbox/QSDirectInboxViewController.h"
#include "Foundation/Assertion.h"
#include "Foundation/RunLoop.h"
#include "Models/ModelChanges.h"
#include "Models/Popover.h"
#include "Models/RowList.h"
#include "Models/StatusItem.h"
#include "Models/View.h"
#include "Settings/UserDefaults.h"

namespace qs {

namespace {

constexpr std::string_view kClassName = "QSDirectInboxMenuController";
constexpr TimeInterval kInfoDelay = 1.0;
constexpr int kBelow = 1, kAbove = 3;  // edges of popovers

std::string_view defineClass() {
    Class& cls = ClassRegistry::current().define(kClassName);
    cls.add(Operation<void(HostObject*)>("togglePopover:"), [](HostObject& self, HostObject* sender) {
        dynamic_cast<QSDirectInboxMenuController&>(self).togglePopover(sender);
    });
    return kClassName;
}

}  // namespace

QSDirectInboxMenuController::QSDirectInboxMenuController() : HostObject(defineClass()) {}

QSDirectInboxMenuController::~QSDirectInboxMenuController() {
    if (popover_) popover_->onClose = nullptr;
    // A host that has gone took its bar along.
    const auto& bar = HostInstances::current().statusBar;
    if (menubarItem_ && bar) bar->removeStatusItem(*menubarItem_);
}

std::shared_ptr<QSDirectInboxMenuController> QSDirectInboxMenuController::make() {
    std::shared_ptr<QSDirectInboxMenuController> made(new QSDirectInboxMenuController);
    made->updateMenuVisibility();
    return made;
}

void QSDirectInboxMenuController::updateMenuVisibility() {
    StatusBar& bar = StatusBar::systemStatusBar();
    if (!QSPluginDelegate::quillsteadDefaults().boolForKey("QSShowMenuBar")) {
        if (menubarItem_) bar.removeStatusItem(*menubarItem_);
        menubarItem_.reset();
        return;
    }
    if (menubarItem_) return;
    menubarItem_ = bar.squareStatusItem();
    menubarItem_->setTitle(QSLocalizedString("Direct Inbox"));
    menubarItem_->setImageName("plugin:Quillstead_menubar");
    menubarItem_->setTarget(shared_from_this());
    menubarItem_->setAction("togglePopover:");
    makePopover();
    const auto self = std::static_pointer_cast<QSDirectInboxMenuController>(shared_from_this());
    RunLoop::main().after(kInfoDelay, [weak = std::weak_ptr(self)] {
        const auto controller = weak.lock();
        if (controller && QSSession::currentIfLoaded()) controller->showInfoWindow();
    });
}

void QSDirectInboxMenuController::makePopover() {
    const auto self = std::static_pointer_cast<QSDirectInboxMenuController>(shared_from_this());
    const auto weak = std::weak_ptr(self);
    viewController_ = QSDirectInboxViewController::make();
    viewController_->menuController = weak;
    listObservation_ = viewController_->addObserver("mailboxMessages", [weak](bool isPrior) {
        const auto controller = weak.lock();
        if (controller && !isPrior) controller->draw();
    });
    popoverWindow_ = std::make_shared<Window>("DirectInboxView");
    addMailboxButton_ = std::make_shared<View>(std::string("popover:") + kDirectInboxPopover + ":" + kAddMailboxButton,
                                               popoverWindow_, "NSButton");
    popover_ = std::make_shared<Popover>(kDirectInboxPopover);
    popover_->onClose = [weak] {
        if (const auto controller = weak.lock()) controller->popoverDidClose();
    };
}

void QSDirectInboxMenuController::reloadMailboxMessages() {
    if (menubarItem_) viewController_->reloadMailboxMessages();
}

// Nobody sees a list that is not shown.
void QSDirectInboxMenuController::draw() {
    if (!popover_->isShown()) return;
    popover_->content.list = drawDirectInbox(viewController_);
    noteModelChange();
}

void QSDirectInboxMenuController::togglePopover(HostObject* sender) {
    if (popover_ && popover_->isShown())
        closePopover(sender);
    else
        showPopover(sender);
}

void QSDirectInboxMenuController::showPopover(HostObject*) {
    if (!menubarItem_) return;
    viewController_->reloadMailboxMessages();
    if (!viewController_->mailboxesMenu()) viewDidLoad();
    popover_->content.list = drawDirectInbox(viewController_);
    popover_->showRelativeTo(menubarView(), kBelow);
    popoverWindow_->setVisible(popover_->isShown());
    assertThat(!eventMonitor_, "eventMonitor should not be created yet");
    const auto self = std::static_pointer_cast<QSDirectInboxMenuController>(shared_from_this());
    eventMonitor_ = EventMonitors::current().addGlobalMonitorForEventsMatchingMask(
        kLeftMouseDownMask | kRightMouseDownMask, [weak = std::weak_ptr(self)](const Event&) {
            const auto controller = weak.lock();
            if (controller && controller->popover_->isShown()) controller->closePopover(nullptr);
        });
}

void QSDirectInboxMenuController::viewDidLoad() {
    viewController_->viewDidLoad();
    QSPopoverController::sharedController().queuePopoverWithIdentifier(
        "DirectInboxAddMailboxButton",
        QSLocalizedString("Here you can add more mailboxes to Direct Inbox.\nMoreover, mailboxes can be reordered and "
                          "removed easily."),
        addMailboxButton_, kAbove);
}

void QSDirectInboxMenuController::closePopover(HostObject*) {
    if (popover_) popover_->close();
    eventMonitor_.reset();
}

// However it came to that.
void QSDirectInboxMenuController::popoverDidClose() {
    eventMonitor_.reset();
    popoverWindow_->setVisible(false);
    popover_->content.list = nullptr;
}

void QSDirectInboxMenuController::showInfoWindow() {
    if (!menubarItem_) return;
    auto& hints = QSPopoverController::sharedController();
    const char* text =
        hints.didShowPopoverWithIdentifier("MenubarIcon")
            ? "Quillstead's menu is now called 'Direct Inbox' and comes with all the features you need - "
              "right here at your fingertips."
            : "Quillstead's 'Direct Inbox' comes with all the features you need - right here at your "
              "fingertips.";
    hints.queuePopoverWithIdentifier("DirectInbox", QSLocalizedString(text), menubarView(), kAbove);
}

std::shared_ptr<View> QSDirectInboxMenuController::menubarView() const {
    return menubarItem_ ? menubarItem_->view() : nullptr;
}

}  // namespace qs
