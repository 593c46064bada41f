// What is shown of a tracked message's opens: the banner above it, and the list with systems, programs and places.
#include "Account/BackendTest.h"
#include "Core/QSPopoverController.h"
#include "Core/Store/ManagedObjectContext.h"
#include "Foundation/NotificationCenter.h"
#include "MailCategories/BannerViewController_Quillstead.h"
#include "MainViewer.h"
#include "Models/Form.h"
#include "Models/Popover.h"
#include "Outgoing/QSHeaderKeys.h"
#include "Tracking/QSTrackingPixelManager.h"
#include "Tracking/QSTrackingPixelOpenViewController.h"
#include "Viewer/Banner.h"

namespace qs {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr const char* kUuid = "6F9619FF-8B86-4D01-B42D-00C04FC964FF";
constexpr const char* kDetails = "showTrackingDetails:";

class OpenDetailsTest : public BackendTest {
protected:
    MessageRef tracked(const char* uuid = kUuid, const char* subject = "Minutes") {
        return host_->receive("ada", "Ada <ada@example.org>", subject, "All agreed.", MailboxKind::Sent,
                              std::string(QSHeaderKeyXTrackingUUID) + ": " + uuid + "\r\n");
    }
    void select(const MessageRef& message) {
        host_->viewer().selectMailbox(message->mailbox()->identifier());
        host_->viewer().selectIDs({message->libraryID()});
        host_->settle();
    }
    BannerList displayed() { return host_->viewer().banners()->displayed(); }
    std::shared_ptr<QSTrackingPixelOpen> open(const char* uuid, Date date, const char* agent,
                                              const char* city = nullptr, const char* country = nullptr) {
        auto made = insertOpen(uuid);
        made->setDate(date);
        if (agent) made->setUserAgent(agent);
        if (city) made->setCity(city);
        if (country) made->setCountry(country);
        return made;
    }
    std::shared_ptr<QSTrackingPixelOpen> insertOpen(const char* uuid) {
        auto made = delegate().managedObjectContext().insertNew<QSTrackingPixelOpen>();
        made->setPixel(QSTrackingPixelManager::trackingPixelWithUUID(uuid, true));
        return made;
    }
    bool press(const BannerButton& button) {
        auto sender = const_cast<BannerButton&>(button).shared_from_this();
        const bool sent = host_->application().sendAction(button.action, button.target.lock().get(), sender.get());
        host_->settle();
        return sent;
    }
    static const FormControl& table() {
        return QSTrackingPixelOpenViewController::sharedController().popover()->content.form->groups[0].controls[0];
    }
};

TEST_F(OpenDetailsTest, TheAgentTellsSystemAndProgramInAFixedOrder) {
    startHost();
    struct Case {
        const char *agent, *system, *application, *systemIcon, *applicationIcon;
    };
    for (const Case& c : {
             Case{"macOS 10.12.3 | Apple Mail", "macOS 10.12.3", "Apple Mail", "macos", "mail"},
             Case{"iOS 10 | x | Mobile Safari 9", "iOS 10", "Mobile Safari 9", "ios", "safari-ios"},
             Case{"Android|Opera Mini", "Android", "Opera Mini", "android", "opera-mini"},
             Case{"Windows|IE 11", "Windows", "IE 11", "windows", "internet-explorer"},
             Case{"windows 8.1|Windows Live Mail", "windows 8.1", "Windows Live Mail", "windows_new", "live-mail"},
             Case{"Windows 7|Opera", "Windows 7", "Opera", "windows", ""},
             Case{"Windows10|Firefox", "Windows10", "Firefox", "windows_new", "firefox"},
             Case{"Old Windows 10|yieldie", "Old Windows 10", "yieldie", "windows", ""},
             Case{"Windows XP|Outlook", "Windows XP", "Outlook", "windows", "outlook"},
             Case{"Linux|Chrome Safari", "Linux", "Chrome Safari", "linux", "safari"},
             Case{" Haiku ", "Haiku", "Haiku", "", ""},
             Case{"|", "", "", "", ""},
         }) {
        const auto made = open(kUuid, {}, c.agent);
        EXPECT_EQ(made->system(), c.system) << c.agent;
        EXPECT_EQ(made->application(), c.application) << c.agent;
        EXPECT_EQ(made->systemIcon(), c.systemIcon) << c.agent;
        EXPECT_EQ(made->applicationIcon(), c.applicationIcon) << c.agent;
    }
    const auto answered = open(kUuid, {}, nullptr);
    EXPECT_EQ(answered->system() + answered->application() + answered->systemIcon() + answered->applicationIcon(), "");
}

TEST_F(OpenDetailsTest, TheBannerSaysHowOftenTheMessageWasOpened) {
    for (const int minor : {10, 11, 12}) {
        startHost({.osMinor = minor});
        const auto first = tracked(), other = tracked("6F9619FF-8B86-4D01-B42D-00C04FC964F0", "Other");
        select(first);
        EXPECT_THAT(displayed(), IsEmpty()) << "nothing is known of it";
        QSTrackingPixelManager::trackingPixelWithUUID(kUuid, true);
        NotificationCenter::defaultCenter().post(QSBannerViewInfoDidChangeNotification);
        ASSERT_THAT(displayed(), SizeIs(1)) << minor;
        const auto banner = displayed()[0];
        EXPECT_EQ(banner->messageField.text, "This email is tracked, but does not seem to have been opened yet.");
        EXPECT_EQ(banner->icon, "plugin:MessageListTracked");
        ASSERT_THAT(banner->buttons(), SizeIs(1)) << "the second was taken out";
        EXPECT_TRUE(banner->buttons()[0]->isHidden);
        host_->advance(1.5);
        EXPECT_NE(QSPopoverController::sharedController().viewWithIdentifier("TrackingInfo"), nullptr);

        // 14 November 2023, 22:13 in UTC, and later.
        open(kUuid, Date{1'700'000'000}, "macOS|Apple Mail");
        NotificationCenter::defaultCenter().post(QSBannerViewInfoDidChangeNotification);
        EXPECT_THAT(banner->messageField.text, testing::StartsWith("This email was first opened at 11/14/23"));
        EXPECT_EQ(banner->icon, "plugin:MessageListRead");
        EXPECT_EQ(banner->buttons()[0]->title, "Show Details");
        EXPECT_FALSE(banner->buttons()[0]->isHidden);
        open(kUuid, Date{1'700'000'900}, "Windows|Outlook");
        NotificationCenter::defaultCenter().post(QSBannerViewInfoDidChangeNotification);
        EXPECT_THAT(banner->messageField.text,
                    testing::StartsWith("This email has been opened 1 times since its first open at 11/14/23"));
        EXPECT_EQ(junk_mail_banner::backgroundColor(banner),
                  Color::colorWithRed(0.49, 0.69, 0.62).lightenColorByValue(0.15));

        select(other);
        EXPECT_THAT(displayed(), IsEmpty()) << "whose record is not there";
        MailBundleUnload();
        host_.reset();
    }
    startHost();
}

TEST_F(OpenDetailsTest, TheListShowsTheNewestOpenFirstAndLeadsToAMap) {
    startHost();
    open(kUuid, Date{1'699'999'000}, "Safari");
    open(kUuid, Date{1'700'000'000}, "macOS 10.12|Apple Mail", "Zürich", "Curaçao, Bonaire");
    open(kUuid, Date{1'700'000'600}, nullptr);
    open(kUuid, Date{1'700'000'900}, "Windows 10|Outlook", nullptr, "Norway");
    const auto message = tracked(), other = tracked("6F9619FF-8B86-4D01-B42D-00C04FC964F0", "Other");
    select(message);
    ASSERT_TRUE(press(*displayed().at(0)->buttons().at(0)));
    const auto popover = QSTrackingPixelOpenViewController::sharedController().popover();
    ASSERT_TRUE(popover->isShown());
    const auto rows = table().options;
    ASSERT_THAT(rows, SizeIs(4));
    EXPECT_THAT(rows[0].title, HasSubstr("10:28"));
    ASSERT_THAT(rows[0].facts, SizeIs(2));
    EXPECT_EQ(rows[0].facts[0].imageName, "plugin:windows_new");
    EXPECT_EQ(rows[0].facts[1].text, "Outlook");
    EXPECT_EQ(rows[0].detail, "Norway");
    EXPECT_EQ(rows[1].detail, "");
    EXPECT_EQ(rows[2].detail, "Zürich, Curaçao, Bonaire");
    ASSERT_THAT(rows[3].facts, SizeIs(2)) << "one word stands for both";
    EXPECT_EQ(rows[3].facts[0].imageName, "");
    EXPECT_EQ(rows[3].facts[1].imageName, "plugin:safari");
    for (const auto& row : rows)
        table().onChange(row.value);
    EXPECT_THAT(workspace_->openedUrls, ElementsAre(testing::EndsWith("address=Norway"),
                                                    testing::EndsWith("address=Z%C3%BCrich,Cura%C3%A7ao%2C%20Bonaire")))
        << "a reply has no place";
    select(other);
    EXPECT_FALSE(popover->isShown()) << "it is about another message";
}

TEST_F(OpenDetailsTest, WithoutAnOpenThereIsNothingToShow) {
    startHost();
    QSTrackingPixelManager::trackingPixelWithUUID(kUuid, true);
    select(tracked());
    const auto banner = displayed().at(0);
    Operation<void(HostObject*)>{kDetails}(*banner, banner->buttons().at(0).get());
    EXPECT_FALSE(QSTrackingPixelOpenViewController::sharedController().popover()->isShown());
}

}  // namespace
}  // namespace qs
