// Small operations on texts for people: blanks, capitals, cuts, words. UTF-8; broken bytes count as U+FFFD.
// Thread-safe; time grows with the length of the text alone.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qs {

// Every piece between white space (line ends are white space, too), joined with one blank: it normalises rather than
// removes.
std::string stringByRemovingWhitespace(std::string_view text);
// firstName gives First Name.
std::string titleCaseString(std::string_view text);
// Accents fall away, letters with an ASCII spelling take it ("ß" gives "ss"), anything else becomes "?".
std::string asciiString(std::string_view text);
// Words, each followed by a blank, until more than `length` UTF-16 units are collected, then an ellipsis. A text that
// never gets so long comes back whole, with a blank at its end.
std::string stringByTruncatingTailWithLength(std::string_view text, std::size_t length);
// All of them; an empty `from` changes nothing.
std::string stringByReplacingOccurrences(std::string_view text, std::string_view from, std::string_view to);

enum class StringCompare { Literal, CaseInsensitive };

// Composed and decomposed letters are the same. An empty or missing part is contained in nothing.
bool containsString(std::string_view text, std::optional<std::string_view> part,
                    StringCompare options = StringCompare::Literal);
// Whether any of the words stands in the text, be it inside of another word.
bool containsWordsInArray(std::string_view text, const std::vector<std::string>& words,
                          StringCompare options = StringCompare::Literal);
// The first in the order of the array.
std::optional<std::string> firstContainingWordFromArray(std::string_view text, const std::vector<std::string>& words,
                                                        StringCompare options = StringCompare::Literal);

}  // namespace qs
