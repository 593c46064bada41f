// Programming faults: an AssertionFailure is thrown with the given text, caught at the border to the host, and logged.
// Never use it for outside data (mail, network, files): those give errors.
#pragma once

#include <source_location>
#include <stdexcept>
#include <string>
#include <string_view>

namespace qs {

class AssertionFailure : public std::logic_error {
public:
    using std::logic_error::logic_error;
};

// Logs text, file and line, then throws.
[[noreturn]] void raiseAssertion(std::string_view text, std::source_location where = std::source_location::current());

inline void assertThat(bool condition, std::string_view text,
                       std::source_location where = std::source_location::current()) {
    if (!condition) raiseAssertion(text, where);
}

// For the borders at which exceptions end; call it in a catch block. Logs `whatFailed` and the exception's text, unless
// it is an AssertionFailure, which was logged where it was raised.
void logCaughtException(std::string_view whatFailed, std::source_location where = std::source_location::current());

}  // namespace qs
