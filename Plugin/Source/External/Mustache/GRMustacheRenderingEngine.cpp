#include "GRMustacheRenderingEngine.h"

#include <algorithm>
#include <array>
#include <optional>
#include <span>
#include <utility>
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
    std::optional<Error> error;  // on its way out

    bool fail(Error occurred) {
        error = std::move(occurred);
        return false;
    }
    bool keep(const Result<void>& result) { return result.has_value() || fail(result.error()); }
    Error takeError() { return *std::exchange(error, std::nullopt); }
    Result<void> outcome(bool isDone) {
        if (!isDone) return failure(takeError());
        return {};
    }

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

// The rules for every value, at one place: what is appended is not escaped.
class GRMustacheRenderingEngine::Appending {
public:
    Appending(const GRMustacheTag& tag, const GRMustacheContext& context, std::string& out, Thread& thread)
        : tag_(tag), context_(context), out_(out), thread_(thread) {}

    bool append(const GRMustacheValue& value, bool asEnumerationItem, bool& HTMLSafe) {
        HTMLSafe = false;
        const GRMustacheRendering* own = value.object() ? value.object()->asRendering() : nullptr;
        if (own) return thread_.keep(own->appendRendering(tag_, asEnumerationItem, context_, out_, HTMLSafe));
        const bool isCollection = value.isCollection();
        if (isCollection && !asEnumerationItem) return appendItems(value, HTMLSafe);
        if (tag_.type() == GRMustacheTagType::Variable && !isCollection) {
            value.appendDescription(out_);
            return true;
        }
        if (!isPushed(value, asEnumerationItem)) return appendContent(context_, HTMLSafe);
        const GRMustacheContext inner = context_.contextByAddingObject(value.borrowed());
        return appendContent(inner, HTMLSafe);
    }

    bool appendContent(const GRMustacheContext& context, bool& HTMLSafe) {
        HTMLSafe = tag_.contentType() == GRMustacheContentType::HTML;
        if (tag_.type() != GRMustacheTagType::Section) return true;
        const GRMustacheTemplateAST& inner = static_cast<const GRMustacheSectionTag&>(tag_).innerTemplateAST();
        return GRMustacheRenderingEngine(inner.contentType(), context, out_, thread_).walk(inner);
    }

private:
    // Whether a section puts the value on the context stack before it shows its content.
    bool isPushed(const GRMustacheValue& value, bool asEnumerationItem) const {
        if (value.isNil()) return false;
        if (asEnumerationItem) return true;
        if (value.isNothing() || value.isNumber()) return false;
        return !(value.isString() && tag_.isInverted());
    }

    bool appendItems(const GRMustacheValue& list, bool& HTMLSafe) {
        const std::size_t count = list.count();
        if (count == 0 && tag_.isInverted()) return appendContent(context_, HTMLSafe);
        for (std::size_t i = 0; i < count; ++i) {
            bool isItemSafe = false;
            if (!append(list.itemAt(i), true, isItemSafe)) return false;
            if (i == 0) HTMLSafe = isItemSafe;
            if (isItemSafe == HTMLSafe) continue;
            Error error = renderingError("Inconsistant HTML escaping of items in enumeration");
            error.userInfo.emplace("GRMustacheException", GRMustacheRenderingException);
            return thread_.fail(std::move(error));
        }
        return true;
    }

    const GRMustacheTag& tag_;
    const GRMustacheContext& context_;
    std::string& out_;
    Thread& thread_;
};

Result<void> GRMustacheRenderingEngine::appendValue(const GRMustacheValue& value, const GRMustacheTag& tag,
                                                    bool asEnumerationItem, const GRMustacheContext& context,
                                                    std::string& out, bool& HTMLSafe) {
    Thread& thread = Thread::current();
    return thread.outcome(Appending(tag, context, out, thread).append(value, asEnumerationItem, HTMLSafe));
}

Result<void> GRMustacheRenderingEngine::appendContent(const GRMustacheTag& tag, const GRMustacheContext& context,
                                                      std::string& out, bool& HTMLSafe) {
    Thread& thread = Thread::current();
    return thread.outcome(Appending(tag, context, out, thread).appendContent(context, HTMLSafe));
}

