#include "Mime/Addresses.h"

#include "Mail/AddressScan.h"
#include "Mime/MimeText.h"
#include "Text/Utf8.h"

namespace qs {

std::string MailAddress::display() const {
    if (address.empty()) return name;
    if (name.empty()) return address;
    // A name that itself holds an encoded word is quoted, so that it is not decoded again.
    const bool isPlain =
        name.find_first_of("()<>[]:;@\\,.\"") == std::string::npos && name.find("=?") == std::string::npos;
    if (isPlain) return name + " <" + address + ">";
    std::string quoted = "\"";
    for (const char c : name) {
        if (c == '"' || c == '\\') quoted += '\\';
        quoted += c;
    }
    return quoted + "\" <" + address + ">";
}

std::string MailAddress::shownName() const { return qs::shownName(name, address); }

std::vector<MailAddress> parseAddresses(std::string_view field) {
    std::vector<MailAddress> addresses;
    for (ScannedAddress& scanned : scanAddresses(isValidUtf8(field) ? std::string(field) : utf8FromLatin1(field)))
        addresses.push_back({decodedHeaderText(scanned.name), std::move(scanned.address)});
    return addresses;
}

}  // namespace qs
