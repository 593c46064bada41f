// Feeds any bytes as a message to the MIME parser: headers, bodies, attachments, and each part's content.
#include <cstdlib>

#include "Mail/MessageHeaders.h"
#include "Mime/MimeMessage.h"
#include "Text/Ascii.h"
#include "Text/Utf8.h"

namespace {

void demand(bool isTrue) {
    if (!isTrue) std::abort();
}

bool isSafeFileName(std::string_view name) {
    for (const char c : name)
        if (c == '/' || c == '\\' || qs::isAsciiControl(c)) return false;
    return !name.empty() && name.front() != '.' && qs::isValidUtf8(name);
}

bool hasNoControl(std::string_view text) {
    for (const char c : text)
        if (qs::isAsciiControl(c) && c != '\t') return false;
    return qs::isValidUtf8(text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size) {
    const std::string_view content(reinterpret_cast<const char*>(bytes), size);
    const auto message = qs::MimeMessage::parse(content);
    demand(message->headers()->all() == qs::parseHeaders(content)->all());
    for (const auto& [name, value] : message->headers()->all())
        demand(hasNoControl(name) && hasNoControl(value));
    for (const auto& body : {message->htmlBody(), message->plainBody()})
        demand(!body || qs::isValidUtf8(*body));
    for (const auto& part : message->attachments()) {
        demand(isSafeFileName(part.fileName));
        demand(hasNoControl(part.mimeType) && hasNoControl(part.contentID));
        const auto bytesOfPart = message->partContent(part.part);
        demand(bytesOfPart && bytesOfPart->size() == part.size);
    }
    demand(qs::isValidUtf8(message->damage()));
    (void)message->headers()->firstMessageIDForKey(qs::MCHeaderKeyMessageId);
    (void)message->headers()->firstAddressForKey(qs::MCHeaderKeyFrom);
    return 0;
}
