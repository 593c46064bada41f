#include "Compose/BodyMarkup.h"

#include <algorithm>
#include <vector>

#include "Compose/AttachmentFolder.h"
#include "Compose/PictureUrl.h"
#include "Display/Sanitizer.h"
#include "Foundation/Log.h"
#include "Html/HtmlDocument.h"
#include "Text/Ascii.h"
#include "Text/Escapes.h"

namespace qs {
namespace {

constexpr std::size_t kLargestShownPicture = 5u << 20;  // bytes
constexpr std::size_t kLargestShownTogether = 20u << 20;
constexpr std::string_view kScheme = "cid:";

// What the sanitizer lets stand for a picture while it works; behind it the picture's place in a list.
constexpr std::string_view kStandIn = "data:image/png;base64,AAAA";

std::string standIn(std::size_t place) {
    const std::string digits = std::to_string(place);
    return std::string(kStandIn) + std::string(10 - std::min<std::size_t>(digits.size(), 10), '0') + digits;
}

const std::string* pictureAt(std::string_view source, const std::vector<std::string>& pictures) {
    if (!source.starts_with(kStandIn)) return nullptr;
    std::size_t place = 0;
    for (const char c : source.substr(kStandIn.size())) {
        if (!isAsciiDigit(c)) return nullptr;
        place = place * 10 + static_cast<std::size_t>(c - '0');
        if (place > pictures.size()) return nullptr;
    }
    return place < pictures.size() ? &pictures[place] : nullptr;
}

std::string keepAsAttachment(std::string_view url, AttachmentFolder& attachments) {
    const auto content = pictureFromUrl(url);
    if (!content) return {};
    const auto added = attachments.add("Picture", *content, {}, true);
    if (added) return added->identifier;
    logWarning("A picture of the text is left out: " + added.error().description);
    return {};
}

}  // namespace

std::string cleanBody(std::string_view html, const PictureByContentID& picture) {
    std::vector<std::string> pictures;
    SanitizerOptions options;
    options.inlinePicture = [&](std::string_view contentID) -> std::string {
        std::string identifier = picture(contentID);
        if (identifier.empty()) return {};
        pictures.push_back(std::move(identifier));
        return standIn(pictures.size() - 1);
    };
    HtmlDocument document(sanitizeHtml(html, options).html);
    for (HtmlNode image : document.body().elementsByTagName("img")) {
        const std::string source = image.attribute("src");
        if (const std::string* identifier = pictureAt(source, pictures))
            image.setAttribute("src", std::string(kScheme) + *identifier);
        else if (source.empty() || source.starts_with(kStandIn))
            image.remove();
    }
    return document.bodyHtml();
}

std::string bodyFromPage(std::string_view html, AttachmentFolder& attachments) {
    HtmlDocument page(html);
    for (HtmlNode image : page.body().elementsByTagName("img")) {
        std::string identifier = image.attribute("data-cid");
        if (!attachments.find(identifier)) identifier = keepAsAttachment(image.attribute("src"), attachments);
        image.setAttribute("src", std::string(kScheme) + identifier);
    }
    return cleanBody(page.bodyHtml(), [&](std::string_view identifier) {
        return attachments.find(identifier) ? std::string(identifier) : std::string();
    });
}

std::string bodyForPage(std::string_view body, const AttachmentFolder& attachments) {
    // Plug-ins write into the document too, and the page shows nothing that has not been through the sanitizer.
    HtmlDocument document(cleanBody(body, [&](std::string_view identifier) {
        return attachments.find(identifier) ? std::string(identifier) : std::string();
    }));
    std::size_t together = 0;
    for (HtmlNode image : document.body().elementsByTagName("img")) {
        const std::string source = image.attribute("src");
        if (!source.starts_with(kScheme)) continue;  // a small one that the markup holds itself
        const std::string identifier = source.substr(kScheme.size());
        image.setAttribute("data-cid", identifier);
        image.removeAttribute("src");
        const ComposeAttachment* picture = attachments.find(identifier);
        if (!picture || picture->size > kLargestShownPicture || together + picture->size > kLargestShownTogether)
            continue;
        together += picture->size;
        if (const auto content = attachments.content(identifier))
            image.setAttribute("src", pictureUrl(*content));
        else
            logWarning("A picture of the text can't be shown: " + content.error().description);
    }
    return document.bodyHtml();
}

bool bodyShows(std::string_view body, std::string_view identifier) {
    return body.find(std::string(kScheme) + std::string(identifier)) != std::string_view::npos;
}

std::string htmlFromText(std::string_view text) {
    std::string html;
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(text.size(), line.size() + 1));
        html +=
            "<div>" + (trimmedAscii(line).empty() ? std::string("<br>") : stringByEscapingXMLEntities(line)) + "</div>";
    }
    return html;
}

}  // namespace qs
