#include "Workspace/PrivatePage.h"

#include <string>

#include "Foundation/FileSystem.h"
#include "Text/Escapes.h"
#include "Workspace/Workspace.h"

namespace qs {

Result<void> openPrivately(Workspace& workspace, const std::filesystem::path& file, std::string_view address,
                           std::string_view sentence) {
    const std::string html =
        "<!doctype html>\n<meta charset=\"utf-8\">\n<meta name=\"referrer\" content=\"no-referrer\">\n"
        "<meta http-equiv=\"refresh\" content=\"0;url=" +
        stringByEscapingXMLEntities(address) + "\">\n<title>Quillstead</title>\n<p>" +
        stringByEscapingXMLEntities(sentence) + "</p>\n";
    if (auto written = FileSystem::real().replace(file, html); !written) return written;
    return workspace.openURL("file://" + percentEncoded(file.string(), "/"));
}

}  // namespace qs
