#include "Mime/HiddenPictures.h"

#include <gmime/gmime.h>

#include <memory>

#include "Foundation/SpoolFile.h"
#include "Html/HtmlDocument.h"
#include "Mime/MimeStream.h"
#include "Mime/MimeText.h"
#include "Text/Ascii.h"

namespace qs {

namespace {

struct Unref {
    void operator()(gpointer object) const { g_object_unref(object); }
};
template <class T>
using Owned = std::unique_ptr<T, Unref>;

bool isTiny(const std::string& length) { return length == "0" || length == "1" || length == "0px" || length == "1px"; }

bool isHidden(HtmlNode image) {
    const std::string source = image.attribute("src");
    const bool isOnTheWeb =
        startsWithIgnoringCase(source, "http:") || startsWithIgnoringCase(source, "https:") || source.starts_with("//");
    return isOnTheWeb && isTiny(image.attribute("width")) && isTiny(image.attribute("height"));
}

void clean(GMimeObject*, GMimeObject* part, gpointer isChanged) {
    if (!GMIME_IS_TEXT_PART(part) || !g_mime_content_type_is_type(g_mime_object_get_content_type(part), "text", "html"))
        return;
    const std::unique_ptr<char, decltype(&g_free)> text(g_mime_text_part_get_text(GMIME_TEXT_PART(part)), g_free);
    if (!text) return;
    HtmlDocument document{std::string_view(text.get())};
    bool found = false;
    for (HtmlNode image : document.root().elementsByTagName("img")) {
        if (!isHidden(image)) continue;
        image.remove();
        found = true;
    }
    if (!found) return;
    g_mime_text_part_set_charset(GMIME_TEXT_PART(part), "utf-8");
    g_mime_text_part_set_text(GMIME_TEXT_PART(part), document.html().c_str());
    g_mime_part_set_content_encoding(GMIME_PART(part), GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE);
    *static_cast<bool*>(isChanged) = true;
}

}  // namespace

Result<ByteSource> withoutHiddenPictures(std::shared_ptr<const OpenFile> content, const std::filesystem::path& folder) {
    startMimeLibrary();
    const auto source = std::make_shared<MimeSource>();
    source->file = content;
    const Owned<GMimeStream> stream(newMimeStream(source));
    const Owned<GMimeParser> parser(g_mime_parser_new_with_stream(stream.get()));
    const Owned<GMimeMessage> message(g_mime_parser_construct_message(parser.get(), nullptr));
    bool isChanged = false;
    if (message) g_mime_message_foreach(message.get(), clean, &isChanged);
    if (!isChanged) return sourceOf(std::move(content));
    auto made = SpoolFile::make(folder);
    if (!made) return failed(made);
    const std::shared_ptr<SpoolFile> spool = std::move(*made);
    const Owned<GMimeStream> aside(newMimeStream(*spool));
    if (g_mime_object_write_to_stream(GMIME_OBJECT(message.get()), nullptr, aside.get()) < 0 || source->isBroken)
        return failure("Mail", 1, "The message can't be put together anew.");
    return [spool, read = spool->content().read](char* buffer, std::size_t size) { return read(buffer, size); };
}

}  // namespace qs
