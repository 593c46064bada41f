// Kills the program with SIGKILL while it takes messages back out of the outbox, alone or with a delivery at their
// heels, and starts it again: every message must be among the drafts or sent, and never both.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <random>

#include "Application/HostInstances.h"
#include "Compose/ComposeBackEnd.h"
#include "DeliveryFixture.h"
#include "Foundation/Log.h"
#include "KillSupport.h"
#include "Mail/MailAccount.h"
#include "Mail/Mailbox.h"
#include "MailReading.h"

namespace qs {
namespace {

struct Part {
    std::filesystem::path folder;
    int number = 0;  // of the message that is queued and taken back; 0: only settle what is there
    int dieAt = 0;
    bool diesAfter = false, isDelivered = false;  // a delivery of it begins first
    std::string target = "ada";                   // whose drafts
};

// One life of the program.
class Life {
public:
    explicit Life(const Part& part) : part_(part) {
        auto engine = MailEngine::open({.dataFolder = part.folder, .files = &files_});
        if (!engine) throw std::runtime_error(engine.error().description);
        engine_ = std::move(*engine);
        MailReading::of(engine_->library()).waitUntilReadIn();
    }
    ~Life() {
        engine_.reset();
        HostInstances::current() = {};
    }

    void run() {
        DeliveryService& deliveries = engine_->deliveries();
        const bool isNew = part_.number > 0;
        std::int64_t id = 0;
        if (isNew) {
            OutgoingMessage message;
            message.content = testMail("ada", "ben@example.org", std::to_string(part_.number));
            auto added = deliveries.append("ada", message);
            if (!added) throw std::runtime_error(added.error().description);
            id = (*added)->libraryID();
        }
        files_.killAt(part_.dieAt, part_.diesAfter);
        if (part_.isDelivered) deliveries.start();
        if (isNew)
            (void)deliveries.takeBack({id}, *engine_->library().mailbox(part_.target, MailboxKind::Drafts, true));
        if (!part_.isDelivered) deliveries.start();
        if (!loop_->runUntil([&] { return deliveries.statuses().empty(); }))
            throw std::runtime_error("it did not come to an end");
    }

    int copies(int number, MailboxKind kind) {
        int count = 0;
        for (const MessageRef& copy :
             engine_->library().messagesWithMessageIDHeader(std::to_string(number) + "@example.org"))
            count += copy->mailbox() && copy->mailbox()->kind() == kind;
        return count;
    }

private:
    Part part_;
    std::unique_ptr<RunLoop> loop_ = RunLoop::make(RunLoop::Clock::Real);
    ClassRegistry registry_;
    DeadlyFileSystem files_;
    std::unique_ptr<MailEngine> engine_;
};

// Not a test: the part of the program, when this executable is started for it.
TEST(UndoProgram, DISABLED_Runs) {
    Part part;
    part.folder = variable("QS_KILL_FOLDER");
    part.number = std::atoi(variable("QS_KILL_NUMBER").c_str());
    part.dieAt = std::atoi(variable("QS_KILL_AT").c_str());
    part.diesAfter = variable("QS_KILL_AFTER") == "1";
    part.isDelivered = variable("QS_KILL_DELIVERED") == "1";
    part.target = variable("QS_KILL_TARGET");
    ASSERT_FALSE(part.folder.empty());
    DDLog::addLogger(DDTTYLogger::sharedInstance());
    Life(part).run();
}

class UndoKill : public ::testing::Test {
protected:
    UndoKill() {
        auto book = AccountBook::open(folder_ / "Accounts.plist", FileSystem::real());
        for (const AccountRecord& account : {deliveryAccount("ada"), deliveryAccount("ben")})
            EXPECT_TRUE((*book)->put(account));
    }

    // One life. True when it ended by itself and well.
    bool live(const Part& part) {
        const int status = runPart(
            "UndoProgram.DISABLED_Runs",
            {"QS_KILL_FOLDER=" + folder_.path().string(), "QS_KILL_NUMBER=" + std::to_string(part.number),
             "QS_KILL_AT=" + std::to_string(part.dieAt), std::string("QS_KILL_AFTER=") + (part.diesAfter ? "1" : "0"),
             std::string("QS_KILL_DELIVERED=") + (part.isDelivered ? "1" : "0"), "QS_KILL_TARGET=" + part.target},
            folder_ / "life.log");
        if (wasKilled(status)) {
            ++kills_;
            return false;
        }
        EXPECT_TRUE(endedWell(status)) << "see " << folder_ / "life.log";
        return endedWell(status);
    }

    void expectEachInOnePlace() {
        int drafts = 0, sent = 0, both = 0, lost = 0;
        {
            Life life({.folder = folder_.path()});
            for (int i = 1; i <= messages_; ++i) {
                const int inDrafts = life.copies(i, MailboxKind::Drafts), inInbox = life.copies(i, MailboxKind::Inbox);
                EXPECT_EQ(inDrafts + inInbox, 1) << i;
                EXPECT_EQ(life.copies(i, MailboxKind::Sent), inInbox) << i;
                EXPECT_EQ(life.copies(i, MailboxKind::Outbox), 0) << i;
                drafts += inDrafts == 1 && inInbox == 0;
                sent += inDrafts == 0 && inInbox == 1;
                both += inDrafts + inInbox > 1;
                lost += inDrafts + inInbox == 0;
            }
        }
        for (const auto& entry : std::filesystem::directory_iterator(folder_ / "Deliveries"))
            EXPECT_NE(entry.path().extension(), ".takeback") << entry.path();
        std::cout << "[ FIGURES  ] " << kills_ << " kills, " << messages_ << " messages: " << drafts
                  << " among the drafts, " << sent << " sent, " << both << " both, " << lost << " lost\n";
    }

    TemporaryFolder folder_;
    int messages_ = 0, kills_ = 0;
};

TEST_F(UndoKill, AtEveryFileOperation) {
    for (const char* target : {"ada", "ben"}) {
        for (const bool diesAfter : {false, true}) {
            for (int at = 1;; ++at) {
                ASSERT_LT(at, 60);
                const bool isOver =
                    live({.folder = {}, .number = ++messages_, .dieAt = at, .diesAfter = diesAfter, .target = target});
                if (isOver || HasFailure()) break;
                ASSERT_TRUE(live({}));
            }
        }
    }
    expectEachInOnePlace();
}

TEST_F(UndoKill, AtRandomPointsWhileADeliveryRuns) {
    const int kills = variable("QUILLSTEAD_FULL_TESTS").empty() ? 40 : 500;
    std::mt19937 random(20261123);
    while (kills_ < kills && !HasFailure())
        (void)live({.folder = {},
                    .number = random() % 4 == 0 ? 0 : ++messages_,
                    .dieAt = static_cast<int>(1 + random() % 40),
                    .diesAfter = random() % 2 == 0,
                    .isDelivered = random() % 2 == 0,
                    .target = random() % 4 == 0 ? "ben" : "ada"});
    ASSERT_TRUE(live({}));
    expectEachInOnePlace();
}

}  // namespace
}  // namespace qs
