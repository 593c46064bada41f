#include "GRMustacheExpressionParser.h"

#include "GRMustacheArena.h"
#include "GRMustacheExpression.h"
#include "MustacheTest.h"

namespace qs {
namespace {

// Fully bracketed: "." for the iterator, (a.b) for scopes, f[x] for calls, f[x~ for curried ones.
std::string shape(const GRMustacheExpression& expression) {
    using Kind = GRMustacheExpression::Kind;
    switch (expression.kind()) {
    case Kind::ImplicitIterator: return ".";
    case Kind::Identifier: return std::string(expression.identifier());
    case Kind::Scoped:
        return "(" + shape(static_cast<const GRMustacheScopedExpression&>(expression).baseExpression()) + " " +
               std::string(expression.identifier()) + ")";
    case Kind::Filtered: break;
    }
    const auto& call = static_cast<const GRMustacheFilteredExpression&>(expression);
    return shape(call.filterExpression()) + "[" + shape(call.argumentExpression()) + (call.isCurried() ? "~" : "]");
}

std::string parsed(std::string_view text) {
    GRMustacheArena arena;
    bool empty = false;
    const auto expression = GRMustacheExpressionParser(arena).parseExpression(text, empty);
    EXPECT_EQ(empty, !expression && expression.error().description == "Missing expression") << text;
    return expression ? shape(**expression) : expression.error().description;
}

constexpr const char* kInvalid = "Invalid expression";
constexpr const char* kMissing = "Missing expression";

TEST(MustacheExpression, ReadsByItsGrammar) {
    struct Case {
        const char* text;
        const char* shape;
    };
    const Case cases[] = {
        {"name", "name"},
        {" \t\r\nname\n ", "name"},
        {".", "."},
        {". ", "."},
        {"a.b.c", "((a b) c)"},
        {".a", "(. a)"},
        {".a.b", "((. a) b)"},
        {"f(x)", "f[x]"},
        {" f ( x ) ", "f[x]"},
        {"f(.)", "f[.]"},
        {".(x)", ".[x]"},
        {". (x)", ".[x]"},
        {"a.b(c.d)", "(a b)[(c d)]"},
        {"f(g(x))", "f[g[x]]"},
        {"f(a)(b)", "f[a][b]"},
        {"f(a, b)", "f[a~[b]"},
        {"f(a,b,c)", "f[a~[b~[c]"},
        {"f(.,.)", "f[.~[.]"},
        {"f(g(a), h(b, c))", "f[g[a]~[h[b~[c]]"},
        {"f(a).b", "(f[a] b)"},
        {"f(a).b(c)", "(f[a] b)[c]"},
        // Inside of a name all but the grammar's own characters belong to it.
        {"a-b", "a-b"},
        {"a/b", "a/b"},
        {"a#$&<>^{}b?!=%*@", "a#$&<>^{}b?!=%*@"},
        {"@index", "@index"},
        {"=a", "=a"},
        {"*", "*"},
        {"é.日本", "(é 日本)"},
        {"a\u00A0b", "a\u00A0b"},

        {"", kMissing},
        {" \r\n\t", kMissing},
        {"a b", kInvalid},
        {"a.", kInvalid},
        {"a.b.", kInvalid},
        {"a..b", kInvalid},
        {"a. b", kInvalid},
        {"a .b", kInvalid},
        {"..", kInvalid},
        {". .a", kInvalid},
        {". a", kInvalid},
        {"./a", kInvalid},
        {".#", kInvalid},
        {"#a", kInvalid},
        {"/a", kInvalid},
        {"{a", kInvalid},
        {"a.{b", kInvalid},
        {"f()", kInvalid},
        {"f( )", kInvalid},
        {"f(", kInvalid},
        {"f(a", kInvalid},
        {"f(a,", kInvalid},
        {"f(a,)", kInvalid},
        {"f(,a)", kInvalid},
        {"f(a))", kInvalid},
        {"a)", kInvalid},
        {"a )", kInvalid},
        {".)", kInvalid},
        {"(a)", kInvalid},
        {",a", kInvalid},
        {"a,b", kInvalid},
        {"a ,b", kInvalid},
        {".,b", kInvalid},
        {"f(a)b", kInvalid},
        {"f(a) b", kInvalid},
        {"f(a),b", kInvalid},
        {"f(a).", kInvalid},
        {"f(a). b", kInvalid},
        {"f(a b)", kInvalid},
    };
    for (const Case& c : cases)
        EXPECT_EQ(parsed(c.text), c.shape) << c.text;
}

TEST(MustacheExpression, ComparesByMeaning) {
    struct Case {
        const char* a;
        const char* b;
        bool equal;
    };
    const Case cases[] = {
        {"a", " a ", true},         {"a", "b", false},           {".", ".", true},
        {".", "a", false},          {"a.b", "a.b", true},        {"a.b", "c.b", false},
        {"a.b", ".b", false},       {"f(x)", "f ( x )", true},   {"f(x)", "g(x)", false},
        {"f(x)", "f(y)", false},    {"f(x,y)", "f(x, y)", true}, {"f(x,y)", "f(x)(y)", false},
        {"f(x).a", "f(x).a", true}, {"f(x).a", "f(y).a", false},
    };
    for (const Case& c : cases) {
        GRMustacheArena arena;
        bool empty = false;
        GRMustacheExpressionParser parser(arena);
        const auto a = parser.parseExpression(c.a, empty), b = parser.parseExpression(c.b, empty);
        EXPECT_EQ((*a)->isEqual(**b), c.equal) << c.a << " and " << c.b;
    }
}

TEST(MustacheExpression, RefusesWhatIsTooDeep) {
    const auto repeated = [](std::string_view text, int times) {
        std::string all;
        for (int i = 0; i < times; ++i)
            all += text;
        return all;
    };
    constexpr const char* kTooDeep = "Expression nested too deeply";
    EXPECT_EQ(parsed(repeated("f(", 100'000) + "x" + repeated(")", 100'000)), kTooDeep);
    EXPECT_EQ(parsed("x" + repeated(".a", 100'000)), kTooDeep);
    EXPECT_EQ(parsed("f(x" + repeated(",a", 100'000) + ")"), kTooDeep);
    EXPECT_EQ(parsed(repeated("f(", 100'000)), kInvalid);
    EXPECT_NE(parsed(repeated("f(", 100) + "x" + repeated(")", 100)), kTooDeep);
}

}  // namespace
}  // namespace qs
