#include "MailboxesOutlineObject.h"

#include <algorithm>

#include "Application/HostInstances.h"
#include "DeliveryService.h"
#include "Foundation/Assertion.h"
#include "Mail/MailAccount.h"
#include "MailApplicationObject.h"
#include "MailEngine.h"
#include "Models/ModelChanges.h"

namespace qs {
namespace {

constexpr const char* kClassName = "MailboxesOutlineViewStateStorage";
namespace storage = mailboxes_outline_view_state_storage;

// In these the number of messages says more than how many are unread.
bool countsAll(MailboxKind kind) { return kind == MailboxKind::Drafts || kind == MailboxKind::Outbox; }

}  // namespace

void MailboxesOutlineObject::defineClass() {
    Class& controller = ClassRegistry::current().define("MailboxesOutlineViewController");
    controller.add(mailboxes_outline_view_controller::badgeCountForItem, [](HostObject&, Mailbox& item) {
        return countsAll(item.kind()) ? item.messageCount() : item.unreadCount();
    });
    controller.add(mailboxes_outline_view_controller::validateDrop, [](HostObject&, Mailbox& item, int) {
        return item.kind() == MailboxKind::Outbox ? kDragOperationNone : kDragOperationMove;
    });
    ClassRegistry::current()
        .define("MailboxOutlineItemController")
        .add(mailbox_outline_item_controller::mailboxOutlineItemViewShouldDisplayImage,
             [](HostObject&, Mailbox&) { return std::string(); });
    Class& cls = ClassRegistry::current().define(kClassName);
    cls.addClassMethod(storage::sharedInstance, [](Class&) -> std::shared_ptr<MailboxesOutlineViewStateStorage> {
        const auto application = std::dynamic_pointer_cast<MailApplicationObject>(MailApp::shared());
        return application ? application->outline() : nullptr;
    });
    cls.add(storage::setShouldShowOutbox,
            [](HostObject& self, bool flag) { static_cast<MailboxesOutlineObject&>(self).setShouldShowOutbox(flag); });
}

MailboxesOutlineObject::MailboxesOutlineObject(MailEngine& engine)
    : MailboxesOutlineViewStateStorage(kClassName),
      engine_(engine),
      controller_(std::make_shared<MailboxesOutlineViewController>("MailboxesOutlineViewController")),
      itemController_(std::make_shared<MailboxOutlineItemController>("MailboxOutlineItemController")) {}

MailboxRow MailboxesOutlineObject::rowOf(Mailbox& mailbox) const {
    try {
        return {mailboxes_outline_view_controller::badgeCountForItem(controller_, mailbox),
                mailbox_outline_item_controller::mailboxOutlineItemViewShouldDisplayImage(itemController_, mailbox),
                takesDrops(mailbox)};
    } catch (const std::exception&) {
        logCaughtException("A mailbox is listed without its number");
        return {};
    }
}

bool MailboxesOutlineObject::takesDrops(Mailbox& mailbox) const {
    try {
        return mailboxes_outline_view_controller::validateDrop(controller_, mailbox, -1) != kDragOperationNone;
    } catch (const std::exception&) {
        logCaughtException("Nothing can be put into a mailbox just now");
        return false;
    }
}

void MailboxesOutlineObject::setShouldShowOutbox(bool flag) {
    if (std::exchange(shouldShowOutbox_, flag) != flag) noteModelChange();
}

bool MailboxesOutlineObject::lists(const Mailbox& mailbox, const Mailbox* viewed) const {
    if (mailbox.kind() != MailboxKind::Outbox || isWaitedIn(mailbox)) return true;
    if (viewed && viewed->identifier() == mailbox.identifier()) return true;
    return shouldShowOutbox_ && engine_.deliveries().waitingCount() == 0;
}

bool MailboxesOutlineObject::isWaitedIn(const Mailbox& outbox) const {
    if (outbox.messageCount() > 0) return true;
    const auto account = outbox.account();
    const auto taken = engine_.deliveries().taken();
    return account && std::ranges::any_of(
                          taken, [&](const DeliveryStatus& status) { return status.account == account->identifier(); });
}

void MailboxesOutlineObject::waitingDidChange() {
    if (shouldShowOutbox_ && engine_.deliveries().waitingCount() == 0) setShouldShowOutbox(false);
}

}  // namespace qs
