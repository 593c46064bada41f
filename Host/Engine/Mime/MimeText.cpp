#include "Mime/MimeText.h"

#include <gmime/gmime.h>

#include <algorithm>
#include <memory>
#include <mutex>

#include "Text/Ascii.h"
#include "Text/Utf8.h"

namespace qs {

namespace {

// The next line without its end; the text moves on behind it.
std::string_view takeLine(std::string_view& text) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return line;
}

}  // namespace

void startMimeLibrary() {
    static std::once_flag once;
    std::call_once(once, [] { g_mime_init(); });
}

std::string decodedHeaderText(std::string_view raw) {
    const std::string text = isValidUtf8(raw) ? std::string(raw) : utf8FromLatin1(raw);
    if (text.find("=?") == std::string::npos) return text;
    startMimeLibrary();
    const std::unique_ptr<char, void (*)(gpointer)> decoded(g_mime_utils_header_decode_text(nullptr, text.c_str()),
                                                            g_free);
    return decoded ? validUtf8(decoded.get()) : text;
}

std::string charsetInHtml(std::string_view html) {
    const std::string start = asciiLowered(html.substr(0, 2048));
    const std::size_t meta = start.find("<meta");
    const std::size_t found = meta == std::string::npos ? meta : start.find("charset", meta);
    if (found == std::string::npos) return {};
    std::string_view rest = trimmedAscii(std::string_view(start).substr(found + 7));
    if (!rest.starts_with('=')) return {};
    rest = trimmedAscii(rest.substr(1));
    if (rest.starts_with('"') || rest.starts_with('\'')) rest.remove_prefix(1);
    return std::string(rest.substr(0, rest.find_first_of("\"'>; \t\r\n/")));
}

std::string withLineFeeds(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool isFirstOfPair = text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n';
        if (!isFirstOfPair) out += text[i] == '\r' ? '\n' : text[i];
    }
    return out;
}

std::string unflowed(std::string_view source, bool deleteSpace) {
    const std::string text = withLineFeeds(source);
    std::string_view rest = text;
    std::string out;
    std::size_t openDepth = 0;
    bool isOpen = false;  // the last line goes on
    while (!rest.empty()) {
        std::string_view line = takeLine(rest);
        const std::size_t depth = std::min(line.find_first_not_of('>'), line.size());
        line.remove_prefix(depth);
        if (line.starts_with(' ')) line.remove_prefix(1);
        const bool isSignature = line == "-- ";
        if (isOpen && (depth != openDepth || isSignature)) {
            out += '\n';
            isOpen = false;
        }
        if (!isOpen) out += std::string(depth, '>') + (depth > 0 ? " " : "");
        const bool goesOn = line.ends_with(' ') && !isSignature;
        out += goesOn && deleteSpace ? line.substr(0, line.size() - 1) : line;
        if (!goesOn) out += '\n';
        isOpen = goesOn;
        openDepth = depth;
    }
    return out;
}

}  // namespace qs
