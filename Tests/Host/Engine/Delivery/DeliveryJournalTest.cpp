#include "Delivery/DeliveryJournal.h"

#include <gtest/gtest.h>

#include "Support/TornDisk.h"

namespace qs {
namespace {

using Stage = DeliveryJournal::Stage;

constexpr const char* kFile = "/data/Deliveries/1.M1.box.journal";
const std::string kBegun = "unique <U1>\naccount <ada>\nfile </data/claimed/1.M1.box>\nattempts <2>\nclaimed\n";

TEST(DeliveryJournal, TellsHowFarADeliveryWent) {
    struct Case {
        const char* why;
        std::string text;
        Stage stage;
        std::size_t reached;
        bool isDamaged;
    };
    for (const Case& c : {
             Case{"begun", kBegun, Stage::Claimed, 0, false},
             Case{"a torn line was not written", kBegun + "\nfinal-do", Stage::Claimed, 0, false},
             Case{"nor was one without its line end", kBegun + "\nfinal-dot", Stage::Claimed, 0, false},
             Case{"a torn line in the middle", kBegun + "\nreached <ben@exam\nfinal-dot\n", Stage::FinalDot, 0, false},
             Case{"one recipient", kBegun + "\nreached <ben@example.org>\n\naccepted\n", Stage::Accepted, 1, false},
             Case{"the last stage counts", kBegun + "\nfinal-dot\n\naccepted\n\nsent-copied\n", Stage::SentCopied, 0,
                  false},
             Case{"what nobody wrote", kBegun + "\nfinal-dxt\n", Stage::FinalDot, 0, true},
             Case{"rubbish", std::string("\0\xFF\x01 <>\n", 7), Stage::FinalDot, 0, true},
             Case{"an empty file", "", Stage::FinalDot, 0, true},
             Case{"a beginning without its message", "unique <U1>\nclaimed\n", Stage::FinalDot, 0, true},
         }) {
        TornDisk disk;
        disk.put(kFile, c.text);
        DeliveryJournal journal("/data/Deliveries", disk);
        std::vector<std::string> damaged;
        const auto states = journal.readAll(damaged);
        ASSERT_EQ(states.size(), 1u) << c.why;
        EXPECT_EQ(states[0].stage, c.stage) << c.why;
        EXPECT_EQ(states[0].reached.size(), c.reached) << c.why;
        EXPECT_EQ(states[0].claimedFile.filename(), "1.M1.box") << c.why;
        EXPECT_EQ(damaged.size(), c.isDamaged ? 1u : 0u) << c.why;
        EXPECT_EQ(disk.exists("/data/Deliveries/corrupt/1.M1.box.journal"), c.isDamaged) << c.why;
        EXPECT_TRUE(disk.exists(kFile)) << "until the delivery is settled: " << c.why;
        damaged.clear();
        journal.readAll(damaged);
        EXPECT_TRUE(damaged.empty()) << "told once: " << c.why;
    }
}

TEST(DeliveryJournal, WhatAServerSaysStaysOneLine) {
    TornDisk disk;
    DeliveryJournal journal("/data/Deliveries", disk);
    DeliveryJournal::State state;
    state.uniqueID = "U1\naccepted";
    state.claimedFile = "/data/claimed/1.M1.box";
    ASSERT_TRUE(journal.begin(state));
    ASSERT_TRUE(journal.noteRefused(state, "eve@example.org", "550 no\r\naccepted\r\n>"));
    std::vector<std::string> damaged;
    const auto states = journal.readAll(damaged);
    ASSERT_EQ(states.size(), 1u);
    EXPECT_EQ(states[0].stage, Stage::Claimed);
    EXPECT_EQ(states[0].refused.at("eve@example.org"), "550 no  accepted  >");
    ASSERT_TRUE(journal.end(state));
    EXPECT_TRUE(journal.readAll(damaged).empty());
}

}  // namespace
}  // namespace qs
