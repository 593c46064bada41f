// What stands in a variable or section tag: `.`, `name`, `base.name`, `filter(argument)`. Expressions live in the
// memory of the template that they belong to.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "GRMustacheName.h"

namespace qs {

struct GRMustacheToken;

class GRMustacheExpression {
public:
    enum class Kind : std::uint8_t { ImplicitIterator, Identifier, Scoped, Filtered };

    Kind kind() const { return kind_; }
    // The tag that the expression stands in; null when it stands in none.
    const GRMustacheToken* token() const { return token_; }
    // The name of an identifier or scoped expression; empty for the others.
    std::string_view identifier() const { return name_.text(); }
    const GRMustacheName& name() const { return name_; }
    // How many expressions stand inside one another here, this one not counted.
    std::size_t depth() const { return depth_; }

    bool isEqual(const GRMustacheExpression& other) const;

protected:
    GRMustacheExpression(Kind kind, const GRMustacheToken* token, std::string_view identifier, std::size_t depth)
        : token_(token), name_(identifier), depth_(depth), kind_(kind) {}

private:
    const GRMustacheToken* token_;
    GRMustacheName name_;
    std::size_t depth_;
    Kind kind_;
};

class GRMustacheImplicitIteratorExpression final : public GRMustacheExpression {
public:
    explicit GRMustacheImplicitIteratorExpression(const GRMustacheToken* token)
        : GRMustacheExpression(Kind::ImplicitIterator, token, {}, 0) {}
};

class GRMustacheIdentifierExpression final : public GRMustacheExpression {
public:
    GRMustacheIdentifierExpression(const GRMustacheToken* token, std::string_view identifier)
        : GRMustacheExpression(Kind::Identifier, token, identifier, 0) {}
};

class GRMustacheScopedExpression final : public GRMustacheExpression {
public:
    GRMustacheScopedExpression(const GRMustacheToken* token, const GRMustacheExpression& base,
                               std::string_view identifier)
        : GRMustacheExpression(Kind::Scoped, token, identifier, 1 + base.depth()), base_(&base) {}
    const GRMustacheExpression& baseExpression() const { return *base_; }

private:
    const GRMustacheExpression* base_;
};

class GRMustacheFilteredExpression final : public GRMustacheExpression {
public:
    GRMustacheFilteredExpression(const GRMustacheToken* token, const GRMustacheExpression& filter,
                                 const GRMustacheExpression& argument, bool curried);
    const GRMustacheExpression& filterExpression() const { return *filter_; }
    const GRMustacheExpression& argumentExpression() const { return *argument_; }
    bool isCurried() const { return curried_; }

private:
    const GRMustacheExpression* filter_;
    const GRMustacheExpression* argument_;
    bool curried_;
};

}  // namespace qs
