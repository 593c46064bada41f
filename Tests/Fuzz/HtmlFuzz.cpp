// Feeds any bytes to the HTML parser. What it makes of them must be a document that it reads again as it is, with a
// text in UTF-8 to it, and must take edits.
#include <cstdlib>

#include "Html/HtmlDocument.h"
#include "Text/Utf8.h"

namespace {

void demand(bool isTrue) {
    if (!isTrue) std::abort();
}

// What scripts and compose windows do to a document.
void edit(qs::HtmlDocument& document) {
    auto body = document.body();
    demand(static_cast<bool>(body));
    auto links = body.elementsByTagName("a");
    if (!links.empty()) links.front().replaceWithChildren();
    auto all = body.elementsByTagName("*");
    if (all.size() > 1) {
        all.back().setAttribute("title", "\"<&>'");
        body.insertBefore(all.back(), body.firstChild());
    }
    auto quote = document.createElement("blockquote");
    quote.appendChild(document.createText("<said>"));
    body.appendChild(quote);
    for (auto image : body.elementsByTagName("img"))
        image.remove();
    demand(body.elementsByTagName("img").empty());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size) {
    qs::HtmlDocument document(std::string_view(reinterpret_cast<const char*>(bytes), size));
    const std::string html = document.html();
    demand(qs::isValidUtf8(html));
    demand(qs::HtmlDocument(html).html() == html);
    demand(qs::isValidUtf8(document.plainText()));
    edit(document);
    demand(qs::isValidUtf8(document.bodyHtml()));
    return 0;
}
