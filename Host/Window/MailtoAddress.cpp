#include "MailtoAddress.h"

#include <string>
#include <vector>

#include "ComposeWindow.h"
#include "Text/Ascii.h"
#include "Text/Escapes.h"
#include "Text/Utf8.h"

namespace qs {
namespace {

constexpr std::string_view kScheme = "mailto:";
constexpr std::size_t kLongest = 100'000;
constexpr std::size_t kMostRecipients = 500;

// A "+" is a plus sign here, unlike in forms.
std::string decodedText(std::string_view text) { return validUtf8(percentDecoded(text)); }

std::string onOneLine(std::string text) {
    for (char& c : text)
        if (isAsciiControl(c)) c = ' ';
    return std::string(trimmedAscii(text));
}

std::string withLines(const std::string& text) {
    std::string lines;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\r') {
            if (i + 1 < text.size() && text[i + 1] == '\n') ++i;
            lines += '\n';
        } else if (!isAsciiControl(text[i]) || text[i] == '\n' || text[i] == '\t') {
            lines += text[i];
        }
    }
    return lines;
}

// Split before decoding: an encoded comma belongs to a name.
void addRecipients(std::vector<std::string>& recipients, std::string_view list) {
    while (!list.empty()) {
        const std::string_view one = list.substr(0, list.find(','));
        list.remove_prefix(std::min(list.size(), one.size() + 1));
        std::string recipient = onOneLine(decodedText(one));
        if (!recipient.empty() && recipients.size() < kMostRecipients) recipients.push_back(std::move(recipient));
    }
}

}  // namespace

std::optional<ComposeRequest> parseMailtoAddress(std::string_view url) {
    if (!startsWithIgnoringCase(url, kScheme) || url.size() > kLongest) return {};
    url.remove_prefix(kScheme.size());
    url = url.substr(0, url.find('#'));
    ComposeRequest request;
    const std::string_view path = url.substr(0, url.find('?'));
    addRecipients(request.to, path);
    url.remove_prefix(std::min(url.size(), path.size() + 1));
    while (!url.empty()) {
        const std::string_view field = url.substr(0, url.find('&'));
        url.remove_prefix(std::min(url.size(), field.size() + 1));
        const std::string name = asciiLowered(decodedText(field.substr(0, field.find('='))));
        const auto equals = field.find('=');
        const std::string_view value = equals == std::string_view::npos ? "" : field.substr(equals + 1);
        if (name == "to") addRecipients(request.to, value);
        if (name == "cc") addRecipients(request.cc, value);
        if (name == "bcc") addRecipients(request.bcc, value);
        if (name == "subject") request.subject = onOneLine(decodedText(value));
        if (name == "body") request.plainBody = withLines(decodedText(value));
    }
    return request;
}

}  // namespace qs
