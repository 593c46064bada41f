// What stands in the program about an outside service and can be changed: the addresses of its hosts, and the keys
// under which this program is registered there.
//
// The resource ServiceConfiguration.plist has the public defaults, one dictionary for each service identifier. The
// setting "QSServiceConfiguration" has the same form; what stands in it goes before. Any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Value.h"

namespace qs {

class QSServiceConfiguration {
public:
    static QSServiceConfiguration forServiceType(std::int32_t type);
    std::string text(std::string_view key) const;  // empty for none
    // Of what the resource lists as "RequiredKeys", what has no value: with any of them the service can't be linked.
    std::vector<std::string> missingKeys() const;

private:
    Dictionary values_;
};

}  // namespace qs
