#include "GRMustacheExpressionInvocation.h"

#include <string>

#include "Foundation/Format.h"
#include "GRMustacheContext.h"
#include "GRMustacheError.h"
#include "GRMustacheExpression.h"
#include "GRMustacheFilter.h"
#include "GRMustacheKeyAccess.h"
#include "GRMustacheToken.h"

namespace qs {

namespace {

// "<what> in tag `{{f(x)}}` at line 3 of template x<detail>"
Error filterError(std::string_view what, const GRMustacheToken* tag, const std::string& detail = {}) {
    std::string text(what);
    if (tag) {
        const auto line = static_cast<std::int64_t>(tag->line);
        text += stringWithFormat(" in tag `%@` at line %lu", {tag->templateSubstring(), line});
        if (tag->templateID) text += stringWithFormat(" of template %@", {*tag->templateID});
    }
    text += detail;
    Error error = mustacheError(GRMustacheErrorCodeRenderingError, std::move(text));
    return tag ? mustacheErrorAt(*tag, std::move(error)) : error;
}

}  // namespace

Result<void> GRMustacheExpressionInvocation::invokeReturningError() {
    using Kind = GRMustacheExpression::Kind;
    switch (expression_.kind()) {
    case Kind::ImplicitIterator: value_ = context_.topMustacheObject(); return mustacheSuccess();
    case Kind::Identifier:
        context_.findValueForMustacheKey(expression_.name(), value_, valueIsProtected_);
        return mustacheSuccess();
    case Kind::Scoped: {
        const auto& scoped = static_cast<const GRMustacheScopedExpression&>(expression_);
        GRMustacheExpressionInvocation base(scoped.baseExpression(), context_);
        if (auto invoked = base.invokeReturningError(); !invoked) return failed(invoked);
        value_ = GRMustacheKeyAccess::valueForMustacheKey(scoped.name(), base.value_, context_.unsafeKeyAccess());
        return mustacheSuccess();
    }
    case Kind::Filtered: return applyFilter(static_cast<const GRMustacheFilteredExpression&>(expression_));
    }
    return mustacheSuccess();
}

Result<void> GRMustacheExpressionInvocation::applyFilter(const GRMustacheFilteredExpression& expression) {
    GRMustacheExpressionInvocation filter(expression.filterExpression(), context_);
    if (auto invoked = filter.invokeReturningError(); !invoked) return failed(invoked);
    GRMustacheExpressionInvocation argument(expression.argumentExpression(), context_);
    if (auto invoked = argument.invokeReturningError(); !invoked) return failed(invoked);

    if (filter.value_.isNil()) return failure(filterError("Missing filter", expression.token()));
    const GRMustacheFilter* callable = filter.value_.object() ? filter.value_.object()->asFilter() : nullptr;
    if (!callable)
        return failure(filterError("Object does not conform to GRMustacheFilter protocol", expression.token(),
                                   ": " + filter.value_.debugDescription()));
    if (expression.isCurried()) {
        if (auto curried = callable->filterByCurryingArgument(argument.value_)) {
            value_ = std::move(curried);
            return mustacheSuccess();
        }
    }
    auto transformed = callable->transformedValue(argument.value_);
    if (!transformed) return failed(transformed);
    value_ = std::move(*transformed);
    return mustacheSuccess();
}

}  // namespace qs
