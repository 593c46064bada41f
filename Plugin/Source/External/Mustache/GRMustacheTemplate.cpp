#include "GRMustacheTemplate.h"

#include <algorithm>
#include <utility>

#include "Foundation/Assertion.h"
#include "GRMustacheError.h"
#include "GRMustacheKeyIndex.h"
#include "GRMustacheRenderingEngine.h"
#include "GRMustacheTagDelegate.h"
#include "GRMustacheTemplateAST.h"
#include "GRMustacheTemplateRepository.h"
#include "GRMustacheTemplateSources.h"

namespace qs {

Result<GRMustacheTemplate::Ref> GRMustacheTemplate::templateFromString(std::optional<std::string_view> text) {
    auto repository = GRMustacheRenderingEngine::currentTemplateRepository();
    if (!repository) repository = GRMustacheTemplateRepository::templateRepositoryWithBundle(nullptr);
    const GRMustacheContentType* contentType = GRMustacheRenderingEngine::currentContentType();
    return contentType ? repository->templateFromString(text, *contentType) : repository->templateFromString(text);
}

Result<GRMustacheTemplate::Ref> GRMustacheTemplate::templateFromResource(std::string_view name,
                                                                         std::shared_ptr<const Bundle> bundle) {
    return GRMustacheTemplateRepository::templateRepositoryWithBundle(std::move(bundle))->templateNamed(name);
}

Result<GRMustacheTemplate::Ref> GRMustacheTemplate::templateFromContentsOfFile(const std::filesystem::path& file) {
    std::string extension = file.extension().string();
    if (!extension.empty()) extension.erase(0, 1);
    return GRMustacheTemplateRepository::templateRepositoryWithDirectory(file.parent_path(), std::move(extension))
        ->templateNamed(file.stem().string());
}

Result<GRMustacheTemplate::Ref> GRMustacheTemplate::templateFromContentsOfURL(std::string_view url) {
    const auto file = mustachePathOfFileURL(url);
    if (!file) return failure(mustacheTemplateNotFound(url));
    return templateFromContentsOfFile(*file);
}

Result<std::string> GRMustacheTemplate::renderObjectFromString(const GRMustacheValue& object, std::string_view text) {
    const auto made = templateFromString(text);
    if (!made) return failed(made);
    return (*made)->renderObject(object);
}

Result<std::string> GRMustacheTemplate::renderObjectFromResource(const GRMustacheValue& object, std::string_view name,
                                                                 std::shared_ptr<const Bundle> bundle) {
    const auto made = templateFromResource(name, std::move(bundle));
    if (!made) return failed(made);
    return (*made)->renderObject(object);
}

GRMustacheTemplate::GRMustacheTemplate(std::shared_ptr<GRMustacheTemplateRepository> repository,
                                       std::shared_ptr<const GRMustacheTemplateAST> tree,
                                       GRMustacheContextRef baseContext)
    : repository_(std::move(repository)), tree_(std::move(tree)), baseContext_(std::move(baseContext)) {}

void GRMustacheTemplate::setBaseContext(GRMustacheContextRef context) {
    assertThat(context != nullptr, "Invalid baseContext:nil");
    baseContext_ = std::move(context);
}

void GRMustacheTemplate::extendBaseContextWithObject(GRMustacheValue object) {
    baseContext_ = GRMustacheContext::contextByAddingObject(baseContext_, std::move(object));
}

void GRMustacheTemplate::extendBaseContextWithProtectedObject(GRMustacheValue object) {
    baseContext_ = GRMustacheContext::contextByAddingProtectedObject(baseContext_, std::move(object));
}

void GRMustacheTemplate::extendBaseContextWithTagDelegate(std::shared_ptr<GRMustacheTagDelegate> delegate) {
    baseContext_ = GRMustacheContext::contextByAddingTagDelegate(baseContext_, std::move(delegate));
}

Result<std::string> GRMustacheTemplate::renderObject(const GRMustacheValue& object) const {
    bool HTMLSafe = false;
    const Dictionary* entries = object.plistDictionary();
    const bool isWorthAnIndex = entries && entries->size() > GRMustacheKeyIndex::kFewEntries &&
                                entries->size() <= 2 * tree_->templateASTNodes().size();
    if (isWorthAnIndex) {
        const GRMustacheKeyIndex index(*entries);
        const GRMustacheContext context = baseContext_->contextByAddingDictionary(object.borrowed(), index);
        return renderContentWithContext(context, HTMLSafe);
    }
    const GRMustacheContext context = baseContext_->contextByAddingObject(object.borrowed());
    return renderContentWithContext(context, HTMLSafe);
}

Result<std::string> GRMustacheTemplate::renderObjectsFromArray(const GRMustacheArray& objects) const {
    bool HTMLSafe = false;
    GRMustacheContextRef context = baseContext_;
    for (const GRMustacheValue& object : objects)
        context = GRMustacheContext::contextByAddingObject(std::move(context), object);
    return renderContentWithContext(*context, HTMLSafe);
}

Result<std::string> GRMustacheTemplate::renderContentWithContext(const GRMustacheContext& context,
                                                                 bool& HTMLSafe) const {
    const GRMustacheRenderingEngine::RepositoryInUse inUse(repository_);
    auto text = GRMustacheRenderingEngine::renderTemplateAST(*tree_, tree_->contentType(), context, HTMLSafe,
                                                             usualLength_.load(std::memory_order_relaxed));
    if (text) usualLength_.store(std::clamp(text->size(), kShortest, kLongest), std::memory_order_relaxed);
    return text;
}

Result<std::string> GRMustacheTemplate::renderForMustacheTag(const GRMustacheTag&, const GRMustacheContext& context,
                                                             bool& HTMLSafe) const {
    return renderContentWithContext(context, HTMLSafe);
}

Result<void> GRMustacheTemplate::appendRendering(const GRMustacheTag&, bool, const GRMustacheContext& context,
                                                 std::string& out, bool& HTMLSafe) const {
    const GRMustacheRenderingEngine::RepositoryInUse inUse(repository_);
    HTMLSafe = tree_->contentType() == GRMustacheContentType::HTML;
    return GRMustacheRenderingEngine(tree_->contentType(), context, out).visitTemplateAST(*tree_);
}

}  // namespace qs
