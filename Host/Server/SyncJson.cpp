#include "SyncJson.h"

#include <boost/json.hpp>

#include "Foundation/Format.h"
#include "MailReading.h"
#include "MailSync.h"
#include "Viewer/ListDates.h"

namespace qs {

namespace json = boost::json;

namespace {

// Of a pass that fetches little nobody needs to know.
constexpr std::size_t kWorthTelling = 20;
// So many are read in a moment.
constexpr std::int64_t kReadInAMoment = 1000;

std::string grouped(std::int64_t number) {
    std::string digits = std::to_string(number);
    for (std::size_t at = digits.size(); at > 3;)
        digits.insert(at -= 3, ",");
    return digits;
}

json::value line(const std::string& text, bool canRetry, std::int64_t done = 0, std::int64_t total = 0) {
    return json::object{{"text", text}, {"done", done}, {"total", total}, {"canRetry", canRetry}};
}

json::value progressLine(std::string_view format, std::int64_t done, std::int64_t total) {
    return line(stringWithFormat(format, {grouped(done), grouped(total)}), false, done, total);
}

}  // namespace

json::value readingJson(const ReadingProgress& progress) {
    if (progress.total <= kReadInAMoment) return nullptr;
    return progressLine("Reading your mail: %@ of %@", progress.done, progress.total);
}

json::value syncJson(const SyncStatus& status, Date now) {
    switch (status.state) {
    case SyncStatus::State::Idle: return nullptr;
    case SyncStatus::State::Working:
        if (status.progress.total < kWorthTelling) return nullptr;
        return progressLine("Fetching mail: %@ of %@", static_cast<std::int64_t>(status.progress.done),
                            static_cast<std::int64_t>(status.progress.total));
    case SyncStatus::State::Offline: return line("Offline. Changes are kept and sent later.", false);
    case SyncStatus::State::Waiting:
        return line(status.until
                        ? stringWithFormat("%@ Next attempt: %@.", {status.text, untilText(*status.until, now)})
                        : status.text,
                    true);
    case SyncStatus::State::Stopped: return line(status.text, true);
    }
    return nullptr;
}

}  // namespace qs
