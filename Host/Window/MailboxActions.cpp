// Making, renaming, moving and deleting mailboxes: the sheets and questions of the application's actions for that. An
// action is about the mailbox that its menu item stands for, else about the one that is looked at.
#include <algorithm>

#include "Foundation/Format.h"
#include "Mail/MailAccount.h"
#include "Mail/Mailbox.h"
#include "MailApplicationObject.h"
#include "MailEngine.h"
#include "MailLibrary.h"
#include "MailboxPlaces.h"
#include "MailboxesOutlineObject.h"
#include "Models/Alert.h"
#include "Models/Form.h"
#include "Models/View.h"
#include "Text/Ascii.h"
#include "ViewerObject.h"

namespace qs {

// What the person fills in; the sheet's controls write into it. `parent` is the name of the mailbox that it is to be
// in, empty for none.
struct MailboxPlace {
    std::string mailbox;  // identifier of the one that is changed; empty: a new one
    std::string account, parent, name;
    std::string error;

    std::string path() const {
        const std::string own(trimmedAscii(name));
        return parent.empty() ? own : parent + "/" + own;
    }
};

namespace {

std::shared_ptr<Mailbox> mailboxOf(HostObject* sender) {
    const auto* item = dynamic_cast<MenuItem*>(sender);
    return item ? std::dynamic_pointer_cast<Mailbox>(item->representedObject()) : nullptr;
}

// Mailboxes that can hold others: not the one that is moved, nor those in it, nor those that nothing is put into.
FormControl parentControl(const std::shared_ptr<MailboxPlace>& place, const std::string& own,
                          const MailboxesOutlineObject& outline) {
    FormControl control{.kind = FormControl::Kind::PopUp, .id = "parent", .label = "Inside"};
    control.value = place->parent;
    control.options.push_back({.title = "No other mailbox", .value = ""});
    for (const auto& account : MailAccount::mailAccounts())
        for (const auto& each : account->mailboxes()) {
            const std::string name = each->displayName();
            const bool isOwn = !own.empty() && (name == own || name.starts_with(own + "/"));
            if (account->identifier() == place->account && each->kind() == MailboxKind::User && !isOwn &&
                outline.takesDrops(*each))
                control.options.push_back({.title = name, .value = name});
        }
    // It may lie in what is no mailbox itself.
    const bool isListed = std::ranges::any_of(
        control.options, [&](const FormOption& option) { return option.value.stringValue() == place->parent; });
    if (!isListed) control.options.push_back({.title = place->parent, .value = place->parent});
    control.hidden = control.options.size() < 2;
    control.onChange = [place](const Value& value) { place->parent = value.stringValue(); };
    return control;
}

std::shared_ptr<FormModel> placeForm(const std::shared_ptr<MailboxPlace>& place, MailLibrary& library,
                                     const MailboxesOutlineObject& outline) {
    const auto mailbox = library.mailboxWithIdentifier(place->mailbox);
    auto form = std::make_shared<FormModel>();
    form->identifier = mailbox ? "changeMailbox" : "newMailbox";
    form->title = mailbox ? "Rename or Move Mailbox" : "New Mailbox";
    FormControl name{.kind = FormControl::Kind::TextField, .id = "name", .label = "Name", .error = place->error};
    name.value = place->name;
    name.onChange = [place](const Value& value) { place->name = value.stringValue(); };
    FormControl account{.kind = FormControl::Kind::PopUp, .id = "account", .label = "Account"};
    account.value = place->account;
    for (const auto& one : MailAccount::mailAccounts())
        account.options.push_back({.title = one->displayName(), .value = one->identifier()});
    account.onChange = [place](const Value& value) {
        place->account = value.stringValue();
        place->parent.clear();
    };
    // The choice of places is that of one account.
    account.hidden = mailbox || !place->parent.empty() || account.options.size() < 2;
    form->groups.push_back({.controls = {std::move(name), std::move(account)}});
    if (mailbox || !place->parent.empty())
        form->groups.back().controls.push_back(
            parentControl(place, mailbox ? mailbox->displayName() : std::string(), outline));
    form->buttons = {{.title = mailbox ? "Save" : "Create", .code = kSheetConfirmed, .isDefault = true},
                     {.title = "Cancel", .code = kSheetCancelled, .isCancel = true}};
    return form;
}

std::string countText(int count, const char* one, const char* many) {
    return count == 1 ? one : stringWithFormat(many, {count});
}

// Empty for a mailbox that lies in no other.
std::string parentOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

}  // namespace

Result<void> mailboxCanLieAt(const MailApplication& application, const MailAccount& account, const std::string& path) {
    for (const auto& each : account.mailboxes())
        if (const std::string above = each->displayName();
            path.starts_with(above + "/") && !application.rowOfMailbox(*each).takesDrops)
            return failure("Application", 2, stringWithFormat("Nothing can be put into “%@”.", {above}));
    return {};
}

Result<std::shared_ptr<Mailbox>> createMailbox(MailApplication& application, const std::string& account,
                                               const std::string& path) {
    if (const auto owner = MailAccount::accountWithIdentifier(account))
        if (auto can = mailboxCanLieAt(application, *owner, path); !can) return failed(can);
    return application.engine().library().createMailbox(account, path);
}

std::shared_ptr<Menu> makeMailboxContextMenu(const std::shared_ptr<Mailbox>& mailbox) {
    auto menu = std::make_shared<Menu>();
    const auto add = [&](const char* title, const char* action, const char* key = "") {
        const auto item = menu->addItemWithTitle(title, action, key);
        item->setKeyEquivalentModifierMask(0);
        item->setRepresentedObject(mailbox);
    };
    if (mailbox->kind() == MailboxKind::User) add("New Mailbox Inside…", "newMailboxInside:");
    add("New Mailbox…", "newMailbox:");
    menu->addItem(MenuItem::separatorItem());
    add("Rename or Move…", "changeMailbox:", "F2");
    add("Delete Mailbox…", "deleteMailbox:", "Delete");
    if (mailbox->kind() == MailboxKind::Trash) {
        menu->addItem(MenuItem::separatorItem());
        add("Empty Trash…", "emptyTrash:");
    }
    return menu;
}

std::shared_ptr<Mailbox> MailApplicationObject::mailboxFor(HostObject* sender) const {
    const auto of = mailboxOf(sender);
    if (!of) return viewer_->mailbox();
    return engine_.library().mailboxWithIdentifier(of->identifier());  // it may be gone since the menu was made
}

bool MailApplicationObject::canChangeMailbox(HostObject* sender) const {
    const auto mailbox = mailboxFor(sender);
    return mailbox && engine_.library().isChangeable(*mailbox);
}

void MailApplicationObject::askForNewMailbox(HostObject* sender, bool isInside) {
    const auto shown = mailboxFor(sender);
    const auto accounts = MailAccount::mailAccounts();
    if (accounts.empty()) return;
    auto place = std::make_shared<MailboxPlace>();
    place->account = (shown && shown->account() ? shown->account() : accounts.front())->identifier();
    if (isInside && shown) place->parent = shown->displayName();
    askForPlace(place);
}

void MailApplicationObject::askForChangedMailbox(HostObject* sender) {
    const auto mailbox = mailboxFor(sender);
    if (!mailbox || !mailbox->account() || !engine_.library().isChangeable(*mailbox)) return;
    auto place = std::make_shared<MailboxPlace>();
    place->mailbox = mailbox->identifier();
    place->account = mailbox->account()->identifier();
    const std::string path = mailbox->displayName();
    const std::size_t slash = path.rfind('/');
    place->name = slash == std::string::npos ? path : path.substr(slash + 1);
    if (slash != std::string::npos) place->parent = path.substr(0, slash);
    askForPlace(place);
}

// What can't be is told beside the field, in the same sheet again.
void MailApplicationObject::askForPlace(const std::shared_ptr<MailboxPlace>& place) {
    const auto weak = std::weak_ptr(std::static_pointer_cast<MailApplicationObject>(shared_from_this()));
    viewer_->window()->beginSheet(placeForm(place, engine_.library(), *outline_), [weak, place](int code) {
        const auto self = weak.lock();
        if (!self || code != kSheetConfirmed) return;
        const auto done = self->take(*place);
        if (done) return;
        place->error = done.error().description;
        self->askForPlace(place);
    });
}

Result<void> MailApplicationObject::take(const MailboxPlace& place) {
    if (place.mailbox.empty()) {
        const auto made = createMailbox(*this, place.account, place.path());
        if (!made) return failed(made);
        showMailboxes();
        viewer_->selectMailbox((*made)->identifier());
        return {};
    }
    return renameMailbox(place.mailbox, place.path());
}

Result<void> MailApplicationObject::renameMailbox(const std::string& identifier, const std::string& name) {
    const auto mailbox = engine_.library().mailboxWithIdentifier(identifier);
    if (!mailbox) return failure("Application", 1, "That mailbox is no longer there.");
    const std::string before = mailbox->displayName();
    if (const auto account = mailbox->account(); account && parentOf(name) != parentOf(before))
        if (auto can = mailboxCanLieAt(*this, *account, name); !can) return can;
    const auto shown = viewer_->mailbox();
    const bool isShown = shown && shown->account() == mailbox->account() &&
                         (shown->displayName() == before || shown->displayName().starts_with(before + "/"));
    const std::string shownName = isShown ? shown->displayName() : std::string();
    const auto renamed = engine_.library().renameMailbox(*mailbox, name);
    if (!renamed) return failed(renamed);
    showMailboxes();
    if (!isShown || !(*renamed)->account()) return {};
    const std::string wanted = (*renamed)->displayName() + shownName.substr(before.size());
    for (const auto& each : (*renamed)->account()->mailboxes())
        if (each->displayName() == wanted) viewer_->selectMailbox(each->identifier());
    return {};
}

void MailApplicationObject::deleteMailbox(HostObject* sender) {
    const auto mailbox = mailboxFor(sender);
    if (!mailbox || !engine_.library().isChangeable(*mailbox)) return;
    const auto below = engine_.library().mailboxesBelow(*mailbox);
    int messages = mailbox->messageCount();
    for (const auto& each : below)
        messages += each->messageCount();
    Alert alert;
    alert.messageText = stringWithFormat("Delete the mailbox “%@”?", {mailbox->displayName()});
    if (!below.empty())
        alert.informativeText = countText(static_cast<int>(below.size()), "The mailbox inside it goes as well. ",
                                          "The %ld mailboxes inside it go as well. ");
    if (messages == 0)
        alert.informativeText += "There are no messages in it.";
    else if (mailbox->isValidGmailLabel())
        alert.informativeText +=
            countText(messages, "Its message stays in the archive.", "%ld messages stay in the archive.");
    else
        alert.informativeText += countText(messages, "Its message is deleted for good. This can't be undone.",
                                           "%ld messages are deleted for good. This can't be undone.");
    alert.buttons = {"Delete", "Cancel"};
    if (alert.runModalSheetForWindow(*viewer_->window()) != kAlertFirstButtonReturn || terminated_) return;
    if (const auto removed = engine_.library().removeMailbox(*mailbox); !removed)
        return tell("The mailbox can't be deleted", removed.error().description);
    showMailboxes();
    viewer_->libraryDidChange();
}

}  // namespace qs
