#include "AccountBook.h"

#include <gmock/gmock.h>

#include "Foundation/FileSystem.h"
#include "Support/TornDisk.h"

namespace qs {

using ::testing::SizeIs;

namespace {

// Every field away from what it is by itself.
AccountRecord ada() {
    AccountRecord record{.identifier = "ada",
                         .displayName = "Work",
                         .kind = AccountKind::Imap,
                         .isEnabled = false,
                         .identities = {{"Ada Lovelace", "ada@example.org"}, {"Countess", "a.lovelace@example.org"}},
                         .maildir = "/home/ada/Maildir",
                         .hasOwnOutgoingPassword = true};
    record.incoming = IncomingServer{.host = "imap.example.org",
                                     .port = 143,
                                     .security = TransportSecurity::StartTls,
                                     .user = "ada@imap",
                                     .authentication = ServerAuthentication::XOAuth2,
                                     .passwordCommand = {"pass", "imap"},
                                     .certificateAuthorities = "/etc/imap.pem"};
    record.outgoing = SubmissionServer{.host = "mail.example.org",
                                       .port = 465,
                                       .security = TransportSecurity::Tls,
                                       .user = "ada",
                                       .authentication = ServerAuthentication::XOAuth2,
                                       .passwordCommand = {"pass", "show", "mail"},
                                       .certificateAuthorities = "/etc/own.pem"};
    return record;
}

AccountRecord localAccount(std::string identifier, std::string address) {
    return {.identifier = std::move(identifier), .identities = {{"", std::move(address)}}};
}

template <class Server>
void expectEqual(const std::optional<Server>& found, const std::optional<Server>& wanted) {
    ASSERT_TRUE(found);
    EXPECT_EQ(found->host, wanted->host);
    EXPECT_EQ(found->port, wanted->port);
    EXPECT_EQ(found->security, wanted->security);
    EXPECT_EQ(found->user, wanted->user);
    EXPECT_EQ(found->authentication, wanted->authentication);
    EXPECT_EQ(found->passwordCommand, wanted->passwordCommand);
    EXPECT_EQ(found->certificateAuthorities, wanted->certificateAuthorities);
}

}  // namespace

TEST(AccountBook, KeepsAccountsAcrossARestart) {
    TornDisk disk;
    {
        const auto book = *AccountBook::open("/data/Accounts.plist", disk);
        EXPECT_THAT(book->all(), SizeIs(0));
        ASSERT_TRUE(book->put(localAccount("ben", "ben@example.org")));
        ASSERT_TRUE(book->put(localAccount("ada", "old@example.org")));
        const AccountRecord* const old = book->find("ada");
        ASSERT_TRUE(book->put(ada()));
        EXPECT_EQ(old->mainAddress(), "old@example.org") << "whoever holds a record goes on with it";
    }
    const auto book = *AccountBook::open("/data/Accounts.plist", *disk.afterPowerCut());
    ASSERT_THAT(book->all(), SizeIs(2));
    EXPECT_EQ(book->all()[0].identifier, "ben");
    EXPECT_EQ(book->all()[0].kind, AccountKind::Local);
    EXPECT_FALSE(book->all()[0].incoming);
    EXPECT_FALSE(book->all()[0].outgoing);
    const AccountRecord found = *book->find("ada"), wanted = ada();
    EXPECT_EQ(found.displayName, "Work");
    EXPECT_EQ(found.kind, AccountKind::Imap);
    EXPECT_FALSE(found.isEnabled);
    EXPECT_EQ(found.identities, wanted.identities);
    EXPECT_EQ(found.maildir, wanted.maildir);
    EXPECT_TRUE(found.hasOwnOutgoingPassword);
    expectEqual(found.incoming, wanted.incoming);
    expectEqual(found.outgoing, wanted.outgoing);
}

TEST(AccountBook, FindsByAddressWhatIsInUse) {
    TornDisk disk;
    const auto book = *AccountBook::open("/data/Accounts.plist", disk);
    ASSERT_TRUE(book->put(ada()));
    EXPECT_EQ(book->withAddress("A.LOVELACE@example.ORG"), nullptr) << "it is switched off";
    EXPECT_THAT(book->inUse(), SizeIs(0));
    AccountRecord on = ada();
    on.isEnabled = true;
    ASSERT_TRUE(book->put(on));
    EXPECT_EQ(book->withAddress("A.LOVELACE@example.ORG"), book->find("ada"));
    EXPECT_EQ(book->withAddress("eve@example.org"), nullptr);
    EXPECT_THAT(book->inUse(), SizeIs(1));
}

TEST(AccountBook, RemovesForGood) {
    TornDisk disk;
    {
        const auto book = *AccountBook::open("/data/Accounts.plist", disk);
        ASSERT_TRUE(book->put(localAccount("ben", "ben@example.org")));
        ASSERT_TRUE(book->put(ada()));
        ASSERT_TRUE(book->remove("ada"));
        EXPECT_TRUE(book->remove("nobody"));
        EXPECT_EQ(book->find("ada"), nullptr);
    }
    const auto book = *AccountBook::open("/data/Accounts.plist", *disk.afterPowerCut());
    ASSERT_THAT(book->all(), SizeIs(1));
    EXPECT_EQ(book->all()[0].identifier, "ben");
}

TEST(AccountBook, ReadsFilesOfEarlierVersions) {
    TornDisk disk;
    disk.put(
        "/data/Accounts.plist",
        "<plist version=\"1.0\"><dict><key>Accounts</key><array><dict>"
        "<key>Identifier</key><string>home</string><key>DisplayName</key><string>Home</string>"
        "<key>FullName</key><string>Ada Lovelace</string>"
        "<key>Addresses</key><array><string>ada@example.org</string><string>a@example.org</string></array>"
        "<key>Server</key><dict><key>Host</key><string>smtp.example.org</string><key>Port</key><integer>465</integer>"
        "<key>Security</key><string>tls</string><key>User</key><string>ada</string>"
        "<key>PasswordCommand</key><array><string>pass</string></array></dict></dict></array></dict></plist>");
    const auto book = AccountBook::open("/data/Accounts.plist", disk);
    ASSERT_TRUE(book) << book.error().description;
    const AccountRecord home = (*book)->all().at(0);
    EXPECT_TRUE(home.isEnabled);
    EXPECT_EQ(home.kind, AccountKind::Local);
    EXPECT_EQ(home.identities,
              (std::vector<MailIdentity>{{"Ada Lovelace", "ada@example.org"}, {"Ada Lovelace", "a@example.org"}}));
    ASSERT_TRUE(home.outgoing);
    EXPECT_EQ(home.outgoing->host, "smtp.example.org");
    EXPECT_EQ(home.outgoing->security, TransportSecurity::Tls);
    EXPECT_EQ(home.outgoing->passwordCommand, std::vector<std::string>{"pass"});
}

TEST(AccountBook, RefusesWhatCanBeNoAccount) {
    TornDisk disk;
    const auto book = *AccountBook::open("/data/Accounts.plist", disk);
    AccountRecord noHost = ada(), noIncoming = ada(), nowhere = ada(), nobody = ada();
    noHost.outgoing->host.clear();
    noIncoming.incoming.reset();
    nowhere.kind = AccountKind::Maildir;
    nowhere.maildir = "Maildir";
    nobody.identities.clear();
    for (const AccountRecord& record :
         {localAccount("", "a@b.example"), localAccount("../x", "a@b.example"), localAccount("a.b", "a@b.example"),
          localAccount("-a", "a@b.example"), localAccount("a", "no address"), nobody, noHost, noIncoming, nowhere})
        EXPECT_FALSE(book->put(record)) << record.identifier;
    EXPECT_THAT(book->all(), SizeIs(0));
    EXPECT_TRUE(disk.contents().empty());
}

TEST(AccountBook, ADamagedFileIsAnErrorAndStaysUntouched) {
    for (const char* content : {"", "rubbish", "<plist version=\"1.0\"><array/></plist>",
                                "<plist version=\"1.0\"><dict><key>Accounts</key><array><dict>"
                                "<key>Identifier</key><string>../etc</string></dict></array></dict></plist>",
                                "<plist version=\"1.0\"><dict><key>Accounts</key><array><dict>"
                                "<key>Identifier</key><string>a</string><key>Kind</key><string>future</string>"
                                "<key>Addresses</key><array><string>a@b.example</string></array>"
                                "</dict></array></dict></plist>"}) {
        TornDisk disk;
        disk.put("/data/Accounts.plist", content);
        const auto book = AccountBook::open("/data/Accounts.plist", disk);
        ASSERT_FALSE(book) << content;
        EXPECT_THAT(book.error().description, ::testing::HasSubstr("Accounts.plist"));
        EXPECT_EQ(disk.read("/data/Accounts.plist"), content);
    }
}

TEST(AccountBook, PowerCutLeavesTheOldOrTheNewBook) {
    for (int cut = 1;; ++cut) {
        TornDisk disk;
        const auto book = *AccountBook::open("/data/Accounts.plist", disk);
        ASSERT_TRUE(book->put(localAccount("ben", "ben@example.org")));
        disk.failAt({.step = cut, .fault = TornDisk::Fault::PowerCut});
        const bool isSaved = book->put(ada()).has_value();
        for (unsigned seed = 0; seed < 10; ++seed) {
            const auto after = AccountBook::open("/data/Accounts.plist", *disk.afterPowerCut(seed));
            ASSERT_TRUE(after) << after.error().description;
            const auto count = (*after)->all().size();
            EXPECT_TRUE(count == 2 || (!isSaved && count == 1)) << "cut " << cut;
        }
        if (disk.steps() < cut) break;
    }
}

}  // namespace qs
