#include "HTML2EM/ENHTMLtoENMLConverter.h"

#include <gmock/gmock.h>

#include "ENMLSupport.h"
#include "Support/LogCapture.h"
#include "Support/TemporaryFolder.h"
#include "Text/Utf8.h"

namespace qs {
namespace {

struct ConverterTest : ENMLTest {};

struct Case {
    const char *why, *html, *content;

    friend void PrintTo(const Case& each, std::ostream* out) { *out << each.why; }
};
class ContentTest : public ENMLTest, public testing::WithParamInterface<Case> {};

TEST_P(ContentTest, IsWhatTheDefinitionKnows) {
    const Case& c = GetParam();
    EXPECT_EQ(contentOf(c.html), c.content) << c.why;
    EXPECT_EQ(faultsOf(ENHTMLtoENMLConverter().enmlFromHTMLContent(c.html)), "") << c.why;
}

INSTANTIATE_TEST_SUITE_P(
    Elements, ContentTest,
    testing::Values(
        Case{"legal ones stay", "<body><div><b>x</b> <i>y</i></div></body>", "<div><b>x</b> <i>y</i></div>"},
        Case{"an unknown one goes with all that it holds", "<body>a<script>var x = '<b>';</script>b", "ab"},
        Case{"whatever that is", "<body>a<section><p>x<b>y</b></p><script>z</script></section>b", "ab"},
        Case{"nested unknown ones, one inside the other", "<body><form><form>x</form><label>y<input></label></form>z",
             "z"},
        Case{"an unknown one without an end tag", "<body>a<input type=text>b<br>c", "ab<br/>c"},
        Case{"everything before the body",
             "<html><head><title>t</title><style>p{}</style><meta name=x><link rel=y></head><body>a</body></html>",
             "a"},
        Case{"a style sheet in the body", "<body><style>p { color: red }</style><p>a</p></body>", "<p>a</p>"},
        Case{"comments, conditional ones too", "<body>a<!-- b --><!--[if mso]><b>c</b><![endif]-->d</body>", "ad"},
        Case{"the marks around parts for other programs", "<body>a<![if !mso]>b<![endif]>c</body>", "abc"},
        Case{"places where a line may break", "<body><p>long<wbr>word <WBR/>and</wbr> more",
             "<p>longword and more</p>"},
        Case{"processing instructions and foreign namespaces", "<body>a<?xml:namespace prefix=o ?><o:p>x</o:p>b</body>",
             "ab"},
        Case{"names in upper case", "<BODY><P ALIGN=CENTER>a</P></BODY>", "<p align=\"CENTER\">a</p>"},
        Case{"a fragment gets its body", "<p>a</p>", "<p>a</p>"}, Case{"bare text gets a paragraph", "a", "<p>a</p>"},
        Case{"elements that never end", "<body><div><b>x", "<div><b>x</b></div>"},
        Case{"a start tag that breaks off", "<body><p>x<a href='http://h/'", "<p>x<a href=\"http://h/\"/></p>"},
        Case{"end tags that end nothing", "<body></b>x</i></p>y", "xy"},
        Case{"crossed tags", "<body><b>1<i>2</b>3</i>4", "<b>1<i>2</i></b>34"},
        Case{"a second body goes on in the same note", "<body>a</body><body bgcolor=red>b</body>", "ab"},
        Case{"nothing behind the body", "<html><body>a</body>b<p>c</p></html>d<p>e</p>", "a"}));

INSTANTIATE_TEST_SUITE_P(
    IgnoredClass, ContentTest,
    testing::Values(Case{"with all it holds", "<body><div class='en-ignore'>x<b>y</b></div>plain</body>", "plain"},
                    Case{"among other classes", "<body><p class='a en-ignore b'>x</p>y</body>", "y"},
                    Case{"not as a part of another class", "<body><p class='en-ignored'>x</p></body>", "<p>x</p>"},
                    Case{"split at blanks only", "<body><p class='a\ten-ignore'>x</p></body>", "<p>x</p>"},
                    Case{"in its own case of letters", "<body><p class='EN-IGNORE'>x</p></body>", "<p>x</p>"},
                    Case{"an empty class is none", "<body><p class=''>x</p><p class>y</p></body>", "<p>x</p><p>y</p>"},
                    Case{"the body itself stays", "<body class='en-ignore'>x</body>", "x"}));

INSTANTIATE_TEST_SUITE_P(
    Attributes, ContentTest,
    testing::Values(
        Case{"unknown ones go", "<body><p id=1 class=c onclick='x()' data-y=2 align=left>a</p></body>",
             "<p align=\"left\">a</p>"},
        Case{"known only to other elements", "<body><p href='http://h/' bgcolor=red>a</p></body>", "<p>a</p>"},
        Case{"without a value", "<body><td nowrap>a</td><hr noshade></body>",
             "<td nowrap=\"\">a</td><hr noshade=\"\"/>"},
        Case{"with a prefix", "<body><p xml:lang=de lang=de>a</p><pre xml:space=preserve>b</pre></body>",
             "<p xml:lang=\"de\" lang=\"de\">a</p><pre xml:space=\"preserve\">b</pre>"},
        Case{"not the prefixed one's name alone", "<body><pre space=preserve>b</pre></body>", "<pre>b</pre>"},
        Case{"a value that the definition fixes otherwise", "<body><pre xml:space=default>b</pre></body>",
             "<pre>b</pre>"},
        Case{"markup in a value", "<body><p title='&lt;b&gt; &quot;q&quot; &apos;'>a</p></body>",
             "<p title=\"&lt;b&gt; &quot;q&quot; '\">a</p>"},
        Case{"an ampersand in a value becomes a reference, which is escaped with the rest",
             "<body><a href='http://h/?a=1&amp;b=2'>x</a></body>", "<a href=\"http://h/?a=1&amp;#38;b=2\">x</a>"}));

INSTANTIATE_TEST_SUITE_P(
    Addresses, ContentTest,
    testing::Values(
        Case{"ordinary ones stay", "<body><a href='https://h/p?q#f'>x</a><img src='http://h/i.png' alt='i'></body>",
             "<a href=\"https://h/p?q#f\">x</a><img src=\"http://h/i.png\" alt=\"i\"/>"},
        Case{"scripts go, the element stays", "<body><a href='javascript:alert(1)'>x</a></body>", "<a>x</a>"},
        Case{"relative ones go", "<body><a href='page.html' title='t'>x</a><img src='/i.png'></body>",
             "<a title=\"t\">x</a><img/>"},
        Case{"parts of the mail go", "<body><img src='cid:part1@mail'></body>", "<img/>"},
        Case{"telephone numbers stay, the platform's marks go",
             "<body><a href='x-apple-data-detectors://0' x-apple-data-detectors='true'>a</a>"
             "<a href='tel:555' x-apple-y='1'>b</a></body>",
             "<a>a</a><a href=\"tel:555\">b</a>"},
        Case{"mail addresses stay, with a subject too",
             "<body><a href='mailto:a@b.example'>x</a><a href='mailto:a@b.example?subject=s'>y</a></body>",
             "<a href=\"mailto:a@b.example\">x</a><a href=\"mailto:a@b.example?subject=s\">y</a>"},
        Case{"without a value", "<body><a href>x</a><a href=''>y</a></body>", "<a>x</a><a>y</a>"},
        Case{"only of links and pictures",
             "<body><map name=m><area href='javascript:x' shape=rect></map><q cite='rel'>y</q></body>",
             "<map name=\"m\"><area href=\"javascript:x\" shape=\"rect\"/></map><q cite=\"rel\">y</q>"}));

INSTANTIATE_TEST_SUITE_P(
    Texts, ContentTest,
    testing::Values(
        Case{"markup is escaped", "<body>1 &lt; 2 &amp; 3 &gt; \"2\"</body>", "1 &lt; 2 &amp; 3 &gt; &quot;2&quot;"},
        Case{"named characters become themselves", "<body>&nbsp;&euro;&hearts;&lang;</body>",
             "\xC2\xA0\xE2\x82\xAC\xE2\x99\xA5\xE2\x8C\xA9"},
        Case{"unknown names stay as they are", "<body>&nosuch; & &;</body>", "&amp;nosuch; &amp; &amp;;"},
        Case{"scripts of all the world", "<body>\xD0\x9F\xD1\x80 \xE6\x97\xA5\xE6\x9C\xAC \xF0\x9F\x98\x80</body>",
             "\xD0\x9F\xD1\x80 \xE6\x97\xA5\xE6\x9C\xAC \xF0\x9F\x98\x80"},
        Case{
            "the encoding that the mail claims is of no account",
            "<head><meta charset='iso-8859-1'><meta http-equiv=Content-Type content='text/html; charset=koi8-r'></head>"
            "<body>\xC3\xA4</body>",
            "\xC3\xA4"},
        Case{"broken bytes don't break the rest", "<body>\xFF\xC3 \xC3\xA4</body>",
             "\xEF\xBF\xBD\xEF\xBF\xBD \xC3\xA4"},
        Case{"characters that XML forbids go", "<body><p title='a\x01\x62&#1;c'>d\x0B\x02\x65&#8;f&#xFFFE;</p></body>",
             "<p title=\"ab\">def</p>"},
        Case{"blanks and lines stay", "<body>  a\n\t b\f<pre>\n c\n</pre></body>", "  a\n\t b <pre>\n c\n</pre>"},
        Case{"a byte order mark is no text", "\xEF\xBB\xBF<body>a</body>", "a"}));

INSTANTIATE_TEST_SUITE_P(
    OwnElements, ContentTest,
    testing::Values(
        Case{"a check box stays", "<body><en-todo checked='true'></en-todo>buy</body>",
             "<en-todo checked=\"true\"/>buy"},
        Case{"with a value that is none of its own", "<body><en-todo checked='checked'></en-todo>buy</body>",
             "<en-todo/>buy"},
        Case{"a resource stays",
             "<body><en-media type='image/png' hash='0123456789abcdef0123456789abcdef'></en-media></body>",
             "<en-media type=\"image/png\" hash=\"0123456789abcdef0123456789abcdef\"/>"},
        Case{"without what it must have it goes", "<body><en-media type='image/png'>x</en-media>a</body>", "a"},
        Case{"what stands in an empty one goes", "<body><en-todo>buy<b>x</b></en-todo>a</body>", "<en-todo/>a"},
        Case{"encrypted text holds no elements", "<body><en-crypt hint=h>QUJD<b>x</b></en-crypt></body>",
             "<en-crypt hint=\"h\">QUJD</en-crypt>"},
        Case{"a note in a note goes", "<body>a<en-note>x</en-note>b</body>", "ab"},
        Case{"named resources of the root", "<body xmlns='http://www.w3.org/1999/xhtml' class=c text=red>a</body>",
             "a"}));

TEST_F(ConverterTest, TheRootTakesTheAttributesOfTheBody) {
    EXPECT_EQ(noteOf("<body class=c id=i bgcolor=white text=black style='margin:0' xmlns='http://other/'>x</body>"),
              "<en-note bgcolor=\"white\" text=\"black\" style=\"margin:0\">x</en-note>\n");
    EXPECT_EQ(noteOf("<body></body>"), "<en-note/>\n");
}

TEST_F(ConverterTest, ALongTextAtTheEndEndsTheNoteToo) {
    for (const std::size_t length : {9'000u, 11'000u, 70'000u, 300'000u})
        EXPECT_TRUE(noteOf("<body>" + std::string(length, 'x')).ends_with("x</en-note>\n")) << length;
}

TEST_F(ConverterTest, WithoutABodyThereIsNoNote) {
    for (const char* html : {"", " \n ", "<!-- x -->", "<head><title>x</title></head>", "<title>x</title>", "<html>",
                             "<html><frameset><frame src='a'></frameset></html>", "<!DOCTYPE html>", "\xEF\xBB\xBF"})
        EXPECT_EQ(ENHTMLtoENMLConverter().enmlFromHTMLContent(html), "") << html;
}

TEST_F(ConverterTest, ReadsAFile) {
    const TemporaryFolder folder;
    const LogCapture log;
    std::string html = "<body>";
    for (int i = 0; i < 3000; ++i)
        html += "<p>\xC3\xA4" + std::to_string(i) + "</p>";
    folder.write("mail.html", html);
    folder.write("empty.html", "");
    EXPECT_EQ(ENHTMLtoENMLConverter().enmlFromContentsOfHTMLFile(folder.path() / "mail.html"),
              ENHTMLtoENMLConverter().enmlFromHTMLContent(html));
    EXPECT_EQ(ENHTMLtoENMLConverter().enmlFromContentsOfHTMLFile(folder.path() / "empty.html"), "");
    EXPECT_TRUE(log.contains("empty.html is 0 bytes!"));
    EXPECT_EQ(ENHTMLtoENMLConverter().enmlFromContentsOfHTMLFile(folder.path() / "none.html"), "");
    EXPECT_TRUE(log.contains("attributesOfItemAtPath:"));
}

// Notes down what it is told.
class Listener : public ENHTMLtoENMLConverterDelegate {
public:
    void htmlConverterDidStart(ENHTMLtoENMLConverter&) override { heard += "start,"; }
    void htmlConverterDidGenerateString(ENHTMLtoENMLConverter& converter, std::string_view text) override {
        for (std::size_t at = 0; at < text.size(); at += length) {
            length = utf8CharacterLength(text.substr(at));
            ASSERT_GT(length, 0u) << "a character was cut";
        }
        note.append(text);
        if (cancelsAt > 0 && note.size() >= cancelsAt) converter.cancel();
        if (throwsAt > 0 && note.size() >= throwsAt) throw std::runtime_error("full");
    }
    void htmlConverterDidFinish(ENHTMLtoENMLConverter&) override { heard += "finish,"; }
    void htmlConverterDidFailWithError(ENHTMLtoENMLConverter&, const Error& error) override {
        heard += "fail: " + error.description;
    }
    std::string heard, note;
    std::size_t cancelsAt = 0, throwsAt = 0, length = 0;
};

TEST_F(ConverterTest, ADelegateGetsTheNoteInstead) {
    Listener listener;
    ENHTMLtoENMLConverter converter;
    converter.setDelegate(&listener);
    EXPECT_EQ(converter.enmlFromHTMLContent("<body>a</body>"), "");
    EXPECT_EQ(listener.note, std::string(kNoteHead).append("<en-note>a</en-note>\n"));
    EXPECT_EQ(listener.heard, "start,finish,");
}

const std::string kMixed =

