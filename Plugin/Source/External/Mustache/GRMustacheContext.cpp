#include "GRMustacheContext.h"

#include <algorithm>

#include "GRMustacheArena.h"
#include "GRMustacheExpressionInvocation.h"
#include "GRMustacheExpressionParser.h"
#include "GRMustacheKeyAccess.h"
#include "GRMustacheKeyIndex.h"
#include "GRMustacheTagDelegate.h"
#include "GRMustacheTemplateAST.h"

namespace qs {

GRMustacheContext::GRMustacheContext(const GRMustacheContext& below, GRMustacheContextRef owner, Stack stack,
                                     GRMustacheValue object, const GRMustacheKeyIndex* index)
    : tops_(below.tops_),
      below_(&below),
      owner_(std::move(owner)),
      object_(std::move(object)),
      index_(index),
      unsafeKeyAccess_(below.unsafeKeyAccess_) {
    if (object_.isNil()) return;
    putOn(stack);
    if (stack == Stack::Objects && object_.object() && object_.object()->asTagDelegate()) putOn(Stack::TagDelegates);
}

GRMustacheContext::GRMustacheContext(const GRMustacheContext& below, const GRMustacheInheritedPartialNode& node)
    : tops_(below.tops_), below_(&below), partial_(&node), unsafeKeyAccess_(below.unsafeKeyAccess_) {
    putOn(Stack::InheritedPartials);
}

GRMustacheContextRef GRMustacheContext::added(GRMustacheContextRef base, Stack stack, GRMustacheValue object) {
    if (object.isNil()) return base;
    const GRMustacheContext& below = *base;
    return GRMustacheContextRef(new GRMustacheContext(below, std::move(base), stack, std::move(object)));
}

GRMustacheContextRef GRMustacheContext::context() { return GRMustacheContextRef(new GRMustacheContext(false)); }

GRMustacheContextRef GRMustacheContext::contextWithUnsafeKeyAccess() {
    return GRMustacheContextRef(new GRMustacheContext(true));
}

GRMustacheContextRef GRMustacheContext::contextWithObject(GRMustacheValue object) {
    return contextByAddingObject(context(), std::move(object));
}

GRMustacheContextRef GRMustacheContext::contextWithProtectedObject(GRMustacheValue object) {
    return contextByAddingProtectedObject(context(), std::move(object));
}

GRMustacheContextRef GRMustacheContext::contextWithTagDelegate(std::shared_ptr<GRMustacheTagDelegate> delegate) {
    return contextByAddingTagDelegate(context(), std::move(delegate));
}

GRMustacheContextRef GRMustacheContext::contextByAddingObject(GRMustacheContextRef base, GRMustacheValue object) {
    return added(std::move(base), Stack::Objects, std::move(object));
}

GRMustacheContextRef GRMustacheContext::contextByAddingProtectedObject(GRMustacheContextRef base,
                                                                       GRMustacheValue object) {
    return added(std::move(base), Stack::Protected, std::move(object));
}

GRMustacheContextRef GRMustacheContext::contextByAddingTagDelegate(GRMustacheContextRef base,
                                                                   std::shared_ptr<GRMustacheTagDelegate> delegate) {
    return added(std::move(base), Stack::TagDelegates, std::move(delegate));
}

GRMustacheContext GRMustacheContext::contextByAddingObject(GRMustacheValue object) const& {
    return {*this, nullptr, Stack::Objects, std::move(object)};
}

GRMustacheContext GRMustacheContext::contextByAddingDictionary(GRMustacheValue dictionary,
                                                               const GRMustacheKeyIndex& index) const& {
    return {*this, nullptr, Stack::Objects, std::move(dictionary), &index};
}

GRMustacheContext GRMustacheContext::contextByAddingProtectedObject(GRMustacheValue object) const& {
    return {*this, nullptr, Stack::Protected, std::move(object)};
}

GRMustacheContext GRMustacheContext::contextByAddingHiddenObject(GRMustacheValue object) const& {
    return {*this, nullptr, Stack::Hidden, std::move(object)};
}

GRMustacheContext GRMustacheContext::contextByAddingTagDelegate(GRMustacheTagDelegate& delegate) const& {
    return {*this, nullptr, Stack::TagDelegates, GRMustacheValue::borrowing(delegate)};
}

GRMustacheContext
GRMustacheContext::contextByAddingInheritedPartialNode(const GRMustacheInheritedPartialNode& node) const& {
    return {*this, node};
}

GRMustacheValue GRMustacheContext::topMustacheObject() const {
    const GRMustacheContext* node = top(Stack::Objects);
    return node ? node->object_ : GRMustacheValue();
}

bool GRMustacheContext::isHidden(const GRMustacheValue& object) const {
    for (const GRMustacheContext* node = top(Stack::Hidden); node; node = node->next(Stack::Hidden))
        if (node->object_.isSameObject(object)) return true;
    return false;
}

GRMustacheValue GRMustacheContext::valueForMustacheKey(const GRMustacheName& key, bool* isProtected) const {
    GRMustacheValue value;
    bool found = false;
    findValueForMustacheKey(key, value, isProtected ? *isProtected : found);
    return value;
}

inline bool GRMustacheContext::findHere(const GRMustacheName& key, GRMustacheValue& value) const {
    if (index_) return object_.takeEntry(index_->find(key), value);
    return GRMustacheKeyAccess::findValueForMustacheKey(key, object_, unsafeKeyAccess_, value);
}

void GRMustacheContext::findValueForMustacheKey(const GRMustacheName& key, GRMustacheValue& value,
                                                bool& isProtected) const {
    for (const GRMustacheContext* node = top(Stack::Protected); node; node = node->next(Stack::Protected)) {
        isProtected = node->findHere(key, value);
        if (isProtected) return;
    }
    isProtected = false;
    const bool hasHidden = top(Stack::Hidden) != nullptr;
    for (const GRMustacheContext* node = top(Stack::Objects); node; node = node->next(Stack::Objects)) {
        if (hasHidden && isHidden(node->object_)) continue;
        if (node->findHere(key, value)) return;
    }
}

Result<void> GRMustacheContext::hasValue(GRMustacheValue& value, std::string_view forMustacheExpression) const {
    GRMustacheArena arena;
    bool empty = false;
    const auto expression = GRMustacheExpressionParser(arena).parseExpression(forMustacheExpression, empty);
    if (!expression) return failed(expression);
    GRMustacheExpressionInvocation invocation(**expression, *this);
    if (auto invoked = invocation.invokeReturningError(); !invoked) return failed(invoked);
    value = invocation.value();
    return {};
}

std::vector<GRMustacheTagDelegate*> GRMustacheContext::tagDelegateStack() const {
    std::vector<GRMustacheTagDelegate*> stack(tagDelegateCount());
    copyTagDelegates(stack);
    return stack;
}

std::size_t GRMustacheContext::tagDelegateCount() const {
    std::size_t count = 0;
    for (const GRMustacheContext* node = top(Stack::TagDelegates); node; node = node->next(Stack::TagDelegates))
        ++count;
    return count;
}

void GRMustacheContext::copyTagDelegates(std::span<GRMustacheTagDelegate*> room) const {
    std::size_t left = room.size();
    for (const GRMustacheContext* node = top(Stack::TagDelegates); node && left > 0;
         node = node->next(Stack::TagDelegates))
        room[--left] = node->object_.object()->asTagDelegate();
}

const GRMustacheInheritableSectionNode&
GRMustacheContext::resolveTemplateASTNode(const GRMustacheInheritableSectionNode& node) const {
    const GRMustacheInheritableSectionNode* current = &node;
    std::vector<const GRMustacheTemplateAST*> used;  // a layout that inherits from itself has its say once
    for (const GRMustacheContext* each = top(Stack::InheritedPartials); each;
         each = each->next(Stack::InheritedPartials)) {
        const GRMustacheTemplateAST* parent = &each->partial_->parentPartialNode().templateAST();
        if (std::find(used.begin(), used.end(), parent) != used.end()) continue;
        const auto* section = each->partial_->overridingTemplateAST().overridingSection(node.name());
        if (!section || section == current) continue;
        current = section;
        used.push_back(parent);
    }
    return *current;
}

std::vector<const GRMustacheInheritedPartialNode*> GRMustacheContext::inheritedPartialNodeStack() const {
    std::vector<const GRMustacheInheritedPartialNode*> stack;
    for (const GRMustacheContext* node = top(Stack::InheritedPartials); node;
         node = node->next(Stack::InheritedPartials))
        stack.push_back(node->partial_);
    std::reverse(stack.begin(), stack.end());
    return stack;
}

}  // namespace qs
