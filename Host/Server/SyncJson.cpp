#include "SyncJson.h"

#include <boost/json.hpp>

#include "Foundation/Format.h"
#include "MailSync.h"
#include "Viewer/ListDates.h"

namespace qs {

namespace json = boost::json;

namespace {

// Of a pass that fetches little nobody needs to know.
constexpr std::size_t kWorthTelling = 20;

json::value line(const std::string& text, bool canRetry, const SyncProgress& progress = {}) {
    return json::object{{"text", text}, {"done", progress.done}, {"total", progress.total}, {"canRetry", canRetry}};
}

}  // namespace

json::value syncJson(const SyncStatus& status, Date now) {
    switch (status.state) {
    case SyncStatus::State::Idle: return nullptr;
    case SyncStatus::State::Working:
        if (status.progress.total < kWorthTelling) return nullptr;
        return line(stringWithFormat("Fetching mail: %ld of %ld", {static_cast<std::int64_t>(status.progress.done),
                                                                   static_cast<std::int64_t>(status.progress.total)}),
                    false, status.progress);
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
