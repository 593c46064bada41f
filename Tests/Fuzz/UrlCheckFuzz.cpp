// Checks any bytes as an address. What passes must be whole in both views of it: put together again from the pattern's
// groups and from the parser's pieces it is the same text, without anything that could end or change it on its way.
#include <cstdlib>
#include <string>
#include <string_view>

#include "HTML2EM/ENMLUrlCheck.h"
#include "Text/Ascii.h"

namespace {

std::string joined(const qs::Url& url) {
    std::string text(*url.scheme());
    text += ':';
    if (url.host()) {
        text += "//";
        if (url.user()) text.append(*url.user());
        if (url.password()) text.append(":").append(*url.password());
        if (url.user()) text += '@';
        text.append(*url.host());
        if (url.port()) text.append(":").append(std::to_string(*url.port()));
    }
    text.append(url.isOpaque() ? url.resourceSpecifier() : *url.encodedPath());
    if (url.query()) text.append("?").append(*url.query());
    if (url.fragment()) text.append("#").append(*url.fragment());
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(bytes), size);
    const auto url = qs::Url::parse(text);
    const qs::URLCheck check = qs::checkURLComponents(url);
    if (!check.isValid) return 0;
    if (!check.mismatches.empty() || url->absoluteString() != text) std::abort();
    for (const char c : text)
        if (c <= ' ' || c == 0x7F || c == '<' || c == '>' || c == '"' || c == '\\') std::abort();
    if (qs::asciiLowered(*url->scheme()).find("script") != std::string::npos) std::abort();
    if (url->scheme() != "tel" && url->scheme() != "file" && joined(*url) != text) std::abort();
    const qs::URLGroups groups = qs::groupsOfURL(text);
    if (groups.scheme != url->scheme()) std::abort();
    (void)url->path();
    return 0;
}
