#include "Images/Image.h"

#include <gmock/gmock.h>

#include "Foundation/FileSystem.h"
#include "Foundation/RunLoop.h"
#include "Images/ImageDecoder.h"
#include "Support/LogCapture.h"
#include "Text/Base64.h"

namespace qs {
namespace {

using namespace std::string_literals;

// Left half red, right half blue.
std::string flag(int width, int height) {
    const auto w = std::to_string(width), h = std::to_string(height), half = std::to_string(width / 2);
    return "<svg xmlns='http://www.w3.org/2000/svg' width='" + w + "' height='" + h + "'><rect width='" + w +
           "' height='" + h + "' fill='#00f'/><rect width='" + half + "' height='" + h + "' fill='#f00'/></svg>";
}

Image decoded(std::string_view data, std::optional<ImageSize> size = {}) {
    auto image = Image::imageWithData(data, {}, size);
    if (!image) throw std::runtime_error(image.error().description);
    return *image;
}

std::string colorOf(const Image& image, int x, int y) {
    const Color color = image.colorAt(x, y);
    return color.alpha == 0 ? "clear" : color.hexString();
}

// Pictures of 2 x 1 pixels, red and blue, made by other programs.
std::string picture(std::string_view format) {
    const std::pair<std::string_view, std::string_view> pictures[] = {
        {"png", "iVBORw0KGgoAAAANSUhEUgAAAAIAAAABCAIAAAB7QOjdAAAADUlEQVR4nGP4zwAE/wEHAAH/4iOeWQAAAABJRU5ErkJggg=="},
        {"gif", "R0lGODlhAgABAPAAAP8AAAAA/ywAAAAAAgABAAACAkQKADs="},
        {"bmp", "Qk0+AAAAAAAAADYAAAAoAAAAAgAAAAEAAAABABgAAAAAAAgAAAAAAAAAAAAAAAAAAAAAAAAAAAD//wAAAAA="},
    };
    for (const auto& [name, data] : pictures)
        if (name == format) return dataFromBase64String(data).value();
    return {};
}

TEST(Image, IsDecodedFromTheFormatsOfTheWeb) {
    for (const char* format : {"png", "gif", "bmp"}) {
        const auto image = Image::imageWithData(picture(format));
        ASSERT_TRUE(image) << format << ": " << image.error().description;
        EXPECT_EQ(image->size(), (ImageSize{2, 1})) << format;
        EXPECT_EQ(colorOf(*image, 0, 0), "#FF0000") << format;
        EXPECT_EQ(colorOf(*image, 1, 0), "#0000FF") << format;
        EXPECT_EQ(colorOf(*image, 2, 0), "clear") << format;
    }
}

TEST(Image, OfACameraStandsUpright) {
    // Red on the left, blue on the right, and a note that the camera was turned: the left side is up.
    const Image image = decoded(FileSystem::real().read(QS_TEST_DATA "/turned.jpg").value());
    EXPECT_EQ(image.size(), (ImageSize{16, 32}));
    EXPECT_GT(image.colorAt(8, 2).red, 0.9);
    EXPECT_GT(image.colorAt(8, 29).blue, 0.9);
}

TEST(Image, ComesBackFromItsPng) {
    const Image image = decoded(flag(8, 6)).imageTintedWithColor(Color::colorWithRed(0, 1, 0, 0.5));
    const Image again = decoded(image.pngData());
    EXPECT_EQ(again.pixels(), image.pixels());
    EXPECT_EQ(again.size(), (ImageSize{8, 6}));
}

TEST(Image, VectorsAreDrawnAtTheSizeThatIsAsked) {
    EXPECT_EQ(decoded(flag(8, 6)).size(), (ImageSize{8, 6}));
    const Image large = decoded(flag(8, 6), ImageSize{80, 60});
    EXPECT_EQ(large.size(), (ImageSize{80, 60}));
    EXPECT_EQ(colorOf(large, 39, 59) + colorOf(large, 40, 59), "#FF0000#0000FF");
    EXPECT_EQ(decoded("<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 20 10'/>").size(), (ImageSize{20, 10}));
}

TEST(Image, IsStretched) {
    const Image image = decoded(flag(100, 100)).resizedImageOfSize({10, 40});
    EXPECT_EQ(image.size(), (ImageSize{10, 40}));
    EXPECT_EQ(colorOf(image, 0, 39) + colorOf(image, 9, 0), "#FF0000#0000FF");
    EXPECT_EQ(image.colorAt(0, 0).alpha, 1.0) << "its border does not fade";
}

TEST(Image, APersonsPictureIsTheMiddleSquareInAnOval) {
    // White, a black square in the middle, and a wide border of green that is cut off.
    const Image wide = decoded(
        "<svg xmlns='http://www.w3.org/2000/svg' width='60' height='20'><rect width='60' height='20' fill='#0f0'/>"
        "<rect x='20' width='20' height='20' fill='#000'/></svg>");
    const Image clean = wide.resizedCleanImageWithSize({40, 20});
    EXPECT_EQ(clean.size(), (ImageSize{40, 20}));
    for (const auto& [x, y] : {std::pair{20, 10}, {2, 10}, {37, 10}, {20, 1}, {20, 18}})
        EXPECT_EQ(colorOf(clean, x, y), "#000000") << x << ", " << y;
    for (const auto& [x, y] : {std::pair{0, 0}, {39, 0}, {0, 19}, {39, 19}, {3, 3}})
        EXPECT_EQ(colorOf(clean, x, y), "clear") << x << ", " << y;
    // What is clear in the picture shows the colour behind it.
    const Image empty = decoded("<svg xmlns='http://www.w3.org/2000/svg' width='9' height='9'/>");
    EXPECT_EQ(colorOf(empty.resizedCleanImageWithSize({9, 9}), 4, 4), "#FFFFFF");
    EXPECT_EQ(colorOf(empty.resizedCleanImageWithSize({9, 9}, *Color::colorWithHexString("#123")), 4, 4), "#112233");
}

TEST(Image, ATintCoversWhatIsNotClear) {
    const Image dot = decoded(
        "<svg xmlns='http://www.w3.org/2000/svg' width='9' height='9'><rect width='4' height='9' fill='#f00'/></svg>");
    const Image opaque = dot.imageTintedWithColor(Color::colorWithRed(0, 1, 0));
    EXPECT_EQ(colorOf(opaque, 1, 1) + " " + colorOf(opaque, 8, 8), "#00FF00 clear");
    const Color half = dot.imageTintedWithColor(Color::colorWithRed(0, 1, 0, 0.5)).colorAt(1, 1);
    EXPECT_NEAR(half.red, 0.5, 0.01);
    EXPECT_NEAR(half.green, 0.5, 0.01);
    EXPECT_EQ(half.alpha, 1.0);
}

// As a stranger would make it: a head that promises `width` x `height` pixels.
std::string pngHead(std::string_view width, std::string_view height) {
    return "\x89PNG\r\n\x1A\n\0\0\0\rIHDR"s + std::string(width) + std::string(height) + "\x08\6\0\0\0"s;
}

struct Refusal {
    const char* why;
    std::string data;
    ImageError error;
};

std::vector<Refusal> refusals() {
    const std::string png = picture("png");
    const std::string svg = "<svg xmlns='http://www.w3.org/2000/svg' xmlns:xlink='http://www.w3.org/1999/xlink' ";
    return {
        {"nothing", "", ImageError::UnknownFormat},
        {"a text", "Hello", ImageError::UnknownFormat},
        {"a page", "<html><body>404</body></html>", ImageError::UnknownFormat},
        {"a format with a loader that nobody needs", "/* XPM */ static char*x[]={\"1 1 1 1\",\"a c red\",\"a\"};",
         ImageError::UnknownFormat},
        {"a head alone", png.substr(0, 20), ImageError::Damaged},
        {"a head with a wrong sum", png.substr(0, 29) + "0000" + png.substr(33), ImageError::Damaged},
        {"more pixels than there may be", pngHead("\0\1\0\0"s, "\0\1\0\0"s) + "\x6C\x84\x30\xE3" + png.substr(33),
         ImageError::TooLarge},
        {"a vector of any size", svg + "width='100000' height='100000'/>", ImageError::TooLarge},
        {"a vector without measure", svg + "width='1e9' height='1e9'/>", ImageError::TooLarge},
        {"a vector that is not whole", svg + "><rect", ImageError::Damaged},
        {"a vector in compressed form", "\x1F\x8B\x08", ImageError::UnknownFormat},
        {"an icon without pictures", "\0\0\1\0\0\0"s, ImageError::Damaged},
        {"more bytes than there may be", png + std::string(17 << 20, 'x'), ImageError::TooLarge},
    };
}

TEST(Image, WhatIsNoPictureIsRefused) {
    for (const Refusal& c : refusals()) {
        const auto image = Image::imageWithData(c.data);
        ASSERT_FALSE(image) << c.why;
        EXPECT_EQ(image.error().code, static_cast<int>(c.error)) << c.why << ": " << image.error().description;
        EXPECT_FALSE(image.error().description.empty());
    }
}

TEST(Image, LimitsAreTheCallersToSet) {
    const std::string png = decoded(flag(20, 20)).pngData();
    EXPECT_TRUE(Image::imageWithData(png, {.pixels = 400}));
    EXPECT_FALSE(Image::imageWithData(png, {.pixels = 399}));
    EXPECT_FALSE(Image::imageWithData(png, {.bytes = png.size() - 1}));
    EXPECT_FALSE(Image::imageWithPixels(std::string(16, 'x'), {2, 3}));
    EXPECT_FALSE(Image::imageWithPixels("", {0, 0}));
    EXPECT_FALSE(Image::imageWithPixels("", {-1, 0}));
}

class ImageDecoding : public ::testing::Test {
protected:
    std::unique_ptr<RunLoop> loop_ = RunLoop::make(RunLoop::Clock::Real);
    std::shared_ptr<ImageDecoder> decoder_ = ImageDecoder::inProcess(QS_IMAGE_DECODER);
};

TEST_F(ImageDecoding, GivesTheSamePicture) {
    for (const char* format : {"png", "gif", "bmp"}) {
        const auto image = decoder_->imageWithData(picture(format));
        ASSERT_TRUE(image) << format << ": " << image.error().description;
        EXPECT_EQ(image->pixels(), decoded(picture(format)).pixels()) << format;
    }
    const auto vector = decoder_->imageWithData(flag(8, 6), {}, ImageSize{80, 60});
    ASSERT_TRUE(vector) << vector.error().description;
    EXPECT_EQ(vector->size(), (ImageSize{80, 60}));
    EXPECT_EQ(vector->pixels(), decoded(flag(8, 6), ImageSize{80, 60}).pixels());
}

TEST_F(ImageDecoding, RefusesTheSame) {
    for (const Refusal& c : refusals()) {
        const auto image = decoder_->imageWithData(c.data);
        ASSERT_FALSE(image) << c.why;
        EXPECT_EQ(image.error().code, static_cast<int>(c.error)) << c.why << ": " << image.error().description;
    }
}

// Pictures that make a decoder swell or go on for ever: they end, and we do not.
TEST_F(ImageDecoding, SurvivesPicturesMadeToBreakIt) {
    const std::string svg = "<svg xmlns='http://www.w3.org/2000/svg' xmlns:xlink='http://www.w3.org/1999/xlink' ";
    std::string groups, endings, uses = "<g id='a0'><rect width='1' height='1'/></g>", entities, bitmap;
    for (int i = 0; i < 200; ++i) {
        groups += "<g opacity='0.9'>";
        endings += "</g>";
    }
    for (int i = 1; i < 12; ++i) {
        uses += "<g id='a" + std::to_string(i) + "'>";
        for (int k = 0; k < 10; ++k)
            uses += "<use xlink:href='#a" + std::to_string(i - 1) + "'/>";
        uses += "</g>";
        entities += "<!ENTITY e" + std::to_string(i) + " '&e" + std::to_string(i - 1) + ";&e" + std::to_string(i - 1) +
                    ";&e" + std::to_string(i - 1) + ";&e" + std::to_string(i - 1) + ";&e" + std::to_string(i - 1) +
                    ";'>";
    }
    const std::string large = "width='4000' height='4000'>";
    const std::string cases[] = {
        svg + large + groups + "<rect width='4000' height='4000'/>" + endings + "</svg>",
        svg + large + uses + "<use xlink:href='#a11'/></svg>",
        "<?xml version='1.0'?><!DOCTYPE svg [<!ENTITY e0 'lol'>" + entities + "]>" + svg +
            "width='9' height='9'>&e11;</svg>",
        svg + large +
            "<pattern id='p' patternUnits='userSpaceOnUse' width='30000' height='30000'><rect width='30000' "
            "height='30000' fill='red'/></pattern><rect width='4000' height='4000' fill='url(#p)'/></svg>",
    };
    const auto impatient = ImageDecoder::inProcess(QS_IMAGE_DECODER, 1);
    for (const std::string& data : cases) {
        const auto image = impatient->imageWithData(data);
        if (!image) continue;
        EXPECT_EQ(image->size(), (ImageSize{4000, 4000}));
    }
}

TEST_F(ImageDecoding, LoadsNothingBesides) {
    const auto middleOf = [this](const std::string& address) -> std::string {
        const auto image = decoder_->imageWithData(
            "<svg xmlns='http://www.w3.org/2000/svg' xmlns:xlink='http://www.w3.org/1999/xlink' width='9' "
            "height='9'><image xlink:href='" +
            address + "' width='9' height='9'/></svg>");
        return image ? colorOf(*image, 4, 4) : image.error().description;
    };
    const std::string file = QS_TEST_DATA "/red.png";
    const auto red = FileSystem::real().read(file);
    ASSERT_TRUE(red);
    EXPECT_EQ(middleOf("data:image/png;base64," + base64EncodedString(*red)), "#FF0000") << "what it brings along";
    for (const std::string& address : {file, "file://" + file, "http://127.0.0.1:1/red.png"s})
        EXPECT_EQ(middleOf(address), "clear") << address;
}

TEST_F(ImageDecoding, WithoutItsProgramIsLogged) {
    LogCapture log;
    const auto image = ImageDecoder::inProcess("/nowhere/decoder")->imageWithData(picture("png"));
    ASSERT_FALSE(image);
    EXPECT_TRUE(log.contains("/nowhere/decoder"));
}

}  // namespace
}  // namespace qs
