// The data sources that a repository can be made with.
#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <string>

#include "GRMustacheTemplateRepository.h"

namespace qs {

// How a file's name and text are made.
struct GRMustacheFileForm {
    std::string extension, encoding;

    std::string fileName(std::string_view name) const {
        return extension.empty() ? std::string(name) : std::string(name) + "." + extension;
    }
    // The file as UTF-8. Nothing when there is none; an error when it can't be read or isn't in the encoding.
    Result<std::optional<std::string>> read(const std::filesystem::path& file) const;
};

std::shared_ptr<GRMustacheTemplateRepositoryDataSource> mustacheFolderSource(const std::filesystem::path& folder,
                                                                             GRMustacheFileForm form);
std::shared_ptr<GRMustacheTemplateRepositoryDataSource> mustacheBundleSource(std::shared_ptr<const Bundle> bundle,
                                                                             GRMustacheFileForm form);
std::shared_ptr<GRMustacheTemplateRepositoryDataSource>
mustacheDictionarySource(std::map<std::string, std::string, std::less<>> templates);
// The path of "file:///a%20b"; nothing for another URL.
std::optional<std::filesystem::path> mustachePathOfFileURL(std::string_view url);

}  // namespace qs
