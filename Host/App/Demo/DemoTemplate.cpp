#include "Demo/DemoTemplate.h"

#include <cmath>
#include <map>
#include <optional>
#include <sstream>

#include "Foundation/DateFormatter.h"
#include "Foundation/Format.h"

namespace qs {
namespace {

constexpr std::string_view kPlaceField = "Demo-Place:";
constexpr std::string_view kDateField = "\r\nDate: ";
constexpr const char* kDateHeaderPattern = "EEE, dd MMM yyyy HH:mm:ss xx";

tl::unexpected<Error> wrong(std::string_view format, std::string_view what) {
    return failure("DemoTemplate", 1, stringWithFormat(format, {what}));
}

std::optional<MailboxKind> mailboxNamed(std::string_view name) {
    static const std::map<std::string_view, MailboxKind> kinds{
        {"Inbox", MailboxKind::Inbox}, {"Drafts", MailboxKind::Drafts},   {"Sent", MailboxKind::Sent},
        {"Junk", MailboxKind::Junk},   {"Archive", MailboxKind::Archive}, {"Trash", MailboxKind::Trash}};
    const auto found = kinds.find(name);
    return found == kinds.end() ? std::nullopt : std::optional(found->second);
}

bool setFlag(MessageFlags& flags, std::string_view name) {
    static const std::map<std::string_view, bool MessageFlags::*> known{{"seen", &MessageFlags::seen},
                                                                        {"answered", &MessageFlags::answered},
                                                                        {"flagged", &MessageFlags::flagged},
                                                                        {"forwarded", &MessageFlags::forwarded},
                                                                        {"draft", &MessageFlags::draft}};
    const auto found = known.find(name);
    if (found == known.end()) return false;
    flags.*found->second = true;
    return true;
}

// "mira/Sent seen flagged"
Result<DemoPlace> placeFrom(const std::string& text) {
    std::istringstream words(text);
    DemoPlace place;
    std::string word;
    words >> word;
    const auto slash = word.find('/');
    const auto mailbox =
        slash == std::string::npos ? std::nullopt : mailboxNamed(std::string_view(word).substr(slash + 1));
    if (!mailbox) return wrong("'%@' is no mailbox of an account.", word);
    place.account = word.substr(0, slash);
    place.mailbox = *mailbox;
    while (words >> word)
        if (!setFlag(place.flags, word)) return wrong("There is no flag '%@'.", word);
    return place;
}

// The same moment of another day is found by its calendar, not by seconds: days may have 23 or 25 hours.
std::optional<Date> atTimeOfDay(Date day, const std::string& time) {
    return parseDate(formatDate(day, {.pattern = "yyyy-MM-dd"}) + " " + time, {.pattern = "yyyy-MM-dd HH:mm"});
}

// "-3d 14:20", "-2h", "-20m"
std::optional<Date> dateFrom(const std::string& text, Date now) {
    std::istringstream words(text);
    int count = 0;
    char unit = 0;
    std::string time;
    if (!(words >> count >> unit)) return std::nullopt;
    words >> time;
    switch (unit) {
    case 'd': {
        const auto noon = atTimeOfDay(now, "12:00");
        return noon ? atTimeOfDay(*noon + count * 86'400.0, time) : std::nullopt;
    }
    case 'h': return now + count * 3'600.0;
    case 'm': return now + count * 60.0;
    default: return std::nullopt;
    }
}

Result<std::string> filled(std::string_view text, Date now, const std::map<std::string, std::string>& words) {
    std::string result;
    for (;;) {
        const auto start = text.find("{{");
        result += text.substr(0, start);
        if (start == std::string_view::npos) return result;
        const auto end = text.find("}}", start);
        if (end == std::string_view::npos) return wrong("'%@' has no end.", text.substr(start, 20));
        const std::string field(text.substr(start + 2, end - start - 2));
        text.remove_prefix(end + 2);
        if (const auto word = words.find(field); word != words.end()) {
            result += word->second;
            continue;
        }
        const auto bar = field.find('|');
        const auto date = dateFrom(field.substr(0, bar), now);
        if (!date) return wrong("'%@' is no date.", field);
        result += formatDate(*date, {.pattern = bar == std::string::npos ? kDateHeaderPattern : field.substr(bar + 1)});
    }
}

std::string withNetworkLineEnds(std::string_view text) {
    std::string result;
    for (const char c : text) {
        if (c == '\r') continue;
        if (c == '\n') result += '\r';
        result += c;
    }
    return result;
}

}  // namespace

Result<DemoMail> readDemoTemplate(std::string_view text, Date now, const std::map<std::string, std::string>& words) {
    DemoMail mail;
    while (text.starts_with(kPlaceField)) {
        const auto end = text.find('\n');
        auto place = placeFrom(std::string(text.substr(kPlaceField.size(), end - kPlaceField.size())));
        if (!place) return failed(place);
        mail.places.push_back(std::move(*place));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    auto content = filled(text, now, words);
    if (!content) return failed(content);
    mail.content = withNetworkLineEnds(*content);

    const auto start = mail.content.find(kDateField) + kDateField.size();
    const auto date = mail.content.find(kDateField) == std::string::npos
                          ? std::nullopt
                          : parseDate(mail.content.substr(start, mail.content.find('\r', start) - start),
                                      {.pattern = kDateHeaderPattern});
    if (!date) return wrong("%@", "There is no Date header.");
    mail.date = *date;
    return mail;
}

}  // namespace qs
