#include <algorithm>

#include "Mail/MessageHeaders.h"
#include "Mime/Addresses.h"
#include "Mime/MimeMessage.h"
#include "Mime/MimeText.h"
#include "Text/Ascii.h"

namespace qs {

namespace {

constexpr int kMostFields = 2000;

bool holdsAddresses(std::string_view name) {
    static constexpr std::string_view kNames[] = {"From",        "To",         "Cc",           "Bcc",
                                                  "Reply-To",    "Sender",     "Resent-To",    "Resent-Cc",
                                                  "Resent-From", "Resent-Bcc", "Resent-Sender"};
    return std::any_of(std::begin(kNames), std::end(kNames),
                       [&](auto known) { return equalsIgnoringCase(known, name); });
}

// Decoding first and reading the addresses afterwards would let an encoded comma forge a recipient.
std::string decodedAddresses(std::string_view raw) {
    std::string field;
    for (const MailAddress& address : parseAddresses(raw))
        field += (field.empty() ? "" : ", ") + address.display();
    return field;
}

void addField(MessageHeaders& headers, std::string_view field) {
    const std::size_t colon = field.find(':');
    if (colon == std::string_view::npos) return;  // a stray line; the others still count
    const std::string_view name = trimmedAscii(field.substr(0, colon)), value = trimmedAscii(field.substr(colon + 1));
    const bool isEncoded = value.find("=?") != std::string_view::npos;
    std::string unfolded;
    for (const char c : value)
        if (c != '\r' && c != '\n') unfolded += c;
    headers.append(std::string(name),
                   isEncoded && holdsAddresses(name) ? decodedAddresses(unfolded) : decodedHeaderText(unfolded));
}

}  // namespace

std::shared_ptr<MessageHeaders> parseHeaders(std::string_view content) {
    auto headers = std::make_shared<MessageHeaders>();
    content = content.substr(0, kLargestHeader);
    std::size_t at = content.starts_with("From ") ? std::min(content.find('\n'), content.size() - 1) + 1 : 0;
    for (int fields = 0; at < content.size() && fields < kMostFields; ++fields) {
        if (content[at] == '\n' || content.substr(at).starts_with("\r\n")) break;
        std::size_t end = at;
        do
            end = std::min(content.find('\n', end), content.size() - 1) + 1;
        while (end < content.size() && (content[end] == ' ' || content[end] == '\t'));
        addField(*headers, content.substr(at, end - at));
        at = end;
    }
    return headers;
}

}  // namespace qs
