// Where templates come from and where compiled ones are kept: a folder, a bundle, a dictionary, or a data source of
// one's own. Each template is compiled once. Safe from every thread.
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "Foundation/Result.h"
#include "GRMustacheConfiguration.h"

namespace qs {

class Bundle;
class GRMustacheTemplate;
class GRMustacheTemplateAST;
class GRMustacheTemplateRepository;

// Called under the repository's lock.
class GRMustacheTemplateRepositoryDataSource {
public:
    virtual ~GRMustacheTemplateRepositoryDataSource() = default;
    // What identifies the template that `name` means in the template `baseTemplateID` (null in one without an id);
    // nothing when there is none.
    virtual std::optional<std::string> templateRepositoryTemplateIDForName(GRMustacheTemplateRepository& repository,
                                                                           std::string_view name,
                                                                           const std::string* baseTemplateID) = 0;
    // The source. Nothing, too, is a failure: that there is no such template.
    virtual Result<std::optional<std::string>>
    templateRepositoryTemplateStringForTemplateID(GRMustacheTemplateRepository& repository,
                                                  const std::string& templateID) = 0;
};

class GRMustacheTemplateRepository : public std::enable_shared_from_this<GRMustacheTemplateRepository> {
public:
    using Ref = std::shared_ptr<GRMustacheTemplateRepository>;
    static constexpr std::string_view kExtension = "mustache";
    static constexpr std::string_view kEncoding = "UTF-8";

    // A folder: names are paths of files without the extension, from the folder of the template that includes them, or,
    // with "/" in front, from the repository's folder. What lies outside of that is not found. An empty extension is
    // none; an encoding is a charset's name.
    static Ref templateRepositoryWithDirectory(std::filesystem::path folder,
                                               std::string templateExtension = std::string(kExtension),
                                               std::string encoding = std::string(kEncoding));
    // A folder's URL, "file:///...". Others have no templates.
    static Ref templateRepositoryWithBaseURL(std::string_view url,
                                             std::string templateExtension = std::string(kExtension),
                                             std::string encoding = std::string(kEncoding));
    // Resources of a bundle, by their names; null stands for the main bundle.
    static Ref templateRepositoryWithBundle(std::shared_ptr<const Bundle> bundle,
                                            std::string templateExtension = std::string(kExtension),
                                            std::string encoding = std::string(kEncoding));
    // Templates by name.
    static Ref templateRepositoryWithDictionary(std::map<std::string, std::string, std::less<>> templates);
    // Without templates, until a data source is set.
    static Ref templateRepository();

    ~GRMustacheTemplateRepository();
    GRMustacheTemplateRepository(const GRMustacheTemplateRepository&) = delete;
    GRMustacheTemplateRepository& operator=(const GRMustacheTemplateRepository&) = delete;

    std::shared_ptr<GRMustacheTemplateRepositoryDataSource> dataSource() const;
    void setDataSource(std::shared_ptr<GRMustacheTemplateRepositoryDataSource> source);

    // At first a copy of the default configuration. Locked by the first template that is compiled; a change after that
    // is an assertion failure.
    GRMustacheConfiguration& configuration() { return configuration_; }
    void setConfiguration(const GRMustacheConfiguration& configuration);

    Result<std::shared_ptr<GRMustacheTemplate>> templateNamed(std::string_view name);
    // A template without an id, whose partials come from here. nullopt is an error.
    Result<std::shared_ptr<GRMustacheTemplate>> templateFromString(std::optional<std::string_view> text);
    Result<std::shared_ptr<GRMustacheTemplate>> templateFromString(std::optional<std::string_view> text,
                                                                   GRMustacheContentType contentType);
    // The tree lives as long as the answer.
    Result<std::shared_ptr<const GRMustacheTemplateAST>> templateASTNamed(std::string_view name,
                                                                          const std::string* relativeToTemplateID);
    // From now on templates are read anew. Those that were handed out stay as they are.
    void reloadTemplates();

private:
    static Ref withSource(std::shared_ptr<GRMustacheTemplateRepositoryDataSource> source);
    struct Store;
    class Compilation;
    explicit GRMustacheTemplateRepository(std::shared_ptr<GRMustacheTemplateRepositoryDataSource> source);
    std::shared_ptr<GRMustacheTemplate> made(std::shared_ptr<const GRMustacheTemplateAST> tree);

    mutable std::recursive_mutex lock_;  // a data source may ask its repository for other templates
    std::shared_ptr<GRMustacheTemplateRepositoryDataSource> dataSource_;
    GRMustacheConfiguration configuration_;
    std::shared_ptr<Store> store_;
    bool compiling_ = false;
};

}  // namespace qs
