#include "Compose/OutgoingHeaders.h"

#include "Foundation/Format.h"
#include "Mail/MessageHeaders.h"
#include "Mime/Addresses.h"
#include "Text/Ascii.h"
#include "Text/MailAddresses.h"
#include "Text/MailHeaderDate.h"
#include "Text/Utf8.h"

namespace qs {
namespace {

std::string joined(const std::vector<std::string>& entries) {
    std::string text;
    for (const std::string& entry : entries)
        for (const MailAddress& one : parseAddresses(entry))
            text += (text.empty() ? "" : ", ") + one.display();
    return text;
}

// An entry as it may be shown in an alert: one line, not longer than a line.
std::string shown(std::string_view entry) {
    std::string text;
    for (const char c : validUtf8(entry.substr(0, 200)))
        text += isAsciiControl(c) ? ' ' : c;
    return std::string(trimmedAscii(text));
}

}  // namespace

std::shared_ptr<MessageHeaders> outgoingHeaders(const OutgoingFields& fields, Date now) {
    auto headers = std::make_shared<MessageHeaders>();
    const auto set = [&](std::string_view key, const std::string& value) {
        if (!value.empty()) headers->setHeader(value, key);
    };
    if (!fields.fromAddress.empty()) set(MCHeaderKeyFrom, MailAddress{fields.fromName, fields.fromAddress}.display());
    set(MCHeaderKeyTo, joined(fields.to));
    set(MCHeaderKeyCc, joined(fields.cc));
    set(MCHeaderKeyBcc, joined(fields.bcc));
    headers->setHeader(fields.subject, MCHeaderKeySubject);
    for (const auto& [name, value] : fields.others)
        set(name, value);
    set(MCHeaderKeyDate, mailHeaderStringFromDate(now));
    if (!fields.messageID.empty()) set(MCHeaderKeyMessageId, "<" + fields.messageID + ">");
    set(MCHeaderKeyXUniversallyUniqueIdentifier, fields.uniqueID);
    return headers;
}

std::string unfinishedRecipients(const std::vector<std::string>& entries) {
    bool isUnfinished = false;
    for (const std::string& entry : entries)
        for (const MailAddress& one : parseAddresses(entry))
            isUnfinished = isUnfinished || !isDeliverableAddress(one.address);
    return isUnfinished ? joined(entries) : std::string();
}

bool hasRecipients(const OutgoingFields& fields) {
    for (const auto* entries : {&fields.to, &fields.cc, &fields.bcc})
        for (const std::string& entry : *entries)
            if (!trimmedAscii(entry).empty()) return true;
    return false;
}

std::optional<Obstacle> obstacleToSending(const OutgoingFields& fields) {
    if (fields.fromAddress.empty())
        return Obstacle{"There is no account to send from", "Add an account, then send the message again."};
    if (!hasRecipients(fields))
        return Obstacle{"The message has no recipients", "Enter at least one address in To, Cc or Bcc."};
    for (const auto* entries : {&fields.to, &fields.cc, &fields.bcc}) {
        for (const std::string& entry : *entries) {
            const auto addresses = parseAddresses(entry);
            bool isGood = !addresses.empty() || trimmedAscii(entry).empty();
            for (const MailAddress& one : addresses)
                isGood = isGood && isDeliverableAddress(one.address);
            if (!isGood)
                return Obstacle{stringWithFormat("“%@” is not an e-mail address", {shown(entry)}),
                                "Correct it or take it out, then send the message again."};
        }
    }
    return {};
}

}  // namespace qs
