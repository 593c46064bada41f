#include "DirectInbox/DirectInboxList.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "Core/QSSession.h"
#include "DirectInbox/DirectInboxIcons.h"
#include "DirectInbox/SenderPictures.h"
#include "Mail/Library.h"
#include "Mail/MailAccount.h"
#include "Mail/Mailbox.h"
#include "Mail/MessageFlagBits.h"
#include "Mail/SenderName.h"
#include "Mail/SnippetManager.h"
#include "MailCategories/MessageMarks.h"
#include "Snooze/SnoozeMailboxes.h"

namespace qs {

namespace {

constexpr TimeInterval kSevenDays = 604800;
constexpr std::size_t kUsualRows = 30;

using Snippets = std::map<MessageRef, std::string>;

void setUnlessEmpty(QSDirectInboxRow& row, std::string_view key, std::string text) {
    if (!text.empty()) row.values[std::string(key)] = std::move(text);
}

QSDirectInboxRow rowOf(QSDirectInboxRowType type, std::string identifier) {
    QSDirectInboxRow row;
    row.identifier = std::move(identifier);
    row.values[std::string(QSDirectInboxTypeKey)] = static_cast<int>(type);
    return row;
}

QSDirectInboxRow mailboxRow(const Mailbox& mailbox, const std::vector<std::string>& all, std::size_t index) {
    QSDirectInboxRow row = rowOf(QSDirectInboxRowType::Mailbox, all[index]);
    const auto account = mailbox.account();
    const std::string accountName = account ? account->displayName() : std::string();
    row.values[std::string(QSDirectInboxMailboxAccountNameKey)] =
        accountName.empty() ? QSLocalizedString("Mail") : accountName;
    setUnlessEmpty(row, QSDirectInboxMailboxNameKey, mailbox.displayName());
    row.values[std::string(QSDirectInboxMailboxIdentifierKey)] = all[index];
    row.values[std::string(QSDirectInboxMailboxIsFirstKey)] = index == 0;
    row.values[std::string(QSDirectInboxMailboxIsLastKey)] = index + 1 == all.size();
    return row;
}

QSDirectInboxRow messageRow(const MessageRef& message, const std::string& mailbox, const Snippets& snippets,
                            SenderPictures& pictures, const MessageMarks& marks) {
    QSDirectInboxRow row = rowOf(QSDirectInboxRowType::Message, mailbox + "#" + std::to_string(message->libraryID()));
    row.QSDirectInboxRepresentedMessage = message;
    const std::uint32_t flags = messageFlags(*message);
    const std::string sender = senderDisplayName(*message);
    setUnlessEmpty(row, QSDirectInboxMessageSubjectKey, message->subject());
    setUnlessEmpty(row, QSDirectInboxMessageSenderKey, sender);
    if (const auto snippet = snippets.find(message); snippet != snippets.end())
        setUnlessEmpty(row, QSDirectInboxMessageSnippetKey, snippet->second);
    const Date received = message->dateReceived();
    if (received != Date()) row.values[std::string(QSDirectInboxMessageDateKey)] = received;
    setUnlessEmpty(row, QSDirectInboxMessageAvatarKey, pictures.of(*message, sender));
    const auto set = [&](std::string_view key, Value value) { row.values[std::string(key)] = std::move(value); };
    set(QSDirectInboxMessageIsReadKey, static_cast<std::int64_t>(flags & kMessageIsRead));
    set(QSDirectInboxMessageJunkKey, static_cast<std::int64_t>(flags & kMessageIsJunk));
    set(QSDirectInboxMessagePriorityKey, (flags & kMessagePriorityMask) == kMessageHasHighPriority);
    const std::uint32_t mode = flags & (kMessageFlagColourMask | kMessageIsFlagged);
    set(QSDirectInboxMessageFlagModeKey, static_cast<std::int64_t>(flags & kMessageIsFlagged ? mode : 0));
    addFlagImages(row, *message, flags, marks);
    return row;
}

MessageList messagesOf(Library& library, const Mailbox& mailbox, const DirectInboxChoice& choice, Date now) {
    const Date since{std::trunc(now.secondsSince1970 - kSevenDays)};
    const auto criterion = MessageCriterion::allOf(
        {mailbox.criterion(), MessageCriterion::with(MessageCriterion::Kind::ReceivedSince, since)});
    MessageList messages = library.messagesMatchingCriterion(criterion, 0, kSearchStore);
    std::erase_if(messages, [&](const MessageRef& message) {
        const MessageFlags flags = message->flags();
        return flags.deleted || (choice.showOnlyUnread && flags.seen);
    });
    std::ranges::sort(messages, std::ranges::greater(),
                      [](const MessageRef& message) { return message->dateReceived(); });
    const auto most = static_cast<std::size_t>(std::max<std::int64_t>(choice.messagesPerMailbox, 0));
    if (messages.size() > most) messages.resize(most);
    return messages;
}

Snippets snippetsOf(const MessageList& messages) {
    const auto manager = snippet_manager::sharedInstance.onClass(QSClassFromString("MFSnippetManager"));
    return snippet_manager::fetchSnippetsForMessages(manager, messages);
}

struct Section {
    std::size_t index;  // of its mailbox in the list
    std::shared_ptr<Mailbox> mailbox;
    MessageList messages;
    Snippets snippets;
};

std::vector<Section> sectionsOf(Library& library, const std::vector<std::string>& mailboxIdentifiers,
                                const DirectInboxChoice& choice, Date now) {
    std::vector<Section> sections;
    for (std::size_t i = 0; i < mailboxIdentifiers.size(); ++i)
        if (auto mailbox = mailboxWithPersistentIdentifier(mailboxIdentifiers[i])) {
            MessageList messages = messagesOf(library, *mailbox, choice, now);
            Snippets snippets = snippetsOf(messages);
            sections.push_back({i, std::move(mailbox), std::move(messages), std::move(snippets)});
        }
    return sections;
}

// One look for the messages of all mailboxes.
MessageMarks marksOf(const std::vector<Section>& sections) {
    std::vector<std::string> ids;
    for (const Section& section : sections)
        for (const MessageRef& message : section.messages)
            if (std::string id = message->messageID(); !id.empty()) ids.push_back(std::move(id));
    return MessageMarks(ids);
}

}  // namespace

std::vector<QSDirectInboxRow> directInboxRows(const std::vector<std::string>& mailboxIdentifiers,
                                              const DirectInboxChoice& choice, Date now) {
    std::vector<QSDirectInboxRow> rows;
    rows.reserve(kUsualRows);
    const auto library = Library::shared();
    if (!library) return rows;
    const std::vector<Section> sections = sectionsOf(*library, mailboxIdentifiers, choice, now);
    const MessageMarks marks = marksOf(sections);
    SenderPictures pictures;
    for (const Section& section : sections) {
        const std::string& identifier = mailboxIdentifiers[section.index];
        rows.push_back(mailboxRow(*section.mailbox, mailboxIdentifiers, section.index));
        for (const MessageRef& message : section.messages)
            rows.push_back(messageRow(message, identifier, section.snippets, pictures, marks));
        if (section.messages.empty()) rows.push_back(rowOf(QSDirectInboxRowType::EmptyMailbox, identifier + "#empty"));
    }
    return rows;
}

}  // namespace qs
