#include "Http/PublicAddress.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdint>

namespace qs {

namespace {

struct Range4 {
    std::uint32_t start;
    int bits;
};

// IPv4 blocks that are not of the public network.
constexpr Range4 kReserved4[] = {
    {0x00000000, 8},   // this network
    {0x0A000000, 8},   // private
    {0x64400000, 10},  // shared by carriers
    {0x7F000000, 8},   // loopback
    {0xA9FE0000, 16},  // link-local
    {0xAC100000, 12},  // private
    {0xC0000000, 24},  // protocol assignments
    {0xC0000200, 24},  // documentation
    {0xC0586300, 24},  // relays of the transition to IPv6
    {0xC0A80000, 16},  // private
    {0xC6120000, 15},  // benchmarks
    {0xC6336400, 24},  // documentation
    {0xCB007100, 24},  // documentation
    {0xE0000000, 4},   // multicast
    {0xF0000000, 4},   // reserved, and broadcast
};

bool isPublic4(std::uint32_t address) {
    for (const auto& [start, bits] : kReserved4)
        if ((address ^ start) >> (32 - bits) == 0) return false;
    return true;
}

std::uint32_t read32(const std::uint8_t* bytes) {
    std::uint32_t number = 0;
    for (int i = 0; i < 4; ++i)
        number = number << 8 | bytes[i];
    return number;
}

bool isPublic6(const in6_addr& address) {
    const std::uint8_t* bytes = address.s6_addr;
    const std::uint32_t first = read32(bytes);
    // Addresses that carry one of IPv4 are judged by that.
    const bool startsWithNulls = first == 0 && read32(bytes + 4) == 0;
    if (startsWithNulls && (read32(bytes + 8) == 0xFFFF || read32(bytes + 8) == 0))
        return isPublic4(read32(bytes + 12));
    if (first == 0x0064FF9B) return read32(bytes + 4) == 0 && read32(bytes + 8) == 0 && isPublic4(read32(bytes + 12));
    if (bytes[0] == 0x20 && bytes[1] == 0x02) return isPublic4(read32(bytes + 2));
    if (first == 0x20010000) return false;                            // tunnels that hide an address
    if (first == 0x20010DB8 || first >> 12 == 0x3FFF0) return false;  // documentation
    if (first >> 9 == 0x20010000 >> 9) return false;                  // protocol assignments
    return bytes[0] >> 5 == 1;                                        // 2000::/3, all that is given out as global
}

}  // namespace

bool isPublicAddress(const sockaddr& address) {
    const void* plain = &address;
    if (address.sa_family == AF_INET) return isPublic4(ntohl(static_cast<const sockaddr_in*>(plain)->sin_addr.s_addr));
    if (address.sa_family == AF_INET6) return isPublic6(static_cast<const sockaddr_in6*>(plain)->sin6_addr);
    return false;
}

bool isLoopbackAddress(const sockaddr& address) {
    const void* plain = &address;
    if (address.sa_family == AF_INET)
        return ntohl(static_cast<const sockaddr_in*>(plain)->sin_addr.s_addr) >> 24 == 127;
    return address.sa_family == AF_INET6 && IN6_IS_ADDR_LOOPBACK(&static_cast<const sockaddr_in6*>(plain)->sin6_addr);
}

}  // namespace qs
