#include "Library/MessageFacts.h"

#include <gmime/gmime.h>

#include <algorithm>

#include "Library/SearchText.h"
#include "Mail/MessageHeaders.h"
#include "Mime/MimeMessage.h"
#include "Text/Ascii.h"

namespace qs {

namespace {

constexpr std::size_t kLongestField = 2000, kLongestSnippet = 300, kIndexedBody = 16 * 1024, kIndexedRecipients = 4000,
                      kIndexedNames = 4000;
constexpr std::size_t kMostAddresses = 100, kMostReferences = 50;
constexpr std::string_view kReceived = "Received", kPriority = "X-Priority";

std::vector<MailAddress> addressesIn(const MessageHeaders& headers, std::string_view key) {
    std::vector<MailAddress> all;
    for (const std::string& value : headers.allHeadersForKey(key)) {
        for (MailAddress& each : parseAddresses(value)) {
            if (all.size() == kMostAddresses) return all;
            each.name = singleLine(each.name, kLongestField);
            each.address = singleLine(each.address, kLongestField);
            all.push_back(std::move(each));
        }
    }
    return all;
}

std::string displayOf(const std::vector<MailAddress>& addresses, std::size_t limit) {
    std::string text;
    for (const MailAddress& each : addresses) {
        const std::string shown = each.address.empty() ? each.name : each.display();
        if (shown.empty()) continue;
        if (!text.empty()) text += ", ";
        text += shown;
        if (text.size() > limit) break;
    }
    return singleLine(text, limit);
}

// "by mx.example.org with ESMTP id 4; Sun, 22 Nov 2026 22:00:00 +0000"
std::optional<Date> dateOfHop(const MessageHeaders& headers) {
    const auto received = headers.firstHeaderForKey(kReceived);
    const std::size_t semicolon = received ? received->rfind(';') : std::string::npos;
    if (semicolon == std::string::npos) return {};
    return mailDate(std::string_view(*received).substr(semicolon + 1));
}

int priorityIn(const MessageHeaders& headers) {
    const std::string value(trimmedAscii(headers.firstHeaderForKey(kPriority).value_or("")));
    return !value.empty() && value[0] >= '1' && value[0] <= '5' ? value[0] - '0' : 3;
}

// What an answer says it answers. A thread that was kept up for years names very many: its beginning and the last ones
// do.
std::vector<std::string> referencesIn(const MessageHeaders& headers) {
    std::vector<std::string> ids;
    for (const std::string_view key : {MCHeaderKeyReferences, MCHeaderKeyInReplyTo})
        for (const std::string& id : headers.messageIDListForKey(key))
            if (std::string text = singleLine(id, kLongestField); !text.empty()) ids.push_back(std::move(text));
    if (ids.size() > kMostReferences)
        ids.erase(ids.begin() + 1, ids.end() - static_cast<std::ptrdiff_t>(kMostReferences - 1));
    return ids;
}

void readBody(MessageFacts& facts, const MimeMessage& message, bool isWhole) {
    if (const auto plain = message.plainBody())
        facts.body = singleLine(*plain, kIndexedBody);
    else if (const auto html = message.htmlBody())
        facts.body = textOfHtml(*html, kIndexedBody);
    facts.snippet = singleLine(facts.body, kLongestSnippet);
    const auto attachments = message.attachments();
    for (const MimePart& part : attachments) {
        if (part.isInline) continue;
        ++facts.attachments;
        if (facts.body.size() < kIndexedBody + kIndexedNames)
            facts.body += " " + singleLine(part.fileName, kLongestField);
    }
    // A message cut short by us looks damaged at its end.
    if (isWhole) facts.damage = singleLine(message.damage(), kLongestField);
}

}  // namespace

std::optional<Date> mailDate(std::string_view field) {
    const std::string text = singleLine(field, 200);
    if (text.empty()) return {};
    GDateTime* const read = g_mime_utils_header_decode_date(text.c_str());
    if (!read) return {};
    const Date date{static_cast<double>(g_date_time_to_unix(read))};
    g_date_time_unref(read);
    // Nobody sent mail before that, and the texts of dates end with the year 9999.
    if (date.secondsSince1970 <= 0 || date.secondsSince1970 > 253'402'300'799.0) return {};
    return date;
}

namespace {

MessageFacts factsOf(const std::shared_ptr<MessageHeaders>& headers) {
    MessageFacts facts;
    facts.messageID = singleLine(headers->firstMessageIDForKey(MCHeaderKeyMessageId).value_or(""), kLongestField);
    facts.uniqueID =
        singleLine(headers->firstHeaderForKey(MCHeaderKeyXUniversallyUniqueIdentifier).value_or(""), kLongestField);
    facts.subject = singleLine(headers->firstHeaderForKey(MCHeaderKeySubject).value_or(""), kLongestField);
    facts.references = referencesIn(*headers);
    const auto from = addressesIn(*headers, MCHeaderKeyFrom);
    auto to = addressesIn(*headers, MCHeaderKeyTo);
    facts.sender = displayOf(from, kLongestField);
    facts.recipients = displayOf(to, kLongestField);
    for (const std::string_view key : {MCHeaderKeyCc, MCHeaderKeyBcc})
        for (MailAddress& each : addressesIn(*headers, key))
            to.push_back(std::move(each));
    facts.allRecipients = displayOf(to, kIndexedRecipients);
    facts.correspondents = from;
    facts.correspondents.insert(facts.correspondents.end(), to.begin(), to.end());
    facts.sent = mailDate(headers->firstHeaderForKey(MCHeaderKeyDate).value_or(""));
    facts.lastHop = dateOfHop(*headers);
    facts.priority = priorityIn(*headers);
    return facts;
}

}  // namespace

MessageFacts messageFacts(std::string_view content, bool isWhole) {
    const auto message = MimeMessage::parse(content);
    MessageFacts facts = factsOf(message->headers());
    readBody(facts, *message, isWhole);
    return facts;
}

MessageFacts headerFacts(std::string_view header) { return factsOf(parseHeaders(header)); }

}  // namespace qs
