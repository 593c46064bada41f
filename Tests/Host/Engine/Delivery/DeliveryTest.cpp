#include "DeliveryService.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "Compose/ComposeBackEnd.h"
#include "Delivery/DeliveryQueueObject.h"
#include "DeliveryFixture.h"
#include "Mail/MailAccount.h"
#include "Mail/MessageHeaders.h"
#include "Platform.h"
#include "Support/TestMachine.h"

namespace qs {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using State = DeliveryStatus::State;

class LocalDelivery : public DeliveryFixture {};

TEST_F(LocalDelivery, ReachesEveryRecipientOnce) {
    openAndStart();
    send("ada", testMail("ada", "Ben <ben@example.org>, BEN@example.org", "1", "Bcc: ada@example.org\r\n"));
    EXPECT_EQ(subjects("ben", MailboxKind::Inbox), "1");
    EXPECT_EQ(subjects("ada", MailboxKind::Inbox), "1");
    EXPECT_EQ(subjects("ada", MailboxKind::Sent), "1");
    EXPECT_EQ(subjects("ada", MailboxKind::Outbox), "");
    EXPECT_THAT(content("ben", MailboxKind::Inbox), Not(HasSubstr("Bcc")));
    EXPECT_THAT(content("ben", MailboxKind::Inbox), Not(HasSubstr("X-Universally-Unique")));
    EXPECT_THAT(content("ada", MailboxKind::Sent), HasSubstr("Bcc: ada@example.org"));
    EXPECT_TRUE(messages("ada", MailboxKind::Sent).front().flags.seen);
    EXPECT_FALSE(messages("ben", MailboxKind::Inbox).front().flags.seen);
    EXPECT_THAT(deliveries().statuses(), IsEmpty());
    EXPECT_THAT(notices_, IsEmpty());
    expectTidy();
}

TEST_F(LocalDelivery, NobodyOfThatNameStaysInTheOutboxAndIsSaidOnce) {
    openAndStart();
    send("ada", testMail("ada", "eve@example.org", "1"));
    const std::string sentence = "eve@example.org is no account of this program, and ada@example.org has no server to "
                                 "send it through.";
    EXPECT_EQ(subjects("ada", MailboxKind::Outbox), "1");
    const DeliveryStatus status = onlyStatus();
    EXPECT_EQ(status.state, State::Failed);
    EXPECT_EQ(status.attempts, 1);
    EXPECT_EQ(status.lastAnswer, sentence);
    EXPECT_EQ(status.uniqueID, "U1");
    EXPECT_NE(status.libraryID, 0);
    ASSERT_EQ(notices_.size(), 1u);
    EXPECT_THAT(notices_[0], HasSubstr(sentence));

    loop_->advance(3600);
    walk();
    EXPECT_EQ(onlyStatus().attempts, 1) << "a clear refusal is not tried again by itself";

    ASSERT_TRUE(engine_->accounts().put(deliveryAccount("eve")));
    engine_->library().accountsDidChange();
    ASSERT_TRUE(deliveries().tryNow("U1"));
    loop_->runUntilIdle();
    EXPECT_EQ(subjects("eve", MailboxKind::Inbox), "1");
    EXPECT_EQ(subjects("ada", MailboxKind::Sent), "1");
    EXPECT_EQ(notices_.size(), 1u);
    expectTidy();
}

TEST_F(LocalDelivery, WhoCanBeReachedIsReachedAndTheOthersAreNamed) {
    openAndStart();
    send("ada", testMail("ada", "eve@example.org, ben@example.org, not-an-address <x>", "1"));
    EXPECT_EQ(subjects("ben", MailboxKind::Inbox), "1");
    EXPECT_EQ(subjects("ada", MailboxKind::Sent), "1");
    ASSERT_EQ(notices_.size(), 1u);
    EXPECT_THAT(notices_[0], HasSubstr("eve@example.org is no account of this program"));
    expectTidy();
}

// Two messages may bear the same id, by somebody's choice or for want of any.
TEST_F(LocalDelivery, DifferentMessagesAreNotTakenForRepetitions) {
    openAndStart();
    const std::string same = testMail("ada", "ben@example.org", "1");
    send("ada", same);
    send("ada", same + "But another text.\r\n");
    send("ada", same);
    EXPECT_EQ(subjects("ben", MailboxKind::Inbox), "1 1") << "only the very same message is delivered already";
    EXPECT_EQ(subjects("ada", MailboxKind::Sent), "1 1 1");
}

TEST_F(LocalDelivery, GivesAMessageItsIdsWhenItIsQueued) {
    open();
    OutgoingMessage message;
    message.content = "From: ada@example.org\r\nTo: ben@example.org\r\nSubject: 1\r\n\r\nx\r\n";
    ASSERT_TRUE(deliveries().append("ada", message));
    const MessageSummary waiting = messages("ada", MailboxKind::Outbox).front();
    EXPECT_NE(waiting.messageID, "");
    EXPECT_NE(waiting.uniqueID, "");
    EXPECT_EQ(onlyStatus().state, State::Waiting);
    loop_->advance(3600);
    EXPECT_EQ(subjects("ben", MailboxKind::Inbox), "") << "nothing leaves before the start";
    deliveries().start();
    loop_->runUntilIdle();
    EXPECT_EQ(messages("ben", MailboxKind::Inbox).front().messageID, waiting.messageID);
}

TEST_F(LocalDelivery, MessagesThatOtherProgramsPutThereNeedNoIds) {
    openAndStart();
    const auto outbox = engine_->library().mailbox("ada", MailboxKind::Outbox, true);
    for (const char* to : {"ben@example.org", "eve@example.org", "nobody@example.org"})
        ASSERT_TRUE(engine_->library().add(*outbox, "To: " + std::string(to) + "\r\nFrom: ada@example.org\r\n\r\nx\r\n",
                                           {}, loop_->now()));
    walk();
    EXPECT_EQ(messages("ben", MailboxKind::Inbox).size(), 1u);
    EXPECT_EQ(messages("ada", MailboxKind::Outbox).size(), 2u);
    const auto statuses = deliveries().statuses();
    ASSERT_EQ(statuses.size(), 2u);
    EXPECT_NE(statuses[0].uniqueID, statuses[1].uniqueID);
    walk();
    EXPECT_EQ(notices_.size(), 2u) << "each refusal is told once";
}

// Whoever has it must not get it again, wherever he has put it meanwhile.
TEST_F(LocalDelivery, AnInterruptedDeliveryGoesOnWithTheOthers) {
    openAndStart();
    OutgoingMessage message;
    message.content = testMail("ada", "ben@example.org, ada@example.org", "1");
    ASSERT_TRUE(deliveries().append("ada", message));
    // The disk is full as soon as it is noted that the first inbox has it.
    const auto isNoted = [&] {
        const auto all = disk_.contents();
        return std::any_of(all.begin(), all.end(), [](const auto& file) {
            return file.first.ends_with(".journal") && file.second.find("reached <ben@") != std::string::npos;
        });
    };
    for (int step = 1; !isNoted(); ++step) {
        ASSERT_LT(step, 100);
        disk_.failAt({.step = step, .fault = TornDisk::Fault::NoSpace, .lasting = true});
        ASSERT_TRUE(deliveries().tryNow("U1"));
        loop_->runUntilIdle();
    }
    EXPECT_EQ(subjects("ada", MailboxKind::Inbox), "");
    disk_.failAt({.step = 0});
    close();
    open();
    ASSERT_TRUE(engine_->library().erase({messages("ben", MailboxKind::Inbox).front().id}));
    deliveries().start();
    loop_->advance(1000);
    EXPECT_EQ(subjects("ada", MailboxKind::Inbox), "1");
    EXPECT_EQ(subjects("ben", MailboxKind::Inbox), "");
    EXPECT_EQ(subjects("ada", MailboxKind::Sent), "1");
    expectTidy();
}

class HeldMail : public DeliveryFixture {
protected:
    // What a plug-in does: its own code in place of the host's.
    void patch(const char* failureClass) {
        Class& queue = *NSClassFromString(DeliveryQueue::sharedDeliveryQueue()->isa().name());
        static const Operation<int(std::shared_ptr<Message>, std::shared_ptr<MailAccount>)> replaced{"plugin_perform"};
        queue.add(replaced,
                  [this](HostObject& self, const MessageRef& message, const std::shared_ptr<MailAccount>& account) {
                      EXPECT_FALSE(loop_->isMainThread());
                      EXPECT_TRUE(message->headersIfAvailable() != nullptr);
                      ++asked_;
                      return holds_ ? 1 : replaced(self, message, account);
                  });
        ASSERT_TRUE(queue.jr_swizzleMethod(delivery_queue::performDelivery.selector(), replaced.selector()));
        static const Operation<void(std::shared_ptr<Message>, const Error&)> failed{"plugin_failed"};
        Class& handler = *NSClassFromString(failureClass);
        handler.addClassMethod(failed, [this](Class& cls, const MessageRef& message, const Error& error) {
            EXPECT_TRUE(loop_->isMainThread());
            EXPECT_TRUE(message->headersIfAvailable() != nullptr) << "it stands in the outbox again";
            ++told_;
            if (!holds_) failed.onClass(&cls, message, error);
        });
        ASSERT_TRUE(handler.jr_swizzleClassMethod(delivery_queue::handleFailedDelivery.selector(), failed.selector()));
    }

