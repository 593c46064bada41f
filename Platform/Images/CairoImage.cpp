#include <algorithm>
#include <cstdint>
#include <cstring>
#include <numbers>
#include <utility>

#include "Foundation/Assertion.h"
#include "Images/CairoSurface.h"
#include "Text/Ascii.h"

namespace qs {

struct Image::Pixels {
    Surface surface;
};

namespace {

constexpr std::int64_t kMostPixels = std::int64_t{1} << 24;

// gdk-pixbuf's name of a format; "svg"; null for a format that is not taken.
const char* formatOf(std::string_view data) {
    using namespace std::string_view_literals;
    constexpr std::pair<std::string_view, const char*> kBeginnings[] = {
        {"\x89PNG\r\n\x1A\n"sv, "png"},
        {"\xFF\xD8\xFF"sv, "jpeg"},
        {"GIF87a"sv, "gif"},
        {"GIF89a"sv, "gif"},
        {"\0\0\1\0"sv, "ico"},
        {"BM"sv, "bmp"},
    };
    for (const auto& [beginning, name] : kBeginnings)
        if (data.starts_with(beginning)) return name;
    constexpr std::size_t kLongestProlog = 4096;
    if (data.starts_with("\xEF\xBB\xBF")) data.remove_prefix(3);
    const std::string_view start = trimmedAscii(data.substr(0, kLongestProlog));
    return start.starts_with('<') && start.find("<svg") != std::string_view::npos ? "svg" : nullptr;
}

}  // namespace

// A picture that is being drawn; it is clear at first.
class Image::Canvas {
public:
    explicit Canvas(ImageSize size) : size_(size) {
        assertThat(size.width > 0 && size.height > 0 && std::int64_t{size.width} * size.height <= kMostPixels,
                   "A picture has at least one pixel and at most 2^24.");
        surface_ = makeSurface(size);
        assertThat(surface_ != nullptr, "There is no memory for a picture.");
        context_.reset(cairo_create(surface_.get()));
    }

    void clipToOval() {
        addOval();
        cairo_clip(context_.get());
    }
    void strokeOval(const Color& color, double width) {
        addOval();
        cairo_set_source_rgba(context_.get(), color.red, color.green, color.blue, color.alpha);
        cairo_set_line_width(context_.get(), width);
        cairo_stroke(context_.get());
    }
    void fill(const Color& color, cairo_operator_t how = CAIRO_OPERATOR_OVER) {
        cairo_set_operator(context_.get(), how);
        cairo_set_source_rgba(context_.get(), color.red, color.green, color.blue, color.alpha);
        cairo_paint(context_.get());
        cairo_set_operator(context_.get(), CAIRO_OPERATOR_OVER);
    }
    // The part of the picture, stretched over the whole canvas.
    void draw(const Image& image, double left, double top, double width, double height) {
        cairo_save(context_.get());
        cairo_scale(context_.get(), size_.width / width, size_.height / height);
        cairo_set_source_surface(context_.get(), image.pixels_->surface.get(), -left, -top);
        // Its edge pixels go on outside, so that it does not fade into nothing at its border.
        cairo_pattern_set_extend(cairo_get_source(context_.get()), CAIRO_EXTEND_PAD);
        cairo_pattern_set_filter(cairo_get_source(context_.get()), CAIRO_FILTER_BEST);
        cairo_paint(context_.get());
        cairo_restore(context_.get());
    }
    void draw(const Image& image) { draw(image, 0, 0, image.size().width, image.size().height); }

    Image finish() {
        context_.reset();
        cairo_surface_flush(surface_.get());
        return Image(std::make_shared<Pixels>(std::move(surface_)));
    }

private:
    void addOval() {
        cairo_save(context_.get());
        cairo_scale(context_.get(), size_.width / 2.0, size_.height / 2.0);
        cairo_arc(context_.get(), 1, 1, 1, 0, 2 * std::numbers::pi);
        cairo_restore(context_.get());
    }

