#include "Mime/MimeMessage.h"

#include <gmime/gmime.h>

#include <algorithm>
#include <map>
#include <mutex>
#include <set>

#include "Display/Sanitizer.h"
#include "Html/HtmlDocument.h"
#include "Mail/MessageHeaders.h"
#include "Mime/FileNames.h"
#include "Mime/MimeStream.h"
#include "Mime/MimeText.h"
#include "Text/Ascii.h"
#include "Text/Charsets.h"
#include "Text/Escapes.h"
#include "Text/Utf8.h"

namespace qs {

namespace {

constexpr int kDeepest = 40;
constexpr int kMostParts = 1000;
constexpr std::size_t kMostShownAsItIs = std::size_t{16} << 20;  // of what is no mail, in bytes

struct Unref {
    void operator()(gpointer object) const { g_object_unref(object); }
};
template <class T>
using Owned = std::unique_ptr<T, Unref>;

std::string textOrEmpty(const char* text) { return text ? text : ""; }

std::string mimeTypeOf(GMimeObject* part) {
    GMimeContentType* type = g_mime_object_get_content_type(part);
    const char* media = type ? g_mime_content_type_get_media_type(type) : nullptr;
    const char* sub = type ? g_mime_content_type_get_media_subtype(type) : nullptr;
    return media && sub ? asciiLowered(std::string(media) + "/" + sub) : "application/octet-stream";
}

std::string bytesOf(GMimeStream* memory) {
    const GByteArray* bytes = g_mime_stream_mem_get_byte_array(GMIME_STREAM_MEM(memory));
    return bytes && bytes->data ? std::string(reinterpret_cast<const char*>(bytes->data), bytes->len) : std::string();
}

// The content without its transfer encoding.
void writeDecoded(GMimeObject* part, GMimeStream* to) {
    if (GMIME_IS_MESSAGE_PART(part)) {
        if (GMimeMessage* message = g_mime_message_part_get_message(GMIME_MESSAGE_PART(part)))
            g_mime_object_write_to_stream(GMIME_OBJECT(message), nullptr, to);
    } else if (GMIME_IS_PART(part)) {
        if (GMimeDataWrapper* content = g_mime_part_get_content(GMIME_PART(part)))
            g_mime_data_wrapper_write_to_stream(content, to);
    }
}

std::string decodedContent(GMimeObject* part) {
    const Owned<GMimeStream> memory(g_mime_stream_mem_new());
    writeDecoded(part, memory.get());
    return bytesOf(memory.get());
}

std::uint64_t decodedSize(GMimeObject* part) {
    const Owned<GMimeStream> nowhere(g_mime_stream_null_new());
    writeDecoded(part, nowhere.get());
    return GMIME_STREAM_NULL(nowhere.get())->written;
}

// Decoded while it is read. On a stream of its own, as the part's may be read by others.
ByteSource decodingSource(GMimeDataWrapper* content) {
    GMimeStream* const encoded = g_mime_data_wrapper_get_stream(content);
    const Owned<GMimeStream> own(g_mime_stream_substream(encoded, encoded->bound_start, encoded->bound_end));
    const std::shared_ptr<GMimeStream> decoding(g_mime_stream_filter_new(own.get()), Unref());
    const Owned<GMimeFilter> filter(g_mime_filter_basic_new(g_mime_data_wrapper_get_encoding(content), FALSE));
    g_mime_stream_filter_add(GMIME_STREAM_FILTER(decoding.get()), filter.get());
    return [decoding](char* buffer, std::size_t size) -> Result<std::size_t> {
        const ssize_t length = g_mime_stream_read(decoding.get(), buffer, size);
        if (length < 0) return failure("Mail", 1, "The attachment can't be read.");
        return static_cast<std::size_t>(length);
    };
}

// All that stands behind "cid:" in a text.
std::set<std::string> contentIdsIn(std::string_view html) {
    std::set<std::string> ids;
    const std::string lowered = asciiLowered(html);
    for (std::size_t at = lowered.find("cid:"); at != std::string::npos; at = lowered.find("cid:", at + 4)) {
        const std::string_view rest = html.substr(at + 4);
        ids.insert(percentDecoded(rest.substr(0, rest.find_first_of("\"'<>() \t\r\n"))));
    }
    return ids;
}

// A piece of the body; an alternative has both forms.
struct Segment {
    std::optional<std::string> html, plain;
};

class ParsedMessage : public MimeMessage {
public:
    explicit ParsedMessage(std::shared_ptr<const OpenFile> file) : source_(std::make_shared<MimeSource>()) {
        startMimeLibrary();
        const auto start = startOf(sourceOf(file), kLargestHeader).value_or("");
        headers_ = parseHeaders(start);
        source_->file = std::move(file);
        parse(start.starts_with("From "));
        if (message_ && g_mime_message_get_mime_part(message_.get())) {
            GMimeObject* root = g_mime_message_get_mime_part(message_.get());
            walk(root, GMIME_IS_MULTIPART(root) ? "" : "1", 0, false);
        } else {
            note("This message cannot be read as mail; it is shown as it is.");
            const auto content = startOf(sourceOf(source_->file), kMostShownAsItIs);
            body_.push_back({{}, withLineFeeds(utf8FromCharset(content.value_or(""), ""))});
        }
        if (source_->isBroken) damage_ = "Parts of this message can't be read from the disk.";
        markInline();
    }

