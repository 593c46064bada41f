// How a connection to an IMAP server begins: greeting, encryption and signing in, also with servers that do it badly.
#include "ScriptedImap.h"
#include "Support/ScriptedWebServer.h"

namespace qs {
namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Not;
using Script = ScriptedServer::Script;

constexpr const char* kPlain = "AGFkYQBhbmFseXRpY2Fs";  // NUL ada NUL analytical

using ImapSignIn = ScriptedImap;

TEST_F(ImapSignIn, AGreetingTellsWhetherItMakesSenseToGoOn) {
    struct Case {
        const char* greeting;
        ImapFailure failure;
    };
    const Case cases[] = {{"* BYE too busy", ImapFailure::Temporary},
                          {"HTTP/1.1 200 OK", ImapFailure::Malformed},
                          {"* 12 EXISTS", ImapFailure::Malformed},
                          {"+ hello", ImapFailure::Malformed},
                          {"220 smtp.example.org", ImapFailure::Malformed}};
    for (const Case& c : cases)
        server_.script().say(c.greeting);
    for (const Case& c : cases)
        EXPECT_EQ(failureOf(tryToOpen(password())), c.failure) << c.greeting;
}

TEST_F(ImapSignIn, ARefusedSignInIsToldFromAServerThatIsBusy) {
    struct Case {
        const char* answer;
        ImapFailure failure;
    };
    const Case cases[] = {{"a1 NO [AUTHENTICATIONFAILED] Invalid credentials (Failure)", ImapFailure::SignInRefused},
                          {"a1 NO [AUTHENTICATIONFAILED] Invalid login. Please try again.", ImapFailure::SignInRefused},
                          {"a1 NO LOGIN failed.", ImapFailure::SignInRefused},
                          {"a1 BAD what", ImapFailure::SignInRefused},
                          {"a1 NO [UNAVAILABLE] Temporary authentication failure", ImapFailure::Temporary},
                          {"a1 NO [ALERT] Too many simultaneous connections. (Failure)", ImapFailure::Temporary},
                          {"a1 NO [ALERT] Account exceeded command or bandwidth limits.", ImapFailure::Temporary},
                          {"a1 NO [OVERQUOTA] (Failure)", ImapFailure::Temporary},
                          {"a1 BAD Request is throttled. Suggested Backoff Time: 9000", ImapFailure::Temporary},
                          {"* BYE Account exceeded bandwidth limits; go away", ImapFailure::Temporary},
                          {"* BYE go away", ImapFailure::HungUp}};
    for (const Case& c : cases)
        server_.script().say("* OK [CAPABILITY IMAP4rev1] hi").expect("a1 LOGIN").say(c.answer);
    for (const Case& c : cases) {
        const auto done = tryToOpen(password());
        EXPECT_EQ(failureOf(done), c.failure) << c.answer;
        const std::string words = std::string(c.answer).starts_with("* BYE") ? "go away" : "127.0.0.1";
        EXPECT_THAT(sentence(done), HasSubstr(words));
    }
}

TEST_F(ImapSignIn, ChoosesTheWayToSignInThatTheServerOffers) {
    const std::string welcome = " OK [CAPABILITY IMAP4rev1] in";
    server_.script()
        .say("* OK [CAPABILITY AUTH=PLAIN SASL-IR] hi")
        .expect(std::string("a1 AUTHENTICATE PLAIN ") + kPlain)
        .say("a1" + welcome);
    server_.script()
        .say("* OK [CAPABILITY AUTH=PLAIN] hi")
        .expect("a1 AUTHENTICATE PLAIN")
        .say("+")
        .expect(kPlain)
        .say("a1" + welcome);
    server_.script()
        .say("* OK hi")
        .expect("a1 CAPABILITY")
        .say("* CAPABILITY IMAP4rev1")
        .say("a1 OK")
        .expect("a2 LOGIN \"ada\" \"analytical\"")
        .say("a2 OK in")
        .expect("a3 CAPABILITY")
        .say("* CAPABILITY IMAP4rev1 IDLE")
        .say("a3 OK");
    server_.script().say("* PREAUTH [CAPABILITY IMAP4rev1] welcome");
    for (int i = 0; i < 4; ++i)
        EXPECT_TRUE(tryToOpen(password())) << i;

    server_.script().say("* OK [CAPABILITY LOGINDISABLED STARTTLS] hi");
    EXPECT_EQ(failureOf(tryToOpen(password())), ImapFailure::SignInRefused);
}

TEST_F(ImapSignIn, SignsInWithATokenAndHearsWhatIsWrongWithIt) {
    const ImapSecret token{ImapSecret::Kind::AccessToken, "ya29.token"};
    const std::string encoded = "dXNlcj1hZGEBYXV0aD1CZWFyZXIgeWEyOS50b2tlbgEB";
    server_.script()
        .say("* OK [CAPABILITY AUTH=XOAUTH2 SASL-IR] hi")
        .expect("a1 AUTHENTICATE XOAUTH2 " + encoded)
        .say("a1 OK [CAPABILITY IMAP4rev1] in");
    server_.script()
        .say("* OK [CAPABILITY AUTH=XOAUTH2] hi")
        .expect("a1 AUTHENTICATE XOAUTH2")
        .say("+ ")
        .expect(encoded)
        .say("a1 OK [CAPABILITY IMAP4rev1] in");
    server_.script()
        .say("* OK [CAPABILITY AUTH=XOAUTH2 SASL-IR] hi")
        .expect("a1 AUTHENTICATE XOAUTH2 " + encoded)
        .say("+ eyJzdGF0dXMiOiI0MDAifQ==")
        .expectUntil("")
        .say("a1 NO [AUTHENTICATIONFAILED] Invalid credentials");
    EXPECT_TRUE(tryToOpen(token));
    EXPECT_TRUE(tryToOpen(token));
    EXPECT_EQ(failureOf(tryToOpen(token)), ImapFailure::SignInRefused);
}

TEST_F(ImapSignIn, SaysNothingSecretBeforeTheServerHasProvedItself) {
    server_.script().say("* PREAUTH [CAPABILITY IMAP4rev1] welcome");
    server_.script().say("* OK [CAPABILITY IMAP4rev1] hi").expect("a1 STARTTLS").say("a1 BAD what");
    server_.script()
        .say("* OK [CAPABILITY STARTTLS] hi")
        .expect("a1 STARTTLS")
        .sayBytes("a1 OK go\r\n* OK [CAPABILITY IMAP4rev1] trust me\r\n");
    server_.script().say("* OK [CAPABILITY STARTTLS] hi").expect("a1 STARTTLS").say("a1 OK go").hangUp();
    ImapServer server = account();
    server.security = TransportSecurity::StartTls;
    for (int i = 0; i < 4; ++i) {
        ImapConnection connection(server);
        const auto done = connection.open(password());
        EXPECT_EQ(failureOf(done), ImapFailure::TlsFailed) << i << ": " << sentence(done);
    }
    EXPECT_THAT(server_.heard(), Not(Contains(HasSubstr("LOGIN"))));

    ImapServer open = account();
    open.host = "mail.example.org";
    ImapConnection connection(open);
    EXPECT_EQ(failureOf(connection.open(password())), ImapFailure::OpenPassword);
}

TEST_F(ImapSignIn, TakesNoOldTlsAndNoExpiredCertificate) {
    const TestAuthority authority;
    const auto open = [&](const TestAuthority::Options& options) {
        const ScriptedWebServer server([](const WebRequest&) { return WebAnswer{}; }, authority.issue(options));
        ImapServer target = ImapTest::account(server.port(), TransportSecurity::Tls);
        target.certificateAuthorities = authority.write(folder_ / "authority.pem").string();
        ImapConnection connection(target);
        return failureOf(connection.open(password()));
    };
    EXPECT_EQ(open({.speaksOldTlsOnly = true}), ImapFailure::TlsFailed);
    EXPECT_EQ(open({.isExpired = true}), ImapFailure::NotTrusted);
    server_.script().say("* OK no TLS here");
    ImapServer plain = account();
    plain.security = TransportSecurity::Tls;
    ImapConnection connection(plain);
    EXPECT_EQ(failureOf(connection.open(password())), ImapFailure::TlsFailed);
}
}  // namespace
}  // namespace qs
