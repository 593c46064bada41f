#include "Display/Sanitizer.h"

#include <algorithm>
#include <array>

#include "Display/CssFilter.h"
#include "Display/SafeUrl.h"
#include "Html/HtmlDocument.h"
#include "Text/Ascii.h"

namespace qs {

namespace {

constexpr std::size_t kLargestSource = std::size_t{24} << 20;
constexpr std::size_t kLargestStyles = std::size_t{1} << 20;
constexpr int kMostRounds = 6;

template <std::size_t N>
bool isIn(const std::array<std::string_view, N>& sorted, std::string_view name) {
    return std::binary_search(sorted.begin(), sorted.end(), name);
}

constexpr std::array<std::string_view, 83> kElements = {
    "a",          "abbr",    "acronym", "address", "article", "aside",   "b",     "bdi",        "bdo",     "big",
    "blockquote", "br",      "caption", "center",  "cite",    "code",    "col",   "colgroup",   "dd",      "del",
    "details",    "dfn",     "dir",     "div",     "dl",      "dt",      "em",    "figcaption", "figure",  "font",
    "footer",     "h1",      "h2",      "h3",      "h4",      "h5",      "h6",    "header",     "hgroup",  "hr",
    "i",          "img",     "ins",     "kbd",     "li",      "listing", "main",  "mark",       "menu",    "nav",
    "nobr",       "ol",      "p",       "pre",     "q",       "rb",      "rp",    "rt",         "ruby",    "s",
    "samp",       "section", "small",   "span",    "strike",  "strong",  "style", "sub",        "summary", "sup",
    "table",      "tbody",   "td",      "tfoot",   "th",      "thead",   "time",  "tr",         "tt",      "u",
    "ul",         "var",     "wbr"};

// With all that is in them. Every other element that is not allowed gives way to its content.
constexpr std::array<std::string_view, 36> kDropped = {
    "applet",   "audio",    "base",   "basefont", "bgsound",  "canvas", "datalist", "embed",  "frame",
    "frameset", "head",     "iframe", "input",    "keygen",   "layer",  "link",     "math",   "meta",
    "noembed",  "noframes", "object", "optgroup", "option",   "param",  "portal",   "script", "select",
    "slot",     "source",   "svg",    "template", "textarea", "title",  "track",    "video",  "xml"};

constexpr std::array<std::string_view, 47> kAttributes = {
    "abbr",        "align",       "alt",         "aria-hidden", "aria-label", "axis",   "bgcolor", "border",
    "bordercolor", "cellpadding", "cellspacing", "char",        "charoff",    "class",  "clear",   "color",
    "cols",        "colspan",     "compact",     "datetime",    "dir",        "face",   "frame",   "headers",
    "height",      "hspace",      "id",          "lang",        "noshade",    "nowrap", "open",    "reversed",
    "role",        "rows",        "rowspan",     "rules",       "scope",      "size",   "span",    "start",
    "summary",     "title",       "type",        "valign",      "value",      "vspace", "width"};

static_assert(std::is_sorted(kElements.begin(), kElements.end()) && std::is_sorted(kDropped.begin(), kDropped.end()) &&
              std::is_sorted(kAttributes.begin(), kAttributes.end()));

class Pass {
public:
    Pass(std::string_view html, const SanitizerOptions& options) : document_(html), options_(options) {}

    SanitizedHtml run() {
        takeStylesFromHead();
        filterBelow(document_.body());
        result_.html = headStyles_ + wrappedBody();
        return std::move(result_);
    }

private:
    void takeStylesFromHead() {
        for (const HtmlNode& node : document_.head().children()) {
            if (node.name() == "style")
                headStyles_ += styleElement(node.textContent());
            else
                countRemoteOf(node);
        }
    }

    std::string styleElement(std::string_view css) {
        if (css.size() > kLargestStyles - std::min(kLargestStyles, styleBytes_)) return {};
        styleBytes_ += css.size();
        const FilteredCss filtered = filteredStyleSheet(css);
        result_.remoteBlocked += filtered.remoteBlocked;
        return filtered.css.empty() ? std::string() : "<style>\n" + filtered.css + "</style>";
    }

    // The body's own colours and styles go to a division in its place.
    std::string wrappedBody() {
        HtmlNode body = document_.body();
        HtmlNode division = document_.createElement("div");
        for (const auto& [name, value] : body.attributes())
            division.setAttribute(name, value);
        if (const std::string colour = body.attribute("text"); !colour.empty())
            division.setAttribute("style", "color: " + colour + "; " + body.attribute("style"));
        if (const std::string colour = body.attribute("bgcolor"); !colour.empty())
            division.setAttribute("style", "background-color: " + colour + "; " + division.attribute("style"));
        filterAttributes(division);
        for (const char* unused : {"bgcolor", "id", "width", "height"})
            division.removeAttribute(unused);
        if (division.attributes().empty()) return body.innerHtml();
        while (HtmlNode child = body.firstChild())
            division.appendChild(child);
        return division.outerHtml();
    }

    // In document order, without recursion: the tree is as deep as the parser allows.
    void filterBelow(HtmlNode top) {
        HtmlNode node = top.firstChild();
        while (node) {
            const HtmlNode next = filtered(node, top);
            node = next;
        }
    }

    static HtmlNode behind(HtmlNode node, HtmlNode top) {
        while (node && node != top) {
            if (HtmlNode sibling = node.nextSibling()) return sibling;
            node = node.parent();
        }
        return {};
    }

