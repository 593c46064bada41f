// The application's patches and actions: contextual menu, held mail, addresses of the "quillstead" scheme, log file,
// preferences, uninstalling. Main thread.
#include "Application/MailApp.h"

#include "Application/Preferences.h"
#include "Core/PatchClass.h"
#include "Core/QSApplicationActions.h"
#include "Core/QSLifecycleHooks.h"
#include "Core/QSPluginDelegate.h"
#include "Core/QSQuillsteadPreferenceModule.h"
#include "Core/QSRedirects.h"
#include "Core/QSSession.h"
#include "Foundation/Assertion.h"
#include "Mail/MailAccount.h"
#include "Mail/Mailbox.h"
#include "Models/Menu.h"
#include "Outgoing/QSUndoSend.h"

namespace qs {

namespace {

using Action = Operation<void(HostObject* sender)>;
const Operation<void(Menu&)> quillstead_willPresentContextualMenu{"quillstead_willPresentContextualMenu:"};
const Operation<void(const AppleEvent&, AppleEvent*)> quillstead_handleGURLAppleEvent{
    "quillstead_handleGURLAppleEvent:replyEvent:"};

bool isViewingOutbox(const MailApp& app) {
    auto viewed = app._mailboxBeingViewed();
    auto account = viewed ? viewed->account() : nullptr;
    auto outbox = account ? account->_outboxMailboxCreateIfNeeded(false) : nullptr;
    return outbox && outbox->identifier() == viewed->identifier();
}

// Held mail can be taken back from the outbox, and only there.
void updateUndoItem(Menu& menu, bool isOutbox) {
    auto item = menu.itemWithTag(kTagUndoSend);
    if (isOutbox && !item)
        menu.insertItemWithTitle(QSLocalizedString("Undo Send"), "undoSend:", "", 1)->setTag(kTagUndoSend);
    else if (!isOutbox && item)
        menu.removeItem(item);
}

void updateSnoozeItem(Menu& menu, const MailApp& app) {
    const auto& hooks = QSSession::current().lifecycleHooks();
    if (!menu.itemWithTag(kTagSnooze)) {
        menu.addItem(MenuItem::separatorItem());
        menu.addItemWithTitle(QSLocalizedString("Snooze"), "snooze:", "")->setTag(kTagSnooze);
    }
    auto item = menu.itemWithTag(kTagSnooze);
    assertThat(item != nullptr, "Could not add snooze item to context menu!");
    auto viewed = app._mailboxBeingViewed();
    const bool snoozed = viewed && hooks.isSnoozeMailbox && hooks.isSnoozeMailbox(*viewed);
    item->setTitle(QSLocalizedString(snoozed ? "Unsnooze" : "Snooze"));
    item->setAction(snoozed ? "unsnooze:" : "snooze:");
    item->setSubmenu(snoozed || !hooks.snoozeOptionsMenu ? nullptr : hooks.snoozeOptionsMenu());
}

void willPresentContextualMenu(HostObject& self, Menu& menu) {
    quillstead_willPresentContextualMenu(self, menu);
    if (!QSSession::currentIfLoaded()) return;
    const auto& app = static_cast<MailApp&>(self);
    updateUndoItem(menu, isViewingOutbox(app));
    updateSnoozeItem(menu, app);
}

void handleGURLAppleEvent(HostObject& self, const AppleEvent& event, AppleEvent* reply) {
    if (!QSSession::currentIfLoaded() ||
        !handleAddress(static_cast<MailApp&>(self), event.stringForKeyword(kKeyDirectObject)))
        quillstead_handleGURLAppleEvent(self, event, reply);
}

void showQuillsteadPreferences(HostObject& self, HostObject*) {
    auto module = QSQuillsteadPreferenceModule::sharedInstance();
    auto& app = static_cast<MailApp&>(self);
    app.activateIgnoringOtherApps(true);
    app.showPreferencesPanel(nullptr);
    if (auto panel = preferences::sharedPreferences.onClass(QSClassFromString("NSPreferences")))
        panel->showPreferencesPanelForOwner(module);
}

void load() {
    PatchClass patch("MailApp_Quillstead");
    patch.add(quillstead_willPresentContextualMenu, willPresentContextualMenu);
    patch.add(quillstead_handleGURLAppleEvent, handleGURLAppleEvent);
    patch.add(held_mail::sendNow, [](HostObject&, HostObject* argument) { sendNow(argument); });
    patch.add(held_mail::undoSend, [](HostObject&, HostObject* argument) { undoSend(argument); });
    patch.add(Action("showQuillsteadPreferences:"), showQuillsteadPreferences);
    patch.add(Action("showQuillsteadLogFile:"), [](HostObject&, HostObject*) { showLogFile(); });
    patch.add(Action("uninstallQuillstead:"), [](HostObject&, HostObject*) { askAndUninstall(); });
    patch.add(Action("reportQuillsteadBug:"), [](HostObject&, HostObject*) { openIssueTracker(); });
    patch.addAsCategoryOf("MailApp");
    patch.exchange("MailApp", mail_app::willPresentContextualMenu.selector(),
                   quillstead_willPresentContextualMenu.selector());
    patch.exchange("MailApp", mail_app::handleGURLAppleEvent.selector(), quillstead_handleGURLAppleEvent.selector());
    patch.finish();
}

const PatchClassRegistration registration(load);

}  // namespace

}  // namespace qs
