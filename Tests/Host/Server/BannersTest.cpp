// The strips above a message as the page gets them, and what their buttons do.
#include <gmock/gmock.h>

#include <boost/json.hpp>

#include "Calls.h"
#include "MailApplication.h"
#include "MainViewer.h"
#include "MessageJson.h"
#include "Support/TemporaryHost.h"
#include "Viewer/Banner.h"

namespace qs {
namespace {

namespace json = boost::json;
using testing::SizeIs;

class Banners : public testing::TestWithParam<int> {
protected:
    json::array shown() { return messageSection(host_.application()).at("banners").as_array(); }
    void press(std::string_view button) {
        CallContext context{host_.application(), page_};
        allCalls().find("banner.press")->second(context, {{"button", button}});
        host_.settle();
    }
    void select(const MessageRef& message) {
        host_.viewer().selectMailbox(message->mailbox()->identifier());
        host_.viewer().selectIDs({message->libraryID()});
    }
    TemporaryHost host_{{.osMinor = GetParam()}};
    PageMemory page_;
};
INSTANTIATE_TEST_SUITE_P(Minors, Banners, testing::Values(10, 11, 12));

TEST_P(Banners, JunkIsSaidToBeJunkAndCanBeBroughtBack) {
    const auto good = host_.receive("ada", "Ben <ben@example.org>", "Good", "Text.");
    const auto junk = host_.receive("ada", "Eve <eve@example.org>", "Bad", "Text.", MailboxKind::Junk);
    select(good);
    EXPECT_THAT(shown(), SizeIs(0));
    select(junk);
    ASSERT_THAT(shown(), SizeIs(1));
    const json::object banner = shown()[0].as_object();
    EXPECT_EQ(banner.at("text"), "This message is among the junk.");
    const json::array buttons = banner.at("buttons").as_array();
    ASSERT_THAT(buttons, SizeIs(2));
    EXPECT_EQ(buttons[0].at("title"), "Not Junk");
    press(buttons[0].at("id").as_string());
    EXPECT_THAT(host_.inboxOf("ada"), SizeIs(2));
    EXPECT_THROW(press(buttons[0].at("id").as_string()), CallRefused) << "that message is not shown any more";
}

// What a plug-in does: more instances of the host's banner, with other words and a check box.
TEST_P(Banners, FurtherInstancesShowWhatWasPutIntoThem) {
    const auto message = host_.receive("ada", "Ben <ben@example.org>", "Good", "Text.");
    select(message);
    const auto container = host_.viewer().banners();
    Class* const junk = NSClassFromString("JunkMailBannerViewController");
    const auto made = GetParam() >= 12 ? junk_mail_banner::initWithNibName.onClass(junk, {}, {})
                                       : junk_mail_banner::initWithContainer.onClass(junk, container);
    ASSERT_NE(made, nullptr);
    made->setContainer(container);
    const auto tick = made->buttons()[0], second = made->buttons()[1];
    made->removeFromView(second);
    tick->title = "Done";
    tick->isHidden = false;
    tick->isCheckBox = true;
    bool wanted = true;
    int pressed = 0;
    junk->add(Operation<bool()>("wantsDisplay"), [&](HostObject&) { return wanted; });
    made->isa().add(Operation<void(HostObject*)>("tick:"),
                    [&](HostObject&, HostObject* sender) { pressed += sender == tick.get() && tick->isOn ? 1 : 0; });
    tick->action = "tick:";
    tick->target = made;
    container->setBannerViewControllers({made});
    container->updateBannerDisplay();
    ASSERT_THAT(shown(), SizeIs(1));
    ASSERT_THAT(shown()[0].at("buttons").as_array(), SizeIs(1));
    EXPECT_EQ(shown()[0].at("buttons").at(0).at("checked"), false);
    press(tick->anchor());
    EXPECT_EQ(pressed, 1);
    wanted = false;
    container->updateBannerDisplay();
    EXPECT_THAT(shown(), SizeIs(0));
}

}  // namespace
}  // namespace qs
