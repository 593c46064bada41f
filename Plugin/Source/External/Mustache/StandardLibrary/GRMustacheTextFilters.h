// Filters of the standard library that look at a value's text: its case, and whether there is any.
#pragma once

#include "GRMustacheFilter.h"

namespace qs {

class GRMustacheCapitalizedFilter final : public GRMustacheFilter {
public:
    Result<GRMustacheValue> transformedValue(const GRMustacheValue& object) const override;
    std::string description() const override { return "<GRMustacheCapitalizedFilter>"; }
};

class GRMustacheLowercaseFilter final : public GRMustacheFilter {
public:
    Result<GRMustacheValue> transformedValue(const GRMustacheValue& object) const override;
    std::string description() const override { return "<GRMustacheLowercaseFilter>"; }
};

class GRMustacheUppercaseFilter final : public GRMustacheFilter {
public:
    Result<GRMustacheValue> transformedValue(const GRMustacheValue& object) const override;
    std::string description() const override { return "<GRMustacheUppercaseFilter>"; }
};

// True for nothing, an empty collection, and a text of white space and line ends alone.
class GRMustacheBlankFilter final : public GRMustacheFilter {
public:
    Result<GRMustacheValue> transformedValue(const GRMustacheValue& object) const override;
    std::string description() const override { return "<GRMustacheBlankFilter>"; }
};

// True for nothing, an empty collection, and an empty text.
class GRMustacheEmptyFilter final : public GRMustacheFilter {
public:
    Result<GRMustacheValue> transformedValue(const GRMustacheValue& object) const override;
    std::string description() const override { return "<GRMustacheEmptyFilter>"; }
};

}  // namespace qs
