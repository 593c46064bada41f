#include "DirectInbox/QSDirectInboxRow.h"

namespace qs {

QSDirectInboxRowType QSDirectInboxRow::type() const {
    return static_cast<QSDirectInboxRowType>((*this)[QSDirectInboxTypeKey].integerValue());
}

const Value& QSDirectInboxRow::operator[](std::string_view key) const {
    static const Value nil;
    const auto found = values.find(key);
    return found == values.end() ? nil : found->second;
}

}  // namespace qs
