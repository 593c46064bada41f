// A library that several threads use at once.
#include <atomic>
#include <thread>

#include "LibraryTest.h"

namespace qs {

using ::testing::IsEmpty;

class LibraryThreads : public LibraryTest {};

TEST_F(LibraryThreads, ExactlyOneOfManyThreadsClaims) {
    open();
    library_->mailbox("ada", MailboxKind::Outbox, true);
    std::vector<std::int64_t> ids;
    for (int i = 0; i < 20; ++i)
        ids.push_back(add("ada/Outbox", "m" + std::to_string(i)));
    std::vector<std::atomic<int>> wins(ids.size());
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (std::size_t i = 0; i < ids.size(); ++i)
                if (library_->claim(ids[i], folder_ / "claimed")) ++wins[i];
        });
    // Somebody pulls them back at the same time: then nobody may have them.
    threads.emplace_back([&] {
        for (std::size_t i = ids.size(); i-- > 0;)
            if (library_->move({ids[i]}, box("ada/Drafts"))) ++wins[i];
    });
    for (std::thread& thread : threads)
        thread.join();
    for (std::size_t i = 0; i < ids.size(); ++i)
        EXPECT_EQ(wins[i], 1) << i;
    EXPECT_THAT(subjectsIn("ada/Outbox"), IsEmpty());
}

TEST_F(LibraryThreads, WhoAddsAMessageGetsItAlthoughADeliveryTakesItAtOnce) {
    open();
    const auto outbox = library_->mailbox("ada", MailboxKind::Outbox, true);
    constexpr int kMany = 300;
    int taken = 0;
    std::jthread delivery([&](const std::stop_token& areAllAdded) {
        for (bool isLastWalk = false; !isLastWalk;) {
            isLastWalk = areAllAdded.stop_requested();
            for (const std::int64_t id :
                 library_->ids(MessageCriterion::with(MessageCriterion::Kind::InMailbox, "ada/Outbox"), {}, 10))
                if (library_->claim(id, folder_ / "claimed")) ++taken;
        }
    });
    int toldOfFailure = 0, withoutDetails = 0;
    for (int i = 0; i < kMany; ++i) {
        const std::string id = std::to_string(i) + "@x";
        const auto added = library_->add(*outbox, mail("m", "Message-Id: <" + id + ">\r\n"), {.seen = true}, Date{100});
        if (!added)
            ++toldOfFailure;
        else if ((*added)->messageID() != id || (*added)->headers() == nullptr)
            ++withoutDetails;
    }
    delivery.request_stop();
    delivery.join();
    EXPECT_EQ(toldOfFailure, 0);
    EXPECT_EQ(withoutDetails, 0);
    EXPECT_GT(taken, 0);
}

TEST_F(LibraryThreads, ReadersSeeWholeStatesWhileOthersWrite) {
    open();
    for (int i = 0; i < 20; ++i)
        add("ada/INBOX", "m" + std::to_string(i));
    std::jthread reader([&](const std::stop_token& isDone) {
        do {
            for (const MessageRef& message : library_->messagesMatchingCriterion({}, 0, kSearchStore)) {
                EXPECT_TRUE(message->subject().empty() || message->subject().starts_with("m"));
                (void)message->headers();
                (void)message->flags();
            }
            const auto page = library_->page(box("ada/INBOX").criterion(), "", 0, 100);
            EXPECT_LE(page.rows.size(), 20U);
        } while (!isDone.stop_requested());
    });
    for (int i = 0; i < 10; ++i) {
        const auto rows = library_->page(box("ada/INBOX").criterion(), "", 0, 100).rows;
        ASSERT_TRUE(library_->setFlags({rows.at(0).id, rows.at(1).id}, {.seen = i % 2 == 0}));
        ASSERT_TRUE(library_->move({rows.at(2).id}, box("ada/Archive")));
    }
    reader.request_stop();
    reader.join();
    EXPECT_EQ(box("ada/Archive").messageCount(), 10);
}

}  // namespace qs
