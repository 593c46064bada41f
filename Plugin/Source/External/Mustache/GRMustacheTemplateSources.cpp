#include "GRMustacheTemplateSources.h"

#include <unicode/ucnv.h>

#include <cerrno>
#include <charconv>
#include <limits>
#include <utility>

#include "Foundation/Bundle.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Format.h"
#include "GRMustacheError.h"
#include "Text/Ascii.h"
#include "Text/Utf8.h"

namespace qs {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

std::optional<std::string> decoded(std::string text, const std::string& encoding) {
    if (!equalsIgnoringCase(encoding, GRMustacheTemplateRepository::kEncoding)) {
        if (text.size() > std::numeric_limits<int32_t>::max() / 4) return {};
        std::string utf8(text.size() * 4, '\0');  // at most four bytes for each
        UErrorCode error = U_ZERO_ERROR;
        const int32_t length = ucnv_convert("UTF-8", encoding.c_str(), utf8.data(), static_cast<int32_t>(utf8.size()),
                                            text.data(), static_cast<int32_t>(text.size()), &error);
        if (U_FAILURE(error)) return {};
        utf8.resize(static_cast<std::size_t>(length));
        text = std::move(utf8);
    }
    if (!isValidUtf8(text)) return {};
    return text.starts_with(kByteOrderMark) ? text.substr(kByteOrderMark.size()) : text;
}

class FolderSource final : public GRMustacheTemplateRepositoryDataSource {
public:
    FolderSource(const std::filesystem::path& folder, GRMustacheFileForm form)
        : folder_((folder.empty() ? "." : folder).lexically_normal()), form_(std::move(form)) {}

    std::optional<std::string> templateRepositoryTemplateIDForName(GRMustacheTemplateRepository&, std::string_view name,
                                                                   const std::string* baseTemplateID) override {
        std::filesystem::path from = folder_;
        if (name.starts_with('/'))
            name.remove_prefix(1);
        else if (baseTemplateID)
            from = std::filesystem::path(*baseTemplateID).parent_path();
        if (name.empty() || name.starts_with('/') || name.find('\0') != std::string_view::npos) return {};
        const std::filesystem::path file = (from / form_.fileName(name)).lexically_normal();
        const std::filesystem::path inside = file.lexically_relative(folder_);
        if (inside.empty() || *inside.begin() == "..") return {};
        return file.string();
    }
    Result<std::optional<std::string>>
    templateRepositoryTemplateStringForTemplateID(GRMustacheTemplateRepository&,
                                                  const std::string& templateID) override {
        return form_.read(templateID);
    }

private:
    std::filesystem::path folder_;
    GRMustacheFileForm form_;
};

class BundleSource final : public GRMustacheTemplateRepositoryDataSource {
public:
    BundleSource(std::shared_ptr<const Bundle> bundle, GRMustacheFileForm form)
        : bundle_(std::move(bundle)), form_(std::move(form)) {}

    std::optional<std::string> templateRepositoryTemplateIDForName(GRMustacheTemplateRepository&, std::string_view name,
                                                                   const std::string*) override {
        const auto bundle = bundle_ ? bundle_ : Bundle::mainBundle();
        const auto file = bundle ? bundle->pathForResource(name, form_.extension) : std::filesystem::path();
        return file.empty() ? std::nullopt : std::optional(file.string());
    }
    Result<std::optional<std::string>>
    templateRepositoryTemplateStringForTemplateID(GRMustacheTemplateRepository&,
                                                  const std::string& templateID) override {
        return form_.read(templateID);
    }

private:
    std::shared_ptr<const Bundle> bundle_;
    GRMustacheFileForm form_;
};

class DictionarySource final : public GRMustacheTemplateRepositoryDataSource {
public:
    explicit DictionarySource(std::map<std::string, std::string, std::less<>> templates)
        : templates_(std::move(templates)) {}

