#include "Mail/Letters.h"

#include "Foundation/DateFormatter.h"
#include "Text/Digests.h"

namespace qs {

namespace {

Letter letterTo(const std::string& address, std::string subject, std::string body) {
    Letter letter;
    letter.recipient = address;
    letter.subject = std::move(subject);
    letter.body = std::move(body);
    return letter;
}

std::string withNetworkLineEnds(const std::string& text) {
    std::string result;
    for (const char c : text)
        if (c == '\n')
            result += "\r\n";
        else if (c != '\r')
            result += c;
    return result;
}

}  // namespace

Letter confirmationLetter(const std::string& address, const std::string& link) {
    return letterTo(
        address, "Please confirm your address for Quillstead",
        "Hello,\n\nsomebody, most likely you, wants to use Quillstead with this address. Please confirm it\n"
        "here within two days:\n\n" +
            link +
            "\n\nIf it was not you, there is nothing to do: without a confirmation no account comes into "
            "being.\n");
}

Letter existingAccountLetter(const std::string& address, const std::string& resetPage) {
    return letterTo(address, "You have a Quillstead account already",
                    "Hello,\n\nsomebody, perhaps you, wanted to sign up for Quillstead with this address. It has an "
                    "account\nalready, and nothing was changed. If you don't know its password any more, choose a new "
                    "one:\n\n" +
                        resetPage + "\n");
}

Letter resetLetter(const std::string& address, const std::string& link) {
    return letterTo(address, "A new password for Quillstead",
                    "Hello,\n\nsomebody, most likely you, asked for a new password for your Quillstead account. Choose "
                    "one here\nwithin an hour:\n\n" +
                        link + "\n\nIf it was not you, there is nothing to do: your password stays as it is.\n");
}

std::string messageOf(const Letter& letter, const std::string& from, Date now) {
    const std::string host = from.substr(from.rfind('@') + 1);
    return "From: Quillstead <" + from + ">\r\nTo: " + letter.recipient + "\r\nSubject: " + letter.subject +
           "\r\nDate: " +
           formatDate(now, {.pattern = "EEE, d MMM yyyy HH:mm:ss ZZZ", .locale = "en_US_POSIX", .timeZone = "UTC"}) +
           "\r\nMessage-ID: <" + hexadecimal(randomDataWithBytes(16)) + "@" + host +
           ">\r\nAuto-Submitted: auto-generated\r\nMIME-Version: 1.0\r\nContent-Type: text/plain; charset=utf-8\r\n"
           "Content-Transfer-Encoding: 8bit\r\n\r\n" +
           withNetworkLineEnds(letter.body);
}

}  // namespace qs
