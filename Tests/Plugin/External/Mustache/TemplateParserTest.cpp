#include "GRMustacheTemplateParser.h"

#include <algorithm>

#include "Foundation/Format.h"
#include "GRMustacheConfiguration.h"
#include "GRMustacheToken.h"
#include "MustacheTest.h"

namespace qs {
namespace {

// Writes what it is given as "type@line[whole|inner]", and stops after `limit` tokens.
class Recorder final : public GRMustacheTemplateParserDelegate {
public:
    explicit Recorder(std::size_t limit = 1000) : limit_(limit) {}
    bool templateParserShouldContinueAfterParsingToken(GRMustacheTemplateParser&,
                                                       const GRMustacheToken& token) override {
        seen += stringWithFormat("%ld@%lu[%@|%@]",
                                 {static_cast<std::int64_t>(token.type), static_cast<std::int64_t>(token.line),
                                  token.templateSubstring(), token.tagInnerContent()});
        return --limit_ > 0;
    }
    void templateParserDidFailWithError(GRMustacheTemplateParser&, Error error) override {
        seen += "!" + error.description;
    }
    std::string seen;

private:
    std::size_t limit_;
};

std::string tokens(std::string_view text, const GRMustacheConfiguration& configuration = {},
                   const std::string* templateID = nullptr) {
    Recorder recorder;
    GRMustacheTemplateParser parser(configuration);
    parser.setDelegate(&recorder);
    parser.parseTemplateString(text, templateID);
    return recorder.seen;
}

struct Case {
    const char* text;
    const char* tokens;
};

TEST(MustacheTokenizer, FindsTextAndTagsOfEachKind) {
    const Case cases[] = {
        {"", ""},
        {"a { b }} c", "0@1[a { b }} c|a { b }} c]"},
        {"{{name}}", "1@1[{{name}}|name]"},
        {"{{ name }}", "1@1[{{ name }}| name ]"},
        {"{{! text }}", "2@1[{{! text }}| text ]"},
        {"{{{name}}}", "3@1[{{{name}}}|name]"},
        {"{{&name}}", "3@1[{{&name}}|name]"},
        {"{{#name}}", "4@1[{{#name}}|name]"},
        {"{{^name}}", "5@1[{{^name}}|name]"},
        {"{{/name}}", "6@1[{{/name}}|name]"},
        {"{{>name}}", "7@1[{{>name}}|name]"},
        {"{{=<% %>=}}", "8@1[{{=<% %>=}}|<% %>]"},
        {"{{%NAME}}", "9@1[{{%NAME}}|NAME]"},
        {"{{<name}}", "10@1[{{<name}}|name]"},
        {"{{$name}}", "11@1[{{$name}}|name]"},
        {"a{{b}}c{{d}}e", "0@1[a|a]1@1[{{b}}|b]0@1[c|c]1@1[{{d}}|d]0@1[e|e]"},
        {"{{a}}\n", "1@1[{{a}}|a]0@2[\n|\n]"},
        {"{{}}", "1@1[{{}}|]"},
        {"{{#}}", "4@1[{{#}}|]"},
        // The sigil stands right behind the delimiter.
        {"{{ #a}}", "1@1[{{ #a}}| #a]"},
        {"{{*a}}", "1@1[{{*a}}|*a]"},
        // The first end ends the tag.
        {"{{a}}}", "1@1[{{a}}|a]0@1[}|}]"},
        {"{{\"}}\"}}", "1@1[{{\"}}|\"]0@1[\"}}|\"}}]"},
        {"{{{a}} }}}", "3@1[{{{a}} }}}|a}} ]"},
        {"{{! {{a}} }}", "2@1[{{! {{a}}| {{a]0@1[ }}| }}]"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(tokens(c.text), c.tokens) << c.text;
}

TEST(MustacheTokenizer, CountsLineFeedsAlone) {
    const Case cases[] = {
        {"{{a}}\n{{b}}", "1@1[{{a}}|a]0@2[\n|\n]1@2[{{b}}|b]"},
        {"{{a\n}}{{b}}", "1@1[{{a\n}}|a\n]1@2[{{b}}|b]"},
        {"{{!\n\n}}x\n{{{\nb}}}{{c}}", "2@1[{{!\n\n}}|\n\n]0@4[x\n|x\n]3@4[{{{\nb}}}|\nb]1@5[{{c}}|c]"},
        {"\r\r{{a}}", "0@1[\r\r|\r\r]1@1[{{a}}|a]"},
        {"\r\n{{=\n| |\n=}}|a|", "0@2[\r\n|\r\n]8@2[{{=\n| |\n=}}|\n| |\n]1@4[|a||a]"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(tokens(c.text), c.tokens) << c.text;
}

TEST(MustacheTokenizer, ChangesDelimitersFromTheTagOn) {
    const Case cases[] = {
        {"{{=<% %>=}}<%a%>{{a}}", "8@1[{{=<% %>=}}|<% %>]1@1[<%a%>|a]0@1[{{a}}|{{a}}]"},
        {"{{=| |=}}|a||={{ }}=|{{b}}", "8@1[{{=| |=}}|| |]1@1[|a||a]8@1[|={{ }}=||{{ }}]1@1[{{b}}|b]"},
        // The triple form belongs to the usual delimiters, the sigil to all.
        {"{{=<% %>=}}<%{a%>{{{a}}}", "8@1[{{=<% %>=}}|<% %>]3@1[<%{a%>|a]0@1[{{{a}}}|{{{a}}}]"},
        {"{{=<% %>=}}<%{a}%>", "8@1[{{=<% %>=}}|<% %>]3@1[<%{a}%>|a}]"},
        {"{{=<% %>=}}<%={{ }}=%>{{{a}}}", "8@1[{{=<% %>=}}|<% %>]8@1[<%={{ }}=%>|{{ }}]3@1[{{{a}}}|a]"},
        {"{{= \t<%\n %> =}}<%a%>", "8@1[{{= \t<%\n %> =}}| \t<%\n %> ]1@2[<%a%>|a]"},
        // An empty tag has no sigil, even where the end delimiter looks like one.
        {"{{=< >=}}<><a>", "8@1[{{=< >=}}|< >]1@1[<>|]1@1[<a>|a]"},
        {"{{=aaaaaaaaaaaab bbbbbbbbbbbba=}}aaaaaaaaaaaaabxbbbbbbbbbbbbbba",
         "8@1[{{=aaaaaaaaaaaab bbbbbbbbbbbba=}}|aaaaaaaaaaaab bbbbbbbbbbbba]0@1[a|a]"
         "1@1[aaaaaaaaaaaabxbbbbbbbbbbbbbba|xbb]"},
        {"{{=a=}}", "!Parse error at line 1: Invalid set delimiters tag"},
        {"{{==}}", "!Parse error at line 1: Invalid set delimiters tag"},
        {"\n{{=a b c=}}", "0@2[\n|\n]!Parse error at line 2: Invalid set delimiters tag"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(tokens(c.text), c.tokens) << c.text;
}

TEST(MustacheTokenizer, TellsWhereAnUnclosedTagBegan) {
    const Case cases[] = {
        {"{{", "!Parse error at line 1: Unclosed Mustache tag"},
        {"a\n{{! unclosed\n\n", "0@2[a\n|a\n]!Parse error at line 2: Unclosed Mustache tag"},
        {"{{{a}}", "!Parse error at line 1: Unclosed Mustache tag"},
        {"{{=a b}}", "!Parse error at line 1: Unclosed Mustache tag"},
        {"{{a}", "!Parse error at line 1: Unclosed Mustache tag"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(tokens(c.text), c.tokens) << c.text;
    const std::string id = "letter";
    EXPECT_EQ(tokens("{{a", {}, &id), "!Parse error at line 1 of template letter: Unclosed Mustache tag");
}

TEST(MustacheTokenizer, TakesDelimitersFromTheConfiguration) {
    GRMustacheConfiguration configuration;
    configuration.setTagStartDelimiter("<?");
    configuration.setTagEndDelimiter("?>");
    EXPECT_EQ(tokens("{{a}}<?#b?>", configuration), "0@1[{{a}}|{{a}}]4@1[<?#b?>|b]");
}

TEST(MustacheTokenizer, StopsWhenTheDelegateSaysSo) {
    Recorder recorder(2);
    GRMustacheTemplateParser parser{GRMustacheConfiguration()};
    parser.setDelegate(&recorder);
    parser.parseTemplateString("a{{b}}c{{", nullptr);
    EXPECT_EQ(recorder.seen, "0@1[a|a]1@1[{{b}}|b]");
}

TEST(MustacheTokenizer, RefusesANilString) {
    Recorder recorder;
    GRMustacheTemplateParser parser{GRMustacheConfiguration()};
    parser.setDelegate(&recorder);
    parser.parseTemplateString(std::nullopt, nullptr);
    EXPECT_EQ(recorder.seen, "!Nil template string can not be parsed.");
}

TEST(MustacheTokenizer, ReadsNames) {
    struct NameCase {
        const char* content;
        const char* templateName;
        const char* sectionName;
        bool empty;
    };
    const NameCase cases[] = {
        {"a/b.c", "a/b.c", "a/b.c", false},
        {" \n name\t", "name", "name", false},
        {"\u00A0\u3000name\u2028", "name", "name", false},
        {" \n ", "Missing template name", "Missing inheritable section name", true},
        {"", "Missing template name", "Missing inheritable section name", true},
        {"a b", "Invalid template name", "Invalid inheritable section name", false},
        {"a\u2003b", "Invalid template name", "Invalid inheritable section name", false},
    };
    const auto text = [](const Result<std::string_view>& name) {
        return name ? std::string(*name) : name.error().description;
    };
    for (const NameCase& c : cases) {
        bool empty = !c.empty;
        EXPECT_EQ(text(GRMustacheTemplateParser::parseTemplateName(c.content, empty)), c.templateName) << c.content;
        EXPECT_EQ(empty, c.empty) << c.content;
        empty = !c.empty;
        EXPECT_EQ(text(GRMustacheTemplateParser::parseInheritableSectionName(c.content, empty)), c.sectionName);
        EXPECT_EQ(empty, c.empty) << c.content;
    }
    EXPECT_EQ(GRMustacheTemplateParser::parsePragma(" CONTENT_TYPE:TEXT "), "CONTENT_TYPE:TEXT");
    EXPECT_EQ(GRMustacheTemplateParser::parsePragma(" \n"), std::nullopt);
}

}  // namespace
}  // namespace qs
