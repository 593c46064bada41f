// Pictures of contacts in either generation of the host: from cards, decoded by the decoder's process, told when there.
#include "ContactPhotos.h"

#include <atomic>
#include <future>

#include "Foundation/NotificationCenter.h"
#include "Foundation/RunLoop.h"
#include "Platform.h"
#include "Support/ContactCards.h"
#include "Support/Waiting.h"
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

TEST_F(ContactPhotosTest, AClockThatIsSetBackKeepsNoOldPicture) {
    begin(12);
    writeCard(ContactCards::picture(30, 30));
    asked("a@x.org");
    host->settle();
    host->loop().setClock(host->loop().now() - 86'400);
    writeCard(ContactCards::picture(30, 30, "\xF0\x10\x20\xFF"));
    host->advance(61);
    asked("a@x.org");
    host->settle();
    EXPECT_EQ(ContactCards::shown(asked("a@x.org")).colorAt(10, 10).hexString(), "#2010F0");
}

TEST_F(ContactPhotosTest, ThoseThatWereAskedForLastAreKept) {
    begin(12);
    contacts_.put("A", {"a@x.org", "b@x.org", "c@x.org"}, ContactCards::picture(2, 2));
    const auto photos = std::make_shared<ContactPhotos>(2);
    for (const char* each : {"a@x.org", "b@x.org"})
        photos->of(each);
    host->settle();
    EXPECT_NE(photos->of("a@x.org"), "");
    EXPECT_EQ(photos->of("c@x.org"), "");
    host->settle();
    for (const char* each : {"a@x.org", "c@x.org"})
        EXPECT_NE(photos->of(each), "") << each;
    EXPECT_EQ(photos->of("b@x.org"), "");
}

// Counts, and keeps the first picture back.
class HeldDecoder : public ImageDecoder {
public:
    explicit HeldDecoder(std::shared_ptr<ImageDecoder> decoder) : decoder_(std::move(decoder)) {}
    Result<Image> imageWithData(std::string_view data, const ImageLimits& limits,
                                std::optional<ImageSize> vectorSize) override {
        if (++count == 1) {
            begun.set_value();
            mayGoOn.get_future().wait();
        }
        return decoder_->imageWithData(data, limits, vectorSize);
    }
    std::atomic<int> count = 0;
    std::promise<void> begun, mayGoOn;

private:
    const std::shared_ptr<ImageDecoder> decoder_;
};

TEST_F(ContactPhotosTest, APictureIsDecodedOnceHoweverOftenItIsAskedForMeanwhile) {
    begin(12);
    const auto decoder = std::make_shared<HeldDecoder>(Platform::current().imageDecoder);
    Platform::current().imageDecoder = decoder;
    const auto put = [&] { contacts_.put("A", {"a@x.org", "b@x.org"}, ContactCards::picture(2, 2)); };
    put();
    asked("a@x.org");
    EXPECT_TRUE(isKept(decoder->begun));
    for (int i = 0; i < 3; ++i) {
        asked("b@x.org");
        contacts_.remove();
        EXPECT_EQ(asked("b@x.org"), "");
        put();
        asked("b@x.org");
    }
    decoder->mayGoOn.set_value();
    host->settle();
    EXPECT_NE(asked("b@x.org"), "");
    EXPECT_EQ(decoder->count, 2);
}

}  // namespace
}  // namespace qs
