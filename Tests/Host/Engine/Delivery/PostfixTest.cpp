// Deliveries to a real mail server.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "DeliveryFixture.h"
#include "Support/PostfixServer.h"

namespace qs {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using State = DeliveryStatus::State;

// "sam" signs in over TLS from the first byte, "tom" after STARTTLS.
class Postfix : public DeliveryFixture {
protected:
    void SetUp() override {
        if (const std::string why = PostfixServer::whyNot(); !why.empty()) GTEST_SKIP() << why;
        DeliveryFixture::SetUp();
    }
    void TearDown() override {
        if (!IsSkipped()) DeliveryFixture::TearDown();
    }

    void begin(const PostfixServer::Options& options = {}) {
        postfix_ = std::make_unique<PostfixServer>(options);
        accounts_.push_back(deliveryAccount("tom", &server_));
        for (std::size_t i = accounts_.size() - 2; i < accounts_.size(); ++i) {
            SubmissionServer& server = *accounts_[i].outgoing;
            const bool isTls = accounts_[i].identifier == "sam";
            server.security = isTls ? TransportSecurity::Tls : TransportSecurity::StartTls;
            server.port = isTls ? postfix_->tlsPort() : postfix_->port();
            server.certificateAuthorities = postfix_->authority().write(authority_ / "authority.pem").string();
            server.user = "ada";
            server.passwordCommand = {"printf", "%s", password_};
        }
        openAndStart();
    }

    std::size_t copiesOf(std::string_view address, const std::string& subject) const {
        const auto mail = postfix_->received(address);
        return static_cast<std::size_t>(std::count_if(mail.begin(), mail.end(), [&](const std::string& each) {
            return each.find("\nSubject: " + subject + "\n") != std::string::npos;
        }));
    }

