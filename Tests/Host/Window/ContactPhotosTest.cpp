// Pictures of contacts in either generation of the host: from cards, decoded by the decoder's process, told when there.
#include "Foundation/NotificationCenter.h"
#include "Platform.h"
#include "Support/ContactCards.h"
#include "Viewer/ContactPictures.h"
#include "WindowJourney.h"

namespace qs {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ContactPhotosTest : public WindowJourney {
protected:
    void begin(int osMinor) {
        start({.osMinor = osMinor,
               .preparePlatform = [this](Platform& platform) { contacts_.giveTo(platform, QS_IMAGE_DECODER); }});
        told_.clear();
        watch_ = NotificationCenter::defaultCenter().addObserver(
            std::string(PhotoAvailableNotification),
            [this](const Notification& posted) { told_.push_back(posted.userInfo["Email"].stringValue()); });
    }
    void writeCard(const std::string& picture) { contacts_.put("A", {"a@x.org"}, picture); }
    static std::string asked(const std::string& address) {
        if (Class* store = QSClassFromString("CNContactStore"))
            return contact_store::imageForMailAddress.onClass(store, address);
        const auto manager = address_manager::addressManager.onClass(QSClassFromString("MFAddressManager"));
        return address_manager::imageForMailAddress(manager, address, "", 1, false, nullptr);
    }

    ContactCards contacts_;
    std::vector<std::string> told_;
    ObservationRef watch_;
};

TEST_F(ContactPhotosTest, TheCardsPictureComesSmallAndSquareAndIsTold) {
    for (const int minor : {11, 12}) {
        SCOPED_TRACE(minor);
        begin(minor);
        writeCard(ContactCards::picture(300, 20));
        EXPECT_EQ(asked("A@x.org"), "") << "it is decoded elsewhere";
        EXPECT_EQ(asked("b@x.org"), "");
        host->settle();
        EXPECT_THAT(told_, ElementsAre("a@x.org"));
        const Image image = ContactCards::shown(asked("A@X.org"));
        EXPECT_EQ(image.size(), (ImageSize{96, 96}));
        EXPECT_EQ(image.colorAt(48, 48).hexString(), "#F01020");
        EXPECT_EQ(asked("b@x.org"), "");
        host->settle();
        EXPECT_THAT(told_, ElementsAre("a@x.org")) << "once";
        watch_.reset();
    }
}

TEST_F(ContactPhotosTest, AnotherPictureIsTakenUpAndADamagedOneIsNone) {
    begin(12);
    writeCard(ContactCards::picture(30, 30));
    asked("a@x.org");
    host->settle();
    const std::string first = asked("a@x.org");
    writeCard(ContactCards::picture(30, 30, "\xF0\x10\x20\xFF"));
    host->advance(61);
    EXPECT_EQ(asked("a@x.org"), first) << "as long as there is no other";
    host->settle();
    EXPECT_EQ(ContactCards::shown(asked("a@x.org")).colorAt(10, 10).hexString(), "#2010F0");
    EXPECT_THAT(told_, ElementsAre("a@x.org", "a@x.org"));
    writeCard("\x89PNG\r\n\x1A\n and nothing more");
    host->advance(61);
    asked("a@x.org");
    host->settle();
    EXPECT_EQ(asked("a@x.org"), "");
}

}  // namespace
}  // namespace qs
