// Mail addresses as people write them in a header field (RFC 5322, leniently, with internationalised addresses).
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qs {

struct MailAddress {
    std::string name;             // display name, decoded; may be empty
    std::string address;          // bare
    std::string display() const;  // "Ada Lovelace <ada@example.org>", quoted where needed
    std::string shownName() const;  // how a person is told who it is (AddressScan.h)
};

// Groups are flattened; pieces that are no address come back with an empty `address` and the piece as `name`.
std::vector<MailAddress> parseAddresses(std::string_view field);

}  // namespace qs
