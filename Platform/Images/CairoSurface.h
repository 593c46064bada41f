// Cairo's image surface for the source files of this folder: owned, in premultiplied ARGB of 32 bits.
#pragma once

#include <cairo.h>

#include <memory>

#include "Images/Image.h"

namespace qs {

struct SurfaceEnd {
    void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
};
using Surface = std::unique_ptr<cairo_surface_t, SurfaceEnd>;

struct ContextEnd {
    void operator()(cairo_t* context) const { cairo_destroy(context); }
};
using Context = std::unique_ptr<cairo_t, ContextEnd>;

// Clear. Null when there is no memory for it.
inline Surface makeSurface(ImageSize size) {
    Surface surface(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, size.width, size.height));
    if (cairo_surface_status(surface.get()) != CAIRO_STATUS_SUCCESS) surface.reset();
    return surface;
}

// Each for one family of formats; the limits on bytes were looked at.
Result<Surface> decodeBitmap(std::string_view data, const char* format, const ImageLimits& limits);
Result<Surface> decodeVector(std::string_view data, std::optional<ImageSize> size, const ImageLimits& limits);

inline tl::unexpected<Error> imageFailure(ImageError code, std::string description) {
    return failure(std::string(kImageErrorDomain), static_cast<int>(code), std::move(description));
}
inline tl::unexpected<Error> imageTooLarge() { return imageFailure(ImageError::TooLarge, "The picture is too large."); }
inline tl::unexpected<Error> imageDamaged(const std::string& why) {
    return imageFailure(ImageError::Damaged, "The picture is damaged" + (why.empty() ? "." : ": " + why));
}

}  // namespace qs
