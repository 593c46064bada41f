#include "Tracking/QSTrackingPixel.h"

#include <algorithm>

#include "Account/QSBackend.h"

namespace qs {

std::string QSTrackingPixel::urlString() const { return QSBackend::baseURL() + "/tracking/" + uuid().value_or(""); }

std::vector<std::shared_ptr<QSTrackingPixelOpen>> QSTrackingPixel::opens() const { return get(kOpens); }
std::int64_t QSTrackingPixel::numOpens() const { return static_cast<std::int64_t>(opens().size()); }

std::vector<std::shared_ptr<QSTrackingPixelOpen>> QSTrackingPixel::sortedOpensByDate() const {
    auto sorted = opens();
    std::ranges::stable_sort(sorted, [](const auto& a, const auto& b) { return a->date() > b->date(); });
    return sorted;
}

std::optional<Date> QSTrackingPixel::firstOpen() const {
    const auto sorted = sortedOpensByDate();
    return sorted.empty() ? std::nullopt : sorted.back()->date();
}

std::optional<Date> QSTrackingPixel::lastOpen() const {
    const auto sorted = sortedOpensByDate();
    return sorted.empty() ? std::nullopt : sorted.front()->date();
}

}  // namespace qs
