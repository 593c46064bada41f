// Escapers. As a filter, `{{URL.escape(x)}}`, one escapes a value's text; as a section, `{{#URL.escape}}...{{/}}`, the
// rendering of every variable tag inside.
#pragma once

#include <string>
#include <string_view>

#include "GRMustacheFilter.h"
#include "GRMustacheRendering.h"
#include "GRMustacheTagDelegate.h"

namespace qs {

class GRMustacheEscaper : public GRMustacheFilter, public GRMustacheRendering, public GRMustacheTagDelegate {
public:
    virtual std::string escape(std::string_view text) const = 0;

    Result<GRMustacheValue> transformedValue(const GRMustacheValue& object) const override;
    Result<std::string> renderForMustacheTag(const GRMustacheTag& tag, const GRMustacheContext& context,
                                             bool& HTMLSafe) const override;
    Result<void> appendRendering(const GRMustacheTag& tag, bool asEnumerationItem, const GRMustacheContext& context,
                                 std::string& out, bool& HTMLSafe) const override;
    GRMustacheValue mustacheTagWillRenderObject(const GRMustacheTag& tag, const GRMustacheValue& object) override;
};

class GRMustacheHTMLEscapeFilter final : public GRMustacheEscaper {
public:
    std::string escape(std::string_view text) const override;
    std::string description() const override { return "<GRMustacheHTMLEscapeFilter>"; }
};

// For text inside of string literals.
class GRMustacheJavascriptEscaper final : public GRMustacheEscaper {
public:
    std::string escape(std::string_view text) const override;
    std::string description() const override { return "<GRMustacheJavascriptEscaper>"; }
};

// For one component of a URL: all that has a meaning in URLs is written in percent form.
class GRMustacheURLEscapeFilter final : public GRMustacheEscaper {
public:
    std::string escape(std::string_view text) const override;
    std::string description() const override { return "<GRMustacheURLEscapeFilter>"; }
};

}  // namespace qs
