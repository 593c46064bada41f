// Texts for finding and for previews: folded case, what a search means, the words in a body.
#pragma once

#include <string>
#include <string_view>

namespace qs {

std::string foldedCase(std::string_view text);
bool containsIgnoringCase(std::string_view text, std::string_view part);  // in any script
// What a person typed as an expression for the index of words: each word begins a word of the message, all must be
// there. Whatever is typed is taken as words, never as an operator. Empty when there is nothing to look for.
std::string matchExpression(std::string_view typed);
// The text that a person would read in it, roughly; at most `limit` bytes, whole characters.
std::string textOfHtml(std::string_view html, std::size_t limit);
// Valid UTF-8 in one line: runs of blanks and control characters become one space; at most `limit` bytes, whole
// characters.
std::string singleLine(std::string_view text, std::size_t limit);

}  // namespace qs
