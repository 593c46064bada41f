// An account with a mailbox whose messages are listed by their headers, while a bad connection keeps their bodies away.
#pragma once

#include <random>
#include <set>
#include <string>
#include <vector>

#include "Imap/SyncFixture.h"

namespace qs {

class ListedTest : public SyncTest {
protected:
    static constexpr int kCount = 30;

    void deliverMany(const std::string& mailbox = "INBOX") {
        for (int i = 0; i < kCount; ++i)
            server_->deliver("ada", mail(subject(i), std::string(20'000, 'x') + "\r\n"), mailbox,
                             i % 2 == 0 ? "S" : "");
    }
    static std::string subject(int i) { return "m" + std::to_string(100 + i); }
    // The connection breaks once the headers are here, and none comes about for now.
    void startAndStopBehindHeaders(const std::string& mailbox = "INBOX") {
        deliverMany(mailbox);
        stopBehindHeaders([&] { start(); }, mailbox);
    }
    void stopBehindHeaders(const std::function<void()>& syncs, const std::string& mailbox) {
        proxy_->cutAfterReceived(25'000);
        syncs();
        proxy_->goDown();
        ASSERT_EQ(status().state, SyncStatus::State::Waiting);
        ASSERT_THAT(fetched(mailbox), ::testing::IsEmpty());
        ASSERT_EQ(here(mailbox).size(), static_cast<std::size_t>(kCount));
    }
    Lines fetched(const std::string& folder = "INBOX") {
        Lines found;
        for (const MessageSummary& row : library().page(box(folder).criterion(), {}, 0, 1000).rows)
            if (row.isFetched) found.push_back(row.subject);
        return found;
    }
    void forgetIndex() {
        for (const char* side : {"", "-wal", "-shm"})
            std::filesystem::remove(folder_ / (std::string("Library.sqlite") + side));
    }
    // What follows is cut off somewhere, or the program starts anew, perhaps without its index.
    void disturb(std::mt19937& random) {
        proxy_->cutAfterReceived(2'000 + random() % 90'000);
        if (random() % 3 != 0) return loop_->advance(100);
        engine_.reset();
        if (random() % 2 == 0) forgetIndex();
        open();
        engine_->sync().start();
    }
    void finish() {
        proxy_->letPass();
        syncAll();
        EXPECT_EQ(status().state, SyncStatus::State::Idle) << status().text;
        syncAll();
    }
    // All of the subjects but those that were erased, once, on both sides alike.
    void expectAllFetched(const std::vector<std::string>& folders = {"INBOX", "Archive", "Trash"}) {
        std::multiset<std::string> found, wanted;
        for (const std::string& folder : folders) {
            EXPECT_EQ(here(folder), there(folder)) << folder;
            EXPECT_EQ(fetched(folder).size(), here(folder).size()) << folder;
            for (const auto& [each, uid] : uids(folder))
                found.insert(each);
        }
        for (int i = 0; i < kCount; ++i)
            if (!erased_.contains(i)) wanted.insert(subject(i));
        EXPECT_EQ(found, wanted);
    }
    std::set<int> erased_;
};

}  // namespace qs
