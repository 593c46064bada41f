// SVG by librsvg. It is given no address to start from, so a picture can name no file and no other place, and librsvg's
// own bounds on elements and references stay on.
#include <librsvg/rsvg.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "Images/CairoSurface.h"

namespace qs {

namespace {

constexpr ImageSize kDefaultSize{300, 150};  // as browsers take a picture that names none

struct HandleEnd {
    void operator()(RsvgHandle* handle) const { g_object_unref(handle); }
};
using Handle = std::unique_ptr<RsvgHandle, HandleEnd>;

// In pixels, at least one each way; a size beyond what can be drawn comes out as the largest number.
ImageSize sizeFrom(double width, double height) {
    const auto bounded = [](double length) {
        return static_cast<int>(std::clamp(std::ceil(length), 1.0, double{1 << 30}));
    };
    if (!std::isfinite(width) || !std::isfinite(height)) return {1 << 30, 1 << 30};
    return {bounded(width), bounded(height)};
}

ImageSize namedSize(RsvgHandle* handle) {
    double width = 0, height = 0;
    if (rsvg_handle_get_intrinsic_size_in_pixels(handle, &width, &height)) return sizeFrom(width, height);
    gboolean hasWidth = FALSE, hasHeight = FALSE, hasBox = FALSE;
    RsvgLength ignoredWidth, ignoredHeight;
    RsvgRectangle box;
    rsvg_handle_get_intrinsic_dimensions(handle, &hasWidth, &ignoredWidth, &hasHeight, &ignoredHeight, &hasBox, &box);
    return hasBox && box.width > 0 && box.height > 0 ? sizeFrom(box.width, box.height) : kDefaultSize;
}

std::string takeMessage(GError* error) {
    std::string message = error && error->message ? error->message : "";
    g_clear_error(&error);
    return message;
}

}  // namespace

Result<Surface> decodeVector(std::string_view data, std::optional<ImageSize> size, const ImageLimits& limits) {
    GError* error = nullptr;
    const Handle handle(rsvg_handle_new_from_data(reinterpret_cast<const guint8*>(data.data()), data.size(), &error));
    if (!handle) return imageDamaged(takeMessage(error));
    const ImageSize drawn = size.value_or(namedSize(handle.get()));
    if (std::int64_t{drawn.width} * drawn.height > limits.pixels) return imageTooLarge();
    Surface surface = makeSurface(drawn);
    if (!surface) return imageTooLarge();
    const Context context(cairo_create(surface.get()));
    const RsvgRectangle whole{0, 0, static_cast<double>(drawn.width), static_cast<double>(drawn.height)};
    if (!rsvg_handle_render_document(handle.get(), context.get(), &whole, &error))
        return imageDamaged(takeMessage(error));
    cairo_surface_flush(surface.get());
    return surface;
}

}  // namespace qs
