// Addresses found in texts: a header's field, a display name, what somebody typed. Each is a pattern matched in linear
// time, as the texts come from mail. (For taking a header's field apart by the grammar of mail see Mail/AddressScan.h.)
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace qs {

// The last match of [A-Z0-9._%+-]+@[A-Z0-9.-]+\.[A-Z]{2,4} in any case, in lower case: a top-level domain is cut at its
// fourth letter.
std::optional<std::string> emailAddress(std::string_view text);
// What stands behind the @ of that match.
std::optional<std::string> domainComponent(std::string_view text);
// Whether all of the text is ^.+@([A-Za-z0-9-]+\.)+[A-Za-z]{2}[A-Za-z]*$.
bool isValidEmail(std::string_view text);
// Whether mail may be handed to a server for this bare address (RFC 5321, with internationalised addresses).
bool isDeliverableAddress(std::string_view bareAddress);

}  // namespace qs
