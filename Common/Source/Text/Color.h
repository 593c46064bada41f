// A colour: red, green, blue or one shade of grey, and an alpha, each from 0 to 1. What lies outside is cut to that.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace qs {

struct Color {
    double red = 0, green = 0, blue = 0, alpha = 1;
    bool isGray = false;  // then it has two components, a shade that stands in all three, and alpha

    friend bool operator==(const Color&, const Color&) = default;

    static Color colorWithRed(double red, double green, double blue, double alpha = 1);
    static Color colorWithWhite(double white, double alpha = 1);
    // Components of 0 to 255. An alpha below 2 is taken as it stands, so 1 is opaque.
    static Color colorWithIntegerRed(int red, int green, int blue, int alpha);
    // Red in the top byte, then green, blue, alpha.
    static Color colorWithHex(std::uint32_t hex);
    static Color colorWithHexRed(std::uint8_t red, std::uint8_t green, std::uint8_t blue, std::uint8_t alpha);
    // "#abc", "#aabbcc" or the same without the number sign; opaque. Nothing for another number of characters; what is
    // no digit ends its pair, "zz" counts as 0.
    static std::optional<Color> colorWithHexString(std::string_view text);

    std::string hexString() const;  // "#AABBCC"; alpha is left out
    Color lightenColorByValue(double value) const;
    Color darkenColorByValue(double value) const;
    bool isLightColor() const;
};

// Colours as the settings keep them, for controls that edit such a setting.
struct QSHexStringToNSColorTransformer {
    static constexpr bool allowsReverseTransformation() { return true; }
    static std::optional<Color> transformedValue(std::string_view text) { return Color::colorWithHexString(text); }
    static std::string reverseTransformedValue(const Color& color) { return color.hexString(); }
};

}  // namespace qs
