#include "Library/SearchQuery.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "Foundation/Calendar.h"
#include "Library/SearchText.h"
#include "Text/Ascii.h"
#include "Text/CaseFolding.h"

namespace qs {

namespace {

using Kind = MessageCriterion::Kind;

constexpr std::size_t kMostTerms = 32, kLongestSearch = 1000;
constexpr TimeInterval kDay = 24 * 3600, kNoon = 12 * 3600;

struct Term {
    bool isNot = false, isQuoted = false, isLast = false;
    std::string_view name;  // of an operator, with what follows it in `text`; else empty
    std::string_view text;
};

// Takes a piece off the front: up to a blank, quotes keep blanks in; a quote that is not closed goes to the end.
Term nextTerm(std::string_view& rest) {
    Term term;
    if (rest.size() > 1 && rest.front() == '-' && rest[1] != ' ') {
        term.isNot = true;
        rest.remove_prefix(1);
    }
    const std::size_t end = rest.find_first_of(" \"");
    const std::size_t colon = rest.substr(0, end).find(':');
    if (colon != std::string_view::npos && colon > 0) {
        term.name = rest.substr(0, colon);
        rest.remove_prefix(colon + 1);
    }
    term.isQuoted = rest.starts_with('"');
    if (term.isQuoted) {
        rest.remove_prefix(1);
        term.text = rest.substr(0, rest.find('"'));
        rest.remove_prefix(std::min(rest.size(), term.text.size() + 1));
    } else {
        // A quote within a word is nothing but a blank.
        term.text = rest.substr(0, rest.find_first_of(" \""));
        rest.remove_prefix(term.text.size());
    }
    rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
    return term;
}

struct Span {
    Date from, to;  // `to` is not in it
};

std::optional<int> number(std::string_view text) {
    if (text.empty() || text.size() > 4 || !std::all_of(text.begin(), text.end(), isAsciiDigit)) return {};
    int value = 0;
    for (const char c : text)
        value = value * 10 + (c - '0');
    return value;
}

int daysIn(int year, int month) {
    constexpr std::array<int, 12> kDays{31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool isLeap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return kDays[static_cast<std::size_t>(month - 1)] + (month == 2 && isLeap ? 1 : 0);
}

class Days {
public:
    explicit Days(const SearchSurroundings& around) : around_(around) {}

    // The day, month or year that is meant; nothing when that can't be told.
    std::optional<Span> read(std::string_view text) const {
        const std::string word = foldedCase(text);
        if (word == "today") return around(0);
        if (word == "yesterday") return around(1);
        if (const auto ago = daysAgo(word)) return around(*ago);
        const char mark = word.find('.') != std::string::npos ? '.' : word.find('/') != std::string::npos ? '/' : '-';
        std::vector<int> parts;
        for (std::string_view rest = word;;) {
            const std::size_t end = std::min(rest.find(mark), rest.size());
            const auto part = number(rest.substr(0, end));
            if (!part || parts.size() == 3) return {};
            parts.push_back(*part);
            if (end == rest.size()) break;
            rest.remove_prefix(end + 1);
        }
        if (parts.front() < 1000) std::reverse(parts.begin(), parts.end());  // 22.11.2026
        return of(parts);
    }

private:
    std::optional<Span> of(const std::vector<int>& parts) const {
        const int year = parts[0];
        if (year < 1970 || year > 9000) return {};
        if (parts.size() == 1) return Span{start(year, 1, 1), start(year + 1, 1, 1)};
        const int month = parts[1];
        if (month < 1 || month > 12) return {};
        const Date next = month == 12 ? start(year + 1, 1, 1) : start(year, month + 1, 1);
        if (parts.size() == 2) return Span{start(year, month, 1), next};
        const int day = parts[2];
        if (day < 1 || day > daysIn(year, month)) return {};
        return Span{start(year, month, day), day == daysIn(year, month) ? next : start(year, month, day + 1)};
    }
    // "7d", "2w", "3m", "1y"; months and years are taken as 30 and 365 days.
    static std::optional<int> daysAgo(std::string_view word) {
        constexpr std::array<std::pair<char, int>, 4> kUnits{{{'d', 1}, {'w', 7}, {'m', 30}, {'y', 365}}};
        const auto count = word.empty() ? std::nullopt : number(word.substr(0, word.size() - 1));
        for (const auto& [unit, days] : kUnits)
            if (count && word.back() == unit) return *count * days;
        return {};
    }
    // The day that many days before today.
    Span around(int daysBefore) const {
        const Date noon = dateBySettingTimeOfDay(12, 0, 0, around_.now, around_.timeZone);
        const Date from = midnight(noon - daysBefore * kDay);
        return {from, midnight(from + kDay + kNoon)};
    }
    Date midnight(Date day) const { return dateBySettingTimeOfDay(0, 0, 0, day, around_.timeZone); }
    // The middle of the day is found by days of the calendar alone, and is the same day in every zone but a few.
    Date start(int year, int month, int day) const {
        const int y = month <= 2 ? year - 1 : year;
        const int era = y / 400, yearOfEra = y - era * 400;
        const int dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
        const int days = era * 146'097 + yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear - 719'468;
        Date noon{days * kDay + kNoon};
        const CalendarTime shown = calendarTime(noon, around_.timeZone);
        if (shown.day != day) noon = noon + (shown.hour < 12 ? -kDay : kDay) / 2;
        return midnight(noon);
    }

    const SearchSurroundings& around_;
};

class SearchReader {
public:
    explicit SearchReader(const SearchSurroundings& around) : around_(around) {}

    SearchQuery read(std::string_view typed) {
        const std::string line = singleLine(typed, kLongestSearch);
        std::string_view rest = line;
        for (std::size_t count = 0; !rest.empty() && count < kMostTerms; ++count) {
            const std::string_view before = rest;
            Term term = nextTerm(rest);
            term.isLast = !hasWord(rest);  // perhaps not finished yet
            if (rest.size() == before.size()) break;
            if (auto criterion = meaningOf(term)) add(term.isNot, std::move(*criterion));
        }
        if (query_.saysWhere && !isEverywhere_) parts_.push_back(MessageCriterion::anyOf(std::move(where_)));
        query_.criterion = MessageCriterion::allOf(std::move(parts_));
        return std::move(query_);
    }

private:
    void add(bool isNot, MessageCriterion criterion) {
        if (isNot) criterion = {Kind::Not, {}, {}, {std::move(criterion)}};
        parts_.push_back(std::move(criterion));
    }

    std::optional<MessageCriterion> meaningOf(const Term& term) {
        const std::string name = foldedCase(term.name);
        if (name.empty()) return words(Kind::HasWords, term.text, term);
        constexpr std::array<std::pair<std::string_view, Kind>, 4> kFields{{{"from", Kind::FromHasWords},
                                                                            {"to", Kind::ToHasWords},
                                                                            {"subject", Kind::SubjectHasWords},
                                                                            {"body", Kind::BodyHasWords}}};
        for (const auto& [field, kind] : kFields)
            if (name == field) return words(kind, term.text, term);
        const std::string value = foldedCase(term.text);
        std::optional<MessageCriterion> meaning;
        const bool isDate = name == "before" || name == "after" || name == "on";
        if (value.empty() && (isDate || name == "has" || name == "is" || name == "in")) return {};  // being typed
        if (name == "has") meaning = attachment(value);
        if (name == "is") meaning = state(value);
        if (isDate) meaning = date(name, value);
        if (name == "in" && !term.isNot) return place(value);
        if (name == "in") meaning = MessageCriterion::anyOf(placesNamed(value));
        // Anything else is meant as it stands: "http://x", "re:plan".
        return meaning ? meaning : words(Kind::HasWords, std::string(term.name) + " " + std::string(term.text), term);
    }

    static std::optional<MessageCriterion> words(Kind kind, std::string_view text, const Term& term) {
        if (!hasWord(text)) return {};
        return MessageCriterion::with(kind, std::string(text) + (term.isLast && !term.isQuoted ? "*" : ""));
    }

    static std::optional<MessageCriterion> attachment(std::string_view value) {
        for (const std::string_view name : {"attachment", "attachments", "file", "files"})
            if (value == name) return MessageCriterion::with(Kind::HasAttachments);
        return {};
    }

    static std::optional<MessageCriterion> state(std::string_view value) {
        if (value == "unread") return MessageCriterion::with(Kind::IsUnread);
        if (value == "flagged") return MessageCriterion::with(Kind::IsFlagged);
        if (value == "read") return MessageCriterion{Kind::Not, {}, {}, {MessageCriterion::with(Kind::IsUnread)}};
        return {};
    }

    std::optional<MessageCriterion> date(std::string_view name, std::string_view value) const {
        const auto span = Days(around_).read(value);
        if (!span) return {};
        if (name == "before") return MessageCriterion::with(Kind::ReceivedBefore, span->from);
        // The day itself counts: people say "after Monday" and mean Monday's mail as well.
        auto since = MessageCriterion::with(Kind::ReceivedSince, span->from);
        if (name == "after") return since;
        return MessageCriterion::allOf({std::move(since), MessageCriterion::with(Kind::ReceivedBefore, span->to)});
    }

    std::vector<MessageCriterion> placesNamed(std::string_view value) const {
        std::vector<MessageCriterion> exact, begun;
        for (const SearchPlace& place : around_.places) {
            const std::string name = foldedCase(place.name);
            auto criterion = MessageCriterion::with(Kind::InMailbox, place.identifier);
            if (name == value || foldedCase(place.identifier) == value)
                exact.push_back(std::move(criterion));
            else if (!value.empty() && name.starts_with(value))
                begun.push_back(std::move(criterion));
        }
        return exact.empty() ? begun : exact;
    }

    std::optional<MessageCriterion> place(std::string_view value) {
        query_.saysWhere = true;
        if (value == "all" || value == "anywhere") isEverywhere_ = true;
        for (MessageCriterion& each : placesNamed(value))
            where_.push_back(std::move(each));
        return {};
    }

    const SearchSurroundings& around_;
    SearchQuery query_;
    std::vector<MessageCriterion> parts_, where_;
    bool isEverywhere_ = false;
};

}  // namespace

SearchQuery parseSearch(std::string_view typed, const SearchSurroundings& around) {
    return SearchReader(around).read(typed);
}

}  // namespace qs