    // Answers the node to go on with.
    HtmlNode filtered(HtmlNode node, HtmlNode top) {
        if (node.isText()) return behind(node, top);
        const std::string name = node.name();
        const bool isKept = node.isElement() && isIn(kElements, name);
        if (isKept && !isUnwantedQuote(node)) {
            if (name == "style") return replacedStyle(node, top);
            filterAttributes(node);
            return node.firstChild() ? node.firstChild() : behind(node, top);
        }
        if (name == "xmp" || name == "plaintext") return replacedByPre(node, top);
        if (!node.isElement() || isKept || isIn(kDropped, name)) {
            countRemoteOf(node);
            const HtmlNode next = behind(node, top);
            node.remove();
            return next;
        }
        countRemoteOf(node);
        const HtmlNode next = node.firstChild() ? node.firstChild() : behind(node, top);
        node.replaceWithChildren();
        return next;
    }

    bool isUnwantedQuote(HtmlNode node) const {
        if (options_.keepQuotes) return false;
        const std::string classes = " " + asciiLowered(node.attribute("class")) + " ";
        return (node.name() == "blockquote" && equalsIgnoringCase(node.attribute("type"), "cite")) ||
               classes.find(" gmail_quote ") != std::string::npos ||
               classes.find(" moz-cite-prefix ") != std::string::npos;
    }

    HtmlNode replacedStyle(HtmlNode node, HtmlNode top) {
        const HtmlNode next = behind(node, top);
        const std::string element = styleElement(node.textContent());
        if (element.empty()) {
            node.remove();
            return next;
        }
        HtmlNode style = document_.createElement("style");
        constexpr std::size_t open = std::string_view("<style>").size(), close = std::string_view("</style>").size();
        style.setTextContent(std::string_view(element).substr(open, element.size() - open - close));
        node.parent().insertBefore(style, node);
        node.remove();
        return next;
    }

    // Elements whose content is shown as it stands.
    HtmlNode replacedByPre(HtmlNode node, HtmlNode top) {
        HtmlNode pre = document_.createElement("pre");
        pre.setTextContent(node.textContent());
        node.parent().insertBefore(pre, node);
        node.remove();
        return behind(pre, top);
    }

    void countRemoteOf(HtmlNode node) {
        for (const char* name : {"src", "href", "data", "poster", "background", "codebase", "archive"}) {
            const bool isLink = std::string_view(name) == "href" && node.name() != "link";
            if (!isLink && node.hasAttribute(name) && isRemoteAddress(node.attribute(name))) ++result_.remoteBlocked;
        }
    }

    void filterAttributes(HtmlNode node) {
        const std::string name = node.name();
        for (const auto& [key, value] : node.attributes()) {
            if (key == "style")
                filterStyle(node, value);
            else if (name == "a" && key == "href")
                filterLink(node, value);
            else if (name == "img" && key == "src")
                filterPicture(node, value);
            else if (!isIn(kAttributes, key)) {
                const bool loads = key == "background" || key == "src" || key == "srcset" || key == "poster" ||
                                   key == "lowsrc" || key == "dynsrc";
                if (loads && isRemoteAddress(value)) ++result_.remoteBlocked;
                const bool isOurs = name == "a" && (key == "rel" || key == "target");
                if (!isOurs || !node.hasAttribute("href")) node.removeAttribute(key);
            }
        }
    }

    void filterStyle(HtmlNode node, std::string_view value) {
        const FilteredCss filtered = filteredDeclarations(value);
        result_.remoteBlocked += filtered.remoteBlocked;
        if (filtered.css.empty())
            node.removeAttribute("style");
        else
            node.setAttribute("style", filtered.css);
    }

    static void filterLink(HtmlNode node, std::string_view value) {
        const std::string address = safeLinkAddress(value);
        if (address.empty()) {
            for (const char* name : {"href", "target", "rel"})
                node.removeAttribute(name);
            return;
        }
        node.setAttribute("href", address);
        if (address.starts_with('#')) {
            node.removeAttribute("target");
            node.removeAttribute("rel");
            return;
        }
        node.setAttribute("target", "_blank");
        node.setAttribute("rel", "noopener noreferrer");
    }

    void filterPicture(HtmlNode node, std::string_view value) {
        const std::string id = contentIDOf(value);
        const bool isOwn = !id.empty() && options_.inlinePicture;
        const std::string data = safePictureData(isOwn ? options_.inlinePicture(id) : std::string(value));
        if (!data.empty()) return node.setAttribute("src", data);
        if (id.empty() && isRemoteAddress(value)) {
            const std::string address = safeRemotePicture(value);
            if (options_.keepRemotePictures && !address.empty()) return node.setAttribute("src", address);
            const bool isAsked = !address.empty() && options_.remotePicture;
            const std::string picture = safePictureData(isAsked ? options_.remotePicture(address) : std::string());
            if (!picture.empty()) return node.setAttribute("src", picture);
            ++result_.remoteBlocked;
        }
        node.removeAttribute("src");
    }

    HtmlDocument document_;
    const SanitizerOptions& options_;
    SanitizedHtml result_;
    std::string headStyles_;
    std::size_t styleBytes_ = 0;
};

}  // namespace

// Taking an element out can bring its neighbours into a place where a browser would read them differently. So what
// comes out is read and cleaned again until nothing changes any more: then it is what it will be taken for.
SanitizedHtml sanitizeHtml(std::string_view html, const SanitizerOptions& options) {
    html = html.substr(0, kLargestSource);
    SanitizedHtml result = Pass(html, options).run();
    for (int round = 0; round < kMostRounds; ++round) {
        std::string again = Pass(result.html, options).run().html;
        if (again == result.html) return result;
        result.html = std::move(again);
    }
    result.html = plainTextToHtml(HtmlDocument(html).plainText());
    return result;
}

}  // namespace qs
