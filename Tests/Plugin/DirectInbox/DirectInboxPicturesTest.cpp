// The pictures of senders in the Direct Inbox: of contacts where there are some, initials otherwise.
#include "Contacts/ContactBook.h"
#include "DirectInbox/QSDirectInboxViewController.h"
#include "Foundation/FileSystem.h"
#include "Images/ImageDecoder.h"
#include "PluginTest.h"
#include "Text/Base64.h"

namespace qs {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

class DirectInboxPicturesTest : public PluginTest {
protected:
    void start(int osMinor) {
        preparePlatform_ = [this](Platform& platform) {
            contacts_ = ContactBook::inFolder(folder_ / "Contacts", FileSystem::real(), false);
            platform.contacts = contacts_;
            platform.imageDecoder = ImageDecoder::inProcess(QS_IMAGE_DECODER);
        };
        startHost({.osMinor = osMinor, .startDeliveries = false});
        defaults().setObject(false, "QSShowMenuBar");
        controller_ = QSDirectInboxViewController::make();
    }
    void TearDown() override {
        controller_.reset();
        PluginTest::TearDown();
    }
    void addCard(const std::string& address) {
        std::string pixels;
        for (int i = 0; i < 40 * 40; ++i)
            pixels += "\x20\x10\xF0\xFF";
        const std::string picture = Image::imageWithPixels(pixels, {40, 40})->pngData();
        ASSERT_TRUE(FileSystem::real().makeFolder(folder_ / "Contacts"));
        ASSERT_TRUE(FileSystem::real().replace(folder_ / "Contacts/mill.vcf",
                                               "BEGIN:VCARD\nFN:The Mill\nEMAIL:" + address +
                                                   "\nPHOTO;ENCODING=b;TYPE=PNG:" + base64EncodedString(picture) +
                                                   "\nEND:VCARD\n"));
    }
    void removeCard() { ASSERT_TRUE(FileSystem::real().remove(folder_ / "Contacts/mill.vcf")); }
    std::string pictureIn(std::size_t row) {
        return controller_->mailboxMessages().at(row)[QSDirectInboxMessageAvatarKey].stringValue();
    }

    TemporaryFolder folder_;
    std::shared_ptr<ContactBook> contacts_;
    std::shared_ptr<QSDirectInboxViewController> controller_;
};

TEST_F(DirectInboxPicturesTest, AContactsPictureTakesThePlaceOfTheInitialsAsSoonAsItIsThere) {
    constexpr std::string_view kPng = "data:image/png;base64,";
    for (const int minor : {11, 12}) {
        SCOPED_TRACE(minor);
        start(minor);
        host_->receive("ada", "The Mill <mill@example.org>", "Paper", "It is ready.");
        host_->receive("ada", "Ben Nevis <ben@example.net>", "Minutes", "All agreed.");
        host_->advance(0.6);
        ASSERT_EQ(controller_->mailboxMessages().size(), 3U);
        EXPECT_THAT(pictureIn(2), HasSubstr("TM"));
        addCard("Mill@Example.org");
        contacts_->reload();
        int changes = 0;
        const auto watch = controller_->addObserver("mailboxMessages", [&](bool isPrior) { changes += !isPrior; });
        controller_->reloadMailboxMessages();
        host_->settle();
        EXPECT_THAT(pictureIn(1), HasSubstr("BN"));
        const std::string picture = pictureIn(2);
        ASSERT_THAT(picture, StartsWith(kPng));
        EXPECT_EQ(changes, 2) << "the list, and one row of it";
        const Image image = Image::imageWithData(dataFromBase64String(picture.substr(kPng.size())).value()).value();
        EXPECT_EQ(image.colorAt(48, 48).hexString(), "#F01020");
        EXPECT_EQ(image.colorAt(0, 0).alpha, minor >= 12 ? 0 : 1) << "round where the host's are asked to be";
        removeCard();
        TearDown();
    }
    start(12);
}

}  // namespace
}  // namespace qs