    "<!-- c --><p class='a'>\xC3\xA4\xE6\x97\xA5\xF0\x9F\x98\x80 &amp; &nbsp;<![if !x]>y<![endif]>"
    "<script>if (a < b && c) d('</b>')</script><a href='http://h/?x=1&y=2'>l</a>\xFF "
    "<img src=\"data:image/png;base64,AAAA\" alt='a > b'><table><tr><td>1<td nowrap>2</table>"
    "<div class='en-ignore'><p>x</div>end &unknown; 1 < 2";

TEST_F(ConverterTest, TheSizeOfTheChunksDoesNotMatter) {
    std::string html = "<html><head><meta charset=x><title>t</title></head><body bgcolor='#fff'>";
    for (int i = 0; i < 40; ++i)
        html += kMixed;
    html += "</body></html>\n";
    const std::string whole = ENHTMLtoENMLConverter().enmlFromHTMLContent(html);
    EXPECT_EQ(faultsOf(whole), "");
    for (const std::size_t size : {1u, 2u, 3u, 7u, 64u, 1000u, 5000u}) {
        Listener listener;
        ENHTMLtoENMLConverter converter;
        converter.setDelegate(&listener);
        for (std::size_t at = 0; at < html.size(); at += size)
            converter.writeData(std::string_view(html).substr(at, size));
        converter.finish();
        EXPECT_EQ(listener.note, whole) << "chunks of " << size;
        EXPECT_EQ(listener.heard, "start,finish,");
    }
}

// What libxml2's push parser makes of each of these depends on where it is cut.
TEST_F(ConverterTest, NeitherDoesItForWhatIsBroken) {
    using namespace std::string_view_literals;
    for (const std::string_view html :
         {"<p style=a\" title=\"1/div>\n<p style=2\" title=\"b\">x"sv, "<body>a</b> b"sv, "</y>\fy"sv, "<!-->x"sv,
          "<body>a<!-<wbr>->b"sv, "<body>x<!DOCTYPE"sv, "<!DOCTYPE a PUBLIC \"b>c\">d"sv, "<a href=\0\0ttp://h>x"sv}) {
        const std::string whole = ENHTMLtoENMLConverter().enmlFromHTMLContent(html);
        for (std::size_t size = 1; size < html.size(); ++size) {
            Listener listener;
            ENHTMLtoENMLConverter converter;
            converter.setDelegate(&listener);
            for (std::size_t at = 0; at < html.size(); at += size)
                converter.writeData(html.substr(at, size));
            converter.finish();
            EXPECT_EQ(listener.note, whole) << html << " in chunks of " << size;
        }
    }
}

TEST_F(ConverterTest, CancellingEndsIt) {
    for (const bool isFromInside : {false, true}) {
        Listener listener;
        ENHTMLtoENMLConverter converter;
        converter.setDelegate(&listener);
        if (isFromInside) listener.cancelsAt = 1;
        converter.writeData("<body>" + std::string(20'000, 'x') + "<p>");
        if (!isFromInside) converter.cancel();
        converter.writeData(std::string(20'000, 'y') + "</body>");
        converter.finish();
        EXPECT_EQ(listener.note.find('y'), std::string::npos);
        EXPECT_EQ(listener.note.empty(), !isFromInside);
        EXPECT_EQ(listener.heard, isFromInside ? "start," : "");
    }
}

TEST_F(ConverterTest, WhatTheDelegateThrowsComesOut) {
    Listener listener;
    listener.throwsAt = 1000;
    ENHTMLtoENMLConverter converter;
    converter.setDelegate(&listener);
    EXPECT_THROW(converter.enmlFromHTMLContent("<body>" + std::string(50'000, 'x') + "</body>"), std::runtime_error);
    EXPECT_EQ(listener.heard, "start,");
}

}  // namespace
}  // namespace qs
