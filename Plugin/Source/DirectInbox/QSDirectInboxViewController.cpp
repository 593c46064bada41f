#include "DirectInbox/QSDirectInboxViewController.h"

#include <algorithm>
#include <utility>

#include "Application/MailApp.h"
#include "Application/MailboxesChooser.h"
#include "Core/QSPluginDelegate.h"
#include "Core/QSSession.h"
#include "DirectInbox/DirectInboxList.h"
#include "DirectInbox/SenderPictures.h"
#include "Foundation/NotificationCenter.h"
#include "Foundation/RunLoop.h"
#include "Mail/Mailbox.h"
#include "Models/Menu.h"
#include "Settings/UserDefaults.h"
#include "Snooze/SnoozeMailboxes.h"
#include "Text/Ascii.h"
#include "Viewer/ContactPictures.h"

namespace qs {

namespace {

constexpr std::string_view kClassName = "QSDirectInboxViewController";
constexpr TimeInterval kFirstReloadDelay = 0.5;
constexpr std::string_view kActiveIdentifiers = "QSDirectInboxActiveIdentifiers",
                           kShowOnlyUnread = "QSDirectInboxShowOnlyUnread",
                           kMessagesPerMailbox = "QSNumMessagesPerMailbox";

std::string_view defineClass() {
    Class& cls = ClassRegistry::current().define(kClassName);
    cls.add(Operation<void(HostObject*)>("addMailbox:"), [](HostObject& self, HostObject* sender) {
        dynamic_cast<QSDirectInboxViewController&>(self).addMailbox(sender);
    });
    return kClassName;
}

// What was chosen; else the application's inbox alone, which is not saved before the person changes the list.
std::vector<std::string> savedIdentifiers() {
    std::vector<std::string> identifiers;
    const Value saved = QSPluginDelegate::quillsteadDefaults().objectForKey(kActiveIdentifiers);
    for (const Value& each : saved.array())
        if (!each.string().empty()) identifiers.push_back(each.string());
    if (!saved.isNil()) return identifiers;
    const auto application = MailApp::shared();
    if (const auto inbox = application ? application->inbox() : nullptr)
        identifiers.push_back(persistentIdentifierOf(*inbox));
    return identifiers;
}

std::string mailboxOf(const QSDirectInboxRow& row) { return row[QSDirectInboxMailboxIdentifierKey].stringValue(); }

}  // namespace

QSDirectInboxViewController::QSDirectInboxViewController()
    : HostObject(defineClass()),
      activeMailboxIdentifiers_(savedIdentifiers()),
      photos_(NotificationCenter::defaultCenter().addObserver(
          std::string(PhotoAvailableNotification), [this](const Notification& notification) {
              if (QSSession::currentIfLoaded()) showPictureOf(notification.userInfo["Email"].stringValue());
          })) {}

std::shared_ptr<QSDirectInboxViewController> QSDirectInboxViewController::make() {
    std::shared_ptr<QSDirectInboxViewController> made(new QSDirectInboxViewController);
    RunLoop::main().after(kFirstReloadDelay, [weak = std::weak_ptr(made)] {
        if (const auto self = weak.lock()) self->reloadMailboxMessages();
    });
    return made;
}

UserDefaultsController& QSDirectInboxViewController::defaultsController() {
    return QSPluginDelegate::quillsteadDefaultsController();
}

std::string QSDirectInboxViewController::emptyMailboxText() const {
    return QSLocalizedString(defaultsController().defaults().boolForKey(kShowOnlyUnread)
                                 ? "No unread messages in last 7 days"
                                 : "No messages in last 7 days");
}

QSDirectInboxRow* QSDirectInboxViewController::rowWithIdentifier(std::string_view identifier) {
    const auto found = std::ranges::find(mailboxMessages_, identifier, &QSDirectInboxRow::identifier);
    return found == mailboxMessages_.end() ? nullptr : &*found;
}

void QSDirectInboxViewController::reloadMailboxMessages() {
    if (reloadIsDue_.exchange(true)) return;
    const auto self = std::static_pointer_cast<QSDirectInboxViewController>(shared_from_this());
    RunLoop::main().post([weak = std::weak_ptr(self)] {
        const auto controller = weak.lock();
        if (!controller) return;
        controller->reloadIsDue_ = false;  // also when this one is not done: the next one asked for must be
        if (QSSession::currentIfLoaded()) controller->computeList();
    });
}

void QSDirectInboxViewController::computeList() {
    const UserDefaults& defaults = defaultsController().defaults();
    auto rows = directInboxRows(activeMailboxIdentifiers_,
                                {.showOnlyUnread = defaults.boolForKey(kShowOnlyUnread),
                                 .messagesPerMailbox = defaults.integerForKey(kMessagesPerMailbox)},
                                RunLoop::main().now());
    willChangeValueForKey("mailboxMessages");
    mailboxMessages_ = std::move(rows);
    if (mailboxesMenu_) rebuildMailboxesMenu();
    didChangeValueForKey("mailboxMessages");
}

void QSDirectInboxViewController::showPictureOf(const std::string& address) {
    SenderPictures pictures;
    bool isShown = false;
    for (QSDirectInboxRow& row : mailboxMessages_) {
        const MessageRef& message = row.QSDirectInboxRepresentedMessage;
        if (!message || !equalsIgnoringCase(SenderPictures::addressOf(*message), address)) continue;
        row.values[std::string(QSDirectInboxMessageAvatarKey)] =
            pictures.of(*message, row[QSDirectInboxMessageSenderKey].stringValue());
        isShown = true;
    }
    if (isShown) rowDidChange();
}

void QSDirectInboxViewController::rowDidChange() {
    willChangeValueForKey("mailboxMessages");
    didChangeValueForKey("mailboxMessages");
}

void QSDirectInboxViewController::viewDidLoad() { rebuildMailboxesMenu(); }

void QSDirectInboxViewController::rebuildMailboxesMenu() {
    mailboxesMenu_ = std::make_shared<Menu>();
    MailboxesChooser chooser(nullptr);
    chooser.setRootMenu(mailboxesMenu_);
    chooser.refresh();
    updateTargetAndActionForMailboxMenu(*mailboxesMenu_);
}

void QSDirectInboxViewController::updateTargetAndActionForMailboxMenu(Menu& menu) {
    for (const auto& item : menu.itemArray()) {
        item->setTarget(shared_from_this());
        item->setAction("addMailbox:");
        const auto mailbox = std::dynamic_pointer_cast<Mailbox>(item->representedObject());
        if (mailbox && std::ranges::count(activeMailboxIdentifiers_, persistentIdentifierOf(*mailbox)) > 0)
            item->setState(1);
        if (item->submenu()) updateTargetAndActionForMailboxMenu(*item->submenu());
    }
}

void QSDirectInboxViewController::addMailbox(HostObject* sender) {
    const auto* item = dynamic_cast<MenuItem*>(sender);
    const auto mailbox = item ? std::dynamic_pointer_cast<Mailbox>(item->representedObject()) : nullptr;
    const std::string identifier = mailbox ? persistentIdentifierOf(*mailbox) : std::string();
    if (identifier.empty() || std::ranges::count(activeMailboxIdentifiers_, identifier) > 0) return;
    activeMailboxIdentifiers_.push_back(identifier);
    mailboxesDidChange();
}

void QSDirectInboxViewController::removeMailbox(const QSDirectInboxRow& row) {
    if (std::erase(activeMailboxIdentifiers_, mailboxOf(row)) > 0) mailboxesDidChange();
}

void QSDirectInboxViewController::moveMailboxUp(const QSDirectInboxRow& row) {
    const auto found = std::ranges::find(activeMailboxIdentifiers_, mailboxOf(row));
    if (found == activeMailboxIdentifiers_.end() || found == activeMailboxIdentifiers_.begin()) return;
    std::iter_swap(found, found - 1);
    mailboxesDidChange();
}

void QSDirectInboxViewController::moveMailboxDown(const QSDirectInboxRow& row) {
    const auto found = std::ranges::find(activeMailboxIdentifiers_, mailboxOf(row));
    if (found == activeMailboxIdentifiers_.end() || found + 1 == activeMailboxIdentifiers_.end()) return;
    std::iter_swap(found, found + 1);
    mailboxesDidChange();
}

void QSDirectInboxViewController::mailboxesDidChange() {
    defaultsController().defaults().setObject(Array(activeMailboxIdentifiers_.begin(), activeMailboxIdentifiers_.end()),
                                              kActiveIdentifiers);
    reloadMailboxMessages();
}

void QSDirectInboxViewController::toggleShowOnlyUnread(bool state) {
    willChangeValueForKey("emptyMailboxText");
    defaultsController().defaults().setObject(state, kShowOnlyUnread);
    didChangeValueForKey("emptyMailboxText");
    reloadMailboxMessages();
}

}  // namespace qs