// A context's tag delegates, bottom first, without a piece of memory for the usual few.
class GRMustacheRenderingEngine::Delegates {
public:
    explicit Delegates(const GRMustacheContext& context) {
        const std::size_t count = context.tagDelegateCount();
        if (count > few_.size()) many_.resize(count);
        all_ = count > few_.size() ? std::span(many_) : std::span(few_).first(count);
        context.copyTagDelegates(all_);
    }
    Delegates(const Delegates&) = delete;
    Delegates& operator=(const Delegates&) = delete;
    auto begin() const { return all_.begin(); }
    auto end() const { return all_.end(); }
    auto rbegin() const { return all_.rbegin(); }
    auto rend() const { return all_.rend(); }

private:
    std::array<GRMustacheTagDelegate*, 8> few_;
    std::vector<GRMustacheTagDelegate*> many_;
    std::span<GRMustacheTagDelegate*> all_;
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
                                                                 const GRMustacheContext& context, bool& HTMLSafe,
                                                                 std::size_t roomFor) {
    std::string buffer;
    buffer.reserve(roomFor);
    GRMustacheRenderingEngine engine(contentType, context, buffer);
    if (!engine.walk(ast)) return failure(engine.thread_.takeError());
    HTMLSafe = contentType == GRMustacheContentType::HTML;
    return buffer;
}

Result<void> GRMustacheRenderingEngine::visitTemplateAST(const GRMustacheTemplateAST& ast) {
    return thread_.outcome(walk(ast));
}

bool GRMustacheRenderingEngine::walk(const GRMustacheTemplateAST& ast) {
    const Visit visit(thread_, contentType_);
    if (thread_.depth > GRMustacheLimits::renderingDepth)
        return thread_.fail(
            renderingError("Sections and partials are nested too deeply: more than %lu inside one another",
                           {static_cast<std::int64_t>(GRMustacheLimits::renderingDepth)}));
    if (ast.contentType() == contentType_) return walkNodes(ast);

    const std::size_t start = buffer_.size();
    if (!GRMustacheRenderingEngine(ast.contentType(), context_, buffer_, thread_).walk(ast)) return false;
    if (contentType_ == GRMustacheContentType::HTML) GRMustacheTranslateHTMLFrom(buffer_, start);
    return true;
}

// Nearly every tag goes through all of these, the last one first; being calls, they would take a fifth of the time.
[[gnu::always_inline]] inline bool GRMustacheRenderingEngine::escapes(const GRMustacheTag& tag) const {
    return tag.escapesHTML() && contentType_ == GRMustacheContentType::HTML;
}

[[gnu::always_inline]] inline bool GRMustacheRenderingEngine::render(const GRMustacheTag& tag,
                                                                     const GRMustacheValue& value,
                                                                     const GRMustacheContext& context) {
    if (tag.type() != GRMustacheTagType::Variable || !value.isString()) return renderByRules(tag, value, context);
    if (escapes(tag))
        GRMustacheAppendTranslatedHTML(buffer_, value.string());
    else
        buffer_ += value.string();
    return true;
}

[[gnu::always_inline]] inline bool GRMustacheRenderingEngine::walkTag(const GRMustacheTag& tag,
                                                                      const GRMustacheValue& value,
                                                                      const GRMustacheContext& context) {
    return context.hasTagDelegates() ? walkTagWithDelegates(tag, value, context) : render(tag, value, context);
}

[[gnu::always_inline]] inline bool GRMustacheRenderingEngine::walkTag(const GRMustacheTag& tag,
                                                                      const GRMustacheValue& value, bool isProtected) {
    if (!isProtected) return walkTag(tag, value, context_);
    // What a protected value holds must not come out through the stack.
    const GRMustacheContext hiding = context_.contextByAddingHiddenObject(value.borrowed());
    return walkTag(tag, value, hiding);
}

[[gnu::always_inline]] inline bool GRMustacheRenderingEngine::walkTag(const GRMustacheTag& tag) {
    const GRMustacheExpression& expression = tag.expression();
    if (expression.kind() == GRMustacheExpression::Kind::Identifier) {  // nearly every tag, and it never fails
        GRMustacheValue value;
        bool isProtected = false;
        context_.findValueForMustacheKey(expression.name(), value, isProtected);
        return walkTag(tag, value, isProtected);
    }
    GRMustacheExpressionInvocation invocation(expression, context_);
    if (auto invoked = invocation.invokeReturningError(); !invoked)
        return thread_.fail(mustacheErrorAt(tag.token(), invoked.error()));
    return walkTag(tag, invocation.value(), invocation.valueIsProtected());
}

