// Filters: `{{f(x)}}` gives x to the filter f, `{{f(a, b)}}` gives it both, one after the other.
#pragma once

#include <functional>
#include <memory>
#include <span>

#include "Foundation/Result.h"
#include "GRMustacheObject.h"

namespace qs {

// Called from every thread that renders. What it makes may borrow from its argument: both live while the tag is
// rendered.
class GRMustacheFilter : public virtual GRMustacheObject {
public:
    virtual Result<GRMustacheValue> transformedValue(const GRMustacheValue& object) const = 0;
    // For a filter of several arguments: the filter of the rest of them. Null for a filter of one argument, whose
    // result must then be a filter itself.
    virtual std::shared_ptr<GRMustacheFilter> filterByCurryingArgument(const GRMustacheValue& /*object*/) const {
        return nullptr;
    }
    const GRMustacheFilter* asFilter() const final { return this; }

    using Block = std::function<Result<GRMustacheValue>(const GRMustacheValue& object)>;
    using VariadicBlock = std::function<Result<GRMustacheValue>(std::span<const GRMustacheValue> arguments)>;
    static std::shared_ptr<GRMustacheFilter> filterWithBlock(Block block);
    static std::shared_ptr<GRMustacheFilter> variadicFilterWithBlock(VariadicBlock block);
};

}  // namespace qs
