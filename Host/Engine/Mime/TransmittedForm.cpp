#include <algorithm>

#include "Mail/MessageHeaders.h"
#include "Mime/MessageWriter.h"
#include "Text/Ascii.h"
#include "Text/MailAddresses.h"
#include "Text/Uuid.h"

namespace qs {

namespace {

bool staysHere(std::string_view field) {
    const std::string_view name = trimmedAscii(field.substr(0, field.find(':')));
    return equalsIgnoringCase(name, MCHeaderKeyBcc) || equalsIgnoringCase(name, "Resent-Bcc") ||
           equalsIgnoringCase(name, MCHeaderKeyXUniversallyUniqueIdentifier);
}

}  // namespace

std::string withCrLf(std::string_view text) {
    std::string out;
    out.reserve(text.size() + text.size() / 32);
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '\0') continue;
        if (c != '\r' && c != '\n') {
            out += c;
            continue;
        }
        out += "\r\n";
        if (c == '\r' && i + 1 < text.size() && text[i + 1] == '\n') ++i;
    }
    if (!out.empty() && !out.ends_with("\r\n")) out += "\r\n";
    return out;
}

std::string transmittedForm(std::string_view content) {
    const std::string text = withCrLf(content);
    std::string out;
    out.reserve(text.size());
    std::size_t at = 0;
    bool isLeftOut = false;
    while (at < text.size()) {
        const std::size_t end = text.find("\r\n", at) + 2;
        const std::string_view line = std::string_view(text).substr(at, end - at);
        if (line == "\r\n") break;
        const bool goesOn = line.starts_with(' ') || line.starts_with('\t');
        if (!goesOn) isLeftOut = staysHere(line);
        if (!isLeftOut) {
            for (const char c : line.substr(0, line.size() - 2))
                if (!isAsciiControl(c) || c == '\t') out += c;
            out += "\r\n";
        }
        at = end;
    }
    return out.append(text, at);
}

std::string newUniqueIdentifier() { return newUUIDString(); }

std::string newMessageID(std::string_view fromAddress) {
    const std::size_t at = fromAddress.rfind('@');
    std::string domain;
    if (at != std::string_view::npos && isDeliverableAddress(fromAddress))
        for (const char c : fromAddress.substr(at + 1))
            if (isAsciiLetter(c) || isAsciiDigit(c) || c == '-' || c == '.') domain += c;
    return newUniqueIdentifier() + "@" + (domain.empty() ? "localhost" : domain);
}

}  // namespace qs
