// Pictures of contacts in either generation of the host: from cards, decoded by the decoder's process, told when there.
#include "Contacts/ContactBook.h"
#include "Foundation/FileSystem.h"
#include "Foundation/NotificationCenter.h"
#include "Images/ImageDecoder.h"
#include "Platform.h"
#include "Text/Base64.h"
#include "Viewer/ContactPictures.h"
#include "WindowJourney.h"

namespace qs {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kRed = "\x20\x10\xF0\xFF";  // blue, green, red, alpha

std::string pictureOf(int width, int height, std::string_view pixel) {
    std::string pixels;
    for (int i = 0; i < width * height; ++i)
        pixels += pixel;
    return Image::imageWithPixels(pixels, {width, height})->pngData();
}

class ContactPhotosTest : public WindowJourney {
protected:
    void begin(int osMinor) {
        start({.osMinor = osMinor, .preparePlatform = [this](Platform& platform) {
                   contacts_ = ContactBook::inFolder(folder_ / "Contacts", FileSystem::real(), false);
                   platform.contacts = contacts_;
                   platform.imageDecoder = ImageDecoder::inProcess(QS_IMAGE_DECODER);
               }});
        told_.clear();
        watch_ = NotificationCenter::defaultCenter().addObserver(
            std::string(PhotoAvailableNotification),
            [this](const Notification& posted) { told_.push_back(posted.userInfo["Email"].stringValue()); });
    }
    void writeCard(const std::string& picture) {
        ASSERT_TRUE(FileSystem::real().makeFolder(folder_ / "Contacts"));
        ASSERT_TRUE(FileSystem::real().replace(folder_ / "Contacts/a.vcf",
                                               "BEGIN:VCARD\nFN:A\nEMAIL:a@x.org\nPHOTO;ENCODING=b;TYPE=PNG:" +
                                                   base64EncodedString(picture) + "\nEND:VCARD\n"));
        contacts_->reload();
    }
    static std::string asked(const std::string& address) {
        if (Class* store = QSClassFromString("CNContactStore"))
            return contact_store::imageForMailAddress.onClass(store, address);
        const auto manager = address_manager::addressManager.onClass(QSClassFromString("MFAddressManager"));
        return address_manager::imageForMailAddress(manager, address, "", 1, false, nullptr);
    }
    static Image shown(const std::string& url) {
        constexpr std::string_view kBegin = "data:image/png;base64,";
        EXPECT_TRUE(url.starts_with(kBegin));
        return Image::imageWithData(dataFromBase64String(url.substr(kBegin.size())).value()).value();
    }

    TemporaryFolder folder_;
    std::shared_ptr<ContactBook> contacts_;
    std::vector<std::string> told_;
    ObservationRef watch_;
};

TEST_F(ContactPhotosTest, TheCardsPictureComesSmallAndSquareAndIsTold) {
    for (const int minor : {11, 12}) {
        SCOPED_TRACE(minor);
        begin(minor);
        writeCard(pictureOf(300, 20, kRed));
        EXPECT_EQ(asked("A@x.org"), "") << "it is decoded elsewhere";
        EXPECT_EQ(asked("b@x.org"), "");
        host->settle();
        EXPECT_THAT(told_, ElementsAre("a@x.org"));
        const Image image = shown(asked("A@X.org"));
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
    writeCard(pictureOf(30, 30, kRed));
    asked("a@x.org");
    host->settle();
    const std::string first = asked("a@x.org");
    writeCard(pictureOf(30, 30, "\xF0\x10\x20\xFF"));
    host->advance(61);
    EXPECT_EQ(asked("a@x.org"), first) << "as long as there is no other";
    host->settle();
    EXPECT_EQ(shown(asked("a@x.org")).colorAt(10, 10).hexString(), "#2010F0");
    EXPECT_THAT(told_, ElementsAre("a@x.org", "a@x.org"));
    writeCard("\x89PNG\r\n\x1A\n and nothing more");
    host->advance(61);
    asked("a@x.org");
    host->settle();
    EXPECT_EQ(asked("a@x.org"), "");
}

}  // namespace
}  // namespace qs
