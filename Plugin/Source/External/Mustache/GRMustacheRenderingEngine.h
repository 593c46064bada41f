// Walks over a tree and appends its text to a buffer.
#pragma once

#include <string>
#include <string_view>

#include "Foundation/Result.h"
#include "GRMustacheContentType.h"
#include "GRMustacheTemplateAST.h"

namespace qs {

class GRMustacheContext;
class GRMustacheTag;
class GRMustacheTemplateRepository;
class GRMustacheValue;

class GRMustacheRenderingEngine final : public GRMustacheTemplateASTVisitor {
public:
    // Context and buffer must outlive the engine. What the buffer held before stays.
    GRMustacheRenderingEngine(GRMustacheContentType contentType, const GRMustacheContext& context, std::string& buffer);

    // The tree's text, with room for that many bytes at first; `HTMLSafe` tells whether it is HTML.
    static Result<std::string> renderTemplateAST(const GRMustacheTemplateAST& ast, GRMustacheContentType contentType,
                                                 const GRMustacheContext& context, bool& HTMLSafe, std::size_t roomFor);

    // The rules for every value: its rendering at the end of `out`, not escaped.
    static Result<void> appendValue(const GRMustacheValue& value, const GRMustacheTag& tag, bool asEnumerationItem,
                                    const GRMustacheContext& context, std::string& out, bool& HTMLSafe);
    // The content of a section at the end of `out`; nothing for a variable tag.
    static Result<void> appendContent(const GRMustacheTag& tag, const GRMustacheContext& context, std::string& out,
                                      bool& HTMLSafe);

    Result<void> visitTemplateAST(const GRMustacheTemplateAST& ast) override;
    Result<void> visitTextNode(const GRMustacheTextNode& node) override;
    Result<void> visitVariableTag(const GRMustacheVariableTag& tag) override;
    Result<void> visitSectionTag(const GRMustacheSectionTag& tag) override;
    Result<void> visitPartialNode(const GRMustachePartialNode& node) override;
    Result<void> visitInheritedPartialNode(const GRMustacheInheritedPartialNode& node) override;
    Result<void> visitInheritableSectionNode(const GRMustacheInheritableSectionNode& node) override;

    // What this thread is rendering now; null and HTML's default when it renders nothing.
    static std::shared_ptr<GRMustacheTemplateRepository> currentTemplateRepository();
    static const GRMustacheContentType* currentContentType();

    // While it lives, the repository is the thread's current one.
    class RepositoryInUse {
    public:
        explicit RepositoryInUse(const std::shared_ptr<GRMustacheTemplateRepository>& repository);
        ~RepositoryInUse();
        RepositoryInUse(const RepositoryInUse&) = delete;
        RepositoryInUse& operator=(const RepositoryInUse&) = delete;
        const std::shared_ptr<GRMustacheTemplateRepository>& repository() const { return repository_; }

    private:
        const std::shared_ptr<GRMustacheTemplateRepository>& repository_;
        const RepositoryInUse* before_;
    };

private:
    class Visit;
    class Delegates;
    struct Thread;
    GRMustacheRenderingEngine(GRMustacheContentType contentType, const GRMustacheContext& context, std::string& buffer,
                              Thread& thread)
        : contentType_(contentType), context_(context), buffer_(buffer), thread_(thread) {}
    // Renders values at one place, in one context.
    class Appending;

    // These answer false when they fail, and the error waits with the thread: a Result for each of the calls that every
    // tag takes would cost more than the rest of what most tags need.
    bool walk(const GRMustacheTemplateAST& ast);
    bool walkNodes(const GRMustacheTemplateAST& ast);
    bool walkNode(const GRMustacheTemplateASTNode& node);
    bool walkTag(const GRMustacheTag& tag);
    bool walkTag(const GRMustacheTag& tag, const GRMustacheValue& value, bool isProtected);
    bool walkTag(const GRMustacheTag& tag, const GRMustacheValue& value, const GRMustacheContext& context);
    bool walkTagWithDelegates(const GRMustacheTag& tag, const GRMustacheValue& value, const GRMustacheContext& context);
    bool render(const GRMustacheTag& tag, const GRMustacheValue& value, const GRMustacheContext& context);
    bool renderByRules(const GRMustacheTag& tag, const GRMustacheValue& value, const GRMustacheContext& context);
    bool escapes(const GRMustacheTag& tag) const;

    GRMustacheContentType contentType_;
    const GRMustacheContext& context_;
    std::string& buffer_;
    Thread& thread_;
};

}  // namespace qs