    std::optional<std::string> templateRepositoryTemplateIDForName(GRMustacheTemplateRepository&, std::string_view name,
                                                                   const std::string*) override {
        return std::string(name);
    }
    Result<std::optional<std::string>>
    templateRepositoryTemplateStringForTemplateID(GRMustacheTemplateRepository&,
                                                  const std::string& templateID) override {
        const auto found = templates_.find(templateID);
        if (found == templates_.end()) return std::nullopt;
        return found->second;
    }

private:
    std::map<std::string, std::string, std::less<>> templates_;
};

}  // namespace

Result<std::optional<std::string>> GRMustacheFileForm::read(const std::filesystem::path& file) const {
    auto bytes = FileSystem::real().read(file);
    if (!bytes && bytes.error().code == ENOENT) return std::nullopt;
    if (!bytes) return failed(bytes);
    auto text = decoded(std::move(*bytes), encoding);
    if (!text)
        return failure(mustacheError(GRMustacheErrorCodeParseError,
                                     stringWithFormat("Template %@ is not in %@", {file.string(), encoding})));
    return text;
}

std::shared_ptr<GRMustacheTemplateRepositoryDataSource> mustacheFolderSource(const std::filesystem::path& folder,
                                                                             GRMustacheFileForm form) {
    return std::make_shared<FolderSource>(folder, std::move(form));
}

std::shared_ptr<GRMustacheTemplateRepositoryDataSource> mustacheBundleSource(std::shared_ptr<const Bundle> bundle,
                                                                             GRMustacheFileForm form) {
    return std::make_shared<BundleSource>(std::move(bundle), std::move(form));
}

std::shared_ptr<GRMustacheTemplateRepositoryDataSource>
mustacheDictionarySource(std::map<std::string, std::string, std::less<>> templates) {
    return std::make_shared<DictionarySource>(std::move(templates));
}

std::optional<std::filesystem::path> mustachePathOfFileURL(std::string_view url) {
    if (!startsWithIgnoringCase(url, "file://")) return {};
    url.remove_prefix(std::string_view("file://").size());
    if (startsWithIgnoringCase(url, "localhost/")) url.remove_prefix(std::string_view("localhost").size());
    if (!url.starts_with('/')) return {};
    std::string path;
    for (std::size_t at = 0; at < url.size(); ++at) {
        int code = 0;
        if (url[at] == '%' && at + 2 < url.size() &&
            std::from_chars(url.data() + at + 1, url.data() + at + 3, code, 16).ptr == url.data() + at + 3) {
            path += static_cast<char>(code);
            at += 2;
        } else {
            path += url[at];
        }
    }
    return path;
}

GRMustacheTemplateRepository::Ref
GRMustacheTemplateRepository::templateRepositoryWithDirectory(std::filesystem::path folder,
                                                              std::string templateExtension, std::string encoding) {
    return withSource(mustacheFolderSource(folder, {std::move(templateExtension), std::move(encoding)}));
}

GRMustacheTemplateRepository::Ref
GRMustacheTemplateRepository::templateRepositoryWithBaseURL(std::string_view url, std::string templateExtension,
                                                            std::string encoding) {
    const auto folder = mustachePathOfFileURL(url);
    if (!folder) return templateRepository();
    return templateRepositoryWithDirectory(*folder, std::move(templateExtension), std::move(encoding));
}

GRMustacheTemplateRepository::Ref
GRMustacheTemplateRepository::templateRepositoryWithBundle(std::shared_ptr<const Bundle> bundle,
                                                           std::string templateExtension, std::string encoding) {
    return withSource(mustacheBundleSource(std::move(bundle), {std::move(templateExtension), std::move(encoding)}));
}

GRMustacheTemplateRepository::Ref GRMustacheTemplateRepository::templateRepositoryWithDictionary(
    std::map<std::string, std::string, std::less<>> templates) {
    return withSource(mustacheDictionarySource(std::move(templates)));
}

}  // namespace qs
