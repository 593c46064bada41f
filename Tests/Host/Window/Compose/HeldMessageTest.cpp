// Opening a message that still waits in the outbox: whatever is done with it, it leaves once, in its last form.
#include "ComposeSupport.h"
#include "DeliveryService.h"
#include "Mail/MessageHeaders.h"
#include "MailEngine.h"

namespace qs {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class HeldMessage : public ComposeJourney {
protected:
    void SetUp() override {
        start({.startDeliveries = false});
        host->composeAndSend("ada", "ben@example.org", "Minutes", "First form.");
        ASSERT_THAT(outbox(), SizeIs(1));
        uniqueID = outbox().front().uniqueID;
    }
    void deliver() {
        host->engine().deliveries().start();
        host->advance(60);
    }
    std::string uniqueID;
};

TEST_F(HeldMessage, SendingItAgainReplacesIt) {
    const auto window = openDraft(0, MailboxKind::Outbox);
    ASSERT_TRUE(window->controller()->backEnd()->originalMessage());
    EXPECT_EQ(window->controller()->backEnd()->originalMessageHeaders()->firstHeaderForKey(
                  MCHeaderKeyXUniversallyUniqueIdentifier),
              uniqueID);
    type(*window, "Second form.");
    host->advance(3);
    EXPECT_THAT(outbox(), SizeIs(1)) << "saving a draft of it takes nothing out of the outbox";
    window->send();
    host->settle();
    ASSERT_THAT(outbox(), SizeIs(1));
    EXPECT_EQ(outbox().front().uniqueID, uniqueID);
    EXPECT_THAT(drafts(), IsEmpty());
    deliver();
    ASSERT_THAT(host->inboxOf("ben"), SizeIs(1));
    EXPECT_THAT(textOf(host->inboxOf("ben").front()), HasSubstr("Second form."));
}

TEST_F(HeldMessage, ThatLeftMeanwhileIsNotSentTwiceUnasked) {
    const auto window = openDraft(0, MailboxKind::Outbox);
    type(*window, "Second form.");
    deliver();
    ASSERT_THAT(host->inboxOf("ben"), SizeIs(1));
    alerts->give("Cancel");
    window->send();
    host->advance(60);
    EXPECT_THAT(alerts->seen, ElementsAre("This message has left the outbox"));
    EXPECT_THAT(host->inboxOf("ben"), SizeIs(1));
    EXPECT_THAT(window->bodyHtml(), HasSubstr("Second form."));
    alerts->give("Send Again");
    window->send();
    host->advance(60);
    EXPECT_THAT(host->inboxOf("ben"), SizeIs(2));
}

TEST_F(HeldMessage, IsReplacedAlsoByADraftOfItThatOutlivedARestart) {
    type(*openDraft(0, MailboxKind::Outbox), "Second form.");
    host->shutDown();
    host->start();
    ASSERT_THAT(outbox(), SizeIs(1)) << "quitting takes nothing out of the outbox";
    ASSERT_THAT(drafts(), SizeIs(1));
    openDraft()->send();
    host->settle();
    EXPECT_THAT(outbox(), SizeIs(1));
    deliver();
    ASSERT_THAT(host->inboxOf("ben"), SizeIs(1));
    EXPECT_THAT(textOf(host->inboxOf("ben").front()), HasSubstr("Second form."));
}

TEST_F(HeldMessage, ComesBackWhenTheNewFormCanNotBeQueued) {
    const std::string messageID = outbox().front().messageID;
    const auto window = openDraft(0, MailboxKind::Outbox);
    type(*window, "Second form.");
    disk.fillUp(".Outbox/tmp");
    window->send();
    host->settle();
    EXPECT_THAT(alerts->seen, ElementsAre("The message could not be sent"));
    disk.fillUp({});
    ASSERT_THAT(outbox(), SizeIs(1));
    EXPECT_EQ(outbox().front().messageID, messageID);
}

TEST_F(HeldMessage, KeptAsADraftIsNotSentAnyMore) {
    const auto window = openDraft(0, MailboxKind::Outbox);
    type(*window, "Second form.");
    alerts->give("Save");
    window->close(ComposeWindow::Closing::Ask);
    host->settle();
    EXPECT_THAT(outbox(), IsEmpty());
    ASSERT_THAT(drafts(), SizeIs(1));
    deliver();
    EXPECT_THAT(host->inboxOf("ben"), IsEmpty());
}

TEST_F(HeldMessage, DiscardingTheChangesLeavesItWaiting) {
    const auto window = openDraft(0, MailboxKind::Outbox);
    type(*window, "Second form.");
    host->advance(3);
    alerts->give("Discard");
    window->close(ComposeWindow::Closing::Ask);
    EXPECT_THAT(drafts(), IsEmpty());
    deliver();
    ASSERT_THAT(host->inboxOf("ben"), SizeIs(1));
    EXPECT_THAT(textOf(host->inboxOf("ben").front()), HasSubstr("First form."));
}

}  // namespace
}  // namespace qs