    std::shared_ptr<MessageHeaders> headers() const override { return headers_; }
    std::vector<MimePart> attachments() const override { return attachments_; }
    std::string damage() const override { return damage_; }

    std::optional<std::string> htmlBody() const override {
        if (std::none_of(body_.begin(), body_.end(), [](const Segment& s) { return s.html.has_value(); })) return {};
        std::string html;
        for (const Segment& segment : body_)
            html += segment.html ? *segment.html : plainTextToHtml(*segment.plain);
        return html;
    }

    std::optional<std::string> plainBody() const override {
        if (std::none_of(body_.begin(), body_.end(), [](const Segment& s) { return s.plain.has_value(); })) return {};
        std::string plain;
        for (const Segment& segment : body_) {
            if (!plain.empty()) plain += plain.ends_with('\n') ? "\n" : "\n\n";
            plain += segment.plain ? *segment.plain : HtmlDocument(*segment.html).plainText();
        }
        return plain;
    }

    std::optional<std::string> partContent(std::string_view part) const override {
        const auto found = parts_.find(part);
        if (found == parts_.end()) return {};
        std::lock_guard guard(lock_);  // reading moves the place in the stream that all parts share
        return decodedContent(found->second);
    }

    std::optional<SizedSource> partSource(std::string_view part) const override {
        const auto found = parts_.find(part);
        const auto facts = std::ranges::find(attachments_, part, &MimePart::part);
        if (found == parts_.end() || facts == attachments_.end()) return {};
        GMimeDataWrapper* const content =
            GMIME_IS_PART(found->second) ? g_mime_part_get_content(GMIME_PART(found->second)) : nullptr;
        if (content) return SizedSource(facts->size, decodingSource(content));
        // A message within the message has to be put together.
        return SizedSource(facts->size, sourceOf(openText(partContent(part).value_or(""))));
    }

private:
    void note(std::string_view sentence) {
        if (damage_.empty()) damage_ = sentence;
    }

    static void warned(gint64, GMimeParserWarning warning, const gchar*, gpointer self) {
        auto& message = *static_cast<ParsedMessage*>(self);
        if (warning == GMIME_WARN_TRUNCATED_MESSAGE) message.note("The end of this message is missing.");
        if (warning == GMIME_CRIT_NESTING_OVERFLOW) message.note(kTooDeep);
        if (warning == GMIME_CRIT_MULTIPART_WITHOUT_BOUNDARY || warning == GMIME_WARN_MALFORMED_MULTIPART)
            message.note("The parts of this message cannot be told apart.");
    }

    void parse(bool isMbox) {
        const Owned<GMimeStream> stream(newMimeStream(source_));
        const Owned<GMimeParser> parser(g_mime_parser_new_with_stream(stream.get()));
        GMimeParserOptions* options = g_mime_parser_options_new();
        static const char* kFallbacks[] = {"utf-8", "windows-1252", nullptr};
        g_mime_parser_options_set_fallback_charsets(options, kFallbacks);
        g_mime_parser_options_set_warning_callback(options, &ParsedMessage::warned, this);
        if (isMbox) g_mime_parser_set_format(parser.get(), GMIME_FORMAT_MBOX);
        message_.reset(g_mime_parser_construct_message(parser.get(), options));
        g_mime_parser_options_free(options);
    }

    void walk(GMimeObject* part, const std::string& number, int depth, bool isResource) {
        if (++count_ > kMostParts) return note("This message has more parts than can be shown.");
        if (depth > kDeepest) return note(kTooDeep);
        if (GMIME_IS_MULTIPART(part)) return walkMultipart(GMIME_MULTIPART(part), number, depth, isResource);
        parts_[number] = part;
        if (isBody(part, isResource))
            addBody(part);
        else
            addAttachment(part, number);
    }

    void walkMultipart(GMimeMultipart* multipart, const std::string& number, int depth, bool isResource) {
        const std::string type = mimeTypeOf(GMIME_OBJECT(multipart));
        const std::size_t firstSegment = body_.size();
        const int root = type == "multipart/related" ? rootOf(multipart) : -1;
        std::vector<std::size_t> ends;
        const int children = std::min(g_mime_multipart_get_count(multipart), kMostParts);
        for (int i = 0; i < children; ++i) {
            const std::string child = (number.empty() ? "" : number + ".") + std::to_string(i + 1);
            walk(g_mime_multipart_get_part(multipart, i), child, depth + 1, isResource || (root >= 0 && i != root));
            ends.push_back(body_.size());
        }
        if (type == "multipart/alternative") mergeAlternatives(firstSegment, ends);
    }

