// Regular expressions by ICU's rules (https://unicode-org.github.io/icu/userguide/strings/regexp.html).
//
// For patterns that are given from outside of the code or change; what comes from mail is better matched by hand, as
// many a pattern takes exponential time for some text. A search therefore ends after about a second, as if nothing more
// were found, with a line in the log. Thread-safe.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qs {

class RegularExpression {
public:
    // Without options. Nothing for a pattern with a mistake, which is logged.
    static std::optional<RegularExpression> enRegexWithPattern(std::string_view pattern);

    bool enFindInString(std::string_view text) const;
    // Whether the first match covers the whole text: an earlier or shorter one counts against it.
    bool enMatchesString(std::string_view text) const;
    // Of all matches in order every group, beginning with the whole match; empty for a group that took no part.
    std::vector<std::string> enCapturedSubstringsOfString(std::string_view text) const;
    // All matches; in the replacement "$1" is a group and a backslash takes the next character as it is. A search that
    // is ended and a replacement with a mistake, such as a group that is not there, change nothing.
    std::string enReplaceWithString(std::string_view replacement, std::string_view inString) const;

private:
    struct Compiled;
    explicit RegularExpression(std::shared_ptr<const Compiled> compiled) : compiled_(std::move(compiled)) {}
    std::shared_ptr<const Compiled> compiled_;
};

}  // namespace qs
