#include "GRMustacheCompiler.h"

#include "Foundation/Assertion.h"
#include "GRMustacheConfiguration.h"
#include "GRMustacheTag.h"
#include "MustacheTest.h"

namespace qs {
namespace {

struct Case {
    const char* text;
    const char* message;
};

TEST(MustacheCompiler, SaysWhatIsWrongAndWhere) {
    const Case cases[] = {
        {"{{}}", "line 1: Missing expression"},
        {"\n\n{{a b}}", "line 3: Invalid expression"},
        {"{{ #a}}", "line 1: Invalid expression"},
        {"{{a.b.}}", "line 1: Invalid expression"},
        {"{{#a b}}{{/}}", "line 1: Invalid expression"},
        {"{{#}}x{{/}}", "line 1: Missing expression"},
        {"{{^}}", "line 1: Missing expression"},
        {"{{#a}}{{#}}{{/}}{{/}}", "line 1: Missing expression"},
        {"{{$a}}{{^}}{{/}}", "line 1: Missing expression"},
        {"{{<p}}{{#}}{{/}}", "line 1: Missing expression"},
        {"{{/a}}", "line 1: Unexpected {{/a}} closing tag"},
        {"{{/}}", "line 1: Unexpected {{/}} closing tag"},
        {"{{#a}}\n{{/b}}", "line 2: Unexpected {{/b}} closing tag"},
        {"{{#a}}{{/a}}{{/a}}", "line 1: Unexpected {{/a}} closing tag"},
        {"{{#a}}{{/a b}}", "line 1: Invalid expression"},
        {"{{#a}}{{#b}}{{/a}}{{/b}}", "line 1: Unexpected {{/a}} closing tag"},
        {"{{#a}}{{^}}{{/b}}", "line 1: Unexpected {{/b}} closing tag"},
        {"\n{{#a}}\n\n", "line 2: Unclosed {{#a}} section"},
        {"{{^ a }}", "line 1: Unclosed {{^ a }} section"},
        {"{{#a}}{{#b}}{{/b}}", "line 1: Unclosed {{#a}} section"},
        {"{{#a}}\n{{^}}", "line 2: Unclosed {{^}} section"},
        {"{{$a}}", "line 1: Unclosed {{$a}} section"},
        {"{{<p}}", "line 1: Unclosed {{<p}} section"},
        {"{{>}}", "line 1: Missing template name in partial tag"},
        {"{{> a b }}", "line 1: Invalid template name in partial tag"},
        {"{{< }}{{/}}", "line 1: Missing template name in partial tag"},
        {"{{<a b}}{{/}}", "line 1: Invalid template name in partial tag"},
        {"{{$}}{{/}}", "line 1: Missing inheritable section name in inheritable section tag"},
        {"{{$a b}}{{/}}", "line 1: Invalid inheritable section name in inheritable section tag"},
        {"{{$a}}{{/a b}}", "line 1: Invalid inheritable section name in partial closing tag"},
        {"{{<p}}{{/a b}}", "line 1: Invalid template name in partial closing tag"},
        {"{{$a}}{{/b}}", "line 1: Unexpected {{/b}} closing tag"},
        {"{{<p}}{{/q}}", "line 1: Unexpected {{/q}} closing tag"},
        {"{{a}}{{", "line 1: Unclosed Mustache tag"},
        {"{{#a}}{{b c}}{{", "line 1: Invalid expression"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(rendered(c.text, {}, {{"p", "partial"}}), std::string("error 0: Parse error at ") + c.message)
            << c.text;
}

TEST(MustacheCompiler, NamesTheTemplateThatAnErrorIsIn) {
    const Partials partials = {{"outer", "\n{{>inner}}"}, {"inner", "{{#x}}\n{{/y}}"}, {"lost", "{{>nowhere}}"}};
    EXPECT_EQ(rendered("{{>outer}}", {}, partials),
              "error 0: Parse error at line 2 of template inner: Unexpected {{/y}} closing tag");
    EXPECT_EQ(rendered("{{>lost}}", {}, partials), "error 1: No such template: `nowhere`");
    EXPECT_EQ(rendered("{{<nowhere}}{{/}}", {}, partials), "error 1: No such template: `nowhere`");
}

TEST(MustacheCompiler, TellsThePlaceOfAnErrorInItsUserInfo) {
    const auto repository = GRMustacheTemplateRepository::templateRepositoryWithDictionary({{"p", "a\né {{/x}}"}});
    const auto inPartial = repository->templateFromString("{{>p}}");
    ASSERT_FALSE(inPartial);
    EXPECT_EQ(inPartial.error().userInfo,
              (Dictionary{{std::string(GRMustacheErrorLineKey), 2},
                          {std::string(GRMustacheErrorColumnKey), 3},
                          {std::string(GRMustacheErrorTemplateIDKey), "p"},
                          {std::string(GRMustacheErrorMessageKey), "Unexpected {{/x}} closing tag"}}));
    const auto missing = repository->templateFromString("\n  {{>q}}");
    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error().userInfo,
              (Dictionary{{std::string(GRMustacheErrorLineKey), 2}, {std::string(GRMustacheErrorColumnKey), 3}}));
}

TEST(MustacheCompiler, TakesPragmasBeforeAnythingThatTheyWouldChange) {
    const std::string data = "<";
    const auto with = [&](const char* text) { return rendered(text, Dictionary{{"a", data}}, {{"p", ""}}); };
    const std::string tooLate = " pragma tag must prepend any Mustache variable, section, or partial tag.";
    EXPECT_EQ(with("{{%CONTENT_TYPE:TEXT}}{{a}}"), "<");
    EXPECT_EQ(with("text {{! comment }}{{%OTHER}}{{=| |=}}| % CONTENT_TYPE:TEXT |"),
              "error 0: Parse error at line 1: Invalid expression");
    EXPECT_EQ(with("text {{! comment }}{{%OTHER}}{{=| |=}}|% CONTENT_TYPE:TEXT ||a|"), "text <");
    EXPECT_EQ(with("{{%CONTENT_TYPE:TEXT}}{{%CONTENT_TYPE:HTML}}{{a}}"), "&lt;");
    EXPECT_EQ(with("{{%UNKNOWN}}{{%}}{{%content_type:text}}{{a}}"), "&lt;");
    for (const char* before : {"{{a}}", "{{{a}}}", "{{#a}}", "{{^a}}", "{{>p}}", "{{<p}}", "{{$p}}"}) {
        EXPECT_EQ(with((std::string(before) + "{{%CONTENT_TYPE:TEXT}}").c_str()),
                  "error 0: Parse error at line 1: CONTENT_TYPE:TEXT" + tooLate)
            << before;
        EXPECT_EQ(with((std::string(before) + "\n{{%CONTENT_TYPE:HTML}}").c_str()),
                  "error 0: Parse error at line 2: CONTENT_TYPE:HTML" + tooLate)
            << before;
    }
}

TEST(MustacheCompiler, RefusesTokensOfTwoSources) {
    for (const char* second : {"{{/a}}", "{{^a}}", "{{^}}"}) {
        GRMustacheArena arena;
        GRMustacheCompiler compiler(GRMustacheContentType::HTML, arena);
        GRMustacheTemplateParser parser{GRMustacheConfiguration()};
        parser.setDelegate(&compiler);
        parser.parseTemplateString("{{#a}}", nullptr);
        EXPECT_THROW(parser.parseTemplateString(second, nullptr), AssertionFailure) << second;
    }
}

TEST(MustacheCompiler, BoundsHowDeepSectionsNest) {
    const auto nested = [](int depth) {
        std::string text;
        for (int i = 0; i < depth; ++i)
            text += "{{#a}}";
        text += "x";
        for (int i = 0; i < depth; ++i)
            text += "{{/}}";
        return text;
    };
    EXPECT_EQ(rendered(nested(200), Dictionary{{"a", true}}), "x");
    EXPECT_EQ(rendered(nested(100'000)), "error 0: Parse error at line 1: Too many sections inside one another");
}

}  // namespace
}  // namespace qs
