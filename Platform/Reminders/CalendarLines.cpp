#include "Reminders/CalendarLines.h"

#include <algorithm>
#include <utility>

#include "Text/Ascii.h"
#include "Text/ContentLines.h"

namespace qs {

namespace {

constexpr std::string_view kFrame[] = {"VCALENDAR", "VTIMEZONE", "STANDARD", "DAYLIGHT"};

// With its end, and with all lines that it is folded into.
std::string_view nextFolded(std::string_view& rest) {
    std::size_t end = 0;
    do {
        end = rest.find('\n', end);
        end = end == std::string_view::npos ? rest.size() : end + 1;
    } while (end < rest.size() && (rest[end] == ' ' || rest[end] == '\t'));
    const std::string_view line = rest.substr(0, end);
    rest.remove_prefix(end);
    return line;
}

}  // namespace

std::string CalendarLines::Line::unfolded() const {
    std::string text;
    for (std::size_t i = 0; i < raw.size(); ++i) {
        if (raw[i] == '\r' && i + 1 < raw.size() && raw[i + 1] == '\n') continue;
        if (raw[i] != '\n')
            text += raw[i];
        else
            ++i;  // and the blank that begins the next line
    }
    return text;
}

std::string CalendarLines::Line::value() const {
    const std::string line = unfolded();
    const std::size_t colon = findUnquoted(line, ':');
    const std::size_t end = colon == std::string::npos ? line.find(';') : colon;
    return end == std::string::npos ? std::string() : line.substr(end + 1);
}

bool CalendarLines::Line::is(std::string_view property, std::string_view wanted) const {
    return name == property && equalsIgnoringCase(trimmedAscii(value()), wanted);
}

CalendarLines::CalendarLines(std::string_view text) {
    const std::size_t end = text.find('\n');
    if (end != std::string_view::npos && (end == 0 || text[end - 1] != '\r')) lineEnd_ = "\n";
    while (!text.empty()) {
        Line line{.raw = std::string(nextFolded(text)), .name = {}};
        // Without a colon it is damaged, but libical reads what is behind the semicolon as the value, so it has to go
        // when a new value comes.
        const std::string unfolded = line.unfolded();
        if (const std::size_t mark = unfolded.find_first_of(";:"); mark != std::string::npos)
            line.name = asciiUppered(trimmedAscii(unfolded.substr(0, mark)));
        lines_.push_back(std::move(line));
    }
}

// Of that kind at any depth, but not within one of its own kind. What never ends is left out.
std::vector<CalendarLines::Range> CalendarLines::componentsIn(Range range, std::string_view kind) const {
    constexpr int kMostBroken = 16;  // each costs a look at all lines behind it
    std::vector<Range> found;
    int broken = 0;
    for (std::size_t i = range.begin; i < range.end && broken < kMostBroken; ++i) {
        if (!lines_[i].is("BEGIN", kind)) continue;
        std::vector<std::string> open;
        std::size_t end = i;
        for (; end < range.end; ++end) {
            const Line& line = lines_[end];
            if (line.name == "BEGIN") open.push_back(asciiUppered(trimmedAscii(line.value())));
            if (line.name != "END") continue;
            if (open.back() != asciiUppered(trimmedAscii(line.value()))) break;
            open.pop_back();
            if (open.empty()) break;
        }
        if (end == range.end || !open.empty()) {
            ++broken;
            continue;
        }
        found.push_back({i, end + 1});
        i = end;
    }
    return found;
}

// Those of the component itself, not of others within it.
std::vector<std::size_t> CalendarLines::propertiesOf(Range component) const {
    std::vector<std::size_t> found;
    int depth = 0;
    for (std::size_t i = component.begin + 1; i + 1 < component.end; ++i) {
        if (lines_[i].name == "BEGIN") ++depth;
        if (depth == 0 && !lines_[i].name.empty()) found.push_back(i);
        if (lines_[i].name == "END") --depth;
    }
    return found;
}

std::optional<std::string> CalendarLines::valueOf(Range component, std::string_view property) const {
    for (const std::size_t i : propertiesOf(component))
        if (lines_[i].name == property) return lines_[i].value();
    return std::nullopt;
}

bool CalendarLines::isOf(Range toDo, std::string_view identifier) const {
    const auto value = valueOf(toDo, "UID");
    return value && unescapedContentText(*value) == identifier;
}

bool CalendarLines::find(std::string_view identifier) {
    for (const Range toDo : componentsIn({0, lines_.size()}, "VTODO")) {
        if (!isOf(toDo, identifier) || valueOf(toDo, "RECURRENCE-ID")) continue;
        toDo_ = toDo;
        identifier_ = identifier;
        return true;
    }
    return false;
}

bool CalendarLines::has(std::string_view property) const { return valueOf(toDo_, property).has_value(); }

CalendarLines::Line CalendarLines::made(std::string_view line) const {
    return {.raw = foldedContentLine(line, lineEnd_), .name = std::string(line.substr(0, line.find_first_of(";:")))};
}

void CalendarLines::insert(std::size_t at, std::string_view line) {
    lines_.insert(lines_.begin() + static_cast<std::ptrdiff_t>(at), made(line));
    ++toDo_.end;
}

void CalendarLines::erase(std::size_t begin, std::size_t end) {
    lines_.erase(lines_.begin() + static_cast<std::ptrdiff_t>(begin),
                 lines_.begin() + static_cast<std::ptrdiff_t>(end));
    toDo_.end -= end - begin;
}

void CalendarLines::set(std::string_view property, std::string_view line) {
    const auto all = propertiesOf(toDo_);
    const auto first = std::ranges::find(all, property, [this](std::size_t i) { return lines_[i].name; });
    if (first == all.end()) return insert(all.empty() ? toDo_.begin + 1 : all.back() + 1, line);
    const std::size_t at = *first;
    drop(property);
    insert(at, line);
}

void CalendarLines::drop(std::string_view property) {
    auto all = propertiesOf(toDo_);
    for (auto i = all.rbegin(); i != all.rend(); ++i)
        if (lines_[*i].name == property) erase(*i, *i + 1);
}

void CalendarLines::addToAlarms(std::string_view urlScheme, std::string_view property, std::string_view line) {
    auto alarms = componentsIn(toDo_, "VALARM");
    for (auto alarm = alarms.rbegin(); alarm != alarms.rend(); ++alarm) {
        const auto trigger = valueOf(*alarm, "TRIGGER"), url = valueOf(*alarm, "URL");
        const bool isFixed = trigger && trigger->find('T') != std::string::npos && isAsciiDigit(trigger->front());
        if (isFixed && url && url->starts_with(urlScheme) && !valueOf(*alarm, property)) insert(alarm->end - 1, line);
    }
}

bool CalendarLines::reviveAlarm(std::string_view triggerLine, std::string_view property) {
    for (const Range alarm : componentsIn(toDo_, "VALARM")) {
        const auto all = propertiesOf(alarm);
        const auto isTrigger = [&](std::size_t i) { return trimmedAscii(lines_[i].unfolded()) == triggerLine; };
        if (std::ranges::none_of(all, isTrigger)) continue;
        for (auto i = all.rbegin(); i != all.rend(); ++i)
            if (lines_[*i].name == property) erase(*i, *i + 1);
        return true;
    }
    return false;
}

void CalendarLines::addComponent(const std::vector<std::string>& lines) {
    for (const std::string& line : lines)
        insert(toDo_.end - 1, line);
}

void CalendarLines::remove() {
    const std::string identifier = std::exchange(identifier_, {});
    auto all = componentsIn({0, lines_.size()}, "VTODO");
    for (auto toDo = all.rbegin(); toDo != all.rend(); ++toDo)
        if (isOf(*toDo, identifier)) erase(toDo->begin, toDo->end);
    toDo_ = {};
}

// A calendar's frame and its zones say nothing by themselves. What is broken has a beginning at least.
bool CalendarLines::hasOthers() const {
    return std::ranges::any_of(lines_, [](const Line& line) {
        return line.name == "BEGIN" && std::ranges::none_of(kFrame, [&](auto kind) { return line.is("BEGIN", kind); });
    });
}

std::string CalendarLines::text() const {
    std::string text;
    for (const Line& line : lines_)
        text += line.raw;
    return text;
}

}  // namespace qs
