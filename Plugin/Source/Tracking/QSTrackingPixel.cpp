#include "Tracking/QSTrackingPixel.h"

#include <algorithm>

namespace qs {

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
