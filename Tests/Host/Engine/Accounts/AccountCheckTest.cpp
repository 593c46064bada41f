#include "Accounts/AccountCheck.h"

#include <gmock/gmock.h>

#include "AccountRecord.h"
#include "Accounts/AccountSecrets.h"
#include "Foundation/RunLoop.h"
#include "Keychain/Keychain.h"
#include "Platform.h"
#include "Support/DovecotServer.h"
#include "Support/RecordingSmtpServer.h"
#include "Support/TemporaryFolder.h"

namespace qs {
namespace {

using ::testing::HasSubstr;

// Against real servers, so with the real clock.
class AccountCheckTest : public ::testing::Test {
protected:
    AccountRecord account(int imapPort, int smtpPort) {
        AccountRecord record{
            .identifier = "ada", .kind = AccountKind::Imap, .identities = {{"Ada", "ada@example.org"}}};
        record.incoming = IncomingServer{.host = "127.0.0.1",
                                         .port = imapPort,
                                         .security = TransportSecurity::StartTls,
                                         .user = "ada",
                                         .certificateAuthorities = imapAuthority_};
        record.outgoing = SubmissionServer{.host = "127.0.0.1",
                                           .port = smtpPort,
                                           .security = TransportSecurity::StartTls,
                                           .user = "ada",
                                           .certificateAuthorities = smtpAuthority_};
        return record;
    }

    std::vector<AccountFault> faultsOf(const AccountRecord& record, std::string password = "analytical",
                                       std::string hint = {}) {
        std::optional<std::vector<AccountFault>> found;
        const auto check = AccountCheck::start(record, {password, password}, std::move(hint),
                                               [&](std::vector<AccountFault> faults) { found = std::move(faults); });
        EXPECT_TRUE(loop_->runUntil([&] { return found.has_value(); }));
        return found.value_or(std::vector<AccountFault>());
    }

