// Adding, changing, switching off and removing accounts, as the models that the page draws.
#include <gmock/gmock.h>

#include <filesystem>

#include "Accounts/AccountSheetFixture.h"
#include "ComposeWindow.h"
#include "MailSync.h"
#include "Support/DovecotServer.h"
#include "Support/RecordingSmtpServer.h"
#include "Support/ScriptedWebServer.h"

namespace qs {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::SizeIs;

namespace fs = std::filesystem;

TEST_F(AccountSheetTest, IsOfferedWhereThereIsNoAccountAndAsksForWhatIsMissing) {
    begin();
    ASSERT_NE(sheet(), nullptr) << "without an account, adding one comes by itself";
    press("Continue");
    EXPECT_THAT(errorAt("address"), HasSubstr("enter your mail address"));
    enter("address", "ada at example");
    press("Continue");
    EXPECT_THAT(errorAt("address"), HasSubstr("no mail address"));
    enter("address", "ada@outlook.com");
    press("Continue");
    EXPECT_THAT(sheet()->message, HasSubstr("only by a sign-in in the browser"));
    press("Add Account");
    EXPECT_THAT(errorAt("clientIdentifier"), HasSubstr("client ID")) << "what is missing is said before anything opens";
    press("Cancel");
    EXPECT_EQ(sheet(), nullptr);
    EXPECT_TRUE(choose("File", "Add Account…"));
    EXPECT_NE(sheet(), nullptr);
    EXPECT_THAT(book().all(), SizeIs(0));
}

TEST_F(AccountSheetTest, AnAccountByHandIsTriedAtTheServersAndSaved) {
    DovecotServer imap;
    RecordingSmtpServer smtp({.offersAuthentication = true});
    begin();
    enter("name", "Ada Lovelace");
    enter("address", " ada@example.org ");
    enter("password", "wrong");
    press("Set Up by Hand…");
    enterServer("incoming", imap.port());
    enterServer("outgoing", smtp.port());
    press("Add Account");
    EXPECT_THAT(errorAt("incomingUser"), HasSubstr("did not accept user name and password"));
    EXPECT_EQ(errorAt("outgoingUser"), "");
    EXPECT_THAT(book().all(), SizeIs(0));

    enter("incomingPassword", "analytical");
    press("Add Account");
    EXPECT_EQ(sheet(), nullptr);
    ASSERT_THAT(book().all(), SizeIs(1));
    const AccountRecord account = book().all()[0];
    EXPECT_EQ(account.identifier, "ada-example-org");
    EXPECT_EQ(account.kind, AccountKind::Imap);
    EXPECT_EQ(account.identities, (std::vector<MailIdentity>{{"Ada Lovelace", "ada@example.org"}}));
    EXPECT_EQ(account.incoming->port, imap.port());
    EXPECT_EQ(account.outgoing->user, "ada");
    EXPECT_EQ(FileSystem::real().read(host->dataFolder() / "Accounts.plist")->find("analytical"), std::string::npos);
    EXPECT_THAT(host->viewer().mailbox()->identifier(), "ada-example-org/INBOX");

    // The password is there for the next message.
    host->composeAndSend("ada-example-org", "ben@example.net", "Hello", "Text.");
    ASSERT_THAT(smtp.received(), SizeIs(1));
    EXPECT_EQ(smtp.received()[0].password, "analytical");

    begin({.accounts = {account}});
    show(account.identifier);
    pressInPane("changeAccount");
    ASSERT_NE(sheet(), nullptr);
    enter("displayName", "Work");
    enter("senders", Array{"Ada Lovelace <ada@example.org>", "Countess <countess@example.org>"});
    press("Save");
    EXPECT_EQ(sheet(), nullptr) << "nothing was typed anew, so the kept password was tried";
    EXPECT_EQ(book().find(account.identifier)->displayName, "Work");
    EXPECT_THAT(book().find(account.identifier)->addresses(), ElementsAre("ada@example.org", "countess@example.org"));

    const auto window = host->compose(account.identifier, "ben@example.net", "From the other", "Text.");
    window->update({.account = account.identifier + "/countess@example.org"});
    EXPECT_EQ(window->sender(), account.identifier + "/countess@example.org");
    EXPECT_EQ(window->accountIdentifier(), account.identifier);
}

// The provider is a web server and a real IMAP server that asks it about each token.
TEST_F(AccountSheetTest, AnAccountSignsInInTheBrowserAndIsFetchedAndSentFromWithItsTokens) {
    ScriptedWebServer provider([](const WebRequest& request) -> WebAnswer {
        if (request.path == "/token")
            return {.body = R"({"access_token": "engine", "refresh_token": "lasting", "expires_in": 3600})"};
        if (request.header("Authorization") == "Bearer engine") return {.body = R"({"email": "ada"})"};
        return {.status = 401, .body = "{}"};
    });
    DovecotServer imap({.tokenJudge = provider.url("/who")});
    imap.deliver("ada", "From: ben@example.net\r\nSubject: From afar\r\n\r\nText.\r\n");
    RecordingSmtpServer smtp({.offersAuthentication = true});
    begin();
    enter("address", "ada@example.org");
    press("Set Up by Hand…");
    enterServer("incoming", imap.port());
    enterServer("outgoing", smtp.port());
    enter("signsIn", true);
    enter("clientIdentifier", "the client");
    enter("authorizePage", "http://example.org/authorize");
    enter("tokenAddress", provider.url("/token"));
    press("Add Account");
    EXPECT_THAT(errorAt("authorizePage"), HasSubstr("https://")) << "a code must not cross the net in the open";
    enter("authorizePage", "https://example.org/authorize");
    press("Add Account");
    ASSERT_THAT(workspace_->openedUrls, SizeIs(1));
    comeBack();
    ASSERT_EQ(sheet(), nullptr) << sheet()->message << errorAt("incomingUser") << errorAt("incomingHost") << imap.log();
    ASSERT_THAT(book().all(), SizeIs(1));
    const AccountRecord account = book().all()[0];
    EXPECT_EQ(account.signIn->clientIdentifier, "the client");
    EXPECT_EQ(FileSystem::real().read(host->dataFolder() / "Accounts.plist")->find("lasting"), std::string::npos);
    EXPECT_THAT(subjectsOf(account.identifier, MailboxKind::Inbox), ElementsAre("From afar"))
        << host->engine().sync().statuses()[0].text << imap.log();
    host->composeAndSend(account.identifier, "ben@example.net", "Hello", "Text.");
    ASSERT_THAT(smtp.received(), SizeIs(1));
    EXPECT_EQ(smtp.received()[0].password, "engine");

    show(account.identifier);
    pressInPane("changeAccount");
    enter("displayName", "Work");
    press("Save");
    EXPECT_EQ(sheet(), nullptr);
    EXPECT_THAT(workspace_->openedUrls, SizeIs(1)) << "who is signed in is not asked again";
    EXPECT_EQ(book().find(account.identifier)->signIn, account.signIn);
}

TEST_F(AccountSheetTest, WhatCannotBeReachedNowCanBeAddedAllTheSame) {
    int closed = 0;
    {
        const RecordingSmtpServer gone;
        closed = gone.port();
    }
    begin();
    enter("address", "ada@example.org");
    enter("password", "analytical");
    press("Set Up by Hand…");
    enterServer("incoming", closed);
    enterServer("outgoing", closed);
    enter("outgoingHost", "");
    press("Add Account");
    EXPECT_THAT(errorAt("outgoingHost"), HasSubstr("name of the server"));
    enter("outgoingHost", "127.0.0.1");
    press("Add Account");
    EXPECT_THAT(errorAt("incomingHost"), HasSubstr("does not answer on port"));
    EXPECT_THAT(errorAt("outgoingHost"), HasSubstr("does not answer on port"));
    press("Add Anyway");
    EXPECT_THAT(book().all(), SizeIs(1));
}

TEST_F(AccountSheetTest, AMaildirTreeIsAddedAndStaysWhenItsAccountGoes) {
    for (const char* folder : {"cur", "new", "tmp"})
        fs::create_directories(place_ / "Maildir" / folder);
    begin();
    enter("kind", static_cast<int>(AccountKind::Maildir));
    enter("address", "ada@example.org");
    struct Case {
        std::string folder;
        const char* fault;
    };
    for (const Case& c : {Case{"", "enter the folder"}, Case{"Maildir", "whole path"},
                          Case{(place_ / "nowhere").string(), "can't be opened"},
                          Case{place_.path().parent_path().string() + "/.", "no Maildir"}}) {
        if (c.fault == std::string("no Maildir")) fs::create_directories(place_ / "empty/sub");
        enter("folder", c.fault == std::string("no Maildir") ? (place_ / "empty").string() : c.folder);
        press("Continue");
        EXPECT_THAT(errorAt("folder"), HasSubstr(c.fault));
    }
    enter("folder", (place_ / "Maildir").string());
    press("Continue");
    press("Add Account");
    EXPECT_EQ(sheet(), nullptr);
    ASSERT_THAT(book().all(), SizeIs(1));
    const std::string identifier = book().all()[0].identifier;
    EXPECT_EQ(book().all()[0].maildir, place_ / "Maildir");
    EXPECT_FALSE(book().all()[0].outgoing);
    EXPECT_NE(host->library().mailboxWithIdentifier(identifier + "/INBOX"), nullptr);

    show(identifier);
    alerts->give("Remove");
    pressInPane("removeAccount");
    EXPECT_THAT(book().all(), SizeIs(0));
    EXPECT_THAT(host->library().mailAccounts(), SizeIs(0));
    EXPECT_TRUE(fs::exists(place_ / "Maildir/cur"));
}

TEST_F(AccountSheetTest, SwitchedOffAnAccountIsOutOfSightWithAllItHas) {
    begin({});
    host->receive("ben", "Ada <ada@example.org>", "Hello", "Text.");
    show("ben");
    pressInPane("switchAccount");
    EXPECT_THAT(host->library().mailAccounts(), SizeIs(1));
    EXPECT_TRUE(subjectsOf("ada", MailboxKind::Inbox).empty());
    pressInPane("switchAccount");
    EXPECT_THAT(subjectsOf("ben", MailboxKind::Inbox), ElementsAre("Hello"));
}

TEST_F(AccountSheetTest, RemovingAsksAndKeepsTheMailUnlessItIsToGo) {
    begin({});
    const auto mail = host->dataFolder() / "Mail";
    show("ben");
    alerts->give("Cancel");
    pressInPane("removeAccount");
    EXPECT_NE(book().find("ben"), nullptr);
    alerts->give("Remove");
    pressInPane("removeAccount");
    EXPECT_EQ(book().find("ben"), nullptr);
    EXPECT_TRUE(fs::exists(mail / "ben/cur"));
    show("ada");
    alerts->give("Remove and Delete Mail");
    pressInPane("removeAccount");
    EXPECT_EQ(book().find("ada"), nullptr);
    EXPECT_FALSE(fs::exists(mail / "ada"));
    EXPECT_THAT(alerts->seen, Contains(HasSubstr("Remove the account")));
}

}  // namespace
}  // namespace qs
