#include "Smtp/SmtpTransport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

#include "Foundation/RunLoop.h"
#include "Smtp/PasswordCommand.h"
#include "Support/LogCapture.h"
#include "Support/RecordingSmtpServer.h"
#include "Support/ScriptedServer.h"
#include "Support/TemporaryFolder.h"
#include "Support/TestIdentity.h"

namespace qs {
namespace {

using ::testing::AllOf;
using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using Kind = SmtpOutcome::Kind;

constexpr const char* kPassword = "correct-horse-battery";

class SmtpTransport : public ::testing::Test {
protected:
    SubmissionServer account(int port, TransportSecurity security) {
        SubmissionServer server;
        server.host = "127.0.0.1";
        server.port = port;
        server.security = security;
        server.certificateAuthorities = authority_.write(folder_ / "authority.pem").string();
        return server;
    }

    SubmissionServer withPassword(SubmissionServer server) {
        server.user = "sam";
        server.passwordCommand = {"printf", "%s\\nsecond line\\n", kPassword};
        return server;
    }

    SmtpOutcome send(const SubmissionServer& server, SizedSource content = {"Subject: s\r\n\r\nx\r\n"}) {
        return sendOverSmtp(server, {"sam@example.org", {"a@x.example", "b@x.example"}, std::move(content)},
                            {.beforeFinalDot =
                                 [this](const auto& refused) {
                                     ++dots_;
                                     refused_ = refused;
                                     return canNote_;
                                 },
                             .isCancelled = [this] { return cancelled_; }});
    }

    // Nothing that a stranger should not have: neither password nor mail.
    static void expectNothingTold(const RecordingSmtpServer& server) {
        EXPECT_THAT(server.received(), IsEmpty());
        for (const std::string& command : server.commands())
            EXPECT_THAT(command, Not(AnyOf(HasSubstr("AUTH"), HasSubstr("MAIL"), HasSubstr("DATA"))));
    }

