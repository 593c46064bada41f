// The controllers of a compose window, their actions and its toolbar.
#include "Compose/ComposeObjects.h"
#include "Compose/ComposeSession.h"
#include "Models/ModelChanges.h"
#include "Platform.h"

namespace qs {
namespace {

using Action = Operation<void(HostObject* sender)>;

struct ToolbarEntry {
    const char *identifier, *label, *toolTip, *action;
};

constexpr ToolbarEntry kToolbarItems[] = {
    {"send", "Send", "Send the message", "send:"},
    {"attach", "Attach", "Attach a file", "insertFile:"},
    {"format", "Format", "Switch between formatted and plain text", "togglePlainText:"},
    {"discard", "Discard", "Close without keeping what was written", "discardMessage:"},
};

ComposeControllerObject& controllerOf(HostObject& object) { return static_cast<ComposeControllerObject&>(object); }

// Runs the session's part when the window still stands.
template <class Do>
void withSession(HostObject& object, Do act) {
    if (const auto session = controllerOf(object).session()) act(*session);
}

bool isValid(HostObject& object, const std::string& action) {
    const auto session = controllerOf(object).session();
    return session && session->canDo(action);
}

std::shared_ptr<ToolbarItem> makeItem(const std::string& identifier, const std::shared_ptr<ComposeController>& target) {
    for (const ToolbarEntry& entry : kToolbarItems) {
        if (identifier != entry.identifier) continue;
        auto item = std::make_shared<ToolbarItem>(identifier);
        item->label = item->paletteLabel = entry.label;
        item->toolTip = entry.toolTip;
        item->imageName = entry.identifier;
        item->action = entry.action;
        item->target = target;
        return item;
    }
    return nullptr;
}

// The delegate of the toolbar is the window controller, or up to version 10 the one controller that there is.
template <class ControllerOf>
void addToolbarOperations(Class& cls, ControllerOf controller) {
    cls.add(toolbar_delegate::defaultItemIdentifiers, [](HostObject&, Toolbar&) {
        return std::vector<std::string>{"send", "attach", "format", kToolbarFlexibleSpace, "discard"};
    });
    cls.add(toolbar_delegate::allowedItemIdentifiers, [](HostObject&, Toolbar&) {
        return std::vector<std::string>{"send", "attach", "format", "discard", kToolbarSpace, kToolbarFlexibleSpace};
    });
    cls.add(toolbar_delegate::itemForItemIdentifier,
            [controller](HostObject& self, Toolbar&, const std::string& identifier, bool) {
                return makeItem(identifier, controller(self));
            });
}

void addControllerOperations(Class& cls) {
    cls.add(compose_controller::send, [](HostObject& self, HostObject*) {
        withSession(self, [](ComposeSession& session) { session.sendNow(); });
    });
    cls.add(compose_controller::updateAttachmentStatus, [](HostObject& self) {
        withSession(self, [](ComposeSession& session) { session.attachmentsDidChange(); });
    });
    // The window does its own work after this, whatever plug-ins add here.
    cls.add(compose_controller::backEndDidAppendMessageToOutbox,
            [](HostObject&, ComposeBackEnd&, const OutboxAppendResult&) { noteModelChange(); });
    cls.add(compose_controller::changeComposeMode, [](HostObject& self, int mode) {
        withSession(self, [mode](ComposeSession& session) { session.setPlainText(mode == 0); });
    });
    cls.add(compose_controller::validateMenuItem,
            [](HostObject& self, MenuItem& item) { return isValid(self, item.action()); });
    cls.add(toolbar_delegate::validateToolbarItem,
            [](HostObject& self, ToolbarItem& item) { return isValid(self, item.action); });
    cls.add(Action("insertFile:"), [](HostObject& self, HostObject* sender) { controllerOf(self).insertFile(sender); });
    cls.add(Action("saveDocument:"), [](HostObject& self, HostObject*) {
        withSession(self, [](ComposeSession& session) { session.saveAsAsked(); });
    });
    cls.add(Action("performClose:"), [](HostObject& self, HostObject*) {
        withSession(self, [](ComposeSession& session) { session.close(ComposeWindow::Closing::Ask); });
    });
    cls.add(Action("togglePlainText:"), [](HostObject& self, HostObject*) {
        withSession(self, [](ComposeSession& session) { session.togglePlainText(); });
    });
    cls.add(Action("discardMessage:"), [](HostObject& self, HostObject*) {
        withSession(self, [](ComposeSession& session) { session.discardAsAsked(); });
    });
}

}  // namespace

bool hasWindowController() { return osMinor() >= 11; }

void ComposeControllerObject::defineClasses() {
    ClassRegistry& registry = ClassRegistry::current();
    if (!hasWindowController()) {
        Class& editor = registry.define("DocumentEditor");
        addControllerOperations(editor);
        addToolbarOperations(editor, [](HostObject& self) {
            return std::static_pointer_cast<ComposeController>(self.shared_from_this());
        });
        return;
    }
    addControllerOperations(registry.define("ComposeViewController"));
    Class& windows = registry.define("ComposeWindowController");
    addToolbarOperations(windows, [](HostObject& self) {
        return static_cast<ComposeWindowControllerObject&>(self).composeController();
    });
    windows.add(toolbar_delegate::validateToolbarItem, [](HostObject& self, ToolbarItem& item) {
        const auto controller = static_cast<ComposeWindowControllerObject&>(self).composeController();
        return controller && toolbar_delegate::validateToolbarItem(controller, item);
    });
}

ComposeControllerObject::ComposeControllerObject(Parts parts, std::weak_ptr<ComposeSession> session)
    : ComposeController(hasWindowController() ? "ComposeViewController" : "DocumentEditor"),
      parts_(std::move(parts)),
      session_(std::move(session)) {}

std::shared_ptr<Window> ComposeControllerObject::window() const {
    const auto session = session_.lock();
    return session && !session->isClosed() ? session->window() : nullptr;
}

std::shared_ptr<View> ComposeControllerObject::view() const {
    const auto shown = window();
    return shown ? shown->titleView() : nullptr;
}

void ComposeControllerObject::insertFile(HostObject*) {
    if (const auto session = session_.lock()) session->chooseFile();
}

bool ComposeControllerObject::sendButtonShouldBeEnabled() const {
    const auto session = session_.lock();
    return session && session->canDo("send:");
}

bool ComposeControllerObject::isPlainText() const {
    const auto window = session();
    return window && window->isPlainText();
}

ComposeWindowControllerObject::ComposeWindowControllerObject(std::weak_ptr<ComposeController> controller)
    : ComposeWindowController("ComposeWindowController"), controller_(std::move(controller)) {}

}  // namespace qs
