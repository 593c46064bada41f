#include "Text/Escapes.h"

#include "Foundation/Assertion.h"
#include "Text/Ascii.h"
#include "Text/Charsets.h"
#include "Text/Utf8.h"

namespace qs {

namespace {

// What a message about a text quotes of it: enough to recognise it, as a log is no place for whole mails.
std::string start(std::string_view text) {
    constexpr std::size_t kLongest = 60;
    return validUtf8(text.substr(0, kLongest)) + (text.size() > kLongest ? "\u2026" : "");
}

char byteFromDigits(std::string_view digits, std::string_view whole) {
    int byte = 0;
    for (const char digit : digits) {
        const bool isDigit = isAsciiDigit(digit) || (digit >= 'A' && digit <= 'F');
        if (!isDigit)
            raiseAssertion("Invalid character '" + validUtf8({&digit, 1}) +
                           "' in quoted printable string: " + start(whole));
        const int value = hexDigitValue(digit);
        assertThat(value < 16, "bad encoded character");
        byte = byte * 16 + value;
    }
    return static_cast<char>(byte);
}

// The length of the line end at the start of the text; 0 for none.
std::size_t lineEndLength(std::string_view text) {
    if (text.starts_with("\r\n")) return 2;
    return text.starts_with('\r') || text.starts_with('\n') ? 1 : 0;
}

}  // namespace

std::string urlEncodedString(std::string_view text) { return percentEncoded(text, ""); }

std::string percentEncoded(std::string_view text, std::string_view kept) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    constexpr std::string_view kUnreserved = "-._~";
    std::string out;
    out.reserve(text.size());
    for (const char c : text) {
        if (isAsciiLetter(c) || isAsciiDigit(c) || kUnreserved.find(c) != std::string_view::npos ||
            kept.find(c) != std::string_view::npos) {
            out += c;
        } else {
            const auto byte = static_cast<unsigned char>(c);
            out += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
        }
    }
    return out;
}

std::string percentDecoded(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool isEscape =
            text[i] == '%' && i + 2 < text.size() && hexDigitValue(text[i + 1]) >= 0 && hexDigitValue(text[i + 2]) >= 0;
        if (isEscape) {
            out += static_cast<char>(hexDigitValue(text[i + 1]) * 16 + hexDigitValue(text[i + 2]));
            i += 2;
        } else {
            out += text[i];
        }
    }
    return out;
}

std::string stringByEscapingXMLEntities(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (const char c : text) {
        switch (c) {
        case '&': out += "&amp;"; break;
        case '"': out += "&quot;"; break;
        case '\'': out += "&#x27;"; break;
        case '>': out += "&gt;"; break;
        case '<': out += "&lt;"; break;
        default: out += c;
        }
    }
    return out;
}

std::string stringWithQuotedPrintableString(std::string_view text, std::string_view encoding) {
    text = text.substr(0, text.find('\0'));
    std::string bytes;
    bytes.reserve(text.size());
    for (std::size_t i = 0; i < text.size();) {
        if (text[i] != '=') {
            bytes += text[i++];
            continue;
        }
        const std::string_view behind = text.substr(i + 1);
        if (const std::size_t lineEnd = lineEndLength(behind); lineEnd > 0) {
            i += 1 + lineEnd;
            continue;
        }
        if (behind.size() < 2) raiseAssertion("Premature end in quoted printable string: " + start(text));
        bytes += byteFromDigits(behind.substr(0, 2), text);
        i += 3;
    }
    return isValidUtf8(bytes) ? bytes : utf8FromCharset(bytes, encoding);
}

}  // namespace qs
