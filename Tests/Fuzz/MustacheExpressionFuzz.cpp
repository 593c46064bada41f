// Feeds texts of any bytes to the expression parser. What it accepts, written down and read again, must be equal; and
// evaluating it must end.
#include <cstdlib>
#include <string>
#include <string_view>

#include "GRMustacheArena.h"
#include "GRMustacheContext.h"
#include "GRMustacheExpression.h"
#include "GRMustacheExpressionParser.h"
#include "StandardLibrary/GRMustacheStandardLibrary.h"

namespace {

std::string written(const qs::GRMustacheExpression& expression) {
    using Kind = qs::GRMustacheExpression::Kind;
    if (expression.kind() == Kind::ImplicitIterator) return ".";
    if (expression.kind() == Kind::Identifier) return std::string(expression.identifier());
    if (expression.kind() == Kind::Scoped) {
        const auto& base = static_cast<const qs::GRMustacheScopedExpression&>(expression).baseExpression();
        const std::string text = base.kind() == Kind::ImplicitIterator ? "" : written(base);
        return text + "." + std::string(expression.identifier());
    }
    const auto& call = static_cast<const qs::GRMustacheFilteredExpression&>(expression);
    std::string filter = written(call.filterExpression());
    const bool continues = call.filterExpression().kind() == Kind::Filtered &&
                           static_cast<const qs::GRMustacheFilteredExpression&>(call.filterExpression()).isCurried();
    if (continues)
        filter.back() = ',';
    else
        filter += '(';
    return filter + written(call.argumentExpression()) + ')';
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(bytes), size);
    qs::GRMustacheArena arena;
    qs::GRMustacheExpressionParser parser(arena);
    bool empty = false;
    const auto expression = parser.parseExpression(text, empty);
    if (!expression) return 0;
    if (empty) std::abort();
    const std::string again = written(**expression);
    const auto second = parser.parseExpression(again, empty);
    if (!second || !(*second)->isEqual(**expression)) std::abort();
    qs::GRMustacheValue value;
    (void)qs::GRMustacheStandardLibrary::baseContext()->hasValue(value, text);
    return 0;
}
