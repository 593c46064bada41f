#include "CombinedOutbox.h"

namespace qs {

CombinedOutbox::CombinedOutbox(std::vector<std::shared_ptr<Mailbox>> outboxes)
    : Mailbox("MFMailbox"), outboxes_(std::move(outboxes)) {}

int CombinedOutbox::unreadCount() const {
    int count = 0;
    for (const auto& outbox : outboxes_)
        count += outbox->unreadCount();
    return count;
}

int CombinedOutbox::messageCount() const {
    int count = 0;
    for (const auto& outbox : outboxes_)
        count += outbox->messageCount();
    return count;
}

MessageCriterion CombinedOutbox::criterion() const {
    std::vector<MessageCriterion> parts;
    for (const auto& outbox : outboxes_)
        parts.push_back(outbox->criterion());
    return MessageCriterion::anyOf(std::move(parts));
}

}  // namespace qs
