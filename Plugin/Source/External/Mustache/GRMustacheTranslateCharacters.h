// Replaces characters by the texts of a table, such as those that mean something in HTML. Text without any of them is
// passed on as it is, at the speed of a scan.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace qs {

// By byte; an empty text lets the byte stand. Bytes above 127 are parts of characters.
using GRMustacheTranslationTable = std::array<std::string_view, 256>;

// `capacityHint`: the length that the result will probably have.
std::string GRMustacheTranslateCharacters(std::string_view text, const GRMustacheTranslationTable& table,
                                          std::size_t capacityHint);
std::string GRMustacheTranslateHTMLCharacters(std::string_view text);
// The same at the end of `out`.
void GRMustacheAppendTranslatedHTML(std::string& out, std::string_view text);
// Translates what stands in `out` from `start` on.
void GRMustacheTranslateHTMLFrom(std::string& out, std::size_t start);

}  // namespace qs
