// Texts for finding and for previews: folded case, what a search means, the words in a body.
#pragma once

#include <string>
#include <string_view>

namespace qs {

bool containsIgnoringCase(std::string_view text, std::string_view part);  // in any script
// For the index of words: with the characters of scripts that put no blanks between words (Chinese, Japanese, Thai and
// others, and Korean, whose words are glued together) as words of their own, and "ss" for "ß".
std::string wordsApart(std::string_view text);
// Whether the index of words knows anything of it.
bool hasWord(std::string_view text);
// Those words, one behind the other, as an expression for the index of words, whatever they are. After a "*" at the end
// the last word may go on, unless it is so short that very many words would.
std::string matchPhrase(std::string_view words);
// What the index of fragments must know of a text that contains this one, as an expression for it; empty when the text
// is too short.
std::string matchFragments(std::string_view text);
// The text that a person would read in it, roughly; at most `limit` bytes, whole characters.
std::string textOfHtml(std::string_view html, std::size_t limit);
// Valid UTF-8 in one line: runs of blanks and control characters become one space; at most `limit` bytes, whole
// characters.
std::string singleLine(std::string_view text, std::size_t limit);

}  // namespace qs
