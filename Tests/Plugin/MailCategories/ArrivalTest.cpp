// The arrival hook: what comes into the drafts after it was taken back opens, and nothing else does.
#include "ComposeWindow.h"
#include "Mail/Library.h"
#include "Mail/Mailbox.h"
#include "PluginTest.h"

namespace qs {
namespace {

using ArrivalTest = PluginTest;

TEST_F(ArrivalTest, OnlyWhatWasTakenBackIntoTheDraftsOpens) {
    struct Case {
        const char* why;
        MailboxKind mailbox;
        bool takenBack, duringOpen, opens;
    };
    for (const Case& c : {Case{"taken back", MailboxKind::Drafts, true, false, true},
                          Case{"any other draft", MailboxKind::Drafts, false, false, false},
                          Case{"found when the mailbox was first read", MailboxKind::Drafts, true, true, false},
                          Case{"in the outbox still", MailboxKind::Outbox, true, false, false},
                          Case{"somewhere else", MailboxKind::Archive, true, false, false}})
        for (const int minor : {10, 12}) {
            startHost({.osMinor = minor, .startDeliveries = false});
            auto message = host_->receive("ada", "Ada <ada@example.org>", "Minutes", "Text", c.mailbox,
                                          "X-Universally-Unique-Identifier: U1\r\n");
            host_->advance(1);
            delegate().setFlag(c.takenBack, QSMessageOpenAfterUndo, "U1");
            const auto& added =
                minor == 10 ? library_store::messagesWereAddedConversations : library_store::messagesWereAdded;
            added(LibraryStore::shared(), {message}, {}, c.duringOpen, 0);
            message.reset();  // before the host goes
            host_->advance(0.4);
            EXPECT_TRUE(host_->application().composeWindows().empty()) << c.why << ": half a second later only";
            host_->advance(0.2);
            EXPECT_EQ(host_->application().composeWindows().size(), c.opens ? 1u : 0u) << c.why << minor;
            EXPECT_EQ(delegate().flagForKey(QSMessageOpenAfterUndo, "U1"), c.takenBack && !c.opens) << c.why;
            TearDown();
        }
    startHost();
}

}  // namespace
}  // namespace qs
