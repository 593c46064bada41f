// The road of a message from the window into the outbox and out of it, in every version of the host, with and without a
// plug-in around the host's own operations.
#include "Compose/HeadersEditor.h"
#include "ComposeSupport.h"
#include "DeliveryService.h"
#include "Foundation/Assertion.h"
#include "Foundation/RunLoop.h"
#include "Mail/DeliveryQueue.h"
#include "Mail/MailAccount.h"
#include "Mail/MessageHeaders.h"
#include "MailApplication.h"
#include "MailEngine.h"
#include "Models/Toolbar.h"

namespace qs {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

const Operation<void(HostObject*)> patchedSend{"test_send:"};
const Operation<std::shared_ptr<OutgoingMessage>(MessageWriter&, const ComposeContents&,
                                                 std::shared_ptr<MessageHeaders>, bool, bool)>
    patchedWriter{"test_newOutgoingMessage"};
const Operation<void(ComposeBackEnd&, const OutboxAppendResult&)> patchedAppend{"test_backEndDidAppend"};
const Operation<bool(ToolbarItem&)> patchedValidate{"test_validateToolbarItem:"};

// Does what a plug-in does: lays its own code around the host's. One step of its send waits.
class PlugIn {
public:
    explicit PlugIn(const char* controllerClass) {
        Class& controller = *NSClassFromString(controllerClass);
        Class& backEnd = *NSClassFromString("ComposeBackEnd");
        controller.add(patchedSend, [seen = seen_](HostObject& self, HostObject* sender) {
            seen->steps.push_back("send");
            RunLoop::main().after(1, [seen, weak = self.weak_from_this(), sender] {
                seen->steps.push_back("waited");
                patchedSend(weak.lock(), sender);
            });
        });
        controller.add(
            patchedAppend, [seen = seen_](HostObject& self, ComposeBackEnd& edited, const OutboxAppendResult& result) {
                patchedAppend(self, edited, result);
                seen->steps.push_back("appended " + result.message->subject() + " by " + result.account->identifier());
                if (seen->failsAfterAppend) raiseAssertion("a fault of the plug-in");
            });
        controller.add(patchedValidate, [seen = seen_](HostObject& self, ToolbarItem& item) {
            seen->validated.push_back(item.itemIdentifier());
            return patchedValidate(self, item);
        });
        backEnd.add(patchedWriter,
                    [seen = seen_](HostObject& self, MessageWriter& writer, const ComposeContents& contents,
                                   std::shared_ptr<MessageHeaders> headers, bool isDraft, bool plain) {
                        seen->steps.push_back(isDraft ? "draft" : "message");
                        headers->setHeader("U-17", "X-Quillstead-Tracking-UUID");
                        return patchedWriter(self, writer, contents, headers, isDraft, plain);
                    });
        exchange(controller, compose_controller::send.selector(), patchedSend.selector());
        exchange(controller, compose_controller::backEndDidAppendMessageToOutbox.selector(), patchedAppend.selector());
        exchange(controller, toolbar_delegate::validateToolbarItem.selector(), patchedValidate.selector());
        exchange(backEnd, compose_back_end::newOutgoingMessage.selector(), patchedWriter.selector());
    }

