// How a value becomes text in a tag: objects that render themselves, and the rules for all other values.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "Foundation/Result.h"
#include "GRMustacheObject.h"

namespace qs {

class GRMustacheContext;
class GRMustacheTag;

// The name, in an error's user info under "GRMustacheException", of a rendering whose parts don't fit together.
inline constexpr std::string_view GRMustacheRenderingException = "GRMustacheRenderingException";

// Called from every thread that renders.
class GRMustacheRendering : public virtual GRMustacheObject {
public:
    // The text in place of the tag. `HTMLSafe`, false before the call, tells that it is HTML already; other text is
    // escaped where the tag says so.
    virtual Result<std::string> renderForMustacheTag(const GRMustacheTag& tag, const GRMustacheContext& context,
                                                     bool& HTMLSafe) const = 0;
    // The same at the end of `out`, for objects that needn't make a text of their own. What a failure leaves there
    // counts for nothing. What stands in `out` already is none of the object's business.
    virtual Result<void> appendRendering(const GRMustacheTag& tag, bool asEnumerationItem,
                                         const GRMustacheContext& context, std::string& out, bool& HTMLSafe) const;
    // Whether a section of the object shows its content.
    virtual bool mustacheBoolValue() const { return true; }
    const GRMustacheRendering* asRendering() const final { return this; }

    using Block =
        std::function<Result<std::string>(const GRMustacheTag& tag, const GRMustacheContext& context, bool& HTMLSafe)>;
    // Nil for a block is an assertion failure.
    static std::shared_ptr<GRMustacheRendering> renderingObjectWithBlock(Block block);
    // An object that renders as the value does, and keeps a value of its own.
    static std::shared_ptr<GRMustacheRendering> renderingObjectForObject(const GRMustacheValue& value);

    // The rules for every value: its truth, and its rendering at the end of `out`, not escaped.
    static bool boolValueOf(const GRMustacheValue& value);
    static Result<void> append(const GRMustacheValue& value, const GRMustacheTag& tag, bool asEnumerationItem,
                               const GRMustacheContext& context, std::string& out, bool& HTMLSafe);
};

// An object that renders differently as an item of a list.
class GRMustacheRenderingWithIterationSupport : public GRMustacheRendering {
public:
    virtual Result<std::string> renderForMustacheTagAsEnumerationItem(const GRMustacheTag& tag, bool asEnumerationItem,
                                                                      const GRMustacheContext& context,
                                                                      bool& HTMLSafe) const = 0;
    Result<std::string> renderForMustacheTag(const GRMustacheTag& tag, const GRMustacheContext& context,
                                             bool& HTMLSafe) const override {
        return renderForMustacheTagAsEnumerationItem(tag, false, context, HTMLSafe);
    }
    Result<void> appendRendering(const GRMustacheTag& tag, bool asEnumerationItem, const GRMustacheContext& context,
                                 std::string& out, bool& HTMLSafe) const override;
};

}  // namespace qs
