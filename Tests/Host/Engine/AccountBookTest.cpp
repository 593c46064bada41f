#include "AccountBook.h"

#include <gmock/gmock.h>

#include "Foundation/FileSystem.h"
#include "Support/TornDisk.h"

namespace qs {

using ::testing::SizeIs;

namespace {

const AccountRecord kAda{.identifier = "ada",
                         .displayName = "Work",
                         .fullName = "Ada Lovelace",
                         .addresses = {"ada@example.org", "a.lovelace@example.org"},
                         .hasServer = true,
                         .server = {.host = "mail.example.org",
                                    .port = 465,
                                    .security = TransportSecurity::Tls,
                                    .user = "ada",
                                    .passwordCommand = {"pass", "show", "mail"},
                                    .certificateAuthorities = "/etc/own.pem"}};

AccountRecord localAccount(std::string identifier, std::vector<std::string> addresses) {
    return {.identifier = std::move(identifier),
            .displayName = {},
            .fullName = {},
            .addresses = std::move(addresses),
            .server = {}};
}

}  // namespace

TEST(AccountBook, KeepsAccountsAcrossARestart) {
    TornDisk disk;
    {
        const auto book = *AccountBook::open("/data/Accounts.plist", disk);
        EXPECT_THAT(book->all(), SizeIs(0));
        ASSERT_TRUE(book->put(localAccount("ben", {"ben@example.org"})));
        ASSERT_TRUE(book->put(localAccount("ada", {"old@example.org"})));
        const AccountRecord* const old = book->find("ada");
        ASSERT_TRUE(book->put(kAda));
        EXPECT_EQ(old->addresses.front(), "old@example.org") << "whoever holds a record goes on with it";
    }
    const auto book = *AccountBook::open("/data/Accounts.plist", *disk.afterPowerCut());
    ASSERT_THAT(book->all(), SizeIs(2));
    EXPECT_EQ(book->all()[0].identifier, "ben");
    EXPECT_FALSE(book->all()[0].hasServer);
    const AccountRecord ada = *book->find("ada");
    EXPECT_EQ(ada.displayName, "Work");
    EXPECT_EQ(ada.fullName, "Ada Lovelace");
    EXPECT_EQ(ada.addresses, kAda.addresses);
    ASSERT_TRUE(ada.hasServer);
    EXPECT_EQ(ada.server.host, "mail.example.org");
    EXPECT_EQ(ada.server.port, 465);
    EXPECT_EQ(ada.server.security, TransportSecurity::Tls);
    EXPECT_EQ(ada.server.user, "ada");
    EXPECT_EQ(ada.server.passwordCommand, kAda.server.passwordCommand);
    EXPECT_EQ(ada.server.certificateAuthorities, "/etc/own.pem");
    EXPECT_EQ(book->withAddress("A.LOVELACE@example.ORG"), book->find("ada"));
    EXPECT_EQ(book->withAddress("eve@example.org"), nullptr);
}

TEST(AccountBook, RefusesWhatCanBeNoAccount) {
    TornDisk disk;
    const auto book = *AccountBook::open("/data/Accounts.plist", disk);
    AccountRecord noHost = kAda;
    noHost.server.host.clear();
    for (const AccountRecord& record : {localAccount("", {"a@b.example"}), localAccount("../x", {"a@b.example"}),
                                        localAccount("a.b", {"a@b.example"}), localAccount("-a", {"a@b.example"}),
                                        localAccount("a", {}), localAccount("a", {"no address"}), noHost})
        EXPECT_FALSE(book->put(record)) << record.identifier;
    EXPECT_THAT(book->all(), SizeIs(0));
    EXPECT_TRUE(disk.contents().empty());
}

TEST(AccountBook, ADamagedFileIsAnErrorAndStaysUntouched) {
    for (const char* content : {"", "rubbish", "<plist version=\"1.0\"><array/></plist>",
                                "<plist version=\"1.0\"><dict><key>Accounts</key><array><dict>"
                                "<key>Identifier</key><string>../etc</string></dict></array></dict></plist>"}) {
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
        ASSERT_TRUE(book->put(localAccount("ben", {"ben@example.org"})));
        disk.failAt({.step = cut, .fault = TornDisk::Fault::PowerCut});
        const bool isSaved = book->put(kAda).has_value();
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
