// Cuts the power at every step of one delivery, and looks at what a disk that forgot its unsynced data makes of it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <iostream>

#include "Compose/ComposeBackEnd.h"
#include "DeliveryFixture.h"

namespace qs {
namespace {

using Fault = TornDisk::Fault;

class PowerCut : public DeliveryFixture {
protected:
    struct Figures {
        int cuts = 0, delivered = 0, inDoubt = 0, notQueued = 0, lost = 0, twice = 0;
    };

    // A fresh machine: nothing of before but what the disk holds. The index may be of another time.
    void boot(TornDisk& disk, bool withIndex) {
        close();
        if (!withIndex)
            for (const char* file : {"Library.sqlite", "Library.sqlite-wal", "Library.sqlite-shm"})
                std::filesystem::remove(folder_ / file);
        files_ = &disk;
        notices_.clear();
    }

    // Answers whether the message counted as queued.
    bool sendOn(TornDisk& disk, const std::string& account, const std::string& mail, TornDisk::Plan plan) {
        boot(disk, false);
        openAndStart();
        disk.failAt(plan);
        OutgoingMessage message;
        message.content = mail;
        const bool isQueued = deliveries().append(account, message).has_value();
        loop_->runUntilIdle();
        walk();
        return isQueued;
    }

    void check(TornDisk& disk, const std::string& account, const std::string& number, bool isQueued, bool withIndex) {
        boot(disk, withIndex);
        openAndStart();
        loop_->advance(4000);
        const bool hasServer = account == "sam";
        const int received = hasServer ? server_.timesReceived(number + "@example.org")
                                       : static_cast<int>(messages("ben", MailboxKind::Inbox).size());
        const std::string sent = subjects(account, MailboxKind::Sent);
        const auto statuses = deliveries().statuses();
        ++figures_.cuts;
        EXPECT_LE(received, 1);
        if (received > 1) ++figures_.twice;
        if (!statuses.empty()) {
            ++figures_.inDoubt;
            EXPECT_TRUE(hasServer) << "at home nothing is ever in doubt";
            EXPECT_EQ(statuses.size(), 1u);
            EXPECT_EQ(statuses.front().state, DeliveryStatus::State::InDoubt) << statuses.front().lastAnswer;
            EXPECT_EQ(sent, "");
        } else if (sent.empty() && received == 0) {
            ++(isQueued ? figures_.lost : figures_.notQueued);
            EXPECT_FALSE(isQueued) << "lost";
        } else {
            ++figures_.delivered;
            EXPECT_EQ(sent, number);
            EXPECT_EQ(received, 1);
        }
        EXPECT_EQ(subjects(account, MailboxKind::Outbox), "");
    }

    void cutEverywhere(const std::string& account) {
        const int seeds = std::getenv("QUILLSTEAD_FULL_TESTS") ? 24 : 2;
        for (int step = 1;; ++step) {
            ASSERT_LT(step, 500);
            bool isBeyondTheEnd = false;
            for (int seed = 0; seed < seeds; ++seed) {
                SCOPED_TRACE(account + ", step " + std::to_string(step) + ", seed " + std::to_string(seed));
                const std::string number = std::to_string(1000 * step + seed);
                TornDisk disk;
                const bool isQueued = sendOn(disk, account, testMail(account, "ben@example.org", number),
                                             {.step = step, .fault = Fault::PowerCut});
                isBeyondTheEnd = disk.steps() < step;
                close();
                const auto left = disk.afterPowerCut(seed == 0 ? std::nullopt : std::optional<unsigned>(step + seed));
                check(*left, account, number, isQueued, seed % 2 == 1);
                if (HasFailure()) return;
            }
            if (isBeyondTheEnd) return;
        }
    }

    void TearDown() override {
        DeliveryFixture::TearDown();
        std::cout << "[ FIGURES  ] " << figures_.cuts << " power cuts: " << figures_.delivered << " delivered once, "
                  << figures_.inDoubt << " shown in doubt, " << figures_.notQueued << " never queued, " << figures_.lost
                  << " lost, " << figures_.twice << " twice\n";
    }

    Figures figures_;
};

TEST_F(PowerCut, AtAnyStepOfALocalDeliveryLosesAndRepeatsNothing) { cutEverywhere("ada"); }

TEST_F(PowerCut, AtAnyStepOfASubmissionLosesAndRepeatsNothing) { cutEverywhere("sam"); }

// A disk that fails for a moment, or stays full, is no power cut: the program runs on and must settle by itself.
TEST_F(PowerCut, AFailingDiskLosesAndRepeatsNothing) {
    for (const Fault fault : {Fault::Error, Fault::ShortWrite}) {
        for (const char* account : {"ada", "sam"}) {
            for (int step = 1;; ++step) {
                ASSERT_LT(step, 500);
                SCOPED_TRACE(std::string(account) + ", step " + std::to_string(step));
                const std::string number = std::to_string((static_cast<int>(fault) + 1) * 100'000 + step);
                TornDisk disk;
                const bool isQueued = sendOn(disk, account, testMail(account, "ben@example.org", number),
                                             {.step = step, .fault = fault, .lasting = step % 2 == 0});
                const bool isBeyondTheEnd = disk.steps() < step;
                disk.failAt({});
                loop_->advance(4000);
                check(disk, account, number, isQueued, true);
                if (HasFailure() || isBeyondTheEnd) break;
            }
            if (HasFailure()) return;
        }
    }
}

}  // namespace
}  // namespace qs
