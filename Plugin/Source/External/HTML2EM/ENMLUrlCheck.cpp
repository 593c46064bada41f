#include "HTML2EM/ENMLUrlCheck.h"

#include "Foundation/Format.h"
#include "Text/Ascii.h"

namespace qs {

namespace {

std::string orEmpty(std::optional<std::string_view> piece) { return std::string(piece.value_or("")); }

// In any case of letters: readers take "JavaScript:" for the same scheme.
bool containsScript(std::string_view scheme) {
    constexpr std::string_view script = "script";
    for (std::size_t at = 0; at + script.size() <= scheme.size(); ++at)
        if (startsWithIgnoringCase(scheme.substr(at), script)) return true;
    return false;
}

std::string authorityOf(const Url& url) {
    std::string authority = orEmpty(url.user());
    if (url.password()) authority.append(":").append(*url.password());
    if (url.user() || url.password()) authority += '@';
    authority += url.host().value_or("");
    if (url.port()) authority.append(":").append(std::to_string(*url.port()));
    return authority;
}

// The pattern's path and the parser's, the latter as files have it: without escapes and without a slash at the end.
std::optional<std::string> pathMismatch(std::string_view encoded, const Url& url) {
    if (url.encodedPath() == encoded) return std::nullopt;  // which stays so without escapes
    std::string path = percentDecodedUtf8(encoded).value_or("");
    const std::string parsed = url.path().value_or("");
    if (path == parsed) return std::nullopt;
    if (equalsIgnoringCase(orEmpty(url.scheme()), "mailto")) {
        const std::string specifier = percentDecodedUtf8(url.resourceSpecifier()).value_or("");
        if (path == specifier) return std::nullopt;
        return stringWithFormat("Path '%@' does not match resource specifier '%@'", {path, specifier});
    }
    if (path.ends_with('/')) {
        path.pop_back();
        if (path == parsed) return std::nullopt;
    }
    return stringWithFormat("Path '%@' does not match path '%@'", {path, parsed});
}

}  // namespace

URLCheck checkURLComponents(const std::optional<Url>& url) {
    if (!url || !url->scheme() || containsScript(*url->scheme())) return {};
    const std::string_view scheme = *url->scheme();
    if (scheme == "file" || scheme == "tel") return {true, {}};
    if (scheme == "x-apple-data-detectors") return {};

    const URLGroups groups = groupsOfURL(url->absoluteString());
    URLCheck check;
    const auto compare = [&check](std::string_view format, std::string_view group, std::string_view piece) {
        if (group != piece) check.mismatches.push_back(stringWithFormat(format, {group, piece}));
    };
    compare("Scheme '%@' does not match scheme '%@'", groups.scheme, scheme);
    const bool isHostAlone = !url->user() && !url->password() && !url->port();
    compare("Authority '%@' does not match authority '%@'", groups.authority,
            isHostAlone ? url->host().value_or("") : authorityOf(*url));
    if (auto mismatch = pathMismatch(groups.path, *url)) check.mismatches.push_back(*std::move(mismatch));
    compare("Query '%@' does not match query '%@'", groups.query, orEmpty(url->query()));
    compare("Fragment '%@' does not match fragment '%@'", groups.fragment, orEmpty(url->fragment()));
    check.isValid = check.mismatches.empty();
    return check;
}

URLGroups groupsOfURL(std::string_view url) {
    URLGroups groups;
    const auto cut = [&url](std::size_t length) {
        const std::string_view piece = url.substr(0, length);
        url.remove_prefix(piece.size());
        return piece;
    };
    const auto findAny = [&url](auto isWanted) {
        std::size_t at = 0;
        while (at < url.size() && !isWanted(url[at]))
            ++at;
        return at;
    };
    const auto endsPath = [](char c) { return c == '?' || c == '#'; };
    const auto endsAuthority = [=](char c) { return c == '/' || endsPath(c); };
    const std::size_t end = findAny([=](char c) { return c == ':' || endsAuthority(c); });
    if (end > 0 && url.substr(end).starts_with(':')) {
        groups.scheme = cut(end);
        cut(1);
    }
    if (url.starts_with("//")) {
        cut(2);
        groups.authority = cut(findAny(endsAuthority));
    }
    groups.path = cut(findAny(endsPath));
    if (url.starts_with('?')) {
        cut(1);
        groups.query = cut(url.find('#'));
    }
    if (url.starts_with('#')) {
        cut(1);
        groups.fragment = url;
    }
    return groups;
}

}  // namespace qs
