#include "Text/Url.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "Text/Ascii.h"
#include "Text/Utf8.h"

namespace qs {

namespace {

enum : unsigned char {
    kUnreserved = 1,
    kSubDelimiter = 2,
    kHex = 4,
    kSchemeTail = 8,
    kSchemeEnd = 16,
    // What pieces may hold beside unreserved characters, sub-delimiters and escapes.
    kUser = 32,
    kPath = 64,
    kQuery = 128,
};

constexpr std::array<unsigned char, 256> makeTraits() {
    std::array<unsigned char, 256> traits{};
    const auto add = [&traits](std::string_view characters, unsigned char trait) {
        for (const char c : characters) {
            unsigned char& entry = traits[static_cast<unsigned char>(c)];
            entry = static_cast<unsigned char>(entry | trait);
        }
    };
    constexpr std::string_view letters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ", digits = "0123456789";
    add(letters, kUnreserved | kSchemeTail);
    add(digits, kUnreserved | kSchemeTail | kHex);
    add("abcdefABCDEF", kHex);
    add("-._~", kUnreserved);
    add("+-.", kSchemeTail);
    add("!$&'()*+,;=", kSubDelimiter);
    add(":/?#", kSchemeEnd);
    add(":", kUser | kPath | kQuery);
    // Brackets are common in paths and queries, though the syntax wants them escaped; every reader takes them alike.
    add("/@[]", kPath | kQuery);
    add("?", kQuery);
    return traits;
}
constexpr std::array<unsigned char, 256> kTraits = makeTraits();

bool has(char c, unsigned char trait) { return (kTraits[static_cast<unsigned char>(c)] & trait) != 0; }

bool isEscape(std::string_view text, std::size_t i) {
    return text[i] == '%' && i + 2 < text.size() && has(text[i + 1], kHex) && has(text[i + 2], kHex);
}

// Unreserved characters, sub-delimiters, escapes, and those with the trait.
bool consistsOfLegal(std::string_view text, unsigned char trait = 0) {
    const auto legal = static_cast<unsigned char>(kUnreserved | kSubDelimiter | trait);
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (has(text[i], legal)) continue;
        if (!isEscape(text, i)) return false;
        i += 2;
    }
    return true;
}

bool isIpLiteral(std::string_view host) {
    if (host.size() < 4 || host.front() != '[' || host.back() != ']') return false;
    for (const char c : host.substr(1, host.size() - 2))
        if (!has(c, kHex) && c != ':' && c != '.') return false;
    return true;
}

int hexValue(char c) { return isAsciiDigit(c) ? c - '0' : asciiLower(c) - 'a' + 10; }

}  // namespace

// Cuts the pieces off from the front, in the order in which they stand.
class Url::Parser {
public:
    explicit Parser(Url& url) : url_(url), end_(url.text_.size()) {}

    bool parse() {
        if (!parseScheme()) return false;
        // From the back, so that what remains in the middle is authority and path.
        const std::size_t specifier = at_;
        cutTail('#', url_.fragment_);
        cutTail('?', url_.query_);
        url_.specifier_ = {specifier, end_ - specifier, true};
        if (!isLegal(url_.query_, kQuery) || !isLegal(url_.fragment_, kQuery)) return false;
        url_.opaque_ = url_.scheme_.isThere && !rest().starts_with('/');
        if (url_.opaque_) return consistsOfLegal(rest(), kPath);
        if (rest().starts_with("//") && !parseAuthority()) return false;
        url_.path_ = {at_, end_ - at_, true};
        return isLegal(url_.path_, kPath);
    }

private:
    std::string_view rest() const { return std::string_view(url_.text_).substr(at_, end_ - at_); }
    bool isLegal(Piece piece, unsigned char trait) const {
        return !piece.isThere || consistsOfLegal(*url_.piece(piece), trait);
    }

