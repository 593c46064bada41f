#include "Unsubscribe/UnsubscribeHeader.h"

#include <algorithm>

#include "Text/Ascii.h"
#include "Text/MailAddresses.h"
#include "Text/Url.h"
#include "Text/UrlEscaping.h"

namespace qs {

namespace {

constexpr std::string_view kMailto = "mailto:", kSubject = "subject=", kBody = "body=";

std::vector<std::string_view> split(std::string_view text, char separator) {
    std::vector<std::string_view> pieces;
    for (;;) {
        const auto end = text.find(separator);
        pieces.push_back(text.substr(0, end));
        if (end == std::string_view::npos) return pieces;
        text.remove_prefix(end + 1);
    }
}

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view kAround = " <>\"";
    const auto start = text.find_first_not_of(kAround);
    if (start == std::string_view::npos) return {};
    return text.substr(start, text.find_last_not_of(kAround) - start + 1);
}

// emailAddress() cuts a top-level domain at its fourth letter: the mail would go to a stranger.
std::optional<std::string> wholeAddress(std::string_view text) {
    const auto found = emailAddress(text);
    if (!found) return found;
    const std::string lower = asciiLowered(text);
    std::size_t end = lower.rfind(*found) + found->size();
    while (end < lower.size() && isAsciiLetter(lower[end]))
        ++end;
    return lower.substr(lower.rfind(*found), end - lower.rfind(*found));
}

std::string decoded(std::string_view text) { return percentDecodedUtf8(text).value_or(std::string(text)); }

}  // namespace

std::vector<std::string> piecesAtCommas(const std::vector<std::string>& fields) {
    std::vector<std::string> pieces;
    for (const std::string& field : fields)
        for (const std::string_view piece : split(field, ','))
            pieces.emplace_back(piece);
    return pieces;
}

UnsubscribeAddresses unsubscribeAddressesIn(const std::vector<std::string>& entries) {
    UnsubscribeAddresses found;
    for (const std::string& entry : entries) {
        const std::string_view address = trimmed(entry);
        if (address.starts_with(kMailto))
            found.mail = address;
        else if (address.starts_with("http"))
            found.web = address;
    }
    return found;
}

bool declaresOneClick(const std::vector<std::string>& fields) {
    return std::ranges::any_of(fields, [](const std::string& field) {
        return equalsIgnoringCase(trimmedAscii(field), "List-Unsubscribe=One-Click");
    });
}

UnsubscribeMail unsubscribeMailFrom(std::string_view mailto) {
    const auto pieces = split(mailto, '?');
    std::string address(pieces[0]);
    for (auto at = address.find(kMailto); at != std::string::npos; at = address.find(kMailto))
        address.erase(at, kMailto.size());
    UnsubscribeMail mail{wholeAddress(address), std::nullopt, {}};
    if (pieces.size() < 2) return mail;
    for (const std::string_view part : split(pieces[1], '&')) {
        const std::string name = asciiLowered(part.substr(0, part.find('=')));
        const auto behind = [&](std::size_t offset) { return std::string(part.substr(std::min(offset, part.size()))); };
        if (name == "subject") mail.subject = behind(kSubject.size());
        if (name == "body") mail.body = behind(kBody.size());
    }
    return mail;
}

std::optional<UnsubscribeForm> unsubscribeFormFrom(std::string_view web) {
    const auto url = Url::parse(escapedForUrl(web));
    if (!url || (url->scheme() != "http" && url->scheme() != "https")) return std::nullopt;
    if (!url->host() || url->host()->empty() || url->user()) return std::nullopt;
    UnsubscribeForm form;
    form.isSecure = url->scheme() == "https";
    form.place = *url->host();
    if (url->port()) form.place += ":" + std::to_string(*url->port());
    const std::string& text = url->absoluteString();
    form.wholeUrl = text.substr(0, text.find('#'));
    form.url = form.wholeUrl.substr(0, form.wholeUrl.find('?'));
    if (!url->query()) return form;
    for (const std::string_view item : split(*url->query(), '&')) {
        const auto equals = item.find('=');
        const std::string name = decoded(item.substr(0, equals));
        if (!name.empty())
            form.parameters[name] = equals == std::string_view::npos ? "" : decoded(item.substr(equals + 1));
    }
    return form;
}

}  // namespace qs