[[gnu::always_inline]] inline bool GRMustacheRenderingEngine::walkNode(const GRMustacheTemplateASTNode& node) {
    switch (node.kind()) {
    case GRMustacheTemplateASTNode::Kind::Text:
        buffer_ += static_cast<const GRMustacheTextNode&>(node).text();
        return true;
    case GRMustacheTemplateASTNode::Kind::Variable:
    case GRMustacheTemplateASTNode::Kind::Section: return walkTag(static_cast<const GRMustacheTag&>(node));
    default: return thread_.keep(node.acceptTemplateASTVisitor(*this));
    }
}

bool GRMustacheRenderingEngine::walkNodes(const GRMustacheTemplateAST& ast) {
    thread_.steps += 1 + ast.templateASTNodes().size();
    if (thread_.steps > GRMustacheLimits::steps)
        return thread_.fail(renderingError("The rendering takes too many steps"));
    for (const GRMustacheTemplateASTNode* node : ast.templateASTNodes()) {
        if (!walkNode(*node)) return false;
        if (buffer_.size() > GRMustacheLimits::output) return thread_.fail(renderingError("The rendering is too long"));
    }
    return true;
}

Result<void> GRMustacheRenderingEngine::visitTextNode(const GRMustacheTextNode& node) {
    return thread_.outcome(walkNode(node));
}

Result<void> GRMustacheRenderingEngine::visitVariableTag(const GRMustacheVariableTag& tag) {
    return thread_.outcome(walkTag(tag));
}

Result<void> GRMustacheRenderingEngine::visitSectionTag(const GRMustacheSectionTag& tag) {
    return thread_.outcome(walkTag(tag));
}

Result<void> GRMustacheRenderingEngine::visitPartialNode(const GRMustachePartialNode& node) {
    return visitTemplateAST(node.templateAST());
}

Result<void> GRMustacheRenderingEngine::visitInheritedPartialNode(const GRMustacheInheritedPartialNode& node) {
    const GRMustacheContext inner = context_.contextByAddingInheritedPartialNode(node);
    return GRMustacheRenderingEngine(contentType_, inner, buffer_, thread_).visitPartialNode(node.parentPartialNode());
}

Result<void> GRMustacheRenderingEngine::visitInheritableSectionNode(const GRMustacheInheritableSectionNode& node) {
    return visitTemplateAST(context_.resolveTemplateASTNode(node).innerTemplateAST());
}

bool GRMustacheRenderingEngine::walkTagWithDelegates(const GRMustacheTag& tag, const GRMustacheValue& value,
                                                     const GRMustacheContext& context) {
    const Delegates delegates(context);
    GRMustacheValue object = value;
    std::for_each(delegates.rbegin(), delegates.rend(),
                  [&](GRMustacheTagDelegate* each) { object = each->mustacheTagWillRenderObject(tag, object); });
    const std::size_t start = buffer_.size();
    if (!render(tag, object, context)) {
        Error error = thread_.takeError();  // a delegate may render something, too
        for (GRMustacheTagDelegate* each : delegates)
            each->mustacheTagDidFailRenderingObjectWithError(tag, object, error);
        return thread_.fail(std::move(error));
    }
    const std::string_view rendering = std::string_view(buffer_).substr(start);
    for (GRMustacheTagDelegate* each : delegates)
        each->mustacheTagDidRenderObjectAs(tag, object, rendering);
    return true;
}

bool GRMustacheRenderingEngine::renderByRules(const GRMustacheTag& tag, const GRMustacheValue& value,
                                              const GRMustacheContext& context) {
    const bool isSection = tag.type() == GRMustacheTagType::Section;
    if (isSection && GRMustacheRendering::boolValueOf(value) == tag.isInverted()) return true;
    const std::size_t start = buffer_.size();
    bool HTMLSafe = false;
    if (!Appending(tag, context, buffer_, thread_).append(value, false, HTMLSafe))
        return thread_.fail(mustacheErrorAt(tag.token(), thread_.takeError()));
    if (escapes(tag) && !HTMLSafe) GRMustacheTranslateHTMLFrom(buffer_, start);
    return true;
}

}  // namespace qs