    // Which part of multipart/related is the document; the others belong to it.
    static int rootOf(GMimeMultipart* multipart) {
        const char* start = g_mime_object_get_content_type_parameter(GMIME_OBJECT(multipart), "start");
        const std::string wanted = start ? std::string(start) : "";
        for (int i = 0; !wanted.empty() && i < std::min(g_mime_multipart_get_count(multipart), kMostParts); ++i) {
            const std::string id = textOrEmpty(g_mime_object_get_content_id(g_mime_multipart_get_part(multipart, i)));
            if (!id.empty() && (id == wanted || "<" + id + ">" == wanted)) return i;
        }
        return 0;
    }

    // Of several forms of the same, the last HTML and the last plain text are the best.
    void mergeAlternatives(std::size_t first, const std::vector<std::size_t>& ends) {
        Segment best;
        std::size_t from = first;
        for (const std::size_t end : ends) {
            std::optional<std::string> html, plain;
            for (; from < end; ++from) {
                if (body_[from].html) html = html.value_or("") + *body_[from].html;
                if (body_[from].plain) plain = plain.value_or("") + *body_[from].plain;
            }
            if (html) best.html = std::move(html);
            if (plain) best.plain = std::move(plain);
        }
        body_.resize(first);
        if (best.html || best.plain) body_.push_back(std::move(best));
    }

    bool isBody(GMimeObject* part, bool isResource) const {
        const std::string type = mimeTypeOf(part);
        if (isResource || !GMIME_IS_PART(part) || (type != "text/plain" && type != "text/html")) return false;
        const char* disposition = g_mime_object_get_disposition(part);
        if (disposition && equalsIgnoringCase(disposition, "attachment")) return false;
        return body_.empty() || !g_mime_part_get_filename(GMIME_PART(part));
    }

    void addBody(GMimeObject* part) {
        const auto parameter = [&](const char* name) {
            return textOrEmpty(g_mime_object_get_content_type_parameter(part, name));
        };
        const std::string bytes = decodedContent(part);
        std::string charset = parameter("charset");
        if (mimeTypeOf(part) == "text/html") {
            if (charset.empty()) charset = charsetInHtml(bytes);
            body_.push_back({withLineFeeds(utf8FromCharset(bytes, charset)), {}});
            return;
        }
        const std::string text = utf8FromCharset(bytes, charset);
        const bool isFlowed = equalsIgnoringCase(parameter("format"), "flowed");
        body_.push_back(
            {{}, isFlowed ? unflowed(text, equalsIgnoringCase(parameter("delsp"), "yes")) : withLineFeeds(text)});
    }

    void addAttachment(GMimeObject* part, const std::string& number) {
        MimePart found;
        found.part = number;
        found.mimeType = mimeTypeOf(part);
        // One that is no text is an id that nothing can refer to.
        found.contentID = textOrEmpty(g_mime_object_get_content_id(part));
        if (!isValidUtf8(found.contentID) || std::ranges::any_of(found.contentID, isAsciiControl))
            found.contentID.clear();
        found.size = decodedSize(part);
        found.fileName = nameOf(part, found);
        attachments_.push_back(std::move(found));
    }

    static std::string nameOf(GMimeObject* part, const MimePart& facts) {
        std::string name;
        if (GMIME_IS_PART(part)) name = safeFileName(textOrEmpty(g_mime_part_get_filename(GMIME_PART(part))));
        if (GMIME_IS_MESSAGE_PART(part)) {
            GMimeMessage* inner = g_mime_message_part_get_message(GMIME_MESSAGE_PART(part));
            // A subject may hold slashes; it is no path.
            std::string subject = inner ? textOrEmpty(g_mime_message_get_subject(inner)) : "";
            std::replace(subject.begin(), subject.end(), '/', '-');
            std::replace(subject.begin(), subject.end(), '\\', '-');
            name = safeFileName(subject);
            return (name.empty() ? "Message" : name) + ".eml";
        }
        if (!name.empty()) return name;
        const std::string extension = extensionForMimeType(facts.mimeType);
        const std::string stem = facts.mimeType == "text/calendar" ? "Invitation" : "Attachment " + facts.part;
        return stem + (extension.empty() ? "" : "." + extension);
    }

    void markInline() {
        std::set<std::string> wanted;
        for (const Segment& segment : body_)
            if (segment.html) wanted.merge(contentIdsIn(*segment.html));
        for (MimePart& part : attachments_)
            part.isInline = !part.contentID.empty() && wanted.contains(part.contentID);
    }

    static constexpr std::string_view kTooDeep = "The parts of this message are nested too deeply to be shown.";

    const std::shared_ptr<MimeSource> source_;
    std::shared_ptr<MessageHeaders> headers_;
    Owned<GMimeMessage> message_;
    std::map<std::string, GMimeObject*, std::less<>> parts_;
    std::vector<Segment> body_;
    std::vector<MimePart> attachments_;
    std::string damage_;
    int count_ = 0;
    mutable std::mutex lock_;
};

}  // namespace

std::shared_ptr<MimeMessage> MimeMessage::parse(std::string_view content) {
    return std::make_shared<ParsedMessage>(openText(std::string(content)));
}
std::shared_ptr<MimeMessage> MimeMessage::parse(std::shared_ptr<const OpenFile> file) {
    return std::make_shared<ParsedMessage>(std::move(file));
}

}  // namespace qs
