#include "Text/Base64.h"

#include <gtest/gtest.h>

namespace qs {
namespace {

TEST(Base64, WritesAndReads) {
    const struct {
        std::string bytes, text;
    } cases[] = {
        {"", ""},        {"f", "Zg=="},          {"fo", "Zm8="},
        {"foo", "Zm9v"}, {"foobar", "Zm9vYmFy"}, {std::string("\0\xFF\xFE", 3), "AP/+"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(base64EncodedString(c.bytes), c.text);
        EXPECT_EQ(dataFromBase64String(c.text), c.bytes);
    }
}

TEST(Base64, ReadsWhatMailMakesOfIt) {
    const struct {
        const char* text;
        std::optional<std::string> bytes;
    } cases[] = {
        {"Zm9v\r\nYmFy\r\n", "foobar"},
        {" Z g = = ", "f"},
        {"Zg", "f"},
        {"Zm9vYg", "foob"},
        {"=", ""},
        {"Z", std::nullopt},
        {"Zm9vY", std::nullopt},
        {"Zg==Zg==", std::nullopt},
        {"Zm9v-_", std::nullopt},
        {"Zm9v\xC3\xA9", std::nullopt},
    };
    for (const auto& c : cases)
        EXPECT_EQ(dataFromBase64String(c.text), c.bytes) << c.text;
}

TEST(Base64, BreaksLinesOfSixtyFourCharacters) {
    const std::string line(64, 'Q');  // of 48 bytes 0x41 0x04 0x10 ...
    const std::string bytes = dataFromBase64String(line).value();
    ASSERT_EQ(bytes.size(), 48u);
    EXPECT_EQ(base64EncodedStringWithLineBreaks(""), "");
    EXPECT_EQ(base64EncodedStringWithLineBreaks(bytes.substr(0, 47)), std::string(62, 'Q') + "Q=");
    EXPECT_EQ(base64EncodedStringWithLineBreaks(bytes), line);
    EXPECT_EQ(base64EncodedStringWithLineBreaks(bytes + "f"), line + "\r\nZg==");
    EXPECT_EQ(base64EncodedStringWithLineBreaks(bytes + bytes), line + "\r\n" + line);
}

TEST(Base64, OfTextsInOtherCharacterSets) {
    EXPECT_EQ(stringByEncodingBase64("Grüße", "utf-8"), "R3LDvMOfZQ==");
    EXPECT_EQ(stringByEncodingBase64("Grüße", "iso-8859-1"), "R3L832U=");
    EXPECT_EQ(stringByDecodingBase64("R3L832U=", "iso-8859-1"), "Grüße");
    EXPECT_EQ(stringByEncodingBase64("日本", "iso-8859-1"), std::nullopt);
    EXPECT_EQ(stringByEncodingBase64("Grüße", "no such set"), std::nullopt);
    EXPECT_EQ(stringByEncodingBase64("broken \xFF", "utf-8"), std::nullopt);
    EXPECT_EQ(stringByDecodingBase64("R3L832U=", "utf-8"), std::nullopt) << "these bytes are no UTF-8";
    EXPECT_EQ(stringByDecodingBase64("R3L8!", "iso-8859-1"), std::nullopt);
}

}  // namespace
}  // namespace qs
