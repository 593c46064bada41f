#include "Compose/ReplyText.h"

#include <algorithm>
#include <optional>

#include "Foundation/DateFormatter.h"
#include "Foundation/Format.h"
#include "Html/HtmlDocument.h"
#include "Mail/MessageHeaders.h"
#include "Mail/SenderName.h"
#include "Mime/Addresses.h"
#include "Text/Ascii.h"
#include "Text/Escapes.h"
#include "Text/MailAddresses.h"
#include "Text/MailHeaderDate.h"

namespace qs {
namespace {

constexpr std::size_t kMostRecipients = 500;
constexpr std::size_t kMostReferences = 40;
constexpr std::size_t kLongestMessageID = 400;

// A line to write in, and the original below it where plug-ins look for it.
constexpr std::string_view kRoomToWrite = "<div><br></div><div><br></div>";
constexpr std::string_view kOriginalBegins = "<div class=\"AppleOriginalContents\">";

bool contains(const std::vector<std::string>& addresses, std::string_view address) {
    return std::ranges::any_of(addresses, [&](const std::string& a) { return equalsIgnoringCase(a, address); });
}

std::vector<MailAddress> addressesIn(const MessageHeaders& headers, std::string_view key) {
    std::vector<MailAddress> found;
    for (const std::string& value : headers.allHeadersForKey(key))
        for (MailAddress& one : parseAddresses(value))
            if (isDeliverableAddress(one.address) && found.size() < kMostRecipients) found.push_back(std::move(one));
    return found;
}

// Collects display forms, each address once over all fields.
class Collector {
public:
    void add(std::vector<std::string>& field, const std::vector<MailAddress>& addresses,
             const std::vector<std::string>& leftOut) {
        for (const MailAddress& one : addresses) {
            if (contains(taken_, one.address) || contains(leftOut, one.address)) continue;
            taken_.push_back(one.address);
            field.push_back(one.display());
        }
    }

private:
    std::vector<std::string> taken_;
};

// Prefixes pile up when several programs answer each other; one is enough.
std::string withPrefix(std::string_view subject, std::string_view prefix,
                       std::initializer_list<std::string_view> sameMeaning) {
    subject = trimmedAscii(subject);
    for (bool again = true; again;) {
        again = false;
        for (const std::string_view known : sameMeaning) {
            if (!startsWithIgnoringCase(subject, known)) continue;
            subject = trimmedAscii(subject.substr(known.size()));
            again = true;
        }
    }
    return std::string(prefix) + std::string(subject);
}

std::vector<std::string> idsIn(std::string_view value) {
    std::vector<std::string> ids;
    for (std::size_t start = value.find('<'); start != std::string_view::npos; start = value.find('<', start + 1)) {
        const std::size_t end = value.find('>', start);
        if (end == std::string_view::npos) break;
        const std::string_view id = value.substr(start, end - start + 1);
        const bool isClean = std::ranges::none_of(id, [](char c) { return c == ' ' || isAsciiControl(c); });
        if (id.size() > 2 && id.size() <= kLongestMessageID && isClean) ids.emplace_back(id);
    }
    return ids;
}

// Any byte but the first of a character that has several.
bool isInsideUtf8Character(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

std::string textOfField(const MessageHeaders& headers, std::string_view key) {
    std::string text;
    for (const MailAddress& one : addressesIn(headers, key))
        text += (text.empty() ? "" : ", ") + one.display();
    return text;
}

std::string dateText(const MessageHeaders& headers) {
    const auto value = headers.firstHeaderForKey(MCHeaderKeyDate);
    const auto date = value ? dateFromMailHeaderString(*value) : std::nullopt;
    if (date) return formatDate(*date, {.pattern = "d MMM yyyy, HH:mm", .locale = ""});
    return value.value_or("");
}

}  // namespace

Recipients replyRecipients(const MessageHeaders& original, bool toAll, const OwnAddresses& own) {
    const auto from = addressesIn(original, MCHeaderKeyFrom);
    const auto to = addressesIn(original, MCHeaderKeyTo), cc = addressesIn(original, MCHeaderKeyCc);
    const bool isOwn = !from.empty() && contains(own.account, from.front().address) && !to.empty();
    auto target = isOwn ? to : addressesIn(original, MCHeaderKeyReplyTo);
    if (target.empty()) target = from;

    Recipients found;
    Collector collector;
    if (toAll) {
        collector.add(found.to, target, own.account);
        collector.add(found.to, to, own.all);
        collector.add(found.cc, cc, own.all);
    }
    // Mail to oneself is answered to oneself.
    if (found.to.empty() && found.cc.empty()) collector.add(found.to, target, {});
    return found;
}

// Programs in other languages say it in their own words.
std::string replySubject(std::string_view subject) {
    return withPrefix(subject, "Re: ", {"Re:", "AW:", "Antw:", "SV:", "VS:", "Odp:", "RIF:"});
}

std::string forwardSubject(std::string_view subject) {
    return withPrefix(subject, "Fwd: ", {"Fwd:", "Fw:", "WG:", "Doorst:", "VL:", "TR:"});
}

std::string inReplyTo(const MessageHeaders& original) {
    const auto ids = idsIn(original.firstHeaderForKey(MCHeaderKeyMessageId).value_or(""));
    return ids.empty() ? std::string() : ids.front();
}

std::string referencesTo(const MessageHeaders& original) {
    auto ids = idsIn(original.firstHeaderForKey(MCHeaderKeyReferences).value_or(""));
    if (ids.empty()) {
        // Only a single id there is surely the one that was answered.
        ids = idsIn(original.firstHeaderForKey(MCHeaderKeyInReplyTo).value_or(""));
        if (ids.size() != 1) ids.clear();
    }
    if (const std::string own = inReplyTo(original); !own.empty()) {
        std::erase(ids, own);
        ids.push_back(own);
    }
    if (ids.size() > kMostReferences)
        ids.erase(ids.begin() + 1, ids.end() - static_cast<std::ptrdiff_t>(kMostReferences - 1));
    std::string joined;
    for (const std::string& id : ids)
        joined += (joined.empty() ? "" : " ") + id;
    return joined;
}

std::string attribution(const MessageHeaders& original) {
    const std::string date = dateText(original);
    const std::string name = senderDisplayName(original.firstHeaderForKey(MCHeaderKeyFrom).value_or(""));
    return date.empty() ? stringWithFormat("%@ wrote:", {name}) : stringWithFormat("On %@, %@ wrote:", {date, name});
}

std::string withKeptBlanks(std::string_view text) {
    constexpr std::size_t kTabStop = 8;
    std::string kept;
    std::size_t column = 0;  // in characters
    bool isMark = true;      // in the marks of quotation at the line's beginning, each of which may have a blank
    bool isBehind = false;   // behind what is seen, where a single blank is kept anyway
    for (const char c : text) {
        const bool isBlank = c == ' ' || c == '\t';
        isMark = isMark && (c == '>' || (c == ' ' && kept.ends_with('>')));
        std::size_t width = c == '\t' ? kTabStop - column % kTabStop : isInsideUtf8Character(c) ? 0 : 1;
        column += width;
        if (c == '\n') column = 0;
        if (!isBlank) {
            kept += c;
        } else if (isMark || isBehind) {
            kept += ' ';
            --width;
        }
        for (std::size_t n = 0; isBlank && n < width; ++n)
            kept += "\u00A0";
        isBehind = !isBlank && !isMark && c != '\n';
        isMark = isMark || c == '\n';
    }
    return kept;
}

std::string quotedForReply(const MessageHeaders& original, std::string_view safeBody) {
    return std::string(kRoomToWrite) + std::string(kOriginalBegins) + "<div>" +
           stringByEscapingXMLEntities(attribution(original)) + "</div><blockquote type=\"cite\">" +
           std::string(safeBody) + "</blockquote></div>";
}

std::string quotedForForward(const MessageHeaders& original, std::string_view safeBody) {
    std::string lines;
    const auto addLine = [&](std::string_view label, const std::string& text) {
        if (!text.empty())
            lines += "<div><b>" + std::string(label) + "</b> " + stringByEscapingXMLEntities(text) + "</div>";
    };
    addLine("From:", textOfField(original, MCHeaderKeyFrom));
    addLine("Subject:", original.firstHeaderForKey(MCHeaderKeySubject).value_or(""));
    addLine("Date:", dateText(original));
    addLine("To:", textOfField(original, MCHeaderKeyTo));
    addLine("Cc:", textOfField(original, MCHeaderKeyCc));
    return std::string(kRoomToWrite) + std::string(kOriginalBegins) +
           "<blockquote type=\"cite\"><div>Begin forwarded message:</div><div><br></div>" + lines + "<div><br></div>" +
           std::string(safeBody) + "</blockquote></div>";
}

}  // namespace qs
