#include "Mime/MessageWriter.h"

#include <gmime/gmime.h>

#include <algorithm>
#include <limits>
#include <map>

#include "Foundation/Assertion.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Format.h"
#include "Html/HtmlDocument.h"
#include "Mail/MessageHeaders.h"
#include "Mime/Addresses.h"
#include "Mime/FileNames.h"
#include "Mime/MessageChanges.h"
#include "Mime/MimeText.h"
#include "Text/Ascii.h"
#include "Text/Base64.h"
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
constexpr std::uint64_t kLargePart = std::uint64_t{1} << 20;  // bytes; larger ones are not held

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

// Stands for a large attachment until the message is put together: a line that nobody else writes.
struct Placeholder {
    std::string line;
    std::shared_ptr<const OpenFile> file;
};

void describe(GMimeObject* part, const ComposeAttachment& attachment) {
    g_mime_object_set_disposition(part, attachment.isInline ? "inline" : "attachment");
    const std::string name = safeFileName(attachment.fileName);
    if (!name.empty()) g_mime_part_set_filename(GMIME_PART(part), name.c_str());
    if (attachment.isInline) g_mime_object_set_content_id(part, attachment.identifier.c_str());
}

struct MediaType {
    std::string type = "application", subtype = "octet-stream";
};

MediaType mediaTypeOf(const ComposeAttachment& attachment) {
    const std::size_t slash = std::min(attachment.mimeType.find('/'), attachment.mimeType.size());
    MediaType media{attachment.mimeType.substr(0, slash),
                    slash < attachment.mimeType.size() ? attachment.mimeType.substr(slash + 1) : ""};
    if (!isMimeToken(media.type) || !isMimeToken(media.subtype) || equalsIgnoringCase(media.type, "multipart"))
        return {};
    return media;
}

bool isMessage(const ComposeAttachment& attachment) {
    return equalsIgnoringCase(attachment.mimeType, "message/rfc822");
}

Owned<GMimeObject> largePart(const ComposeAttachment& attachment, const Placeholder& placeholder) {
    const MediaType media = mediaTypeOf(attachment);
    Owned<GMimeObject> part =
        partWith(placeholder.line + "\n", media.type.c_str(), media.subtype.c_str(), GMIME_CONTENT_ENCODING_BASE64);
    // As if it were in Base64 already, it is written as it is.
    g_mime_data_wrapper_set_encoding(g_mime_part_get_content(GMIME_PART(part.get())), GMIME_CONTENT_ENCODING_BASE64);
    describe(part.get(), attachment);
    return part;
}

Owned<GMimeObject> attachmentPart(const ComposeAttachment& attachment, const std::string& content) {
    // A message inside a message must not be encoded; one that can't travel bare goes as a plain file.
    const std::string text = isMessage(attachment) ? withLineFeeds(content) : std::string();
    const bool isBare = isMessage(attachment) && isPlainEnough(text, kLongestLine);
    const MediaType media = isMessage(attachment) && !isBare ? MediaType() : mediaTypeOf(attachment);
    Owned<GMimeObject> part = partWith(isBare ? text : content, media.type.c_str(), media.subtype.c_str(),
                                       isBare ? GMIME_CONTENT_ENCODING_7BIT : GMIME_CONTENT_ENCODING_BASE64);
    describe(part.get(), attachment);
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
Result<Owned<GMimeObject>> bodyOf(const ComposeContents& contents, bool asPlainText,
                                  std::vector<Placeholder>& placeholders) {
    const bool hasHtml = !contents.html.empty() && !asPlainText;
    std::vector<Owned<GMimeObject>> forms, related, mixed, files;
    if (hasHtml) related.push_back(textPart(contents.html, "html"));
    for (ComposeAttachment attachment : contents.attachments) {
        auto file = FileSystem::real().open(attachment.file);
        if (!file) return failure(cannotRead(attachment, file.error()));
        attachment.isInline = attachment.isInline && hasHtml && !attachment.identifier.empty() &&
                              contents.html.find("cid:" + attachment.identifier) != std::string::npos;
        auto& list = attachment.isInline ? related : files;
        // A message that is attached has to be looked at as a whole.
        if ((*file)->size() > kLargePart && !isMessage(attachment)) {
            placeholders.push_back({"QS" + newUniqueIdentifier(), std::move(*file)});
            list.push_back(largePart(attachment, placeholders.back()));
            continue;
        }
        const auto content = startOf(sourceOf(std::move(*file)), std::numeric_limits<std::size_t>::max());
        if (!content) return failure(cannotRead(attachment, content.error()));
        list.push_back(attachmentPart(attachment, *content));
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

// Each line goes, and its place is remembered.
void takeOut(const std::vector<Placeholder>& placeholders, OutgoingMessage& message) {
    std::map<std::size_t, const Placeholder*> byPlace;
    for (const Placeholder& each : placeholders)
        byPlace[message.content.find(each.line + "\r\n")] = &each;
    std::size_t gone = 0;
    for (const auto& [place, each] : byPlace) {
        assertThat(place != std::string::npos, "A large attachment has no place in its message.");
        message.content.erase(place - gone, each->line.size() + 2);
        message.largeParts.push_back({place - gone, each->file});
        gone += each->line.size() + 2;
    }
}

// Base64 in lines of 76 characters, each of which holds 57 bytes.
ByteChange asBase64Lines() {
    return [waiting = std::string()](std::string_view piece, std::string& out) mutable {
        constexpr std::size_t kLine = 57;
        waiting.append(piece);
        std::string_view rest = waiting;
        for (; rest.size() >= kLine || (piece.empty() && !rest.empty());
             rest.remove_prefix(std::min(kLine, rest.size())))
            out.append(base64EncodedString(rest.substr(0, kLine))).append("\r\n");
        waiting.erase(0, waiting.size() - rest.size());
    };
}

}  // namespace

ByteSource sourceOf(const OutgoingMessage& message) {
    std::vector<ByteSource> pieces;
    std::size_t start = 0;
    for (const auto& [place, file] : message.largeParts) {
        pieces.push_back(sourceOf(std::string_view(message.content).substr(start, place - start)));
        pieces.push_back(changed(sourceOf(file), asBase64Lines()));
        start = place;
    }
    pieces.push_back(sourceOf(std::string_view(message.content).substr(start)));
    return [pieces = std::move(pieces), now = std::size_t{0}](char* buffer,
                                                              std::size_t size) mutable -> Result<std::size_t> {
        for (; now < pieces.size(); ++now)
            if (auto length = pieces[now](buffer, size); !length || *length > 0) return length;
        return std::size_t{0};
    };
}

Result<std::shared_ptr<OutgoingMessage>> MessageWriter::write(const ComposeContents& contents,
                                                              std::shared_ptr<MessageHeaders> headers, bool isDraft,
                                                              bool shouldBePlainText, Date now) const {
    startMimeLibrary();
    // A draft keeps its HTML whatever it will be sent as, so that editing goes on where it stopped.
    std::vector<Placeholder> placeholders;
    auto body = bodyOf(contents, shouldBePlainText && !isDraft, placeholders);
    if (!body) return failed(body);
    addMissing(*headers, now);
    auto message = std::make_shared<OutgoingMessage>();
    message->content = withCrLf(octetsOf(*headers, body->get()));
    takeOut(placeholders, *message);
    message->headers = std::move(headers);
    return message;
}

}  // namespace qs
