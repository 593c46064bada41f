#include "Foundation/Assertion.h"

#include "Foundation/Log.h"

namespace qs {

void raiseAssertion(std::string_view text, std::source_location where) {
    logError(text, where);
    throw AssertionFailure(std::string(text));
}

}  // namespace qs
