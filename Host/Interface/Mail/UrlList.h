// Takes apart the fields of mailing lists that hold addresses of the web or of mail (RFC 2369, section 2), leniently.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qs {

class MessageHeaders;

// What stands between angle brackets, in order, without the blanks that folding put there. Comments and whatever else
// lies between are passed over, but for a piece between commas that begins with a scheme: that one's brackets were
// forgotten.
std::vector<std::string> urlsInField(std::string_view field);
// Those of all fields of that name, in order.
std::vector<std::string> urlListForKey(const MessageHeaders& headers, std::string_view key);

}  // namespace qs
