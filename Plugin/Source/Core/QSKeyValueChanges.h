// Tells who looks at an object that one of its values changes, by the value's key: before and after. Main thread.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/NotificationCenter.h"

namespace qs {

class QSKeyValueChanges {
public:
    virtual ~QSKeyValueChanges() = default;
    // Called twice for each change: with isPrior true before it, with false after it. For as long as what is returned
    // lives, and not beyond this object.
    [[nodiscard]] ObservationRef addObserver(std::string_view key, std::function<void(bool isPrior)> handler);

protected:
    // Keys whose values follow from others': changes of those are told as theirs, too.
    virtual std::vector<std::string> keyPathsForValuesAffectingValueForKey(std::string_view /*key*/) const {
        return {};
    }
    virtual std::vector<std::string> derivedKeys() const { return {}; }
    void willChangeValueForKey(std::string_view key) { tell(key, true); }
    void didChangeValueForKey(std::string_view key) { tell(key, false); }

private:
    void tell(std::string_view key, bool isPrior);
    NotificationCenter observers_;
};

}  // namespace qs