    std::unique_ptr<RunLoop> loop_ = RunLoop::make(RunLoop::Clock::Real);
    TemporaryFolder folder_;
    DovecotServer imap_;
    TestAuthority authority_;
    RecordingSmtpServer smtp_{{.identity = authority_.issue(), .offersStartTls = true, .offersAuthentication = true}};
    const std::string imapAuthority_ = imap_.authority().write(folder_ / "imap.pem").string(),
                      smtpAuthority_ = authority_.write(folder_ / "smtp.pem").string();
};

TEST_F(AccountCheckTest, FindsNothingWrongWithAGoodAccount) {
    EXPECT_TRUE(faultsOf(account(imap_.port(), smtp_.port())).empty());
    EXPECT_TRUE(smtp_.received().empty()) << "trying sends no mail";
}

TEST_F(AccountCheckTest, TellsWhichSideIsWrongAndWhatToDo) {
    smtp_.add({.stage = SmtpStage::Authentication, .reply = "535 5.7.8 no"});
    const auto both = faultsOf(account(imap_.port(), smtp_.port()), "guessed", "Make an app password.");
    ASSERT_EQ(both.size(), 2u);
    for (const AccountFault& fault : both) {
        EXPECT_EQ(fault.field, AccountFault::Field::User);
        EXPECT_THAT(fault.text, HasSubstr("did not accept user name and password"));
        EXPECT_THAT(fault.text, HasSubstr("Make an app password."));
        EXPECT_THAT(fault.text, ::testing::Not(HasSubstr("guessed")));
    }
    smtp_.clearRules();

    AccountRecord strange = account(imap_.port(), smtp_.port());
    strange.outgoing->certificateAuthorities = imapAuthority_;
    AccountRecord open = account(imap_.port(), smtp_.port());
    open.incoming->host = "mail.example.org";
    open.incoming->security = TransportSecurity::None;
    int closed = 0;
    {
        const RecordingSmtpServer gone;
        closed = gone.port();
    }
    struct Case {
        const char* why;
        AccountRecord account;
        ServerSide side;
        AccountFault::Field field;
        const char* text;
    };
    for (const Case& c :
         {Case{"nobody answers", account(closed, smtp_.port()), ServerSide::Incoming, AccountFault::Field::Host,
               "does not answer on port"},
          Case{"a certificate of nobody we know", strange, ServerSide::Outgoing, AccountFault::Field::Host,
               "could not prove who it is"},
          Case{"an open connection", open, ServerSide::Incoming, AccountFault::Field::Security, "open connection"}}) {
        const auto found = faultsOf(c.account);
        ASSERT_EQ(found.size(), 1u) << c.why;
        EXPECT_EQ(found[0].side, c.side) << c.why;
        EXPECT_EQ(found[0].field, c.field) << c.why;
        EXPECT_THAT(found[0].text, HasSubstr(c.text)) << c.why;
    }
}

TEST_F(AccountCheckTest, SaysNothingMoreOnceItIsDropped) {
    smtp_.add({.stage = SmtpStage::Greeting, .stalls = true});
    bool isTold = false;
    auto check = AccountCheck::start(account(imap_.port(), smtp_.port()), {"analytical", "analytical"}, {},
                                     [&](const auto&) { isTold = true; });
    ASSERT_TRUE(loop_->runUntil([&] { return smtp_.connections() > 0; }));
    check.reset();
    loop_.reset();  // waits for what is under way, which is not long
    EXPECT_FALSE(isTold);
}

// Passwords are shared between the servers of an account, unless it says otherwise.
class AccountSecretsTest : public ::testing::Test {
protected:
    void SetUp() override {
        Platform platform;
        platform.keychain = Keychain::vault({.folder = folder_ / "Keychain", .key = {}, .files = nullptr});
        Platform::install(std::move(platform));
        record_.incoming = IncomingServer{.host = "imap.example.org", .user = "ada"};
        record_.outgoing = SubmissionServer{.host = "smtp.example.org", .user = "ada"};
    }
    void TearDown() override {
        setAccessTokenSource({});
        Platform::install({});
    }
    std::string outgoing() { return account_secrets::secretFor(record_, ServerSide::Outgoing).value_or("none"); }

    std::unique_ptr<RunLoop> loop_ = RunLoop::make(RunLoop::Clock::Virtual);
    TemporaryFolder folder_;
    AccountRecord record_{.identifier = "ada", .displayName = "Ada", .kind = AccountKind::Imap};
};

TEST_F(AccountSecretsTest, ComeFromWhereTheAccountSays) {
    EXPECT_FALSE(account_secrets::secretFor(record_, ServerSide::Incoming));
    ASSERT_TRUE(account_secrets::keep("ada", ServerSide::Incoming, "one"));
    ASSERT_TRUE(account_secrets::keep("ada", ServerSide::Outgoing, "two"));
    EXPECT_EQ(outgoing(), "one");
    record_.hasOwnOutgoingPassword = true;
    EXPECT_EQ(outgoing(), "two");
    record_.outgoing->passwordCommand = {"echo", "three"};
    EXPECT_EQ(outgoing(), "three");
    record_.outgoing->user.clear();
    EXPECT_EQ(outgoing(), "") << "without a user nothing is asked for";
    ASSERT_TRUE(account_secrets::forget("ada"));
    EXPECT_FALSE(account_secrets::secretFor(record_, ServerSide::Incoming));
}

TEST_F(AccountSecretsTest, TokensComeFromWhoKeepsThemFresh) {
    record_.outgoing->authentication = ServerAuthentication::XOAuth2;
    EXPECT_EQ(outgoing(), "none");
    setAccessTokenSource(
        {.token = [](const AccountRecord& account) { return Result<std::string>("token of " + account.identifier); }});
    EXPECT_EQ(outgoing(), "token of ada");
}

}  // namespace
}  // namespace qs
