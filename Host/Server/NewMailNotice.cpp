#include "NewMailNotice.h"

#include <boost/json.hpp>

#include "Foundation/NotificationCenter.h"
#include "HostSettings.h"
#include "Mail/Mailbox.h"
#include "Mail/SenderName.h"
#include "MailLibrary.h"
#include "UserNotifications.h"

namespace qs {

namespace json = boost::json;

namespace {

bool isNews(MailLibrary& library, const MessageSummary& summary) {
    const auto mailbox = library.mailboxWithIdentifier(summary.mailbox);
    return mailbox && mailbox->kind() == MailboxKind::Inbox && !summary.flags.seen && !summary.flags.junk &&
           !summary.flags.deleted;
}

}  // namespace

std::string newMailNotice(MailLibrary& library, const Notification& added) {
    if (!notifiesOfNewMail() || added.userInfo["duringOpen"].boolValue()) return {};
    const bool isAsked = added.name == UserNotificationWasPostedNotification;
    int count = 0;
    std::optional<MessageSummary> newest;
    for (const Value& id : added.userInfo["messages"].array()) {
        auto summary = library.summary(id.integerValue());
        if (!summary || (!isAsked && !isNews(library, *summary))) continue;
        ++count;
        if (!newest || newest->received < summary->received) newest = std::move(summary);
    }
    if (!newest) return {};
    json::object notice{{"type", "newMail"}, {"count", count}, {"id", newest->id}};
    if (notificationsTellContent() && count == 1) {
        notice["from"] = senderDisplayName(newest->from);
        notice["subject"] = newest->subject;
    }
    return json::serialize(notice);
}

}  // namespace qs