    bool parseScheme() {
        const std::string_view text = url_.text_;
        std::size_t end = 0;
        while (end < text.size() && !has(text[end], kSchemeEnd))
            ++end;
        if (end == text.size() || text[end] != ':') return true;  // relative
        const std::string_view scheme = text.substr(0, end);
        if (scheme.empty() || !isAsciiLetter(scheme.front())) return false;
        for (const char c : scheme)
            if (!has(c, kSchemeTail)) return false;
        url_.scheme_ = {0, end, true};
        at_ = end + 1;
        return true;
    }

    void cutTail(char mark, Piece& piece) {
        const std::size_t start = rest().find(mark);
        if (start == std::string_view::npos) return;
        piece = {at_ + start + 1, end_ - at_ - start - 1, true};
        end_ = at_ + start;
    }

    bool parseAuthority() {
        at_ += 2;
        const std::string_view authority = rest().substr(0, rest().find('/'));
        const std::size_t after = at_ + authority.size();
        if (const std::size_t at = authority.find('@'); at != std::string_view::npos) {
            if (!consistsOfLegal(authority.substr(0, at), kUser)) return false;
            const std::size_t colon = std::min(authority.find(':'), at);
            url_.user_ = {at_, colon, true};
            if (colon < at) url_.password_ = {at_ + colon + 1, at - colon - 1, true};
            at_ += at + 1;
        }
        const bool isParsed = parseHost(std::string_view(url_.text_).substr(at_, after - at_));
        at_ = after;
        return isParsed;
    }

    bool parseHost(std::string_view text) {
        std::size_t colon = text.rfind(':');
        if (colon != text.npos && text.find(']', colon) != text.npos) colon = text.npos;  // of an IPv6 address
        const std::string_view host = text.substr(0, colon);
        url_.host_ = {at_, host.size(), true};
        if (!consistsOfLegal(host) && !isIpLiteral(host)) return false;
        if (colon == text.npos || colon + 1 == text.size()) return true;
        return parsePort(text.substr(colon + 1));
    }

    bool parsePort(std::string_view digits) {
        int port = 0;
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), port);
        if (error != std::errc{} || end != digits.data() + digits.size() || port < 0 || port > 65535) return false;
        url_.port_ = port;
        return true;
    }

    Url& url_;
    std::size_t at_ = 0, end_;
};

std::optional<Url> Url::parse(std::string_view text) {
    if (text.empty()) return std::nullopt;
    Url url;
    url.text_ = text;
    if (!Parser(url).parse()) return std::nullopt;
    return url;
}

std::optional<std::string> Url::path() const {
    const auto encoded = encodedPath();
    if (!encoded) return std::nullopt;
    auto path = percentDecodedUtf8(*encoded);
    if (path && path->size() > 1 && path->back() == '/') path->pop_back();
    return path;
}

std::optional<std::string> percentDecodedUtf8(std::string_view text) {
    std::string decoded;
    decoded.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            decoded += text[i];
            continue;
        }
        if (!isEscape(text, i)) return std::nullopt;
        decoded += static_cast<char>(hexValue(text[i + 1]) * 16 + hexValue(text[i + 2]));
        i += 2;
    }
    if (!isValidUtf8(decoded)) return std::nullopt;
    return decoded;
}

std::map<std::string, std::string> queryFields(std::string_view query) {
    std::map<std::string, std::string> fields;
    while (!query.empty()) {
        const auto end = std::min(query.find('&'), query.size());
        std::string piece(query.substr(0, end));
        query.remove_prefix(std::min(end + 1, query.size()));
        std::ranges::replace(piece, '+', ' ');
        const auto equals = std::min(piece.find('='), piece.size());
        auto name = percentDecodedUtf8(std::string_view(piece).substr(0, equals));
        auto value = percentDecodedUtf8(std::string_view(piece).substr(std::min(equals + 1, piece.size())));
        if (name && !name->empty() && value) fields[std::move(*name)] = std::move(*value);
    }
    return fields;
}

}  // namespace qs
