// Takes the field of an address header apart into its mailboxes: RFC 5322, leniently. Names come as they are written,
// encoded words and all; decoding them is the business of whoever knows MIME.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qs {

struct ScannedAddress {
    std::string name;     // without its quotes; may be empty
    std::string address;  // bare; empty for a piece that is no address, which is then the name
};

// Groups are flattened, comments dropped (one behind a bare address is its name), ";" separates as "," does. Time and
// memory grow with the length of the field alone.
std::vector<ScannedAddress> scanAddresses(std::string_view field);

// How a person is told who it is: by the name, but for one that shows an address, which may be another one.
const std::string& shownName(const std::string& name, const std::string& address);

}  // namespace qs
