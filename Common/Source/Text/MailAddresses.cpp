#include "Text/MailAddresses.h"

#include <algorithm>

#include "Text/Ascii.h"
#include "Text/Utf8.h"

namespace qs {

namespace {

bool isHostCharacter(char c) { return isAsciiLetter(c) || isAsciiDigit(c) || c == '.' || c == '-'; }
bool isLocalCharacter(char c) { return isHostCharacter(c) || c == '_' || c == '%' || c == '+'; }

struct Match {
    std::string_view local, domain;
};

// The longest domain at the start of the text; empty for none. Only its host characters are looked at.
std::string_view domainAt(std::string_view text) {
    const auto end = static_cast<std::size_t>(std::ranges::find_if_not(text, isHostCharacter) - text.begin());
    const std::string_view run = text.substr(0, end);
    // From the last dot back to the first that has letters enough behind it; one character at least stands before it.
    for (std::size_t dot = run.rfind('.'); dot != std::string_view::npos && dot > 0; dot = run.rfind('.', dot - 1)) {
        std::size_t letters = 0;
        while (letters < 4 && dot + 1 + letters < run.size() && isAsciiLetter(run[dot + 1 + letters]))
            ++letters;
        if (letters >= 2) return run.substr(0, dot + 1 + letters);
    }
    return {};
}

std::optional<Match> lastMatch(std::string_view text) {
    std::optional<Match> last;
    std::size_t start = 0;  // behind the last match, which the next one must not touch
    for (std::size_t at = text.find('@'); at != std::string_view::npos; at = text.find('@', at + 1)) {
        std::size_t local = at;
        while (local > start && isLocalCharacter(text[local - 1]))
            --local;
        const std::string_view domain = local < at ? domainAt(text.substr(at + 1)) : std::string_view();
        // The characters behind this @ are looked at once more for the next one, and never again.
        start = at + 1 + domain.size();
        if (!domain.empty()) last = Match{text.substr(local, at - local), domain};
    }
    return last;
}

// Where a pattern's dot does not match.
bool holdsLineEnd(std::string_view text) {
    for (const std::string_view end : {"\n", "\v", "\f", "\r", "\xC2\x85", "\xE2\x80\xA8", "\xE2\x80\xA9"})
        if (text.find(end) != std::string_view::npos) return true;
    return false;
}

bool isAtomByte(char c) {
    return static_cast<unsigned char>(c) > 127 || isAsciiLetter(c) || isAsciiDigit(c) ||
           std::string_view("!#$%&'*+-/=?^_`{|}~.").find(c) != std::string_view::npos;
}

bool isDomainByte(char c) {
    return static_cast<unsigned char>(c) > 127 || isAsciiLetter(c) || isAsciiDigit(c) || c == '-' || c == '.' ||
           c == '_';
}

bool isLocalPart(std::string_view local) {
    if (local.size() >= 2 && local.front() == '"' && local.back() == '"') {
        const std::string_view inside = local.substr(1, local.size() - 2);
        return inside.find_first_of("\"\\<>") == std::string_view::npos;
    }
    return !local.empty() && local.front() != '.' && std::all_of(local.begin(), local.end(), isAtomByte);
}

bool isDomain(std::string_view domain) {
    if (domain.starts_with('[') && domain.ends_with(']')) {
        return domain.size() > 2 && std::all_of(domain.begin() + 1, domain.end() - 1, [](char c) {
                   return isAsciiLetter(c) || isAsciiDigit(c) || c == '.' || c == ':';
               });
    }
    return !domain.empty() && domain.front() != '.' && domain.front() != '-' && domain.back() != '-' &&
           domain.find("..") == std::string_view::npos && std::all_of(domain.begin(), domain.end(), isDomainByte);
}

}  // namespace

std::optional<std::string> emailAddress(std::string_view text) {
    const auto match = lastMatch(text);
    if (!match) return std::nullopt;
    return asciiLowered(std::string(match->local) + "@" + std::string(match->domain));
}

std::optional<std::string> domainComponent(std::string_view text) {
    const auto match = lastMatch(text);
    if (!match) return std::nullopt;
    return asciiLowered(match->domain);
}

bool isValidEmail(std::string_view text) {
    const auto at = text.rfind('@');
    if (at == std::string_view::npos || at == 0 || holdsLineEnd(text.substr(0, at)) || !isValidUtf8(text)) return false;
    std::string_view domain = text.substr(at + 1);
    const auto lastDot = domain.rfind('.');
    if (lastDot == std::string_view::npos) return false;
    const std::string_view top = domain.substr(lastDot + 1);
    if (top.size() < 2 || !std::ranges::all_of(top, isAsciiLetter)) return false;
    domain = domain.substr(0, lastDot + 1);
    bool inLabel = false;
    for (const char c : domain) {
        if (!isHostCharacter(c) || (c == '.' && !inLabel)) return false;
        inLabel = c != '.';
    }
    return true;
}

bool isDeliverableAddress(std::string_view bareAddress) {
    const std::size_t at = bareAddress.rfind('@');
    const bool hasControl = std::any_of(bareAddress.begin(), bareAddress.end(), isAsciiControl);
    return at != std::string_view::npos && bareAddress.size() <= 254 && !hasControl && isValidUtf8(bareAddress) &&
           isLocalPart(bareAddress.substr(0, at)) && isDomain(bareAddress.substr(at + 1));
}

}  // namespace qs
