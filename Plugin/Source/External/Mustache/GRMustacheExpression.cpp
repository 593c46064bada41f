#include "GRMustacheExpression.h"

#include <algorithm>

namespace qs {

GRMustacheFilteredExpression::GRMustacheFilteredExpression(const GRMustacheToken* token,
                                                           const GRMustacheExpression& filter,
                                                           const GRMustacheExpression& argument, bool curried)
    : GRMustacheExpression(Kind::Filtered, token, {}, 1 + std::max(filter.depth(), argument.depth())),
      filter_(&filter),
      argument_(&argument),
      curried_(curried) {}

bool GRMustacheExpression::isEqual(const GRMustacheExpression& other) const {
    if (kind_ != other.kind_ || identifier() != other.identifier() || depth_ != other.depth_) return false;
    if (kind_ == Kind::Scoped)
        return static_cast<const GRMustacheScopedExpression&>(*this).baseExpression().isEqual(
            static_cast<const GRMustacheScopedExpression&>(other).baseExpression());
    if (kind_ != Kind::Filtered) return true;
    const auto& left = static_cast<const GRMustacheFilteredExpression&>(*this);
    const auto& right = static_cast<const GRMustacheFilteredExpression&>(other);
    return left.isCurried() == right.isCurried() && left.filterExpression().isEqual(right.filterExpression()) &&
           left.argumentExpression().isEqual(right.argumentExpression());
}

}  // namespace qs
