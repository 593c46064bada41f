#include "Text/Color.h"

#include <gtest/gtest.h>

namespace qs {
namespace {

TEST(Color, IsReadFromHexadecimalText) {
    const struct {
        const char* text;
        const char* color;  // as hexString; null for none
    } cases[] = {
        {"#aabbcc", "#AABBCC"}, {"#abc", "#AABBCC"},   {"abc", "#AABBCC"},    {"A0#b1#c2", "#A0B1C2"},
        {"#000", "#000000"},    {"ffffff", "#FFFFFF"}, {"zz1g0x", "#000100"}, {"#aé1", "#AA0011"},
        {"", nullptr},          {"#", nullptr},        {"#ab", nullptr},      {"#abcd", nullptr},
        {"#abcde", nullptr},    {"#aabbccd", nullptr}, {"ää", nullptr},       {"#aabbccdd", nullptr},
    };
    for (const auto& c : cases) {
        const auto color = QSHexStringToNSColorTransformer::transformedValue(c.text);
        ASSERT_EQ(color.has_value(), c.color != nullptr) << c.text;
        if (!color) continue;
        EXPECT_EQ(QSHexStringToNSColorTransformer::reverseTransformedValue(*color), c.color) << c.text;
        EXPECT_EQ(color->alpha, 1.0);
    }
    EXPECT_FALSE(Color::colorWithHexString(std::string(1'000'000, 'a')));
}

TEST(Color, OfEveryByteComesBack) {
    for (int byte = 0; byte < 256; ++byte) {
        const Color color = Color::colorWithIntegerRed(byte, 255 - byte, byte, 1);
        EXPECT_EQ(Color::colorWithHexString(color.hexString()), color) << byte;
    }
}

TEST(Color, IsMadeOfNumbers) {
    EXPECT_EQ(Color::colorWithHex(0xFF80007F), Color::colorWithHexRed(0xFF, 0x80, 0x00, 0x7F));
    EXPECT_EQ(Color::colorWithHex(0x336699FF), Color::colorWithIntegerRed(0x33, 0x66, 0x99, 255));
    EXPECT_EQ(Color::colorWithIntegerRed(1, 2, 3, 1).alpha, 1.0);
    EXPECT_EQ(Color::colorWithIntegerRed(1, 2, 3, 0).alpha, 0.0);
    EXPECT_EQ(Color::colorWithIntegerRed(1, 2, 3, 2).alpha, 2 / 255.0);
    EXPECT_EQ(Color::colorWithIntegerRed(-5, 300, 0, -1), Color::colorWithRed(0, 1, 0, 0));
}

TEST(Color, GrowsLighterAndDarker) {
    const Color half = Color::colorWithRed(0.5, 0.25, 1, 0.5);
    EXPECT_EQ(half.lightenColorByValue(0.25), Color::colorWithRed(0.75, 0.5, 1, 1));
    EXPECT_EQ(half.darkenColorByValue(0.5), Color::colorWithRed(0, 0, 0.5, 1));
    EXPECT_EQ(Color::colorWithWhite(0.5, 0.2).lightenColorByValue(0.25), Color::colorWithWhite(0.75));
}

TEST(Color, IsLightAboveFourFifths) {
    EXPECT_FALSE(Color::colorWithRed(0.75, 0.75, 0.75).isLightColor());
    EXPECT_TRUE(Color::colorWithRed(1, 1, 0.5).isLightColor());
    EXPECT_FALSE(Color::colorWithRed(1, 1, 0.25).isLightColor());
    EXPECT_FALSE(Color::colorWithWhite(0.8).isLightColor());
    EXPECT_TRUE(Color::colorWithWhite(0.85, 0.1).isLightColor());
}

}  // namespace
}  // namespace qs
