// What outside data can make an assertion of is a fault that a fuzzer must find, so here an assertion ends the program.
#include <cstdio>
#include <cstdlib>

#include "Foundation/Assertion.h"

namespace qs {

void raiseAssertion(std::string_view text, std::source_location where) {
    std::fprintf(stderr, "%s:%u: %.*s\n", where.file_name(), static_cast<unsigned>(where.line()),
                 static_cast<int>(text.size()), text.data());
    std::abort();
}

}  // namespace qs
