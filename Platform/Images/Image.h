// A picture: decoded from the formats of the web, drawn anew in small ways, written as PNG.
//
// Decoding is bounded in bytes, pixels and formats and loads nothing besides what it is given; still a picture of a
// stranger is no matter for a process that holds mail and keys: ImageDecoder.h takes those. Thread-safe.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Foundation/Result.h"
#include "Text/Color.h"

namespace qs {

inline constexpr std::string_view kImageErrorDomain = "Images";
enum class ImageError { UnknownFormat = 1, TooLarge, Damaged };  // codes of its errors

struct ImageSize {
    int width = 0, height = 0;  // pixels
    friend bool operator==(const ImageSize&, const ImageSize&) = default;
};

struct ImageLimits {
    std::size_t bytes = std::size_t{16} << 20;
    std::int64_t pixels = std::int64_t{1} << 24;  // four bytes of memory each, and up to as much again while decoding
};

class Image {
public:
    // PNG, JPEG (upright by what its camera says), GIF (its first frame), ICO, BMP and SVG, told apart by their
    // content. An SVG picture is drawn at the size it names, or at `vectorSize`.
    static Result<Image> imageWithData(std::string_view data, const ImageLimits& limits = {},
                                       std::optional<ImageSize> vectorSize = {});

    // What pixels() gave; nothing when the number of bytes and the size don't fit each other.
    static std::optional<Image> imageWithPixels(std::string_view pixels, ImageSize size);

    ImageSize size() const;
    // Row by row, four bytes each: blue, green, red, alpha, the colours multiplied by it (the other way round on
    // machines that count from the other end).
    std::string_view pixels() const;
    std::string pngData() const;
    // As it is shown, alpha included; clear outside of the picture.
    Color colorAt(int x, int y) const;

    // Sizes below are at least 1 x 1 and have at most 2^24 pixels; anything else is a programming fault.

    // Stretched to exactly that size.
    Image resizedImageOfSize(ImageSize size) const;
    // For a person's picture: the middle square, in the oval that the size holds, on a colour. Clear outside of the
    // oval.
    Image resizedCleanImageWithSize(ImageSize size,
                                    const Color& withBgColor = {.red = 1, .green = 1, .blue = 1, .alpha = 1}) const;
    // In the oval that its size holds, with a line along that, half of whose width lies outside and is not seen. Clear
    // outside of the oval.
    Image imageInOvalWithLine(const Color& color, double width) const;
    // The colour wherever the picture is not clear, as thick as its alpha says.
    Image imageTintedWithColor(const Color& color) const;

private:
    class Canvas;
    struct Pixels;
    explicit Image(std::shared_ptr<const Pixels> pixels) : pixels_(std::move(pixels)) {}
    std::shared_ptr<const Pixels> pixels_;
};

}  // namespace qs
