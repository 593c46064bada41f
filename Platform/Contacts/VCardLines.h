// The lines of a vCard file, taken apart: unfolded, decoded, and with their parameters. Private to this folder.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qs {

struct VCardLine {
    std::string group, name;          // in lower case; the group is "item1" of "item1.EMAIL"
    std::vector<std::string> labels;  // in lower case: TYPE, the bare words of 2.1, "pref"
    std::string mediaType;            // of MEDIATYPE
    bool isBase64 = false;
    std::string value;  // UTF-8, with its backslashes; of a picture in base64, its bytes
};

// One after the other. Lines that are none are passed over.
class VCardLines {
public:
    // `withPictures`: else a picture in base64 is left as it is. The bytes must outlive this.
    VCardLines(std::string_view bytes, bool withPictures);
    bool next(VCardLine& line);

private:
    std::string nextUnfolded();
    std::string_view nextPhysical();
    bool takeApart(std::string_view text, VCardLine& line) const;

    std::string converted_;
    std::string_view rest_;
    bool withPictures_;
};

// "a\, b\nc" as people read it.
std::string unescapedVCardText(std::string_view value);
// The parts of N, ADR and ORG, between semicolons that are no part of the text; unescaped.
std::vector<std::string> vCardParts(std::string_view value);

}  // namespace qs