    ImageSize size_;
    Surface surface_;
    Context context_;
};

Result<Image> Image::imageWithData(std::string_view data, const ImageLimits& limits,
                                   std::optional<ImageSize> vectorSize) {
    const char* format = formatOf(data);
    if (!format) return imageFailure(ImageError::UnknownFormat, "This is no picture of a known format.");
    if (data.size() > limits.bytes) return imageTooLarge();
    auto surface =
        std::strcmp(format, "svg") == 0 ? decodeVector(data, vectorSize, limits) : decodeBitmap(data, format, limits);
    if (!surface) return failed(surface);
    return Image(std::make_shared<Pixels>(std::move(*surface)));
}

std::optional<Image> Image::imageWithPixels(std::string_view pixels, ImageSize size) {
    const std::int64_t count = std::int64_t{size.width} * size.height;
    if (size.width <= 0 || size.height <= 0 || count > kMostPixels || std::cmp_not_equal(count * 4, pixels.size()))
        return std::nullopt;
    Surface surface = makeSurface(size);
    if (!surface) return std::nullopt;
    std::memcpy(cairo_image_surface_get_data(surface.get()), pixels.data(), pixels.size());
    cairo_surface_mark_dirty(surface.get());
    return Image(std::make_shared<Pixels>(std::move(surface)));
}

std::string_view Image::pixels() const {
    // Cairo's rows of this format have no gaps between them.
    return {reinterpret_cast<const char*>(cairo_image_surface_get_data(pixels_->surface.get())),
            std::size_t{4} * static_cast<std::size_t>(size().width) * static_cast<std::size_t>(size().height)};
}

ImageSize Image::size() const {
    return {cairo_image_surface_get_width(pixels_->surface.get()),
            cairo_image_surface_get_height(pixels_->surface.get())};
}

std::string Image::pngData() const {
    std::string png;
    const auto append = [](void* target, const unsigned char* bytes, unsigned length) {
        static_cast<std::string*>(target)->append(reinterpret_cast<const char*>(bytes), length);
        return CAIRO_STATUS_SUCCESS;
    };
    const auto status = cairo_surface_write_to_png_stream(pixels_->surface.get(), append, &png);
    assertThat(status == CAIRO_STATUS_SUCCESS, "There is no memory for a picture.");
    return png;
}

Color Image::colorAt(int x, int y) const {
    if (x < 0 || y < 0 || x >= size().width || y >= size().height) return Color::colorWithRed(0, 0, 0, 0);
    std::uint32_t pixel = 0;
    const std::size_t index =
        static_cast<std::size_t>(y) * static_cast<std::size_t>(size().width) + static_cast<std::size_t>(x);
    std::memcpy(&pixel, pixels().data() + index * sizeof pixel, sizeof pixel);
    const auto component = [pixel](int shift) { return static_cast<double>(pixel >> shift & 0xFF); };
    const double alpha = component(24);
    if (alpha == 0) return Color::colorWithRed(0, 0, 0, 0);
    return Color::colorWithRed(component(16) / alpha, component(8) / alpha, component(0) / alpha, alpha / 255);
}

Image Image::resizedImageOfSize(ImageSize size) const {
    Canvas canvas(size);
    canvas.draw(*this);
    return canvas.finish();
}

Image Image::resizedCleanImageWithSize(ImageSize size, const Color& withBgColor) const {
    Canvas canvas(size);
    const double side = std::min(this->size().width, this->size().height);
    canvas.clipToOval();
    canvas.fill(withBgColor);
    canvas.draw(*this, (this->size().width - side) / 2, (this->size().height - side) / 2, side, side);
    return canvas.finish();
}

Image Image::imageInOvalWithLine(const Color& color, double width) const {
    Canvas canvas(size());
    canvas.clipToOval();
    canvas.draw(*this);
    canvas.strokeOval(color, width);
    return canvas.finish();
}

Image Image::imageTintedWithColor(const Color& color) const {
    Canvas canvas(size());
    canvas.draw(*this);
    canvas.fill(color, CAIRO_OPERATOR_ATOP);
    return canvas.finish();
}

}  // namespace qs
