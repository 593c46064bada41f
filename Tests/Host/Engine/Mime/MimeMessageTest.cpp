#include "Mime/MimeMessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "Foundation/FileSystem.h"
#include "Mail/MessageHeaders.h"
#include "Mime/FileNames.h"
#include "Mime/MimeText.h"
#include "Text/Base64.h"
#include "Text/Utf8.h"

namespace qs {
namespace {

using ::testing::HasSubstr;

std::string withHeader(std::string_view type, std::string_view body, std::string_view more = "") {
    const std::string contentType = type.empty() ? "" : "Content-Type: " + std::string(type) + "\r\n";
    return "Subject: s\r\nMIME-Version: 1.0\r\n" + contentType + std::string(more) + "\r\n" + std::string(body);
}

std::string multipart(std::string_view kind, std::initializer_list<std::string_view> parts) {
    std::string body;
    for (const std::string_view part : parts)
        body += "--=b" + std::string(kind) + "\r\n" + std::string(part) + "\r\n";
    return "Content-Type: multipart/" + std::string(kind) + "; boundary=\"=b" + std::string(kind) + "\"\r\n\r\n" +
           body + "--=b" + std::string(kind) + "--\r\n";
}

constexpr std::string_view kPlain = "Content-Type: text/plain; charset=utf-8\r\n\r\nplain é";
constexpr std::string_view kHtml =
    "Content-Type: text/html; charset=utf-8\r\n\r\n<p>html <img src=\"cid:pic%40x\"></p>";
constexpr std::string_view kPicture = "Content-Type: image/png; name=\"a.png\"\r\nContent-ID: <pic@x>\r\n"
                                      "Content-Transfer-Encoding: base64\r\n\r\niVBORw0KGgo=";
constexpr std::string_view kFile = "Content-Type: application/pdf\r\nContent-Disposition: attachment;\r\n"
                                   " filename*=utf-8''r%C3%A9sum%C3%A9.pdf\r\n\r\nPDF";
constexpr std::string_view kCalendar = "Content-Type: text/calendar; method=REQUEST\r\n\r\nBEGIN:VCALENDAR";

TEST(MimeMessage, ReadsTheTextOfOnePart) {
    struct Case {
        const char* why;
        std::string type, more, body;
        const char* text;
    };
    for (const Case& c : {
             Case{"ASCII", "text/plain", "", "a\r\nb\r\n", "a\nb\n"},
             Case{"named Latin-1", "text/plain; charset=iso-8859-1", "", "caf\xE9 \x80", "café €"},
             Case{"UTF-8 that is not named", "text/plain", "", "café", "café"},
             Case{"Latin-1 that is not named", "text/plain", "", "caf\xE9", "café"},
             Case{"an unknown name", "text/plain; charset=x-martian", "", "caf\xE9", "café"},
             Case{"UTF-8 with broken places", "text/plain; charset=utf-8", "",
                  "a\xFF"
                  "b é",
                  "a\uFFFDb é"},
             Case{"Japanese", "text/plain; charset=iso-2022-jp", "", "\x1B$B$\"\x1B(B", "あ"},
             Case{"quoted-printable", "text/plain; charset=utf-8", "Content-Transfer-Encoding: quoted-printable\r\n",
                  "a=C3=A9=\r\nb=ZZ=", "aéb=ZZ"},
             Case{"base64 with rubbish", "text/plain", "Content-Transfer-Encoding: base64\r\n", "aGVs!!bG8=", "hello"},
             Case{"flowed text", "text/plain; format=flowed", "", "a \r\nb\r\n> q \r\n> r\r\nc\r\n-- \r\nsig\r\n",
                  "a b\n> q r\nc\n-- \nsig\n"},
             Case{"flowed with DelSp", "text/plain; format=flowed; delsp=yes", "", "a \r\nb\r\n", "ab\n"},
             Case{"no content type", "", "", "x", "x"},
         })
        EXPECT_EQ(MimeMessage::parse(withHeader(c.type, c.body, c.more))->plainBody(), c.text) << c.why;
}

TEST(MimeMessage, FindsTheBodyAndTheAttachments) {
    struct Case {
        const char* why;
        std::string content;
        const char* html;  // a piece of it; "" for none
        const char* plain;
        const char* attachments;  // "part name type inline;..."
    };
    const std::string related = multipart("related", {kHtml, kPicture});
    const std::string alternative = multipart("alternative", {kPlain, related});
    for (const Case& c : {
             Case{"alternative", multipart("alternative", {kPlain, kHtml}), "<p>html", "plain é", ""},
             Case{"inline picture and file", multipart("mixed", {alternative, kFile}), "<p>html", "plain é",
                  "1.2.2 a.png image/png inline;2 résumé.pdf application/pdf;"},
             Case{"an invitation", multipart("alternative", {kPlain, kHtml, kCalendar}), "<p>html", "plain é",
                  "3 Invitation.ics text/calendar;"},
             Case{"text behind the HTML is part of the body", multipart("mixed", {kHtml, kPlain}), "plain é", "plain é",
                  ""},
             Case{"a picture nobody refers to", multipart("mixed", {kPlain, kPicture}), "", "plain é",
                  "2 a.png image/png;"},
             Case{"a forwarded message",
                  multipart("mixed", {kPlain, "Content-Type: message/rfc822\r\n\r\n"
                                              "Subject: ../in=?utf-8?Q?=2F?=ner\r\n\r\nhi"}),
                  "", "plain é", "2 -in-ner.eml message/rfc822;"},
             Case{"text that is attached",
                  multipart("mixed", {kPlain, "Content-Type: text/plain\r\nContent-Disposition: "
                                              "attachment; filename=\"a/../b.txt\"\r\n\r\nx"}),
                  "", "plain é", "2 b.txt text/plain;"},
             Case{"a signature", multipart("signed", {kPlain, "Content-Type: application/pgp-signature\r\n\r\nx"}), "",
                  "plain é", "2 Attachment 2.asc application/pgp-signature;"},
             Case{"nothing but a file", "Content-Type: image/png\r\n\r\nx", "", "", "1 Attachment 1.png image/png;"},
         }) {
        const auto message = MimeMessage::parse("Subject: s\r\n" + c.content);
        std::string attachments;
        for (const MimePart& part : message->attachments())
            attachments += part.part + " " + part.fileName + " " + part.mimeType + (part.isInline ? " inline;" : ";");
        EXPECT_THAT(message->htmlBody().value_or(""), HasSubstr(c.html)) << c.why;
        EXPECT_EQ(message->htmlBody().has_value(), *c.html != 0) << c.why;
        EXPECT_THAT(message->plainBody().value_or(""), HasSubstr(c.plain)) << c.why;
        EXPECT_EQ(message->plainBody().has_value(), *c.plain != 0) << c.why;
        EXPECT_EQ(attachments, c.attachments) << c.why;
        EXPECT_EQ(message->damage(), "") << c.why;
    }
}

TEST(MimeMessage, GivesTheContentOfParts) {
    const auto message = MimeMessage::parse(multipart("mixed", {kPlain, kPicture, kFile}));
    EXPECT_EQ(message->partContent("2"), std::string("\x89PNG\r\n\x1A\n"));
    EXPECT_EQ(message->partContent("3"), "PDF");
    EXPECT_EQ(message->attachments().front().size, 8u);
    EXPECT_EQ(message->attachments().front().contentID, "pic@x");
    EXPECT_EQ(message->partContent("4"), std::nullopt);
    EXPECT_EQ(message->partContent("../1"), std::nullopt);
}

// Several at once, in steps of any size, and longer than the message is needed for anything else.
TEST(MimeMessage, GivesPartsPieceByPiece) {
    std::string file;
    for (int i = 0; file.size() < 300'000; ++i)
        file += std::to_string(i) + "\r\n";
    const std::string encoded = "Content-Type: application/zip; name=\"a.zip\"\r\nContent-Transfer-Encoding: base64\r\n"
                                "\r\n" +
                                base64EncodedStringWithLineBreaks(file) + "\r\n";
    const std::string message = "Content-Type: message/rfc822\r\n\r\n" + withHeader("text/plain", "inner\r\n");
    auto read = MimeMessage::parse(multipart("mixed", {kPlain, encoded, kFile, message}));
    const auto parts = read->attachments();
    ASSERT_EQ(parts.size(), 3u);
    const auto one = read->partSource(parts[0].part), same = read->partSource(parts[0].part);
    const auto pdf = read->partSource(parts[1].part), inner = read->partSource(parts[2].part);
    EXPECT_FALSE(read->partSource("9"));
    ASSERT_TRUE(one && same && pdf && inner);
    EXPECT_EQ(one->size, file.size());
    const std::string innerContent = read->partContent(parts[2].part).value();
    EXPECT_EQ(read->partContent(parts[0].part), file);
    read.reset();
    std::string first, second, piece(777, ' ');
    for (std::size_t length = 1; length > 0;) {
        length = one->read(piece.data(), piece.size()).value();
        first.append(piece, 0, length);
        second.append(piece, 0, same->read(piece.data(), 5).value());
    }
    EXPECT_TRUE(first == file);
    EXPECT_TRUE(file.starts_with(second));
    EXPECT_EQ(startOf(pdf->read, 100), "PDF");
    EXPECT_EQ(pdf->size, 3u);
    EXPECT_EQ(startOf(inner->read, 1000), innerContent);
    EXPECT_EQ(inner->size, innerContent.size());
}

TEST(MimeMessage, SaysWhenTheDiskFails) {
    struct BrokenFile : OpenFile {
        std::uint64_t size() const override { return 500'000; }
        Result<std::size_t> readAt(std::uint64_t place, char* buffer, std::size_t room) const override {
            static const std::string start = withHeader("text/plain", std::string(200'000, 'x'));
            if (place >= 100'000) return failure("test", 5, "The disk reported a fault.");
            const std::size_t length = std::min({room, start.size() - place, 100'000 - place});
            std::copy_n(start.data() + place, length, buffer);
            return length;
        }
    };
    const auto read = MimeMessage::parse(std::make_shared<BrokenFile>());
    EXPECT_NE(read->damage(), "");
    EXPECT_THAT(read->plainBody().value_or(""), HasSubstr("xxxx"));
}

TEST(MimeMessage, ShowsDamagedMailAsFarAsItCan) {
    const std::string whole = multipart("mixed", {kPlain, kFile});
    const auto cut = MimeMessage::parse(whole.substr(0, whole.size() - 40));
    EXPECT_THAT(cut->plainBody().value_or(""), HasSubstr("plain é"));
    EXPECT_NE(cut->damage(), "");

    const auto noBoundary = MimeMessage::parse(withHeader("multipart/mixed", "--x\r\n\r\nsome text\r\n"));
    EXPECT_NE(noBoundary->damage(), "");

    for (const char* odd : {"", "\r\n", "no header at all", "\xFF\xFE\x00garbage", "Content-Type: \r\n\r\n",
                            "Content-Type: text/plain; charset=\r\n\r\nx", "Content-Type: ///\r\n\r\nx"})
        EXPECT_NO_THROW(MimeMessage::parse(odd)->plainBody()) << odd;
}

TEST(MimeMessage, AnIdThatIsNoTextIsNone) {
    for (const char* id : {"a\x1A@b", "<\x01>"}) {
        const auto message = MimeMessage::parse(std::string("Content-Type: image/png\r\nContent-ID: ") + id +
                                                "\r\nContent-Transfer-Encoding: base64\r\n\r\niVBORw0KGgo=\r\n");
        ASSERT_EQ(message->attachments().size(), 1u);
        EXPECT_EQ(message->attachments()[0].contentID, "");
    }
}

TEST(MimeMessage, IsBoundedInDepthAndParts) {
    std::string deep;
    for (int i = 0; i < 5000; ++i)
        deep += "Content-Type: multipart/mixed; boundary=\"b" + std::to_string(i) + "\"\r\n\r\n--b" +
                std::to_string(i) + "\r\n";
    EXPECT_NE(MimeMessage::parse(deep + "\r\nx")->damage(), "");

    std::string wide = "Content-Type: multipart/mixed; boundary=b\r\n\r\n";
    for (int i = 0; i < 20'000; ++i)
        wide += "--b\r\nContent-Type: image/png\r\n\r\nx\r\n";
    const auto message = MimeMessage::parse(wide + "--b--\r\n");
    EXPECT_LE(message->attachments().size(), 1000u);
    EXPECT_NE(message->damage(), "");
}

// Whatever a mail has become on its way: reading it ends, and what comes out is text.
TEST(MimeMessage, AnyDamageIsSurvived) {
    const std::string whole =
        multipart("mixed", {multipart("alternative", {kPlain, multipart("related", {kHtml, kPicture})}), kFile,
                            kCalendar, "Content-Type: message/rfc822\r\n\r\nSubject: =?utf-8?B?4oKs?=\r\n\r\nhi"});
    std::mt19937 random(20261122);
    for (int i = 0; i < 3000; ++i) {
        std::string mail = whole;
        for (int n = 1 + static_cast<int>(random() % 8); n > 0; --n) {
            const std::size_t at = random() % std::max<std::size_t>(mail.size(), 1);
            if (mail.empty()) break;
            switch (random() % 4) {
            case 0: mail[at] = static_cast<char>(random() % 256); break;
            case 1: mail.erase(at, random() % 40); break;
            case 2: mail.insert(at, whole.substr(random() % whole.size(), random() % 60)); break;
            default: mail.resize(at + 1);
            }
        }
        const auto message = MimeMessage::parse(mail);
        EXPECT_TRUE(isValidUtf8(message->plainBody().value_or("")));
        EXPECT_TRUE(isValidUtf8(message->htmlBody().value_or("")));
        for (const MimePart& part : message->attachments()) {
            EXPECT_EQ(part.fileName, safeFileName(part.fileName));
            EXPECT_NE(part.fileName, "");
            EXPECT_EQ(message->partContent(part.part).value_or("").size(), part.size);
        }
        if (HasFailure()) FAIL() << mail;
    }
}

TEST(FileNames, AreMadeSafe) {
    struct Case {
        const char* name;
        const char* safe;
    };
    for (const Case& c :
         {Case{"report.pdf", "report.pdf"}, Case{"../../etc/passwd", "passwd"}, Case{"C:\\dir\\a.doc", "a.doc"},
          Case{".bashrc", "bashrc"}, Case{"a\r\nb\x07.txt", "ab.txt"}, Case{"invoice\u202Efdp.exe", "invoicefdp.exe"},
          Case{"  a .", "a"}, Case{"...", ""}, Case{"/", ""}, Case{"\xFF.txt", "\uFFFD.txt"}})
        EXPECT_EQ(safeFileName(c.name), c.safe) << c.name;
    const std::string longName = safeFileName(std::string(500, 'x') + "ü.tar");
    EXPECT_LE(longName.size(), 200u);
    EXPECT_TRUE(longName.ends_with(".tar"));
}

}  // namespace
}  // namespace qs
