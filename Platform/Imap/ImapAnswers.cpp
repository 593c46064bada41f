#include "Imap/ImapAnswers.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cmath>

#include "Text/Ascii.h"

namespace qs {

namespace {

constexpr std::array<std::string_view, 12> kMonths{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                   "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
constexpr std::size_t kMostCopied = 1'000'000;

// Without \Recent, which is no message's property but this connection's, and gone from later versions.
ImapFlags flagsFrom(const ImapItem& item) {
    ImapFlags flags;
    flags.reserve(item.items.size());
    for (const ImapItem& flag : item.items)
        if (!flag.text.empty() && !flag.is("\\Recent")) flags.push_back(flag.text);
    return flags;
}

ImapUse useOf(std::string_view attribute) {
    struct Known {
        std::string_view attribute;
        ImapUse use;
    };
    // The later ones are XLIST's names, from before RFC 6154.
    static constexpr Known kKnown[] = {
        {"\\All", ImapUse::All},         {"\\Archive", ImapUse::Archive},     {"\\Drafts", ImapUse::Drafts},
        {"\\Flagged", ImapUse::Flagged}, {"\\Important", ImapUse::Important}, {"\\Junk", ImapUse::Junk},
        {"\\Sent", ImapUse::Sent},       {"\\Trash", ImapUse::Trash},         {"\\AllMail", ImapUse::All},
        {"\\Spam", ImapUse::Junk},       {"\\Starred", ImapUse::Flagged}};
    for (const Known& known : kKnown)
        if (equalsIgnoringCase(attribute, known.attribute)) return known.use;
    return ImapUse::None;
}

char delimiterFrom(const ImapItem& item) { return item.isNil() || item.text.size() != 1 ? '\0' : item.text[0]; }

std::vector<ImapNamespace> namespacesIn(const ImapItem& list) {
    std::vector<ImapNamespace> result;
    for (const ImapItem& each : list.items)
        if (each.items.size() >= 2) result.push_back({each.items[0].text, delimiterFrom(each.items[1])});
    return result;
}

// Servers repeat the names of the fields, each in its own way.
bool isContent(const ImapItem& name) {
    constexpr std::string_view kFields = "BODY[HEADER.FIELDS";
    return name.is("BODY[]") || name.is("BODY[HEADER]") ||
           (name.kind == ImapItem::Kind::Atom && equalsIgnoringCase(name.text.substr(0, kFields.size()), kFields));
}

// "BODY[]<4096>": nothing for other names.
std::optional<std::uint64_t> pieceStart(const ImapItem& name) {
    constexpr std::string_view kPiece = "BODY[]<";
    const std::string_view text = name.text;
    if (name.kind != ImapItem::Kind::Atom || !equalsIgnoringCase(text.substr(0, kPiece.size()), kPiece)) return {};
    std::uint64_t start = 0;
    const char* const last = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data() + kPiece.size(), last, start);
    if (error != std::errc() || std::string_view(end, static_cast<std::size_t>(last - end)) != ">") return {};
    return start;
}

std::optional<int> digits(std::string_view text) {
    int value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || text.empty() || value < 0) return {};
    return value;
}

// "1:3,5" one by one, in the order of the text.
std::vector<std::uint32_t> inOrder(const std::string& text) {
    std::vector<std::uint32_t> result;
    for (std::size_t start = 0; start <= text.size();) {
        const std::size_t end = std::min(text.find(',', start), text.size());
        const auto part = ImapUidSet::parse(std::string_view(text).substr(start, end - start));
        start = end + 1;
        if (!part || part->count() + result.size() > kMostCopied) return {};
        for (const std::uint32_t uid : part->uids())
            result.push_back(uid);
    }
    return result;
}

std::string padded(long long number, std::size_t width) {
    const std::string text = std::to_string(number);
    return std::string(width - std::min(width, text.size()), '0') + text;
}

std::chrono::year_month_day dayOf(Date date) {
    return std::chrono::year_month_day(
        std::chrono::floor<std::chrono::days>(std::chrono::sys_time<std::chrono::seconds>(
            std::chrono::seconds(static_cast<long long>(std::floor(date.secondsSince1970))))));
}

}  // namespace

