// The send chain and the message writer, driven through the class runtime on every version of the host.
#include <algorithm>

#include "Compose/HeadersEditor.h"
#include "ComposeWindow.h"
#include "Foundation/Runtime.h"
#include "Mail/MailAccount.h"
#include "Mail/MessageHeaders.h"
#include "MainViewer.h"
#include "Models/Form.h"
#include "Models/Popover.h"
#include "Models/Toolbar.h"
#include "Models/View.h"
#include "Outgoing/QSHeaderKeys.h"
#include "Outgoing/QSSendHooks.h"
#include "Outgoing/SendSteps.h"
#include "PluginTest.h"
#include "Text/MailHeaderDate.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class SendChainTest : public PluginTest {
protected:
    // Stands in for a step of the chain, as the part that owns the step does. The step's code is exchanged back when
    // the host goes.
    void replaceStep(const Operation<void(SendStepBlock)>& step, std::function<void(const SendStepBlock&)> code) {
        const Operation<void(SendStepBlock)> mine("test_" + step.selector().name());
        Class& controller = *QSClassFromString(osMinor() >= 11 ? "ComposeViewController" : "DocumentEditor");
        controller.add(mine, [code = std::move(code)](HostObject&, const SendStepBlock& block) { code(block); });
        ASSERT_TRUE(controller.jr_swizzleMethod(step.selector(), mine.selector()));
    }
    std::shared_ptr<ComposeWindow> compose(std::string_view subject = "Minutes") {
        return host_->compose("ada", "ben@example.org", subject, "All agreed.");
    }
    std::shared_ptr<MessageHeaders> headersOf(const MessageSummary& summary) {
        return host_->library().messageWithID(summary.id)->headers();
    }
    std::vector<MessageSummary> inAda(MailboxKind kind) { return host_->messagesOf("ada", kind); }

    // A draft with a schedule, reopened in a window of its own.
    std::shared_ptr<ComposeWindow> reopenScheduled(TimeInterval ahead) {
        const Date date = RunLoop::main().now() + ahead;
        auto draft = host_->receive(
            "ada", "Ada Lovelace <ada@example.org>", "Planned", "Text", MailboxKind::Drafts,
            "To: ben@example.org\r\nX-Quillstead-Scheduled-Date: " + mailHeaderStringFromDate(date) + "\r\n");
        host_->viewer().selectMailbox(draft->mailbox()->identifier());
        host_->viewer().open(draft->libraryID());
        host_->settle();
        return host_->application().composeWindows().empty() ? nullptr : host_->application().composeWindows().back();
    }
};

TEST_F(SendChainTest, TheRoadOfOneMessageOnEveryVersion) {
    for (const int minor : {10, 11, 12}) {
        startHost({.osMinor = minor});
        host_->composeAndSend("ada", "ben@example.org", "Minutes", "All agreed.");
        host_->advance(31);
        EXPECT_THAT(host_->inboxOf("ben"), SizeIs(1)) << minor;
        EXPECT_THAT(inAda(MailboxKind::Sent), SizeIs(1)) << minor;
        EXPECT_THAT(inAda(MailboxKind::Outbox), IsEmpty()) << minor;
        EXPECT_THAT(host_->application().composeWindows(), IsEmpty()) << minor;
        EXPECT_THAT(log_.messages(LogLevel::Error), IsEmpty()) << minor;
        TearDown();
    }
    startHost();
}

TEST_F(SendChainTest, WhatTheVersionSplitInTwoGetsTheSamePatchClassTwice) {
    for (const int minor : {10, 11, 12}) {
        startHost({.osMinor = minor});
        const auto answers = [](const char* name, const char* selector) {
            const Class* cls = NSClassFromString(name);
            return cls && cls->find(MethodKind::Instance, Selector(selector)) != nullptr;
        };
        for (const char* name : {"ComposeViewController", "ComposeWindowController", "DocumentEditor"})
            for (const char* selector : {"quillstead_send:", "sendLater:", "quillstead_toolbarDefaultItemIdentifiers:"})
                EXPECT_EQ(answers(name, selector), (minor == 10) == (std::string_view(name) == "DocumentEditor"))
                    << minor << name << selector;
        auto window = compose();
        auto toolbar = window->window()->toolbar();
        for (const auto& identifiers : {toolbar_delegate::defaultItemIdentifiers(toolbar->delegate(), *toolbar),
                                        toolbar_delegate::allowedItemIdentifiers(toolbar->delegate(), *toolbar)}) {
            ASSERT_GT(identifiers.size(), 1u) << minor;
            EXPECT_EQ(identifiers[1], "SendLater") << minor;
        }
        EXPECT_THAT(log_.messages(LogLevel::Error), IsEmpty()) << minor;
        toolbar.reset();
        window.reset();
        TearDown();
    }
    startHost();
}

