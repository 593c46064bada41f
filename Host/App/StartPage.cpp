#include "StartPage.h"

#include <cstdlib>
#include <system_error>

#include "Foundation/Log.h"
#include "Workspace/PrivatePage.h"

namespace qs {
namespace {

std::filesystem::path fileIn(const std::filesystem::path& dataFolder) { return dataFolder / "start.html"; }

bool isSet(const char* name) {
    const char* value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): nobody sets the environment
    return value && *value;
}

}  // namespace

bool hasDisplay() { return isSet("DISPLAY") || isSet("WAYLAND_DISPLAY"); }

void openStartPage(Workspace& workspace, const std::filesystem::path& dataFolder, std::string_view link) {
    if (!hasDisplay()) return;
    if (const auto opened = openPrivately(workspace, fileIn(dataFolder), link, "Quillstead opens …"); !opened)
        logWarning("The browser could not be opened: " + opened.error().description);
}

void removeStartPage(const std::filesystem::path& dataFolder) {
    std::error_code ignored;
    std::filesystem::remove(fileIn(dataFolder), ignored);
}

}  // namespace qs
