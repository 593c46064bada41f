#include "Contacts/VCardLines.h"

#include "Text/Ascii.h"
#include "Text/Base64.h"
#include "Text/Charsets.h"
#include "Text/ContentLines.h"
#include "Text/Utf8.h"

namespace qs {

namespace {

constexpr std::size_t kMostParameters = 50, kLongestLine = 24 << 20;
constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";

std::string quotedPrintableDecoded(std::string_view text) {
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool isEscape =
            text[i] == '=' && i + 2 < text.size() && hexDigitValue(text[i + 1]) >= 0 && hexDigitValue(text[i + 2]) >= 0;
        if (isEscape) {
            bytes += static_cast<char>(hexDigitValue(text[i + 1]) * 16 + hexDigitValue(text[i + 2]));
            i += 2;
        } else {
            bytes += text[i];
        }
    }
    return bytes;
}

std::string_view cutUnquoted(std::string_view& rest, char at) {
    const std::size_t end = findUnquoted(rest, at);
    const std::string_view part = rest.substr(0, end);
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    return part;
}

std::string_view unquoted(std::string_view text) {
    text = trimmedAscii(text);
    if (text.size() >= 2 && text.front() == '"' && text.back() == '"') text = text.substr(1, text.size() - 2);
    return text;
}

struct Coding {
    bool isQuotedPrintable = false, isBase64 = false;
    std::string charset;
};

void addLabels(std::string_view list, VCardLine& line) {
    list = unquoted(list);
    while (!list.empty()) {
        const std::string_view label = unquoted(cutUnquoted(list, ','));
        if (!label.empty() && line.labels.size() < kMostParameters) line.labels.push_back(asciiLowered(label));
    }
}

void takeParameter(std::string_view parameter, VCardLine& line, Coding& coding) {
    const std::size_t equals = parameter.find('=');
    const std::string name = asciiLowered(trimmedAscii(parameter.substr(0, equals)));
    const std::string_view value = equals == std::string_view::npos ? name : unquoted(parameter.substr(equals + 1));
    const std::string lowered = asciiLowered(value);
    if (lowered == "quoted-printable")
        coding.isQuotedPrintable = true;
    else if (lowered == "base64" || (name == "encoding" && lowered == "b"))
        coding.isBase64 = true;
    else if (name == "charset")
        coding.charset = value;
    else if (name == "mediatype")
        line.mediaType = lowered;
    else if (name == "pref" && equals != std::string_view::npos)
        addLabels("pref", line);
    else if (name == "type" || equals == std::string_view::npos)
        addLabels(value, line);
}

}  // namespace

VCardLines::VCardLines(std::string_view bytes, bool withPictures) : rest_(bytes), withPictures_(withPictures) {
    if (rest_.starts_with("\xFF\xFE") || rest_.starts_with("\xFE\xFF")) {
        converted_ = utf8FromCharset(rest_, "utf-16");
        rest_ = converted_;
    }
    if (rest_.starts_with(kUtf8Mark)) rest_.remove_prefix(kUtf8Mark.size());
}

std::string_view VCardLines::nextPhysical() {
    const std::size_t end = rest_.find_first_of("\r\n");
    const std::string_view line = rest_.substr(0, end);
    rest_.remove_prefix(line.size());
    if (rest_.starts_with("\r\n"))
        rest_.remove_prefix(2);
    else if (!rest_.empty())
        rest_.remove_prefix(1);
    return line;
}

// A line goes on in the next one that begins with a blank; quoted-printable text of 2.1 also behind a "=" at the end.
std::string VCardLines::nextUnfolded() {
    std::string line(nextPhysical());
    bool isQuotedPrintable = false;
    if (const std::size_t colon = findUnquoted(line, ':'); colon != std::string::npos)
        isQuotedPrintable =
            asciiLowered(std::string_view(line).substr(0, colon)).find("quoted-printable") != std::string::npos;
    while (!rest_.empty() && line.size() < kLongestLine) {
        if (rest_.front() == ' ' || rest_.front() == '\t') {
            rest_.remove_prefix(1);
            line += nextPhysical();
        } else if (isQuotedPrintable && line.ends_with('=')) {
            line.pop_back();
            line += nextPhysical();
        } else {
            break;
        }
    }
    return line;
}

bool VCardLines::takeApart(std::string_view text, VCardLine& line) const {
    const std::size_t colon = findUnquoted(text, ':');
    if (colon == std::string_view::npos) return false;
    const std::string validHead = validUtf8(text.substr(0, colon));
    std::string_view head = validHead, value = text.substr(colon + 1);
    std::string_view name = trimmedAscii(cutUnquoted(head, ';'));
    line = {};
    if (const std::size_t dot = name.rfind('.'); dot != std::string_view::npos) {
        line.group = asciiLowered(name.substr(0, dot));
        name.remove_prefix(dot + 1);
    }
    line.name = asciiLowered(name);
    Coding coding;
    for (std::size_t count = 0; !head.empty() && count < kMostParameters; ++count)
        takeParameter(cutUnquoted(head, ';'), line, coding);
    line.isBase64 = coding.isBase64;
    const bool isPicture = line.name == "photo";
    if (isPicture && coding.isBase64) {
        line.value = withPictures_ ? dataFromBase64String(value).value_or("") : std::string(value);
        return true;
    }
    std::string bytes(value);
    if (coding.isBase64) bytes = dataFromBase64String(value).value_or("");
    if (coding.isQuotedPrintable) bytes = quotedPrintableDecoded(value);
    line.value = isValidUtf8(bytes) && coding.charset.empty() ? bytes : utf8FromCharset(bytes, coding.charset);
    return !line.name.empty();
}

bool VCardLines::next(VCardLine& line) {
    while (!rest_.empty())
        if (takeApart(nextUnfolded(), line)) return true;
    return false;
}

std::string unescapedVCardText(std::string_view value) {
    return std::string(trimmedAscii(unescapedContentText(value)));
}

std::vector<std::string> vCardParts(std::string_view value) {
    std::vector<std::string> parts;
    std::size_t begin = 0;
    for (std::size_t i = 0; i <= value.size(); ++i) {
        if (i + 1 < value.size() && value[i] == '\\') {
            ++i;  // what stands behind it parts nothing
            continue;
        }
        if (i < value.size() && value[i] != ';') continue;
        parts.push_back(unescapedVCardText(value.substr(begin, i - begin)));
        begin = i + 1;
    }
    return parts;
}

}  // namespace qs
