// What becomes of passwords and sign-ins when an account is added or changed, and when that is broken off.
#include <filesystem>
#include <future>

#include "Accounts/AccountChanges.h"
#include "Accounts/AccountSecrets.h"
#include "Accounts/AccountSheetFixture.h"
#include "DeliveryService.h"
#include "MailSync.h"
#include "Support/DovecotServer.h"
#include "Support/MeasuredFiles.h"
#include "Support/RecordingSmtpServer.h"
#include "Support/ScriptedWebServer.h"

namespace qs {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::SizeIs;

class SheetSecretsTest : public AccountSheetTest {
protected:
    AccountRecord account() const {
        return {.identifier = "ada",
                .displayName = "Ada",
                .kind = AccountKind::Imap,
                .identities = {{"Ada Lovelace", "ada@example.org"}},
                .incoming =
                    IncomingServer{
                        .host = "127.0.0.1", .port = imap_.port(), .security = TransportSecurity::None, .user = "ada"},
                .outgoing = SubmissionServer{
                    .host = "127.0.0.1", .port = smtp_.port(), .security = TransportSecurity::None, .user = "ada"}};
    }
    AccountRecord signedIn() const {
        AccountRecord record = account();
        record.incoming->authentication = record.outgoing->authentication = ServerAuthentication::XOAuth2;
        record.signIn = SignInPlace{.authorizePage = "https://example.org/authorize",
                                    .tokenAddress = provider_.url("/token"),
                                    .scope = "mail",
                                    .clientIdentifier = "the client"};
        return record;
    }
    void keepSecret(ServerSide side, const std::string& password) {
        ASSERT_TRUE(account_secrets::keep("ada", side, password));
    }
    std::string kept(ServerSide side) {
        const auto all = account_secrets::everythingOf("ada");
        return all ? (side == ServerSide::Incoming ? all->incoming : all->outgoing).value_or("") : "?";
    }
    // With these secrets in the keychain from the start.
    void beginWith(const AccountRecord& record, const std::function<void()>& prepare, FileSystem* files = nullptr) {
        Platform platform;
        platform.keychain = keychain_;
        Platform::install(std::move(platform));
        prepare();
        begin({.accounts = {record}, .files = files});
        show("ada");
    }

    std::vector<std::map<std::string, std::string>> forms() const {
        std::vector<std::map<std::string, std::string>> all;
        for (const WebRequest& each : provider_.requests())
            if (each.path == "/token") all.push_back(each.form());
        return all;
    }

