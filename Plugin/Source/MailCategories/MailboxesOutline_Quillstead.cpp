// The patches of the list of mailboxes: the snooze mailbox shows how many messages it holds back, by the book of
// snoozed messages, has a picture of its own, and takes no messages by dragging, as that sets no date. Main thread.
#include "Core/PatchClass.h"
#include "Core/QSSession.h"
#include "Snooze/QSSnoozeManager.h"
#include "Viewer/MailboxesOutline.h"

namespace qs {

namespace {

const Operation<int(Mailbox&)> quillstead_badgeCountForItem{"quillstead_badgeCountForItem:"};
const Operation<unsigned(Mailbox&, int)> quillstead_validateDrop{
    "quillstead_outlineView:validateDrop:proposedItem:proposedChildIndex:"};
const Operation<std::string(Mailbox&)> quillstead_shouldDisplayImage{
    "quillstead_mailboxOutlineItemViewShouldDisplayImage:"};

bool isSnooze(const Mailbox& mailbox) {
    return QSSession::currentIfLoaded() && QSSnoozeManager::isSnoozeMailbox(mailbox);
}

void loadController() {
    PatchClass patch("MailboxesOutlineViewController_Quillstead");
    patch.add(quillstead_badgeCountForItem, [](HostObject& self, Mailbox& item) {
        return isSnooze(item) ? QSSnoozeManager::sharedManager().snoozedCountForMailbox(item)
                              : quillstead_badgeCountForItem(self, item);
    });
    patch.add(quillstead_validateDrop, [](HostObject& self, Mailbox& item, int index) {
        return isSnooze(item) ? kDragOperationNone : quillstead_validateDrop(self, item, index);
    });
    patch.addAsCategoryOf("MailboxesOutlineViewController");
    patch.exchange("MailboxesOutlineViewController", mailboxes_outline_view_controller::badgeCountForItem.selector(),
                   quillstead_badgeCountForItem.selector());
    patch.exchange("MailboxesOutlineViewController", mailboxes_outline_view_controller::validateDrop.selector(),
                   quillstead_validateDrop.selector());
    patch.finish();
}

void loadItemController() {
    PatchClass patch("MailboxOutlineItemController_Quillstead");
    patch.add(quillstead_shouldDisplayImage, [](HostObject& self, Mailbox& item) {
        return isSnooze(item) ? std::string("plugin:SidebarSnooze") : quillstead_shouldDisplayImage(self, item);
    });
    patch.addAsCategoryOf("MailboxOutlineItemController");
    patch.exchange("MailboxOutlineItemController",
                   mailbox_outline_item_controller::mailboxOutlineItemViewShouldDisplayImage.selector(),
                   quillstead_shouldDisplayImage.selector());
    patch.finish();
}

const PatchClassRegistration controllerRegistration(loadController), itemRegistration(loadItemController);

}  // namespace

}  // namespace qs
