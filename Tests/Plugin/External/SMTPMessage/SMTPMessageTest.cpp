// The sender of one mail against a server that is strict about the protocol: what arrives, who is refused, what is left
// behind.
#include "SMTPMessage/SMTPMessage.h"

#include <gmock/gmock.h>

#include "Foundation/Assertion.h"
#include "Foundation/FileSystem.h"
#include "Mail/MessageHeaders.h"
#include "Mime/MimeMessage.h"
#include "Platform.h"
#include "Support/PostfixServer.h"
#include "Support/RecordingSmtpServer.h"
#include "Support/TemporaryFolder.h"
#include "Support/TestMachine.h"
#include "Support/VirtualClockTest.h"
#include "Text/Base64.h"

namespace qs {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

class SMTPMessageTest : public VirtualClockTest {
protected:
    SMTPMessageTest() { Platform::current().processInfo = std::make_shared<TestMachine>(folder_.path()); }
    ~SMTPMessageTest() override { Platform::current().processInfo.reset(); }

    RecordingSmtpServer::Options withTls() const {
        return {.identity = authority_.issue(), .isTls = true, .offersAuthentication = true};
    }
    std::shared_ptr<SMTPMessage> message(const RecordingSmtpServer& server) const {
        auto made = std::make_shared<SMTPMessage>();
        made->host = "127.0.0.1";
        made->port = std::to_string(server.port());
        made->account = "ada@example.org";
        made->pwd = "sail away";
        made->certificateAuthorities = certificates_;
        made->from = "ada@example.org";
        made->to = "leave@news.example";
        made->content = "Let me go";
        return made;
    }
    // The outcome: 0, or the error's code.
    int outcomeOf(const std::shared_ptr<SMTPMessage>& message) {
        int outcome = -1;
        message->send(
            nullptr, [&](SMTPMessage&) { outcome = 0; },
            [&](SMTPMessage&, const Error& error) {
                outcome = error.code;
                error_ = error;
            });
        loop_->runUntilIdle();
        return outcome;
    }
    std::string textOf(SMTPMessage& message) { return *FileSystem::real().read(message.buildMIME()); }
    bool hasLeftFile() const { return std::filesystem::exists(folder_ / "Caches/smtpdata"); }