    std::unique_ptr<RunLoop> loop_ = RunLoop::make(RunLoop::Clock::Virtual);
    LogCapture log_;
    TemporaryFolder folder_;
    TestAuthority authority_;
    int dots_ = 0;
    bool canNote_ = true, cancelled_ = false;
    SmtpRefusals refused_;
};

TEST_F(SmtpTransport, ProvesItselfAndTheServerOverBothKindsOfTls) {
    for (const auto security : {TransportSecurity::StartTls, TransportSecurity::Tls}) {
        const bool isTls = security == TransportSecurity::Tls;
        RecordingSmtpServer server(
            {.identity = authority_.issue(), .offersStartTls = !isTls, .isTls = isTls, .offersAuthentication = true});
        const SmtpOutcome outcome = send(withPassword(account(server.port(), security)));
        EXPECT_EQ(outcome.kind, Kind::Accepted) << outcome.answer;
        ASSERT_EQ(server.received().size(), 1u);
        EXPECT_TRUE(server.received()[0].isEncrypted);
        EXPECT_EQ(server.received()[0].user, "sam");
        EXPECT_EQ(server.received()[0].password, kPassword);
        EXPECT_THAT(server.violations(), IsEmpty());
    }
    logWarning(std::string("the log masks ") + kPassword);
    EXPECT_FALSE(log_.contains(kPassword));
}

TEST_F(SmtpTransport, SignsInWithAnAccessToken) {
    RecordingSmtpServer server({.identity = authority_.issue(), .offersStartTls = true, .offersAuthentication = true});
    SubmissionServer signing = account(server.port(), TransportSecurity::StartTls);
    signing.user = "sam@example.org";
    signing.authentication = ServerAuthentication::XOAuth2;
    int asked = 0;
    signing.secret = [&] { return ++asked, Result<std::string>("ya29.token"); };
    const SmtpOutcome outcome = send(signing);
    EXPECT_EQ(outcome.kind, Kind::Accepted) << outcome.answer;
    ASSERT_EQ(server.received().size(), 1u);
    EXPECT_EQ(server.received()[0].user, "sam@example.org");
    EXPECT_EQ(server.received()[0].password, "ya29.token");
    EXPECT_EQ(asked, 1);
    EXPECT_THAT(server.violations(), IsEmpty());

    signing.secret = [] { return Result<std::string>(failure("test", 1, "The keyring is locked.")); };
    const SmtpOutcome locked = send(signing);
    EXPECT_EQ(locked.kind, Kind::Temporary) << "the message waits for the keyring";
    EXPECT_EQ(locked.answer, "The keyring is locked.");
}

TEST_F(SmtpTransport, SendsToAddressesInAllAlphabetsWhereTheServerTakesThem) {
    const std::string content = "To: jörg@x.example\r\nSubject: s\r\n\r\nx\r\n";
    for (const bool offersUtf8 : {true, false}) {
        const SmtpEnvelope envelope{"sam@example.org", {"jörg@x.example", "b@x.example"}, SizedSource(content)};
        RecordingSmtpServer server({.offersUtf8 = offersUtf8});
        const SmtpOutcome outcome = sendOverSmtp(account(server.port(), TransportSecurity::None), envelope,
                                                 {.beforeFinalDot = [](const auto&) { return true; }});
        if (offersUtf8) {
            EXPECT_EQ(outcome.kind, Kind::Accepted) << outcome.answer;
            EXPECT_THAT(server.commands(), ::testing::Contains(AllOf(HasSubstr("MAIL FROM:"), HasSubstr("SMTPUTF8"))));
            ASSERT_EQ(server.received().size(), 1u);
            EXPECT_EQ(server.received()[0].to, envelope.to);
        } else {
            EXPECT_EQ(outcome.kind, Kind::Refused) << "nothing half, and no second attempt";
            EXPECT_THAT(outcome.answer, HasSubstr("before the “@”"));
            EXPECT_THAT(server.received(), IsEmpty());
        }
    }
}

TEST_F(SmtpTransport, TellsWhatIsWrongWithAnAccount) {
    const TestAuthority stranger;
    RecordingSmtpServer good({.identity = authority_.issue(), .offersStartTls = true, .offersAuthentication = true}),
        refusing({.identity = authority_.issue(), .offersStartTls = true, .offersAuthentication = true}),
        strange({.identity = stranger.issue(), .offersStartTls = true, .offersAuthentication = true}),
        open({.offersAuthentication = true});
    refusing.add({.stage = SmtpStage::Authentication, .reply = "535 5.7.8 wrong"});
    int closed = 0;
    {
        const RecordingSmtpServer gone;
        closed = gone.port();
    }
    struct Case {
        const char* why;
        int port;
        std::optional<SmtpFailure> failure;
    };
    for (const Case& c :
         {Case{"all is well", good.port(), {}}, Case{"wrong password", refusing.port(), SmtpFailure::SignInRefused},
          Case{"a stranger's certificate", strange.port(), SmtpFailure::NotTrusted},
          Case{"no STARTTLS", open.port(), SmtpFailure::NoTls},
          Case{"nobody there", closed, SmtpFailure::NotReachable}}) {
        const auto checked = checkSmtp(withPassword(account(c.port, TransportSecurity::StartTls)), {.seconds = 10});
        ASSERT_EQ(checked.has_value(), !c.failure) << c.why;
        if (!checked) {
            EXPECT_EQ(static_cast<SmtpFailure>(checked.error().code), *c.failure) << c.why;
        }
    }
    EXPECT_THAT(good.received(), IsEmpty());
    EXPECT_THAT(good.violations(), IsEmpty());
    expectNothingTold(strange);
    expectNothingTold(open);
}

TEST_F(SmtpTransport, TellsNothingToAServerThatCannotProveWhoItIs) {
    const TestAuthority stranger;
    struct Case {
        const char* why;
        TestIdentity identity;
    };
    for (const Case& c : {Case{"expired", authority_.issue({.isExpired = true})},
                          Case{"another name", authority_.issue({.name = "mail.example.org"})},
                          Case{"another address", authority_.issue({.name = "127.0.0.2"})},
                          Case{"an unknown authority", stranger.issue()}}) {
        for (const auto security : {TransportSecurity::StartTls, TransportSecurity::Tls}) {
            SCOPED_TRACE(c.why);
            const bool isTls = security == TransportSecurity::Tls;
            RecordingSmtpServer server(
                {.identity = c.identity, .offersStartTls = !isTls, .isTls = isTls, .offersAuthentication = true});
            const SmtpOutcome outcome = send(withPassword(account(server.port(), security)));
            EXPECT_EQ(outcome.kind, Kind::Temporary);
            EXPECT_THAT(outcome.answer, HasSubstr("could not prove who it is"));
            expectNothingTold(server);
        }
    }
    EXPECT_EQ(dots_, 0);
}

TEST_F(SmtpTransport, TellsNothingWithoutTheEncryptionThatWasAskedFor) {
    RecordingSmtpServer plain({.offersAuthentication = true});
    const SmtpOutcome outcome = send(withPassword(account(plain.port(), TransportSecurity::StartTls)));
    EXPECT_EQ(outcome.kind, Kind::Temporary);
    EXPECT_THAT(outcome.answer, HasSubstr("offers no encrypted connection"));
    expectNothingTold(plain);

    RecordingSmtpServer refusing(
        {.identity = authority_.issue(), .offersStartTls = true, .offersAuthentication = true});
    refusing.add({.stage = SmtpStage::StartTls, .reply = "454 4.7.0 not now"});
    EXPECT_EQ(send(withPassword(account(refusing.port(), TransportSecurity::StartTls))).kind, Kind::Temporary);
    expectNothingTold(refusing);

    for (const auto security : {TransportSecurity::StartTls, TransportSecurity::Tls}) {
        const bool isTls = security == TransportSecurity::Tls;
        RecordingSmtpServer old({.identity = authority_.issue({.speaksOldTlsOnly = true}),
                                 .offersStartTls = !isTls,
                                 .isTls = isTls,
                                 .offersAuthentication = true});
        EXPECT_EQ(send(withPassword(account(old.port(), security))).kind, Kind::Temporary);
        EXPECT_EQ(old.connections(), 1);
        expectNothingTold(old);
    }

    SubmissionServer open = withPassword(account(25, TransportSecurity::None));
    open.host = "mail.example.invalid";
    EXPECT_THAT(send(open).answer, HasSubstr("would send its password over an open connection"));
}

// What somebody slipped in before the handshake must not count as said by the server.
TEST_F(SmtpTransport, ForgetsWhatWasSaidBeforeTheHandshake) {
    ScriptedServer server;
    server.script()
        .say("220 hello")
        .expect("EHLO")
        .say("250-x\r\n250 STARTTLS")
        .expect("STARTTLS")
        .sayBytes("220 go\r\n250 AUTH PLAIN\r\n235 welcome\r\n")
        .stall();
    const SmtpOutcome outcome = send(withPassword(account(server.port(), TransportSecurity::StartTls)));
    EXPECT_EQ(outcome.kind, Kind::Temporary);
    for (const std::string& line : server.heard())
        EXPECT_THAT(line, Not(HasSubstr("AUTH")));
    EXPECT_EQ(dots_, 0);
}

TEST_F(SmtpTransport, AWrongPasswordWaitsForThePersonATemporaryTroubleDoesNot) {
    for (const auto& [reply, kind] :
         {std::pair{"535 5.7.8 wrong", Kind::Refused}, {"454 4.7.0 later", Kind::Temporary}}) {
        RecordingSmtpServer server({.offersAuthentication = true});
        server.add({.stage = SmtpStage::Authentication, .reply = reply});
        const SmtpOutcome outcome = send(withPassword(account(server.port(), TransportSecurity::None)));
        EXPECT_EQ(outcome.kind, kind) << outcome.answer;
        EXPECT_THAT(server.received(), IsEmpty());
    }
}

TEST_F(SmtpTransport, NotesTheEndBeforeItLeaves) {
    RecordingSmtpServer server;
    canNote_ = false;
    const SmtpOutcome outcome = send(account(server.port(), TransportSecurity::None));
    EXPECT_EQ(outcome.kind, Kind::Temporary);
    EXPECT_THAT(outcome.answer, HasSubstr("could not be noted"));
    EXPECT_EQ(dots_, 1);
    EXPECT_THAT(server.received(), IsEmpty());

    canNote_ = true;
    server.add({.stage = SmtpStage::Recipient, .match = "b@x", .reply = "550 5.1.1 nobody"});
    EXPECT_EQ(send(account(server.port(), TransportSecurity::None)).kind, Kind::Accepted);
    EXPECT_EQ(refused_.forGood["b@x.example"], "The server does not take mail for b@x.example: 550 5.1.1 nobody.");
    EXPECT_EQ(server.received().size(), 1u);
}

// A message that is made while it is read, in lines that begin with a dot now and then.
SizedSource madeMessage(std::uint64_t size, std::size_t& largest) {
    const auto made = [size, place = std::uint64_t{0}, &largest](char* buffer, std::size_t room) mutable {
        constexpr std::string_view kLine = ".Lorem ipsum dolor sit amet, consectetur adipiscing elit, sed do\r\n";
        const auto length = static_cast<std::size_t>(std::min<std::uint64_t>(room, size - place));
        for (std::size_t i = 0; i < length; ++i, ++place)
            buffer[i] = place + 2 >= size ? "\r\n"[place + 2 - size] : kLine[place % kLine.size()];
        largest = std::max(largest, length);
        return Result<std::size_t>(length);
    };
    return {size, made};
}

TEST_F(SmtpTransport, SendsInPiecesWhatIsLarge) {
    constexpr std::uint64_t kSize = 40'000'000;
    RecordingSmtpServer server;
    std::size_t largest = 0, unused = 0;
    const SmtpOutcome outcome = send(account(server.port(), TransportSecurity::None), madeMessage(kSize, largest));
    EXPECT_EQ(outcome.kind, Kind::Accepted) << outcome.answer;
    EXPECT_LE(largest, 1u << 20) << "that much is held at once";
    ASSERT_EQ(server.received().size(), 1u);
    EXPECT_TRUE(server.received()[0].content == startOf(madeMessage(kSize, unused).read, kSize).value());
    EXPECT_THAT(server.commands(), ::testing::Contains(HasSubstr("SIZE=40000000")));
    EXPECT_THAT(server.violations(), IsEmpty());
}

TEST_F(SmtpTransport, AMessageBeyondTheServersLimitIsRefusedWithTheReason) {
    // Whether the server says no itself, or would wait for all of it.
    for (const char* reply : {"552 5.3.4 too big", "250 ok"}) {
        RecordingSmtpServer server;
        server.add({.stage = SmtpStage::Hello, .reply = "250-test.example\r\n250 SIZE 2500000"});
        server.add({.stage = SmtpStage::Sender, .reply = reply});
        std::size_t largest = 0;
        const SmtpOutcome outcome =
            send(account(server.port(), TransportSecurity::None), madeMessage(2'570'000, largest));
        EXPECT_EQ(outcome.kind, Kind::Refused);
        EXPECT_EQ(outcome.answer,
                  "The server 127.0.0.1 takes no messages of more than 2.5 MB, and this one has 2.6 MB, so nothing was "
                  "sent.");
        EXPECT_EQ(dots_, 0);
        EXPECT_THAT(server.received(), IsEmpty());
        server.clearRules();
        EXPECT_EQ(send(account(server.port(), TransportSecurity::None), madeMessage(2'570'000, largest)).kind,
                  Kind::Accepted);
        dots_ = 0;
    }
}

TEST_F(SmtpTransport, AMessageThatBreaksOffWhileItIsReadIsNotSent) {
    for (const bool isFault : {true, false}) {
        RecordingSmtpServer server;
        const std::string start(300'000, 'x');
        const ByteSource rest = [&](char*, std::size_t) -> Result<std::size_t> {
            if (isFault) return failure("test", 1, "The disk reported a fault.");
            return std::size_t{0};
        };
        const SmtpOutcome outcome =
            send(account(server.port(), TransportSecurity::None), {start.size() + 1, sourceOf(start, rest)});
        EXPECT_EQ(outcome.kind, Kind::Temporary);
        EXPECT_EQ(outcome.answer, std::string("The message can't be read, so nothing was sent: ") +
                                      (isFault ? "The disk reported a fault." : "It ends too early."));
        EXPECT_EQ(dots_, 0);
        EXPECT_THAT(server.received(), IsEmpty());
    }
}

TEST_F(SmtpTransport, CanBeBrokenOff) {
    RecordingSmtpServer server;
    server.add({.stage = SmtpStage::Sender, .stalls = true});
    cancelled_ = true;
    EXPECT_EQ(send(account(server.port(), TransportSecurity::None)).kind, Kind::Temporary);
    EXPECT_THAT(server.received(), IsEmpty());
}

TEST_F(SmtpTransport, OnlyAWholeAnswerEndsTheDoubt) {
    struct Case {
        const char* why;
        const char* afterDot;
        Kind kind;
    };
    for (const Case& c :
         {Case{"silence", "", Kind::InDoubt}, Case{"half a code", "25", Kind::InDoubt},
          Case{"half a line", "250 2.0", Kind::InDoubt}, Case{"half an answer", "250-first\r\n", Kind::InDoubt},
          Case{"half a refusal", "554-first\r\n", Kind::InDoubt}, Case{"rubbish", "hello?\r\n", Kind::InDoubt},
          Case{"yes", "250 ok\r\n", Kind::Accepted}, Case{"yes in two lines", "250-a\r\n250 b\r\n", Kind::Accepted},
          Case{"no", "554 no\r\n", Kind::Refused}, Case{"not now", "451 no\r\n", Kind::Temporary},
          Case{"something else", "354 go on\r\n", Kind::InDoubt}}) {
        ScriptedServer server;
        server.script()
            .say("220 hello")
            .expect("EHLO")
            .say("250 x")
            .expect("MAIL")
            .say("250 ok")
            .expect("RCPT")
            .say("250 ok")
            .expect("RCPT")
            .say("250 ok")
            .expect("DATA")
            .say("354 go")
            .expectUntil(".")
            .sayBytes(c.afterDot)
            .hangUp();
        const SmtpOutcome outcome = send(account(server.port(), TransportSecurity::None));
        EXPECT_EQ(outcome.kind, c.kind) << c.why << ": " << outcome.answer;
        EXPECT_THAT(server.complaints(), IsEmpty()) << c.why;
    }
}

TEST_F(SmtpTransport, OddServersAreAFailureNotACrash) {
    for (const std::string& greeting :
         {std::string("220"), std::string("\r\n\r\n"), std::string(200'000, 'x') + "\r\n",
          std::string("\0\xFF\x01\r\n", 5), std::string("220 hello\r\n220 hello again\r\n"),
          "220-" + std::string(100'000, 'y') + "\r\n"}) {
        ScriptedServer server;
        server.script().sayBytes(greeting).hangUp();
        const SmtpOutcome outcome = send(account(server.port(), TransportSecurity::None));
        EXPECT_EQ(outcome.kind, Kind::Temporary) << greeting.substr(0, 20);
        EXPECT_LT(outcome.answer.size(), 1000u);
        EXPECT_EQ(dots_, 0);
    }
}

TEST_F(SmtpTransport, NamesAddressesThatAreNone) {
    RecordingSmtpServer server;
    const auto sendTo = [&](const std::string& from, std::vector<std::string> to) {
        return sendOverSmtp(account(server.port(), TransportSecurity::None),
                            {from, std::move(to), SizedSource("A: b\r\n\r\n")},
                            {.beforeFinalDot = [](const auto&) { return true; }, .isCancelled = {}});
    };
    EXPECT_EQ(sendTo("x\r\nRSET", {"a@x.example"}).kind, Kind::Refused);
    EXPECT_EQ(sendTo("a@x.example", {"b\r\nRSET@x.example", ""}).kind, Kind::Refused);
    const SmtpOutcome outcome = sendTo("a@x.example", {"b c@x.example", "d@x.example"});
    EXPECT_EQ(outcome.kind, Kind::Accepted);
    EXPECT_EQ(outcome.refused.forGood.size(), 1u);
    EXPECT_THAT(server.received().front().to, ElementsAre("d@x.example"));
    EXPECT_THAT(server.violations(), IsEmpty());
}

TEST_F(SmtpTransport, AsksThePasswordCommand) {
    struct Case {
        const char* why;
        std::vector<std::string> command;
        const char* password;  // null: an error
    };
    for (const Case& c : {Case{"the first line counts", {"printf", "secret-1\\nmore\\n"}, "secret-1"},
                          Case{"line ends of all kinds", {"printf", "secret-2\\r\\n"}, "secret-2"},
                          Case{"no command", {}, ""}, Case{"no shell", {"echo", "$HOME;`id`"}, "$HOME;`id`"},
                          Case{"no such program", {"/no/such/program"}, nullptr},
                          Case{"a failure", {"sh", "-c", "echo half; exit 3"}, nullptr},
                          Case{"it reads nothing of ours", {"sh", "-c", "read x && exit 4; echo secret-3"}, "secret-3"},
                          Case{"endless output", {"sh", "-c", "while :; do echo 0123456789; done"}, nullptr}}) {
        const auto password = runPasswordCommand(c.command);
        EXPECT_EQ(password.has_value(), c.password != nullptr) << c.why;
        if (password && c.password) {
            EXPECT_EQ(*password, c.password) << c.why;
        }
    }
    RecordingSmtpServer server({.offersAuthentication = true});
    SubmissionServer failing = account(server.port(), TransportSecurity::None);
    failing.user = "sam";
    failing.passwordCommand = {"false"};
    EXPECT_EQ(send(failing).kind, Kind::Temporary);
    EXPECT_EQ(server.connections(), 0);
}

}  // namespace
}  // namespace qs
