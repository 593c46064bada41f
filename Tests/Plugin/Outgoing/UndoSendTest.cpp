// Delayed mail: the countdown, "Send now", "Undo send" and what becomes of the message, through the whole host.
#include "Outgoing/QSUndoSend.h"

#include <algorithm>
#include <utility>

#include "Application/HostInstances.h"
#include "Application/MailApp.h"
#include "ComposeWindow.h"
#include "DeliveryService.h"
#include "DirectInbox/QSDirectInboxMenuController.h"
#include "Mail/MessageHeaders.h"
#include "MailEngine.h"
#include "MainViewer.h"
#include "Models/Alert.h"
#include "Models/Form.h"
#include "Models/Menu.h"
#include "Models/Popover.h"
#include "Models/View.h"
#include "Outgoing/QSHeaderKeys.h"
#include "Outgoing/QSSendHooks.h"
#include "PluginTest.h"
#include "Text/MailHeaderDate.h"
#include "Viewer/ContactPictures.h"
#include "Viewer/MessageViewer.h"

namespace qs {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr int kSendNow = 0;
constexpr int kUndoSend = 1;

class UndoSend : public PluginTest {
protected:
    void startWithDelay(int seconds, int osMinor = 12, bool withDialog = true) {
        startHost({.osMinor = osMinor});
        defaults().setObject(true, "QSSendDelay");
        defaults().setObject(seconds, "QSSendDelaySeconds");
        defaults().setObject(withDialog, "QSShowUndoDialog");
        delegate().defibrillate();  // the heart beats from now on
        host_->settle();
    }
    void send(const std::string& subject = "Minutes") {
        host_->composeAndSend("ada", "Ben Nevis <ben@example.org>", subject, "All agreed.");
    }
    std::vector<MessageSummary> outbox() { return host_->messagesOf("ada", MailboxKind::Outbox); }
    std::vector<MessageSummary> drafts() { return host_->messagesOf("ada", MailboxKind::Drafts); }
    std::vector<MessageSummary> received() { return host_->inboxOf("ben"); }
    MessageRef message(const MessageSummary& summary) { return host_->library().messageWithID(summary.id); }
    std::string textOf(const MessageSummary& summary) { return host_->library().content(summary.id).value_or(""); }
    static Popover* countdown() {
        for (Popover* popover : Popover::allShown())
            if (popover->identifier() == "DelayedSend") return popover;
        return nullptr;
    }
    void press(int segment) {
        ASSERT_NE(countdown(), nullptr);
        const auto onButton = countdown()->onButton;
        onButton(segment);
        host_->settle();
    }
    std::shared_ptr<ComposeWindow> onlyWindow() {
        const auto& windows = host_->application().composeWindows();
        EXPECT_THAT(windows, SizeIs(1));
        return windows.empty() ? nullptr : windows.front();
    }
    bool flag(std::string_view key, const std::string& uniqueID) { return delegate().flagForKey(key, uniqueID); }
    // Chooses "Undo Send" for the first message of the outbox, as a person does.
    void undoFromContextualMenu() {
        const auto held = outbox();
        ASSERT_FALSE(held.empty());
        host_->viewer().selectMailbox(held.front().mailbox);
        host_->viewer().selectIDs({held.front().id});
        const auto menu = host_->application().contextualMenu();
        const auto item = menu->itemWithTag(kTagUndoSend);
        ASSERT_NE(item, nullptr);
        EXPECT_EQ(item->title(), "Undo Send");
        EXPECT_TRUE(host_->application().isEnabled(*item));
        EXPECT_TRUE(host_->application().choose(*item));
        host_->settle();
    }
};

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

TEST_F(UndoSend, TheCountdownSaysWhatItIsAbout) {
    struct Case {
        int minor;
        const char* picture;  // known of the recipient; empty: none
        const char* shown;
    };
    for (const Case& c :
         {Case{10, "", "BN"}, Case{11, "data:image/png;base64,AAAA", "data:image/png;base64,AAAA"}, Case{11, "", "BN"},
          Case{12, "data:image/png;base64,BBBB", "data:image/png;base64,BBBB"}, Case{12, "", "BN"}}) {
        SCOPED_TRACE(c.minor);
        startWithDelay(45, c.minor);
        std::string asked;
        if (c.minor >= 12) {
            const Operation<std::string(const std::string&)> round("roundImageForEmail:"), mine("test_roundImage");
            Class& avatars = *QSClassFromString("CNAvatarViewController");
            avatars.addClassMethod(mine, [&](Class&, const std::string& email) {
                asked = email;
                return std::string(c.picture);
            });
            ASSERT_TRUE(avatars.jr_swizzleClassMethod(round.selector(), mine.selector()));
        } else {
            // As the part that knows pictures does.
            const Operation<std::string(const std::string&, const std::string&, int, bool, int*)> mine("test_image");
            Class& manager = *QSClassFromString("MFAddressManager");
            manager.add(mine, [&](HostObject&, const std::string& address, const std::string& name, int size,
                                  bool selected, int*) {
                EXPECT_EQ(name, "Ben Nevis");
                EXPECT_EQ(size, 1);
                EXPECT_FALSE(selected);
                asked = address;
                return std::string(c.picture);
            });
            ASSERT_TRUE(manager.jr_swizzleMethod(address_manager::imageForMailAddress.selector(), mine.selector()));
        }
        send();
        host_->advance(0.6);
        ASSERT_NE(countdown(), nullptr);
        const PopoverContent& content = countdown()->content;
        EXPECT_EQ(asked, "ben@example.org");
        EXPECT_EQ(content.text, "Your message will be sent automatically in 45 seconds.");
        EXPECT_EQ(content.countdownText, "45");
        EXPECT_THAT(content.buttonTitles, ElementsAre("Send now", "Undo send"));
        EXPECT_THAT(content.buttonIcons, ElementsAre("TB_SendTemplate", "plugin:TB_UndoSend"));
        EXPECT_THAT(content.imageName, HasSubstr(c.shown));
        EXPECT_TRUE(content.imageName.starts_with("data:image/"));
        EXPECT_EQ(countdown()->positioningView(), delegate().anchorViewForPopover());
        TearDown();
    }
    startHost();
}

TEST_F(UndoSend, OneSecondDoesNotCountDown) {
    startWithDelay(1);
    send();
    host_->advance(2);
    ASSERT_NE(countdown(), nullptr);
    EXPECT_EQ(countdown()->content.countdownText, "1");
    EXPECT_THAT(received(), IsEmpty());
    host_->advance(60);
    EXPECT_THAT(received(), SizeIs(1)) << "it leaves by time";
    ASSERT_NE(countdown(), nullptr) << "and the card stays until somebody acts";
    // Too late for both.
    press(kUndoSend);
    EXPECT_THAT(drafts(), IsEmpty());
    sendNow(message(received().front()).get());
    EXPECT_THAT(received(), SizeIs(1));
    EXPECT_THAT(host_->application().composeWindows(), IsEmpty());
}

TEST_F(UndoSend, DismissedItLeavesByTime) {
    startWithDelay(10);
    send();
    host_->advance(1);
    countdown()->close();
    host_->advance(11);
    EXPECT_THAT(received(), IsEmpty());
    host_->advance(40);
    EXPECT_THAT(received(), SizeIs(1));
}

// It points at the viewer's title, else at the sign of the small inbox.
TEST_F(UndoSend, NothingToPointAtMeansNoCountdown) {
    startWithDelay(10);
    const auto showSign = [this](bool flag) {
        defaults().setObject(flag, "QSShowMenuBar");
        delegate().menuController().updateMenuVisibility();
    };
    const auto frontmost = std::exchange(HostInstances::current().frontmostViewer, nullptr);
    showSign(false);
    send();
    host_->advance(2);
    EXPECT_EQ(countdown(), nullptr);
    EXPECT_THAT(outbox(), SizeIs(1)) << "held all the same";
    showSign(true);
    send("More minutes");
    host_->advance(2);
    EXPECT_NE(countdown(), nullptr);
    HostInstances::current().frontmostViewer = frontmost;
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

// A message that waits may also be opened and sent again while its countdown runs.
TEST_F(UndoSend, TheCountdownOfAnEarlierVersionEndsWithIt) {
    startWithDelay(10);
    send();
    host_->advance(8);
    host_->viewer().open(outbox().front().id);
    host_->settle();
    auto window = onlyWindow();
    window->update({.subject = "Second"});
    window->send();
    host_->settle();
    window.reset();
    EXPECT_EQ(countdown(), nullptr);
    host_->advance(5);
    EXPECT_THAT(received(), IsEmpty()) << "it has ten seconds of its own";
    ASSERT_NE(countdown(), nullptr);
    host_->advance(6);
    ASSERT_THAT(received(), SizeIs(1));
    EXPECT_EQ(received().front().subject, "Second");
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
