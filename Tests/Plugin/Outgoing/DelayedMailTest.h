// What the tests of mail that is held for a while share: a host whose delay is on, and looks at where a message is.
#pragma once

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
#include "Outgoing/QSUndoSend.h"
#include "PluginTest.h"
#include "Text/MailHeaderDate.h"
#include "Viewer/ContactPictures.h"
#include "Viewer/MessageViewer.h"

namespace qs {

inline constexpr int kSendNow = 0;
inline constexpr int kUndoSend = 1;

class DelayedMailTest : public PluginTest {
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
        EXPECT_THAT(windows, ::testing::SizeIs(1));
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

}  // namespace qs
