// What a mail program or browser says of itself, told in two words: on which system, and which application.
#pragma once

#include <string>
#include <string_view>

namespace qs {

struct UserAgent {
    std::string system, application;  // such as "Windows 10" and "Thunderbird 115"; empty for what is not known
    // "system | application", as the interface tells it; empty when neither is known.
    std::string text() const;
};

// Never fails: what nobody knows gives empty words. Only the first 512 bytes count.
UserAgent parseUserAgent(std::string_view header);

}  // namespace qs
