#include "Text/MimeTypes.h"

#include <fstream>
#include <iterator>
#include <map>

#include "Text/Ascii.h"

namespace qs {
namespace {

constexpr const char* kFolders[] = {"/usr/local/share/mime/", "/usr/share/mime/"};

// Extensions in lower case ("tar.gz") with their types. Format of the file: "weight:type:glob[:flags]", best first
// (https://specifications.freedesktop.org/shared-mime-info-spec/); globs of other forms than "*.extension" name files
// that nobody attaches.
using Extensions = std::map<std::string, std::string, std::less<>>;

Extensions readDatabase() {
    Extensions extensions;
    for (const char* folder : kFolders) {
        std::ifstream file(std::string(folder) + "globs2");
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

// The database describes each type in a file of its own, <type>.xml, whose first glob is the customary one
// (<glob pattern="*.jpg"/>). Empty when there is none. A name of another form could lead anywhere.
std::string descriptionOf(std::string_view type) {
    const auto isPlain = [](char c) { return isAsciiLetter(c) || isAsciiDigit(c) || c == '-' || c == '+' || c == '_'; };
    const std::size_t slash = type.find('/');
    if (slash == 0 || slash >= type.size() - 1 || !isPlain(type.front()) || !isPlain(type[slash + 1])) return {};
    for (std::size_t i = 0; i < type.size(); ++i)
        if (i != slash && !isPlain(type[i]) && type[i] != '.') return {};
    for (const char* folder : kFolders) {
        std::ifstream file(folder + asciiLowered(type) + ".xml");
        if (file) return {std::istreambuf_iterator<char>(file), {}};
    }
    return {};
}

}  // namespace

std::string mimeTypeForFileName(std::string_view fileName, std::string_view fallback) {
    static const Extensions extensions = readDatabase();
    // From the longest ending on, so that "tar.gz" is found before "gz".
    const std::string name = asciiLowered(fileName);
    for (auto dot = name.find('.'); dot != std::string::npos; dot = name.find('.', dot + 1))
        if (const auto found = extensions.find(std::string_view(name).substr(dot + 1)); found != extensions.end())
            return found->second;
    return std::string(fallback);
}

bool isKnownMimeType(std::string_view type) { return !descriptionOf(type).empty(); }

std::string extensionForMimeType(std::string_view type) {
    const std::string description = descriptionOf(type);
    constexpr std::string_view mark = "pattern=\"*.";
    const std::size_t start = description.find(mark);
    if (start == description.npos) return {};
    const std::size_t end = description.find('"', start + mark.size());
    return description.substr(start + mark.size(), end - start - mark.size());
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