bool hasImapFlag(const ImapFlags& flags, std::string_view flag) {
    return std::any_of(flags.begin(), flags.end(), [&](const auto& each) { return equalsIgnoringCase(each, flag); });
}

ImapMessage messageFrom(ImapResponse& fetch) {
    ImapMessage message;
    message.sequence = fetch.number;
    if (fetch.items.empty()) return message;
    std::vector<ImapItem>& items = fetch.items.front().items;
    for (std::size_t i = 0; i + 1 < items.size(); i += 2) {
        const ImapItem& name = items[i];
        ImapItem& value = items[i + 1];
        if (name.is("UID")) message.uid = value.number32().value_or(0);
        if (name.is("FLAGS")) message.flags = flagsFrom(value);
        if (name.is("INTERNALDATE")) message.internalDate = dateFromImap(value.text);
        if (name.is("RFC822.SIZE")) message.size = value.number();
        if (name.is("MODSEQ") && !value.items.empty()) message.modSeq = value.items[0].number().value_or(0);
        if (name.is("X-GM-MSGID")) message.gmailMessage = value.number().value_or(0);
        if (name.is("X-GM-THRID")) message.gmailThread = value.number().value_or(0);
        if (isContent(name) && !value.isNil()) message.content = std::move(value.text);
        if (const auto start = pieceStart(name)) {
            message.contentStart = start;
            if (!value.isNil()) message.content = std::move(value.text);  // none is no message, not one that ends here
        }
        if (name.is("X-GM-LABELS")) {
            message.gmailLabels.emplace();
            for (const ImapItem& label : value.items)
                message.gmailLabels->push_back(ImapMailboxName::fromWire(label.text));
        }
    }
    return message;
}

std::optional<ImapMailbox> mailboxFrom(const ImapResponse& list) {
    if (list.items.size() < 3 || list.items[2].kind == ImapItem::Kind::List || list.items[2].text.empty()) return {};
    ImapMailbox mailbox;
    mailbox.name = ImapMailboxName::fromWire(list.items[2].text);
    mailbox.delimiter = delimiterFrom(list.items[1]);
    for (const ImapItem& attribute : list.items[0].items) {
        if (attribute.is("\\Noselect") || attribute.is("\\NonExistent")) mailbox.isSelectable = false;
        if (attribute.is("\\Noinferiors")) mailbox.mayHaveChildren = false;
        if (attribute.is("\\Subscribed")) mailbox.isSubscribed = true;
        if (const ImapUse use = useOf(attribute.text); use != ImapUse::None) mailbox.use = use;
    }
    return mailbox;
}

ImapStatus statusFrom(const ImapResponse& status) {
    ImapStatus result;
    if (status.items.size() < 2) return result;
    const std::vector<ImapItem>& items = status.items[1].items;
    for (std::size_t i = 0; i + 1 < items.size(); i += 2) {
        const auto number = items[i + 1].number32().value_or(0);
        if (items[i].is("MESSAGES")) result.messages = number;
        if (items[i].is("UNSEEN")) result.unseen = number;
        if (items[i].is("UIDNEXT")) result.uidNext = number;
        if (items[i].is("UIDVALIDITY")) result.uidValidity = number;
        if (items[i].is("HIGHESTMODSEQ")) result.highestModSeq = items[i + 1].number().value_or(0);
    }
    return result;
}

ImapNamespaces namespacesFrom(const ImapResponse& response) {
    ImapNamespaces result;
    std::vector<ImapNamespace>* const parts[] = {&result.personal, &result.others, &result.shared};
    for (std::size_t i = 0; i < std::min<std::size_t>(3, response.items.size()); ++i)
        *parts[i] = namespacesIn(response.items[i]);
    return result;
}

