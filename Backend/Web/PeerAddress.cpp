#include "Web/PeerAddress.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>

#include "Text/Ascii.h"

namespace qs {

namespace {

// The bytes of an address; an IPv4 address in IPv6's clothes is one of IPv4.
std::optional<std::string> bytesOf(std::string_view text) {
    const std::string address(text);
    std::array<char, 16> bytes{};
    if (inet_pton(AF_INET, address.c_str(), bytes.data()) == 1) return std::string(bytes.data(), 4);
    if (inet_pton(AF_INET6, address.c_str(), bytes.data()) != 1) return std::nullopt;
    constexpr std::string_view mapped("\0\0\0\0\0\0\0\0\0\0\xFF\xFF", 12);
    if (std::string_view(bytes.data(), 12) == mapped) return std::string(bytes.data() + 12, 4);
    return std::string(bytes.data(), 16);
}

std::string textOf(const std::string& bytes) {
    std::array<char, INET6_ADDRSTRLEN> text{};
    inet_ntop(bytes.size() == 4 ? AF_INET : AF_INET6, bytes.data(), text.data(), text.size());
    return text.data();
}

std::string blankedAfter(std::string_view address, std::size_t bytesOfFour, std::size_t bytesOfSix) {
    auto bytes = bytesOf(address);
    if (!bytes) return {};
    const std::size_t kept = bytes->size() == 4 ? bytesOfFour : bytesOfSix;
    std::fill(bytes->begin() + static_cast<std::ptrdiff_t>(kept), bytes->end(), '\0');
    return textOf(*bytes);
}

}  // namespace

std::string peerOf(const HttpServerRequest& request, const std::vector<std::string>& trustedProxies) {
    const auto isTrusted = [&](const std::string& address) {
        return std::find(trustedProxies.begin(), trustedProxies.end(), address) != trustedProxies.end();
    };
    const auto clean = [](std::string_view address) {
        const auto bytes = bytesOf(trimmedAscii(address));
        return bytes ? textOf(*bytes) : std::string();
    };
    std::string peer = clean(request.peer);
    std::string forwarded;
    for (const auto& [name, value] : request.headers)
        if (equalsIgnoringCase(name, "X-Forwarded-For")) forwarded += "," + value;
    std::string_view rest = forwarded;
    while (isTrusted(peer) && !rest.empty()) {
        const auto comma = rest.rfind(',');
        std::string next = clean(rest.substr(comma + 1));
        if (next.empty()) break;
        peer = std::move(next);
        rest = rest.substr(0, comma);
    }
    return peer;
}

std::string shortenedAddress(std::string_view address) { return blankedAfter(address, 3, 6); }

std::string limitKeyOf(std::string_view address) { return blankedAfter(address, 4, 8); }

}  // namespace qs
