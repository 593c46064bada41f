// What may stand in an XML document: well-formed UTF-8 without the control characters and non-characters that XML
// forbids (https://www.w3.org/TR/xml/#charsets), not even as a reference.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace qs {

// The length of the legal beginning; all of it for most texts, so that these are passed on as they are.
std::size_t legalXmlPrefix(std::string_view text);
// How many bytes at the end may be the start of a character that goes on behind it: 0 to 3.
std::size_t cutOffCharacterLength(std::string_view text);
// Appends `text`: a byte that is no UTF-8 becomes U+FFFD, a form feed a blank, other forbidden characters vanish.
void appendLegalXml(std::string& target, std::string_view text);

// The same, with what is markup escaped as libxml2 escapes it: "&", "<", ">", the quotation mark and the carriage
// return.
void appendEscapedXml(std::string& target, std::string_view text);
// For the value of an attribute: with tabs and line ends as references, too. An "&" becomes "&amp;#38;".
void appendEscapedXmlValue(std::string& target, std::string_view value);

}  // namespace qs
