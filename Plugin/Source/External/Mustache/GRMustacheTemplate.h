// A compiled template: made once, rendered as often as one likes, from several threads at once.
//
//     auto greeting = GRMustacheTemplate::templateFromString("Hello {{name}}!");
//     if (!greeting) return failed(greeting);
//     auto text = (*greeting)->renderObject(Dictionary{{"name", "Ada"}});
//
// Used as a value, a template renders itself with what the tag sees: a partial chosen by the data.
#pragma once

#include <atomic>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "GRMustacheContext.h"
#include "GRMustacheRendering.h"

namespace qs {

class Bundle;
class GRMustacheTemplateAST;
class GRMustacheTemplateRepository;

class GRMustacheTemplate final : public GRMustacheRendering {
public:
    using Ref = std::shared_ptr<GRMustacheTemplate>;

    // In the middle of a rendering the text gets its partials where the template being rendered gets them, and has its
    // content type. Otherwise partials are resources of the main bundle. nullopt is an error.
    static Result<Ref> templateFromString(std::optional<std::string_view> text);
    // The resource "name.mustache"; a null bundle stands for the main bundle.
    static Result<Ref> templateFromResource(std::string_view name, std::shared_ptr<const Bundle> bundle = nullptr);
    // Partials lie in the file's folder. The only URLs are those of files.
    static Result<Ref> templateFromContentsOfFile(const std::filesystem::path& file);
    static Result<Ref> templateFromContentsOfURL(std::string_view url);
    // In one step, for a text that is rendered once.
    static Result<std::string> renderObjectFromString(const GRMustacheValue& object, std::string_view text);
    static Result<std::string> renderObjectFromResource(const GRMustacheValue& object, std::string_view name,
                                                        std::shared_ptr<const Bundle> bundle = nullptr);

    GRMustacheTemplate(std::shared_ptr<GRMustacheTemplateRepository> repository,
                       std::shared_ptr<const GRMustacheTemplateAST> tree, GRMustacheContextRef baseContext);

    const std::shared_ptr<GRMustacheTemplateRepository>& templateRepository() const { return repository_; }
    const GRMustacheTemplateAST& templateAST() const { return *tree_; }
    const GRMustacheContextRef& baseContext() const { return baseContext_; }
    // Change the base context before other threads render. Null is an assertion failure.
    void setBaseContext(GRMustacheContextRef context);
    void extendBaseContextWithObject(GRMustacheValue object);
    void extendBaseContextWithProtectedObject(GRMustacheValue object);
    void extendBaseContextWithTagDelegate(std::shared_ptr<GRMustacheTagDelegate> delegate);

    // The whole text, or an error and no text.
    Result<std::string> renderObject(const GRMustacheValue& object) const;
    // Each object is pushed on those before it.
    Result<std::string> renderObjectsFromArray(const GRMustacheArray& objects) const;
    Result<std::string> renderContentWithContext(const GRMustacheContext& context, bool& HTMLSafe) const;

    Result<std::string> renderForMustacheTag(const GRMustacheTag& tag, const GRMustacheContext& context,
                                             bool& HTMLSafe) const override;
    Result<void> appendRendering(const GRMustacheTag& tag, bool asEnumerationItem, const GRMustacheContext& context,
                                 std::string& out, bool& HTMLSafe) const override;
    std::string description() const override { return "<GRMustacheTemplate>"; }

private:
    std::shared_ptr<GRMustacheTemplateRepository> repository_;
    std::shared_ptr<const GRMustacheTemplateAST> tree_;
    // How long the last text was: the next one gets that much room at once. Within bounds, so that one long text does
    // not make every later one large.
    static constexpr std::size_t kShortest = 1024, kLongest = 64 * 1024;
    mutable std::atomic<std::size_t> usualLength_ = kShortest;
    GRMustacheContextRef baseContext_;
};

}  // namespace qs