    const std::vector<std::string>& steps() const { return seen_->steps; }
    const std::vector<std::string>& validated() const { return seen_->validated; }
    void failAfterAppend() { seen_->failsAfterAppend = true; }

private:
    struct Seen {
        std::vector<std::string> steps, validated;
        bool failsAfterAppend = false;
    };
    static void exchange(Class& cls, Selector a, Selector b) { EXPECT_TRUE(cls.jr_swizzleMethod(a, b)) << a.name(); }
    std::shared_ptr<Seen> seen_ = std::make_shared<Seen>();  // the classes outlive the test's own objects
};

class SendJourney : public ComposeJourney {};
class SendInVersion : public ComposeJourney, public testing::WithParamInterface<int> {};

TEST_P(SendInVersion, APlugInsChainRunsAroundTheHostsOwnSend) {
    start({.osMinor = GetParam()});
    PlugIn plugIn(GetParam() == 10 ? "DocumentEditor" : "ComposeViewController");
    const auto window = host->compose("ada", "ben@example.org", "Minutes", "All agreed.");
    window->send();
    host->settle();
    EXPECT_THAT(plugIn.steps(), ElementsAre("send")) << "the chain waits, and nothing has happened yet";
    EXPECT_EQ(openWindows(), 1u);
    host->advance(60);
    EXPECT_THAT(plugIn.steps(), ElementsAre("send", "waited", "message", "appended Minutes by ada"));
    EXPECT_EQ(openWindows(), 0u);
    ASSERT_THAT(host->inboxOf("ben"), SizeIs(1));
    EXPECT_EQ(headerOf(host->inboxOf("ben").front(), "X-Quillstead-Tracking-UUID"), "U-17");
    EXPECT_THAT(sent(), SizeIs(1));
    EXPECT_THAT(alerts->seen, IsEmpty());
    EXPECT_THAT(log.messages(LogLevel::Error), IsEmpty());
}

TEST_P(SendInVersion, AWindowThatIsClosedDuringAPlugInsWaitSendsNothing) {
    start({.osMinor = GetParam()});
    PlugIn plugIn(GetParam() == 10 ? "DocumentEditor" : "ComposeViewController");
    host->compose("ada", "ben@example.org", "Minutes", "All agreed.")->send();
    host->application().composeWindows().back()->close(ComposeWindow::Closing::Discard);
    host->advance(60);
    EXPECT_THAT(plugIn.steps(), ElementsAre("send", "waited"));
    EXPECT_THAT(host->inboxOf("ben"), IsEmpty());
}

TEST_P(SendInVersion, TheWindowHasTheClassesAndOperationsOfItsVersion) {
    start({.osMinor = GetParam()});
    PlugIn plugIn(GetParam() == 10 ? "DocumentEditor" : "ComposeViewController");
    const auto window = host->compose("ada", "", "", "");
    const auto controller = window->controller();
    const auto editor = controller->headersEditor();
    EXPECT_EQ(controller->isa().name(), GetParam() == 10 ? "DocumentEditor" : "ComposeViewController");
    EXPECT_EQ(headers_editor::changeFromHeader.isAnsweredBy(*editor), GetParam() == 12);
    EXPECT_EQ(headers_editor::updateDeliveryAccountControl.isAnsweredBy(*editor), GetParam() < 12);
    EXPECT_EQ(headers_editor::stackViewDidReattachViews.isAnsweredBy(*editor), GetParam() < 12);
    EXPECT_EQ(GetParam() == 10,
              NSClassFromString(controller->isa().name())
                      ->find(MethodKind::Class, delivery_queue::handleFailedDelivery.selector()) != nullptr);
    EXPECT_EQ(editor->composeController(), controller);
    EXPECT_EQ(controller->view()->window(), window->window());

    const auto toolbar = window->window()->toolbar();
    EXPECT_EQ(toolbar->delegate()->isa().name(), GetParam() == 10 ? "DocumentEditor" : "ComposeWindowController");
    ASSERT_THAT(toolbar->items(), SizeIs(5));
    toolbar->validateVisibleItems();
    EXPECT_THAT(plugIn.validated(), Contains("send")) << "the exchanged validation is asked";
    EXPECT_FALSE(toolbar->items().front()->enabled) << "there is nobody to send to";
    ComposeUpdate update;
    update.to = {"ben@example.org"};
    window->update(update);
    toolbar->validateVisibleItems();
    EXPECT_TRUE(toolbar->items().front()->enabled);
}

INSTANTIATE_TEST_SUITE_P(Versions, SendInVersion, testing::Values(10, 11, 12));

TEST_F(SendJourney, AFaultOfAPlugInAfterTheAppendHoldsNothingUp) {
    start();
    PlugIn plugIn("ComposeViewController");
    plugIn.failAfterAppend();
    host->composeAndSend("ada", "ben@example.org", "Minutes", "All agreed.");
    host->advance(60);
    EXPECT_THAT(host->inboxOf("ben"), SizeIs(1));
    EXPECT_EQ(openWindows(), 0u);
}

TEST_F(SendJourney, WhatCanNotBeSentSaysWhyAndStays) {
    start();
    struct Case {
        const char *why, *to, *alert;
    };
    for (const Case& c :
         {Case{"nobody", "", "The message has no recipients"},
          Case{"no address", "Ben", "“Ben” is not an e-mail address"},
          Case{"half an address", "ben@example.org, cy@", "“ben@example.org, cy@” is not an e-mail address"}}) {
        alerts->seen.clear();
        const auto window = host->compose("ada", c.to, "Minutes", "All agreed.");
        window->send();
        host->settle();
        EXPECT_THAT(alerts->seen, ElementsAre(c.alert)) << c.why;
        EXPECT_EQ(window->subject(), "Minutes");
        EXPECT_FALSE(window->isBusy());
        window->close(ComposeWindow::Closing::Discard);
    }
    EXPECT_THAT(outbox(), IsEmpty());
}

TEST_F(SendJourney, TwoClicksSendOnce) {
    start();
    const auto window = host->compose("ada", "ben@example.org", "Minutes", "All agreed.");
    window->send();
    window->send();
    window->update({.subject = "Changed while it was on its way"});
    window->close(ComposeWindow::Closing::Discard);
    host->advance(60);
    EXPECT_THAT(host->inboxOf("ben"), ElementsAre(Field(&MessageSummary::subject, "Minutes")));
}

TEST_F(SendJourney, ASmuggledHeaderStaysText) {
    start();
    host->composeAndSend("ada", "ben@example.org", "Minutes\r\nBcc: eve@example.org", "All agreed.");
    host->advance(60);
    ASSERT_THAT(host->inboxOf("ben"), SizeIs(1));
    const auto headers = host->library().messageWithID(host->inboxOf("ben").front().id)->headers();
    EXPECT_FALSE(headers->hasHeaderForKey("Bcc"));
    EXPECT_THAT(headers->firstHeaderForKey("Subject").value_or(""), HasSubstr("Bcc: eve@example.org"));
}

TEST_F(SendJourney, BlindCopiesAreDeliveredAndNotNamed) {
    start();
    const auto window = host->compose("ada", "ada@example.org", "Minutes", "All agreed.");
    window->update({.bcc = std::vector<std::string>{"Ben Nevis <ben@example.org>"}});
    window->send();
    host->advance(60);
    ASSERT_THAT(host->inboxOf("ben"), SizeIs(1));
    EXPECT_THAT(contentOf(host->inboxOf("ben").front()), Not(HasSubstr("Ben Nevis")));
}

TEST_F(SendJourney, UniqueAndMessageIdStayFromDraftToSentCopy) {
    start({.startDeliveries = false});
    const auto window = host->compose("ada", "ben@example.org", "Minutes", "");
    type(*window, "One");
    host->advance(3);
    ASSERT_THAT(drafts(), SizeIs(1));
    const std::string uniqueID = drafts().front().uniqueID;
    type(*window, "Two");
    host->advance(3);
    ASSERT_THAT(drafts(), SizeIs(1));
    EXPECT_EQ(drafts().front().uniqueID, uniqueID);
    window->send();
    host->settle();
    ASSERT_THAT(outbox(), SizeIs(1));
    EXPECT_THAT(drafts(), IsEmpty());
    EXPECT_EQ(outbox().front().uniqueID, uniqueID);
    const std::string messageID = outbox().front().messageID;
    host->engine().deliveries().start();
    host->advance(60);
    ASSERT_THAT(sent(), SizeIs(1));
    EXPECT_EQ(sent().front().messageID, messageID);
    EXPECT_EQ(host->inboxOf("ben").front().messageID, messageID);
}

TEST_F(SendJourney, AFullDiskKeepsTheWindowAndTheText) {
    for (const char* part : {"Outbox", "Compose"}) {
        start();
        const auto window = host->compose("ada", "ben@example.org", "Minutes", "");
        type(*window, "All agreed.");
        disk.fillUp(part);
        window->send();
        host->settle();
        EXPECT_THAT(alerts->seen, ElementsAre("The message could not be sent")) << part;
        EXPECT_FALSE(window->isBusy()) << part;
        EXPECT_THAT(window->bodyHtml(), HasSubstr("All agreed.")) << part;
        EXPECT_THAT(outbox(), IsEmpty()) << part;
        disk.fillUp({});
        window->send();
        host->advance(60);
        EXPECT_THAT(host->inboxOf("ben"), SizeIs(1)) << part;
        EXPECT_THAT(drafts(), IsEmpty()) << part;
        EXPECT_THAT(windowFolders(), IsEmpty()) << part;
    }
}

TEST_F(SendJourney, AFaultAtAnyStepNeitherLosesNorDoublesTheMessage) {
    start({.startDeliveries = false});
    std::vector<std::string> subjects;
    bool cameThrough = false;
    for (int step = 1; !cameThrough; ++step) {
        ASSERT_LT(step, 60);
        const auto window = host->compose("ada", "ben@example.org", "Minutes " + std::to_string(step), "");
        subjects.push_back(window->subject());
        type(*window, "All agreed.");
        host->advance(3);
        disk.failAt(step, false);
        window->send();
        host->settle();
        cameThrough = disk.steps() < step;
        disk.failAt(0, false);
        if (openWindows() == 0) continue;
        EXPECT_THAT(window->bodyHtml(), HasSubstr("All agreed.")) << "step " << step;
        window->send();
        host->settle();
        EXPECT_EQ(openWindows(), 0u) << "step " << step;
    }
    EXPECT_GT(subjects.size(), 5u) << "steps at which it failed";
    host->engine().deliveries().start();
    host->advance(60);
    std::vector<std::string> arrived;
    for (const MessageSummary& message : host->inboxOf("ben"))
        arrived.push_back(message.subject);
    EXPECT_THAT(arrived, testing::UnorderedElementsAreArray(subjects));
}

// The disk takes nothing any more from some step on, the program ends, and starts again.
TEST_F(SendJourney, AnEndAtAnyStepLeavesADraftOrAMessageOnItsWayNeverBoth) {
    start();
    bool cameThrough = false;
    int asDraft = 0, asMail = 0;
    for (int step = 1; !cameThrough; ++step) {
        ASSERT_LT(step, 60);
        const std::string subject = "Minutes " + std::to_string(step);
        const auto window = host->compose("ada", "ben@example.org", subject, "");
        type(*window, "All agreed.");
        host->advance(3);
        disk.failAt(step, true);
        window->send();
        host->settle();
        cameThrough = disk.steps() < step;
        host->shutDown();
        disk.failAt(0, false);
        host->start();
        host->advance(60);
        const auto is = [&](const MessageSummary& message) { return message.subject == subject; };
        const auto atBen = host->inboxOf("ben"), left = drafts();
        const auto mails = std::ranges::count_if(atBen, is), kept = std::ranges::count_if(left, is);
        EXPECT_EQ(mails + kept, 1) << "step " << step << ": " << mails << " mails, " << kept << " drafts";
        asMail += static_cast<int>(mails);
        asDraft += static_cast<int>(kept);
        EXPECT_THAT(windowFolders(), IsEmpty()) << "step " << step;
    }
    EXPECT_GT(asDraft, 0);
    EXPECT_GT(asMail, 1);
}

TEST_F(SendJourney, WhoQuitsWhileAMessageIsOnItsWayIntoTheOutboxSendsIt) {
    start();
    const auto window = host->compose("ada", "ben@example.org", "Minutes", "");
    type(*window, "All agreed.");
    window->send();
    EXPECT_TRUE(window->isBusy());
    host->restart();
    host->advance(60);
    EXPECT_THAT(host->inboxOf("ben"), SizeIs(1));
    EXPECT_THAT(drafts(), IsEmpty());
    EXPECT_THAT(windowFolders(), IsEmpty());
}

}  // namespace
}  // namespace qs
