#include "CombinedMailbox.h"

namespace qs {

CombinedMailbox::CombinedMailbox(std::string identifier, std::string displayName, MailboxKind kind,
                                 std::vector<std::shared_ptr<Mailbox>> parts)
    : Mailbox("MFMailbox"),
      identifier_(std::move(identifier)),
      displayName_(std::move(displayName)),
      kind_(kind),
      parts_(std::move(parts)) {}

int CombinedMailbox::unreadCount() const {
    int count = 0;
    for (const auto& part : parts_)
        count += part->unreadCount();
    return count;
}

int CombinedMailbox::messageCount() const {
    int count = 0;
    for (const auto& part : parts_)
        count += part->messageCount();
    return count;
}

MessageCriterion CombinedMailbox::criterion() const {
    std::vector<MessageCriterion> criteria;
    for (const auto& part : parts_)
        criteria.push_back(part->criterion());
    return MessageCriterion::anyOf(std::move(criteria));
}

}  // namespace qs
