// One person at two machines with one account at a real mail server, and a third program on the same mail: whatever
// each of them does with a snoozed message, it is there once and nothing is lost.
#include <algorithm>

#include "Imap/ImapConnection.h"
#include "MailEngine.h"
#include "MailSync.h"
#include "PluginTest.h"
#include "Snooze/QSSnoozeManager.h"
#include "Support/CuttingProxy.h"
#include "Support/DovecotServer.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr const char* kId = "paper@mill.example";
constexpr TimeInterval kHour = 3600;
constexpr int kMinors[] = {10, 11, 12};

class SnoozeTwoMachinesTest : public PluginTest {
protected:
    void SetUp() override {
        if (!DovecotServer::isInstalled()) GTEST_SKIP() << "there is no Dovecot";
        server_ = std::make_unique<DovecotServer>();
        network_ = std::make_unique<CuttingProxy>(server_->port());
    }

    AccountRecord account() const {
        return {.identifier = "ada",
                .displayName = "Ada",
                .kind = AccountKind::Imap,
                .identities = {{"Ada Lovelace", "ada@example.org"}},
                .incoming = IncomingServer{.host = "127.0.0.1",
                                           .port = network_->port(),
                                           .security = TransportSecurity::None,
                                           .user = "ada",
                                           .passwordCommand = {"/bin/echo", "analytical"}}};
    }
    // A machine that was never used before.
    void begin(int osMinor) {
        startHost({.osMinor = osMinor, .accounts = {account()}, .start = now_});
        sync();
    }
    std::unique_ptr<TemporaryHost> leave() {
        now_ = std::max(now_, RunLoop::main().now());
        leftAt_[host_.get()] = RunLoop::main().now();
        MailBundleUnload();
        host_->shutDown();
        return std::move(host_);
    }
    // It shows the time of the last machine that was used.
    void goBackTo(std::unique_ptr<TemporaryHost>& machine) {
        host_ = std::move(machine);
        host_->passWhileDown(now_ - leftAt_.at(host_.get()));
        host_->start();
        load();
        sync();
    }
    void sync() {
        host_->engine().sync().syncNow({});
        for (int i = 0; i < 4; ++i)
            host_->advance(2);
    }
    void deliver(const std::string& mailbox = "INBOX") {
        server_->deliver("ada",
                         "From: The mill <mill@example.org>\r\nTo: ada@example.org\r\nMessage-Id: <" +
                             std::string(kId) + ">\r\nSubject: Paper\r\n\r\nIt is ready.\r\n",
                         mailbox);
    }
    void snooze() {
        const auto copies = host_->library().messagesWithMessageIDHeader(kId);
        ASSERT_EQ(copies.size(), 1u);
        QSSnoozeManager::sharedManager().snoozeMessage(copies[0], kSnoozeOneHour);
        host_->advance(2);
    }
    std::vector<std::string> here() {
        std::vector<std::string> places;
        for (const MessageRef& copy : host_->library().messagesWithMessageIDHeader(kId))
            places.push_back(copy->mailbox()->identifier() + (copy->flags().seen ? " read" : ""));
        return places;
    }

    // The third program.
    ImapConnection& other() {
        if (!other_ || !other_->isOpen()) other_ = server_->signIn("ada");
        return *other_;
    }
    // How many messages each mailbox of the server holds, without empty ones.
    std::map<std::string, std::uint32_t> there() {
        std::map<std::string, std::uint32_t> counts;
        const auto mailboxes = other().list();
        if (!mailboxes) throw std::runtime_error(mailboxes.error().description);
        for (const ImapMailbox& each : *mailboxes) {
            const auto selection = other().select(each.name);
            if (selection && selection->messages > 0) counts[each.name.text()] = selection->messages;
        }
        return counts;
    }
    using Counts = std::map<std::string, std::uint32_t>;

    Date now_{1'795'428'000};
    std::unique_ptr<DovecotServer> server_;
    std::unique_ptr<CuttingProxy> network_;
    std::unique_ptr<ImapConnection> other_;
    std::map<const TemporaryHost*, Date> leftAt_;
};

TEST_F(SnoozeTwoMachinesTest, WhatOneMachineSnoozesIsAsideOnTheOtherAndComesBackOnce) {
    for (const int minor : kMinors) {
        SetUp();
        deliver();
        begin(minor);
        EXPECT_THAT(here(), ElementsAre("ada/INBOX"));
        snooze();
        sync();
        EXPECT_EQ(there(), (Counts{{"Snooze", 1}})) << minor;
        auto office = leave();

        begin(minor);
        EXPECT_THAT(here(), ElementsAre("ada/Snooze")) << minor;
        host_->advance(2 * kHour);
        EXPECT_THAT(here(), ElementsAre("ada/Snooze")) << "its date is the other machine's, " << minor;
        auto home = leave();

        goBackTo(office);
        host_->advance(30);
        sync();
        EXPECT_THAT(here(), ElementsAre("ada/INBOX")) << minor;
        EXPECT_EQ(there(), (Counts{{"INBOX", 1}})) << minor;
        office = leave();
        goBackTo(home);
        EXPECT_THAT(here(), ElementsAre("ada/INBOX")) << minor;
        home = leave();
        other_.reset();
    }
}

TEST_F(SnoozeTwoMachinesTest, AnotherProgramMovesItMeanwhileAndItStaysThere) {
    for (const int minor : kMinors) {
        SetUp();
        deliver();
        begin(minor);
        snooze();
        sync();
        ASSERT_TRUE(other().create(ImapMailboxName::fromText("Later")));
        ASSERT_TRUE(other().select(ImapMailboxName::fromText("Snooze")));
        ASSERT_TRUE(other().move(ImapUidSet::all(), ImapMailboxName::fromText("Later")));
        sync();
        EXPECT_THAT(here(), ElementsAre("ada/Later")) << minor;
        host_->advance(2 * kHour);
        sync();
        EXPECT_THAT(here(), ElementsAre("ada/Later")) << minor;
        EXPECT_EQ(there(), (Counts{{"Later", 1}})) << minor;
        leave();
        other_.reset();
    }
}

TEST_F(SnoozeTwoMachinesTest, BothSnoozeItAndBothWakeItWithoutKnowingOfEachOther) {
    for (const int minor : kMinors) {
        SetUp();
        deliver();
        begin(minor);
        auto office = leave();
        begin(minor);
        auto home = leave();

        network_->goDown();
        for (auto* machine : {&office, &home}) {
            goBackTo(*machine);
            snooze();
            EXPECT_THAT(here(), ElementsAre("ada/Snooze")) << minor;
            *machine = leave();
        }
        network_->letPass();
        for (auto* machine : {&home, &office, &home}) {
            goBackTo(*machine);
            EXPECT_THAT(here(), ElementsAre("ada/Snooze")) << minor;
            EXPECT_EQ(there(), (Counts{{"Snooze", 1}})) << minor;
            *machine = leave();
        }

        network_->goDown();
        now_ = now_ + 2 * kHour;
        for (auto* machine : {&office, &home}) {
            goBackTo(*machine);
            host_->advance(30);
            EXPECT_THAT(here(), ElementsAre("ada/INBOX")) << minor;
            *machine = leave();
        }
        network_->letPass();
        for (auto* machine : {&office, &home, &office}) {
            goBackTo(*machine);
            EXPECT_THAT(here(), ElementsAre("ada/INBOX")) << minor;
            EXPECT_EQ(there(), (Counts{{"INBOX", 1}})) << minor;
            *machine = leave();
        }
        other_.reset();
    }
}

}  // namespace
}  // namespace qs
