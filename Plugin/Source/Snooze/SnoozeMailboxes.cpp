#include "Snooze/SnoozeMailboxes.h"

#include <algorithm>

#include "Foundation/Assertion.h"
#include "Foundation/Log.h"
#include "Mail/Library.h"
#include "Mail/Mailbox.h"
#include "MailCategories/MessageViewer_Quillstead.h"
#include "Platform.h"

namespace qs {

namespace {

// macOS 10.12 and what stands for it gave the operations other names.
bool hasNewNames() { return osMinor() >= 12; }

}  // namespace

std::string persistentIdentifierOf(const Mailbox& mailbox) {
    auto& object = const_cast<Mailbox&>(mailbox);  // the class runtime knows no const
    return hasNewNames() ? mailbox::persistentID(object) : mailbox::persistentIdentifier(object);
}

std::shared_ptr<Mailbox> mailboxWithPersistentIdentifier(const std::string& identifier) {
    if (identifier.empty()) return nullptr;
    Class* const cls = QSClassFromString("MFMailbox");
    return hasNewNames() ? mailbox::mailboxWithPersistentID.onClass(cls, identifier)
                         : mailbox::mailboxWithPersistentIdentifier.onClass(cls, identifier);
}

bool isSame(const Mailbox& one, const std::shared_ptr<Mailbox>& other) {
    return other && other->identifier() == one.identifier();
}

bool bearsLabel(const Message& message, const std::shared_ptr<Mailbox>& label) {
    return label && std::ranges::any_of(message.gmailLabels(), [&](const auto& each) { return isSame(*each, label); });
}

void changeGmailLabels(const MessageRef& message, Mailboxes added, Mailboxes removed) {
    const auto mailbox = message->mailbox();
    const auto store = mailbox ? mailbox->store() : nullptr;
    assertThat(store && store->isKindOf("MFLibraryIMAPStore"), "Gmail labels need to be IMAP-based");
    const GmailLabelChange labels{std::move(added), std::move(removed)};
    if (hasNewNames())
        library_imap_store::async_setGmailLabelsFromDictionary(store, labels, {message});
    else
        library_imap_store::async_setGmailLabelsFromDictionaryUpdatingServer(store, labels, {message}, true);
}

void moveAllCopies(const MessageRef& message, const std::string& messageID, Mailbox& to) {
    const auto library = Library::shared();
    const auto viewer =
        message_viewer_quillstead::viewerForMessage.onClass(QSClassFromString("MessageViewer"), message);
    if (!library || !viewer) return;
    const auto moved = viewer->transferMessages(
        library->messagesWithMessageIDHeader(messageID), to,
        {.deleteOriginals = true, .allowUndo = true, .isDeleteOperation = false, .isArchiveOperation = false});
    if (!moved) logError("A message stays where it is: " + moved.error().description);
}

}  // namespace qs
