// Delayed mail: "Send now", "Undo send" and what becomes of the message, through the whole host.
#include "DelayedMailTest.h"

namespace qs {
namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

using UndoSend = DelayedMailTest;

TEST_F(UndoSend, AMessageLeavesWhenTheCountdownRunsOutOrAtOnceOnEveryVersion) {
    for (const int minor : {10, 11, 12}) {
        for (const bool atOnce : {false, true}) {
            SCOPED_TRACE(std::to_string(minor) + (atOnce ? ", at once" : ", by itself"));
            startWithDelay(10, minor);
            send();
            EXPECT_EQ(countdown(), nullptr);
            host_->advance(0.6);
            ASSERT_NE(countdown(), nullptr);
            EXPECT_THAT(outbox(), SizeIs(1));
            const std::string uniqueID = outbox().front().uniqueID;
            if (atOnce) {
                press(kSendNow);
            } else {
                host_->advance(9.8);
                EXPECT_EQ(countdown()->content.countdownText, "1");
                EXPECT_THAT(received(), IsEmpty());
                host_->advance(0.2);  // no heartbeat is waited for
            }
            EXPECT_EQ(countdown(), nullptr);
            EXPECT_THAT(received(), SizeIs(1));
            EXPECT_THAT(outbox(), IsEmpty());
            EXPECT_FALSE(flag(QSMessageFlagSendImmediately, uniqueID)) << "cleared by the delivery";
            host_->advance(4000);
            EXPECT_THAT(received(), SizeIs(1));
            EXPECT_THAT(drafts(), IsEmpty());
            EXPECT_THAT(log_.messages(LogLevel::Error), IsEmpty());
            TearDown();
        }
    }
    startHost();
}

TEST_F(UndoSend, TakenBackItIsADraftThatOpensOnEveryVersion) {
    for (const int minor : {10, 11, 12}) {
        SCOPED_TRACE(minor);
        startWithDelay(20, minor);
        send();
        host_->advance(3);
        const std::string uniqueID = outbox().front().uniqueID;
        press(kUndoSend);
        EXPECT_EQ(countdown(), nullptr);
        EXPECT_THAT(outbox(), IsEmpty());
        EXPECT_THAT(drafts(), SizeIs(1));
        EXPECT_TRUE(flag(QSMessageOpenAfterUndo, uniqueID));
        host_->advance(0.4);
        EXPECT_THAT(host_->application().composeWindows(), IsEmpty());
        host_->advance(0.2);
        const auto window = onlyWindow();
        ASSERT_NE(window, nullptr);
        EXPECT_EQ(window->subject(), "Minutes");
        EXPECT_THAT(window->bodyHtml(), HasSubstr("All agreed."));
        EXPECT_FALSE(flag(QSMessageOpenAfterUndo, uniqueID));
        host_->advance(4000);
        EXPECT_THAT(received(), IsEmpty());
        EXPECT_THAT(drafts(), SizeIs(1));
        EXPECT_THAT(log_.messages(LogLevel::Error), IsEmpty());
        TearDown();
    }
    startHost();
}

TEST_F(UndoSend, SentAnewItIsHeldAnewAndLeavesOnceInItsLastForm) {
    startWithDelay(10);
    send();
    host_->advance(5);
    press(kUndoSend);
    host_->advance(1);
    auto window = onlyWindow();
    window->update({.subject = "Minutes, corrected"});
    window->send();
    host_->settle();
    window.reset();
    host_->advance(0.6);
    ASSERT_NE(countdown(), nullptr);
    EXPECT_EQ(countdown()->content.countdownText, "10");
    host_->advance(5);
    EXPECT_THAT(received(), IsEmpty());
    EXPECT_THAT(drafts(), IsEmpty());
    press(kSendNow);
    ASSERT_THAT(received(), SizeIs(1));
    EXPECT_EQ(received().front().subject, "Minutes, corrected");
    host_->advance(4000);
    EXPECT_THAT(received(), SizeIs(1));
}

TEST_F(UndoSend, TheOutboxOffersItToo) {
    startWithDelay(20, 12, false);
    send();
    host_->advance(2);
    EXPECT_EQ(countdown(), nullptr) << "the dialog is off";
    undoFromContextualMenu();
    EXPECT_THAT(outbox(), IsEmpty());
    host_->advance(0.6);
    EXPECT_EQ(onlyWindow()->subject(), "Minutes");
    host_->advance(4000);
    EXPECT_THAT(received(), IsEmpty());
}

TEST_F(UndoSend, WithoutAFrontmostViewerOneIsMadeForTheMessage) {
    startWithDelay(10);
    send();
    const auto held = message(outbox().front());
    HostInstances::current().frontmostViewer = nullptr;
    const auto make = HostInstances::current().singleMessageViewer;
    HostInstances::current().singleMessageViewer = nullptr;
    undoSend(held.get());
    host_->settle();
    EXPECT_THAT(outbox(), SizeIs(1));
    EXPECT_THAT(log_.messages(LogLevel::Error), Contains(HasSubstr("Could not create MessageViewer for message")));
    EXPECT_FALSE(flag(QSMessageOpenAfterUndo, outbox().front().uniqueID));

    HostInstances::current().singleMessageViewer = make;
    undoSend(held.get());
    host_->advance(0.6);
    EXPECT_THAT(outbox(), IsEmpty());
    EXPECT_EQ(onlyWindow()->subject(), "Minutes");
}

TEST_F(UndoSend, BothCopiesOfAMessageAreTakenBack) {
    startWithDelay(20);
    send();
    const std::string content = textOf(outbox().front());
    const auto box = host_->library().mailboxWithIdentifier(outbox().front().mailbox);
    ASSERT_TRUE(host_->library().add(*box, content, {.seen = true}, RunLoop::main().now()));
    host_->settle();
    ASSERT_THAT(outbox(), SizeIs(2));
    undoSend(message(outbox().front()).get());
    host_->settle();
    EXPECT_THAT(outbox(), IsEmpty());
    EXPECT_THAT(drafts(), SizeIs(2));
    host_->advance(4000);
    EXPECT_THAT(received(), IsEmpty());
    EXPECT_THAT(host_->application().composeWindows(), SizeIs(1)) << "one message, one window";
}

TEST_F(UndoSend, OnlyMessagesThatWaitAreMeant) {
    startWithDelay(20);
    send();
    const auto stranger = host_->receive("ada", "Eve <eve@example.org>", "Hello", "Text.");
    const auto nameless = std::make_shared<View>("place", std::weak_ptr<Window>());
    for (HostObject* argument : {static_cast<HostObject*>(nullptr), static_cast<HostObject*>(stranger.get()),
                                 static_cast<HostObject*>(nameless.get())}) {
        undoSend(argument);
        sendNow(argument);
    }
    host_->advance(1);
    EXPECT_THAT(outbox(), SizeIs(1));
    EXPECT_THAT(drafts(), IsEmpty());
    EXPECT_FALSE(flag(QSMessageFlagSendImmediately, outbox().front().uniqueID));
}

// "Send now" holds for one attempt of one version, not for what the person makes of the message afterwards.
TEST_F(UndoSend, SendNowDoesNotOutliveTheVersionItWasAskedFor) {
    startWithDelay(20);
    host_->composeAndSend("ada", "Nobody <nobody@example.org>", "Minutes", "All agreed.");
    host_->advance(1);
    const std::string uniqueID = outbox().front().uniqueID;
    press(kSendNow);
    ASSERT_THAT(outbox(), SizeIs(1)) << "there is no such recipient";
    EXPECT_TRUE(flag(QSMessageFlagSendImmediately, uniqueID));
    undoFromContextualMenu();
    host_->advance(1);
    EXPECT_FALSE(flag(QSMessageFlagSendImmediately, uniqueID));
    auto window = onlyWindow();
    window->update({.to = std::vector<std::string>{"ben@example.org"}});
    window->send();
    host_->settle();
    window.reset();
    host_->advance(5);
    EXPECT_THAT(received(), IsEmpty()) << "held anew";
    host_->advance(60);
    EXPECT_THAT(received(), SizeIs(1));
}

TEST_F(UndoSend, AScheduleTakenBackIsAskedAboutWhenSentAnew) {
    startWithDelay(10);
    const Date date = RunLoop::main().now() + 86400;
    const std::string header = mailHeaderStringFromDate(date);
    const auto draft =
        host_->receive("ada", "Ada Lovelace <ada@example.org>", "Planned", "Text", MailboxKind::Outbox,
                       "X-Universally-Unique-Identifier: planned\r\nX-Quillstead-Scheduled-Date: " + header + "\r\n");
    undoSend(draft.get());
    host_->advance(1);
    ASSERT_THAT(drafts(), SizeIs(1));
    EXPECT_EQ(message(drafts().front())->headers()->firstHeaderForKey(QSHeaderKeyXScheduledDate), header);
    const auto window = onlyWindow();
    window->update({.to = std::vector<std::string>{"ben@example.org"}});
    window->send();
    host_->settle();
    ASSERT_NE(window->window()->currentSheet(), nullptr);
    EXPECT_EQ(window->window()->currentSheet()->identifier, "SendLaterUpdate");
}

TEST_F(UndoSend, WhatADeliveryHasTakenCanNotBeTakenBack) {
    startWithDelay(20);
    send();
    const auto held = message(outbox().front());
    const auto file = host_->library().file(held->libraryID());
    ASSERT_TRUE(host_->library().claim(held->libraryID(), file.parent_path().parent_path() / "claimed"));
    host_->settle();
    undoSend(held.get());
    sendNow(held.get());
    host_->advance(0.6);
    EXPECT_THAT(drafts(), IsEmpty());
    EXPECT_THAT(host_->application().composeWindows(), IsEmpty());
}
}  // namespace
}  // namespace qs
