// The compose window's toolbar: an item of the plug-in's own, second from the left. Main thread.
#include <algorithm>

#include "Compose/ComposeController.h"
#include "Core/PatchClass.h"
#include "Core/QSPluginDelegate.h"
#include "Core/QSPopoverController.h"
#include "Core/QSSession.h"
#include "Foundation/RunLoop.h"
#include "MailCategories/DocumentEditor_Quillstead.h"
#include "Models/Menu.h"
#include "Models/Toolbar.h"
#include "Models/View.h"
#include "Outgoing/SendLaterItem.h"
#include "Platform.h"

namespace qs {

namespace {

using Identifiers = std::vector<std::string>;

constexpr TimeInterval kHintDelay = 1.0;
constexpr const char* kSendLaterAction = "sendLater:";

const Operation<std::shared_ptr<ToolbarItem>(Toolbar&, const std::string&, bool)> quillstead_itemForItemIdentifier{
    "quillstead_toolbar:itemForItemIdentifier:willBeInsertedIntoToolbar:"};
const Operation<Identifiers(Toolbar&)> quillstead_toolbarDefaultItemIdentifiers{
    "quillstead_toolbarDefaultItemIdentifiers:"};
const Operation<Identifiers(Toolbar&)> quillstead_toolbarAllowedItemIdentifiers{
    "quillstead_toolbarAllowedItemIdentifiers:"};

// Who answers sendLater:, as up to version 10 the window controller itself does.
std::shared_ptr<HostObject> composeController(HostObject& self) {
    if (osMinor() < 11) return self.shared_from_this();
    return static_cast<ComposeWindowController&>(self).composeController();
}

void hintAtSoon(const std::shared_ptr<ToolbarItem>& item) {
    RunLoop::main().after(kHintDelay, [weak = std::weak_ptr(item)] {
        const auto shown = weak.lock();
        auto* session = QSSession::currentIfLoaded();
        if (!shown || !session || !shown->view() || !shown->view()->window()) return;
        session->popoverController().queuePopoverWithIdentifier(
            "SendLaterButton", QSLocalizedString("Schedule emails to be sent later by using this button."),
            shown->view(), 3);
    });
}

std::shared_ptr<ToolbarItem> makeSendLaterItem(HostObject& self, bool willBeInserted) {
    auto item = std::make_shared<ToolbarItem>(std::string(kSendLaterItem), "BorderlessToolbarItem");
    item->label = item->paletteLabel = QSLocalizedString("Schedule");
    item->toolTip = QSLocalizedString("Schedule this email to be sent later.");
    item->imageName = "plugin:TB_SendLaterTemplate";
    item->action = kSendLaterAction;
    item->target = composeController(self);
    item->enabled = true;
    item->menuFormRepresentation = std::make_shared<MenuItem>(item->label, kSendLaterAction);
    item->menuFormRepresentation->setTarget(item->target);
    if (willBeInserted) hintAtSoon(item);
    return item;
}

std::shared_ptr<ToolbarItem> itemForItemIdentifier(HostObject& self, Toolbar& toolbar, const std::string& identifier,
                                                   bool willBeInserted) {
    if (identifier == kSendLaterItem && QSSession::currentIfLoaded()) return makeSendLaterItem(self, willBeInserted);
    return quillstead_itemForItemIdentifier(self, toolbar, identifier, willBeInserted);
}

Identifiers withSendLater(Identifiers identifiers) {
    if (!QSSession::currentIfLoaded()) return identifiers;
    const auto place = identifiers.begin() + std::min<std::ptrdiff_t>(1, std::ssize(identifiers));
    identifiers.insert(place, std::string(kSendLaterItem));
    return identifiers;
}

}  // namespace

void addComposeToolbarMethods(PatchClass& patch) {
    patch.add(quillstead_itemForItemIdentifier, itemForItemIdentifier);
    patch.add(quillstead_toolbarDefaultItemIdentifiers, [](HostObject& self, Toolbar& toolbar) {
        return withSendLater(quillstead_toolbarDefaultItemIdentifiers(self, toolbar));
    });
    patch.add(quillstead_toolbarAllowedItemIdentifiers, [](HostObject& self, Toolbar& toolbar) {
        return withSendLater(quillstead_toolbarAllowedItemIdentifiers(self, toolbar));
    });
}

void exchangeComposeToolbarMethods(PatchClass& patch, std::string_view hostClass) {
    patch.exchange(hostClass, toolbar_delegate::itemForItemIdentifier.selector(),
                   quillstead_itemForItemIdentifier.selector());
    patch.exchange(hostClass, toolbar_delegate::defaultItemIdentifiers.selector(),
                   quillstead_toolbarDefaultItemIdentifiers.selector());
    patch.exchange(hostClass, toolbar_delegate::allowedItemIdentifiers.selector(),
                   quillstead_toolbarAllowedItemIdentifiers.selector());
}

}  // namespace qs
