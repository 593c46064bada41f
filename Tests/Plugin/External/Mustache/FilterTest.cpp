// Filters, tag delegates, and what they are told.
#include "GRMustacheFilter.h"

#include "GRMustacheExpression.h"
#include "GRMustacheTag.h"
#include "GRMustacheTagDelegate.h"
#include "MustacheTest.h"

namespace qs {
namespace {

struct Case {
    const char* text;
    const char* result;
};

std::shared_ptr<GRMustacheFilter> adder() {
    return GRMustacheFilter::variadicFilterWithBlock(
        [](std::span<const GRMustacheValue> arguments) -> Result<GRMustacheValue> {
            std::int64_t sum = 0;
            for (const GRMustacheValue& each : arguments)
                sum += each.plistValue().integerValue();
            return GRMustacheValue(sum);
        });
}

TEST(MustacheFilter, AppliesOneToAnother) {
    const auto bracket =
        GRMustacheFilter::filterWithBlock([](const GRMustacheValue& object) -> Result<GRMustacheValue> {
            return GRMustacheValue("[" + object.description() + "]");
        });
    // A filter whose result is a filter.
    const auto prefixer =
        GRMustacheFilter::filterWithBlock([](const GRMustacheValue& prefix) -> Result<GRMustacheValue> {
            return GRMustacheValue(GRMustacheFilter::filterWithBlock(
                [kept = prefix.retained()](const GRMustacheValue& object) -> Result<GRMustacheValue> {
                    return GRMustacheValue(kept.description() + object.description());
                }));
        });
    const auto maker = GRMustacheFilter::filterWithBlock([](const GRMustacheValue& object) -> Result<GRMustacheValue> {
        return GRMustacheValue(GRMustacheDictionary{{"made", GRMustacheArray{object.retained()}}});
    });
    const auto failing = GRMustacheFilter::filterWithBlock(
        [](const GRMustacheValue&) -> Result<GRMustacheValue> { return failure("Test", 7, "no luck"); });
    const GRMustacheDictionary data{{"b", bracket},   {"pre", prefixer},
                                    {"sum", adder()}, {"failing", failing},
                                    {"make", maker},  {"lib", GRMustacheDictionary{{"b", bracket}}},
                                    {"one", 1},       {"two", 2},
                                    {"empty", ""},    {"null", GRMustacheValue::null()},
                                    {"text", "<a>"},  {"user", Dictionary{{"name", "Ada"}}}};
    const Case cases[] = {
        {"{{b(one)}}", "[1]"},
        {"{{ b ( one ) }}", "[1]"},
        {"{{b(text)}}{{{b(text)}}}", "[&lt;a&gt;][<a>]"},
        {"{{b(b(one))}}", "[[1]]"},
        {"{{lib.b(user.name)}}", "[Ada]"},
        {"{{#text}}{{b(.)}}{{/text}}", "[&lt;a&gt;]"},
        {"{{b(missing)}}", "[]"},
        {"{{make(text).made.firstObject}}", "&lt;a&gt;"},
        {"{{#make(text).made}}{{.}}{{/make(text).made}}", "&lt;a&gt;"},
        {"{{#b(one)}}{{.}}{{^}}none{{/ b(one) }}", "[1]"},
        {"{{sum(one)}}{{sum(one, two)}}{{sum(one,two,two)}}", "135"},
        {"{{pre(one)(two)}}{{pre(one, two)}}", "1212"},
        {"{{sum(sum(one, one), two)}}", "4"},
        {"{{#sum(one)}}yes{{/}}", "yes"},
        {"{{nobody(one)}}", "error 2: Missing filter in tag `{{nobody(one)}}` at line 1"},
        {"\n{{#b(nobody(one))}}{{/}}", "error 2: Missing filter in tag `{{#b(nobody(one))}}` at line 2"},
        {"{{one(two)}}",
         "error 2: Object does not conform to GRMustacheFilter protocol in tag `{{one(two)}}` at line 1: 1"},
        {"{{b(one)(two)}}",
         "error 2: Object does not conform to GRMustacheFilter protocol in tag `{{b(one)(two)}}` at line 1: [1]"},
        {"{{empty(two)}}",
         "error 2: Object does not conform to GRMustacheFilter protocol in tag `{{empty(two)}}` at line 1: "},
        {"{{null(two)}}",
         "error 2: Object does not conform to GRMustacheFilter protocol in tag `{{null(two)}}` at line 1: <null>"},
        {"{{failing(one)}}", "error 7: no luck"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(rendered(c.text, data), c.result) << c.text;
    EXPECT_EQ(rendered("{{>p}}", data, {{"p", "{{nobody(one)}}"}}),
              "error 2: Missing filter in tag `{{nobody(one)}}` at line 1 of template p");
    EXPECT_EQ(rendered("{{>p}}", data, {{"p", "\n{{two(one)}}"}}),
              "error 2: Object does not conform to GRMustacheFilter protocol in tag `{{two(one)}}` at line 2 of "
              "template p: 2");
}

// Writes down what it is told, and puts a value in place of another.
class Watcher final : public GRMustacheTagDelegate {
public:
    Watcher(std::string name, std::string& log) : name_(std::move(name)), log_(log) {}
    GRMustacheValue mustacheTagWillRenderObject(const GRMustacheTag& tag, const GRMustacheValue& object) override {
        log_ += name_ + "?" + std::string(tag.expression().identifier()) + "=" + object.description() + " ";
        if (tag.type() == GRMustacheTagType::Variable) return object.description() + name_;
        return object;
    }
    void mustacheTagDidRenderObjectAs(const GRMustacheTag&, const GRMustacheValue& object,
                                      std::string_view rendering) override {
        log_ += name_ + "!" + object.description() + "=" + std::string(rendering) + " ";
    }
    void mustacheTagDidFailRenderingObjectWithError(const GRMustacheTag& tag, const GRMustacheValue&,
                                                    const Error& error) override {
        log_ += name_ + "#" + std::string(tag.token().templateSubstring()) + error.description + " ";
    }

private:
    std::string name_;
    std::string& log_;
};

TEST(MustacheTagDelegate, SeesEveryTagAndMayReplaceItsValue) {
    std::string log;
    const auto made =
        *GRMustacheTemplateRepository::templateRepository()->templateFromString("{{a}}{{#s}}<{{b}}>{{/s}}{{c}}");
    made->extendBaseContextWithTagDelegate(std::make_shared<Watcher>("1", log));
    made->extendBaseContextWithTagDelegate(std::make_shared<Watcher>("2", log));
    EXPECT_EQ(outcome(made->renderObject(Dictionary{{"a", "&"}, {"s", true}, {"b", "x"}})), "&amp;21<x21>21");
    // The youngest is asked first and told last.
    EXPECT_EQ(log, "2?a=& 1?a=&2 1!&21=&amp;21 2!&21=&amp;21 "
                   "2?s=1 1?s=1 2?b=x 1?b=x2 1!x21=x21 2!x21=x21 1!1=<x21> 2!1=<x21> "
                   "2?c= 1?c=2 1!21=21 2!21=21 ");
}

TEST(MustacheTagDelegate, HearsOfFailuresFromTheInsideOut) {
    std::string log;
    const auto failing = GRMustacheRendering::renderingObjectWithBlock(
        [](const GRMustacheTag&, const GRMustacheContext&, bool&) -> Result<std::string> {
            return failure("Test", 7, "no luck");
        });
    const auto made =
        *GRMustacheTemplateRepository::templateRepository()->templateFromString("{{#s}}{{#f}}{{/f}}{{/s}}{{s}}");
    made->extendBaseContextWithTagDelegate(std::make_shared<Watcher>("1", log));
    made->extendBaseContextWithTagDelegate(std::make_shared<Watcher>("2", log));
    EXPECT_EQ(outcome(made->renderObject(GRMustacheDictionary{{"s", true}, {"f", failing}})), "error 7: no luck");
    EXPECT_EQ(log,
              "2?s=1 1?s=1 2?f=<object> 1?f=<object> 1#{{#f}}no luck 2#{{#f}}no luck 1#{{#s}}no luck 2#{{#s}}no luck ");
}

TEST(MustacheTagDelegate, WatchesOnlyWhereItWasPushed) {
    std::string log;
    const GRMustacheDictionary data{{"watcher", std::make_shared<Watcher>("w", log)}, {"a", "x"}};
    EXPECT_EQ(rendered("{{a}}{{#watcher}}{{a}}{{/watcher}}{{a}}", data), "xxwx");
    EXPECT_EQ(log, "w?a=x w!xw=xw ");
}

TEST(MustacheTag, DescribesItself) {
    const auto told = GRMustacheRendering::renderingObjectWithBlock(
        [](const GRMustacheTag& tag, const GRMustacheContext&, bool& HTMLSafe) -> Result<std::string> {
            HTMLSafe = true;
            return tag.description();
        });
    EXPECT_EQ(rendered("{{a}}\n{{#a}}{{/a}}{{>p}}", GRMustacheDictionary{{"a", told}}, {{"p", "{{{a}}}"}}),
              "<GRMustacheVariableTag `{{a}}` at line 1>\n<GRMustacheSectionTag `{{#a}}` at line 2>"
              "<GRMustacheVariableTag `{{{a}}}` at line 1 of template p>");
}

}  // namespace
}  // namespace qs
