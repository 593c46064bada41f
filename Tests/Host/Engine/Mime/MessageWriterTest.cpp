#include "Mime/MessageWriter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>

#include "Mail/MessageHeaders.h"
#include "Mime/Addresses.h"
#include "Mime/MessageChanges.h"
#include "Mime/MimeMessage.h"

namespace qs {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

constexpr Date kNow{1'795'384'800};

class MessageWriterTest : public ::testing::Test {
protected:
    void SetUp() override {
        folder_ = std::filesystem::temp_directory_path() / ("writer-" + newUniqueIdentifier());
        std::filesystem::create_directories(folder_);
        headers_->append("From", "Ada Lovelace <ada@example.org>");
        headers_->append("To", "bob@example.net");
        headers_->append("Subject", "Hello");
    }
    void TearDown() override { std::filesystem::remove_all(folder_); }

    ComposeAttachment attach(std::string name, std::string type, std::string_view content, bool isInline = false) {
        const std::filesystem::path file = folder_ / ("file" + std::to_string(++count_));
        std::ofstream(file, std::ios::binary) << content;
        return {
            "id" + std::to_string(count_) + "@local", std::move(name), std::move(type), content.size(), file, isInline};
    }

    std::string write(const ComposeContents& contents, bool asPlainText = false) {
        auto written = MessageWriter().write(contents, headers_, false, asPlainText, kNow);
        EXPECT_TRUE(written) << (written ? "" : written.error().description);
        return written ? (*written)->content : "";
    }

    static void expectFitToTravel(const std::string& content) {
        std::size_t start = 0;
        while (start < content.size()) {
            const std::size_t end = content.find("\r\n", start);
            ASSERT_NE(end, std::string::npos) << "the last line is not ended";
            const std::string line = content.substr(start, end - start);
            EXPECT_LE(line.size(), 998u);
            for (const char c : line)
                ASSERT_TRUE((c >= ' ' && c < 127) || c == '\t') << "byte " << int{c} << " in: " << line.substr(0, 80);
            start = end + 2;
        }
    }

    std::filesystem::path folder_;
    std::shared_ptr<MessageHeaders> headers_ = std::make_shared<MessageHeaders>();
    int count_ = 0;
};

TEST_F(MessageWriterTest, WhatIsWrittenIsReadBackTheSame) {
    headers_->setHeader("Grüße, \"Zoë\" — " + std::string(300, 'x') + " €", "Subject");
    headers_->setHeader("\"Lovelace, Ada\" <ada@example.org>, Jörg Müller <j@m.de>", "To");
    headers_->append("Bcc", "secret@example.org");
    headers_->append("X-Own", "kept é");
    ComposeContents contents;
    contents.html = "<p>Ünï <img src=\"cid:id1@local\"></p>";
    contents.plainText = "Ünï\nFrom here\n.\n-- \ntrailing \n" + std::string(2000, 'y');
    contents.attachments = {attach("é \"q\".png", "image/png", std::string("\x89PNG\0\r\n\n\r", 9), true),
                            attach("Rechnung März.pdf", "application/pdf", "PDF\r\n"),
                            attach("m.eml", "message/rfc822", "Subject: in\n\nhi\n")};
    const std::string content = write(contents);
    expectFitToTravel(content);

    const auto read = MimeMessage::parse(content);
    EXPECT_EQ(read->damage(), "");
    for (const char* key : {"Subject", "X-Own", "Bcc"})
        EXPECT_EQ(read->headers()->firstHeaderForKey(key), headers_->firstHeaderForKey(key)) << key;
    const auto to = parseAddresses(read->headers()->firstHeaderForKey("To").value_or(""));
    ASSERT_EQ(to.size(), 2u);
    EXPECT_EQ(to[0].name, "Lovelace, Ada");
    EXPECT_EQ(to[1].name, "Jörg Müller");
    EXPECT_EQ(read->plainBody(), contents.plainText + "\n");
    EXPECT_EQ(read->htmlBody(), contents.html + "\n");
    const auto parts = read->attachments();
    ASSERT_EQ(parts.size(), 3u);
    EXPECT_TRUE(parts[0].isInline);
    EXPECT_EQ(read->partContent(parts[0].part), std::string("\x89PNG\0\r\n\n\r", 9));
    EXPECT_EQ(parts[1].fileName, "Rechnung März.pdf");
    EXPECT_EQ(read->partContent(parts[1].part), "PDF\r\n");
    EXPECT_EQ(parts[2].mimeType, "message/rfc822");
}

TEST_F(MessageWriterTest, FillsInWhatIsMissingAndLeavesWhatIsThere) {
    write({});
    const auto id = headers_->firstMessageIDForKey(MCHeaderKeyMessageId);
    const auto unique = headers_->firstHeaderForKey(MCHeaderKeyXUniversallyUniqueIdentifier);
    ASSERT_TRUE(id && unique);
    EXPECT_TRUE(id->ends_with("@example.org"));
    EXPECT_EQ(unique->size(), 36u);
    EXPECT_TRUE(headers_->hasHeaderForKey(MCHeaderKeyDate));
    const std::string again = write({});
    EXPECT_EQ(headers_->firstMessageIDForKey(MCHeaderKeyMessageId), id);
    EXPECT_THAT(again, HasSubstr("Message-Id: <" + *id + ">\r\n"));
}

TEST_F(MessageWriterTest, TakesTheFormThatTheContentsAskFor) {
    struct Case {
        const char* why;
        const char *html, *plain;
        bool asPlainText;
        const char *has, *hasNot;
    };
    for (const Case& c : {Case{"text alone", "", "t", false, "Content-Type: text/plain; charset=utf-8", "multipart"},
                          Case{"both", "<p>h</p>", "t", false, "multipart/alternative", "multipart/mixed"},
                          Case{"HTML wanted as text", "<p>h</p>", "", true, "\r\n\r\nh\r\n", "<p>"}}) {
        ComposeContents contents;
        contents.html = c.html;
        contents.plainText = c.plain;
        const std::string content = write(contents, c.asPlainText);
        EXPECT_THAT(content, HasSubstr(c.has)) << c.why;
        EXPECT_THAT(content, Not(HasSubstr(c.hasNot))) << c.why;
    }
}

TEST_F(MessageWriterTest, HeadersOfTheOldBodyDoNotDescribeTheNew) {
    headers_->append("Content-Type", "multipart/mixed; boundary=old");
    headers_->append("Content-Transfer-Encoding", "base64");
    headers_->append("MIME-Version", "1.0");
    const std::string content = write({.plainText = "t"});
    EXPECT_EQ(MimeMessage::parse(content)->plainBody(), "t\n");
    EXPECT_EQ(parseHeaders(content)->allHeadersForKey("MIME-Version").size(), 1u);
    EXPECT_EQ(parseHeaders(content)->allHeadersForKey("Content-Type").size(), 1u);
}

TEST_F(MessageWriterTest, NothingBreaksOutOfAHeader) {
    const std::string evil = "x\r\nBcc: evil@example.org\r\n\r\n<script>";
    headers_->setHeader(evil, "Subject");
    headers_->setHeader("\"" + evil + "\" <a@b.c>", "To");
    headers_->append("X-Custom\r\nBcc", evil);
    ComposeContents contents;
    contents.plainText = "t";
    contents.attachments = {attach(evil, "text/x\r\nBcc: evil", evil)};
    contents.attachments[0].identifier = evil;
    const std::string content = write(contents);
    expectFitToTravel(content);
    EXPECT_FALSE(parseHeaders(content)->hasHeaderForKey("Bcc"));
    EXPECT_THAT(content, Not(HasSubstr("\r\nBcc:")));
}

// They are put in while the message is read, wherever they stand among the others.
TEST_F(MessageWriterTest, LargeAttachmentsAreNotHeld) {
    std::string large;
    for (int i = 0; large.size() < 3'000'000; ++i)
        large += std::to_string(i) + "\r\n.\n";
    const std::string larger = large + "and more";
    ComposeContents contents;
    contents.html = "<p>See <img src=\"cid:id3@local\"></p>";
    contents.attachments = {attach("b.bin", "application/x-test", large), attach("a.txt", "text/plain", "small"),
                            attach("c.png", "image/png", larger, true), attach("Odd Größe.bin", "no type", larger)};
    const auto written = MessageWriter().write(contents, headers_, false, false, kNow);
    ASSERT_TRUE(written);
    EXPECT_LT((*written)->content.size(), 10'000u);
    const std::string whole = startOf(sourceOf(**written), 100'000'000).value();
    EXPECT_EQ(withCrLf(whole), whole);
    const auto read = MimeMessage::parse(whole);
    EXPECT_EQ(read->damage(), "");
    std::map<std::string, std::string> found;
    for (const MimePart& part : read->attachments()) {
        found[part.fileName] = read->partContent(part.part).value();
        EXPECT_EQ(part.isInline, part.fileName == "c.png");
    }
    EXPECT_TRUE(found == (std::map<std::string, std::string>{
                             {"a.txt", "small"}, {"b.bin", large}, {"c.png", larger}, {"Odd Größe.bin", larger}}));
    for (std::size_t line = 0, end = 0; (end = whole.find("\r\n", line)) != std::string::npos; line = end + 2)
        ASSERT_LE(end - line, 998u);
}

TEST_F(MessageWriterTest, AMissingAttachmentIsAnErrorNotALoss) {
    ComposeContents contents;
    contents.attachments = {attach("a.txt", "text/plain", "x")};
    std::filesystem::remove(contents.attachments[0].file);
    const auto written = MessageWriter().write(contents, headers_, false, false, kNow);
    ASSERT_FALSE(written);
    EXPECT_THAT(written.error().description, HasSubstr("“a.txt”"));
}

// However the pieces are cut, it is the same message.
ByteSource byteByByte(std::string_view text) {
    return [whole = sourceOf(text)](char* buffer, std::size_t) { return whole(buffer, 1); };
}

TEST(TransmittedForm, CutsWhatStaysHereAndMendsLineEnds) {
    struct Case {
        const char* why;
        std::string before, after;
    };
    for (const Case& c : {
             Case{"blind copies go, folded ones too", "A: 1\r\nbcc: x@y.z,\r\n\tp@q.r\r\nB: 2\r\n\r\nt\r\n",
                  "A: 1\r\nB: 2\r\n\r\nt\r\n"},
             Case{"the unique id goes", "X-Universally-Unique-Identifier: U\r\nA: 1\r\n\r\n", "A: 1\r\n\r\n"},
             Case{"a space before the colon hides nothing", "Bcc : x@y.z\r\nA: 1\r\n\r\n", "A: 1\r\n\r\n"},
             Case{"text that looks like it stays", "A: 1\r\n\r\nBcc: x\r\n", "A: 1\r\n\r\nBcc: x\r\n"},
             Case{"bare ends", "A: 1\n\na\rb\nc\r\n\r\nd", "A: 1\r\n\r\na\r\nb\r\nc\r\n\r\nd\r\n"},
             Case{"control characters leave the header", std::string("A: 1\x01\x02\x00\n\nx", 10), "A: 1\r\n\r\nx\r\n"},
             Case{"a header without a body", "A: 1", "A: 1\r\n"},
             Case{"a blind copy without a body", "A: 1\nBcc: x", "A: 1\r\n"},
             Case{"no header", "\nBcc: x", "\r\nBcc: x\r\n"},
             Case{"nothing but blanks", " x", " x\r\n"},
             Case{"nothing", "", ""},
         }) {
        EXPECT_EQ(transmittedForm(c.before), c.after) << c.why;
        EXPECT_EQ(startOf(transmittedForm(byteByByte(c.before)), 1000), c.after) << c.why << ", byte by byte";
    }
}

TEST(UniqueIdentifiers, HaveTheirFormAndDiffer) {
    const std::string a = newUniqueIdentifier(), b = newUniqueIdentifier();
    EXPECT_NE(a, b);
    EXPECT_EQ(a[8], '-');
    EXPECT_EQ(a[14], '4');
    EXPECT_TRUE(newMessageID("broken\r\n@evil").ends_with("@localhost"));
}

}  // namespace
}  // namespace qs
