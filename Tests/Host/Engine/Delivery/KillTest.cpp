// Kills the program with SIGKILL at chosen points of its work and starts it again, until all is done: every message
// must have been delivered once, or be shown in doubt, and none may be lost.
//
// It runs on a real disk with a real clock. It dies by its own hand before or after a given file operation, by the
// server's while that speaks with it, or by a watcher's before a given system call: no timing is involved.
//
// QUILLSTEAD_FULL_TESTS=1 looks at every operation and every call, and dies 500 times at random.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <mutex>
#include <random>

#include "Application/HostInstances.h"
#include "Compose/ComposeBackEnd.h"
#include "DeliveryFixture.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"
#include "KillSupport.h"
#include "Mail/Mailbox.h"
#include "MailReading.h"
#include "TracedPart.h"

namespace qs {
namespace {

struct Part {
    std::filesystem::path folder;
    int port = 0, messages = 0, dieAt = 0;
    bool diesAfter = false;
    bool isTraced = false;  // then it stops before it queues anything
};

// One life of the program: queue what is not queued yet, deliver, and end when nothing is left to do.
class Life {
public:
    explicit Life(const Part& part) : part_(part), files_(part.dieAt, part.diesAfter) {
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
        std::vector<int> unknown;
        for (int i = 0; i < part_.messages; ++i)
            if (!isKnown(i)) unknown.push_back(i);
        if (part_.isTraced) raise(SIGSTOP);
        for (const int i : unknown)
            append(i);
        engine_->deliveries().start();
        const bool done = loop_->runUntil([this] { return isSettled(); });
        if (!done) throw std::runtime_error("it did not come to an end");
    }

    // Whether the message waits, is on its way or was sent.
    bool isKnown(int number) {
        const std::string id = std::to_string(number);
        const auto taken = engine_->deliveries().taken();
        return !engine_->library().messagesWithMessageIDHeader(id + "@example.org").empty() ||
               std::any_of(taken.begin(), taken.end(), [&](const auto& each) { return each.uniqueID == "U" + id; });
    }

    int copies(int number, const char* account, MailboxKind kind) {
        const auto mailbox = engine_->library().mailbox(account, kind, false);
        const auto all = engine_->library().messagesWithMessageIDHeader(std::to_string(number) + "@example.org");
        return static_cast<int>(std::count_if(all.begin(), all.end(), [&](const MessageRef& message) {
            return mailbox && message->mailbox() && message->mailbox()->identifier() == mailbox->identifier();
        }));
    }

    bool isInDoubt(int number) {
        const auto taken = engine_->deliveries().taken();
        return std::any_of(taken.begin(), taken.end(), [&](const auto& each) {
            return each.uniqueID == "U" + std::to_string(number) && each.state == DeliveryStatus::State::InDoubt;
        });
    }

    MailEngine& engine() { return *engine_; }
    static const char* accountOf(int number) { return number % 2 ? "sam" : "ada"; }

private:
    void append(int number) {
        OutgoingMessage message;
        message.content = testMail(accountOf(number), "ben@example.org", std::to_string(number));
        auto added = engine_->deliveries().append(accountOf(number), message);
        if (!added) throw std::runtime_error(added.error().description);
    }

    bool isSettled() {
        for (const DeliveryStatus& status : engine_->deliveries().statuses())
            if (status.state != DeliveryStatus::State::InDoubt) return false;
        return true;
    }

    Part part_;
    std::unique_ptr<RunLoop> loop_ = RunLoop::make(RunLoop::Clock::Real);
    ClassRegistry registry_;
    DeadlyFileSystem files_;
    std::unique_ptr<MailEngine> engine_;
};

// Not a test: the part of the program, when this executable is started for it.
TEST(DeliveryProgram, DISABLED_Runs) {
    Part part;
    part.folder = variable("QS_KILL_FOLDER");
    part.messages = std::atoi(variable("QS_KILL_MESSAGES").c_str());
    part.dieAt = std::atoi(variable("QS_KILL_AT").c_str());
    part.diesAfter = variable("QS_KILL_AFTER") == "1";
    part.isTraced = variable("QS_KILL_TRACED") == "1";
    ASSERT_FALSE(part.folder.empty());
    DDLog::addLogger(DDTTYLogger::sharedInstance());
    Life(part).run();
}

class Kill : public ::testing::Test {
protected:
    Kill()
        : server_({.onStage = [this](SmtpStage stage, const std::string& command) {
              if (stage != SmtpStage::Body || command.empty()) killVictimAt(stage);
          }}) {
        auto book = AccountBook::open(folder_ / "Accounts.plist", FileSystem::real());
        for (const AccountRecord& account :
             {deliveryAccount("ada"), deliveryAccount("ben"), deliveryAccount("sam", &server_)})
            EXPECT_TRUE((*book)->put(account));
    }

    struct Death {
        int atOperation = 0;
        bool isDone = false;
        std::optional<SmtpStage> atStage;
    };

    // One life. True when it ended by itself and well.
    bool live(const Death& death) {
        const std::vector<std::string> assignments = {"QS_KILL_FOLDER=" + folder_.path().string(),
                                                      "QS_KILL_MESSAGES=" + std::to_string(messages_),
                                                      "QS_KILL_AT=" + std::to_string(death.atOperation),
                                                      std::string("QS_KILL_AFTER=") + (death.isDone ? "1" : "0")};
        // The server asks for its victim as soon as that speaks with it.
        std::unique_lock hold(lock_);
        const int status = runPart(
            "DeliveryProgram.DISABLED_Runs", assignments, folder_ / "life.log",
            [&](pid_t child) {
                victimStage_ = death.atStage.value_or(SmtpStage::Greeting);
                victim_ = death.atStage ? child : 0;
                hold.unlock();
            },
            [&] {
                const std::lock_guard guard(lock_);
                victim_ = 0;
            });
        if (wasKilled(status)) {
            ++kills_;
            return false;
        }
        EXPECT_TRUE(endedWell(status)) << "see " << folder_ / "life.log";
        return endedWell(status);
    }

