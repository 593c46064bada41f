#include "StandardLibrary/GRMustacheTextFilters.h"

#include "GRMustacheCase.h"
#include "GRMustacheWhitespace.h"

namespace qs {

namespace {

template <class Change>
GRMustacheValue changed(const GRMustacheValue& object, Change change) {
    if (object.isNil()) return {};
    return object.isString() ? change(object.string()) : change(object.description());
}

bool hasNoText(const GRMustacheValue& object, bool trimmed) {
    if (object.isNothing()) return true;
    if (object.isCollection() && !object.isKeyed()) return object.count() == 0;
    const std::string text = object.description();
    return trimmed ? mustacheTrimmed(text).empty() : text.empty();
}

}  // namespace

Result<GRMustacheValue> GRMustacheCapitalizedFilter::transformedValue(const GRMustacheValue& object) const {
    return changed(object, mustacheCapitalized);
}

Result<GRMustacheValue> GRMustacheLowercaseFilter::transformedValue(const GRMustacheValue& object) const {
    return changed(object, mustacheLowercase);
}

Result<GRMustacheValue> GRMustacheUppercaseFilter::transformedValue(const GRMustacheValue& object) const {
    return changed(object, mustacheUppercase);
}

Result<GRMustacheValue> GRMustacheBlankFilter::transformedValue(const GRMustacheValue& object) const {
    return GRMustacheValue(hasNoText(object, true));
}

Result<GRMustacheValue> GRMustacheEmptyFilter::transformedValue(const GRMustacheValue& object) const {
    return GRMustacheValue(hasNoText(object, false));
}

}  // namespace qs
