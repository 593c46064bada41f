#include "Compose/Drafts.h"

#include <algorithm>
#include <set>

#include "AccountBook.h"
#include "Foundation/Log.h"
#include "Mail/MailAccount.h"

namespace qs {
namespace {

constexpr int kPage = 500;

std::vector<MessageSummary> all(MailLibrary& library, const MessageCriterion& criterion) {
    std::vector<MessageSummary> found;
    for (;;) {
        ListPage page = library.page(criterion, {}, static_cast<int>(found.size()), kPage);
        if (page.rows.empty()) return found;
        std::ranges::move(page.rows, std::back_inserter(found));
        if (static_cast<int>(found.size()) >= page.total) return found;
    }
}

void sortNewestFirst(std::vector<MessageSummary>& messages) {
    std::ranges::sort(messages, [](const MessageSummary& a, const MessageSummary& b) {
        return a.received != b.received ? a.received > b.received : a.id > b.id;
    });
}

// In the mailboxes of that kind of all accounts.
std::vector<MessageSummary> inAll(MailLibrary& library, const AccountBook& accounts, MailboxKind kind,
                                  std::string_view uniqueID) {
    std::vector<MessageSummary> found;
    for (const AccountRecord& account : accounts.all()) {
        const auto mailbox = library.mailbox(account.identifier, kind, false);
        if (!mailbox) continue;
        MessageCriterion criterion = mailbox->criterion();
        if (!uniqueID.empty())
            criterion = MessageCriterion::allOf(
                {criterion, MessageCriterion::with(MessageCriterion::Kind::UniqueIDIs, std::string(uniqueID))});
        std::ranges::move(all(library, criterion), std::back_inserter(found));
    }
    sortNewestFirst(found);
    return found;
}

}  // namespace

std::vector<MessageSummary> messagesWithUniqueID(MailLibrary& library, const AccountBook& accounts, MailboxKind kind,
                                                 std::string_view uniqueID) {
    if (uniqueID.empty()) return {};
    return inAll(library, accounts, kind, uniqueID);
}

void eraseDrafts(MailLibrary& library, const AccountBook& accounts, std::string_view uniqueID) {
    std::vector<std::int64_t> ids;
    for (const MessageSummary& draft : messagesWithUniqueID(library, accounts, MailboxKind::Drafts, uniqueID))
        ids.push_back(draft.id);
    if (ids.empty()) return;
    if (const auto erased = library.erase(ids); !erased)
        logError("The draft of a message that is in the outbox stays: " + erased.error().description);
}

void settleDoubleDrafts(MailLibrary& library, const AccountBook& accounts, std::string_view uniqueID) {
    std::set<std::string> seen;
    for (const MessageSummary& draft : inAll(library, accounts, MailboxKind::Drafts, uniqueID)) {
        if (draft.uniqueID.empty() || seen.insert(draft.uniqueID).second) continue;
        const auto mailbox = library.mailboxWithIdentifier(draft.mailbox);
        const auto account = mailbox ? mailbox->account() : nullptr;
        const auto trash = account ? library.mailbox(account->identifier(), MailboxKind::Trash, true) : nullptr;
        if (!trash) continue;
        const auto moved = library.move({draft.id}, *trash);
        if (moved)
            logInfo("An older version of the draft “" + draft.subject + "” was moved to the trash.");
        else
            logError("An older version of a draft stays beside the newer: " + moved.error().description);
    }
}

}  // namespace qs
