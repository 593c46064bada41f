// The escapes of URLs, XML and mail bodies, both ways where both are needed. Linear in the length of the text.
#pragma once

#include <string>
#include <string_view>

namespace qs {

// Everything but letters, digits and -._~ as %XX of its UTF-8 bytes.
std::string urlEncodedString(std::string_view text);
// The same, and leaves the characters of `kept` as well.
std::string percentEncoded(std::string_view text, std::string_view kept);
// %XX becomes the byte; a percent sign that begins no escape stays as it is. The result may be no UTF-8.
std::string percentDecoded(std::string_view text);

// "&", both quotes, ">" and "<" as entities: safe in a text and in an attribute of XML and HTML.
std::string stringByEscapingXMLEntities(std::string_view text);

// Quoted-printable (RFC 2045, section 6.7) up to a zero byte, if there is one: UTF-8 if the bytes are that, else text
// in the given character set (see Charsets.h). An escape that is cut off or holds other characters than 0-9 and A-F is
// an assertion failure.
std::string stringWithQuotedPrintableString(std::string_view text, std::string_view encoding);

}  // namespace qs
