#include "MailApplication.h"

#include <algorithm>
#include <utility>

#include "AccountBook.h"
#include "Application/EventMonitors.h"
#include "Application/HostInstances.h"
#include "Application/InterfaceClasses.h"
#include "CombinedMailbox.h"
#include "ComposeWindow.h"
#include "ContactPictures.h"
#include "DeliveryService.h"
#include "Foundation/Assertion.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"
#include "HeaderObject.h"
#include "HostImages.h"
#include "HostSettings.h"
#include "JunkMailBanner.h"
#include "Mail/MailAccount.h"
#include "Mail/Mailbox.h"
#include "MailApplicationObject.h"
#include "MailLibrary.h"
#include "MailSync.h"
#include "MailboxesOutlineObject.h"
#include "Models/Alert.h"
#include "Models/ModelChanges.h"
#include "Models/View.h"
#include "PersonMenu.h"
#include "PreferencesWindowObject.h"
#include "Text/Ascii.h"
#include "UserNotifications.h"
#include "ViewerObject.h"

namespace qs {
namespace {

constexpr std::size_t kMostNotices = 20;
constexpr std::string_view kViewerWindow = "viewer";

}  // namespace

std::shared_ptr<MailApplication> MailApplication::make(MailEngine& engine) {
    defineInterfaceClasses();
    MailApplicationObject::defineClass();
    ViewerObject::defineClasses();
    defineBannerClasses();
    defineHeaderClass();
    PreferencesWindowObject::defineClasses();
    defineContactPictureClasses();
    definePersonClass();
    ComposeWindow::defineClasses();
    MailboxesOutlineObject::defineClass();
    UserNotificationsObject::defineClass();
    registerHostSettings();

    auto application = std::make_shared<MailApplicationObject>(engine);
    application->begin();
    HostInstances& instances = HostInstances::current();
    instances.application = application;
    // Weak: what a plug-in keeps must not keep a host that has gone.
    instances.frontmostViewer = [weak = std::weak_ptr(application)]() -> std::shared_ptr<MessageViewer> {
        const auto alive = weak.lock();
        return alive ? std::static_pointer_cast<MessageViewer>(alive->viewer().shared_from_this()) : nullptr;
    };
    instances.singleMessageViewer =
        [weak = std::weak_ptr(application)](const MessageRef& message) -> std::shared_ptr<MessageViewer> {
        const auto alive = weak.lock();
        return alive ? alive->viewerForMessage(*message) : nullptr;
    };
    ComposeWindow::recover(*application);
    return application;
}

std::shared_ptr<MessageViewer> MailApplicationObject::viewerForMessage(const Message& message) {
    if (terminated_) return nullptr;
    auto viewer = std::make_shared<ViewerObject>(*this, "SingleMessageViewer");
    viewer->beginWith(message, *viewer_);
    return viewer;
}

MailApplicationObject::MailApplicationObject(MailEngine& engine)
    : MailApplication("MailApp"), engine_(engine), icon_(hostImage("ApplicationIcon")) {}

void MailApplicationObject::begin() {
    outline_ = std::make_shared<MailboxesOutlineObject>(engine_);
    viewer_ = std::make_shared<ViewerObject>(*this);
    viewer_->begin();
    preferences_ = std::make_shared<PreferencesWindowObject>();
    preferences_->begin(engine_);
    showMailboxes();
    observe();
    takeNotices();
}

void MailApplicationObject::observe() {
    NotificationCenter& centre = NotificationCenter::defaultCenter();
    observations_.push_back(centre.addObserver(std::string(MailLibraryDidChangeNotification), [this](const auto&) {
        showMailboxes();
        viewer_->libraryDidChange();
        if (!accountToShow_.empty()) showInboxOf(std::string(accountToShow_));
        takeNotices();
        dropSettledNotices();
        outline_->waitingDidChange();
        noteModelChange();
    }));
    observations_.push_back(centre.addObserver(std::string(DeliveryStatusDidChangeNotification), [this](const auto&) {
        dropSettledNotices();
        outline_->waitingDidChange();
        noteModelChange();
    }));
    observations_.push_back(centre.addObserver(std::string(MailboxDisplayCountDidChangeNotification),
                                               [](const auto&) { noteModelChange(); }));
    observations_.push_back(centre.addObserver(std::string(MailSyncStatusDidChangeNotification), [this](const auto&) {
        takeNotices();
        noteModelChange();
    }));
    observations_.push_back(centre.addObserver("MailDeliveryDidFail", [this](const Notification& notification) {
        const std::string text = notification.userInfo["text"].stringValue();
        addNotice(text.empty() ? "A message could not be sent. It waits in the outbox." : text,
                  notification.userInfo["waiting"].stringValue());
    }));
}

void MailApplicationObject::takeNotices() {
    for (auto& text : engine_.takeNotices())
        addNotice(std::move(text));
}

// What was said of a message that has left, or was taken back, would only make somebody wonder.
void MailApplicationObject::dropSettledNotices() {
    if (waitingOfNotice_.empty()) return;
    const auto taken = engine_.deliveries().taken();
    std::erase_if(waitingOfNotice_, [&](const auto& entry) {
        const auto& [notice, uniqueID] = entry;
        const auto criterion = MessageCriterion::with(MessageCriterion::Kind::UniqueIDIs, uniqueID);
        const MessageList copies = engine_.library().messagesMatchingCriterion(criterion, 0, kSearchStore);
        const bool waits = std::ranges::find(taken, uniqueID, &DeliveryStatus::uniqueID) != taken.end() ||
                           std::ranges::any_of(copies, [](const MessageRef& copy) {
                               return copy->mailbox() && copy->mailbox()->kind() == MailboxKind::Outbox;
                           });
        if (!waits) std::erase_if(notices_, [&](const Notice& each) { return each.id == notice; });
        return !waits;
    });
}

bool MailApplicationObject::listsMailbox(const Mailbox& mailbox) const {
    const auto viewed = viewer_->mailbox();
    return outline_->lists(mailbox, viewed.get());
}

MainViewer& MailApplicationObject::viewer() { return *viewer_; }
PreferencesWindow& MailApplicationObject::preferences() { return *preferences_; }

std::shared_ptr<Mailbox> MailApplicationObject::_mailboxBeingViewed() const { return viewer_->mailbox(); }

std::shared_ptr<Mailbox> MailApplicationObject::outbox() const {
    std::vector<std::shared_ptr<Mailbox>> outboxes;
    for (const auto& account : MailAccount::mailAccounts())
        if (auto outbox = account->_outboxMailboxCreateIfNeeded(false)) outboxes.push_back(std::move(outbox));
    return std::make_shared<CombinedMailbox>("outbox", "Outbox", MailboxKind::Outbox, std::move(outboxes));
}

std::shared_ptr<Mailbox> MailApplicationObject::inbox() const {
    std::vector<std::shared_ptr<Mailbox>> inboxes;
    for (const auto& account : MailAccount::mailAccounts())
        if (auto inbox = account->inboxMailbox()) inboxes.push_back(std::move(inbox));
    if (inboxes.size() == 1) return inboxes.front();
    return std::make_shared<CombinedMailbox>("inbox", "Inbox", MailboxKind::Inbox, std::move(inboxes));
}

std::string MailApplicationObject::frontWindowIdentifier() const {
    if (viewerInFront_ || composeWindows_.empty()) return std::string(kViewerWindow);
    return composeWindows_.back()->window()->identifier();
}

std::shared_ptr<Window> MailApplicationObject::mainWindow() const {
    if (terminated_) return nullptr;
    auto window = viewerInFront_ || composeWindows_.empty() ? viewer_->window() : composeWindows_.back()->window();
    return window && window->isVisible() ? window : nullptr;
}

void MailApplicationObject::activateIgnoringOtherApps(bool) { requestFromPage("focus", frontWindowIdentifier()); }

void MailApplicationObject::setApplicationIconImage(std::string image) {
    if (icon_ == image) return;
    icon_ = std::move(image);
    noteModelChange();
}

std::string MailApplicationObject::mainBundleImage(std::string_view name) const { return hostImage(name); }

void MailApplicationObject::showPreferencesPanel(HostObject*) { preferences_->show({}); }

void MailApplicationObject::orderFrontCharacterPalette(HostObject*) {
    requestFromPage("characterPalette", frontWindowIdentifier());
}

ResponderChain MailApplicationObject::responders() const {
    ResponderChain chain;
    if (!viewerInFront_ && !composeWindows_.empty()) chain.push_back(composeWindows_.back()->controller());
    chain.push_back(viewer_);
    chain.push_back(std::const_pointer_cast<HostObject>(shared_from_this()));
    std::erase(chain, nullptr);
    return chain;
}

bool MailApplicationObject::sendAction(std::string_view selector, HostObject* target, HostObject* sender) {
    if (terminated_) return false;
    const auto responder = responderFor(selector, target, responders());
    if (!responder || !isValidFor(*responder, sender)) return false;
    try {
        const Action action(selector);
        action(*responder, sender);
    } catch (const std::exception&) {
        logCaughtException(stringWithFormat("The action %@ failed", {selector}));
        addNotice("Something went wrong inside the program, and what you asked for was not done. The log tells more.");
    }
    return true;
}

void MailApplicationObject::showMailboxes() {
    menu_.showMailboxes(MailAccount::mailAccounts(),
                        [this](Mailbox& mailbox) { return outline_->takesDrops(mailbox); });
}

MailboxRow MailApplicationObject::rowOfMailbox(Mailbox& mailbox) const { return outline_->rowOf(mailbox); }

bool MailApplicationObject::isEnabled(MenuItem& item) { return !terminated_ && isEnabledIn(responders(), item); }

bool MailApplicationObject::choose(MenuItem& item) {
    if (item.isSeparatorItem() || !item.isEnabled().value_or(true)) return false;
    const auto alive = item.shared_from_this();
    return sendAction(item.action(), item.target().get(), &item);
}

std::shared_ptr<Menu> MailApplicationObject::contextualMenuOfMailbox(std::string_view identifier) {
    const auto mailbox = engine_.library().mailboxWithIdentifier(identifier);
    return mailbox ? makeMailboxContextMenu(mailbox) : nullptr;
}

std::shared_ptr<Menu> MailApplicationObject::contextualMenu() {
    auto menu = makeContextualMenu(MailAccount::mailAccounts(),
                                   [this](Mailbox& mailbox) { return outline_->takesDrops(mailbox); });
    try {
        mail_app::willPresentContextualMenu(*this, *menu);
    } catch (const std::exception&) {
        logCaughtException("The contextual menu is shown as far as it was made");
    }
    return menu;
}

void MailApplicationObject::finishLaunching() {
    if (std::exchange(launched_, true)) return;
    // Only now, when all plug-ins stand, is it asked for its items.
    viewer_->makeToolbar();
    NotificationCenter::defaultCenter().post(MailApplicationDidFinishLaunchingNotification, this);
    if (engine_.accounts().all().empty()) askForNewAccount();
}

void MailApplicationObject::terminate() {
    if (std::exchange(terminated_, true)) return;
    const auto alive = shared_from_this();
    for (const auto& window : std::vector(composeWindows_)) {
        try {
            if (const auto saved = window->saveDraft(); !saved)
                logError("The draft “" + window->subject() + "” could not be saved: " + saved.error().description);
        } catch (const std::exception&) {
            logCaughtException("A draft could not be saved");
        }
    }
    NotificationCenter::defaultCenter().post(NSApplicationWillTerminateNotification, this);
    observations_.clear();
    preferences_->close();
    composeWindows_.clear();
    viewer_->end();
    pageRequestHandler_ = nullptr;
    quitHandler_ = nullptr;
    HostInstances& instances = HostInstances::current();
    if (instances.application.get() != this) return;
    instances.application.reset();
    instances.frontmostViewer = nullptr;
    instances.singleMessageViewer = nullptr;
}

void MailApplicationObject::setActive(bool active) {
    if (terminated_ || std::exchange(active_, active) == active) return;
    NotificationCenter::defaultCenter().post(
        active ? NSApplicationDidBecomeActiveNotification : NSApplicationWillResignActiveNotification, this);
    if (active) preferences_->tellThatItIsKey();
    // The page sees no clicks in other programs, only that it lost the focus to them.
    if (!active) EventMonitors::current().dispatchElsewhere({.mask = kLeftMouseDownMask});
}

void MailApplicationObject::presentError(const Error& error) {
    Alert alert;
    alert.messageText = error.description;
    alert.runModal();
}

void MailApplicationObject::addNotice(std::string text, std::string waiting) {
    if (text.empty() || std::ranges::find(notices_, text, &Notice::text) != notices_.end()) return;
    logInfo("Told: " + text);
    if (notices_.size() == kMostNotices) notices_.erase(notices_.begin());
    notices_.push_back({++lastNotice_, std::move(text)});
    if (!waiting.empty()) waitingOfNotice_[lastNotice_] = std::move(waiting);
    noteModelChange();
}

void MailApplicationObject::dismissNotice(int id) {
    if (std::erase_if(notices_, [&](const Notice& notice) { return notice.id == id; }) > 0) noteModelChange();
}

void MailApplicationObject::tell(std::string title, std::string text) {
    RunLoop::main().post([title = std::move(title), text = std::move(text)] {
        Alert alert;
        alert.messageText = title;
        alert.informativeText = text;
        alert.runModal();
    });
}

void MailApplicationObject::setPageRequestHandler(std::function<void(std::string_view, std::string_view)> handler) {
    pageRequestHandler_ = std::move(handler);
}

void MailApplicationObject::requestFromPage(std::string_view what, std::string_view window) {
    if (pageRequestHandler_) pageRequestHandler_(what, window);
}

}  // namespace qs
