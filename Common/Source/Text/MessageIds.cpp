#include "Text/MessageIds.h"

#include "Text/StringAdditions.h"

namespace qs {

namespace {
constexpr std::string_view kScheme = "message://";
}

std::string messageURLForMessageID(std::string_view messageID) { return std::string(kScheme) + std::string(messageID); }

std::string HTMLEscapedMessageID(std::string_view text) {
    std::string escaped = stringByReplacingOccurrences(text, "<", "%3C");
    escaped = stringByReplacingOccurrences(escaped, ">", "%3E");
    return stringByReplacingOccurrences(escaped, "@", "%40");
}

std::string HTMLUnescapedMessageID(std::string_view text) {
    std::string plain = stringByReplacingOccurrences(text, kScheme, "");
    plain = stringByReplacingOccurrences(plain, "%3C", "<");
    plain = stringByReplacingOccurrences(plain, "%3E", ">");
    return stringByReplacingOccurrences(plain, "%40", "@");
}

std::string trimmedContentID(std::string_view text) {
    std::string id(text);
    std::erase_if(id, [](char c) { return c == '<' || c == '>'; });
    if (id.starts_with("cid:")) id.erase(0, 4);
    return id;
}

}  // namespace qs
