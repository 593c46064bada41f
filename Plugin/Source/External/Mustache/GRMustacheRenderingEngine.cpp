#include "GRMustacheRenderingEngine.h"

#include <algorithm>
#include <vector>

#include "Foundation/Format.h"
#include "GRMustacheContext.h"
#include "GRMustacheError.h"
#include "GRMustacheExpression.h"
#include "GRMustacheExpressionInvocation.h"
#include "GRMustacheLimits.h"
#include "GRMustacheRendering.h"
#include "GRMustacheTag.h"
#include "GRMustacheTagDelegate.h"
#include "GRMustacheTranslateCharacters.h"

namespace qs {

namespace {

constexpr std::size_t kBufferStart = 1024;

Error renderingError(std::string_view format, std::initializer_list<Value> arguments = {}) {
    return mustacheError(GRMustacheErrorCodeRenderingError, stringWithFormat(format, arguments));
}

}  // namespace

// What a thread is in the middle of. Its stacks are linked through the frames that push on them.
struct GRMustacheRenderingEngine::Thread {
    std::size_t depth = 0;
    std::uint64_t steps = 0;
    const GRMustacheContentType* contentType = nullptr;
    const RepositoryInUse* repository = nullptr;

    static Thread& current() {
        thread_local Thread thread;
        return thread;
    }
};

// One tree being walked: keeps count of the depth, and the content type that is current.
class GRMustacheRenderingEngine::Visit {
public:
    Visit(Thread& thread, const GRMustacheContentType& contentType) : thread_(thread), before_(thread.contentType) {
        if (thread.depth++ == 0) thread.steps = 0;
        thread.contentType = &contentType;
    }
    ~Visit() {
        --thread_.depth;
        thread_.contentType = before_;
    }
    Visit(const Visit&) = delete;
    Visit& operator=(const Visit&) = delete;

private:
    Thread& thread_;
    const GRMustacheContentType* before_;
};

GRMustacheRenderingEngine::RepositoryInUse::RepositoryInUse(
    const std::shared_ptr<GRMustacheTemplateRepository>& repository)
    : repository_(repository), before_(Thread::current().repository) {
    Thread::current().repository = this;
}

GRMustacheRenderingEngine::RepositoryInUse::~RepositoryInUse() { Thread::current().repository = before_; }

std::shared_ptr<GRMustacheTemplateRepository> GRMustacheRenderingEngine::currentTemplateRepository() {
    const RepositoryInUse* inUse = Thread::current().repository;
    return inUse ? inUse->repository() : nullptr;
}

const GRMustacheContentType* GRMustacheRenderingEngine::currentContentType() { return Thread::current().contentType; }

GRMustacheRenderingEngine::GRMustacheRenderingEngine(GRMustacheContentType contentType,
                                                     const GRMustacheContext& context, std::string& buffer)
    : contentType_(contentType), context_(context), buffer_(buffer), thread_(Thread::current()) {}

Result<std::string> GRMustacheRenderingEngine::renderTemplateAST(const GRMustacheTemplateAST& ast,
                                                                 GRMustacheContentType contentType,
                                                                 const GRMustacheContext& context, bool& HTMLSafe) {
    std::string buffer;
    buffer.reserve(kBufferStart);
    auto rendered = GRMustacheRenderingEngine(contentType, context, buffer).visitTemplateAST(ast);
    if (!rendered) return failed(rendered);
    HTMLSafe = contentType == GRMustacheContentType::HTML;
    return buffer;
}

Result<void> GRMustacheRenderingEngine::visitTemplateAST(const GRMustacheTemplateAST& ast) {
    const Visit visit(thread_, contentType_);
    if (thread_.depth > GRMustacheLimits::renderingDepth)
        return failure(renderingError("Sections and partials are nested too deeply: more than %lu inside one another",
                                      {static_cast<std::int64_t>(GRMustacheLimits::renderingDepth)}));
    if (ast.contentType() == contentType_) return visitNodes(ast);

    const std::size_t start = buffer_.size();
    auto rendered = GRMustacheRenderingEngine(ast.contentType(), context_, buffer_).visitTemplateAST(ast);
    if (rendered && contentType_ == GRMustacheContentType::HTML) GRMustacheTranslateHTMLFrom(buffer_, start);
    return rendered;
}

Result<void> GRMustacheRenderingEngine::visitNodes(const GRMustacheTemplateAST& ast) {
    thread_.steps += 1 + ast.templateASTNodes().size();
    if (thread_.steps > GRMustacheLimits::steps) return failure(renderingError("The rendering takes too many steps"));
    for (const GRMustacheTemplateASTNode* node : ast.templateASTNodes()) {
        if (node->kind() == GRMustacheTemplateASTNode::Kind::Text)
            buffer_ += static_cast<const GRMustacheTextNode*>(node)->text();
        else if (auto visited = node->acceptTemplateASTVisitor(*this); !visited)
            return visited;
        if (buffer_.size() > GRMustacheLimits::output) return failure(renderingError("The rendering is too long"));
    }
    return {};
}

Result<void> GRMustacheRenderingEngine::visitTextNode(const GRMustacheTextNode& node) {
    buffer_ += node.text();
    return {};
}

Result<void> GRMustacheRenderingEngine::visitVariableTag(const GRMustacheVariableTag& tag) { return visitTag(tag); }

Result<void> GRMustacheRenderingEngine::visitSectionTag(const GRMustacheSectionTag& tag) { return visitTag(tag); }

Result<void> GRMustacheRenderingEngine::visitPartialNode(const GRMustachePartialNode& node) {
    return visitTemplateAST(node.templateAST());
}

Result<void> GRMustacheRenderingEngine::visitInheritedPartialNode(const GRMustacheInheritedPartialNode& node) {
    const GRMustacheContext inner = context_.contextByAddingInheritedPartialNode(node);
    return GRMustacheRenderingEngine(contentType_, inner, buffer_).visitPartialNode(node.parentPartialNode());
}

Result<void> GRMustacheRenderingEngine::visitInheritableSectionNode(const GRMustacheInheritableSectionNode& node) {
    return visitTemplateAST(context_.resolveTemplateASTNode(node).innerTemplateAST());
}

Result<void> GRMustacheRenderingEngine::visitTag(const GRMustacheTag& tag) {
    const GRMustacheExpression& expression = tag.expression();
    if (expression.kind() == GRMustacheExpression::Kind::Identifier) {  // nearly every tag, and it never fails
        bool isProtected = false;
        const GRMustacheValue value = context_.valueForMustacheKey(expression.identifier(), &isProtected);
        return visitTag(tag, value, isProtected);
    }
    GRMustacheExpressionInvocation invocation(expression, context_);
    if (auto invoked = invocation.invokeReturningError(); !invoked)
        return failure(mustacheErrorAt(tag.token(), invoked.error()));
    return visitTag(tag, invocation.value(), invocation.valueIsProtected());
}

Result<void> GRMustacheRenderingEngine::visitTag(const GRMustacheTag& tag, const GRMustacheValue& value,
                                                 bool isProtected) {
    if (!isProtected) return visitTag(tag, value, context_);
    // What a protected value holds must not come out through the stack.
    const GRMustacheContext hiding = context_.contextByAddingHiddenObject(value.borrowed());
    return visitTag(tag, value, hiding);
}

Result<void> GRMustacheRenderingEngine::visitTag(const GRMustacheTag& tag, const GRMustacheValue& value,
                                                 const GRMustacheContext& context) {
    if (context.hasTagDelegates()) return visitTagWithDelegates(tag, value, context);
    return render(tag, value, context);
}

Result<void> GRMustacheRenderingEngine::visitTagWithDelegates(const GRMustacheTag& tag, const GRMustacheValue& value,
                                                              const GRMustacheContext& context) {
    const std::vector<GRMustacheTagDelegate*> delegates = context.tagDelegateStack();
    GRMustacheValue object = value;
    std::for_each(delegates.rbegin(), delegates.rend(),
                  [&](GRMustacheTagDelegate* each) { object = each->mustacheTagWillRenderObject(tag, object); });
    const std::size_t start = buffer_.size();
    auto rendered = render(tag, object, context);
    if (!rendered) {
        for (GRMustacheTagDelegate* each : delegates)
            each->mustacheTagDidFailRenderingObjectWithError(tag, object, rendered.error());
        return rendered;
    }
    const std::string_view rendering = std::string_view(buffer_).substr(start);
    for (GRMustacheTagDelegate* each : delegates)
        each->mustacheTagDidRenderObjectAs(tag, object, rendering);
    return {};
}

bool GRMustacheRenderingEngine::escapes(const GRMustacheTag& tag) const {
    return tag.escapesHTML() && contentType_ == GRMustacheContentType::HTML;
}

Result<void> GRMustacheRenderingEngine::render(const GRMustacheTag& tag, const GRMustacheValue& value,
                                               const GRMustacheContext& context) {
    const bool isSection = tag.type() == GRMustacheTagType::Section;
    if (isSection && GRMustacheRendering::boolValueOf(value) == tag.isInverted()) return {};
    if (!isSection && value.isString()) {
        if (escapes(tag))
            GRMustacheAppendTranslatedHTML(buffer_, value.string());
        else
            buffer_ += value.string();
        return {};
    }
    const std::size_t start = buffer_.size();
    bool HTMLSafe = false;
    auto rendered = GRMustacheRendering::append(value, tag, false, context, buffer_, HTMLSafe);
    if (!rendered) return failure(mustacheErrorAt(tag.token(), rendered.error()));
    if (escapes(tag) && !HTMLSafe) GRMustacheTranslateHTMLFrom(buffer_, start);
    return {};
}

}  // namespace qs
