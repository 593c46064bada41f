// The countdown of a message that is held for a while: what it says, where it stands and when it goes.
#include "DelayedMailTest.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

using SendCountdown = DelayedMailTest;

TEST_F(SendCountdown, TheCountdownSaysWhatItIsAbout) {
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

TEST_F(SendCountdown, OneSecondDoesNotCountDown) {
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

TEST_F(SendCountdown, DismissedItLeavesByTime) {
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
TEST_F(SendCountdown, NothingToPointAtMeansNoCountdown) {
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

// A message that waits may also be opened and sent again while its countdown runs.
TEST_F(SendCountdown, TheCountdownOfAnEarlierVersionEndsWithIt) {
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
}  // namespace
}  // namespace qs
