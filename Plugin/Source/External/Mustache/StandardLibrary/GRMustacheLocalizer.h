// `{{localize(text)}}` and `{{#localize}}Hello {{name}}, you have {{count}} mails{{/localize}}`: texts from a bundle's
// table. In a section the text with "%@" for each variable tag is the key, and the values are filled into what is
// found.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "GRMustacheFilter.h"
#include "GRMustacheRendering.h"

namespace qs {

class Bundle;

class GRMustacheLocalizer final : public GRMustacheFilter, public GRMustacheRendering {
public:
    // A null bundle stands for the main bundle, an empty table for the usual one.
    explicit GRMustacheLocalizer(std::shared_ptr<const Bundle> bundle = nullptr, std::string tableName = {});

    Result<GRMustacheValue> transformedValue(const GRMustacheValue& object) const override;
    Result<std::string> renderForMustacheTag(const GRMustacheTag& tag, const GRMustacheContext& context,
                                             bool& HTMLSafe) const override;
    std::string description() const override { return "<GRMustacheLocalizer>"; }

private:
    std::string localized(std::string_view key) const;

    std::shared_ptr<const Bundle> bundle_;
    std::string tableName_;
};

}  // namespace qs
