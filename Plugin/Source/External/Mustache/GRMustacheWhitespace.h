// White space and line ends of all scripts, as names in templates and the filters for blank texts understand them.
#pragma once

#include <cstddef>
#include <string_view>

namespace qs {

// The bytes of the white space character or line end at the start of the text; 0 when there is none.
std::size_t mustacheWhitespaceLength(std::string_view text);
std::string_view mustacheTrimmed(std::string_view text);
// The position of the first white space; npos when there is none.
std::size_t mustacheFindWhitespace(std::string_view text);

}  // namespace qs