TEST_F(SendChainTest, AVersionThatNobodyKnowsKeepsItsOwnWays) {
    startHost({.osMinor = 9});
    host_->composeAndSend("ada", "ben@example.org", "Minutes", "All agreed.");
    host_->advance(31);
    EXPECT_THAT(host_->inboxOf("ben"), SizeIs(1));
    EXPECT_EQ(NSClassFromString("DocumentEditor")->find(MethodKind::Instance, Selector("quillstead_send:")), nullptr);
    EXPECT_THAT(log_.messages(LogLevel::Error), IsEmpty());
}

TEST_F(SendChainTest, StepsComeInOrderAndEachCanStopTheSend) {
    for (const std::string stopAt : {"", "attachments", "upload", "silence"}) {
        startHost();
        std::vector<std::string> steps;
        replaceStep(send_steps::checkForMissingAttachments, [&](const SendStepBlock& block) {
            steps.emplace_back("attachments");
            block(stopAt == "attachments" ? 1 : 0);
        });
        replaceStep(send_steps::checkForAttachmentUploading, [&](const SendStepBlock& block) {
            steps.emplace_back("upload");
            if (stopAt != "silence") block(stopAt == "upload" ? 1 : 0);
        });
        compose()->send();
        host_->advance(31);
        const bool sent = stopAt.empty();
        EXPECT_THAT(host_->inboxOf("ben"), SizeIs(sent ? 1 : 0)) << stopAt;
        EXPECT_EQ(host_->application().composeWindows().empty(), sent) << stopAt;
        EXPECT_EQ(steps.size(), stopAt == "attachments" ? 1u : 2u) << stopAt;
        TearDown();
    }
    startHost();
}

TEST_F(SendChainTest, AWindowClosedWhileAStepWaitsSendsNothing) {
    startHost();
    SendStepBlock waiting;
    replaceStep(send_steps::checkForAttachmentUploading, [&](const SendStepBlock& block) { waiting = block; });
    auto window = compose();
    const std::weak_ptr<ComposeController> controller = window->controller();
    window->send();
    host_->settle();
    window->close(ComposeWindow::Closing::Discard);
    window.reset();
    host_->settle();
    ASSERT_TRUE(waiting);
    EXPECT_TRUE(controller.expired()) << "nothing that waits keeps the window";
    waiting(0);
    host_->advance(31);
    EXPECT_THAT(host_->inboxOf("ben"), IsEmpty());
}

TEST_F(SendChainTest, TheWriterPutsScheduleAndTrackingOnDraftsAndSends) {
    struct Case {
        const char* why;
        TimeInterval ahead;
        bool tracked, scheduled;
    };
    for (const Case& c :
         {Case{"nothing chosen", 0, false, false}, Case{"exactly the tolerance ahead", 2.0, false, false},
          Case{"just beyond it", 3.0, false, true}, Case{"tomorrow, tracked", 86400, true, true}}) {
        for (const bool draft : {true, false}) {
            startHost({.startDeliveries = false});
            auto window = compose();
            auto backEnd = window->controller()->backEnd();
            const Date now = RunLoop::main().now();
            if (c.tracked) setTrackingPixelUUID(*backEnd, "5D0C");
            if (c.ahead > 0) setSendLaterDate(*backEnd, now + c.ahead);
            if (draft) {
                window->update({.subject = "Minutes, changed"});  // nothing is saved of a window nobody touched
                ASSERT_TRUE(window->saveDraft());
            } else {
                // The chain clears the date of a message written anew; whoever schedules calls the host's own send.
                Operation<void(HostObject*)>("quillstead_send:")(window->controller(), nullptr);
            }
            host_->settle();
            auto messages = inAda(draft ? MailboxKind::Drafts : MailboxKind::Outbox);
            ASSERT_THAT(messages, SizeIs(1)) << c.why;
            auto headers = headersOf(messages[0]);
            auto date = mailHeaderStringFromDate(now + c.ahead);
            EXPECT_EQ(headers->firstHeaderForKey(QSHeaderKeyXScheduledDate),
                      c.scheduled ? std::optional(date) : std::nullopt)
                << c.why;
            if (c.scheduled) {
                EXPECT_EQ(headers->firstHeaderForKey(MCHeaderKeyDate), date) << c.why;
            }
            EXPECT_EQ(headers->firstHeaderForKey(QSHeaderKeyXTrackingUUID),
                      c.tracked ? std::optional<std::string>("5D0C") : std::nullopt)
                << c.why;
            TearDown();
        }
    }
    startHost();
}

