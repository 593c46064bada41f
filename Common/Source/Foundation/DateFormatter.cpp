#include "Foundation/DateFormatter.h"

#include <unicode/dtptngen.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

#include <atomic>
#include <list>
#include <memory>
#include <mutex>

#include "Text/IcuText.h"

namespace qs {

namespace {

struct ZoneInForce {
    std::mutex lock;
    std::string name;  // empty: the system's
};

ZoneInForce& zoneInForce() {
    static ZoneInForce zone;
    return zone;
}

std::string systemTimeZone() {
    // detectHostTimeZone reads TZ and /etc/localtime; asking it once is enough, as the system's zone changes rarely and
    // a detection costs milliseconds.
    static const std::string name = [] {
        const std::unique_ptr<icu::TimeZone> zone(icu::TimeZone::detectHostTimeZone());
        icu::UnicodeString id;
        const std::string text = zone ? utf8Text(zone->getID(id)) : "";
        return text.empty() ? "UTC" : text;
    }();
    return name;
}

icu::Locale localeNamed(const std::string& name) {
    return name.empty() ? icu::Locale::getDefault() : icu::Locale::createCanonical(name.c_str());
}

// Making a formatter costs a hundred times what using one costs, and one must not be shared between threads.
class FormatterCache {
public:
    // Null if ICU refuses the pattern or the locale.
    icu::SimpleDateFormat* formatter(const DateFormat& format) {
        const std::string zone = format.timeZone.empty() ? defaultTimeZone() : format.timeZone;
        const std::string key = format.pattern + '\0' + format.locale + '\0' + zone;
        for (auto entry = entries_.begin(); entry != entries_.end(); ++entry) {
            if (entry->key != key) continue;
            entries_.splice(entries_.begin(), entries_, entry);
            return entries_.front().formatter.get();
        }
        UErrorCode status = U_ZERO_ERROR;
        auto made =
            std::make_unique<icu::SimpleDateFormat>(icuText(format.pattern), localeNamed(format.locale), status);
        if (U_FAILURE(status)) return nullptr;
        made->adoptTimeZone(icu::TimeZone::createTimeZone(icuText(zone)));
        made->setLenient(false);
        entries_.push_front({key, std::move(made)});
        if (entries_.size() > kLimit) entries_.pop_back();
        return entries_.front().formatter.get();
    }

private:
    static constexpr std::size_t kLimit = 32;
    struct Entry {
        std::string key;
        std::unique_ptr<icu::SimpleDateFormat> formatter;
    };
    std::list<Entry> entries_;  // the last used one in front
};

FormatterCache& formatters() {
    thread_local FormatterCache cache;
    return cache;
}

}  // namespace

std::string formatDate(Date date, const DateFormat& format) {
    icu::SimpleDateFormat* formatter = formatters().formatter(format);
    if (!formatter) return {};
    icu::UnicodeString text;
    return utf8Text(formatter->format(date.secondsSince1970 * 1000, text));
}

std::optional<Date> parseDate(std::string_view text, const DateFormat& format) {
    icu::SimpleDateFormat* formatter = formatters().formatter(format);
    constexpr std::size_t kLongestText = 256;
    if (!formatter || text.size() > kLongestText) return {};
    icu::UnicodeString wanted = icuText(text);
    wanted.trim();
    icu::ParsePosition position(0);
    // A zone in the text changes the zone of the calendar, so each parse begins with the format's own.
    const std::unique_ptr<icu::Calendar> calendar(formatter->getCalendar()->clone());
    calendar->clear();
    formatter->parse(wanted, *calendar, position);
    if (position.getIndex() != wanted.length() || wanted.isEmpty()) return {};
    UErrorCode status = U_ZERO_ERROR;
    const double milliseconds = calendar->getTime(status);
    if (U_FAILURE(status)) return {};
    return Date{milliseconds / 1000};
}

std::string localizedDatePattern(std::string_view skeleton, const std::string& locale) {
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<icu::DateTimePatternGenerator> generator(
        icu::DateTimePatternGenerator::createInstance(localeNamed(locale), status));
    std::string pattern;
    if (U_SUCCESS(status)) pattern = utf8Text(generator->getBestPattern(icuText(skeleton), status));
    return U_SUCCESS(status) ? pattern : std::string(skeleton);
}

std::string defaultTimeZone() {
    ZoneInForce& zone = zoneInForce();
    {
        const std::lock_guard hold(zone.lock);
        if (!zone.name.empty()) return zone.name;
    }
    return systemTimeZone();
}

void setDefaultTimeZone(std::string_view ianaName) {
    ZoneInForce& zone = zoneInForce();
    const std::lock_guard hold(zone.lock);
    zone.name = ianaName;
}

}  // namespace qs
