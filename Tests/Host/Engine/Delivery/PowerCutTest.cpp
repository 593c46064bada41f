// Cuts the power at every step of one delivery, and looks at what a disk that forgot its unsynced data makes of it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
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

// The server takes ben at once, b@ at the second time and eve@ never.
class PartlyTaken : public PowerCut {
protected:
    int timesReceived(const std::string& number, const std::string& recipient) const {
        int times = 0;
        for (const ReceivedMail& mail : server_.received())
            if (mail.messageID == number + "@example.org")
                times += static_cast<int>(std::count(mail.to.begin(), mail.to.end(), recipient));
        return times;
    }

    void checkEach(TornDisk& disk, const std::string& number, bool isQueued, bool withIndex) {
        boot(disk, withIndex);
        openAndStart();
        loop_->advance(4000);
        const int ben = timesReceived(number, "ben@x.example"), b = timesReceived(number, "b@x.example");
        ++figures_.cuts;
        EXPECT_LE(ben, 1);
        EXPECT_LE(b, 1);
        EXPECT_EQ(timesReceived(number, "eve@x.example"), 0);
        const auto statuses = deliveries().statuses();
        if (!statuses.empty()) {
            ++figures_.inDoubt;
            EXPECT_EQ(statuses.front().state, DeliveryStatus::State::InDoubt) << statuses.front().lastAnswer;
            // The person says that it has left, and those who were refused for now get it all the same.
            ASSERT_TRUE(deliveries().markSent(statuses.front().uniqueID));
            loop_->advance(4000);
            EXPECT_TRUE(deliveries().statuses().empty());
            EXPECT_LE(timesReceived(number, "b@x.example"), 1);
        } else if (!isQueued && ben == 0) {
            ++figures_.notQueued;
            return;
        } else {
            ++figures_.delivered;
            EXPECT_EQ(ben, 1);
            EXPECT_EQ(b, 1);
        }
        EXPECT_EQ(subjects("sam", MailboxKind::Sent), number);
        EXPECT_EQ(subjects("sam", MailboxKind::Outbox), "");
        EXPECT_EQ(subjects("sam", MailboxKind::Drafts), number) << "for eve";
    }
};

TEST_F(PartlyTaken, APowerCutAtAnyStepLosesNobodyAndRepeatsNothing) {
    const int seeds = std::getenv("QUILLSTEAD_FULL_TESTS") ? 4 : 1;
    for (int step = 1;; ++step) {
        ASSERT_LT(step, 500);
        bool isBeyondTheEnd = false;
        for (int seed = 0; seed < seeds; ++seed) {
            SCOPED_TRACE("step " + std::to_string(step) + ", seed " + std::to_string(seed));
            const std::string number = std::to_string(10'000 + 10 * step + seed);
            server_.clearRules();
            server_.add({.stage = SmtpStage::Recipient, .match = "<b@x", .reply = "450 4.2.0 later", .times = 1});
            server_.add({.stage = SmtpStage::Recipient, .match = "eve@", .reply = "550 5.1.1 nobody"});
            TornDisk disk;
            const std::string mail = testMail("sam", "ben@x.example, b@x.example, eve@x.example", number);
            const bool isQueued = sendOn(disk, "sam", mail, {.step = step, .fault = Fault::PowerCut});
            loop_->advance(60);
            isBeyondTheEnd = disk.steps() < step;
            close();
            const int kind = step + seed;
            const auto left = disk.afterPowerCut(kind % 2 == 0 ? std::nullopt : std::optional<unsigned>(kind));
            checkEach(*left, number, isQueued, kind % 3 == 1);
            if (HasFailure()) return;
        }
        if (isBeyondTheEnd) return;
    }
}

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
