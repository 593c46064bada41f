// Feeds any bytes to the sanitizer. Nothing of the result may run, load, submit or navigate by itself, and sanitizing
// it again must change nothing.
#include <array>
#include <cstdlib>

#include "Display/Sanitizer.h"
#include "Html/HtmlDocument.h"
#include "Text/Ascii.h"
#include "Text/Utf8.h"

namespace {

constexpr std::string_view kOwnPicture = "data:image/png;base64,AA==";
constexpr std::array<std::string_view, 18> kForbidden{"script", "iframe", "frame", "frameset", "object", "embed",
                                                      "applet", "form",   "input", "button",   "base",   "meta",
                                                      "link",   "svg",    "math",  "template", "video",  "audio"};

void demand(bool isTrue) {
    if (!isTrue) std::abort();
}

bool contains(std::string_view text, std::string_view part) { return text.find(part) != std::string_view::npos; }

bool isAllowedLink(std::string_view address) {
    for (const std::string_view scheme : {"http://", "https://", "mailto:", "#"})
        if (qs::startsWithIgnoringCase(address, scheme)) return true;
    return address.empty();
}

void checkCss(std::string_view css) {
    const std::string style = qs::asciiLowered(css);
    demand(!contains(style, "expression(") && !contains(style, "@import") && !contains(style, "javascript:"));
    demand(!contains(style, "url(") || contains(style, "url(\"data:"));
}

void checkElement(const qs::HtmlNode& element) {
    for (const std::string_view name : kForbidden)
        demand(element.name() != name);
    if (element.name() == "style") checkCss(element.textContent());
    for (const auto& [name, value] : element.attributes()) {
        demand(!name.starts_with("on"));
        demand(name != "srcset" && name != "background" && name != "action" && name != "formaction" && name != "ping");
        if (name == "src") demand(value == kOwnPicture);
        if (name == "href") demand(isAllowedLink(value));
        if (name == "style") checkCss(value);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(bytes), size);
    qs::SanitizerOptions options;
    options.inlinePicture = [](std::string_view id) { return id == "own" ? std::string(kOwnPicture) : std::string(); };
    const std::string once = qs::sanitizeHtml(input, options).html;
    demand(qs::isValidUtf8(once));
    const qs::HtmlDocument document(once);
    for (const auto& element : document.body().elementsByTagName("*"))
        checkElement(element);
    // The pictures of the first time are data now, which no mail may bring along.
    options.inlinePicture = {};
    const std::string plain = qs::sanitizeHtml(input, options).html;
    demand(qs::sanitizeHtml(plain, options).html == plain);
    demand(qs::isValidUtf8(qs::plainTextToHtml(input)));
    return 0;
}
