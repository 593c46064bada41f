// Network addresses of those who ask, as numbers in text form.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "HttpServer/HttpTypes.h"

namespace qs {

// Who asked: the other side of the connection, or, when that is one of the trusted proxies, whom these name last in
// "X-Forwarded-For" without being one of them. What stands before that in the header is anybody's claim.
std::string peerOf(const HttpServerRequest& request, const std::vector<std::string>& trustedProxies);

// With the last part blanked, so that it names a neighbourhood instead of a household: 24 bits stay of an IPv4 address,
// 48 of an IPv6 one. Empty for what is no address.
std::string shortenedAddress(std::string_view address);
// What limits count by: an IPv4 address, or the network of 64 bits that an IPv6 customer gets.
std::string limitKeyOf(std::string_view address);

}  // namespace qs