    int asked_ = 0, told_ = 0;
    bool holds_ = true;
};

struct Generation {
    int minor;
    const char *queueClass, *failureClass;

    friend void PrintTo(const Generation& each, std::ostream* out) { *out << each.failureClass; }
};

class HeldMailIn : public HeldMail, public ::testing::WithParamInterface<Generation> {};

TEST_P(HeldMailIn, WaitsUntilThePlugInLetsItGo) {
    Platform::install({.processInfo = std::make_shared<TestMachine>(folder_.path(), GetParam().minor)});
    registry_.define("DocumentEditor")
        .addClassMethod(delivery_queue::handleFailedDelivery,
                        [](Class&, const MessageRef& message, const Error& e) { reportFailedDelivery(message, e); });
    openAndStart();
    EXPECT_EQ(DeliveryQueue::sharedDeliveryQueue()->isa().name(), GetParam().queueClass);
    patch(GetParam().failureClass);
    send("ada", testMail("ada", "ben@example.org", "1"));
    walk();
    EXPECT_EQ(asked_, 2) << "asked with every walk";
    EXPECT_EQ(told_, 1) << "the host cannot know that it is held, but not with every walk";
    EXPECT_THAT(notices_, IsEmpty());
    EXPECT_EQ(onlyStatus().state, State::Waiting);
    EXPECT_EQ(onlyStatus().attempts, 0);

    holds_ = false;
    walk();
    EXPECT_EQ(subjects("ben", MailboxKind::Inbox), "1");
    EXPECT_EQ(told_, 1);

    send("ada", testMail("ada", "eve@example.org", "2"));
    EXPECT_EQ(told_, 2);
    EXPECT_EQ(notices_.size(), 1u);
    close();
    Platform::install({});
}

INSTANTIATE_TEST_SUITE_P(Generations, HeldMailIn,
                         ::testing::Values(Generation{10, "DeliveryQueue", "DocumentEditor"},
                                           Generation{11, "MFDeliveryQueue", "MFDeliveryQueue"},
                                           Generation{12, "MFDeliveryQueue", "MFDeliveryQueue"}),
                         [](const auto& each) { return std::to_string(each.param.minor); });

}  // namespace
}  // namespace qs
