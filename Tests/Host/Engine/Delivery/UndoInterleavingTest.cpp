// Taking a message back at the very moment in which it is being delivered, in every order of their file operations: it
// must end among the drafts, sent, or shown in doubt, and in exactly one of these.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <random>

#include "Compose/ComposeBackEnd.h"
#include "DeliveryFixture.h"
#include "Mail/MailAccount.h"
#include "Mail/Mailbox.h"
#include "Support/Turns.h"

namespace qs {
namespace {

using ::testing::IsEmpty;

bool isLongForm() { return std::getenv("QUILLSTEAD_FULL_TESTS") != nullptr; }

class UndoInterleaving : public DeliveryFixture {
protected:
    void SetUp() override {
        DeliveryFixture::SetUp();
        files_ = &turns_;
        openAndStart();
        for (const char* account : {"ada", "ben", "sam"})
            ASSERT_TRUE(engine_->library().mailbox(account, MailboxKind::Drafts, true));
        // What comes only once is out of the way: folders that are made, notes that begin.
        interleave("ada", "ada", [](const Turns::Passed& now) { return now.waits[0] ? Turns::First : Turns::Second; });
        interleave("ada", "ada", [](const Turns::Passed& now) { return now.waits[1] ? Turns::Second : Turns::First; });
        figures_ = {};
    }
    void TearDown() override {
        DeliveryFixture::TearDown();
        std::cout << "[ FIGURES  ] " << figures_.orders << " orders: " << figures_.drafts << " among the drafts, "
                  << figures_.sent << " sent, " << figures_.inDoubt << " shown in doubt, " << figures_.several
                  << " in several places, " << figures_.lost << " lost\n";
    }

    bool isIn(std::string_view account, MailboxKind kind) {
        for (const MessageRef& copy : engine_->library().messagesWithMessageIDHeader(number_ + "@example.org"))
            if (const auto mailbox = copy->mailbox(); mailbox && mailbox->kind() == kind)
                if (mailbox->account()->identifier() == account) return true;
        return false;
    }

    // One message, taken back into the drafts of `target` while it is delivered. Answers how many operations each did.
    std::array<int, 2> interleave(const std::string& account, const std::string& target, const Turns::Choose& choose) {
        number_ = std::to_string(++messages_);
        OutgoingMessage message;
        message.content = testMail(account, "ben@example.org", number_);
        const auto appended = deliveries().append(account, message);
        EXPECT_TRUE(appended);
        loop_->runUntilIdle();
        const auto id = (*appended)->libraryID();
        const auto drafts = engine_->library().mailbox(target, MailboxKind::Drafts, true);
        bool isTaken = false;
        const auto passed =
            turns_.run([&] { isTaken = deliveries().takeBack({id}, *drafts).has_value(); },
                       [] { DeliveryQueue::sharedDeliveryQueue()->resetStateAndReprocessQueue(); }, choose);
        loop_->runUntilIdle();
        loop_->advance(31);  // what was refused for a moment is tried again
        walk();
        check(account, target, isTaken);
        return passed;
    }

    void check(const std::string& account, const std::string& target, bool isTaken) {
        const bool isRemote = account == "sam";
        const int received =
            isRemote ? server_.timesReceived(number_ + "@example.org") : isIn("ben", MailboxKind::Inbox);
        const auto taken = deliveries().taken();
        const bool isInDoubt = std::any_of(taken.begin(), taken.end(), [&](const DeliveryStatus& status) {
            return status.uniqueID == "U" + number_ && status.state == DeliveryStatus::State::InDoubt;
        });
        const bool isDraft = isIn(target, MailboxKind::Drafts), isSent = isIn(account, MailboxKind::Sent);
        const int places = isDraft + isSent + isInDoubt;
        EXPECT_EQ(places, 1) << "drafts " << isDraft << ", sent " << isSent << ", in doubt " << isInDoubt;
        EXPECT_EQ(isTaken, isDraft) << "whoever asked was told the truth";
        EXPECT_TRUE(!isDraft || received == 0) << "a draft has not left";
        EXPECT_TRUE(!isSent || received == 1);
        EXPECT_FALSE(isIn(account, MailboxKind::Outbox));
        ++figures_.orders;
        figures_.drafts += isDraft && places == 1;
        figures_.sent += isSent && places == 1;
        figures_.inDoubt += isInDoubt && places == 1;
        figures_.several += places > 1;
        figures_.lost += places == 0;
        if (!isInDoubt) return;
        EXPECT_TRUE(deliveries().markSent("U" + number_));
        loop_->runUntilIdle();
    }