    ScriptedWebServer provider_{[](const WebRequest& request) -> WebAnswer {
        if (request.path == "/token")
            return {.body = R"({"access_token": "engine", "refresh_token": "lasting", "expires_in": 3600})"};
        return {.body = request.header("Authorization") == "Bearer engine" ? R"({"email": "ada"})"
                                                                           : R"({"email": "nobody"})"};
    }};
    DovecotServer imap_{{.tokenJudge = provider_.url("/who")}};
    RecordingSmtpServer smtp_{{.offersAuthentication = true}};
};

TEST_F(SheetSecretsTest, SigningInAgainTakesTheClientSecretThatIsKept) {
    beginWith(signedIn(), [this] {
        ASSERT_TRUE(account_secrets::keepTokens(
            "ada", {.access = "revoked", .refresh = "revoked too", .expires = {4e9}, .clientSecret = "a secret"}));
    });
    pressInPane("changeAccount");
    press("Sign In Again…");
    ASSERT_THAT(workspace_->openedUrls, SizeIs(1));
    comeBack();
    ASSERT_EQ(sheet(), nullptr) << sheet()->message;
    EXPECT_EQ(forms().back()["client_secret"], "a secret");
    EXPECT_EQ(account_secrets::tokensOf(signedIn())->clientSecret, "a secret");
    EXPECT_EQ(account_secrets::tokensOf(signedIn())->access, "engine");

    pressInPane("changeAccount");
    enter("clientIdentifier", "another client");
    press("Save");
    ASSERT_THAT(workspace_->openedUrls, SizeIs(2));
    comeBack();
    EXPECT_EQ(forms().back().count("client_secret"), 0u) << "that was the other client's";
}

TEST_F(SheetSecretsTest, ASignInIsGoodOnlyForWhatItWasAskedFor) {
    begin();
    enter("address", "ada@example.org");
    press("Set Up by Hand…");
    enterServer("incoming", imap_.port());
    enterServer("outgoing", smtp_.port());
    smtp_.add({.stage = SmtpStage::Authentication, .reply = "535 this token is not for sending"});
    enter("signsIn", true);
    enter("clientIdentifier", "the client");
    enter("authorizePage", "https://example.org/authorize");
    enter("tokenAddress", provider_.url("/token"));
    press("Add Account");
    comeBack();
    ASSERT_NE(sheet(), nullptr);
    EXPECT_NE(errorAt("outgoingUser"), "");
    press("Add Account");
    EXPECT_THAT(workspace_->openedUrls, SizeIs(1)) << "the same again needs no other sign-in";
    smtp_.clearRules();
    enter("scope", "mail send");
    press("Add Account");
    ASSERT_THAT(workspace_->openedUrls, SizeIs(2));
    EXPECT_THAT(addressBehind(workspace_->openedUrls[1]), HasSubstr("mail+send"));
    comeBack();
    EXPECT_EQ(sheet(), nullptr);
}

TEST_F(SheetSecretsTest, APasswordThatIsPutRightSetsTheMailGoingAgain) {
    imap_.deliver("ada", "From: ben@example.net\r\nSubject: From afar\r\n\r\nText.\r\n");
    beginWith(account(), [this] { keepSecret(ServerSide::Incoming, "outdated"); });
    EXPECT_EQ(host->engine().sync().statuses().at(0).state, SyncStatus::State::Stopped);
    smtp_.add({.stage = SmtpStage::Authentication, .reply = "535 wrong", .times = 1});
    host->composeAndSend("ada", "ben@example.net", "Hello", "Text.");
    EXPECT_THAT(smtp_.received(), SizeIs(0));

    pressInPane("changeAccount");
    enter("incomingPassword", "analytical");
    press("Save");
    ASSERT_EQ(sheet(), nullptr) << sheet()->message;
    host->advance(5);
    EXPECT_EQ(host->engine().sync().statuses().at(0).state, SyncStatus::State::Idle);
    EXPECT_THAT(subjectsOf("ada", MailboxKind::Inbox), ElementsAre("From afar"));
    EXPECT_THAT(smtp_.received(), SizeIs(1)) << "what was refused for the password is tried again, too";
}

TEST_F(SheetSecretsTest, WhatFailedItsTestIsKeptOnlyWhenThePersonSaysSo) {
    beginWith(account(), [this] { keepSecret(ServerSide::Incoming, "analytical"); });
    pressInPane("changeAccount");
    enter("incomingPassword", "guessed");
    press("Save");
    ASSERT_NE(sheet(), nullptr);
    EXPECT_THAT(errorAt("incomingUser"), HasSubstr("did not accept"));
    EXPECT_EQ(kept(ServerSide::Incoming), "analytical");
    press("Save Anyway");
    EXPECT_EQ(sheet(), nullptr);
    EXPECT_EQ(kept(ServerSide::Incoming), "guessed");
}

// A disk on which the list of accounts can't be replaced.
class FullDisk : public MeasuredFiles {
public:
    bool isFull = false;
    Result<void> rename(const std::filesystem::path& from, const std::filesystem::path& to) override {
        if (isFull && to.filename() == "Accounts.plist")
            return failure(std::string(kFileErrorDomain), ENOSPC, "There is no space left.");
        return MeasuredFiles::rename(from, to);
    }
};

TEST_F(SheetSecretsTest, WhatCannotBeSavedLeavesTheSecretsOfTheAccountThatStays) {
    FullDisk disk;
    beginWith(
        account(), [this] { keepSecret(ServerSide::Incoming, "outdated"); }, &disk);
    pressInPane("changeAccount");
    enter("incomingPassword", "analytical");
    disk.isFull = true;
    press("Save");
    ASSERT_NE(sheet(), nullptr);
    EXPECT_THAT(sheet()->message, HasSubstr("The account could not be saved. There is no space left."));
    EXPECT_EQ(kept(ServerSide::Incoming), "outdated") << "they belong to the record";
    disk.isFull = false;
    press("Save");
    ASSERT_EQ(sheet(), nullptr) << sheet()->message;
    EXPECT_EQ(kept(ServerSide::Incoming), "analytical");
    host.reset();  // before its disk
}

TEST_F(SheetSecretsTest, WhatIsStoppedWhileTheKeyringIsBeingUnlockedChangesNothing) {
    beginWith(account(), [this] {
        keepSecret(ServerSide::Incoming, "analytical");
        keepSecret(ServerSide::Outgoing, "of another server");
    });
    EXPECT_EQ(kept(ServerSide::Outgoing), "of another server");
    std::promise<void> gate, asked;
    std::atomic<bool> isLocked = true;
    keychain_->hasRead = [&](const auto&) -> Result<void> {
        if (isLocked) return HookedKeychain::refusal(KeychainError::Locked);
        return {};
    };
    keychain_->unlocking = [&] {
        asked.set_value();
        host->loop().post([] {});  // who waits for it looks again
        gate.get_future().wait();
        isLocked = false;
        return true;
    };
    pressInPane("changeAccount");
    enter("incomingUser", "sam");
    enter("incomingPassword", "gardener-of-bag-end");
    pressOnly("Save");
    auto isAsked = asked.get_future();
    ASSERT_TRUE(
        host->loop().runUntil([&] { return isAsked.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }));
    pressOnly("Stop");
    gate.set_value();
    host->settle();
    EXPECT_EQ(kept(ServerSide::Incoming), "analytical") << "the old server must not get the new password";
    EXPECT_EQ(book().find("ada")->incoming->user, "ada");
    EXPECT_NE(sheet(), nullptr) << "what was typed is still there";

    press("Save");
    EXPECT_EQ(sheet(), nullptr);
    EXPECT_EQ(kept(ServerSide::Incoming), "gardener-of-bag-end");
    EXPECT_EQ(kept(ServerSide::Outgoing), "") << "a password that no server of the account takes is forgotten";
}

TEST_F(SheetSecretsTest, WhatCannotBeKeptAsAWholeIsNotKeptInPart) {
    AccountRecord own = account();
    own.hasOwnOutgoingPassword = true;
    beginWith(own, [this] {
        keepSecret(ServerSide::Incoming, "analytical");
        keepSecret(ServerSide::Outgoing, "before");
    });
    int writes = 0;
    keychain_->willWrite = [&](const auto&) -> Result<void> {
        if (++writes == 2) return HookedKeychain::refusal(KeychainError::Failed);
        return {};
    };
    pressInPane("changeAccount");
    enter("incomingUser", "sam");
    enter("incomingPassword", "gardener-of-bag-end");
    enter("outgoingPassword", "after");
    press("Save");
    ASSERT_NE(sheet(), nullptr);
    EXPECT_THAT(sheet()->message, HasSubstr("could not be saved. The keychain says no."));
    EXPECT_EQ(kept(ServerSide::Incoming), "analytical");
    EXPECT_EQ(kept(ServerSide::Outgoing), "before");
}

TEST_F(SheetSecretsTest, APasswordWhoseFieldIsHiddenIsNotTried) {
    begin();
    enter("address", "ada@example.org");
    enter("password", "analytical");
    press("Set Up by Hand…");
    enterServer("incoming", imap_.port());
    enterServer("outgoing", smtp_.port());
    enter("ownPassword", true);
    enter("outgoingPassword", "another");
    enter("ownPassword", false);
    press("Add Account");
    ASSERT_EQ(sheet(), nullptr);
    const std::string identifier = book().all().at(0).identifier;
    EXPECT_FALSE(account_secrets::everythingOf(identifier)->outgoing);
    host->composeAndSend(identifier, "ben@example.net", "Hello", "Text.");
    EXPECT_EQ(smtp_.received().at(0).password, "analytical");
}

TEST_F(SheetSecretsTest, ATokenOfANewSignInTakesThePlaceOfAPasswordCommand) {
    AccountRecord record = account();
    record.incoming->passwordCommand = record.outgoing->passwordCommand = {"/bin/echo", "analytical"};
    beginWith(record, [] {});
    pressInPane("changeAccount");
    enter("signsIn", true);
    enter("clientIdentifier", "the client");
    enter("authorizePage", "https://example.org/authorize");
    enter("tokenAddress", provider_.url("/token"));
    press("Save");
    ASSERT_THAT(workspace_->openedUrls, SizeIs(1));
    comeBack();
    ASSERT_EQ(sheet(), nullptr) << sheet()->message;
    host->composeAndSend("ada", "ben@example.net", "Hello", "Text.");
    EXPECT_EQ(smtp_.received().at(0).password, "engine");
}

TEST_F(SheetSecretsTest, GoingBackKeepsWhatWasTypedForThisAddressAndNothingOfAnother) {
    begin();
    enter("address", "adda@gmail.com");
    enter("password", "analytical");
    press("Set Up by Hand…");
    EXPECT_EQ(value("incomingHost"), "imap.gmail.com");
    enter("outgoingHost", "typed.example.org");
    press("Back");
    enter("address", "ada@gmail.com");
    press("Continue");
    EXPECT_EQ(value("outgoingHost"), "typed.example.org");
    EXPECT_EQ(value("incomingUser"), "ada@gmail.com") << "the name follows an address that is put right";
    enter("ownPassword", true);
    enter("outgoingPassword", "for that server");
    press("Back");
    enter("address", "ada@work.example");
    press("Set Up by Hand…");
    EXPECT_EQ(value("incomingHost"), "") << "its password is none of the other provider's business";
    EXPECT_EQ(value("outgoingUser"), "ada@work.example");
    enter("ownPassword", true);
    EXPECT_EQ(value("outgoingPassword"), "");
}

TEST_F(SheetSecretsTest, UnsentMailIsToldOfBeforeItsAccountIsOutOfSight) {
    beginWith(account(), [this] { keepSecret(ServerSide::Incoming, "analytical"); });
    smtp_.add({.stage = SmtpStage::Greeting, .reply = "421 come back later"});
    host->composeAndSend("ada", "ben@example.net", "Hello", "Text.");
    alerts->give("Cancel");
    pressInPane("switchAccount");
    EXPECT_THAT(alerts->seen, Contains(HasSubstr("Switch off the account “Ada”?")));
    EXPECT_TRUE(book().find("ada")->isEnabled);
    alerts->give("Switch Off");
    pressInPane("switchAccount");
    EXPECT_FALSE(book().find("ada")->isEnabled);
    EXPECT_EQ(unsentMessages(host->engine(), "ada"), 1) << "it is still there, though no list shows it";
    alerts->give("Remove and Delete Mail");
    pressInPane("removeAccount");
    EXPECT_EQ(book().find("ada"), nullptr);
    EXPECT_FALSE(std::filesystem::exists(host->dataFolder() / "Mail/ada"));
}

TEST_F(SheetSecretsTest, AMessageIsNotRefusedForATokenThatCanBeRenewed) {
    beginWith(signedIn(), [this] {
        ASSERT_TRUE(account_secrets::keepTokens(
            "ada", {.access = "engine", .refresh = "lasting", .expires = {4e9}, .clientSecret = ""}));
    });
    EXPECT_THAT(forms(), SizeIs(0));
    smtp_.add({.stage = SmtpStage::Authentication, .reply = "535 no longer", .times = 1});
    host->composeAndSend("ada", "ben@example.net", "Hello", "Text.");
    EXPECT_THAT(smtp_.received(), SizeIs(1));
    EXPECT_THAT(forms(), SizeIs(1));
}

}  // namespace
}  // namespace qs
