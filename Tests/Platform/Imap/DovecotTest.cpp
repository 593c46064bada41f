// The IMAP line against a real server.
#include "ImapFixture.h"

namespace qs {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr std::string_view kHello = "From: sam@example.org\r\nSubject: hello\r\nMessage-Id: <1@x>\r\n\r\nGood day\r\n";

class Dovecot : public ImapTest {
protected:
    static void SetUpTestSuite() { server_ = std::make_unique<DovecotServer>(); }
    static void TearDownTestSuite() { server_.reset(); }

    ImapServer open() { return account(server_->port(), TransportSecurity::None); }
    ImapServer secured(TransportSecurity security) {
        ImapServer result =
            account(security == TransportSecurity::Tls ? server_->tlsPort() : server_->port(), security);
        result.certificateAuthorities = server_->authority().write(folder_ / "authority.pem").string();
        return result;
    }

    static inline std::unique_ptr<DovecotServer> server_;
};

TEST_F(Dovecot, SignsInOverEveryKindOfConnection) {
    server_->deliver("ada", kHello);
    for (const ImapServer& server :
         {open(), secured(TransportSecurity::StartTls), secured(TransportSecurity::Tls)}) {
        ImapConnection connection(server);
        const auto opened = connection.open(password());
        ASSERT_TRUE(opened) << opened.error().description << server_->log();
        EXPECT_TRUE(connection.has("QRESYNC"));
        EXPECT_EQ(connection.serverIdentity().at("name"), "Dovecot");
        const auto selected = connection.select(ImapMailboxName::inbox());
        ASSERT_TRUE(selected) << selected.error().description;
        EXPECT_GE(selected->messages, 1u);
        std::vector<ImapMessage> messages;
        const auto fetched =
            connection.fetch(ImapUidSet::all(), {.date = true, .size = true, .content = ImapFetch::Content::Whole},
                             [&](ImapMessage message) { messages.push_back(std::move(message)); });
        ASSERT_TRUE(fetched) << fetched.error().description;
        ASSERT_FALSE(messages.empty());
        EXPECT_EQ(messages.back().content, kHello);
        EXPECT_EQ(messages.back().size, kHello.size());
        connection.close();
        EXPECT_FALSE(connection.isOpen());
    }
}

}  // namespace
}  // namespace qs
