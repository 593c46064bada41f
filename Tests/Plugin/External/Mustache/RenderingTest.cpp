#include "GRMustacheRendering.h"

#include "Foundation/Assertion.h"
#include "GRMustacheTag.h"
#include "MustacheTest.h"

namespace qs {
namespace {

struct Case {
    const char* text;
    GRMustacheValue object;
    const char* result;
};

void check(std::initializer_list<Case> cases) {
    for (const Case& c : cases)
        EXPECT_EQ(rendered(c.text, c.object), c.result) << c.text;
}

const Dictionary kAda{{"name", "Ada"}, {"html", "<b>\"it's\" & more</b>"}, {"age", 36}};

TEST(MustacheRendering, ShowsVariables) {
    check({
        {"Hello {{name}}!", kAda, "Hello Ada!"},
        {"{{ name }}{{\tname\n}}", kAda, "AdaAda"},
        {"{{html}}", kAda, "&lt;b&gt;&quot;it&apos;s&quot; &amp; more&lt;/b&gt;"},
        {"{{{html}}}{{&html}}", kAda, "<b>\"it's\" & more</b><b>\"it's\" & more</b>"},
        {"{{missing}}{{missing.too}}", kAda, ""},
        {"{{user.name.length}}", Dictionary{{"user", kAda}}, "3"},
        {"{{user.missing.name}}", Dictionary{{"user", kAda}}, ""},
        {"{{.name}}{{#user}}{{.name}}{{/user}}", Dictionary{{"user", kAda}}, "Ada"},
        {"{{a-b}}{{a/b}}", Dictionary{{"a-b", 1}, {"a/b", 2}}, "12"},
        {"{{a}}\n{{b}}\r\n", Dictionary{{"a", 1}, {"b", 2}}, "1\n2\r\n"},
        {"{{! comment }}x\n  {{! alone }}\n", {}, "x\n  \n"},
        {"{{=<% %>=}}<%name%>{{name}}", kAda, "Ada{{name}}"},
        {"{{=<% %>=}}<%&html%><%={{ }}=%>{{name}}", Dictionary{{"html", "<"}, {"name", "x"}}, "<x"},
        {"", kAda, ""},
        {"\xFF{{name}}\xC3", Dictionary{{"name", "\xE2\x80"}}, "\xFF\xE2\x80\xC3"},
    });
    EXPECT_EQ(renderedAsText("{{html}}", kAda), "<b>\"it's\" & more</b>");
}

// The value table: what each kind of value does as a variable, in a section, in an inverted section, and as an item.
TEST(MustacheRendering, FollowsTheValueTable) {
    struct ValueCase {
        const char* what;
        GRMustacheValue value;
        const char* variable;
        const char* section;   // {{#v}}<{{.}}>{{/v}} on a dictionary with `description` "top"
        const char* inverted;  // {{^v}}no{{/v}}
    };
    const ValueCase cases[] = {
        {"nil", {}, "", "", "no"},
        {"null", GRMustacheValue::null(), "", "", "no"},
        {"false", false, "0", "", "no"},
        {"true", true, "1", "<top>", ""},
        {"zero", 0, "0", "", "no"},
        {"a number", 3, "3", "<top>", ""},
        {"a real", 0.5, "0.5", "<top>", ""},
        {"a round real", 100000.0, "100000", "<top>", ""},
        {"zero as a real", 0.0, "0", "", "no"},
        {"an empty text", "", "", "", "no"},
        {"a text", "text", "text", "<text>", ""},
        {"the text 0", "0", "0", "<0>", ""},
        {"an empty list", Array{}, "", "", "no"},
        {"a list", Array{1, "b", true}, "1b1", "<1><b><1>", ""},
        {"a list with null", Array{Value(), "b"}, "b", "<><b>", ""},
        {"a dictionary", Dictionary{{"k", 1}}, "{k = 1;}", "<{k = 1;}>", ""},
        {"an empty dictionary", Dictionary{}, "{}", "<{}>", ""},
        {"a date", Date{0}, "1970-01-01 00:00:00 +0000", "<1970-01-01 00:00:00 +0000>", ""},
        {"data", Data{"abc"}, "<3 bytes>", "<<3 bytes>>", ""},
        {"a list of values", GRMustacheArray{1, "b"}, "1b", "<1><b>", ""},
        {"a dictionary of values", GRMustacheDictionary{{"k", 1}}, "{k = 1;}", "<{k = 1;}>", ""},
    };
    class Top final : public GRMustacheKeyedSubscript {
    public:
        explicit Top(GRMustacheValue value) : value_(std::move(value)) {}
        GRMustacheValue objectForKeyedSubscript(std::string_view key) const override {
            return key == "v" ? value_ : GRMustacheValue();
        }
        std::string description() const override { return "top"; }

    private:
        GRMustacheValue value_;
    };
    for (const ValueCase& c : cases) {
        const auto top = std::make_shared<Top>(c.value);
        EXPECT_EQ(renderedAsText("{{v}}", top), c.variable) << c.what;
        EXPECT_EQ(renderedAsText("{{#v}}<{{.}}>{{/v}}", top), c.section) << c.what;
        EXPECT_EQ(renderedAsText("{{^v}}no{{/v}}", top), c.inverted) << c.what;
    }
}

TEST(MustacheRendering, PushesWhatSectionsAreAbout) {
    const Dictionary people{{"name", "outer"},
                            {"people", Array{Dictionary{{"name", "Ada"}}, Dictionary{{"name", "Bob"}}, Dictionary{}}},
                            {"age", 3},
                            {"rows", Array{Array{1, 2}, Array{}, Array{3}}},
                            {"none", Array{}}};
    check({
        {"{{#people}}{{name}},{{/people}}", people, "Ada,Bob,outer,"},
        {"{{#people}}{{.name}},{{/people}}", people, "Ada,Bob,,"},
        {"{{#people}}{{#people}}x{{/people}}{{/people}}", people, "xxxxxxxxx"},
        {"{{#name}}{{.}}{{length}}{{/name}}", people, "outer5"},
        {"{{#age}}{{name}}{{/age}}", people, "outer"},
        // A list inside of a list is pushed, as an object would be.
        {"{{#rows}}[{{#.}}{{.}};{{/.}}]{{/rows}}", people, "[1;2;][][3;]"},
        {"{{#rows}}{{count}}{{/rows}}", people, "201"},
        {"{{rows}}", people, ""},
        {"{{^none}}none of {{name}}{{/none}}", people, "none of outer"},
        {"{{^missing}}{{name}}{{/missing}}", people, "outer"},
        {"{{#people.count}}{{people.count}}{{/people.count}}", people, "3"},
        {"{{people.firstObject.name}}{{people.lastObject.name}}{{none.firstObject}}", people, "Ada"},
    });
}

TEST(MustacheRendering, ShowsOneOfTwoHalves) {
    for (const char* text :
         {"{{#x}}A{{/x}}{{^x}}B{{/x}}", "{{#x}}A{{^x}}B{{/x}}", "{{#x}}A{{^}}B{{/x}}", "{{#x}}A{{^}}B{{/}}",
          "{{^x}}B{{#x}}A{{/x}}", "{{^x}}B{{#}}A{{/}}", "{{# x }}A{{^x }}B{{/ x}}"}) {
        EXPECT_EQ(rendered(text, Dictionary{{"x", true}}), "A") << text;
        EXPECT_EQ(rendered(text, Dictionary{{"x", false}}), "B") << text;
    }
    const Dictionary lists{{"full", Array{1, 2}}, {"none", Array{}}, {"yes", true}};
    check({
        {"{{#full}}{{.}}{{^}}none{{/}}{{#none}}x{{^}}none{{/}}", lists, "12none"},
        // More than two halves take turns.
        {"{{#yes}}a{{^}}b{{#}}c{{^yes}}d{{/yes}}", lists, "ac"},
        // Another name, or the same kind, opens a section of its own.
        {"{{#yes}}a{{^none}}b{{/none}}{{/yes}}", lists, "ab"},
        {"{{#yes}}a{{#yes}}b{{/yes}}{{/yes}}", lists, "ab"},
        {"{{#yes}}a{{#none}}x{{^}}b{{/}}{{^}}c{{/}}", lists, "ab"},
        {"{{#missing}}{{^}}{{/missing}}", lists, ""},
        {"{{#none.count}}some{{^none.count}}none{{/}}", lists, "none"},
    });
}

// An object that tells what it was asked for.
class Teller final : public GRMustacheRenderingWithIterationSupport {
public:
    explicit Teller(bool safe, bool truth = true) : safe_(safe), truth_(truth) {}
    Result<std::string> renderForMustacheTagAsEnumerationItem(const GRMustacheTag& tag, bool asEnumerationItem,
                                                              const GRMustacheContext& context,
                                                              bool& HTMLSafe) const override {
        bool contentIsSafe = false;
        const auto content = tag.renderContentWithContext(context, contentIsSafe);
        if (!content) return failed(content);
        HTMLSafe = safe_;
        if (asEnumerationItem) return "<item>";
        return "<" + std::string(tag.type() == GRMustacheTagType::Section ? "section " : "variable ") +
               std::string(tag.innerTemplateString()) + (tag.isInverted() ? " inverted" : "") + "=" + *content + ">";
    }
    bool mustacheBoolValue() const override { return truth_; }

private:
    bool safe_, truth_;
};

TEST(MustacheRendering, LetsObjectsRenderThemselves) {
    const GRMustacheDictionary data{{"safe", std::make_shared<Teller>(true)},
                                    {"unsafe", std::make_shared<Teller>(false)},
                                    {"untrue", std::make_shared<Teller>(true, false)},
                                    {"x", "&"}};
    check({
        {"{{safe}}", data, "<variable =>"},
        {"{{unsafe}}", data, "&lt;variable =&gt;"},
        {"{{{unsafe}}}", data, "<variable =>"},
        {"{{#safe}}a{{x}}{{/safe}}", data, "<section a{{x}}=a&amp;>"},
        {"{{#unsafe}}{{x}}{{/unsafe}}", data, "&lt;section {{x}}=&amp;amp;&gt;"},
        {"{{#untrue}}a{{/untrue}}", data, ""},
        {"{{^untrue}}a{{/untrue}}", data, "<section a inverted=a>"},
        {"{{^safe}}a{{/safe}}", data, ""},
        // Variables ask nobody for truth.
        {"{{untrue}}", data, "<variable =>"},
    });
    const auto items = [](bool first, bool second) {
        return GRMustacheDictionary{
            {"list", GRMustacheArray{std::make_shared<Teller>(first), std::make_shared<Teller>(second)}}};
    };
    EXPECT_EQ(rendered("{{list}}", items(true, true)), "<item><item>");
    EXPECT_EQ(rendered("{{#list}}a{{/list}}", items(false, false)), "&lt;item&gt;&lt;item&gt;");
    EXPECT_EQ(rendered("{{list}}", items(true, false)), "error 2: Inconsistant HTML escaping of items in enumeration");
}

TEST(MustacheRendering, TakesBlocksAsObjects) {
    const auto twice = GRMustacheRendering::renderingObjectWithBlock(
        [](const GRMustacheTag& tag, const GRMustacheContext& context, bool& HTMLSafe) -> Result<std::string> {
            auto content = tag.renderContentWithContext(context, HTMLSafe);
            if (!content) return content;
            return *content + *content;
        });
    EXPECT_EQ(rendered("{{#twice}}{{x}};{{/twice}}", GRMustacheDictionary{{"twice", twice}, {"x", "<"}}), "&lt;;&lt;;");
    EXPECT_THROW(GRMustacheRendering::renderingObjectWithBlock(nullptr), AssertionFailure);

    const auto failing = GRMustacheRendering::renderingObjectWithBlock(
        [](const GRMustacheTag&, const GRMustacheContext&, bool&) -> Result<std::string> {
            return failure("Test", 7, "no luck");
        });
    const auto made = GRMustacheTemplateRepository::templateRepository()->templateFromString("before\n {{failing}}");
    const auto failedResult = (*made)->renderObject(GRMustacheDictionary{{"failing", failing}});
    ASSERT_FALSE(failedResult);
    EXPECT_EQ(failedResult.error().domain, "Test");
    EXPECT_EQ(failedResult.error().userInfo.at(std::string(GRMustacheErrorLineKey)), 2);
    EXPECT_EQ(failedResult.error().userInfo.at(std::string(GRMustacheErrorColumnKey)), 2);
}

TEST(MustacheRendering, WrapsEveryValueAsARenderingObject) {
    const Array list{1, "<"};
    GRMustacheDictionary data;
    for (const auto& [name, value] :
         GRMustacheDictionary{{"list", list}, {"text", "<"}, {"none", Array{}}, {"no", false}})
        data.emplace(name, GRMustacheRendering::renderingObjectForObject(value));
    check({
        {"{{list}}|{{text}}|{{none}}|{{no}}", data, "1&lt;|&lt;||0"},
        {"{{#list}}[{{.}}]{{/list}}{{#text}}[{{.}}]{{/text}}", data, "[1][&lt;][&lt;]"},
        {"{{^none}}none{{/none}}{{^no}}no{{/no}}{{#none}}x{{/none}}", data, "noneno"},
    });
}

TEST(MustacheRendering, EscapesATextInAnHTMLTemplate) {
    const Partials partials = {{"text", "{{%CONTENT_TYPE:TEXT}}<{{x}}>"}, {"html", "{{%CONTENT_TYPE:HTML}}<{{x}}>"}};
    const Dictionary data{{"x", "&"}};
    EXPECT_EQ(rendered("<{{>text}}>", data, partials), "<&lt;&amp;&gt;>");
    EXPECT_EQ(renderedAsText("<{{>html}}{{x}}>", data, partials), "<<&amp;>&>");
    EXPECT_EQ(renderedAsText("{{#x}}{{.}}{{/x}}", data), "&");
}

TEST(MustacheRendering, EndsWithAnErrorWhereDataOrTemplatesHaveNoEnd) {
    const Partials partials = {{"self", "x{{>self}}"},
                               {"a", "{{#yes}}{{>b}}{{/yes}}"},
                               {"b", "{{>a}}"},
                               {"layout", "{{<layout}}{{$x}}{{/x}}{{/layout}}"}};
    constexpr const char* kTooDeep =
        "error 2: Sections and partials are nested too deeply: more than 512 inside one another";
    EXPECT_EQ(rendered("{{>self}}", {}, partials), kTooDeep);
    EXPECT_EQ(rendered("{{>a}}", Dictionary{{"yes", true}}, partials), kTooDeep);
    EXPECT_EQ(rendered("{{>a}}", {}, partials), "");
    EXPECT_EQ(rendered("{{>layout}}", {}, partials), kTooDeep);

    // Each level shows the one before it twice: 2^60 empty texts.
    Partials doubling{{"0", ""}};
    for (int i = 1; i <= 60; ++i)
        doubling.emplace(std::to_string(i), "{{>" + std::to_string(i - 1) + "}}{{>" + std::to_string(i - 1) + "}}");
    EXPECT_EQ(rendered("{{>60}}", {}, doubling), "error 2: The rendering takes too many steps");

    const std::string megabyte(1 << 20, 'x');
    EXPECT_EQ(rendered("{{#list}}{{#list}}{{text}}{{/list}}{{/list}}",
                       Dictionary{{"list", Array(20, Value(1))}, {"text", megabyte}}),
              "error 2: The rendering is too long");
}

TEST(MustacheRendering, GoesAsDeepAsItsBoundUnderAnyTag) {
    // Data nested in data, each level through a partial, a section and an object's own rendering.
    const auto wrap = GRMustacheRendering::renderingObjectWithBlock(
        [](const GRMustacheTag& tag, const GRMustacheContext& context, bool& HTMLSafe) {
            return tag.renderContentWithContext(context, HTMLSafe);
        });
    GRMustacheValue tree = GRMustacheDictionary{{"child", nullptr}};
    for (int i = 0; i < 165; ++i)
        tree = GRMustacheDictionary{{"child", GRMustacheArray{tree}}};
    const Partials partials = {{"node", "({{#child}}{{#wrap}}{{>node}}{{/wrap}}{{/child}})"}};
    const std::string text =
        rendered("{{#tree}}{{>node}}{{/tree}}", GRMustacheDictionary{{"tree", tree}, {"wrap", wrap}}, partials);
    EXPECT_EQ(text, std::string(166, '(') + std::string(166, ')'));
}

}  // namespace
}  // namespace qs
