#include "NewMailNotice.h"

#include <gmock/gmock.h>

#include "Foundation/NotificationCenter.h"
#include "HostSettings.h"
#include "MailLibrary.h"
#include "Settings/UserDefaults.h"
#include "Support/TemporaryHost.h"

namespace qs {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class NewMail : public testing::Test {
protected:
    void set(bool notifies, bool content) {
        UserDefaults::suite("")->setObject(notifies, kNotifyOfNewMail);
        UserDefaults::suite("")->setObject(content, kNotificationsTellContent);
    }
    void receive(const char* subject, MailboxKind kind = MailboxKind::Inbox) {
        host_.receive("ada", "Ben <ben@example.org>", subject, "Text.", kind);
    }

    TemporaryHost host_;
    std::vector<std::string> told_;
    ObservationRef observation_ = NotificationCenter::defaultCenter().addObserver(
        std::string(MailLibraryMessagesWereAddedNotification), [this](const Notification& added) {
            if (auto notice = newMailNotice(host_.library(), added); !notice.empty()) told_.push_back(notice);
        });
};

TEST_F(NewMail, IsToldOnlyWhenThePersonWantsItAndAsMuchAsIsWanted) {
    receive("Unasked");
    EXPECT_THAT(told_, IsEmpty()) << "off at first";
    set(true, false);
    receive("Secret plan");
    receive("Sent elsewhere", MailboxKind::Sent);
    receive("Prize", MailboxKind::Junk);
    ASSERT_THAT(told_, ElementsAre(HasSubstr("\"count\":1")));
    EXPECT_THAT(told_.front(), Not(HasSubstr("Secret")));
    EXPECT_THAT(told_.front(), Not(HasSubstr("Ben")));
    told_.clear();
    set(true, true);
    receive("Minutes");
    ASSERT_THAT(told_, ElementsAre(HasSubstr("\"subject\":\"Minutes\"")));
    EXPECT_THAT(told_.front(), HasSubstr("\"from\":\"Ben\""));
}

TEST_F(NewMail, WhatIsReadOrWasThereBeforeIsNoNews) {
    set(true, true);
    const auto inbox = host_.library().mailbox("ada", MailboxKind::Inbox, true);
    const auto seen = host_.library().add(*inbox, "From: a@b.example\r\n\r\nread", {.seen = true}, {});
    ASSERT_TRUE(seen);
    host_.settle();
    EXPECT_THAT(told_, IsEmpty());
    receive("New");
    EXPECT_EQ(told_.size(), 1u);
    const auto id = host_.inboxOf("ada").front().id;
    Notification again{.name = {}, .userInfo = Dictionary{{"messages", Array{id}}, {"duringOpen", true}}};
    EXPECT_EQ(newMailNotice(host_.library(), again), "");
}

}  // namespace
}  // namespace qs
