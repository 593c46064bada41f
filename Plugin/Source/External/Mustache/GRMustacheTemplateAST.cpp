#include "GRMustacheTemplateAST.h"

#include <algorithm>
#include <set>
#include <variant>
#include <vector>

#include "GRMustacheTag.h"

namespace qs {

Result<void> GRMustacheTemplateASTNode::acceptTemplateASTVisitor(GRMustacheTemplateASTVisitor& visitor) const {
    switch (kind_) {
    case Kind::Text: return visitor.visitTextNode(static_cast<const GRMustacheTextNode&>(*this));
    case Kind::Variable: return visitor.visitVariableTag(static_cast<const GRMustacheVariableTag&>(*this));
    case Kind::Section: return visitor.visitSectionTag(static_cast<const GRMustacheSectionTag&>(*this));
    case Kind::Partial: return visitor.visitPartialNode(static_cast<const GRMustachePartialNode&>(*this));
    case Kind::InheritedPartial:
        return visitor.visitInheritedPartialNode(static_cast<const GRMustacheInheritedPartialNode&>(*this));
    case Kind::InheritableSection:
        return visitor.visitInheritableSectionNode(static_cast<const GRMustacheInheritableSectionNode&>(*this));
    }
    return {};
}

GRMustacheTemplateAST::GRMustacheTemplateAST(std::span<const GRMustacheTemplateASTNode* const> nodes,
                                             GRMustacheContentType contentType, GRMustacheArena& arena)
    : nodes_(nodes), contentType_(contentType), isPlaceholder_(false) {
    using Kind = GRMustacheTemplateASTNode::Kind;
    const auto countOf = [&](Kind kind) {
        return static_cast<std::size_t>(
            std::count_if(nodes.begin(), nodes.end(), [&](const auto* node) { return node->kind() == kind; }));
    };
    const std::size_t sectionCount = countOf(Kind::InheritableSection), partialCount = countOf(Kind::InheritedPartial);
    if (sectionCount + partialCount == 0) return;

    auto* sections = arena.array<Override>(sectionCount);
    auto* partials = arena.array<const GRMustacheInheritedPartialNode*>(partialCount);
    std::size_t section = 0, partial = 0;
    for (const GRMustacheTemplateASTNode* node : nodes) {
        if (node->kind() == Kind::InheritableSection)
            sections[section++] = {static_cast<const GRMustacheInheritableSectionNode*>(node), partial};
        else if (node->kind() == Kind::InheritedPartial)
            partials[partial++] = static_cast<const GRMustacheInheritedPartialNode*>(node);
    }
    // From the last to the first, so that of equal names the last one stays.
    std::reverse(sections, sections + sectionCount);
    const auto byName = [](const Override& a, const Override& b) { return a.section->name() < b.section->name(); };
    const auto sameName = [](const Override& a, const Override& b) { return a.section->name() == b.section->name(); };
    std::stable_sort(sections, sections + sectionCount, byName);
    sections_ = {sections, std::unique(sections, sections + sectionCount, sameName)};
    partials_ = {partials, partialCount};
}

const GRMustacheTemplateAST::Override* GRMustacheTemplateAST::ownOverride(std::string_view name) const {
    const auto found =
        std::lower_bound(sections_.begin(), sections_.end(), name,
                         [](const Override& each, std::string_view wanted) { return each.section->name() < wanted; });
    return found != sections_.end() && found->section->name() == name ? &*found : nullptr;
}

// Looks through trees that inherit from one another, each tree once: going round in a circle finds nothing new.
class GRMustacheTemplateAST::Search {
public:
    explicit Search(std::string_view name) : name_(name) {}

    const GRMustacheInheritableSectionNode* in(const GRMustacheTemplateAST& tree) {
        push(tree);
        while (!waiting_.empty()) {
            const auto next = waiting_.back();
            waiting_.pop_back();
            if (const auto* found = std::get_if<const GRMustacheInheritableSectionNode*>(&next)) return *found;
            push(*std::get<const GRMustacheTemplateAST*>(next));
        }
        return nullptr;
    }

private:
    // What counts most is put on top: the nodes from the last to the first, of a partial first what overrides it.
    void push(const GRMustacheTemplateAST& tree) {
        if (!seen_.insert(&tree).second) return;
        const Override* own = tree.ownOverride(name_);
        if (own) waiting_.emplace_back(own->section);
        for (const auto* partial : tree.partials_.subspan(own ? own->partialsBefore : 0)) {
            waiting_.emplace_back(&partial->parentPartialNode().templateAST());
            waiting_.emplace_back(&partial->overridingTemplateAST());
        }
    }

    std::string_view name_;
    std::vector<std::variant<const GRMustacheTemplateAST*, const GRMustacheInheritableSectionNode*>> waiting_;
    std::set<const GRMustacheTemplateAST*> seen_;
};

const GRMustacheInheritableSectionNode* GRMustacheTemplateAST::overridingSection(std::string_view name) const {
    if (!partials_.empty()) return Search(name).in(*this);
    const Override* own = ownOverride(name);
    return own ? own->section : nullptr;
}

const GRMustacheInheritableSectionNode&
GRMustacheTemplateASTNode::resolveTemplateASTNode(const GRMustacheInheritableSectionNode& node) const {
    if (kind_ == Kind::InheritableSection) {
        const auto& section = static_cast<const GRMustacheInheritableSectionNode&>(*this);
        return section.name() == node.name() ? section : node;
    }
    if (kind_ != Kind::InheritedPartial) return node;
    const auto& partial = static_cast<const GRMustacheInheritedPartialNode&>(*this);
    if (const auto* section = partial.overridingTemplateAST().overridingSection(node.name())) return *section;
    const auto* section = partial.parentPartialNode().templateAST().overridingSection(node.name());
    return section ? *section : node;
}

}  // namespace qs
