// The viewer's toolbar: the plug-in's own items, each a button with a menu beside it. Main thread.
#include <algorithm>

#include "Core/PatchClass.h"
#include "Core/QSPopoverController.h"
#include "Core/QSSession.h"
#include "Foundation/RunLoop.h"
#include "MailCategories/MessageViewer_Quillstead.h"
#include "Models/Menu.h"
#include "Models/Toolbar.h"
#include "Models/View.h"
#include "Reminder/QSRemindersManager.h"
#include "Reminder/TaskActions.h"
#include "Snooze/QSSnoozeManager.h"

namespace qs {

namespace {

using Identifiers = std::vector<std::string>;

constexpr TimeInterval kHintDelay = 1.0;
constexpr int kAbove = 3;  // the edge of a hint

const Operation<std::shared_ptr<ToolbarItem>(Toolbar&, const std::string&, bool)> quillstead_itemForItemIdentifier{
    "quillstead_toolbar:itemForItemIdentifier:willBeInsertedIntoToolbar:"};
const Operation<Identifiers(Toolbar&)> quillstead_toolbarDefaultItemIdentifiers{
    "quillstead_toolbarDefaultItemIdentifiers:"};
const Operation<Identifiers(Toolbar&)> quillstead_toolbarAllowedItemIdentifiers{
    "quillstead_toolbarAllowedItemIdentifiers:"};
const Operation<bool(ToolbarItem&)> quillstead_validateToolbarItem{"quillstead_validateToolbarItem:"};

struct ViewerItem {
    const char *identifier, *label, *image, *action, *toolTip, *hintIdentifier, *hintText;
    std::shared_ptr<Menu> (*menu)(HostObject& viewer);
};

constexpr const char* kTasksItem = "Tasks";

constexpr ViewerItem kItems[] = {
    // in the order in which the toolbar allows them
    {"Notes", "Notes", "plugin:TB_CreateNote", "createQuickNote:", "Convert selected emails to notes.", "NotesButton",
     "Convert emails to notes easily by using this button.",
     [](HostObject& viewer) { return message_viewer_quillstead::notesMenu(viewer); }},
    {"Snooze", "Snooze", "plugin:TB_Snooze1", "snooze:", "Snooze message.", "SnoozeButton",
     "Snoozed messages will be moved aside for a certain time until they re-appear in your inbox.",
     [](HostObject&) { return QSSnoozeManager::sharedManager().snoozeOptionsMenu(); }},
    {kTasksItem, "Tasks", "plugin:TB_TaskUnchecked", "updateTask:", "Create task for email", "TaskButton",
     "Create tasks out of emails easily by using this button.",
     [](HostObject&) { return QSRemindersManager::sharedManager().tasksOptionsMenu(); }},
};

const ViewerItem* itemNamed(std::string_view identifier) {
    const auto* found =
        std::ranges::find(kItems, identifier, [](const ViewerItem& item) { return std::string_view(item.identifier); });
    return found == std::end(kItems) ? nullptr : found;
}

void hintAtSoon(const ViewerItem& item, const std::shared_ptr<ToolbarItem>& made) {
    RunLoop::main().after(kHintDelay, [&item, weak = std::weak_ptr(made)] {
        const auto shown = weak.lock();
        auto* session = QSSession::currentIfLoaded();
        if (shown && session && shown->view() && shown->view()->window())
            session->popoverController().queuePopoverWithIdentifier(
                item.hintIdentifier, QSLocalizedString(item.hintText), shown->view(), kAbove);
    });
}

std::shared_ptr<ToolbarItem> makeItem(HostObject& viewer, const ViewerItem& item, bool willBeInserted) {
    auto made = std::make_shared<ToolbarItem>(item.identifier, "BorderlessToolbarItem");
    made->label = made->paletteLabel = QSLocalizedString(item.label);
    made->toolTip = QSLocalizedString(item.toolTip);
    made->imageName = item.image;
    made->action = item.action;
    made->menu = item.menu(viewer);
    made->menuFormRepresentation = std::make_shared<MenuItem>(made->label, item.action);
    made->menuFormRepresentation->setSubmenu(made->menu);
    if (willBeInserted) hintAtSoon(item, made);
    return made;
}

// Snoozing ahead of archiving, tasks behind the flag, notes at the end; at the end, too, where those are not.
Identifiers withOurs(Identifiers identifiers) {
    if (!QSSession::currentIfLoaded()) return identifiers;
    identifiers.insert(std::ranges::find(identifiers, "archiveMessages:"), "Snooze");
    const auto flag = std::ranges::find(identifiers, "FlaggedStatus");
    identifiers.insert(flag == identifiers.end() ? flag : flag + 1, kTasksItem);
    identifiers.emplace_back("Notes");
    return identifiers;
}

Identifiers withOursAllowed(Identifiers identifiers) {
    if (!QSSession::currentIfLoaded()) return identifiers;
    for (const ViewerItem& item : kItems)
        identifiers.emplace_back(item.identifier);
    return identifiers;
}

}  // namespace

void addViewerToolbarMethods(PatchClass& patch) {
    patch.add(quillstead_itemForItemIdentifier,
              [](HostObject& self, Toolbar& toolbar, const std::string& identifier, bool willBeInserted) {
                  const ViewerItem* item = QSSession::currentIfLoaded() ? itemNamed(identifier) : nullptr;
                  return item ? makeItem(self, *item, willBeInserted)
                              : quillstead_itemForItemIdentifier(self, toolbar, identifier, willBeInserted);
              });
    patch.add(quillstead_toolbarDefaultItemIdentifiers, [](HostObject& self, Toolbar& toolbar) {
        return withOurs(quillstead_toolbarDefaultItemIdentifiers(self, toolbar));
    });
    patch.add(quillstead_toolbarAllowedItemIdentifiers, [](HostObject& self, Toolbar& toolbar) {
        return withOursAllowed(quillstead_toolbarAllowedItemIdentifiers(self, toolbar));
    });
    patch.add(quillstead_validateToolbarItem, [](HostObject& self, ToolbarItem& item) {
        if (!QSSession::currentIfLoaded() || !itemNamed(item.itemIdentifier()))
            return quillstead_validateToolbarItem(self, item);
        const MessageList messages = targetedMessages(self);
        return item.itemIdentifier() == kTasksItem ? validateTasksItem(item, messages) : !messages.empty();
    });
}

void exchangeViewerToolbarMethods(PatchClass& patch) {
    using namespace toolbar_delegate;
    patch.exchange("MessageViewer", itemForItemIdentifier.selector(), quillstead_itemForItemIdentifier.selector());
    patch.exchange("MessageViewer", defaultItemIdentifiers.selector(),
                   quillstead_toolbarDefaultItemIdentifiers.selector());
    patch.exchange("MessageViewer", allowedItemIdentifiers.selector(),
                   quillstead_toolbarAllowedItemIdentifiers.selector());
    patch.exchange("MessageViewer", validateToolbarItem.selector(), quillstead_validateToolbarItem.selector());
}

}  // namespace qs
