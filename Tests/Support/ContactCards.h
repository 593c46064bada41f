// The contacts of a host in a test: one card with a picture in a folder of its own, and the program that decodes it.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Contacts/ContactBook.h"
#include "Foundation/FileSystem.h"
#include "Images/Image.h"
#include "Images/ImageDecoder.h"
#include "Platform.h"
#include "Support/TemporaryFolder.h"
#include "Text/Base64.h"

namespace qs {

class ContactCards {
public:
    // For a platform that is about to be installed.
    void giveTo(Platform& platform, const char* decoder) {
        platform.contacts = book_ = ContactBook::inFolder(folder_ / "Contacts", FileSystem::real(), false);
        platform.imageDecoder = ImageDecoder::inProcess(decoder);
    }
    // In place of the card that was there.
    void put(const std::string& name, const std::vector<std::string>& addresses, const std::string& picture) {
        std::string card = "BEGIN:VCARD\nFN:" + name + "\n";
        for (const std::string& each : addresses)
            card += "EMAIL:" + each + "\n";
        folder_.write("Contacts/card.vcf",
                      card + "PHOTO;ENCODING=b;TYPE=PNG:" + base64EncodedString(picture) + "\nEND:VCARD\n");
        if (book_) book_->reload();
    }
    void remove() {
        ASSERT_TRUE(FileSystem::real().remove(folder_ / "Contacts/card.vcf"));
        if (book_) book_->reload();
    }
    // Of one colour: blue, green, red, alpha.
    static std::string picture(int width, int height, std::string_view pixel = "\x20\x10\xF0\xFF") {
        std::string pixels;
        for (int i = 0; i < width * height; ++i)
            pixels += pixel;
        return Image::imageWithPixels(pixels, {width, height})->pngData();
    }
    // What is shown of a picture, which is a data URL.
    static Image shown(std::string_view url) {
        constexpr std::string_view kBegin = "data:image/png;base64,";
        EXPECT_TRUE(url.starts_with(kBegin)) << url.substr(0, 40);
        return Image::imageWithData(dataFromBase64String(url.substr(kBegin.size())).value()).value();
    }

private:
    TemporaryFolder folder_;
    std::shared_ptr<ContactBook> book_;
};

}  // namespace qs
