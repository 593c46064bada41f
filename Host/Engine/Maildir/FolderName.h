// Names of the subfolders of a Maildir++ tree: ".Lists.kernel" is the mailbox "kernel" in "Lists". What is not ASCII is
// in modified UTF-7 (RFC 3501, 5.1.3); so is a "." or "/" inside a name, which would otherwise part it in two.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace qs {

// From a name as people write it, levels parted by "/", to the folder's, without the "." in front. Nothing for what can
// be no name: an empty level, a control character, bytes that are no UTF-8, more than a file's name can hold.
std::optional<std::string> folderNameFromPath(std::string_view path);
// Back again. A piece that is no modified UTF-7 is shown as it stands.
std::string pathFromFolderName(std::string_view folderName);

}  // namespace qs