    struct Figures {
        int orders = 0, drafts = 0, sent = 0, inDoubt = 0, several = 0, lost = 0;
    };
    Turns turns_{disk_};
    Figures figures_;
    std::string number_;
    int messages_ = 0;
};

// One goes so far, then the other so far, then the first to its end, then the other.
Turns::Choose stoppingAt(Turns::Actor begins, int first, int second) {
    const auto other = begins == Turns::First ? Turns::Second : Turns::First;
    return [=](const Turns::Passed& now) {
        if (now.waits[begins] && now.operations[begins] < first) return begins;
        if (now.waits[other] && now.operations[other] < second) return other;
        return now.waits[begins] ? begins : other;
    };
}

TEST_F(UndoInterleaving, AtEveryOperationOfOneTheOtherAtEveryOfIts) {
    // The full matrix in the long form; else a part of it that meets every operation of each.
    const int stride = isLongForm() ? 1 : 5;
    for (const char* target : {"ada", "ben"}) {
        // More than each does; how many it is seen to do depends on who of its threads is seen.
        const int ofUndo = 12, ofDelivery = 24;
        for (const auto begins : {Turns::First, Turns::Second}) {
            const int mine = begins == Turns::First ? ofUndo : ofDelivery;
            const int others = begins == Turns::First ? ofDelivery : ofUndo;
            for (int first = 0; first <= mine; ++first) {
                for (int second = first % stride; second <= others; second += stride * 2) {
                    SCOPED_TRACE(std::string(begins == Turns::First ? "undo" : "delivery") + " begins, stops after " +
                                 std::to_string(first) + ", the other after " + std::to_string(second));
                    interleave("ada", target, stoppingAt(begins, first, second));
                    if (HasFailure()) return;
                }
            }
        }
    }
    EXPECT_GT(figures_.drafts, 3);
    EXPECT_GT(figures_.sent, 3);
}

TEST_F(UndoInterleaving, InRandomOrders) {
    const int orders = isLongForm() ? 10'000 : 300;
    std::mt19937 random(20261123);
    while (figures_.orders < orders) {
        SCOPED_TRACE(figures_.orders);
        server_.clearRules();
        const bool isRemote = random() % 3 == 0;
        if (isRemote && random() % 3 == 0)
            server_.add({.stage = SmtpStage::FinalDot, .hangsUp = true, .keepsMessage = random() % 2 == 0, .times = 1});
        if (isRemote && random() % 4 == 0)
            server_.add({.stage = SmtpStage::Recipient, .reply = "451 4.7.1 later", .times = 1});
        // Now the one, now the other is the quicker.
        const auto bias = 1 + random() % 9;
        interleave(isRemote ? "sam" : "ada", random() % 4 == 0 ? "ben" : "ada", [&](const Turns::Passed& now) {
            const auto wanted = random() % 10 < bias ? Turns::First : Turns::Second;
            return now.waits[wanted] ? wanted : wanted == Turns::First ? Turns::Second : Turns::First;
        });
        if (HasFailure()) return;
    }
    EXPECT_GT(figures_.drafts, orders / 50);
    EXPECT_GT(figures_.sent, orders / 50);
    EXPECT_THAT(server_.violations(), IsEmpty());
}

}  // namespace
}  // namespace qs
