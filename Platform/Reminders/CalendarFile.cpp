#include "Reminders/CalendarFile.h"

#include <libical/ical.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <mutex>

#include "Foundation/DateFormatter.h"
#include "Reminders/CalendarLines.h"
#include "Reminders/ReminderStore.h"
#include "Text/Ascii.h"
#include "Text/ContentLines.h"
#include "Text/Utf8.h"
#include "Text/Uuid.h"

namespace qs {

namespace {

constexpr std::size_t kMostToDos = 50'000;             // of one file
constexpr const char* kAcknowledged = "ACKNOWLEDGED";  // RFC 9074
constexpr std::string_view kOurScheme = "message:";

struct ComponentDeleter {
    void operator()(icalcomponent* component) const { icalcomponent_free(component); }
};
using ComponentPtr = std::unique_ptr<icalcomponent, ComponentDeleter>;

ComponentPtr parsed(std::string_view bytes) {
    static std::once_flag once;
    std::call_once(once, [] { icalerror_set_errors_are_fatal(0); });
    if (bytes.find('\0') != std::string_view::npos) return nullptr;
    return ComponentPtr(icalparser_parse_string(validUtf8(bytes).c_str()));
}

std::string textOf(icalcomponent* component, icalproperty_kind kind) {
    icalproperty* property = icalcomponent_get_first_property(component, kind);
    const icalvalue* value = property ? icalproperty_get_value(property) : nullptr;
    if (!value) return {};
    const bool isText = icalvalue_isa(value) == ICAL_TEXT_VALUE;
    const char* text = isText ? icalvalue_get_text(value) : icalvalue_as_ical_string(value);
    return text ? text : "";
}

// The library takes any digits.
bool isMoment(const icaltimetype& time) {
    return !icaltime_is_null_time(time) && time.month >= 1 && time.month <= 12 && time.day >= 1 &&
           time.day <= icaltime_days_in_month(time.month, time.year) && time.hour < 24 && time.minute < 60 &&
           time.second <= 60;
}

// A day begins where the person is; a time without a zone is the time on the person's wall.
std::optional<Date> dateOf(const icaltimetype& time, icalproperty* property, icalcomponent* calendar) {
    if (!isMoment(time)) return {};
    if (icaltime_is_utc(time)) return Date{static_cast<double>(icaltime_as_timet(time))};
    icalparameter* parameter = property ? icalproperty_get_first_parameter(property, ICAL_TZID_PARAMETER) : nullptr;
    const char* name = parameter ? icalparameter_get_tzid(parameter) : nullptr;
    if (name && !time.is_date) {
        icaltimezone* zone = icalcomponent_get_timezone(calendar, name);
        if (!zone) zone = icaltimezone_get_builtin_timezone(name);
        if (zone) return Date{static_cast<double>(icaltime_as_timet_with_zone(time, zone))};
    }
    return parseDate(icaltime_as_ical_string(time),
                     {.pattern = time.is_date ? "yyyyMMdd" : "yyyyMMdd'T'HHmmss", .timeZone = ""});
}

std::optional<Date> dateOf(icalcomponent* component, icalproperty_kind kind, icalcomponent* calendar) {
    icalproperty* property = icalcomponent_get_first_property(component, kind);
    const icalvalue* value = property ? icalproperty_get_value(property) : nullptr;
    if (!value) return {};
    const icalvalue_kind is = icalvalue_isa(value);
    if (is == ICAL_DATE_VALUE) return dateOf(icalvalue_get_date(value), property, calendar);
    if (is != ICAL_DATETIME_VALUE && is != ICAL_DATETIMEDATE_VALUE) return {};
    return dateOf(icalvalue_get_datetime(value), property, calendar);
}

// Of the first alarm at a fixed moment that has not been dealt with.
std::optional<Date> alarmOf(icalcomponent* toDo) {
    for (icalcomponent* alarm = icalcomponent_get_first_component(toDo, ICAL_VALARM_COMPONENT); alarm;
         alarm = icalcomponent_get_next_component(toDo, ICAL_VALARM_COMPONENT)) {
        if (icalcomponent_get_first_property(alarm, ICAL_ACKNOWLEDGED_PROPERTY)) continue;
        icalproperty* property = icalcomponent_get_first_property(alarm, ICAL_TRIGGER_PROPERTY);
        if (!property || !icalproperty_get_value(property)) continue;
        const icaltriggertype trigger = icalproperty_get_trigger(property);
        if (const auto date = dateOf(trigger.time, nullptr, nullptr)) return date;
    }
    return {};
}

bool isCompleted(icalcomponent* toDo) {
    icalproperty* status = icalcomponent_get_first_property(toDo, ICAL_STATUS_PROPERTY);
    if (status) return icalproperty_get_status(status) == ICAL_STATUS_COMPLETED;
    return icalcomponent_get_first_property(toDo, ICAL_COMPLETED_PROPERTY) != nullptr;
}

ToDo toDoOf(icalcomponent* component, icalcomponent* calendar) {
    ToDo toDo{.identifier = textOf(component, ICAL_UID_PROPERTY),
              .listIdentifier = {},
              .title = textOf(component, ICAL_SUMMARY_PROPERTY),
              .notes = textOf(component, ICAL_DESCRIPTION_PROPERTY),
              .url = textOf(component, ICAL_URL_PROPERTY),
              .due = dateOf(component, ICAL_DUE_PROPERTY, calendar),
              .isCompleted = isCompleted(component),
              .completionDate = dateOf(component, ICAL_COMPLETED_PROPERTY, calendar)};
    if (!toDo.due) toDo.due = alarmOf(component);
    if (icalproperty* priority = icalcomponent_get_first_property(component, ICAL_PRIORITY_PROPERTY))
        toDo.priority = std::clamp(icalproperty_get_priority(priority), 0, 9);
    if (!toDo.isCompleted) toDo.completionDate.reset();
    return toDo;
}

void addToDosOf(icalcomponent* calendar, CalendarContent& content) {
    for (icalcomponent* toDo = icalcomponent_get_first_component(calendar, ICAL_VTODO_COMPONENT); toDo;
         toDo = icalcomponent_get_next_component(calendar, ICAL_VTODO_COMPONENT)) {
        if (content.toDos.size() == kMostToDos) return;
        if (icalcomponent_get_first_property(toDo, ICAL_RECURRENCEID_PROPERTY)) continue;
        if (ToDo found = toDoOf(toDo, calendar); !found.identifier.empty()) content.toDos.push_back(std::move(found));
    }
}

std::string momentText(Date date) {
    return formatDate({std::floor(date.secondsSince1970)},
                      {.pattern = "yyyyMMdd'T'HHmmss'Z'", .locale = "en_US_POSIX", .timeZone = "UTC"});
}

// In one line, as values that are no texts are not escaped.
std::string uriText(std::string_view uri) {
    std::string text = validUtf8(uri);
    std::erase_if(text, isAsciiControl);
    return text;
}

void setText(CalendarLines& lines, std::string_view property, std::string_view text) {
    if (text.empty()) return lines.drop(property);
    lines.set(property, std::string(property) + ":" + escapedContentText(validUtf8(text)));
}

// What rang for an earlier date has had its say, but stays; programs for tasks know the date from DUE.
void setDue(CalendarLines& lines, const ToDo& wanted, Date now) {
    const std::string acknowledged = std::string(kAcknowledged) + ":" + momentText(now);
    lines.addToAlarms(kOurScheme, kAcknowledged, acknowledged);
    if (!wanted.due) return lines.drop("DUE");
    lines.drop("DURATION");  // excludes DUE
    lines.set("DUE", "DUE:" + momentText(*wanted.due));
    const std::string trigger = "TRIGGER;VALUE=DATE-TIME:" + momentText(*wanted.due);
    if (lines.reviveAlarm(trigger, kAcknowledged)) return;
    std::vector<std::string> alarm{"BEGIN:VALARM", "UID:" + newUUIDString(), "ACTION:DISPLAY",
                                   "DESCRIPTION:" + escapedContentText(validUtf8(wanted.title)), trigger};
    if (!wanted.url.empty()) alarm.push_back("URL:" + uriText(wanted.url));
    alarm.emplace_back("END:VALARM");
    lines.addComponent(alarm);
}

void setCompletion(CalendarLines& lines, const ToDo& wanted, Date now) {
    lines.set("STATUS", wanted.isCompleted ? "STATUS:COMPLETED" : "STATUS:NEEDS-ACTION");
    if (!wanted.isCompleted) {
        lines.drop("COMPLETED");
        return lines.drop("PERCENT-COMPLETE");
    }
    lines.set("COMPLETED", "COMPLETED:" + momentText(wanted.completionDate.value_or(now)));
    lines.set("PERCENT-COMPLETE", "PERCENT-COMPLETE:100");
}

bool isSameMoment(const std::optional<Date>& a, const std::optional<Date>& b) {
    return a && b ? std::floor(a->secondsSince1970) == std::floor(b->secondsSince1970) : a.has_value() == b.has_value();
}

// What stands there and what is wanted, as they look once written.
std::string asWritten(std::string_view text) { return unescapedContentText(escapedContentText(validUtf8(text))); }

bool change(CalendarLines& lines, const ToDo& present, const ToDo& wanted, Date now) {
    bool isChanged = false;
    const auto when = [&](bool differs, auto&& apply) {
        if (!differs) return;
        apply();
        isChanged = true;
    };
    when(present.title != asWritten(wanted.title), [&] { setText(lines, "SUMMARY", wanted.title); });
    when(present.notes != asWritten(wanted.notes), [&] { setText(lines, "DESCRIPTION", wanted.notes); });
    when(present.url != uriText(wanted.url), [&] {
        if (wanted.url.empty()) return lines.drop("URL");
        lines.set("URL", "URL:" + uriText(wanted.url));
    });
    when(!isSameMoment(present.due, wanted.due), [&] { setDue(lines, wanted, now); });
    when(present.priority != wanted.priority, [&] {
        if (wanted.priority == 0) return lines.drop("PRIORITY");
        lines.set("PRIORITY", "PRIORITY:" + std::to_string(wanted.priority));
    });
    when(present.isCompleted != wanted.isCompleted ||
             (wanted.completionDate && !isSameMoment(present.completionDate, wanted.completionDate)),
         [&] { setCompletion(lines, wanted, now); });
    return isChanged;
}

tl::unexpected<Error> notThere() {
    return failure(std::string(kReminderStoreErrorDomain), kReminderStoreNotFound, "The to-do is not there any more.");
}

}  // namespace

CalendarContent readCalendar(std::string_view bytes) {
    CalendarContent content;
    const ComponentPtr root = parsed(bytes);
    if (!root) return {.toDos = {}, .isBroken = true};
    content.isBroken = icalcomponent_count_errors(root.get()) > 0;
    if (icalcomponent_isa(root.get()) == ICAL_VCALENDAR_COMPONENT) {
        addToDosOf(root.get(), content);
        return content;
    }
    for (icalcomponent* calendar = icalcomponent_get_first_component(root.get(), ICAL_VCALENDAR_COMPONENT); calendar;
         calendar = icalcomponent_get_next_component(root.get(), ICAL_VCALENDAR_COMPONENT))
        addToDosOf(calendar, content);
    return content;
}

std::string newCalendar(const ToDo& toDo, Date now) {
    const std::string identifier = escapedContentText(validUtf8(toDo.identifier));
    const std::string empty =
        "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Quillstead//Reminders//EN\r\nBEGIN:VTODO\r\n" +
        foldedContentLine("UID:" + identifier) + "DTSTAMP:" + momentText(now) + "\r\nCREATED:" + momentText(now) +
        "\r\nSTATUS:NEEDS-ACTION\r\nEND:VTODO\r\nEND:VCALENDAR\r\n";
    return changedCalendar(empty, toDo, now).value_or(empty);
}

Result<std::string> changedCalendar(std::string_view bytes, const ToDo& wanted, Date now) {
    CalendarLines lines(bytes);
    const auto present = readCalendar(bytes).toDos;
    const auto found = std::ranges::find(present, wanted.identifier, &ToDo::identifier);
    if (found == present.end() || !lines.find(wanted.identifier)) return notThere();
    if (!change(lines, *found, wanted, now)) return std::string(bytes);
    for (const char* property : {"DTSTAMP", "LAST-MODIFIED"})
        lines.set(property, std::string(property) + ":" + momentText(now));
    return lines.text();
}

Result<std::string> calendarWithout(std::string_view bytes, std::string_view identifier) {
    CalendarLines lines(bytes);
    if (!lines.find(identifier)) return notThere();
    lines.remove();
    return lines.hasOthers() ? lines.text() : std::string();
}

}  // namespace qs
