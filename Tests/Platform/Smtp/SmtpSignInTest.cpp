// How a connection to an outgoing server begins: encryption, passwords and tokens, and nothing told to a stranger.
#include "Smtp/PasswordCommand.h"
#include "SmtpTransportTest.h"
#include "Support/ScriptedServer.h"

namespace qs {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using Kind = SmtpOutcome::Kind;

using SmtpSignIn = SmtpTransport;

TEST_F(SmtpSignIn, ProvesItselfAndTheServerOverBothKindsOfTls) {
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

TEST_F(SmtpSignIn, SignsInWithAnAccessToken) {
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

TEST_F(SmtpSignIn, TellsWhatIsWrongWithAnAccount) {
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

TEST_F(SmtpSignIn, TellsNothingToAServerThatCannotProveWhoItIs) {
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

TEST_F(SmtpSignIn, TellsNothingWithoutTheEncryptionThatWasAskedFor) {
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
TEST_F(SmtpSignIn, ForgetsWhatWasSaidBeforeTheHandshake) {
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

TEST_F(SmtpSignIn, AWrongPasswordWaitsForThePersonATemporaryTroubleDoesNot) {
    for (const auto& [reply, kind] :
         {std::pair{"535 5.7.8 wrong", Kind::Refused}, {"454 4.7.0 later", Kind::Temporary}}) {
        RecordingSmtpServer server({.offersAuthentication = true});
        server.add({.stage = SmtpStage::Authentication, .reply = reply});
        const SmtpOutcome outcome = send(withPassword(account(server.port(), TransportSecurity::None)));
        EXPECT_EQ(outcome.kind, kind) << outcome.answer;
        EXPECT_THAT(server.received(), IsEmpty());
    }
}

TEST_F(SmtpSignIn, AsksThePasswordCommand) {
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