TEST_F(SendChainTest, AReopenedScheduleSurvivesDraftsOnly) {
    startHost({.startDeliveries = false});
    auto window = reopenScheduled(86400);
    ASSERT_NE(window, nullptr);
    window->update({.subject = "Planned, changed"});
    ASSERT_TRUE(window->saveDraft());
    host_->settle();
    auto drafts = inAda(MailboxKind::Drafts);
    ASSERT_THAT(drafts, SizeIs(1));
    const auto date = mailHeaderStringFromDate(RunLoop::main().now() + 86400);
    EXPECT_EQ(headersOf(drafts[0])->firstHeaderForKey(QSHeaderKeyXScheduledDate), date);
    EXPECT_EQ(headersOf(drafts[0])->firstHeaderForKey(MCHeaderKeyDate), date);

    // The host's own send, without a date chosen for it: the draft's counts for nothing.
    Operation<void(HostObject*)>("quillstead_send:")(window->controller(), nullptr);
    host_->settle();
    auto outbox = inAda(MailboxKind::Outbox);
    ASSERT_THAT(outbox, SizeIs(1));
    EXPECT_FALSE(headersOf(outbox[0])->hasHeaderForKey(QSHeaderKeyXScheduledDate));
}

TEST_F(SendChainTest, TwoSecondsAheadIsNoScheduleAnyMore) {
    for (const auto& [ahead, asks] : {std::pair{2.0, false}, {3.0, true}}) {
        startHost({.startDeliveries = false});
        auto window = reopenScheduled(ahead);
        ASSERT_NE(window, nullptr);
        setSendLaterDate(*window->controller()->backEnd(), RunLoop::main().now() + 60);  // of an earlier send
        window->send();
        host_->settle();
        EXPECT_EQ(window->window()->currentSheet() != nullptr, asks) << ahead;
        auto outbox = inAda(MailboxKind::Outbox);
        ASSERT_THAT(outbox, SizeIs(asks ? 0 : 1)) << ahead;
        if (!asks) {
            EXPECT_FALSE(headersOf(outbox[0])->hasHeaderForKey(QSHeaderKeyXScheduledDate)) << ahead;
        }
        window.reset();
        TearDown();
    }
    startHost();
}

TEST_F(SendChainTest, ThePictureIsAddedBeforeTheQuestionAndTheWindowIsThatOfTheVersion) {
    for (const int minor : {10, 11, 12}) {
        startHost({.osMinor = minor, .startDeliveries = false});
        const Operation<void()> mine("test_addTrackingPixel");
        Class& controller = *QSClassFromString(minor >= 11 ? "ComposeViewController" : "DocumentEditor");
        controller.add(mine, [](HostObject& self) {
            setTrackingPixelUUID(*static_cast<ComposeController&>(self).backEnd(), "5D0C");
        });
        ASSERT_TRUE(controller.jr_swizzleMethod(send_steps::addTrackingPixelToMessageBody.selector(), mine.selector()));
        auto window = reopenScheduled(86400);
        ASSERT_NE(window, nullptr) << minor;
        EXPECT_EQ(send_steps::composeWindow(window->controller()), window->window()) << minor;
        window->send();
        host_->settle();
        auto sheet = window->window()->currentSheet();
        ASSERT_NE(sheet, nullptr) << minor;
        // What is saved while the question waits tells the picture already.
        window->update({.subject = "Planned, changed"});
        ASSERT_TRUE(window->saveDraft()) << minor;
        host_->settle();
        EXPECT_EQ(headersOf(inAda(MailboxKind::Drafts).at(0))->firstHeaderForKey(QSHeaderKeyXTrackingUUID), "5D0C");

        auto held = window->controller();
        window->close(ComposeWindow::Closing::Save);
        window.reset();
        host_->settle();
        EXPECT_EQ(send_steps::composeWindow(held), nullptr) << minor;
        EXPECT_THAT(inAda(MailboxKind::Outbox), IsEmpty()) << minor;
        held.reset();
        TearDown();
    }
    startHost();
}

TEST_F(SendChainTest, SendingWhatIsStillScheduledAsksAndDoesAsAnswered) {
    struct Case {
        const char* button;
        bool sent, scheduled;
    };
    for (const Case& c :
         {Case{"Keep Schedule", true, true}, Case{"Send Now", true, false}, Case{"Cancel", false, false}}) {
        startHost({.startDeliveries = false});
        auto window = reopenScheduled(86400);
        ASSERT_NE(window, nullptr);
        setSendLaterDate(*window->controller()->backEnd(), RunLoop::main().now() + 60);  // of an earlier send
        window->send();
        host_->settle();
        auto sheet = window->window()->currentSheet();
        ASSERT_NE(sheet, nullptr);
        const auto button = std::ranges::find(sheet->buttons, c.button, &FormButton::title);
        ASSERT_NE(button, sheet->buttons.end()) << c.button;
        window->window()->endSheet(*sheet, button->code);
        host_->settle();
        auto outbox = inAda(MailboxKind::Outbox);
        ASSERT_THAT(outbox, SizeIs(c.sent ? 1 : 0)) << c.button;
        if (c.sent) {
            const auto date = mailHeaderStringFromDate(RunLoop::main().now() + 86400);
            EXPECT_EQ(headersOf(outbox[0])->firstHeaderForKey(QSHeaderKeyXScheduledDate),
                      c.scheduled ? std::optional(date) : std::nullopt);
        }
        window.reset();
        TearDown();
    }
    startHost();
}

