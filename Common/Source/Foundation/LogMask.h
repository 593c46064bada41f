// What must never be written to a log: passwords, tokens, codes, the queries of URLs. Known ones are given by value;
// the rest is found by the form it takes in headers, form fields, JSON and URLs. Not locked: the log holds its own
// lock.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qs {

inline constexpr std::string_view kMasked = "•••";

class LogMask {
public:
    // Texts under 6 bytes are ignored: masking them would hide the log rather than the secret.
    void addSecret(std::string_view secret);
    std::string masked(std::string text) const;

private:
    void addForm(std::string form);

    std::vector<std::string> secrets_;  // longest first, so that one that holds another goes as a whole
};

// One line of printable UTF-8: line ends, other control characters, characters that turn the writing direction and
// bytes that are no UTF-8 become visible escapes, so that data can't forge lines or steer a terminal. Overlong text is
// cut with a note of how much is missing.
std::string singleLogLine(std::string_view text);

}  // namespace qs
