// The network and whoever stands in it: what comes and goes there must not stop an account for good.
#include <atomic>
#include <future>

#include "Imap/MeddledFixture.h"
#include "Reachability/NetworkState.h"
#include "Support/ScriptedServer.h"
#include "Support/Waiting.h"

namespace qs {

using ::testing::HasSubstr;

class WatchingTest : public MeddledTest {
protected:
    EngineOptions options() override {
        EngineOptions options = MeddledTest::options();
        options.watchesInboxes = true;
        return options;
    }
    // The watch has a thread of its own, which notices by itself that it is over.
    bool hasEnded() {
        return becomesSo([this] { return log_.contains("no longer waiting for news of an inbox"); });
    }
};

TEST_F(WatchingTest, AServerThatOffersToTellNewsAndDoesNotIsNotAskedAgainAndAgain) {
    answer(" IDLE", "BAD Unknown command.");
    start();
    ASSERT_TRUE(hasEnded());
    for (int i = 0; i < 10; ++i)
        syncAll();
    engine_.reset();  // and with it a watch that asks once more
    EXPECT_EQ(count(" IDLE"), 1);
}

TEST_F(WatchingTest, NewsAreWaitedForAgainAsSoonAsTheNetworkIsBack) {
    std::promise<void> first, second;
    std::atomic<int> asked = 0;
    whenAsked_ = [&](const std::string& line) -> std::optional<CuttingProxy::Passing> {
        if (line.find(" IDLE") == std::string::npos) return {};
        const int number = ++asked;
        if (number == 1) first.set_value();
        if (number == 2) second.set_value();
        return {};
    };
    start();
    EXPECT_TRUE(isKept(first));
    proxy_->goDown();
    EXPECT_TRUE(hasEnded());
    syncAll();
    EXPECT_EQ(status().state, SyncStatus::State::Waiting);
    proxy_->letPass();
    // No further than it takes: the new watch, of which the clock knows nothing, must get its password in time.
    for (int i = 0; i < 60 && status().state != SyncStatus::State::Idle; ++i)
        loop_->advance(1);
    EXPECT_TRUE(isKept(second));
    engine_.reset();  // before what its watch is asked with
}

class SecureSyncTest : public SyncTest {
protected:
    int serverPort() const override { return server_->tlsPort(); }
    AccountRecord secured(const std::string& authorities) const {
        AccountRecord account = record();
        account.incoming->security = TransportSecurity::Tls;
        account.incoming->certificateAuthorities = authorities;
        return account;
    }
};

TEST_F(SecureSyncTest, AHandshakeThatBreaksOffIsNotTheEnd) {
    deliver("one");
    keepAccount(secured(server_->authority().write(folder_ / "authority.pem").string()));
    proxy_->cutAfterReceived(20);
    start();
    EXPECT_EQ(status().state, SyncStatus::State::Waiting) << status().text;
    proxy_->letPass();
    loop_->advance(60);
    EXPECT_EQ(status().state, SyncStatus::State::Idle) << status().text;
    expectBoth("INBOX", {"one"});
}

TEST_F(SecureSyncTest, AnotherThatAnswersInItsPlaceForAWhileIsNotTheEnd) {
    deliver("one");
    const auto authorities = folder_ / "authority.pem";
    TestAuthority stranger;
    (void)stranger.write(authorities);
    keepAccount(secured(authorities.string()));
    start();
    EXPECT_EQ(status().state, SyncStatus::State::Waiting);
    EXPECT_THAT(status().text, HasSubstr("could not prove who it is"));
    (void)server_->authority().write(authorities);
    loop_->advance(60);
    EXPECT_EQ(status().state, SyncStatus::State::Idle) << status().text;
    expectBoth("INBOX", {"one"});
}

// At an address that is no name of this very machine, though it leads here.
class NetworkTest : public AtServerTest {
protected:
    int serverPort() const override { return busy_.port(); }
    std::unique_ptr<ImapConnection> signIn() const override { return nullptr; }
    void SetUp() override {
        busy_.script().say("* BYE Too many connections.");
        AtServerTest::SetUp();
        AccountRecord account = record();
        account.incoming->host = "0.0.0.0";
        account.incoming->security = TransportSecurity::StartTls;
        keepAccount(account);
    }
    EngineOptions options() override {
        EngineOptions options = AtServerTest::options();
        options.network = network_;
        return options;
    }

    ScriptedServer busy_;
    const std::shared_ptr<NetworkState::Fixed> network_ = NetworkState::fixed(true);
};

TEST_F(NetworkTest, AnAccountThatWasToWaitComesBackWithTheNetwork) {
    start();
    ASSERT_EQ(status().state, SyncStatus::State::Waiting) << status().text;
    EXPECT_THAT(status().text, HasSubstr("Too many connections"));
    network_->set({.isReachable = false});
    loop_->advance(4000);
    ASSERT_EQ(status().state, SyncStatus::State::Offline);
    network_->set({.isReachable = true});
    loop_->advance(60);
    EXPECT_EQ(status().state, SyncStatus::State::Waiting) << "it has tried";
}

}  // namespace qs