TEST_F(SendChainTest, ASecondSendWhileAStepAsksIsNoSecondMessage) {
    startHost({.startDeliveries = false});
    auto window = reopenScheduled(86400);
    ASSERT_NE(window, nullptr);
    window->send();
    host_->settle();
    auto sheet = window->window()->currentSheet();
    ASSERT_NE(sheet, nullptr);
    window->send();
    host_->settle();
    window->window()->endSheet(*sheet, kSheetConfirmed);
    host_->settle();
    EXPECT_EQ(window->window()->currentSheet(), nullptr) << "a second chain asked again";
    EXPECT_THAT(inAda(MailboxKind::Outbox), SizeIs(1));
}

TEST_F(SendChainTest, APastScheduleIsDroppedWithoutAQuestion) {
    startHost({.startDeliveries = false});
    auto window = reopenScheduled(-60);
    ASSERT_NE(window, nullptr);
    window->send();
    host_->settle();
    EXPECT_EQ(window->window()->currentSheet(), nullptr);
    auto outbox = inAda(MailboxKind::Outbox);
    ASSERT_THAT(outbox, SizeIs(1));
    EXPECT_FALSE(headersOf(outbox[0])->hasHeaderForKey(QSHeaderKeyXScheduledDate));
}

TEST_F(SendChainTest, TheOutboxIsAnnouncedAsTheMessageAsksFor) {
    struct Case {
        const char* why;
        const char* header;
        bool delay, dialog;
        std::string popover;  // that is shown
        bool followUp = true;
    };
    for (const Case& c : {Case{"a delay with its dialog", "", true, true, "DelayedSend"},
                          Case{"no dialog", "", true, false, ""}, Case{"no delay", "", false, true, ""},
                          Case{"scheduled", "X-Quillstead-Scheduled-Date", true, true, "ScheduledInOutbox"},
                          Case{"an unsubscribe message", "X-Quillstead-Unsubscribe", true, true, ""},
                          Case{"no follow-up wanted", "", true, true, "DelayedSend", false}}) {
        startHost({.startDeliveries = false});
        defaults().setObject(c.delay, "QSSendDelay");
        defaults().setObject(c.dialog, "QSShowUndoDialog");
        int followUps = 0;
        QSSession::current().sendHooks().createFollowUp = [&](HeadersEditor&, const MessageRef&, MailAccount& account) {
            EXPECT_EQ(account.identifier(), "ada");
            ++followUps;
        };
        auto window = compose();
        auto controller = window->controller();
        controller->headersEditor()->setAssociatedObject("enableFollowUp", c.followUp);
        // The header is put on as another writer of headers would do it.
        const Operation<std::shared_ptr<OutgoingMessage>(MessageWriter&, const ComposeContents&,
                                                         std::shared_ptr<MessageHeaders>, bool, bool)>
            mine("test_newOutgoingMessage");
        Class& backEnd = *QSClassFromString("ComposeBackEnd");
        backEnd.add(mine, [&](HostObject& self, MessageWriter& writer, const ComposeContents& contents,
                              std::shared_ptr<MessageHeaders> headers, bool isDraft, bool plain) {
            if (*c.header) headers->setHeader("Mon, 1 Jan 2035 00:00:00 +0000", c.header);
            return mine(self, writer, contents, std::move(headers), isDraft, plain);
        });
        ASSERT_TRUE(backEnd.jr_swizzleMethod(compose_back_end::newOutgoingMessage.selector(), mine.selector()));
        window->send();
        host_->settle();
        const auto shown = [] {
            std::string identifiers;
            for (const Popover* popover : Popover::allShown())
                identifiers += popover->identifier();
            return identifiers;
        };
        host_->advance(0.4);
        EXPECT_NE(shown(), "DelayedSend") << c.why << ": half a second later only";
        host_->advance(0.2);
        EXPECT_EQ(shown(), c.popover) << c.why;
        if (!Popover::allShown().empty()) {
            EXPECT_EQ(Popover::allShown()[0]->preferredEdge(), 3);
        }
        if (c.popover == "ScheduledInOutbox") {
            EXPECT_EQ(Popover::allShown()[0]->content.text,
                      "Your scheduled emails will be stored in your outbox until the configured send time is reached.");
        }
        EXPECT_EQ(followUps, c.followUp ? 1 : 0) << c.why;
        controller.reset();
        window.reset();
        TearDown();
    }
    startHost();
}

}  // namespace
}  // namespace qs
