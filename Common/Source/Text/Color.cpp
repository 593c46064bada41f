#include "Text/Color.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "Text/Ascii.h"
#include "Text/Utf8.h"

namespace qs {

namespace {

double bounded(double component) { return std::isnan(component) ? 0 : std::clamp(component, 0.0, 1.0); }

// Digits as far as they go; a character that isn't ASCII stands for itself as 0.
double componentFrom(char first, char second) {
    int value = 0;
    for (const char c : {first, second}) {
        if (hexDigitValue(c) < 0) break;
        value = value * 16 + hexDigitValue(c);
    }
    return value / 255.0;
}

}  // namespace

Color Color::colorWithRed(double red, double green, double blue, double alpha) {
    return {bounded(red), bounded(green), bounded(blue), bounded(alpha), false};
}

Color Color::colorWithWhite(double white, double alpha) {
    return {bounded(white), bounded(white), bounded(white), bounded(alpha), true};
}

Color Color::colorWithIntegerRed(int red, int green, int blue, int alpha) {
    return colorWithRed(red / 255.0, green / 255.0, blue / 255.0, alpha < 2 ? alpha : alpha / 255.0);
}

Color Color::colorWithHex(std::uint32_t hex) {
    const auto byte = [hex](int shift) { return static_cast<std::uint8_t>(hex >> shift & 0xFF); };
    return colorWithHexRed(byte(24), byte(16), byte(8), byte(0));
}

Color Color::colorWithHexRed(std::uint8_t red, std::uint8_t green, std::uint8_t blue, std::uint8_t alpha) {
    return colorWithRed(red / 255.0, green / 255.0, blue / 255.0, alpha / 255.0);
}

std::optional<Color> Color::colorWithHexString(std::string_view text) {
    std::array<char, 6> characters{};
    std::size_t count = 0;
    while (!text.empty()) {
        const std::size_t length = std::max<std::size_t>(utf8CharacterLength(text), 1);
        if (text[0] != '#') {
            if (count == characters.size()) return std::nullopt;
            characters[count++] = length == 1 ? text[0] : '?';
        }
        text.remove_prefix(length);
    }
    if (count != 3 && count != 6) return std::nullopt;
    std::array<double, 3> components{};
    for (std::size_t i = 0; i < components.size(); ++i)
        components[i] = count == 3 ? componentFrom(characters[i], characters[i])
                                   : componentFrom(characters[2 * i], characters[2 * i + 1]);
    return colorWithRed(components[0], components[1], components[2]);
}

std::string Color::hexString() const {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string text = "#";
    for (const double component : {red, green, blue}) {
        const auto byte = static_cast<unsigned>(bounded(component) * 255);
        text += {kDigits[byte >> 4], kDigits[byte & 15]};
    }
    return text;
}

Color Color::lightenColorByValue(double value) const {
    return isGray ? colorWithWhite(red + value) : colorWithRed(red + value, green + value, blue + value);
}

Color Color::darkenColorByValue(double value) const { return lightenColorByValue(-value); }

bool Color::isLightColor() const { return (isGray ? red : (red + green + blue) / 3) > 0.8; }

}  // namespace qs
