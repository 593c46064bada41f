#include "Text/Charsets.h"

#include <unicode/ucnv.h>

#include <algorithm>
#include <memory>

#include "Text/Ascii.h"
#include "Text/IcuText.h"
#include "Text/Utf8.h"

namespace qs {

namespace {

constexpr std::size_t kLargest = std::size_t{256} << 20;

std::string fromIcu(std::string_view bytes, const std::string& charset) {
    bytes = bytes.substr(0, kLargest);
    const icu::UnicodeString text(bytes.data(), static_cast<int32_t>(bytes.size()), charset.c_str());
    return text.isBogus() ? std::string() : utf8Text(text);
}

bool isPlainAscii(std::string_view bytes) {
    return std::all_of(bytes.begin(), bytes.end(), [](char c) { return static_cast<unsigned char>(c) < 128; });
}

// What programs mean when they say Latin-1 or ASCII.
std::string guessed(std::string_view bytes) {
    return isValidUtf8(bytes) ? std::string(bytes) : fromIcu(bytes, "windows-1252");
}

// Stops at what has no form on the other side. Null for an unknown name; an empty one would mean the system's set.
using Converter = std::unique_ptr<UConverter, void (*)(UConverter*)>;
Converter strictConverter(std::string_view charset) {
    const std::string name(trimmedAscii(charset));
    UErrorCode status = U_ZERO_ERROR;
    Converter converter(name.empty() ? nullptr : ucnv_open(name.c_str(), &status), ucnv_close);
    if (!converter) return converter;
    ucnv_setToUCallBack(converter.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
    ucnv_setFromUCallBack(converter.get(), UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
    if (U_FAILURE(status)) converter.reset();
    return converter;
}

}  // namespace

std::string utf8FromCharset(std::string_view bytes, std::string_view charset) {
    const std::string name = asciiLowered(trimmedAscii(charset));
    if (name == "utf-8" || name == "utf8") return validUtf8(bytes);
    const bool isStateful = name.starts_with("utf-16") || name.starts_with("utf-32") || name.starts_with("utf-7") ||
                            name.starts_with("iso-2022") || name.starts_with("hz");
    if (!isStateful && isPlainAscii(bytes)) return std::string(bytes);
    if (name.empty() || name == "us-ascii" || name == "ascii" || name == "unknown-8bit") return guessed(bytes);
    if (name == "iso-8859-1" || name == "latin1") return fromIcu(bytes, "windows-1252");
    std::string text = fromIcu(bytes, name == "gb2312" ? "gb18030" : name);
    return text.empty() && !bytes.empty() ? guessed(bytes) : text;
}

std::optional<std::string> textInCharset(std::string_view bytes, std::string_view charset) {
    const Converter converter = strictConverter(charset);
    if (!converter || bytes.size() > kLargest) return std::nullopt;
    UErrorCode status = U_ZERO_ERROR;
    const icu::UnicodeString text(bytes.data(), static_cast<int32_t>(bytes.size()), converter.get(), status);
    if (U_FAILURE(status)) return std::nullopt;
    return utf8Text(text);
}

std::optional<std::string> bytesInCharset(std::string_view text, std::string_view charset) {
    const Converter converter = strictConverter(charset);
    if (!converter || text.size() > kLargest || !isValidUtf8(text)) return std::nullopt;
    const icu::UnicodeString wide = icuText(text);
    std::string bytes;
    UErrorCode status = U_ZERO_ERROR;
    // Some sets need marks at both ends and up to eight bytes for a character.
    bytes.resize(static_cast<std::size_t>(wide.length()) * 8 + 16);
    const int32_t length = ucnv_fromUChars(converter.get(), bytes.data(), static_cast<int32_t>(bytes.size()),
                                           wide.getBuffer(), wide.length(), &status);
    if (U_FAILURE(status)) return std::nullopt;
    bytes.resize(static_cast<std::size_t>(length));
    return bytes;
}

}  // namespace qs
