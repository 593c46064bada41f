// The pictures of senders in the Direct Inbox: of contacts where there are some, initials otherwise.
#include "DirectInbox/QSDirectInboxViewController.h"
#include "PluginTest.h"
#include "Support/ContactCards.h"

namespace qs {
namespace {

using ::testing::HasSubstr;

class DirectInboxPicturesTest : public PluginTest {
protected:
    void start(int osMinor) {
        preparePlatform_ = [this](Platform& platform) { contacts_.giveTo(platform, QS_IMAGE_DECODER); };
        startHost({.osMinor = osMinor, .startDeliveries = false});
        defaults().setObject(false, "QSShowMenuBar");
        controller_ = QSDirectInboxViewController::make();
    }
    void TearDown() override {
        controller_.reset();
        PluginTest::TearDown();
    }
    std::string pictureIn(std::size_t row) {
        return controller_->mailboxMessages().at(row)[QSDirectInboxMessageAvatarKey].stringValue();
    }

    ContactCards contacts_;
    std::shared_ptr<QSDirectInboxViewController> controller_;
};

TEST_F(DirectInboxPicturesTest, AContactsPictureTakesThePlaceOfTheInitialsAsSoonAsItIsThere) {
    for (const int minor : {11, 12}) {
        SCOPED_TRACE(minor);
        start(minor);
        host_->receive("ada", "The Mill <mill@example.org>", "Paper", "It is ready.");
        host_->receive("ada", "Ben Nevis <ben@example.net>", "Minutes", "All agreed.");
        host_->advance(0.6);
        ASSERT_EQ(controller_->mailboxMessages().size(), 3U);
        EXPECT_THAT(pictureIn(2), HasSubstr("TM"));
        contacts_.put("The Mill", {"Mill@Example.org"}, ContactCards::picture(40, 40));
        int changes = 0;
        const auto watch = controller_->addObserver("mailboxMessages", [&](bool isPrior) { changes += !isPrior; });
        controller_->reloadMailboxMessages();
        host_->settle();
        EXPECT_THAT(pictureIn(1), HasSubstr("BN"));
        const std::string picture = pictureIn(2);
        EXPECT_EQ(changes, 2) << "the list, and one row of it";
        const Image image = ContactCards::shown(picture);
        EXPECT_EQ(image.colorAt(48, 48).hexString(), "#F01020");
        EXPECT_EQ(image.colorAt(0, 0).alpha, minor >= 12 ? 0 : 1) << "round where the host's are asked to be";
        contacts_.remove();
        TearDown();
    }
    start(12);
}

}  // namespace
}  // namespace qs
