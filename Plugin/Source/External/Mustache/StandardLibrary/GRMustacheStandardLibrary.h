// The filters that every template has: capitalized, lowercase, uppercase, isBlank, isEmpty, localize, each, and the
// escapers HTML.escape, javascript.escape and URL.escape.
#pragma once

#include <memory>

#include "GRMustacheValue.h"

namespace qs {

class GRMustacheContext;

class GRMustacheStandardLibrary {
public:
    static const GRMustacheValue& standardLibrary();
    // The context that has nothing but the standard library.
    static std::shared_ptr<const GRMustacheContext> baseContext();
};

}  // namespace qs
