#include "Foundation/Assertion.h"

#include "Foundation/Log.h"

namespace qs {

void raiseAssertion(std::string_view text, std::source_location where) {
    logError(text, where);
    throw AssertionFailure(std::string(text));
}

void logCaughtException(std::string_view whatFailed, std::source_location where) {
    try {
        throw;
    } catch (const AssertionFailure&) {
        // has its line already
    } catch (const std::exception& e) {
        logError(std::string(whatFailed) + ": " + e.what(), where);
    } catch (...) {
        logError(std::string(whatFailed) + ": an exception without text", where);
    }
}

}  // namespace qs