std::optional<ImapUpdate> vanishedFrom(const ImapResponse& response) {
    if (response.items.empty()) return {};
    auto uids = ImapUidSet::parse(response.items.back().text);
    if (!uids) return {};
    const ImapItem& first = response.items.front();
    ImapUpdate update;
    update.kind = ImapUpdate::Kind::Vanished;
    update.isEarlier = !first.items.empty() && first.items[0].is("EARLIER");
    update.uids = std::move(*uids);
    return update;
}

void addFound(const ImapResponse& response, ImapUidSet& found) {
    if (response.name == "SEARCH") {
        for (const ImapItem& item : response.items)
            if (const auto uid = item.number32()) found.add(*uid);
        return;
    }
    for (std::size_t i = 0; i + 1 < response.items.size(); ++i) {
        if (!response.items[i].is("ALL")) continue;
        if (const auto uids = ImapUidSet::parse(response.items[i + 1].text)) found.add(*uids);
    }
}

void addCopied(const ImapResponse& response, ImapCopied& copied) {
    if (!response.hasCode("COPYUID") || response.code.size() < 4) return;
    const auto source = inOrder(response.code[2].text), target = inOrder(response.code[3].text);
    if (source.size() != target.size()) return;
    copied.uidValidity = response.code[1].number32().value_or(0);
    copied.source.insert(copied.source.end(), source.begin(), source.end());
    copied.target.insert(copied.target.end(), target.begin(), target.end());
}

std::optional<Date> dateFromImap(std::string_view text) {
    text = trimmedAscii(text);  // days under 10 may have a blank in front
    const std::size_t dash = text.find('-');
    if (dash == std::string_view::npos || text.size() - dash != 24) return {};
    const std::string_view rest = text.substr(dash);  // "-Jul-1996 02:44:25 -0700"
    const auto day = digits(text.substr(0, dash)), year = digits(rest.substr(5, 4)), hour = digits(rest.substr(10, 2)),
               minute = digits(rest.substr(13, 2)), second = digits(rest.substr(16, 2)),
               zone = digits(rest.substr(20, 4));
    const auto month = std::find_if(kMonths.begin(), kMonths.end(),
                                    [&](std::string_view name) { return equalsIgnoringCase(name, rest.substr(1, 3)); });
    if (!day || !year || !hour || !minute || !second || !zone || month == kMonths.end()) return {};
    const std::chrono::year_month_day date{std::chrono::year(*year),
                                           std::chrono::month(static_cast<unsigned>(month - kMonths.begin() + 1)),
                                           std::chrono::day(static_cast<unsigned>(*day))};
    if (!date.ok() || *year < 1900 || *hour > 23 || *minute > 59 || *second > 60) return {};
    const int offset = (*zone / 100 * 60 + *zone % 100) * 60 * (rest[19] == '-' ? -1 : 1);
    const auto days = std::chrono::sys_days(date).time_since_epoch().count();
    return Date{static_cast<double>(days) * 86'400 + *hour * 3600 + *minute * 60 + *second - offset};
}

std::string imapDay(Date date) {
    const auto day = dayOf(date);
    return std::to_string(static_cast<unsigned>(day.day())) + "-" +
           std::string(kMonths[static_cast<unsigned>(day.month()) - 1]) + "-" + padded(static_cast<int>(day.year()), 4);
}

std::string imapDateTime(Date date) {
    const auto seconds = static_cast<long long>(std::floor(date.secondsSince1970));
    const long long inDay = ((seconds % 86'400) + 86'400) % 86'400;
    std::string day = imapDay(date);
    if (day.find('-') == 1) day = " " + day;
    return day + " " + padded(inDay / 3600, 2) + ":" + padded(inDay / 60 % 60, 2) + ":" + padded(inDay % 60, 2) +
           " +0000";
}

}  // namespace qs
