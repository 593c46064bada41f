// The class "MailApp": the actions that the application answers itself, at the end of the chain of responders.
#include "Accounts/AccountSheet.h"
#include "ComposeWindow.h"
#include "DeliveryService.h"
#include "Foundation/Assertion.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"
#include "Mail/MailAccount.h"
#include "Mail/Mailbox.h"
#include "MailApplicationObject.h"
#include "MailLibrary.h"
#include "MailReading.h"
#include "MailboxesOutlineObject.h"
#include "MailtoAddress.h"
#include "Models/Alert.h"
#include "Models/Form.h"
#include "Models/View.h"
#include "Text/Ascii.h"
#include "Viewer/ListDates.h"
#include "ViewerObject.h"

extern const char quillsteadFoundationVersion[];

namespace qs {
namespace {

MailApplicationObject& application(HostObject& self) { return dynamic_cast<MailApplicationObject&>(self); }

struct AppAction {
    const char* selector;
    void (*perform)(MailApplicationObject& self, HostObject* sender);
};

// The window that an item of the Window menu stands for.
void bringRepresentedWindowToFront(MailApplicationObject& self, HostObject* sender) {
    const auto* item = dynamic_cast<MenuItem*>(sender);
    const auto window = item ? std::dynamic_pointer_cast<Window>(item->representedObject()) : nullptr;
    if (window) self.frontWindowFirst(*window);
}

constexpr AppAction kActions[] = {
    {"showComposeWindow:", [](auto& self, auto*) { self.compose({}); }},
    {"addAccount:", [](auto& self, auto*) { self.askForNewAccount(); }},
    {"newMailbox:", [](auto& self, auto* sender) { self.askForNewMailbox(sender, false); }},
    {"newMailboxInside:", [](auto& self, auto* sender) { self.askForNewMailbox(sender, true); }},
    {"changeMailbox:", [](auto& self, auto* sender) { self.askForChangedMailbox(sender); }},
    {"deleteMailbox:", [](auto& self, auto* sender) { self.deleteMailbox(sender); }},
    {"checkNewMail:", [](auto& self, auto*) { self.checkNewMail(); }},
    {"showPreferencesPanel:", [](auto& self, auto* sender) { self.showPreferencesPanel(sender); }},
    {"orderFrontCharacterPalette:", [](auto& self, auto* sender) { self.orderFrontCharacterPalette(sender); }},
    {"orderFrontStandardAboutPanel:", [](auto& self, auto*) { self.showAbout(); }},
    {"showKeyboardShortcuts:", [](auto& self, auto*) { self.showKeyboardShortcuts(); }},
    {"showMessageViewer:", [](auto& self, auto*) { self.frontWindowFirst(*self.viewer().window()); }},
    {"makeKeyAndOrderFront:", bringRepresentedWindowToFront},
    {"selectNextWindow:", [](auto& self, auto*) { self.selectNextWindow(); }},
    {"performFindPanelAction:", [](auto& self, auto*) { self.requestFromPage("find", "viewer"); }},
    {"printDocument:", [](auto& self, auto*) { self.requestFromPage("print", self.frontWindowIdentifier()); }},
    {"terminate:", [](auto& self, auto*) { self.quit(); }},
};

void openAddressEvent(HostObject& self, const AppleEvent& event) {
    const std::string url = event.stringForKeyword(kKeyDirectObject);
    if (const auto request = parseMailtoAddress(url)) {
        application(self).activateIgnoringOtherApps(true);
        application(self).compose(*request);
        return;
    }
    // Without what follows the scheme, which may be secret.
    const std::size_t end = url.find(':');
    logWarning(end == std::string::npos || end > 30
                   ? "An address without a scheme was handed over; nothing is opened."
                   : stringWithFormat("Nobody opens addresses of the kind “%@:”.", {url.substr(0, end)}));
}

}  // namespace

void MailApplicationObject::defineClass() {
    Class& cls = ClassRegistry::current().define("MailApp");
    cls.add(mail_app::willPresentContextualMenu, [](HostObject&, Menu&) {
        // The host fills the menu before it announces it.
    });
    cls.add(mail_app::handleGURLAppleEvent,
            [](HostObject& self, const AppleEvent& event, AppleEvent*) { openAddressEvent(self, event); });
    cls.add(Operation<bool(MenuItem&)>("validateMenuItem:"),
            [](HostObject& self, MenuItem& item) { return application(self).validate(item); });
    for (const AppAction& action : kActions)
        cls.add(Action(action.selector), [perform = action.perform](HostObject& self, HostObject* sender) {
            perform(application(self), sender);
        });
}

bool MailApplicationObject::validate(MenuItem& item) {
    const std::string& action = item.action();
    if (action == "makeKeyAndOrderFront:") {
        const auto window = std::dynamic_pointer_cast<Window>(item.representedObject());
        if (!window) return false;
        item.setTitle(window->title());  // subjects change while they are typed
        item.setState(frontWindowIdentifier() == window->identifier() ? 1 : 0);
        return true;
    }
    if (action == "showMessageViewer:") item.setState(frontWindowIdentifier() == "viewer" ? 1 : 0);
    if (action == "selectNextWindow:") return !composeWindows_.empty();
    if (action == "showComposeWindow:" || action == "newMailbox:" || action == "checkNewMail:")
        return !MailAccount::mailAccounts().empty();
    if (action == "newMailboxInside:") {
        const auto mailbox = mailboxFor(&item);
        return mailbox && outline_->takesDrops(*mailbox) && canChangeMailbox(&item);
    }
    if (action == "changeMailbox:" || action == "deleteMailbox:") return canChangeMailbox(&item);
    if (action == "printDocument:") return frontWindowIdentifier() != "viewer" || viewer_->selectedMessage();
    return true;
}

void MailApplicationObject::askForNewAccount() {
    const auto weak = std::weak_ptr(std::static_pointer_cast<MailApplicationObject>(shared_from_this()));
    addAccountInSheet(engine_, *viewer_->window(), {.saved = [weak](const std::string& identifier) {
                          if (const auto self = weak.lock()) self->showInboxOf(identifier);
                      }});
}

// The library takes the account up in the background, so its inbox may come a moment later.
void MailApplicationObject::showInboxOf(const std::string& account) {
    const auto inbox = engine_.library().mailbox(account, MailboxKind::Inbox, false);
    accountToShow_ = inbox ? std::string() : account;
    if (inbox) viewer_->selectMailbox(inbox->identifier());
}

void MailApplicationObject::checkNewMail() {
    if (!MailReading::of(engine_.library()).isReadIn()) return;  // it is at it, and nobody should have to wait for that
    for (const auto& account : MailAccount::mailAccounts())
        for (const auto& mailbox : account->mailboxes())
            engine_.library().rescan(mailbox->identifier());
    takeNotices();
}

// What waits in the outbox leaves only while the program runs, so whoever quits is told of it.
void MailApplicationObject::quit() {
    const int waiting = engine_.deliveries().waitingCount();
    if (waiting > 0) {
        Alert alert;
        alert.messageText = waiting == 1 ? "A message has not been sent yet"
                                         : stringWithFormat("%ld messages have not been sent yet", {waiting});
        alert.informativeText = "What waits in the outbox is sent only while Quillstead Mail is running. ";
        if (const auto first = engine_.deliveries().firstHeldUntil())
            alert.informativeText +=
                stringWithFormat(waiting == 1 ? "This one is to leave on %@. " : "The first is to leave on %@. ",
                                 {longDateText(*first)});
        alert.informativeText += "Do you want to quit all the same?";
        alert.buttons = {"Quit", "Cancel"};
        if (alert.runModal() != kAlertFirstButtonReturn) return;
    }
    if (quitHandler_) quitHandler_();
}

void MailApplicationObject::showAbout() {
    tell("Quillstead Mail", stringWithFormat("Version %@. A mail program for one person, on this computer alone.",
                                             {std::string(quillsteadFoundationVersion)}));
}

void MailApplicationObject::showKeyboardShortcuts() {
    auto form = std::make_shared<FormModel>();
    form->identifier = "keyboardShortcuts";
    form->title = "Keyboard Shortcuts";
    for (const auto& item : menu_.menu()->itemArray()) {
        FormGroup group{.title = item->title()};
        const auto texts = item->submenu() ? keyTexts(*item->submenu()) : std::vector<std::string>();
        for (const std::string& text : texts)
            group.controls.push_back({.kind = FormControl::Kind::Text,
                                      .id = item->title() + std::to_string(group.controls.size()),
                                      .value = text});
        if (!group.controls.empty()) form->groups.push_back(std::move(group));
    }
    form->buttons = {{.title = "Close", .code = kSheetConfirmed, .isDefault = true, .isCancel = true}};
    viewer_->window()->beginSheet(std::move(form), nullptr);
}

void MailApplicationObject::openAddress(std::string_view url) {
    AppleEvent event, reply;
    event.parameters[kKeyDirectObject] = url;
    try {
        mail_app::handleGURLAppleEvent(*this, event, &reply);
    } catch (const std::exception&) {
        logCaughtException("An address that was handed over could not be opened");
    }
}

}  // namespace qs
