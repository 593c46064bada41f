// One evaluation of an expression in a context.
#pragma once

#include "Foundation/Result.h"
#include "GRMustacheValue.h"

namespace qs {

class GRMustacheContext;
class GRMustacheExpression;
class GRMustacheFilteredExpression;

class GRMustacheExpressionInvocation {
public:
    GRMustacheExpressionInvocation(const GRMustacheExpression& expression, const GRMustacheContext& context)
        : expression_(expression), context_(context) {}

    Result<void> invokeReturningError();
    const GRMustacheValue& value() const { return value_; }
    // The value is a protected one: what it holds must not be found through the stack.
    bool valueIsProtected() const { return valueIsProtected_; }

private:
    Result<void> applyFilter(const GRMustacheFilteredExpression& expression);

    const GRMustacheExpression& expression_;
    const GRMustacheContext& context_;
    GRMustacheValue value_;
    bool valueIsProtected_ = false;
};

}  // namespace qs
