#include "Html/HtmlDocument.h"

#include <gtest/gtest.h>

#include "Html/HtmlTreeBuilder.h"
#include "Text/Escapes.h"

namespace qs {
namespace {

TEST(HtmlDocument, RepairsMarkupAsBrowsersDo) {
    struct Case {
        const char* why;
        const char* html;
        const char* body;
    };
    for (const Case& c : {
             Case{"plain text is a body", "Hello", "Hello"},
             Case{"head and body tags are not needed", "<title>x</title><p>a", "<p>a</p>"},
             Case{"a paragraph ends the one before", "<p>a<p>b", "<p>a</p><p>b</p>"},
             Case{"a block ends a paragraph", "<p>a<div>b</div>", "<p>a</p><div>b</div>"},
             Case{"a button shields the paragraph around it", "<p><button><p>a</button>b",
                  "<p><button><p>a</p></button>b</p>"},
             Case{"list items end each other", "<ul><li>a<li>b<ul><li>c</ul><li>d</ul>",
                  "<ul><li>a</li><li>b<ul><li>c</li></ul></li><li>d</li></ul>"},
             Case{"terms too", "<dl><dt>a<dd>b<dt>c</dl>", "<dl><dt>a</dt><dd>b</dd><dt>c</dt></dl>"},
             Case{"table parts are implied", "<table><td>a<td>b<tr><th>c</table>",
                  "<table><tbody><tr><td>a</td><td>b</td></tr><tr><th>c</th></tr></tbody></table>"},
             Case{"loose text goes before its table", "<table><tr>loose<td>a</table>",
                  "loose<table><tbody><tr><td>a</td></tr></tbody></table>"},
             Case{"a loose element too", "<div><table><b>x</b><tr><td>a</table></div>",
                  "<div><b>x</b><table><tbody><tr><td>a</td></tr></tbody></table></div>"},
             Case{"a list item inside a table that nobody ended ends it", "<ul><li>a<table><td>b<tr><li>c</ul>",
                  "<ul><li>a<table><tbody><tr><td>b</td></tr><tr></tr></tbody></table></li><li>c</li></ul>"},
             Case{"also from inside what stands loose there", "<li><table><div><li>a",
                  "<li><div></div><table></table></li><li>a</li>"},
             Case{"so does a term", "<dl><dt>a<table><dd>b</dl>", "<dl><dt>a<table></table></dt><dd>b</dd></dl>"},
             Case{"and a heading", "<h1><table><h2>a", "<h1><table></table></h1><h2>a</h2>"},
             Case{"an item inside a cell does not", "<li><table><td><li>a</table>b",
                  "<li><table><tbody><tr><td><li>a</li></td></tr></tbody></table>b</li>"},
             Case{"a link around a table takes in one that stands loose there",
                  "<a href=1><table><a href=2>a<td>b</table>",
                  "<a href=\"1\">a<table><tbody><tr><td>b</td></tr></tbody></table></a>"},
             Case{"cells keep what is open outside of them", "<b><table><td>a</b>b</table>c",
                  "<b><table><tbody><tr><td>ab</td></tr></tbody></table>c</b>"},
             Case{"a part without a table is dropped", "<td>a</td><tr>b", "ab"},
             Case{"columns get their group", "<table><col width=3><tr><td>a</table>",
                  "<table><colgroup><col width=\"3\"></colgroup><tbody><tr><td>a</td></tr></tbody></table>"},
             Case{"crossed formatting is carried on", "<b>1<i>2</b>3</i>4", "<b>1<i>2</i></b><i>3</i>4"},
             Case{"formatting goes on behind a paragraph's end", "<p><b>a<p>b</b>c", "<p><b>a</b></p><p><b>b</b>c</p>"},
             Case{"formatting that ended inside a block ends with it", "<b><p>a</b>b</p>c", "<b><p>ab</p></b>c"},
             Case{"links don't nest", "<a href=1>x<a href=2>y</a>z", "<a href=\"1\">x</a><a href=\"2\">y</a>z"},
             Case{"headings don't nest", "<h1>a<h2>b</h1>c", "<h1>a</h1><h2>b</h2>c"},
             Case{"options end each other", "<select><option>a<option>b</select>",
                  "<select><option>a</option><option>b</option></select>"},
             Case{"nothing inside of a choice ends what is outside", "<li><p><select><li>a",
                  "<li><p><select><li>a</li></select></p></li>"},
             Case{"an end tag without a start is nothing", "a</div></span>b", "ab"},
             Case{"but for two", "a</p>b</br>c", "a<p></p>b<br>c"},
             Case{"the end of a list ends its items", "<ul><li><div>a</ul>b", "<ul><li><div>a</div></li></ul>b"},
             Case{"void elements hold nothing", "<br/>a<img src=x>b</img>", "<br>a<img src=\"x\">b"},
             Case{"an unfinished tag is dropped", "a<b class=", "a"},
             Case{"a lone bracket is text", "1 < 2 <3 <", "1 &lt; 2 &lt;3 &lt;"},
             Case{"the first of two attributes counts", "<p id=a ID=b>x", "<p id=\"a\">x</p>"},
             Case{"quotes of all kinds", "<p a='1\"2' b=\"3'4\" c=5>x", "<p a=\"1&quot;2\" b=\"3'4\" c=\"5\">x</p>"},
             Case{"entities", "&lt;&eacute;&#8364;&#x20AC;&#128;&amp;lt;&nbsp;&unknown;&",
                  "&lt;é€€€&amp;lt;&nbsp;&amp;unknown;&amp;"},
             Case{"a line end that is written as a number is told from others", "<p title='a&#13;b'>c&#xD;d",
                  "<p title=\"a&#13;b\">c&#13;d</p>"},
             Case{"old entities without a semicolon", "a&ampb &copy 1", "a&amp;b © 1"},
             Case{"but not in an address", "<a href='?x&copy=1'>l</a>", "<a href=\"?x&amp;copy=1\">l</a>"},
             Case{"a script is no markup", "a<script>if (a<b) '<p>'</script>b", "a<script>if (a<b) '<p>'</script>b"},
             Case{"a text without an end has one", "a<plaintext>b<i>\nc</plaintext>",
                  "a<pre>b&lt;i&gt;\nc&lt;/plaintext&gt;</pre>"},
             Case{"also with a line end first", "<plaintext>\nb", "<pre>\n\nb</pre>"},
             Case{"a comment stays one", "a<!-- <p> -->b<!-->c", "a<!-- <p> -->b<!---->c"},
             Case{"processing instructions are comments", "a<?xml version='1'?>b", "a<!--?xml version='1'?-->b"},
             Case{"the line end behind <pre> is layout", "<pre>\n\na</pre>", "<pre>\n\na</pre>"},
             Case{"office elements pass", "<p>a<o:p>&nbsp;</o:p></p>", "<p>a<o:p>&nbsp;</o:p></p>"},
             Case{"a block leaves a drawing that was not closed", "<svg><path d='1'/><p>a",
                  "<svg><path d=\"1\"></path></svg><p>a</p>"},
             Case{"a body tag brings its attributes", "<body bgcolor=red>a<body class=x>b", "ab"},
         }) {
        HtmlDocument document(c.html);
        EXPECT_EQ(document.bodyHtml(), c.body) << c.why;
        EXPECT_EQ(HtmlDocument(document.html()).html(), document.html()) << "read again: " << c.why;
    }
}

TEST(HtmlDocument, KeepsHeadDoctypeAndBodyAttributes) {
    const HtmlDocument document("<!DOCTYPE html>\n<html lang=en><head><meta "
                                "charset=latin1><style>p{}</style></head><body class=x>é</body></html>");
    EXPECT_EQ(document.html(),
              "<!DOCTYPE html><html lang=\"en\"><head><meta charset=\"latin1\"><style>p{}</style></head>"
              "<body class=\"x\">é</body></html>");
    EXPECT_EQ(HtmlDocument().html(), "<html><head></head><body></body></html>");
}

TEST(HtmlDocument, SurvivesBrokenText) {
    EXPECT_EQ(HtmlDocument("a\xFF\xC3(b\xED\xA0\x80").bodyHtml(), "a\uFFFD\uFFFD(b\uFFFD\uFFFD\uFFFD");
    EXPECT_EQ(HtmlDocument(std::string_view("a\0b\r\nc\rd", 8)).bodyHtml(), "ab\nc\nd");
}

TEST(HtmlDocument, DeepNestingEndsInAFlatTreeWithAllText) {
    std::string html;
    for (int i = 0; i < 20'000; ++i)
        html += i % 2 ? "<div>" : "<font color=red>";
    html += "the end";
    const HtmlDocument document(html);
    EXPECT_EQ(document.body().textContent(), "the end");
    std::size_t deepest = 0;
    for (const HtmlNode& node : document.root().elementsByTagName("*")) {
        std::size_t depth = 0;
        for (HtmlNode up = node; up; up = up.parent())
            ++depth;
        deepest = std::max(deepest, depth);
        if (depth > HtmlTreeBuilder::kDeepest + 1) break;
    }
    EXPECT_LE(deepest, HtmlTreeBuilder::kDeepest + 1);
}

// Each took a parser of another making minutes.
TEST(HtmlDocument, NothingGrowsFasterThanTheSource) {
    const std::string_view hostile[] = {
        "<!----> ",  "</b>",     "<b><i></b>", "<a x>",    "<p><font size=1><b><i><u><s><tt>",
        "<table>",   "<!--",     "<!---",      "&am",      "<x a a a a",
        "<style></", "<td>",     "</p>",       "<svg><p>", "<table><tr><td><b>",
        "<li><b>",   "<a><div>", "<form>"};
    for (const std::string_view piece : hostile) {
        std::string html;
        while (html.size() < 400'000)
            html += piece;
        const HtmlDocument document(html);
        EXPECT_LT(document.html().size(), 40 * html.size()) << piece;
    }
    std::string attributes = "<p";
    for (int i = 0; i < 100'000; ++i)
        attributes += " a" + std::to_string(i);
    EXPECT_LE(HtmlDocument(attributes + ">x").body().firstChild().attributes().size(), HtmlTokenizer::kMostAttributes);
}

TEST(HtmlNode, MovesAndChangesNodes) {
    HtmlDocument document("<div id=a><p>1</p><p class='x note'>2</p></div><div id=b></div>");
    HtmlNode a = document.elementById("a"), b = document.elementById("b");
    ASSERT_TRUE(a && b);
    b.appendChild(a.firstChild());
    HtmlNode made = document.createElement("SPAN");
    made.setTextContent("<3>");
    made.setAttribute("Title", "\"q\"");
    b.insertBefore(made, b.firstChild());
    EXPECT_EQ(b.outerHtml(), "<div id=\"b\"><span title=\"&quot;q&quot;\">&lt;3&gt;</span><p>1</p></div>");
    EXPECT_EQ(a.outerHtml(), "<div id=\"a\"><p class=\"x note\">2</p></div>");

    ASSERT_EQ(document.body().elementsByClassName("note").size(), 1u);
    EXPECT_EQ(document.body().elementsByTagName("P").size(), 2u);
    a.appendChild(document.createText("tail"));
    a.replaceWithChildren();
    EXPECT_TRUE(document.body().innerHtml().starts_with("<p class=\"x note\">2</p>tail<div id=\"b\">"));
    b.remove();
    EXPECT_EQ(document.bodyHtml(), "<p class=\"x note\">2</p>tail");
}

TEST(HtmlNode, IsNeverPutBelowItself) {
    HtmlDocument document("<div><p>a</p></div>");
    HtmlNode div = document.body().firstChild(), p = div.firstChild();
    p.appendChild(div);
    EXPECT_EQ(document.bodyHtml(), "<div><p>a</p></div>");
}

TEST(HtmlNode, ReadsInnerHtmlInItsContext) {
    HtmlDocument document("<table><tbody><tr></tr></tbody></table><style></style>");
    HtmlNode row = document.body().elementsByTagName("tr").front();
    row.setInnerHtml("loose<td>1<td>2");
    EXPECT_EQ(row.innerHtml(), "loose<td>1</td><td>2</td>");
    HtmlNode style = document.body().elementsByTagName("style").front();
    style.setInnerHtml("</style><script>alert(1)</script>");
    EXPECT_TRUE(HtmlDocument(document.html()).body().elementsByTagName("script").empty());
}

TEST(HtmlNode, NamesCannotBreakOutOfTheirTag) {
    HtmlDocument document;
    HtmlNode p = document.createElement("p");
    p.setAttribute("a\"><script>", "x");
    document.body().appendChild(p);
    EXPECT_TRUE(HtmlDocument(document.html()).body().elementsByTagName("script").empty());
}

TEST(HtmlPlainText, ReadsAsAPersonWould) {
    struct Case {
        const char* why;
        const char* html;
        const char* text;
    };
    for (const Case& c : {
             Case{"blanks run together", " a \n  b&nbsp;c ", "a b c\n"},
             Case{"paragraphs stand apart", "<p>a</p><p>b</p>c", "a\n\nb\n\nc\n"},
             Case{"divisions are lines", "<div>a</div><div>b<br>c<br><br>d</div>", "a\nb\nc\n\nd\n"},
             Case{"a link tells its address", "<a href='http://x.example/a'>here</a>.", "here <http://x.example/a>.\n"},
             Case{"unless the text does", "<a href='http://x.example/'>x.example</a> <a href='mailto:a@b.c'>a@b.c</a>",
                  "x.example a@b.c\n"},
             Case{"quotations", "a<blockquote>b<p>c<blockquote>d</blockquote></blockquote>e",
                  "a\n\n> b\n>\n> c\n>\n> > d\n\ne\n"},
             Case{"lists", "<ul><li>a<li><p>b</p></ul><ol><li>c<li>d</ol>", "* a\n* b\n\n1. c\n2. d\n"},
             Case{"preformatted text", "<pre>a\n  b</pre>", "a\n  b\n"},
             Case{"text styled like it", "<div style='white-space: pre-wrap'>a  b<br>-- <div>c</div></div>d  e",
                  "a  b\n-- \nc\nd e\n"},
             Case{"text styled otherwise", "<p style='white-space:normal'>a  b</p>", "a b\n"},
             Case{"rows and cells", "<table><tr><td>a<td>b<tr><td>c</table>", "a b\nc\n"},
             Case{"scripts and styles are unseen", "<style>p{}</style>a<script>b</script>", "a\n"},
             Case{"a picture says its text", "<img alt='A cat' src=x> sleeps", "A cat sleeps\n"},
             Case{"nothing", "<p></p><br>", ""},
         })
        EXPECT_EQ(HtmlDocument(c.html).plainText(), c.text) << c.why;
}

TEST(EscapedHtml, ShowsTextAsItIs) {
    EXPECT_EQ(HtmlDocument("<p title=\"" + stringByEscapingXMLEntities("\"'<&>") + "\">" +
                           stringByEscapingXMLEntities("<b>&lt;") + "</p>")
                  .body()
                  .firstChild()
                  .outerHtml(),
              "<p title=\"&quot;'&lt;&amp;&gt;\">&lt;b&gt;&amp;lt;</p>");
}

}  // namespace
}  // namespace qs
