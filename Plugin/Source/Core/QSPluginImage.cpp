#include "Core/QSPluginImage.h"

#include "Core/QSSession.h"
#include "Foundation/Bundle.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"

namespace qs {

std::optional<Image> pluginImageNamed(std::string_view name, std::optional<ImageSize> vectorSize) {
    for (const char* type : {"svg", "png", "jpg"}) {
        const auto path = QSSession::current().bundle().pathForResource(name, type);
        if (path.empty()) continue;
        const auto data = FileSystem::real().read(path);
        auto image = data ? Image::imageWithData(*data, {}, vectorSize) : failed(data);
        if (image) return *image;
        logError("The plug-in's picture " + path.filename().string() + " can't be drawn: " + image.error().description);
        return std::nullopt;
    }
    logError("The plug-in has no picture named " + std::string(name));
    return std::nullopt;
}

}  // namespace qs
