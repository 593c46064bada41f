#include "Core/QSKeyValueChanges.h"

#include <algorithm>

namespace qs {

ObservationRef QSKeyValueChanges::addObserver(std::string_view key, std::function<void(bool isPrior)> handler) {
    return observers_.addObserver(std::string(key), [handler = std::move(handler)](const Notification& notification) {
        handler(notification.userInfo.boolValue());
    });
}

void QSKeyValueChanges::tell(std::string_view key, bool isPrior) {
    observers_.post(key, nullptr, isPrior);
    for (const std::string& derived : derivedKeys())
        if (std::ranges::count(keyPathsForValuesAffectingValueForKey(derived), key) > 0)
            observers_.post(derived, nullptr, isPrior);
}

}  // namespace qs
