// Texts of mail as they come: encoded words in headers, character sets of HTML, flowed lines (bytes in a set are read
// by Text/Charsets.h). Nothing here fails: what can't be read comes out as replacement characters.
#pragma once

#include <string>
#include <string_view>

namespace qs {

// Starts the MIME library, once. Everything below and MimeMessage do it themselves.
void startMimeLibrary();
// A header's raw value with "=?utf-8?Q?...?=" decoded. Bytes above 127 are taken as UTF-8, else as Latin-1.
std::string decodedHeaderText(std::string_view raw);
// What an HTML text says about its own character set, near its start; empty for nothing.
std::string charsetInHtml(std::string_view html);
// Joins the lines of a text with format=flowed (RFC 3676) into paragraphs. Line ends become "\n".
std::string unflowed(std::string_view text, bool deleteSpace);
// With "\n" for every kind of line end.
std::string withLineFeeds(std::string_view text);

}  // namespace qs
