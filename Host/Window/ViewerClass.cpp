// The classes "MessageViewer" and "SingleMessageViewer": actions by selector, and when each of them can be done.
#include <algorithm>

#include "Application/HostInstances.h"
#include "Compose/ComposeBackEnd.h"
#include "HostSettings.h"
#include "Mail/Mailbox.h"
#include "Models/Toolbar.h"
#include "Platform.h"
#include "Responders.h"
#include "ViewerObject.h"
#include "ViewerPane.h"
#include "ViewerToolbar.h"

namespace qs {
namespace {

ViewerObject& viewer(HostObject& self) { return dynamic_cast<ViewerObject&>(self); }

// What an action needs to be possible.
enum class Needs { Nothing, Selection, Unread, Read, OneMessage, OneReceived, OneToEdit, Mailbox, Undo, Older, Newer };

struct ViewerAction {
    std::string_view selector;
    Needs needs;
    void (*perform)(ViewerObject& self, HostObject* sender);
};

constexpr int mode(ComposeMode mode) { return static_cast<int>(mode); }

constexpr ViewerAction kActions[] = {
    {"replyMessage:", Needs::OneReceived, [](auto& self, auto*) { self.replyTo(mode(ComposeMode::Reply)); }},
    {"replyAllMessage:", Needs::OneReceived, [](auto& self, auto*) { self.replyTo(mode(ComposeMode::ReplyAll)); }},
    {"forwardMessage:", Needs::OneReceived, [](auto& self, auto*) { self.replyTo(mode(ComposeMode::Forward)); }},
    {"openMessages:", Needs::OneToEdit, [](auto& self, auto*) { self.openSelected(); }},
    {"markAsRead:", Needs::Unread, [](auto& self, auto*) { self.mark({.seen = true}); }},
    {"markAsUnread:", Needs::Read, [](auto& self, auto*) { self.mark({.seen = false}); }},
    {"markAsFlagged:", Needs::Selection, [](auto& self, auto* sender) { self.flag(sender); }},
    {"clearFlags:", Needs::Selection, [](auto& self, auto*) { self.mark({.flagged = false}); }},
    {"archiveMessages:", Needs::Selection, [](auto& self, auto*) { self.archive(); }},
    {"toggleFlag:", Needs::Selection, [](auto& self, auto* sender) { self.flagLike(sender); }},
    {"clearFlaggedStatus:", Needs::Selection, [](auto& self, auto*) { self.mark({.flagged = false}); }},
    {"junkMessages:", Needs::Selection, [](auto& self, auto*) { self.junk(); }},
    {"markAsJunkMail:", Needs::Selection, [](auto& self, auto*) { self.markAsJunk(true); }},
    {"markAsNotJunkMail:", Needs::Selection, [](auto& self, auto*) { self.markAsJunk(false); }},
    {"deleteMessages:", Needs::Selection, [](auto& self, auto*) { self.remove(); }},
    {"moveToMailbox:", Needs::Selection, [](auto& self, auto* sender) { self.moveToRepresented(sender); }},
    {"undoMove:", Needs::Undo, [](auto& self, auto*) { self.undoMove(); }},
    {"emptyTrash:", Needs::Nothing, [](auto& self, auto*) { self.emptyTrash(); }},
    {"selectAllMessages:", Needs::Nothing, [](auto& self, auto*) { self.selectAll(); }},
    {"selectNextMessage:", Needs::Nothing, [](auto& self, auto*) { self.selectNeighbour(1, false); }},
    {"selectPreviousMessage:", Needs::Selection, [](auto& self, auto*) { self.selectNeighbour(-1, false); }},
    {"selectNextUnreadMessage:", Needs::Nothing, [](auto& self, auto*) { self.selectNeighbour(1, true); }},
    {"goToMailbox:", Needs::Nothing, [](auto& self, auto* sender) { self.goToMailbox(sender); }},
    {"markAllMessagesAsRead:", Needs::Mailbox, [](auto& self, auto*) { self.markAllRead(); }},
    {"toggleConversations:", Needs::Nothing, [](auto& self, auto*) { self.toggleConversations(); }},
    {"toggleGrouping:", Needs::Nothing, [](auto& self, auto*) { self.toggleGrouping(); }},
    {"showNextInConversation:", Needs::Newer, [](auto& self, auto*) { self.showNeighbourInConversation(1); }},
    {"showPreviousInConversation:", Needs::Older, [](auto& self, auto*) { self.showNeighbourInConversation(-1); }},
    {"showMessageSource:", Needs::OneMessage, [](auto& self, auto*) { self.showSource(); }},
};

const ViewerAction* actionNamed(std::string_view selector) {
    const auto* found = std::ranges::find(kActions, selector, &ViewerAction::selector);
    return found == std::end(kActions) ? nullptr : found;
}

void addActions(Class& cls) {
    for (const ViewerAction& action : kActions)
        cls.add(Action(action.selector),
                [perform = action.perform](HostObject& self, HostObject* sender) { perform(viewer(self), sender); });
    cls.add(message_viewer::validateMenuItem,
            [](HostObject& self, MenuItem& item) { return viewer(self).isValid(item.action(), &item); });
}

void addShow(Class& cls) {
    cls.add(message_viewer::show, [](HostObject& self) { viewer(self).show(); });
}

void addTable(Class& cls) {
    if (osMinor() != 11) {
        cls.add(message_viewer::tableManager,
                [](HostObject& self) -> std::shared_ptr<HostObject> { return viewer(self).tableManager(); });
        return;
    }
    cls.add(message_viewer::messageListController,
            [](HostObject& self) -> std::shared_ptr<HostObject> { return viewer(self).messageListController(); });
    ClassRegistry::current()
        .define("MessageListController")
        .add(message_viewer::tableViewManager, [](HostObject&) -> std::shared_ptr<HostObject> {
            const auto front = MessageViewer::frontmostMessageViewerWithOptions(0);
            const auto object = std::dynamic_pointer_cast<ViewerObject>(front);
            return object ? object->tableManager() : nullptr;
        });
}

}  // namespace

void ViewerObject::defineClasses() {
    ClassRegistry& registry = ClassRegistry::current();
    Class& cls = registry.define("MessageViewer");
    addActions(cls);
    addTable(cls);
    addShow(cls);
    addViewerToolbar(cls);
    cls.add(message_viewer::viewingPaneViewController, [](HostObject& self) { return viewer(self).viewingPane(); });
    defineViewingPaneClasses(registry);
    registry.define("SingleMessageViewer", &cls)
        .addClassMethod(single_message_viewer::viewerForMessage,
                        [](Class&, const MessageRef& message, bool, bool, const std::shared_ptr<HostObject>&) {
                            const auto& make = HostInstances::current().singleMessageViewer;
                            return make && message ? make(message) : nullptr;
                        });
    MessageRows::defineClass();
}

bool ViewerObject::isValid(const std::string& selector, MenuItem* item) {
    const ViewerAction* action = actionNamed(selector);
    if (!action) return true;
    if (item && selector == "undoMove:") item->setTitle("Undo " + (moves_->isEmpty() ? "Move" : moves_->lastName()));
    if (item && selector == "junkMessages:") item->setTitle(selectionIsIn(MailboxKind::Junk) ? "Not Junk" : "Junk");
    if (item && selector == "deleteMessages:")
        item->setTitle(selectionIsIn(MailboxKind::Trash) ? "Delete for Good…" : "Move to Trash");
    if (item && selector == "toggleConversations:") item->setState(showsConversations() ? 1 : 0);
    if (item && selector == "toggleGrouping:") item->setState(groupsConversations() ? 1 : 0);
    if (selector == "archiveMessages:" && !canArchive()) return false;
    switch (action->needs) {
    case Needs::Nothing: return true;
    case Needs::Selection: return !selected_.empty();
    case Needs::Unread: return selectionHas(/*isSeen=*/false);
    case Needs::Read: return selectionHas(/*isSeen=*/true);
    case Needs::Mailbox: return mailbox() && mailbox()->unreadCount() > 0;
    case Needs::Undo: return !moves_->isEmpty();
    case Needs::Older: return neighbourInConversation(-1).has_value();
    case Needs::Newer: return neighbourInConversation(1).has_value();
    case Needs::OneMessage: return selectedMessage() != nullptr;
    case Needs::OneReceived:
    case Needs::OneToEdit: {
        const auto kind = kindOf(selectedMessage());
        const bool toEdit = kind == MailboxKind::Drafts || kind == MailboxKind::Outbox;
        return kind && toEdit == (action->needs == Needs::OneToEdit);
    }
    }
    return false;
}

}  // namespace qs
