// The plug-in's items in the host's main menu, the badge on its icon, and what popovers and redraws hold on to.
#include "Application/MailApp.h"
#include "Core/QSDockBadge.h"
#include "Core/QSPluginDelegate.h"
#include "Core/QSSession.h"
#include "Core/QSShortcut.h"
#include "DirectInbox/QSDirectInboxMenuController.h"
#include "Models/Menu.h"
#include "Models/Toolbar.h"
#include "Models/View.h"
#include "Platform.h"
#include "Settings/UserDefaults.h"
#include "Viewer/MessageViewer.h"

namespace qs {

namespace {

// Fixed, also on a system whose Message menu has moved.
constexpr std::size_t kMessageMenuIndex = 5;

std::shared_ptr<Menu> submenuAt(const Menu& menu, std::size_t index) {
    auto item = menu.itemAtIndex(index);
    return item ? item->submenu() : nullptr;
}

void addMessageItems(Menu& menu) {
    menu.insertItemWithTitle(QSLocalizedString("Send Later"), "sendLater:", "", 1)->setTag(kTagSendLater);
    menu.insertItem(MenuItem::separatorItem(), 2);
    menu.insertItemWithTitle(QSLocalizedString("Snooze"), "snooze:", "", 3)->setTag(kTagSnooze);
    menu.addItem(MenuItem::separatorItem());
    menu.addItemWithTitle(QSLocalizedString("Create quick note"), "createQuickNote:", "")->setTag(kTagCreateQuickNote);
    menu.addItemWithTitle(QSLocalizedString("Create note"), "createNoteWithDialog:", "")->setTag(kTagCreateNote);
}

void addHelpItems(Menu& menu) {
    menu.addItem(MenuItem::separatorItem());
    menu.addItemWithTitle(QSLocalizedString("Show Quillstead log file"), "showQuillsteadLogFile:", "");
    menu.addItem(MenuItem::separatorItem());
    menu.addItemWithTitle(QSLocalizedString("Uninstall Quillstead"), "uninstallQuillstead:", "");
}

std::string_view shortcutKeyForTag(int tag) {
    switch (tag) {
    case kTagSendLater: return "QSSendLaterShortcut";
    case kTagCreateNote: return "QSCreateNoteShortcut";
    case kTagCreateQuickNote: return "QSCreateQuickNoteShortcut";
    case kTagSnooze: return "QSSnoozeShortcut";
    default: return {};
    }
}

}  // namespace

void QSPluginDelegate::initializePlugin() {
    if (pluginInitialized_) return;
    pluginInitialized_ = true;
    if (auto app = MailApp::shared()) {
        auto mainMenu = app->mainMenu();
        if (auto message = submenuAt(*mainMenu, kMessageMenuIndex)) addMessageItems(*message);
        if (auto count = mainMenu->numberOfItems())
            if (auto help = submenuAt(*mainMenu, count - 1)) addHelpItems(*help);
    }
    updateGlobalMenuItems();
    updateDockBadge();
}

void QSPluginDelegate::updateGlobalMenuItems() {
    auto app = MailApp::shared();
    auto menu = app ? submenuAt(*app->mainMenu(), kMessageMenuIndex) : nullptr;
    if (!menu) return;
    for (const auto& item : menu->itemArray()) {
        auto key = shortcutKeyForTag(item->tag());
        if (key.empty()) continue;
        Value stored = quillsteadDefaults().objectForKey(key);
        item->setKeyEquivalent(keyEquivalentFromShortcut(stored));
        item->setKeyEquivalentModifierMask(modifierMaskFromShortcut(stored));
    }
}

void QSPluginDelegate::updateDockBadge() {
    auto app = MailApp::shared();
    if (!app) return;
    std::string icon = app->mainBundleImage("ApplicationIcon");
    if (quillsteadDefaults().boolForKey("QSShowDockBadge")) icon = iconWithBadge(icon, QSSession::current().bundle());
    app->setApplicationIconImage(icon);
}

void QSPluginDelegate::refreshMessageList() {
    auto viewer = MessageViewer::frontmostMessageViewerWithOptions(0);
    if (!viewer) return;
    std::shared_ptr<HostObject> manager =
        osMinor() == 11 ? message_viewer::tableViewManager(message_viewer::messageListController(viewer))
                        : message_viewer::tableManager(viewer);
    auto table = std::dynamic_pointer_cast<TableViewManager>(manager);
    auto view = table ? table->tableView() : nullptr;
    if (!view) return;
    const int row = view->selectedRow();
    view->reloadData();
    view->selectRow(row, false);
}

std::shared_ptr<View> QSPluginDelegate::anchorViewForPopover() {
    if (auto viewer = MessageViewer::frontmostMessageViewerWithOptions(0)) {
        auto window = viewer->window();
        if (auto title = window ? window->titleView() : nullptr) return title;
        auto toolbar = viewer->toolbar();
        if (toolbar && !toolbar->visibleItems().empty())
            if (auto view = toolbar->visibleItems().front()->view()) return view;
    }
    return menuController_->menubarView();
}

}  // namespace qs