    TemporaryFolder authority_;
    std::unique_ptr<PostfixServer> postfix_;
    std::string password_ = "analytical";
};

TEST_F(Postfix, TakesMailOverBothKindsOfTls) {
    begin();
    const std::string body = ".dot\r\n..\r\n.\r\nGrüße, als 8 bit\r\n" + std::string(900, 'x') + "\r\n";
    for (const char* account : {"sam", "tom"}) {
        send(account, testMail(account, "a@x.example", account,
                               "Cc: c@x.example\r\nBcc: d@x.example\r\nMIME-Version: 1.0\r\n"
                               "Content-Type: text/plain; charset=utf-8\r\nContent-Transfer-Encoding: 8bit\r\n",
                               body));
        EXPECT_EQ(subjects(account, MailboxKind::Sent), account) << postfix_->log();
        for (const char* address : {"a@x.example", "c@x.example", "d@x.example"})
            EXPECT_EQ(copiesOf(address, account), 1u) << address << postfix_->log();
    }
    expectTidy();
    for (const std::string& mail : postfix_->received("a@x.example"))
        EXPECT_THAT(mail, AllOf(HasSubstr("\n\n.dot\n..\n.\nGrüße, als 8 bit\nxxx"), HasSubstr("with ESMTPSA"),
                                Not(HasSubstr("d@x.example"))));
    EXPECT_THAT(postfix_->log(), HasSubstr("sasl_username=ada"));
}

TEST_F(Postfix, AWrongPasswordIsToldAndNothingLeaves) {
    password_ = "mistyped";
    begin();
    send("sam", testMail("sam", "a@x.example", "1"));
    EXPECT_EQ(onlyStatus().state, State::Failed);
    EXPECT_THAT(onlyStatus().lastAnswer, HasSubstr("did not accept user name and password"));
    EXPECT_EQ(copiesOf("a@x.example", "1"), 0u);
}

TEST_F(Postfix, ThoseRefusedGetADraftOfTheirOwnTheOthersTheMessageOnce) {
    begin({.answers = {{"eve@x.example", "550 5.1.1 nobody of that name"}, {"joe@x.example", "550 5.2.1 gone"}}});
    send("sam", testMail("sam", "a@x.example, Eve E <eve@x.example>", "1", "Cc: c@x.example, joe@x.example\r\n"));
    EXPECT_EQ(copiesOf("a@x.example", "1"), 1u);
    EXPECT_EQ(copiesOf("c@x.example", "1"), 1u);
    EXPECT_EQ(subjects("sam", MailboxKind::Sent), "1");
    EXPECT_EQ(subjects("sam", MailboxKind::Outbox), "");
    expectTidy();
    ASSERT_EQ(notices_.size(), 1u);
    EXPECT_THAT(notices_[0], AllOf(HasSubstr("eve@x.example: 550 5.1.1"), HasSubstr("joe@x.example: 550 5.2.1"),
                                   HasSubstr("nobody of that name"), HasSubstr("among the drafts")));

    ASSERT_EQ(subjects("sam", MailboxKind::Drafts), "1");
    std::string draft = content("sam", MailboxKind::Drafts);
    EXPECT_THAT(draft, AllOf(HasSubstr("To: Eve E <eve@x.example>\r\n"), HasSubstr("Cc: joe@x.example\r\n"),
                             Not(HasSubstr("a@x.example")), Not(HasSubstr("<1@example.org>")), HasSubstr("Hello.")));
    // Corrected and sent on.
    draft.replace(draft.find("eve@"), 4, "eva@");
    draft.replace(draft.find("joe@"), 4, "jon@");
    send("sam", draft);
    EXPECT_EQ(copiesOf("eva@x.example", "1"), 1u);
    EXPECT_EQ(copiesOf("jon@x.example", "1"), 1u);
    EXPECT_EQ(copiesOf("a@x.example", "1"), 1u);
}

TEST_F(Postfix, ThoseRefusedForNowAreTriedAgainWithoutTheOthers) {
    begin({.answers = {{"b@x.example", "450 4.2.0 greylisted"}, {"eve@x.example", "550 5.1.1 nobody"}}});
    send("sam", testMail("sam", "a@x.example, b@x.example, eve@x.example", "1"));
    const auto expectWaiting = [&](int attempts) {
        EXPECT_EQ(onlyStatus().state, State::Failed);
        EXPECT_EQ(onlyStatus().attempts, attempts);
        EXPECT_THAT(onlyStatus().lastAnswer, AllOf(HasSubstr("450 4.2.0"), HasSubstr("greylisted")));
        EXPECT_EQ(subjects("sam", MailboxKind::Outbox), "1");
        EXPECT_EQ(subjects("sam", MailboxKind::Sent), "1");
        EXPECT_EQ(subjects("sam", MailboxKind::Drafts), "1");
        EXPECT_EQ(copiesOf("a@x.example", "1"), 1u);
        expectTidy();
    };
    expectWaiting(1);
    EXPECT_EQ(notices_.size(), 2u) << "of the one refused, and of the one that waits";
    // It would leave anew to everybody.
    const auto drafts = engine_->library().mailbox("sam", MailboxKind::Drafts, true);
    EXPECT_FALSE(deliveries().takeBack({messages("sam", MailboxKind::Outbox).front().id}, *drafts));
    restart();
    loop_->advance(31);
    expectWaiting(2);

    postfix_->restart({});
    loop_->advance(61);
    EXPECT_THAT(deliveries().statuses(), IsEmpty());
    EXPECT_EQ(copiesOf("a@x.example", "1"), 1u);
    EXPECT_EQ(copiesOf("b@x.example", "1"), 1u);
    EXPECT_EQ(copiesOf("eve@x.example", "1"), 0u);
    EXPECT_EQ(subjects("sam", MailboxKind::Sent), "1");
    expectTidy();
}

TEST_F(Postfix, AMessageThatNobodyTakesForNowWaitsWithItsAnswer) {
    begin({.answers = {{"a@x.example", "450 4.2.0 greylisted"}, {"b@x.example", "451 4.7.1 come back"}}});
    send("tom", testMail("tom", "a@x.example, b@x.example", "1"));
    EXPECT_EQ(onlyStatus().state, State::Failed);
    EXPECT_EQ(onlyStatus().attempts, 1);
    EXPECT_THAT(onlyStatus().lastAnswer, AllOf(HasSubstr("greylisted"), HasSubstr("come back")));
    EXPECT_EQ(subjects("tom", MailboxKind::Sent), "");
    restart();
    EXPECT_EQ(onlyStatus().attempts, 1);
    postfix_->restart({});
    loop_->advance(31);
    EXPECT_THAT(deliveries().statuses(), IsEmpty());
    EXPECT_EQ(copiesOf("a@x.example", "1"), 1u);
    EXPECT_EQ(copiesOf("b@x.example", "1"), 1u);
}

TEST_F(Postfix, AddressesInAllAlphabetsWhereTheServerTakesThem) {
    for (const bool takes : {true, false}) {
        if (!takes) close();
        if (takes)
            begin();
        else
            postfix_->restart({.takesUtf8 = false}), openAndStart();
        const std::string number = takes ? "1" : "2";
        send("sam", testMail("sam", "jörg@x.example, b@x.example", number));
        EXPECT_EQ(subjects("sam", MailboxKind::Outbox), takes ? "" : "2");
        EXPECT_EQ(copiesOf("jörg@x.example", number), takes ? 1u : 0u) << postfix_->log();
        EXPECT_EQ(copiesOf("b@x.example", number), takes ? 1u : 0u);
    }
    EXPECT_THAT(onlyStatus().lastAnswer, HasSubstr("before the “@”"));
}

TEST_F(Postfix, LargeMessagesLeaveWholeUpToTheServersLimit) {
    begin({.sizeLimit = 80'000'000});
    std::string body;
    for (int line = 0; body.size() < 50'000'000; ++line)
        body += "." + std::to_string(line) + std::string(60, 'y') + "\r\n";
    send("sam", testMail("sam", "a@x.example", "1", "", body));
    EXPECT_EQ(subjects("sam", MailboxKind::Outbox), "") << onlyStatus().lastAnswer;
    const auto received = postfix_->received("a@x.example");
    ASSERT_EQ(received.size(), 1u);
    std::erase(body, '\r');
    EXPECT_TRUE(received[0].ends_with("\n\n" + body + "\n") || received[0].ends_with("\n\n" + body));
    expectTidy();

    postfix_->restart({.sizeLimit = 1'000'000});
    send("sam", testMail("sam", "a@x.example", "2", "", body));
    EXPECT_EQ(onlyStatus().state, State::Failed);
    EXPECT_FALSE(onlyStatus().until) << "it would be refused again";
    EXPECT_THAT(onlyStatus().lastAnswer, HasSubstr("takes no messages of more than 1.0 MB"));
    EXPECT_EQ(subjects("sam", MailboxKind::Outbox), "2");
}

}  // namespace
}  // namespace qs
