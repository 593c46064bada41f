// Reads the inner content of a tag as an expression.
#pragma once

#include <string_view>
#include <vector>

#include "Foundation/Result.h"

namespace qs {

class GRMustacheArena;
class GRMustacheExpression;
struct GRMustacheToken;

class GRMustacheExpressionParser {
public:
    // Expressions are made in `arena`, and refer to the text that they are read from.
    explicit GRMustacheExpressionParser(GRMustacheArena& arena) : arena_(arena) {}

    // "Missing expression" or "Invalid expression" on failure; `empty` tells that the text was blank. The expression
    // refers to `token`, which may be null.
    Result<const GRMustacheExpression*> parseExpression(std::string_view text, bool& empty,
                                                        const GRMustacheToken* token = nullptr);

private:
    enum class Character;
    enum class State;
    enum class Action;
    struct Rule;
    static Character characterOf(char c);
    static const Rule& ruleFor(State state, Character character);
    bool perform(Action action, std::string_view text, std::size_t at);
    bool finishIdentifier(std::string_view identifier);
    bool isOfBoundedDepth(const GRMustacheExpression& expression);
    bool applyFilter(bool curried);

    GRMustacheArena& arena_;
    const GRMustacheToken* token_ = nullptr;
    const GRMustacheExpression* current_ = nullptr;
    std::size_t identifierStart_ = 0;
    bool tooDeep_ = false;
    std::vector<const GRMustacheExpression*> filters_;  // that wait for their argument
};

}  // namespace qs
