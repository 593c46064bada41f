// Snoozing in an account at Gmail: labels change, no message comes or goes, and another client may be at work.
#include <algorithm>

#include "Mail/MailAccount.h"
#include "MailEngine.h"
#include "MailSync.h"
#include "PluginTest.h"
#include "Snooze/QSSnoozeManager.h"
#include "Support/GmailMail.h"
#include "Support/GmailServer.h"
#include "UserNotifications.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr const char* kId = "paper@mill.example";

class SnoozeGmailTest : public PluginTest {
protected:
    using Names = std::vector<std::string>;

    void begin(int osMinor) {
        server_ = std::make_unique<GmailServer>();
        number_ = server_->deliver("From: The mill <mill@example.org>\r\nTo: ada@example.org\r\nMessage-Id: <" +
                                       std::string(kId) + ">\r\nSubject: Paper\r\n\r\nIt is ready.\r\n",
                                   {"INBOX"}, {"\\Seen"});
        AccountRecord account{.identifier = "ada",
                              .displayName = "Ada",
                              .kind = AccountKind::Imap,
                              .identities = {{"Ada Lovelace", "ada@example.org"}},
                              .incoming = IncomingServer{.host = "127.0.0.1",
                                                         .port = server_->port(),
                                                         .security = TransportSecurity::None,
                                                         .user = "ada",
                                                         .passwordCommand = {"/bin/echo", "analytical"}}};
        startHost({.osMinor = osMinor, .accounts = {account}, .start = {1'795'428'000}});
        told_.clear();
        toldWatch_ = NotificationCenter::defaultCenter().addObserver(
            std::string(UserNotificationWasPostedNotification), [this](const Notification& posted) {
                for (const Value& id : posted.userInfo["messages"].array())
                    told_.push_back(host_->library().summary(id.integerValue())->subject);
            });
        sync();
    }
    void end() {
        toldWatch_.reset();
        PluginTest::TearDown();
        EXPECT_THAT(server_->complaints(), IsEmpty());
        EXPECT_THAT(server_->numbers(), SizeIs(1)) << "nothing was put there a second time";
        EXPECT_EQ(server_->timesFetched(number_), 1);
        server_.reset();
    }
    void TearDown() override {
        if (server_) end();
    }
    void sync() {
        host_->engine().sync().syncNow({});
        for (int i = 0; i < 4; ++i)
            host_->advance(2);
    }
    static QSSnoozeManager& manager() { return QSSnoozeManager::sharedManager(); }
    void snooze() {
        manager().snoozeMessage(host_->library().messagesWithMessageIDHeader(kId).at(0), kSnoozeOneHour);
        host_->settle();
    }
    Names here() {
        Names places;
        for (const MessageRef& copy : host_->library().messagesWithMessageIDHeader(kId))
            places.push_back(copy->mailbox()->identifier());
        std::sort(places.begin(), places.end());
        return places;
    }
    Names there() { return server_->mailboxesOf(number_); }
    bool isUnreadEverywhere() {
        const auto copies = host_->library().messagesWithMessageIDHeader(kId);
        return std::ranges::none_of(copies, [](const MessageRef& copy) { return copy->flags().seen; });
    }

    std::unique_ptr<GmailServer> server_;
    std::uint64_t number_ = 0;
    Names told_;
    ObservationRef toldWatch_;
};

TEST_F(SnoozeGmailTest, ALabelGoesAwayAndComesBackUnreadAndIsToldOfOnce) {
    for (const int minor : {10, 11, 12}) {
        begin(minor);
        snooze();
        EXPECT_EQ(here(), (Names{"ada/Archive", "ada/Snooze"})) << minor;
        sync();
        EXPECT_EQ(there(), (Names{"Snooze", GmailMail::kAll})) << minor;
        EXPECT_TRUE(manager().isSnoozedMessageWithMessageID(kId));
        const auto snoozeBox = host_->library().mailboxWithIdentifier("ada/Snooze");
        EXPECT_EQ(manager().snoozedCountForMailbox(*snoozeBox), 1);
        host_->advance(3700);
        sync();
        EXPECT_EQ(here(), (Names{"ada/Archive", "ada/INBOX"})) << minor;
        EXPECT_EQ(there(), (Names{"INBOX", GmailMail::kAll})) << minor;
        EXPECT_FALSE(manager().isSnoozedMessageWithMessageID(kId)) << minor;
        EXPECT_TRUE(isUnreadEverywhere()) << minor;
        EXPECT_EQ(server_->flagsOf(number_), std::set<std::string>()) << minor;
        host_->advance(3600);
        EXPECT_EQ(told_, Names(minor >= 11 ? 1 : 0, "Paper")) << "once, " << minor;
        end();
    }
}

TEST_F(SnoozeGmailTest, AnotherClientEndsItAndOneThatChangesOtherLabelsDoesNot) {
    begin(12);
    server_->create("Mills");
    snooze();
    sync();
    server_->label(number_, {"Mills"});
    sync();
    EXPECT_TRUE(manager().isSnoozedMessageWithMessageID(kId));
    EXPECT_EQ(here(), (Names{"ada/Archive", "ada/Mills", "ada/Snooze"}));
    server_->label(number_, {"INBOX"}, {"Snooze"});
    sync();
    EXPECT_FALSE(manager().isSnoozedMessageWithMessageID(kId));
    host_->advance(3700);
    sync();
    EXPECT_EQ(here(), (Names{"ada/Archive", "ada/INBOX", "ada/Mills"}));
    EXPECT_EQ(there(), (Names{"INBOX", "Mills", GmailMail::kAll}));
    EXPECT_THAT(told_, IsEmpty());
    EXPECT_FALSE(isUnreadEverywhere()) << "nobody woke it";
}

TEST_F(SnoozeGmailTest, WhatFallsDueOfflineWakesAndReachesTheServerLater) {
    begin(12);
    server_->goDown();
    snooze();
    host_->advance(3700);
    EXPECT_EQ(here(), (Names{"ada/Archive", "ada/INBOX"}));
    EXPECT_THAT(told_, ElementsAre("Paper"));
    EXPECT_EQ(there(), (Names{"INBOX", GmailMail::kAll})) << "it has not heard of it";
    server_->letPass();
    sync();
    EXPECT_EQ(here(), (Names{"ada/Archive", "ada/INBOX"}));
    EXPECT_EQ(there(), (Names{"INBOX", GmailMail::kAll}));
    EXPECT_EQ(server_->flagsOf(number_), std::set<std::string>());
    EXPECT_THAT(told_, SizeIs(1));
}

}  // namespace
}  // namespace qs
