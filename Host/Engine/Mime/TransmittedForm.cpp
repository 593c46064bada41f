#include "Mail/MessageHeaders.h"
#include "Mime/MessageChanges.h"
#include "Mime/MessageWriter.h"
#include "Text/Ascii.h"
#include "Text/MailAddresses.h"
#include "Text/Uuid.h"

namespace qs {

namespace {

std::string transmittedField(std::string_view field) {
    const std::string_view name = fieldName(field);
    if (equalsIgnoringCase(name, MCHeaderKeyBcc) || equalsIgnoringCase(name, "Resent-Bcc") ||
        equalsIgnoringCase(name, MCHeaderKeyXUniversallyUniqueIdentifier))
        return {};
    std::string text;
    for (const char c : field)
        if (!isAsciiControl(c) || c == '\t' || c == '\r' || c == '\n') text += c;
    return text;
}

}  // namespace

std::string transmittedForm(std::string_view content) { return withChangedHeader(content, transmittedField); }
ByteSource transmittedForm(ByteSource content) { return withChangedHeader(std::move(content), transmittedField); }

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
