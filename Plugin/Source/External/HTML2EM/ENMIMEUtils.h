// Between file extensions and MIME types, with the note service's own ideas of both before the system's.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace qs {

// The types that the note service names in its limits.
inline constexpr std::string_view EDAM_MIME_TYPE_GIF = "image/gif";
inline constexpr std::string_view EDAM_MIME_TYPE_JPEG = "image/jpeg";
inline constexpr std::string_view EDAM_MIME_TYPE_PNG = "image/png";
inline constexpr std::string_view EDAM_MIME_TYPE_WAV = "audio/wav";
inline constexpr std::string_view EDAM_MIME_TYPE_MP3 = "audio/mpeg";
inline constexpr std::string_view EDAM_MIME_TYPE_AMR = "audio/amr";
inline constexpr std::string_view EDAM_MIME_TYPE_MP4_VIDEO = "video/mp4";
inline constexpr std::string_view EDAM_MIME_TYPE_INK = "application/vnd.evernote.ink";
inline constexpr std::string_view EDAM_MIME_TYPE_PDF = "application/pdf";

class ENMIMEUtils {
public:
    // Without a dot. Nothing for a type that has none.
    static std::optional<std::string> fileExtensionForMIMEType(std::string_view type);
    // By the extension alone.
    static std::optional<std::string> determineMIMETypeForFile(const std::filesystem::path& file);
    // On this system the identifier of a type is its MIME type.
    static std::optional<std::string> mimeTypeForUTI(std::string_view identifier);
};

}  // namespace qs
