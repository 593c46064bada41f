// Bitmaps by gdk-pixbuf, which is told the format, so that none of its many other loaders sees a stranger's bytes.
#include <gdk-pixbuf/gdk-pixbuf.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "Images/CairoSurface.h"

namespace qs {

namespace {

struct ObjectEnd {
    void operator()(void* object) const { g_object_unref(object); }
};
using Pixbuf = std::unique_ptr<GdkPixbuf, ObjectEnd>;

// What a loader tells while it is fed.
struct Progress {
    std::int64_t mostPixels;
    bool isTooLarge = false;
};

void onSize(GdkPixbufLoader* loader, int width, int height, void* data) {
    auto& progress = *static_cast<Progress*>(data);
    if (std::int64_t{width} * height <= progress.mostPixels) return;
    progress.isTooLarge = true;
    gdk_pixbuf_loader_set_size(loader, 0, 0);  // makes it stop before it takes memory for the pixels
}

std::string takeMessage(GError* error) {
    std::string message = error && error->message ? error->message : "";
    g_clear_error(&error);
    return message;
}

// Null when the loader has none; the reason then stands in `why`.
Pixbuf decoded(std::string_view data, const char* format, Progress& progress, std::string& why) {
    GError* error = nullptr;
    const std::unique_ptr<GdkPixbufLoader, ObjectEnd> loader(gdk_pixbuf_loader_new_with_type(format, &error));
    if (!loader) {
        why = takeMessage(error);
        return nullptr;
    }
    g_signal_connect(loader.get(), "size-prepared", G_CALLBACK(onSize), &progress);
    // In pieces: what stands behind the header of a picture that is too large is not looked at.
    constexpr std::size_t kPiece = 16 * 1024;
    while (!data.empty() && !progress.isTooLarge && why.empty()) {
        const std::string_view piece = data.substr(0, kPiece);
        if (!gdk_pixbuf_loader_write(loader.get(), reinterpret_cast<const guchar*>(piece.data()), piece.size(), &error))
            why = takeMessage(error);
        data.remove_prefix(piece.size());
    }
    error = nullptr;
    // It must be closed in any case; a picture whose end is missing is shown as far as it goes.
    if (!gdk_pixbuf_loader_close(loader.get(), &error)) {
        const std::string message = takeMessage(error);
        if (why.empty()) why = message;
    }
    if (progress.isTooLarge) return nullptr;
    GdkPixbuf* pixels = gdk_pixbuf_loader_get_pixbuf(loader.get());
    return Pixbuf(pixels ? gdk_pixbuf_apply_embedded_orientation(pixels) : nullptr);
}

// From red, green, blue and perhaps alpha as bytes to Cairo's premultiplied words.
Surface surfaceFrom(const GdkPixbuf* pixels) {
    const ImageSize size{gdk_pixbuf_get_width(pixels), gdk_pixbuf_get_height(pixels)};
    Surface surface = makeSurface(size);
    if (!surface) return nullptr;
    const bool hasAlpha = gdk_pixbuf_get_has_alpha(pixels) != FALSE;
    const int step = gdk_pixbuf_get_n_channels(pixels);
    unsigned char* target = cairo_image_surface_get_data(surface.get());
    const std::ptrdiff_t stride = cairo_image_surface_get_stride(surface.get());
    for (int y = 0; y < size.height; ++y) {
        const guchar* from = gdk_pixbuf_read_pixels(pixels) + std::ptrdiff_t{y} * gdk_pixbuf_get_rowstride(pixels);
        for (int x = 0; x < size.width; ++x, from += step) {
            const std::uint32_t alpha = hasAlpha ? from[3] : 255;
            const auto premultiplied = [alpha](std::uint32_t value) { return (value * alpha + 127) / 255; };
            const std::uint32_t word =
                alpha << 24 | premultiplied(from[0]) << 16 | premultiplied(from[1]) << 8 | premultiplied(from[2]);
            std::memcpy(target + y * stride + std::ptrdiff_t{x} * 4, &word, sizeof word);
        }
    }
    cairo_surface_mark_dirty(surface.get());
    return surface;
}

}  // namespace

Result<Surface> decodeBitmap(std::string_view data, const char* format, const ImageLimits& limits) {
    Progress progress{.mostPixels = limits.pixels};
    std::string why;
    const Pixbuf pixels = decoded(data, format, progress, why);
    if (progress.isTooLarge) return imageTooLarge();
    if (!pixels) return imageDamaged(why);
    Surface surface = surfaceFrom(pixels.get());
    if (!surface) return imageTooLarge();
    return surface;
}

}  // namespace qs
