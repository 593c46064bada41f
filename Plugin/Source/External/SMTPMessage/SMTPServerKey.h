// Who a mail server is, proven before anything is said to it: its chain and its name are verified on a connection of
// their own, and the key that it showed there is what the next connection must show again. Blocking.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace qs {

struct SMTPServerKey {
    int code = 0;     // libcurl's; 0 when the server has proven itself
    std::string pin;  // in the form of CURLOPT_PINNEDPUBLICKEY
};

// `url` begins with "smtps" for TLS from the first byte; any other connection must turn to it first. No name and no
// password leaves. The limits are in milliseconds.
SMTPServerKey verifiedSMTPServerKey(const std::string& url, const std::filesystem::path& certificateAuthorities,
                                    std::int64_t timeout, std::int64_t connectTimeout);

}  // namespace qs
