// `{{#each(list)}}...{{/}}`: the items of a list or dictionary, each with its place: @index, @indexPlusOne,
// @indexIsEven,
// @first, @last, and @key for those of a dictionary.
#pragma once

#include "GRMustacheFilter.h"

namespace qs {

class GRMustacheEachFilter final : public GRMustacheFilter {
public:
    // What is no list gives an object that fails when it is rendered, since only then the tag is known.
    Result<GRMustacheValue> transformedValue(const GRMustacheValue& object) const override;
    std::string description() const override { return "<GRMustacheEachFilter>"; }
};

}  // namespace qs
