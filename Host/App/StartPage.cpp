#include "StartPage.h"

#include <cstdlib>
#include <string>
#include <system_error>

#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"
#include "Text/Escapes.h"
#include "Workspace/Workspace.h"

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
    const std::string html =
        "<!doctype html>\n<meta charset=\"utf-8\">\n<meta name=\"referrer\" content=\"no-referrer\">\n"
        "<meta http-equiv=\"refresh\" content=\"0;url=" +
        std::string(link) + "\">\n<title>Quillstead</title>\n<p>Quillstead opens …</p>\n";
    const auto file = fileIn(dataFolder);
    auto opened = FileSystem::real().replace(file, html);
    if (opened) opened = workspace.openURL("file://" + percentEncoded(file.string(), "/"));
    if (!opened) logWarning("The browser could not be opened: " + opened.error().description);
}

void removeStartPage(const std::filesystem::path& dataFolder) {
    std::error_code ignored;
    std::filesystem::remove(fileIn(dataFolder), ignored);
}

}  // namespace qs
