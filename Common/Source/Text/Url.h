// An address taken apart by the generic syntax of URLs (RFC 3986), strictly: nothing is repaired, so a text with a
// blank, a byte beyond ASCII or a broken escape is no URL.
//
// Addresses whose scheme is not followed by a slash ("mailto:", "tel:") are opaque: their content is the business of
// the scheme, so they have no path.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace qs {

class Url {
public:
    static std::optional<Url> parse(std::string_view text);

    // Whole, as it was given. Whatever else is a view lives as long as this object, at this place.
    const std::string& absoluteString() const { return text_; }
    bool isOpaque() const { return opaque_; }

    // As they stand in the text, escapes included; nothing for what is not there. "Not there" and empty differ.
    std::optional<std::string_view> scheme() const { return piece(scheme_); }
    std::optional<std::string_view> user() const { return piece(user_); }
    std::optional<std::string_view> password() const { return piece(password_); }
    std::optional<std::string_view> host() const { return piece(host_); }  // an IPv6 address keeps its brackets
    std::optional<int> port() const { return port_; }
    std::optional<std::string_view> encodedPath() const { return piece(path_); }
    std::optional<std::string_view> query() const { return piece(query_); }
    std::optional<std::string_view> fragment() const { return piece(fragment_); }

    // As a file's: without escapes, and without a slash at the end unless it is all. Nothing for an opaque address, nor
    // when the escapes make no UTF-8.
    std::optional<std::string> path() const;
    // What stands between the scheme (or the start) and the query: "//host/path", or an opaque address's content.
    std::string_view resourceSpecifier() const { return *piece(specifier_); }

private:
    struct Piece {
        std::size_t start = 0, length = 0;
        bool isThere = false;
    };
    class Parser;
    std::optional<std::string_view> piece(Piece piece) const {
        if (!piece.isThere) return std::nullopt;
        return std::string_view(text_).substr(piece.start, piece.length);
    }

    std::string text_;
    Piece scheme_, user_, password_, host_, path_, query_, fragment_, specifier_;
    std::optional<int> port_;
    bool opaque_ = false;
};

// The bytes that the escapes stand for; nothing when one is broken or all together are no UTF-8.
std::optional<std::string> percentDecodedUtf8(std::string_view text);

// The fields of a query ("a=b&c=d"), decoded; of several of one name the last, and none that can't be decoded.
std::map<std::string, std::string> queryFields(std::string_view query);

}  // namespace qs
