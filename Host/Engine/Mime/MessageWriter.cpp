#include "Mime/MessageWriter.h"

#include <gmime/gmime.h>

#include <algorithm>

#include "Foundation/FileSystem.h"
#include "Foundation/Format.h"
#include "Html/HtmlDocument.h"
#include "Mail/MessageHeaders.h"
#include "Mime/Addresses.h"
#include "Mime/FileNames.h"
#include "Mime/MimeText.h"
#include "Text/Ascii.h"
#include "Text/MailHeaderDate.h"
#include "Text/Utf8.h"

namespace qs {

namespace {

struct Unref {
    void operator()(gpointer object) const { g_object_unref(object); }
};
template <class T>
using Owned = std::unique_ptr<T, Unref>;

constexpr std::size_t kLongestLine = 998;

// Whether it can travel as it stands: ASCII, short lines, nothing at a line's border that a server changes.
bool isPlainEnough(std::string_view text, std::size_t longestLine) {
    std::size_t start = 0;
    while (start <= text.size()) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        const std::string_view line = text.substr(start, end - start);
        const bool isPlain =
            std::all_of(line.begin(), line.end(), [](char c) { return (c >= ' ' && c < 127) || c == '\t'; });
        if (!isPlain || line.size() > longestLine || line.starts_with("From ") || line.ends_with(' ')) return false;
        start = end + 1;
    }
    return true;
}

Owned<GMimeObject> partWith(std::string_view content, const char* type, const char* subtype,
                            GMimeContentEncoding encoding) {
    GMimePart* part = g_mime_part_new_with_type(type, subtype);
    const Owned<GMimeStream> stream(g_mime_stream_mem_new_with_buffer(content.data(), content.size()));
    const Owned<GMimeDataWrapper> wrapper(
        g_mime_data_wrapper_new_with_stream(stream.get(), GMIME_CONTENT_ENCODING_DEFAULT));
    g_mime_part_set_content(part, wrapper.get());
    g_mime_part_set_content_encoding(part, encoding);
    return Owned<GMimeObject>(GMIME_OBJECT(part));
}

Owned<GMimeObject> textPart(std::string_view source, const char* subtype) {
    std::string text = withLineFeeds(validUtf8(source));
    if (!text.ends_with('\n')) text += '\n';
    const auto encoding =
        isPlainEnough(text, 76) ? GMIME_CONTENT_ENCODING_7BIT : GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE;
    Owned<GMimeObject> part = partWith(text, "text", subtype, encoding);
    g_mime_object_set_content_type_parameter(part.get(), "charset", "utf-8");
    return part;
}

bool isMimeToken(std::string_view text) {
    return !text.empty() && text.size() < 100 && std::all_of(text.begin(), text.end(), [](char c) {
        return isAsciiLetter(c) || isAsciiDigit(c) || std::string_view("-.+_").find(c) != std::string_view::npos;
    });
}

Owned<GMimeObject> attachmentPart(const ComposeAttachment& attachment, const std::string& content) {
    const std::size_t slash = std::min(attachment.mimeType.find('/'), attachment.mimeType.size());
    std::string type = attachment.mimeType.substr(0, slash);
    std::string subtype = slash < attachment.mimeType.size() ? attachment.mimeType.substr(slash + 1) : "";
    auto encoding = GMIME_CONTENT_ENCODING_BASE64;
    const std::string text = withLineFeeds(content);
    // A message inside a message must not be encoded; one that can't travel bare goes as a plain file.
    const bool isMessage = equalsIgnoringCase(attachment.mimeType, "message/rfc822");
    const bool isBare = isMessage && isPlainEnough(text, kLongestLine);
    if (isBare) encoding = GMIME_CONTENT_ENCODING_7BIT;
    if (!isMimeToken(type) || !isMimeToken(subtype) || (isMessage && !isBare) ||
        equalsIgnoringCase(type, "multipart")) {
        type = "application";
        subtype = "octet-stream";
    }
    Owned<GMimeObject> part = partWith(isBare ? text : content, type.c_str(), subtype.c_str(), encoding);
    g_mime_object_set_disposition(part.get(), attachment.isInline ? "inline" : "attachment");
    const std::string name = safeFileName(attachment.fileName);
    if (!name.empty()) g_mime_part_set_filename(GMIME_PART(part.get()), name.c_str());
    if (attachment.isInline) g_mime_object_set_content_id(part.get(), attachment.identifier.c_str());
    return part;
}

Owned<GMimeObject> multipart(const char* subtype, std::vector<Owned<GMimeObject>> parts) {
    if (parts.size() == 1) return std::move(parts.front());
    GMimeMultipart* whole = g_mime_multipart_new_with_subtype(subtype);
    for (const Owned<GMimeObject>& part : parts)
        g_mime_multipart_add(whole, part.get());
    return Owned<GMimeObject>(GMIME_OBJECT(whole));
}

Error cannotRead(const ComposeAttachment& attachment, const Error& cause) {
    return {"Mail",
            1,
            stringWithFormat("The attachment “%@” cannot be read: %@",
                             {safeFileName(attachment.fileName), cause.description}),
            {}};
}

// plain | alternative(plain, related(html, pictures...)), and around it mixed(..., attachments...)
Result<Owned<GMimeObject>> bodyOf(const ComposeContents& contents, bool asPlainText) {
    const bool hasHtml = !contents.html.empty() && !asPlainText;
    std::vector<Owned<GMimeObject>> forms, related, mixed, files;
    if (hasHtml) related.push_back(textPart(contents.html, "html"));
    for (ComposeAttachment attachment : contents.attachments) {
        auto content = FileSystem::real().read(attachment.file);
        if (!content) return failure(cannotRead(attachment, content.error()));
        attachment.isInline = attachment.isInline && hasHtml && !attachment.identifier.empty() &&
                              contents.html.find("cid:" + attachment.identifier) != std::string::npos;
        (attachment.isInline ? related : files).push_back(attachmentPart(attachment, *content));
    }
    const bool derivesText = contents.plainText.empty() && !contents.html.empty();
    forms.push_back(textPart(derivesText ? HtmlDocument(contents.html).plainText() : contents.plainText, "plain"));
    if (hasHtml) forms.push_back(multipart("related", std::move(related)));
    mixed.push_back(multipart("alternative", std::move(forms)));
    for (Owned<GMimeObject>& file : files)
        mixed.push_back(std::move(file));
    return multipart("mixed", std::move(mixed));
}

void addMissing(MessageHeaders& headers, Date now) {
    const auto add = [&](std::string_view key, const std::string& value) {
        if (!headers.hasHeaderForKey(key)) headers.append(std::string(key), value);
    };
    add(MCHeaderKeyDate, mailHeaderStringFromDate(now));
    const std::string from = headers.firstAddressForKey(MCHeaderKeyFrom).value_or("");
    if (!headers.firstMessageIDForKey(MCHeaderKeyMessageId))
        headers.setHeader("<" + newMessageID(from) + ">", MCHeaderKeyMessageId);
    add("MIME-Version", "1.0");
    add(MCHeaderKeyXUniversallyUniqueIdentifier, newUniqueIdentifier());
}

bool isOfTheBody(std::string_view name) {
    return startsWithIgnoringCase(name, "Content-") || equalsIgnoringCase(name, "MIME-Version");
}

bool isAddressField(std::string_view name) {
    static constexpr std::string_view kNames[] = {"From", "To", "Cc", "Bcc", "Reply-To", "Sender"};
    return std::any_of(std::begin(kNames), std::end(kNames),
                       [&](auto known) { return equalsIgnoringCase(known, name); });
}

// Written so that whoever reads it finds the same names and addresses.
std::string normalisedAddresses(std::string_view field) {
    std::string out;
    for (const MailAddress& address : parseAddresses(field))
        out += (out.empty() ? "" : ", ") + address.display();
    return out;
}

std::string octetsOf(const MessageHeaders& headers, GMimeObject* body) {
    const Owned<GMimeMessage> message(g_mime_message_new(FALSE));
    for (const auto& [name, value] : headers.all()) {
        if (isOfTheBody(name)) continue;
        const std::string written = isAddressField(name) ? normalisedAddresses(value) : validUtf8(value);
        if (!written.empty())
            g_mime_object_append_header(GMIME_OBJECT(message.get()), name.c_str(), written.c_str(), "utf-8");
    }
    g_mime_object_set_header(GMIME_OBJECT(message.get()), "MIME-Version", "1.0", nullptr);
    g_mime_message_set_mime_part(message.get(), body);
    const Owned<GMimeStream> memory(g_mime_stream_mem_new());
    g_mime_object_write_to_stream(GMIME_OBJECT(message.get()), nullptr, memory.get());
    const GByteArray* bytes = g_mime_stream_mem_get_byte_array(GMIME_STREAM_MEM(memory.get()));
    return std::string(reinterpret_cast<const char*>(bytes->data), bytes->len);
}

}  // namespace

Result<std::shared_ptr<OutgoingMessage>> MessageWriter::write(const ComposeContents& contents,
                                                              std::shared_ptr<MessageHeaders> headers, bool isDraft,
                                                              bool shouldBePlainText, Date now) const {
    startMimeLibrary();
    // A draft keeps its HTML whatever it will be sent as, so that editing goes on where it stopped.
    auto body = bodyOf(contents, shouldBePlainText && !isDraft);
    if (!body) return failed(body);
    addMissing(*headers, now);
    auto message = std::make_shared<OutgoingMessage>();
    message->content = withCrLf(octetsOf(*headers, body->get()));
    message->headers = std::move(headers);
    return message;
}

}  // namespace qs
