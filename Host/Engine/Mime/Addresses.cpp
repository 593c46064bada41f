#include "Mime/Addresses.h"

#include <algorithm>

#include "Mail/AddressScan.h"
#include "Mime/MimeText.h"
#include "Text/Ascii.h"
#include "Text/Utf8.h"

namespace qs {

namespace {

bool isAtomByte(char c) {
    return static_cast<unsigned char>(c) > 127 || isAsciiLetter(c) || isAsciiDigit(c) ||
           std::string_view("!#$%&'*+-/=?^_`{|}~.").find(c) != std::string_view::npos;
}

bool isDomainByte(char c) {
    return static_cast<unsigned char>(c) > 127 || isAsciiLetter(c) || isAsciiDigit(c) || c == '-' || c == '.' ||
           c == '_';
}

bool isLocalPart(std::string_view local) {
    if (local.size() >= 2 && local.front() == '"' && local.back() == '"') {
        const std::string_view inside = local.substr(1, local.size() - 2);
        return inside.find_first_of("\"\\<>") == std::string_view::npos;
    }
    return !local.empty() && local.front() != '.' && std::all_of(local.begin(), local.end(), isAtomByte);
}

bool isDomain(std::string_view domain) {
    if (domain.starts_with('[') && domain.ends_with(']')) {
        return domain.size() > 2 && std::all_of(domain.begin() + 1, domain.end() - 1, [](char c) {
                   return isAsciiLetter(c) || isAsciiDigit(c) || c == '.' || c == ':';
               });
    }
    return !domain.empty() && domain.front() != '.' && domain.front() != '-' && domain.back() != '-' &&
           domain.find("..") == std::string_view::npos && std::all_of(domain.begin(), domain.end(), isDomainByte);
}

}  // namespace

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

std::vector<MailAddress> parseAddresses(std::string_view field) {
    std::vector<MailAddress> addresses;
    for (ScannedAddress& scanned : scanAddresses(isValidUtf8(field) ? std::string(field) : utf8FromLatin1(field)))
        addresses.push_back({decodedHeaderText(scanned.name), std::move(scanned.address)});
    return addresses;
}

bool isDeliverableAddress(std::string_view bareAddress) {
    const std::size_t at = bareAddress.rfind('@');
    const bool hasControl = std::any_of(bareAddress.begin(), bareAddress.end(), isAsciiControl);
    return at != std::string_view::npos && bareAddress.size() <= 254 && !hasControl && isValidUtf8(bareAddress) &&
           isLocalPart(bareAddress.substr(0, at)) && isDomain(bareAddress.substr(at + 1));
}

}  // namespace qs
