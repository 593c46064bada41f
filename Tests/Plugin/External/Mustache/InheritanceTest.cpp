// Templates that inherit from others: who overrides whose sections.
#include "MustacheTest.h"

namespace qs {
namespace {

struct Case {
    const char* why;
    const char* text;
    const char* result;
};

const Partials kPartials = {
    {"layout", "<{{$title}}Title{{/title}}|{{$body}}Body of {{name}}{{/body}}>"},
    {"page", "{{<layout}}{{$title}}Page{{/title}}{{/layout}}"},
    {"special", "{{<page}}{{$body}}Special{{/body}}{{/page}}"},
    {"includes", "({{>layout}})"},
    {"nested", "{{$outer}}o[{{$inner}}i{{/inner}}]{{/outer}}"},
    {"twice", "{{$a}}1{{/a}}{{$a}}2{{/a}}"},
    {"conditional", "{{#name}}{{$a}}a of {{name}}{{/a}}{{/name}}"},
    {"titled", "{{$title}}Titled{{/title}}"},
    {"list", "{{#list}}{{$item}}-{{/item}}{{/list}}"},
    {"recursive", "{{name}}{{#child}}{{<recursive}}{{$x}}inner{{/x}}{{/recursive}}{{/child}}{{$x}}-{{/x}}"},
};

TEST(MustacheInheritance, OverridesSectionsOfTheSameName) {
    const Case cases[] = {
        {"a section alone shows its default", "{{$a}}default {{name}}{{/a}}", "default Ada"},
        {"a partial shows its defaults", "{{>layout}}", "<Title|Body of Ada>"},
        {"nothing overridden", "{{<layout}}{{/layout}}", "<Title|Body of Ada>"},
        {"blank closing tag", "{{<layout}}{{$title}}T{{/}}{{/}}", "<T|Body of Ada>"},
        {"one overridden", "{{<layout}}{{$title}}{{name}}'s{{/title}}{{/layout}}", "<Ada's|Body of Ada>"},
        {"all else is dropped", "{{<layout}} x {{name}} {{>titled}}{{#name}}{{$title}}no{{/title}}{{/name}}{{/layout}}",
         "<Title|Body of Ada>"},
        {"an unknown name changes nothing", "{{<layout}}{{$other}}x{{/other}}{{/layout}}", "<Title|Body of Ada>"},
        {"the last of equal names counts", "{{<layout}}{{$title}}1{{/}}{{$title}}2{{/}}{{/layout}}", "<2|Body of Ada>"},
        {"through two levels", "{{<page}}{{$body}}B{{/body}}{{/page}}", "<Page|B>"},
        {"the outermost has the last word", "{{<page}}{{$title}}Mine{{/title}}{{/page}}", "<Mine|Body of Ada>"},
        {"through three levels", "{{<special}}{{$title}}Mine{{/title}}{{/special}}", "<Mine|Special>"},
        {"through a partial", "{{<includes}}{{$title}}T{{/title}}{{/includes}}", "(<T|Body of Ada>)"},
        {"every place of the name", "{{<twice}}{{$a}}x{{/a}}{{/twice}}", "xx"},
        {"inside a section", "{{<conditional}}{{$a}}x{{/a}}{{/conditional}}", "x"},
        {"in every round of a list", "{{<list}}{{$item}}{{.}};{{/item}}{{/list}}", "1;2;"},
        {"the inner of nested ones", "{{<nested}}{{$inner}}x{{/inner}}{{/nested}}", "o[x]"},
        {"the outer of nested ones", "{{<nested}}{{$outer}}x{{/outer}}{{/nested}}", "x"},
        {"a section of its own within an override",
         "{{<nested}}{{$outer}}x[{{$inner}}y{{/inner}}]{{/outer}}{{/nested}}", "x[y]"},
        {"an override within an override",
         "{{<nested}}{{$outer}}{{$inner}}y{{/inner}}{{/outer}}{{$inner}}z{{/inner}}{{/nested}}", "z"},
        {"two heirs beside one another",
         "{{<titled}}{{$title}}1{{/title}}{{/titled}}{{<titled}}{{$title}}2{{/title}}{{/titled}}{{>titled}}",
         "12Titled"},
        {"an heir among the overriding nodes lends its parent's sections",
         "{{<layout}}{{<titled}}{{/titled}}{{/layout}}", "<Titled|Body of Ada>"},
        {"and its own before those", "{{<layout}}{{<titled}}{{$title}}x{{/title}}{{/titled}}{{/layout}}",
         "<x|Body of Ada>"},
        {"an heir before a section gives way", "{{<layout}}{{<titled}}{{/titled}}{{$title}}x{{/title}}{{/layout}}",
         "<x|Body of Ada>"},
        {"an heir behind a section doesn't", "{{<layout}}{{$title}}x{{/title}}{{<titled}}{{/titled}}{{/layout}}",
         "<Titled|Body of Ada>"},
        {"a layout that inherits from itself", "{{<recursive}}{{$x}}outer{{/x}}{{/recursive}}", "AdaBobinnerouter"},
    };
    const Value data =
        Dictionary{{"name", "Ada"}, {"list", Array{1, 2}}, {"child", Dictionary{{"name", "Bob"}, {"child", false}}}};
    for (const Case& c : cases)
        EXPECT_EQ(rendered(c.text, data, kPartials), c.result) << c.why;
}

TEST(MustacheInheritance, RefusesAParentOfAnotherContentType) {
    const Partials partials = {{"text", "{{%CONTENT_TYPE:TEXT}}{{$a}}{{/a}}"},
                               {"self", "{{%CONTENT_TYPE:TEXT}}{{#x}}{{<self}}{{/self}}{{/x}}self"}};
    EXPECT_EQ(rendered("\n{{<text}}{{/text}}", {}, partials), "error 0: Parse error at line 2: HTML safety mismatch");
    EXPECT_EQ(renderedAsText("{{<text}}{{$a}}x{{/a}}{{/text}}", {}, partials), "x");
    // A template in the making has no content type yet.
    EXPECT_EQ(rendered("{{>self}}", {}, partials), "self");
}

TEST(MustacheInheritance, FindsItsWayThroughCircles) {
    // Each looks into the other for a section that neither has.
    const Partials partials = {{"a", "{{#no}}{{<b}}{{<a}}{{/a}}{{/b}}{{/no}}{{<b}}{{<c}}{{/c}}{{/b}}"},
                               {"b", "{{$x}}default{{/x}}"},
                               {"c", "{{<d}}{{<c}}{{/c}}{{/d}}"},
                               {"d", "{{<c}}{{/c}}"}};
    EXPECT_EQ(rendered("{{>a}}", {}, partials), "default");
}

TEST(MustacheInheritance, IsQuickWhereHeirsDouble) {
    // Without a memory of what was looked through, the search would take 2^60 steps.
    Partials partials{{"0", "{{$other}}{{/other}}"}, {"layout", "{{$x}}default{{/x}}"}};
    for (int i = 1; i <= 60; ++i) {
        const std::string below = "{{<" + std::to_string(i - 1) + "}}{{/}}";
        partials.emplace(std::to_string(i), below + below);
    }
    EXPECT_EQ(rendered("{{<layout}}{{<60}}{{/}}{{/layout}}", {}, partials), "default");
}

}  // namespace
}  // namespace qs
