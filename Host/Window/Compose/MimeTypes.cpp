#include "Compose/MimeTypes.h"

#include <fstream>
#include <map>

#include "Text/Ascii.h"

namespace qs {
namespace {

// Extensions in lower case ("tar.gz") with their types. Format of the file: "weight:type:glob[:flags]", best first
// (https://specifications.freedesktop.org/shared-mime-info-spec/); globs of other forms than "*.extension" name files
// that nobody attaches.
using Extensions = std::map<std::string, std::string, std::less<>>;

Extensions readDatabase() {
    Extensions extensions;
    for (const char* path : {"/usr/local/share/mime/globs2", "/usr/share/mime/globs2"}) {
        std::ifstream file(path);
        for (std::string line; std::getline(file, line);) {
            const std::string_view text = line;
            const auto type = text.find(':'), glob = type == text.npos ? text.npos : text.find(':', type + 1);
            if (text.starts_with('#') || glob == text.npos || !text.substr(glob + 1).starts_with("*.")) continue;
            const std::string_view extension = text.substr(glob + 3, text.find(':', glob + 1) - glob - 3);
            extensions.emplace(asciiLowered(extension), text.substr(type + 1, glob - type - 1));
        }
    }
    return extensions;
}

}  // namespace

std::string mimeTypeForFileName(std::string_view fileName) {
    static const Extensions extensions = readDatabase();
    // From the longest ending on, so that "tar.gz" is found before "gz".
    const std::string name = asciiLowered(fileName);
    for (auto dot = name.find('.'); dot != std::string::npos; dot = name.find('.', dot + 1))
        if (const auto found = extensions.find(std::string_view(name).substr(dot + 1)); found != extensions.end())
            return found->second;
    return "application/octet-stream";
}

std::string_view pictureTypeOf(std::string_view content) {
    using namespace std::string_view_literals;
    if (content.starts_with("\x89PNG\r\n\x1A\n"sv)) return "image/png";
    if (content.starts_with("\xFF\xD8\xFF"sv)) return "image/jpeg";
    if (content.starts_with("GIF87a"sv) || content.starts_with("GIF89a"sv)) return "image/gif";
    if (content.starts_with("RIFF"sv) && content.substr(0, 12).ends_with("WEBP"sv)) return "image/webp";
    return {};
}

}  // namespace qs
