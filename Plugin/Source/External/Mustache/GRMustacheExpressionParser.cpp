#include "GRMustacheExpressionParser.h"

#include <array>

#include "GRMustacheArena.h"
#include "GRMustacheError.h"
#include "GRMustacheExpression.h"
#include "GRMustacheLimits.h"

namespace qs {

enum class GRMustacheExpressionParser::Character { Space, Dot, Open, Close, Comma, Reserved, Other };
enum class GRMustacheExpressionParser::State {
    Initial,
    LeadingDot,
    Identifier,
    WaitingForIdentifier,
    AfterIdentifier,
    AfterFilter,
    Invalid
};
enum class GRMustacheExpressionParser::Action {
    None,
    ImplicitIterator,
    MarkIdentifier,
    FinishIdentifier,
    PushFilter,
    CloseFilter,
    CurryFilter,
    FinishAndPush,
    FinishAndClose,
    FinishAndCurry,
};

GRMustacheExpressionParser::Character GRMustacheExpressionParser::characterOf(char c) {
    static constexpr auto table = [] {
        std::array<Character, 256> characters{};
        characters.fill(Character::Other);
        for (const char space : {' ', '\t', '\n', '\r'})
            characters[static_cast<unsigned char>(space)] = Character::Space;
        for (const char reserved : {'#', '$', '&', '/', '<', '>', '^', '{', '}'})
            characters[static_cast<unsigned char>(reserved)] = Character::Reserved;
        characters['.'] = Character::Dot;
        characters['('] = Character::Open;
        characters[')'] = Character::Close;
        characters[','] = Character::Comma;
        return characters;
    }();
    return table[static_cast<unsigned char>(c)];
}

struct GRMustacheExpressionParser::Rule {
    Action action;
    State next;
};

const GRMustacheExpressionParser::Rule& GRMustacheExpressionParser::ruleFor(State state, Character character) {
    using enum Action;
    using enum State;
    static constexpr Rule no{None, Invalid};
    static constexpr Rule mark{MarkIdentifier, Identifier};
    static constexpr Rule push{PushFilter, Initial}, close{CloseFilter, AfterFilter}, curry{CurryFilter, Initial};
    static constexpr Rule stay{None, Identifier};
    // Rows by state; columns: space  .  (  )  ,  one of #$&/<>^{}  any other.
    static constexpr Rule table[][7] = {
        {{None, Initial}, {ImplicitIterator, LeadingDot}, no, no, no, no, mark},
        {{None, AfterIdentifier}, no, push, close, curry, no, mark},
        {{FinishIdentifier, AfterIdentifier},
         {FinishIdentifier, WaitingForIdentifier},
         {FinishAndPush, Initial},
         {FinishAndClose, AfterFilter},
         {FinishAndCurry, Initial},
         stay,
         stay},
        {no, no, no, no, no, no, mark},
        {{None, AfterIdentifier}, no, push, close, curry, no, no},
        {{None, AfterFilter}, {None, WaitingForIdentifier}, push, close, curry, no, no},
    };
    return table[static_cast<std::size_t>(state)][static_cast<std::size_t>(character)];
}

bool GRMustacheExpressionParser::finishIdentifier(std::string_view identifier) {
    if (!current_) {
        current_ = arena_.make<GRMustacheIdentifierExpression>(token_, identifier);
        return true;
    }
    current_ = arena_.make<GRMustacheScopedExpression>(token_, *current_, identifier);
    return isOfBoundedDepth(*current_);
}

bool GRMustacheExpressionParser::isOfBoundedDepth(const GRMustacheExpression& expression) {
    tooDeep_ = expression.depth() > GRMustacheLimits::expressionDepth;
    return !tooDeep_;
}

bool GRMustacheExpressionParser::applyFilter(bool curried) {
    if (filters_.empty()) return false;
    const GRMustacheExpression* call =
        arena_.make<GRMustacheFilteredExpression>(token_, *filters_.back(), *current_, curried);
    if (!isOfBoundedDepth(*call)) return false;
    if (curried) {
        filters_.back() = call;
        current_ = nullptr;
    } else {
        filters_.pop_back();
        current_ = call;
    }
    return true;
}

bool GRMustacheExpressionParser::perform(Action action, std::string_view text, std::size_t at) {
    const auto identifier = [&] { return text.substr(identifierStart_, at - identifierStart_); };
    switch (action) {
    case Action::None: return true;
    case Action::ImplicitIterator: current_ = arena_.make<GRMustacheImplicitIteratorExpression>(token_); return true;
    case Action::MarkIdentifier: identifierStart_ = at; return true;
    case Action::FinishIdentifier: return finishIdentifier(identifier());
    case Action::FinishAndPush:
        if (!finishIdentifier(identifier())) return false;
        [[fallthrough]];
    case Action::PushFilter:
        filters_.push_back(current_);
        current_ = nullptr;
        return true;
    case Action::FinishAndClose: return finishIdentifier(identifier()) && applyFilter(false);
    case Action::CloseFilter: return applyFilter(false);
    case Action::FinishAndCurry: return finishIdentifier(identifier()) && applyFilter(true);
    case Action::CurryFilter: return applyFilter(true);
    }
    return false;
}

Result<const GRMustacheExpression*> GRMustacheExpressionParser::parseExpression(std::string_view text, bool& empty,
                                                                                const GRMustacheToken* token) {
    token_ = token;
    current_ = nullptr;
    filters_.clear();
    empty = tooDeep_ = false;
    State state = State::Initial;
    for (std::size_t at = 0; at < text.size() && state != State::Invalid; ++at) {
        const Rule& rule = ruleFor(state, characterOf(text[at]));
        state = rule.action == Action::None || perform(rule.action, text, at) ? rule.next : State::Invalid;
    }
    if (state == State::Initial && filters_.empty()) {
        empty = true;
        return failure(mustacheError(GRMustacheErrorCodeParseError, "Missing expression"));
    }
    if (state == State::Identifier) finishIdentifier(text.substr(identifierStart_));
    const bool isComplete = state == State::LeadingDot || state == State::Identifier ||
                            state == State::AfterIdentifier || state == State::AfterFilter;
    if (tooDeep_) return failure(mustacheError(GRMustacheErrorCodeParseError, "Expression nested too deeply"));
    if (!isComplete || !filters_.empty())
        return failure(mustacheError(GRMustacheErrorCodeParseError, "Invalid expression"));
    return current_;
}

}  // namespace qs
