// The text of the message. Sources: RFC 5322, RFC 2045 and 2046.
#include <algorithm>
#include <iterator>

#include "Foundation/DateFormatter.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"
#include "Platform.h"
#include "SMTPMessage/SMTPMessage.h"
#include "SMTPMessage/SMTPText.h"
#include "SystemFacts/ProcessInfo.h"
#include "Text/Ascii.h"
#include "Text/Base64.h"

namespace qs {

namespace {

constexpr const char* kFullDateAndTime = "yMMMMEEEEdjmmsszzzz";

std::filesystem::path cachesFolder() {
    const auto& info = Platform::current().processInfo;
    return info ? info->dataFolder() / "Caches" : std::filesystem::temp_directory_path();
}

std::string line(std::string_view format, std::string_view text) {
    return stringWithFormat(format, {smtp_text::withoutControls(text)}) + "\r\n";
}

std::string listOf(const std::vector<std::string>& addresses) {
    std::string list;
    for (const std::string& address : addresses)
        list += (list.empty() ? "" : ", ") + stringWithFormat("<%@>", {address});
    return list;
}

// Not the form that mail asks for, but one for people, in the person's own language.
std::string writtenDate() {
    return formatDate(RunLoop::main().now(), {.pattern = localizedDatePattern(kFullDateAndTime), .locale = {}});
}

// A quote in a name would end it.
std::string quotable(std::string name) {
    std::ranges::replace(name, '"', '\'');
    return name;
}

std::string textPartHead(std::string_view contentType) {
    return line("Content-Type: %@;", contentType) + "\tcharset=\"utf-8\"\r\n"
                                                    "Content-Transfer-Encoding: base64\r\n";
}

std::string attachmentPart(const SMTPAttachment& attachment, const std::string& boundary) {
    const auto content = FileSystem::real().read(attachment.filePath);
    if (!content) return {};
    const std::string name = quotable(attachment.name);
    return line("--%@", boundary) +
           "Content-Type: application/octet-stream;\r\n"
           "\tcharset=\"utf-8\"\r\n" +
           line("\tname=\"%@\"", name) + line("Content-Disposition: attachment; filename=\"%@\"", name) +
           "Content-Transfer-Encoding: base64\r\n\r\n" + SMTPMessage::base64Encode(*content) + "\r\n\r\n";
}

}  // namespace

std::string smtp_text::withoutControls(std::string_view text) {
    std::string result;
    std::ranges::copy_if(text, std::back_inserter(result), [](char c) { return !isAsciiControl(c); });
    return result;
}

std::int64_t smtp_text::secondsNow() { return static_cast<std::int64_t>(RunLoop::main().now().secondsSince1970); }

std::string SMTPMessage::base64Encode(std::string_view bytes) { return base64EncodedStringWithLineBreaks(bytes); }

std::filesystem::path SMTPMessage::buildMIME() {
    std::string text = line("Date: %@", writtenDate()) + line("From: <%@>", from) + line("To: <%@>", to);
    if (!ccs.empty()) text += line("Cc: %@", listOf(ccs));
    if (!bccs.empty()) text += line("Bcc: %@", listOf(bccs));
    text += "Mime-Version: 1.0\r\n";
    if (attachments.empty())
        text += textPartHead(contentType);
    else
        text += "Content-Type: multipart/mixed;\r\n" + line("\tboundary=\"%@\"", _boundary) +
                "Content-Transfer-Encoding: 8Bit\r\n";
    text += line("Message-ID: <SMTPMessage_%@>", std::to_string(smtp_text::secondsNow())) +
            line("Subject: %@", subject.value_or("(null)")) + "\r\n";
    if (attachments.empty()) {
        text += base64Encode(content) + "\r\n";
    } else {
        text += "This is a multi-part message in MIME format.\r\n\r\n" + line("--%@", _boundary) +
                textPartHead(contentType) + "\r\n" + base64Encode(content) + "\r\n\r\n";
        for (const SMTPAttachment& attachment : attachments)
            text += attachmentPart(attachment, _boundary);
        text += line("--%@--", _boundary);
    }

    const std::filesystem::path file = cachesFolder() / "smtpdata";
    FileSystem& files = FileSystem::real();
    auto written = files.makeFolder(file.parent_path());
    if (written) written = files.replace(file, text);
    if (!written) logError("The mail can't be put into its file: " + written.error().description);
    return file;
}

}  // namespace qs