    TestAuthority authority_;
    TemporaryFolder folder_;
    std::filesystem::path certificates_ = authority_.write(folder_ / "authority.pem");
    Error error_;
};

std::vector<std::string> signIns(const RecordingSmtpServer& server) {
    std::vector<std::string> found;
    for (const std::string& command : server.commands())
        if (command.starts_with("AUTH")) found.push_back(command);
    return found;
}

TEST_F(SMTPMessageTest, ArrivesWithAllItsRecipients) {
    const RecordingSmtpServer server(withTls());
    const auto mail = message(server);
    mail->subject = "leave käse";
    mail->ccs = {"copy@news.example", "second@news.example"};
    mail->bccs = {"blind@news.example"};
    EXPECT_EQ(outcomeOf(mail), 0);
    ASSERT_THAT(server.received(), SizeIs(1));
    const ReceivedMail received = server.received()[0];
    EXPECT_EQ(received.from, "ada@example.org");
    EXPECT_THAT(received.to,
                ElementsAre("leave@news.example", "copy@news.example", "second@news.example", "blind@news.example"));
    EXPECT_EQ(received.user, "ada@example.org");
    EXPECT_EQ(received.password, "sail away");
    EXPECT_TRUE(received.isEncrypted);
    EXPECT_THAT(server.violations(), IsEmpty());
    const std::size_t date = received.content.find("\r\n") + 2;
    EXPECT_THAT(received.content, StartsWith("Date: Tuesday, November 14, 2023"));
    EXPECT_EQ(received.content.substr(date), "From: <ada@example.org>\r\n"
                                             "To: <leave@news.example>\r\n"
                                             "Cc: <copy@news.example>, <second@news.example>\r\n"
                                             "Bcc: <blind@news.example>\r\n"
                                             "Mime-Version: 1.0\r\n"
                                             "Content-Type: text/html;\r\n"
                                             "\tcharset=\"utf-8\"\r\n"
                                             "Content-Transfer-Encoding: base64\r\n"
                                             "Message-ID: <SMTPMessage_1700000000>\r\n"
                                             "Subject: leave käse\r\n"
                                             "\r\n"
                                             "TGV0IG1lIGdv\r\n");
    EXPECT_FALSE(hasLeftFile());
}

TEST_F(SMTPMessageTest, ATextWithoutSubjectAndCopiesSaysSo) {
    SMTPMessage mail;
    const std::string text = textOf(mail);
    EXPECT_THAT(text, HasSubstr("\r\nSubject: (null)\r\n\r\n"));
    EXPECT_THAT(text, Not(HasSubstr("Cc:")));
    EXPECT_THAT(text, Not(HasSubstr("Bcc:")));
    EXPECT_EQ(std::filesystem::status(folder_ / "Caches/smtpdata").permissions(), std::filesystem::perms(0600));
}

TEST_F(SMTPMessageTest, AttachmentsFollowTheText) {
    SMTPMessage mail;
    mail.contentType = "text/plain";
    mail.content = std::string(60, 'x');
    mail.attachments = {{"Plan \"A\".txt", folder_.write("plan", "one\ntwo\n")}, {"gone.txt", folder_ / "gone"}};
    const std::string text = textOf(mail);
    const std::string boundary = "----=_NextPart_1700000000";
    EXPECT_THAT(text, HasSubstr("Mime-Version: 1.0\r\n"
                                "Content-Type: multipart/mixed;\r\n"
                                "\tboundary=\"" +
                                boundary +
                                "\"\r\n"
                                "Content-Transfer-Encoding: 8Bit\r\n"
                                "Message-ID: "));
    EXPECT_EQ(text.substr(text.find("\r\n\r\n") + 4), "This is a multi-part message in MIME format.\r\n\r\n--" +
                                                          boundary +
                                                          "\r\n"
                                                          "Content-Type: text/plain;\r\n"
                                                          "\tcharset=\"utf-8\"\r\n"
                                                          "Content-Transfer-Encoding: base64\r\n"
                                                          "\r\n"
                                                          "eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4"
                                                          "eHh4eHh4eHh4\r\n"
                                                          "eHh4eHh4eHh4eHh4\r\n"
                                                          "\r\n"
                                                          "--" +
                                                          boundary +
                                                          "\r\n"
                                                          "Content-Type: application/octet-stream;\r\n"
                                                          "\tcharset=\"utf-8\"\r\n"
                                                          "\tname=\"Plan 'A'.txt\"\r\n"
                                                          "Content-Disposition: attachment; "
                                                          "filename=\"Plan 'A'.txt\"\r\n"
                                                          "Content-Transfer-Encoding: base64\r\n"
                                                          "\r\n"
                                                          "b25lCnR3bwo=\r\n"
                                                          "\r\n"
                                                          "--" +
                                                          boundary + "--\r\n");
}

TEST_F(SMTPMessageTest, NothingFromOutsideBecomesAHeaderOrACommand) {
    const RecordingSmtpServer server(withTls());
    const auto mail = message(server);
    mail->to = "leave@news.example>\r\nRCPT TO:<eve@example.com";
    mail->subject = "x\r\nBcc: eve@example.com\r\n\r\nHello";
    mail->contentType = "text/plain\nX-More: 1";
    (void)outcomeOf(mail);
    for (const ReceivedMail& received : server.received()) {
        EXPECT_THAT(received.to, Not(testing::Contains("eve@example.com")));
        EXPECT_THAT(received.content, Not(HasSubstr("\r\nBcc:")));
        EXPECT_THAT(received.content, Not(HasSubstr("X-More: 1\r\n\t")));
    }
    EXPECT_THAT(server.violations(), IsEmpty());
    EXPECT_THAT(server.commands(), Not(testing::Contains("RCPT TO:<eve@example.com>")));
}

TEST_F(SMTPMessageTest, ThePasswordGoesToAProvenServerOnly) {
    const TestAuthority stranger;
    struct Case {
        const char* why;
        RecordingSmtpServer::Options options;
        bool ssl;
        int code;  // libcurl's
    };
    const auto tls = [&](TestIdentity identity) {
        return RecordingSmtpServer::Options{
            .identity = std::move(identity), .isTls = true, .offersAuthentication = true};
    };
    auto swapped = tls(authority_.issue());
    swapped.laterIdentity = authority_.issue({.name = "other.example"});
    for (const Case& c : {
             Case{"of another name", tls(authority_.issue({.name = "other.example"})), true, 60},
             Case{"expired", tls(authority_.issue({.isExpired = true})), true, 60},
             Case{"of an authority that nobody trusts", tls(stranger.issue()), true, 60},
             Case{"another one by the second connection", swapped, true, 90},
             Case{"no TLS at all", {.offersAuthentication = true}, false, 64},
         }) {
        const RecordingSmtpServer server(c.options);
        const auto mail = message(server);
        mail->ssl = c.ssl;
        EXPECT_EQ(outcomeOf(mail), c.code) << c.why;
        EXPECT_THAT(server.received(), IsEmpty()) << c.why;
        EXPECT_THAT(signIns(server), IsEmpty()) << c.why;
        EXPECT_FALSE(hasLeftFile()) << c.why;
    }
    EXPECT_EQ(error_.domain, SMTPMessageErrorDomain);
    EXPECT_NE(error_.userInfo["msg"].stringValue(), "");
    EXPECT_TRUE(log_.contains("SMTPMessage send error:" + error_.userInfo["msg"].stringValue()));
}

TEST_F(SMTPMessageTest, AnOpenConnectionTurnsToTlsUnlessTheServerIsThisMachines) {
    const RecordingSmtpServer turning(
        {.identity = authority_.issue(), .offersStartTls = true, .offersAuthentication = true});
    const auto mail = message(turning);
    mail->ssl = false;
    EXPECT_EQ(outcomeOf(mail), 0);
    ASSERT_THAT(turning.received(), SizeIs(1));
    EXPECT_TRUE(turning.received()[0].isEncrypted);

    const RecordingSmtpServer open({.offersAuthentication = true});
    const auto openMail = message(open);
    openMail->ssl = false;
    openMail->allowsOpenConnection = true;
    EXPECT_EQ(outcomeOf(openMail), 0);
    EXPECT_THAT(open.received(), SizeIs(1));
}

TEST_F(SMTPMessageTest, ARefusalIsAFailureAndIsNotTriedAgain) {
    struct Case {
        SmtpRule rule;
        const char* response;
    };
    for (const Case& c :
         {Case{{.stage = SmtpStage::Authentication, .reply = "535 5.7.8 Error: who are you"},
               "535 5.7.8 Error: who are you\r\n"},
          Case{{.stage = SmtpStage::Recipient, .reply = "550 5.1.1 nobody"}, ""},
          Case{{.stage = SmtpStage::FinalDot, .reply = "554 Error: unwanted"}, "554 Error: unwanted\r\n"},
          Case{{.stage = SmtpStage::FinalDot, .hangsUp = true}, ""}}) {
        RecordingSmtpServer server(withTls());
        server.add(c.rule);
        const auto mail = message(server);
        EXPECT_GT(outcomeOf(mail), 0) << c.rule.reply;
        EXPECT_EQ(mail->response, c.response);
        EXPECT_THAT(server.received(), IsEmpty());
        EXPECT_EQ(server.connections(), 2) << "one to look at it, one to send";
        EXPECT_FALSE(hasLeftFile());
    }
}

TEST_F(SMTPMessageTest, SeveralAtOnceLeaveOneAfterTheOther) {
    const RecordingSmtpServer server(withTls());
    std::vector<std::shared_ptr<SMTPMessage>> mails;
    std::atomic<int> sent = 0;
    for (const char* content : {"one", "two", "three", "four"}) {
        mails.push_back(message(server));
        mails.back()->content = content;
        mails.back()->send(
            nullptr, [&](SMTPMessage&) { ++sent; }, nullptr);
    }
    loop_->runUntilIdle();
    EXPECT_EQ(sent, 4);
    std::vector<std::string> contents;
    for (const ReceivedMail& received : server.received())
        contents.push_back(
            dataFromBase64String(received.content.substr(received.content.find("\r\n\r\n"))).value_or(""));
    EXPECT_THAT(contents, testing::UnorderedElementsAre("one", "two", "three", "four"));
}

TEST_F(SMTPMessageTest, WithoutServerDataItIsAFaultOfTheProgram) {
    const auto complaintWithout = [](auto clear) {
        SMTPMessage mail;
        mail.account = "ada";
        mail.pwd = "secret";
        clear(mail);
        try {
            (void)mail.send();
        } catch (const AssertionFailure& fault) {
            return std::string(fault.what());
        }
        return std::string();
    };
    EXPECT_EQ(complaintWithout([](SMTPMessage& mail) { mail.host.clear(); }), "host is nil");
    EXPECT_EQ(complaintWithout([](SMTPMessage& mail) { mail.account.clear(); }), "accout is nil");
    EXPECT_EQ(complaintWithout([](SMTPMessage& mail) { mail.pwd.clear(); }), "password is nil");
}

TEST_F(SMTPMessageTest, AFileThatCannotBeWrittenIsAFailure) {
    const RecordingSmtpServer server(withTls());
    folder_.write("Caches", "a file where the folder should be");
    EXPECT_GT(outcomeOf(message(server)), 0);
    EXPECT_THAT(server.received(), IsEmpty());
}

TEST_F(SMTPMessageTest, ARealServerTakesCopiesAndAttachmentsAndOthersCanReadThem) {
    if (const std::string why = PostfixServer::whyNot(); !why.empty()) GTEST_SKIP() << why;
    const PostfixServer server;
    std::string bytes;
    for (int i = 0; i < 100'000; ++i)
        bytes += static_cast<char>(i * 31 % 256);
    const auto authority = server.authority().write(folder_ / "postfix.pem");
    for (const bool isTlsFromTheFirstByte : {true, false}) {
        const auto mail = std::make_shared<SMTPMessage>();
        mail->host = "127.0.0.1";
        mail->ssl = isTlsFromTheFirstByte;
        mail->port = std::to_string(isTlsFromTheFirstByte ? server.tlsPort() : server.port());
        mail->account = "ada";
        mail->pwd = "analytical";
        mail->certificateAuthorities = authority;
        mail->from = "ada@x.example";
        mail->to = "a@x.example";
        mail->ccs = {"c@x.example"};
        mail->bccs = {"d@x.example", "e@x.example"};
        mail->subject = "Käse";
        mail->content = "<p>Grüße</p>\r\n.\r\n";
        mail->attachments = {{"bytes.bin", folder_.write("bytes", bytes)}, {"none.txt", folder_.write("none", "")}};
        ASSERT_EQ(outcomeOf(mail), 0) << error_.description << server.log();
        EXPECT_FALSE(hasLeftFile());
    }
    for (const char* address : {"a@x.example", "c@x.example", "d@x.example", "e@x.example"}) {
        const auto received = server.received(address);
        ASSERT_THAT(received, SizeIs(2)) << address << server.log();
        for (const std::string& each : received) {
            const auto parsed = MimeMessage::parse(each);
            EXPECT_EQ(parsed->damage(), "");
            EXPECT_EQ(parsed->headers()->firstHeaderForKey("Subject"), "Käse");
            EXPECT_EQ(parsed->headers()->firstHeaderForKey("Cc"), "<c@x.example>");
            EXPECT_THAT(parsed->htmlBody().value_or(""), HasSubstr("<p>Grüße</p>"));
            const auto files = parsed->attachments();
            ASSERT_THAT(files, SizeIs(2));
            EXPECT_EQ(files[0].fileName, "bytes.bin");
            EXPECT_EQ(parsed->partContent(files[0].part), bytes);
            EXPECT_EQ(parsed->partContent(files[1].part), "");
        }
    }
}

}  // namespace
}  // namespace qs
