#include "HTML2EM/ENMIMEUtils.h"

#include "Text/Ascii.h"
#include "Text/MimeTypes.h"

namespace qs {

namespace {

struct OwnType {
    std::string_view type, extension;
};
constexpr OwnType kOwnTypes[] = {{EDAM_MIME_TYPE_GIF, "gif"}, {EDAM_MIME_TYPE_JPEG, "jpg"},
                                 {EDAM_MIME_TYPE_PNG, "png"}, {EDAM_MIME_TYPE_WAV, "wav"},
                                 {EDAM_MIME_TYPE_MP3, "mp3"}, {EDAM_MIME_TYPE_AMR, "amr"},
                                 {EDAM_MIME_TYPE_PDF, "pdf"}, {EDAM_MIME_TYPE_MP4_VIDEO, "mp4"}};

std::optional<std::string> orNothing(std::string text) {
    if (text.empty()) return std::nullopt;
    return text;
}

}  // namespace

std::optional<std::string> ENMIMEUtils::fileExtensionForMIMEType(std::string_view type) {
    for (const OwnType& own : kOwnTypes)
        if (type == own.type) return std::string(own.extension);
    if (type == "image/x-png" || type == EDAM_MIME_TYPE_INK) return "png";
    return orNothing(extensionForMimeType(type));
}

std::optional<std::string> ENMIMEUtils::determineMIMETypeForFile(const std::filesystem::path& file) {
    std::string extension = asciiLowered(file.extension().string());
    if (!extension.empty()) extension.erase(0, 1);
    for (const OwnType& own : kOwnTypes)
        if (extension == own.extension) return std::string(own.type);
    return orNothing(mimeTypeForFileName(file.filename().string(), ""));
}

std::optional<std::string> ENMIMEUtils::mimeTypeForUTI(std::string_view identifier) {
    if (isKnownMimeType(identifier)) return std::string(identifier);
    if (identifier == "public.jpeg") return "image/jpeg";
    if (identifier == "public.png") return "image/png";
    return std::nullopt;
}

}  // namespace qs
