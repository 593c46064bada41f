#include "StandardLibrary/GRMustacheStandardLibrary.h"

#include <thread>
#include <vector>

#include "Foundation/Bundle.h"
#include "Foundation/PropertyList.h"
#include "MustacheTest.h"
#include "StandardLibrary/GRMustacheEscapers.h"
#include "StandardLibrary/GRMustacheLocalizer.h"
#include "Support/TemporaryFolder.h"

namespace qs {
namespace {

struct Case {
    const char* text;
    const char* result;
};

TEST(MustacheStandardLibrary, ChangesCase) {
    const Dictionary data{{"text", "ada LOVELACE of ÖSTERREICH"},
                          {"sharp", "straße"},
                          {"number", 1.5},
                          {"null", Value()},
                          {"list", Array{"a", "b"}},
                          {"greek", "ΌΣΟΣ"},
                          {"hyphen", "jean-luc o2-arena"},
                          {"broken", "\xFF"
                                     "Ä"}};
    const Case cases[] = {
        {"{{uppercase(text)}}", "ADA LOVELACE OF ÖSTERREICH"},
        {"{{lowercase(text)}}", "ada lovelace of österreich"},
        {"{{capitalized(text)}}", "Ada Lovelace Of Österreich"},
        {"{{capitalized(hyphen)}}", "Jean-Luc O2-Arena"},
        {"{{uppercase(sharp)}}", "STRASSE"},
        {"{{lowercase(greek)}}", "όσος"},
        {"{{uppercase(number)}}{{lowercase(number)}}", "1.51.5"},
        {"{{uppercase(null)}}{{lowercase(null)}}{{capitalized(null)}}{{uppercase(missing)}}", ""},
        {"{{uppercase(list)}}", "(A, B)"},
        {"{{#uppercase(text)}}yes{{/}}{{^uppercase(null)}}no{{/}}", "yesno"},
        {"{{lowercase(broken)}}", "\xFFä"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(rendered(c.text, data), c.result) << c.text;
}

TEST(MustacheStandardLibrary, ChangesCaseAtEveryLengthAndPlace) {
    // Whole words, leftovers, and the neighbours of letters.
    for (std::size_t length = 1; length <= 20; ++length) {
        for (char c = 1; c < 0x7F; ++c) {
            std::string text(length, '[');
            text[length - 1] = text[length / 2] = c;
            const auto changed = [&](char from, char to, char shift) {
                std::string all = text;
                for (char& each : all)
                    if (each >= from && each <= to) each = static_cast<char>(each + shift);
                return all;
            };
            const Dictionary data{{"v", text}};
            ASSERT_EQ(rendered("{{{uppercase(v)}}}", data), changed('a', 'z', 'A' - 'a'));
            ASSERT_EQ(rendered("{{{lowercase(v)}}}", data), changed('A', 'Z', 'a' - 'A'));
        }
    }
    EXPECT_EQ(rendered("{{uppercase(v)}}", Dictionary{{"v", "twelve letters é"}}), "TWELVE LETTERS É");
}

TEST(MustacheStandardLibrary, KnowsBlankAndEmpty) {
    struct ValueCase {
        const char* what;
        GRMustacheValue value;
        const char* both;  // isBlank, isEmpty
    };
    const ValueCase cases[] = {
        {"nil", {}, "11"},
        {"null", GRMustacheValue::null(), "11"},
        {"empty", "", "11"},
        {"blanks", " \t\n\u00A0\u2003\u2028", "10"},
        {"text", " a ", "00"},
        {"no-width space", "\u200B", "00"},
        {"zero", 0, "00"},
        {"false", false, "00"},
        {"empty list", Array{}, "11"},
        {"list with an empty text", Array{""}, "00"},
        {"empty dictionary", Dictionary{}, "00"},
        {"empty list of values", GRMustacheArray{}, "11"},
    };
    for (const ValueCase& c : cases)
        EXPECT_EQ(rendered("{{isBlank(v)}}{{isEmpty(v)}}", GRMustacheDictionary{{"v", c.value}}), c.both) << c.what;
    EXPECT_EQ(rendered("{{isBlank(missing)}}{{^isBlank(v)}}has text{{/}}", Dictionary{{"v", "x"}}), "1has text");
}

TEST(MustacheStandardLibrary, Escapes) {
    const GRMustacheHTMLEscapeFilter html;
    const GRMustacheJavascriptEscaper javascript;
    const GRMustacheURLEscapeFilter url;
    EXPECT_EQ(html.escape("a&<>\"'é"), "a&amp;&lt;&gt;&quot;&apos;é");
    EXPECT_EQ(html.escape(""), "");
    EXPECT_EQ(javascript.escape("\"&'-;<=>\\"), "\\u0022\\u0026\\u0027\\u002D\\u003B\\u003C\\u003D\\u003E\\u005C");
    EXPECT_EQ(javascript.escape(std::string_view("a\0\n\x1F\x7F é\u2028\u2029\u2027", 17)),
              "a\\u0000\\u000A\\u001F\x7F é\\u2028\\u2029\u2027");
    EXPECT_EQ(url.escape("aZ09-_.~!*'()"), "aZ09-_.~!*'()");
    EXPECT_EQ(url.escape("\t\n\r \"#$&+,/:;<=>?@"), "%09%0A%0D%20%22%23%24%26%2B%2C%2F%3A%3B%3C%3D%3E%3F%40");
    EXPECT_EQ(url.escape("%[]^`{|}\\é"), "%25%5B%5D%5E%60%7B%7C%7D%5C%C3%A9");
}

TEST(MustacheStandardLibrary, EscapesAtEveryLengthAndPlace) {
    // Blocks, halves and leftovers of the scan.
    const GRMustacheHTMLEscapeFilter html;
    for (std::size_t length = 0; length <= 70; ++length) {
        const std::string plain(length, 'x');
        EXPECT_EQ(html.escape(plain), plain);
        for (std::size_t at = 0; at < length; ++at) {
            for (const char special : {'&', '<', '>', '"', '\''}) {
                std::string text = plain;
                text[at] = special;
                const std::string replaced = html.escape(std::string_view(&special, 1));
                ASSERT_EQ(html.escape(text), plain.substr(0, at) + replaced + plain.substr(at + 1));
            }
        }
    }
    EXPECT_EQ(html.escape("<<<<<<<<<<<<<<<<<<<<"), rendered("{{a}}", Dictionary{{"a", std::string(20, '<')}}));
}

TEST(MustacheStandardLibrary, EscapesAsFilterAndAsSection) {
    const auto safe = GRMustacheRendering::renderingObjectWithBlock(
        [](const GRMustacheTag&, const GRMustacheContext&, bool& HTMLSafe) -> Result<std::string> {
            HTMLSafe = true;
            return "<i>";
        });
    const GRMustacheDictionary data{
        {"x", "a b&'"}, {"list", Array{"<", ">"}}, {"yes", true}, {"null", GRMustacheValue::null()}, {"safe", safe}};
    const Case cases[] = {
        {"{{URL.escape(x)}}", "a%20b%26&apos;"},
        {"{{{URL.escape(x)}}}", "a%20b%26'"},
        {"{{javascript.escape(x)}}", "a b\\u0026\\u0027"},
        {"{{{HTML.escape(x)}}}", "a b&amp;&apos;"},
        {"{{HTML.escape(x)}}", "a b&amp;amp;&amp;apos;"},
        {"{{URL.escape(null)}}{{URL.escape(missing)}}", ""},
        // The text around variables stays as it is.
        {"{{#URL.escape}}a b {{x}}{{/URL.escape}}", "a b a%20b%26&apos;"},
        {"{{#javascript.escape}}'{{{x}}}'{{/}}", "'a b\\u0026\\u0027'"},
        {"{{#URL.escape}}{{#list}}{{.}}/{{/list}}{{list}}{{/}}", "%3C/%3E/%3C%3E"},
        {"{{#URL.escape}}{{#yes}}{{x}}{{/yes}}{{^yes}}no{{/yes}}{{/}}", "a%20b%26&apos;"},
        {"{{#HTML.escape}}{{{x}}}{{{safe}}}{{/}}", "a b&amp;&apos;&lt;i&gt;"},
        {"{{#URL.escape}}{{#javascript.escape}}{{{x}}}{{/}}{{/}}", "a%20b%5Cu0026%5Cu0027"},
        {"{{^URL.escape}}no{{/}}", ""},
    };
    for (const Case& c : cases)
        EXPECT_EQ(rendered(c.text, data), c.result) << c.text;
}

TEST(MustacheStandardLibrary, CountsWithEach) {
    const Dictionary data{{"items", Array{"a", "b", "c"}},
                          {"dictionary", Dictionary{{"x", 1}, {"y", Dictionary{{"z", 2}}}}},
                          {"people", Array{Dictionary{{"name", "Ada"}}, Dictionary{{"name", "Bob"}}}},
                          {"rows", Array{Array{1, 2}, Array{3}}},
                          {"none", Array{}},
                          {"mixed", Array{"<", 1, Value()}},
                          {"null", Value()},
                          {"number", 5}};
    const Case cases[] = {
        {"{{#each(items)}}{{@index}}{{/}}", "012"},
        {"{{#each(items)}}{{@indexPlusOne}}{{.}}{{^@last}},{{/}}{{/}}", "1a,2b,3c"},
        {"{{#each(items)}}{{@first}}{{@last}}{{@indexIsEven}}{{@key}};{{/}}", "101;000;011;"},
        {"{{#each(dictionary)}}{{@key}}={{.}}{{z}}{{@last}} {{/}}", "x=10 y={z = 2;}21 "},
        {"{{#each(people)}}{{@index}}{{name}}{{/}}", "0Ada1Bob"},
        {"{{#each(rows)}}{{@index}}:{{#each(.)}}{{@index}}{{.}},{{/}}{{/}}", "0:01,12,1:03,"},
        {"{{#each(none)}}x{{^}}none{{/}}", "none"},
        {"{{each(items)}}", "abc"},
        {"{{each(mixed)}}", "&lt;1"},
        {"{{#each(items).lastObject}}{{@index}}{{.}}{{/}}", "2c"},
        {"{{each(items).count}}", "3"},
        {"{{#items}}{{@index}}{{/items}}", ""},
        {"{{each(number)}}",
         "error 2: each filter in tag <GRMustacheVariableTag `{{each(number)}}` at line 1> expects its "
         "arguments to conform to the NSFastEnumeration protocol. 5 is not."},
        {"{{#mixed}}{{each(.)}}{{/mixed}}",
         "error 2: each filter in tag <GRMustacheVariableTag `{{each(.)}}` at line 1> expects its arguments to conform "
         "to the NSFastEnumeration protocol. < is not."},
        {"{{each(null)}}",
         "error 2: each filter in tag <GRMustacheVariableTag `{{each(null)}}` at line 1> expects its arguments to "
         "conform to the NSFastEnumeration protocol. <null> is not."},
        {"{{#each(missing)}}{{/}}",
         "error 2: each filter in tag <GRMustacheSectionTag `{{#each(missing)}}` at line 1> expects its arguments to "
         "conform to the NSFastEnumeration protocol. (null) is not."},
    };
    for (const Case& c : cases)
        EXPECT_EQ(rendered(c.text, data), c.result) << c.text;
}

class MustacheLocalizer : public testing::Test {
protected:
    void SetUp() override {
        folder_.write("Info.plist", "<plist version=\"1.0\"><dict/></plist>");
        folder_.write("Resources/en.lproj/Localizable.strings",
                      xmlPropertyList(Dictionary{{"Hello", "Servus"},
                                                 {"Hello %@", "Servus, %@!"},
                                                 {"%@ has %@%%", "%2$@ %% bei %1$@"},
                                                 {"100% sure", "ganz sicher"}}));
        folder_.write("Resources/en.lproj/Other.strings", xmlPropertyList(Dictionary{{"Hello", "Moin"}}));
        bundle_ = *Bundle::open(folder_.path());
    }
    GRMustacheDictionary data() const {
        return {{"l", std::make_shared<GRMustacheLocalizer>(bundle_)},
                {"other", std::make_shared<GRMustacheLocalizer>(bundle_, "Other")},
                {"greeting", "Hello"},
                {"name", "A&B"},
                {"share", 7},
                {"list", Array{1, 2, 3}},
                {"null", GRMustacheValue::null()}};
    }
    TemporaryFolder folder_;
    std::shared_ptr<Bundle> bundle_;
};

TEST_F(MustacheLocalizer, TranslatesValuesAndSections) {
    const Case cases[] = {
        {"{{l(greeting)}}{{other(greeting)}}{{l(name)}}{{l(missing)}}{{l(null)}}", "ServusMoinA&amp;B"},
        {"{{#l}}Hello{{/l}}", "Servus"},
        {"{{#l}}Hello {{name}}{{/l}}", "Servus, A&amp;B!"},
        {"{{#l}}Hello {{{name}}}{{/l}}", "Servus, A&B!"},
        {"{{#l}}{{name}} has {{share}}%{{/l}}", "7 % bei A&amp;B"},
        {"{{#l}}100% sure{{/l}}", "ganz sicher"},
        {"{{#l}}Hello {{#name}}{{.}}{{/name}}{{/l}}", "Servus, A&amp;B!"},
        {"{{#l}}untold {{name}} 100%{{/l}}", "untold A&amp;B 100%"},
        {"{{#l}}{{#list}}{{.}}{{/list}}{{/l}}", "123"},
        {"{{#l}}{{#l}}Hello{{/l}} {{name}}{{/l}}", "Servus A&amp;B"},
        {"{{^l}}no{{/l}}", ""},
        {"{{#l}}{{>}}{{/l}}", "error 0: Parse error at line 1: Missing template name in partial tag"},
        {"{{#l}}{{nobody(name)}}{{/l}}", "error 2: Missing filter in tag `{{nobody(name)}}` at line 1"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(rendered(c.text, data()), c.result) << c.text;
}

TEST_F(MustacheLocalizer, TakesElevenValues) {
    const auto listOf = [&](int count) {
        GRMustacheDictionary all = data();
        all["list"] = Array(static_cast<std::size_t>(count), Value("x"));
        return rendered("{{#l}}{{#list}}{{.}}{{/list}}{{/l}}", all);
    };
    EXPECT_EQ(listOf(11), "xxxxxxxxxxx");
    EXPECT_EQ(listOf(12), "error 2: Not implemented: format with 12 parameters");
}

TEST_F(MustacheLocalizer, OfTheStandardLibraryUsesTheMainBundle) {
    EXPECT_EQ(rendered("{{localize(greeting)}}{{#localize}}Hello {{name}}{{/localize}}", data()), "HelloHello A&amp;B");
    Bundle::setMainBundle(bundle_);
    EXPECT_EQ(rendered("{{localize(greeting)}}{{#localize}}Hello {{name}}{{/localize}}", data()),
              "ServusServus, A&amp;B!");
    Bundle::setMainBundle(nullptr);
}

TEST(MustacheThreads, RenderTheSameTreeAndCompileInTheSameRepository) {
    const auto repository = GRMustacheTemplateRepository::templateRepositoryWithDictionary(
        {{"page", "{{#each(list)}}{{@index}}{{capitalized(name)}}{{>part}}{{/}}{{#localize}}for {{who}}{{/}}"},
         {"part", "({{#URL.escape}}{{name}}{{/}}{{$x}}{{name}}{{/x}})"},
         {"heir", "{{<page}}{{$x}}x{{/x}}{{/page}}"}});
    Array list;
    for (int i = 0; i < 20; ++i)
        list.emplace_back(Dictionary{{"name", "name " + std::to_string(i)}});
    const Value data = Dictionary{{"list", list}, {"who", "Zoë"}};
    const auto shared = *repository->templateNamed("page");
    const std::string page = outcome(shared->renderObject(data));
    const std::string heir = outcome((*repository->templateNamed("heir"))->renderObject(data));
    EXPECT_THAT(page, testing::HasSubstr("1Name 1(name%201name 1)"));
    EXPECT_THAT(heir, testing::HasSubstr("1Name 1(name%201x)"));

    std::vector<std::string> wrong(8);
    std::vector<std::thread> threads;
    for (std::string& each : wrong)
        threads.emplace_back([&] {
            for (int round = 0; round < 50; ++round) {
                if (round % 10 == 0) repository->reloadTemplates();
                const auto own = repository->templateNamed("heir");
                if (outcome(shared->renderObject(data)) != page) each = "page";
                if (!own || outcome((*own)->renderObject(data)) != heir) each = "heir";
            }
        });
    for (std::thread& each : threads)
        each.join();
    EXPECT_THAT(wrong, testing::Each(""));
}

}  // namespace
}  // namespace qs
