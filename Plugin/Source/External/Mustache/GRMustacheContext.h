// What a tag sees: an immutable node that stands on another one and adds one thing to one of five stacks (objects,
// protected objects, hidden objects, tag delegates, inherited partials). A push makes a new node and never changes a
// context in use.
//
// Nodes made by the static operations own what they stand on. The others, which rendering makes by the thousand, live
// in a local variable and stand on a node that must outlive them.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "Foundation/Result.h"
#include "GRMustacheValue.h"

namespace qs {

class GRMustacheContext;
class GRMustacheInheritableSectionNode;
class GRMustacheInheritedPartialNode;
class GRMustacheKeyIndex;
class GRMustacheTagDelegate;
using GRMustacheContextRef = std::shared_ptr<const GRMustacheContext>;

class GRMustacheContext {
public:
    static GRMustacheContextRef context();
    static GRMustacheContextRef contextWithUnsafeKeyAccess();
    static GRMustacheContextRef contextWithObject(GRMustacheValue object);
    static GRMustacheContextRef contextWithProtectedObject(GRMustacheValue object);
    static GRMustacheContextRef contextWithTagDelegate(std::shared_ptr<GRMustacheTagDelegate> delegate);

    static GRMustacheContextRef contextByAddingObject(GRMustacheContextRef base, GRMustacheValue object);
    static GRMustacheContextRef contextByAddingProtectedObject(GRMustacheContextRef base, GRMustacheValue object);
    static GRMustacheContextRef contextByAddingTagDelegate(GRMustacheContextRef base,
                                                           std::shared_ptr<GRMustacheTagDelegate> delegate);

    // Adding Nil gives a context that sees the same. An object that is a tag delegate goes on that stack, too.
    GRMustacheContext contextByAddingObject(GRMustacheValue object) const&;
    // With an index of the dictionary's keys, which must outlive the context.
    GRMustacheContext contextByAddingDictionary(GRMustacheValue dictionary, const GRMustacheKeyIndex& index) const&;
    GRMustacheContext contextByAddingProtectedObject(GRMustacheValue object) const&;
    GRMustacheContext contextByAddingHiddenObject(GRMustacheValue object) const&;
    GRMustacheContext contextByAddingTagDelegate(GRMustacheTagDelegate& delegate) const&;
    GRMustacheContext contextByAddingInheritedPartialNode(const GRMustacheInheritedPartialNode& node) const&;
    // A node on a temporary one would stand on nothing.
    void contextByAddingObject(GRMustacheValue) && = delete;
    void contextByAddingProtectedObject(GRMustacheValue) && = delete;
    void contextByAddingHiddenObject(GRMustacheValue) && = delete;
    void contextByAddingTagDelegate(GRMustacheTagDelegate&) && = delete;
    void contextByAddingInheritedPartialNode(const GRMustacheInheritedPartialNode&) && = delete;

    GRMustacheContext(const GRMustacheContext&) = delete;
    GRMustacheContext& operator=(const GRMustacheContext&) = delete;

    // Nil when nothing was pushed.
    GRMustacheValue topMustacheObject() const;
    // Protected objects come before all others. Nil when nobody has the key.
    GRMustacheValue valueForMustacheKey(const GRMustacheName& key, bool* isProtected = nullptr) const;
    // The same into `value`, which must be Nil.
    void findValueForMustacheKey(const GRMustacheName& key, GRMustacheValue& value, bool& isProtected) const;
    // The value of an expression such as "user.name" or "uppercase(name)"; fails when it can't be read or evaluated.
    // The value may be borrowed from the context.
    Result<void> hasValue(GRMustacheValue& value, std::string_view forMustacheExpression) const;

    bool unsafeKeyAccess() const { return unsafeKeyAccess_; }
    bool hasTagDelegates() const { return top(Stack::TagDelegates) != nullptr; }
    std::size_t tagDelegateCount() const;
    // Into room for just as many, bottom first.
    void copyTagDelegates(std::span<GRMustacheTagDelegate*> room) const;
    std::vector<GRMustacheTagDelegate*> tagDelegateStack() const;                          // bottom first
    std::vector<const GRMustacheInheritedPartialNode*> inheritedPartialNodeStack() const;  // bottom first
    // The section that is rendered in place of this one: the oldest inherited partial has the last word.
    const GRMustacheInheritableSectionNode& resolveTemplateASTNode(const GRMustacheInheritableSectionNode& node) const;

private:
    enum class Stack : std::uint8_t { Objects, Protected, Hidden, TagDelegates, InheritedPartials };
    static constexpr std::size_t kStacks = 5;

    explicit GRMustacheContext(bool unsafeKeyAccess) : unsafeKeyAccess_(unsafeKeyAccess) {}
    GRMustacheContext(const GRMustacheContext& below, GRMustacheContextRef owner, Stack stack, GRMustacheValue object,
                      const GRMustacheKeyIndex* index = nullptr);
    GRMustacheContext(const GRMustacheContext& below, const GRMustacheInheritedPartialNode& node);
    static GRMustacheContextRef added(GRMustacheContextRef base, Stack stack, GRMustacheValue object);

    const GRMustacheContext* top(Stack stack) const { return tops_[static_cast<std::size_t>(stack)]; }
    const GRMustacheContext* next(Stack stack) const { return below_->top(stack); }
    void putOn(Stack stack) { tops_[static_cast<std::size_t>(stack)] = this; }
    bool isHidden(const GRMustacheValue& object) const;
    // Looks in this node's own object.
    bool findHere(const GRMustacheName& key, GRMustacheValue& value) const;

    // Of each stack the node whose object is its top; null for an empty stack.
    std::array<const GRMustacheContext*, kStacks> tops_{};
    const GRMustacheContext* below_ = nullptr;
    GRMustacheContextRef owner_;  // of the node below; null when somebody else keeps it
    GRMustacheValue object_;
    const GRMustacheKeyIndex* index_ = nullptr;  // of the object
    const GRMustacheInheritedPartialNode* partial_ = nullptr;
    bool unsafeKeyAccess_ = false;
};

}  // namespace qs
