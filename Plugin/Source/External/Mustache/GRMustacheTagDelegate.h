// Watches tags being rendered and may put other values in place of theirs.
#pragma once

#include <string_view>

#include "Foundation/Result.h"
#include "GRMustacheObject.h"

namespace qs {

class GRMustacheTag;

class GRMustacheTagDelegate : public virtual GRMustacheObject {
public:
    // The value that is rendered in place of `object`; called before a section's content is rendered.
    virtual GRMustacheValue mustacheTagWillRenderObject(const GRMustacheTag&, const GRMustacheValue& object) {
        return object;
    }
    // The rendering is valid during the call.
    virtual void mustacheTagDidRenderObjectAs(const GRMustacheTag&, const GRMustacheValue& /*object*/,
                                              std::string_view /*rendering*/) {}
    virtual void mustacheTagDidFailRenderingObjectWithError(const GRMustacheTag&, const GRMustacheValue& /*object*/,
                                                            const Error&) {}
    GRMustacheTagDelegate* asTagDelegate() final { return this; }
};

}  // namespace qs