    // One life that is killed when it is about to make that system call. True when it ended before.
    bool liveToCall(int call) {
        const auto end = runPartToCall("DeliveryProgram.DISABLED_Runs",
                                       {"QS_KILL_FOLDER=" + folder_.path().string(),
                                        "QS_KILL_MESSAGES=" + std::to_string(messages_), "QS_KILL_TRACED=1"},
                                       folder_ / "life.log", call);
        if (wasKilled(end.status)) {
            ++kills_;
            return false;
        }
        EXPECT_TRUE(endedWell(end.status)) << "see " << folder_ / "life.log";
        EXPECT_GT(end.calls, 20) << "too few to be those of two messages";
        return true;
    }

    void killVictimAt(SmtpStage stage) {
        const std::lock_guard guard(lock_);
        if (victim_ != 0 && victimStage_ == stage) kill(std::exchange(victim_, 0), SIGKILL);
    }

    // Answers how many are in doubt.
    int expectEachOnceOrInDoubt() {
        int delivered = 0, inDoubt = 0, lost = 0, twice = 0;
        Life life({.folder = folder_.path(), .messages = messages_});
        life.engine().deliveries().start();
        for (int i = 0; i < messages_; ++i) {
            const bool isRemote = i % 2 != 0;
            const int received = isRemote ? server_.timesReceived(std::to_string(i) + "@example.org")
                                          : life.copies(i, "ben", MailboxKind::Inbox);
            const int sent = life.copies(i, Life::accountOf(i), MailboxKind::Sent);
            const bool isDoubt = life.isInDoubt(i);
            EXPECT_LE(received, 1) << i;
            EXPECT_EQ(life.copies(i, Life::accountOf(i), MailboxKind::Outbox), 0) << i;
            EXPECT_EQ(sent, isDoubt ? 0 : 1) << i;
            EXPECT_TRUE(isDoubt || received == 1) << i;
            EXPECT_TRUE(isRemote || !isDoubt) << i;
            if (received > 1 || sent > 1)
                ++twice;
            else if (isDoubt)
                ++inDoubt;
            else if (received == 1 && sent == 1)
                ++delivered;
            else
                ++lost;
        }
        EXPECT_THAT(server_.violations(), ::testing::IsEmpty());
        std::cout << "[ FIGURES  ] " << kills_ << " kills, " << messages_ << " messages: " << delivered
                  << " delivered once, " << inDoubt << " shown in doubt, " << lost << " lost, " << twice << " twice\n";
        return inDoubt;
    }

    TemporaryFolder folder_;
    std::mutex lock_;
    pid_t victim_ = 0;
    SmtpStage victimStage_ = SmtpStage::Greeting;
    RecordingSmtpServer server_;
    int messages_ = 0, kills_ = 0;
};

TEST_F(Kill, AtEveryFileOperationOfADelivery) {
    for (const bool isDone : {false, true}) {
        for (int at = 1;; ++at) {
            ASSERT_LT(at, 200);
            messages_ += 2;
            if (live({.atOperation = at, .isDone = isDone})) break;
            ASSERT_TRUE(live({}));
            if (!variable("QUILLSTEAD_FULL_TESTS").empty()) continue;
            at += 2;  // the long form looks at each of them
        }
    }
    expectEachOnceOrInDoubt();
}

TEST_F(Kill, AtEverySystemCallOfTwoSends) {
    const int stride = variable("QUILLSTEAD_FULL_TESTS").empty() ? 47 : 1;
    for (int call = 1;; call += stride) {
        ASSERT_LT(call, 3000);
        messages_ += 2;
        if (liveToCall(call)) break;
        if (HasFailure()) return;
        ASSERT_TRUE(live({})) << "after a death before call " << call;
    }
    expectEachOnceOrInDoubt();
}

TEST_F(Kill, AtEveryWordOfADialogue) {
    for (const SmtpStage stage : {SmtpStage::Greeting, SmtpStage::Hello, SmtpStage::Sender, SmtpStage::Recipient,
                                  SmtpStage::Data, SmtpStage::Body, SmtpStage::FinalDot, SmtpStage::Quit}) {
        messages_ += 2;
        EXPECT_FALSE(live({.atStage = stage}));
        EXPECT_TRUE(live({}));
    }
    // Where the answer was still to come; and in the body, if all of a small message has left in one go.
    const int inDoubt = expectEachOnceOrInDoubt();
    EXPECT_TRUE(inDoubt == 1 || inDoubt == 2) << inDoubt;
}

TEST_F(Kill, AtRandomPointsUntilAllIsDone) {
    const int kills = variable("QUILLSTEAD_FULL_TESTS").empty() ? 60 : 500;
    std::mt19937 random(20261122);
    while (kills_ < kills) {
        if (kills_ % 3 == 0) messages_ += 2;
        Death death{.atOperation = static_cast<int>(1 + random() % 40), .isDone = random() % 2 == 0};
        if (random() % 4 == 0) death = {.atStage = static_cast<SmtpStage>(random() % 10)};
        if (live(death)) messages_ += 2;
        if (HasFailure()) return;
    }
    ASSERT_TRUE(live({}));
    expectEachOnceOrInDoubt();
}

}  // namespace
}  // namespace qs
