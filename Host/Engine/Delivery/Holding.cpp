// What waits in the outboxes: who holds it until when, and how it becomes drafts when nobody is left to hold it.
#include <algorithm>

#include "AccountBook.h"
#include "Delivery/DeliveryQueueObject.h"
#include "Mail/MailAccount.h"
#include "Mail/Mailbox.h"
#include "MailLibrary.h"
#include "MailReading.h"

namespace qs {

namespace {

constexpr int kRowsAtOnce = 1000;

}  // namespace

void DeliveryServiceObject::hold(const Message& message, Date until) {
    bool isNews = false;
    {
        const std::scoped_lock lock(lock_);
        const auto [held, isNew] = heldUntil_.emplace(message.libraryID(), until);
        isNews = isNew || held->second != until;
        held->second = until;
    }
    walkAgainAt(until);
    if (isNews) statusDidChange();
}

void DeliveryServiceObject::letGo(const Message& message) {
    mayLeave_ = message.libraryID();
    const std::scoped_lock lock(lock_);
    heldUntil_.erase(message.libraryID());
}

std::vector<MessageSummary> DeliveryServiceObject::waitingIn(const std::string& account) const {
    std::vector<MessageSummary> all;
    const auto outbox = library_.mailbox(account, MailboxKind::Outbox, false);
    if (!outbox) return all;
    for (;;) {
        auto page = library_.page(outbox->criterion(), {}, static_cast<int>(all.size()), kRowsAtOnce);
        std::move(page.rows.begin(), page.rows.end(), std::back_inserter(all));
        if (page.rows.empty() || static_cast<int>(all.size()) >= page.total) return all;
    }
}

DeliveryStatus DeliveryServiceObject::statusOf(const MessageSummary& summary) const {
    DeliveryStatus status;
    status.libraryID = summary.id;
    if (const auto mailbox = library_.mailboxWithIdentifier(summary.mailbox))
        if (const auto account = mailbox->account()) status.account = account->identifier();
    status.uniqueID = keyOf(summary);
    status.subject = summary.subject;
    status.to = summary.to;
    const DeliveryRecord record = records_.record(status.uniqueID);
    status.attempts = record.attempts;
    status.lastAnswer = record.lastAnswer;
    status.reachedSome = !record.reached.empty();
    status.state = record.attempts > 0 ? DeliveryStatus::State::Failed : DeliveryStatus::State::Waiting;
    const Date now = RunLoop::main().now();
    Date until = summary.received;  // of mail that is dated ahead, before anybody has looked at it
    {
        const std::scoped_lock lock(lock_);
        if (const auto held = heldUntil_.find(summary.id); held != heldUntil_.end()) until = held->second;
    }
    if (record.attempts > 0) until = records_.dueDate(status.uniqueID, now);
    if (until > now && !record.refused) status.until = until;
    return status;
}

int DeliveryServiceObject::waitingCount() const {
    auto count = static_cast<int>(taken().size());
    for (const auto& record : accounts_.all())
        if (const auto outbox = library_.mailbox(record.identifier, MailboxKind::Outbox, false))
            count += outbox->messageCount();
    return count;
}

std::optional<Date> DeliveryServiceObject::firstHeldUntil() const {
    std::optional<Date> first;
    const Date now = RunLoop::main().now();
    const std::scoped_lock lock(lock_);
    for (const auto& [id, until] : heldUntil_)
        if (until > now && (!first || until < *first)) first = until;
    return first;
}

void DeliveryServiceObject::turnHeldIntoDrafts(std::function<void(int, Result<void>)> done) {
    const auto turn = [this, done = std::move(done)] {
        int moved = 0;
        Result<void> result;
        for (const auto& record : accounts_.all()) {
            const auto each = turnHeldIntoDrafts(record.identifier, moved);
            if (!each) result = each;
        }
        RunLoop::main().post([done, moved, result] { done(moved, result); });
    };
    MailReading::of(library_).whenReadIn([this, alive = std::weak_ptr<bool>(alive_), turn] {
        if (!alive.expired()) queue_.add(turn);
    });
}

Result<void> DeliveryServiceObject::turnHeldIntoDrafts(const std::string& account, int& moved) {
    std::vector<std::int64_t> ids;
    for (const auto& summary : waitingIn(account)) {
        const DeliveryStatus status = statusOf(summary);
        if (status.state == DeliveryStatus::State::Waiting && status.until) ids.push_back(summary.id);
    }
    if (ids.empty()) return {};
    const auto drafts = library_.mailbox(account, MailboxKind::Drafts, true);
    if (!drafts)
        return failure(std::string(kDeliveryErrorDomain), static_cast<int>(DeliveryError::Failed),
                       "There is no mailbox for drafts.");
    auto marked = library_.setFlags(ids, {.draft = true});
    auto result = takeBack(ids, *drafts);
    moved += static_cast<int>(
        std::count_if(ids.begin(), ids.end(), [this](std::int64_t id) { return !library_.summary(id); }));
    return result ? marked : result;
}

}  // namespace qs
