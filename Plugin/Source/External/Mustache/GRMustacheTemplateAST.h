// A compiled template: nodes that never change once the compiler is done, and can be rendered many times, by several
// threads at once. Nodes live in the memory of their document and refer to its source.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "Foundation/Result.h"
#include "GRMustacheArena.h"
#include "GRMustacheContentType.h"

namespace qs {

class GRMustacheInheritableSectionNode;
class GRMustacheInheritedPartialNode;
class GRMustachePartialNode;
class GRMustacheSectionTag;
class GRMustacheTemplateAST;
class GRMustacheTextNode;
class GRMustacheVariableTag;

class GRMustacheTemplateASTVisitor {
public:
    virtual Result<void> visitTemplateAST(const GRMustacheTemplateAST&) = 0;
    virtual Result<void> visitTextNode(const GRMustacheTextNode&) = 0;
    virtual Result<void> visitVariableTag(const GRMustacheVariableTag&) = 0;
    virtual Result<void> visitSectionTag(const GRMustacheSectionTag&) = 0;
    virtual Result<void> visitPartialNode(const GRMustachePartialNode&) = 0;
    virtual Result<void> visitInheritedPartialNode(const GRMustacheInheritedPartialNode&) = 0;
    virtual Result<void> visitInheritableSectionNode(const GRMustacheInheritableSectionNode&) = 0;

protected:
    ~GRMustacheTemplateASTVisitor() = default;
};

class GRMustacheTemplateASTNode {
public:
    enum class Kind : std::uint8_t { Text, Variable, Section, Partial, InheritedPartial, InheritableSection };
    Kind kind() const { return kind_; }

    Result<void> acceptTemplateASTVisitor(GRMustacheTemplateASTVisitor& visitor) const;
    // What is rendered in place of the section `node` where this node stands among the overriding ones: an inheritable
    // section of the same name takes its place, an inherited partial has the last one of its own or its parent's.
    const GRMustacheInheritableSectionNode& resolveTemplateASTNode(const GRMustacheInheritableSectionNode& node) const;

protected:
    explicit GRMustacheTemplateASTNode(Kind kind) : kind_(kind) {}

private:
    Kind kind_;
};

// A whole template, or the content of a section.
class GRMustacheTemplateAST {
public:
    GRMustacheTemplateAST() = default;
    GRMustacheTemplateAST(std::span<const GRMustacheTemplateASTNode* const> nodes, GRMustacheContentType contentType,
                          GRMustacheArena& arena);

    std::span<const GRMustacheTemplateASTNode* const> templateASTNodes() const { return nodes_; }
    GRMustacheContentType contentType() const { return contentType_; }
    // Being compiled, or never: a partial that reaches itself has it before it has its nodes.
    bool isPlaceholder() const { return isPlaceholder_; }

    // The inheritable section that stands for this name when these nodes override those of a layout; null for none. The
    // last one counts, those of inherited partials among the nodes included.
    const GRMustacheInheritableSectionNode* overridingSection(std::string_view name) const;

private:
    struct Override {
        const GRMustacheInheritableSectionNode* section;
        std::size_t partialsBefore;  // how many inherited partials stand before it
    };
    const Override* ownOverride(std::string_view name) const;
    class Search;

    std::span<const GRMustacheTemplateASTNode* const> nodes_;
    // What overrides, found once: the last section of each name, by name, and the inherited partials in their order.
    std::span<const Override> sections_;
    std::span<const GRMustacheInheritedPartialNode* const> partials_;
    GRMustacheContentType contentType_ = GRMustacheContentType::HTML;
    bool isPlaceholder_ = true;
};

class GRMustacheTextNode final : public GRMustacheTemplateASTNode {
public:
    explicit GRMustacheTextNode(std::string_view text) : GRMustacheTemplateASTNode(Kind::Text), text_(text) {}
    std::string_view text() const { return text_; }

private:
    std::string_view text_;
};

// {{>name}}
class GRMustachePartialNode final : public GRMustacheTemplateASTNode {
public:
    GRMustachePartialNode(const GRMustacheTemplateAST& templateAST, std::string_view name)
        : GRMustacheTemplateASTNode(Kind::Partial), templateAST_(&templateAST), name_(name) {}
    const GRMustacheTemplateAST& templateAST() const { return *templateAST_; }
    std::string_view name() const { return name_; }

private:
    const GRMustacheTemplateAST* templateAST_;
    std::string_view name_;
};

// {{<name}}...{{/name}}
class GRMustacheInheritedPartialNode final : public GRMustacheTemplateASTNode {
public:
    GRMustacheInheritedPartialNode(const GRMustachePartialNode& parent, const GRMustacheTemplateAST& overriding)
        : GRMustacheTemplateASTNode(Kind::InheritedPartial), parent_(&parent), overriding_(&overriding) {}
    const GRMustachePartialNode& parentPartialNode() const { return *parent_; }
    const GRMustacheTemplateAST& overridingTemplateAST() const { return *overriding_; }

private:
    const GRMustachePartialNode* parent_;
    const GRMustacheTemplateAST* overriding_;
};

// {{$name}}...{{/name}}
class GRMustacheInheritableSectionNode final : public GRMustacheTemplateASTNode {
public:
    GRMustacheInheritableSectionNode(std::string_view name, const GRMustacheTemplateAST& inner)
        : GRMustacheTemplateASTNode(Kind::InheritableSection), name_(name), inner_(&inner) {}
    std::string_view name() const { return name_; }
    const GRMustacheTemplateAST& innerTemplateAST() const { return *inner_; }

private:
    std::string_view name_;
    const GRMustacheTemplateAST* inner_;
};

// One compiled source with everything that its nodes refer to. Its address stays the same.
struct GRMustacheTemplateDocument {
    GRMustacheTemplateDocument(std::string text, std::optional<std::string> id)
        : source(std::move(text)), templateID(std::move(id)), arena(2 * source.size() + 512) {}
    const std::string* id() const { return templateID ? &*templateID : nullptr; }

    const std::string source;
    const std::optional<std::string> templateID;
    GRMustacheArena arena;
    GRMustacheTemplateAST ast;
};

}  // namespace qs
