#include "SignatureTemplates.h"

#include <algorithm>

#include "Foundation/FileSystem.h"
#include "Text/Utf8.h"

namespace qs {

namespace {

// "two-columns" is "Two columns" for people.
std::string nameOf(std::string id) {
    std::replace(id.begin(), id.end(), '-', ' ');
    if (!id.empty() && id[0] >= 'a' && id[0] <= 'z') id[0] = static_cast<char>(id[0] - 'a' + 'A');
    return id;
}

}  // namespace

Result<Array> loadSignatureTemplates(const std::filesystem::path& folder, FileSystem& files) {
    if (folder.empty()) return Array();
    auto list = files.list(folder);
    if (!list) return failed(list);
    std::sort(list->begin(), list->end(), [](const FileInfo& a, const FileInfo& b) { return a.path < b.path; });
    Array templates;
    for (const FileInfo& file : *list) {
        if (file.isFolder || file.path.extension() != ".mustache") continue;
        auto source = files.read(file.path);
        if (!source) return failed(source);
        if (!isValidUtf8(*source))
            return failure("SignatureTemplates", 1, "The template " + file.path.string() + " is no UTF-8.");
        const std::string id = file.path.stem().string();
        templates.emplace_back(Dictionary{{"id", id}, {"name", nameOf(id)}, {"source", *source}});
    }
    return templates;
}

}  // namespace qs
