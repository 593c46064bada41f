// Opens the page in the person's browser. The start link's ticket must not stand on a command line, where other users
// of the machine could read it; so the browser gets a file of the data folder, which leads on to the link.
#pragma once

#include <filesystem>
#include <string_view>

namespace qs {

class Workspace;

// Whether there is a desktop that could show a browser.
bool hasDisplay();
// Does nothing without a display. What fails is logged: the link was printed, too.
void openStartPage(Workspace& workspace, const std::filesystem::path& dataFolder, std::string_view link);
void removeStartPage(const std::filesystem::path& dataFolder);

}  // namespace qs
