// Whole mails, as programs and people make them. The notes made of them are validated by libxml2.
#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "ENMLSupport.h"
#include "HTML2EM/ENHTMLtoENMLConverter.h"

namespace qs {
namespace {

using testing::HasSubstr;
using testing::Not;

std::string mail(std::string_view name) {
    std::ifstream file(std::filesystem::path(QS_TEST_DATA) / name, std::ios::binary);
    EXPECT_TRUE(file) << name;
    return {std::istreambuf_iterator<char>(file), {}};
}

struct Corpus : ENMLTest {};

TEST_F(Corpus, MakesValidNotes) {
    int mails = 0;
    for (const auto& entry : std::filesystem::directory_iterator(QS_TEST_DATA)) {
        const std::string name = entry.path().filename().string();
        const std::string note = ENHTMLtoENMLConverter().enmlFromHTMLContent(mail(name));
        if (name == "frames-only.html") {
            EXPECT_EQ(note, "") << "a mail without a body is no note";
            continue;
        }
        ++mails;
        EXPECT_EQ(faultsOf(note), "") << name;
        EXPECT_TRUE(note.starts_with(kNoteHead)) << name;
        EXPECT_TRUE(note.ends_with("</en-note>\n")) << name;
    }
    EXPECT_GE(mails, 14);
}

// However a mail is cut into pieces, the same note comes of it.
TEST_F(Corpus, ChunksMakeTheSameNotes) {
    struct Collector : ENHTMLtoENMLConverterDelegate {
        void htmlConverterDidGenerateString(ENHTMLtoENMLConverter&, std::string_view text) override { note += text; }
        std::string note;
    };
    for (const auto& entry : std::filesystem::directory_iterator(QS_TEST_DATA)) {
        const std::string html = mail(entry.path().filename().string());
        const std::string whole = ENHTMLtoENMLConverter().enmlFromHTMLContent(html);
        for (const std::size_t size : {1u, 17u, 1024u}) {
            Collector collector;
            ENHTMLtoENMLConverter converter;
            converter.setDelegate(&collector);
            for (std::size_t at = 0; at < html.size(); at += size)
                converter.writeData(std::string_view(html).substr(at, size));
            converter.finish();
            EXPECT_EQ(collector.note, whole) << entry.path() << " in chunks of " << size;
        }
    }
}

TEST_F(Corpus, KeepsWhatPeopleWroteAndLeavesOutTheRest) {
    struct Case {
        const char* name;
        std::vector<const char*> kept, gone;
    };
    for (const Case& c :
         {Case{"newsletter-tables.html",
               {"<en-note style=\"margin:0;padding:0\" bgcolor=\"#f4f4f4\">",
                "Dear Ms. Brontë, our vats run again — at last.",
                "<img src=\"https://mill.example/logo.png\" width=\"200\" height=\"60\" alt=\"The Paper Mill\" "
                "border=\"0\" "
                "style=\"display:block\"/>",
                "style=\"background:#369;color:#fff\">Buy now</a>", "<td width=\"50%\" nowrap=\"\">Cotton</td>",
                "href=\"mailto:leave@mill.example?subject=leave\"", "height=\"20\" valign=\"top\">\u00A0</td>"},
               {"tracked", "roundrect", "<![", "role=", "background=", "srcset", "data-click", "@media", "onload"}},
          Case{"word-conditional.html",
               {"<en-note lang=\"DE\">", "Sehr geehrte Damen und Herren,</span>", "erster Punkt</p>",
                "zweiter Punkt – für Größe", "<img width=\"128\" height=\"32\" alt=\"Unterschrift\"/>",
                "&lt;a@example.org&gt;<br/>"},
               {"<![if", "supportLists", "o:p", "Zürich", "cid:", "MsoNormal", "Style Definitions", "vlink"}},
          Case{"nested-quotes.html",
               {"<div dir=\"ltr\">I agree with <b>all</b> of it.</div>", "Fourth <i>level <b>crossed</b></i>",
                "<pre>-- \nA. N. Other\t| tab\n 5 &lt; 6 &amp;&amp; 7 &gt; 6</pre>", "back on the first",
                "cite=\"mid:abc@mail\""},
               {"gmail_quote"}},
          Case{"form-and-scripts.html",
               {"Please confirm your address:", "<a>bad link</a>, <a>spaced</a>", "<a>mixed</a>", "<a>vb</a>",
                "<a>data</a>", "<img src=\"https://ok.example/a.png\" alt=\"ok &quot;quoted&quot;\"/>",
                "<p>The end.</p>"},
               {"alert", "steal", "Log in", "User", "inside", "frame text", "object text", "applet", "svg text",
                "moving", "no script here", "evil.example"}},
          Case{"scripts-of-the-world.html",
               {"日本語の見出し", "<p dir=\"rtl\" lang=\"he\">שלום עולם", "مرحبا بالعالم",
                "Привет, мир! «Ёлки» — №\u00A05", "αβγ Ω", "नमस्ते दुनिया", "สวัสดีชาวโลก", "안녕하세요", "𠮷野家",
                "👩‍👩‍👧‍👦", "😀 🚀", "href=\"https://example.org/%E6%97%A5%E6%9C%AC\"",
                "<a>not escaped</a>"},
               {"かんじ", "題"}},
          Case{"broken-markup.html",
               {"<p>para one</p><p>para two</p>", "<li>two<ul><li>deep</li></ul></li>", "&lt;tag&gt;", "definition",
                "last words"},
               {"good -- comment", "php"}},
          Case{"html5-newsletter.html",
               {"<p>Before.</p>", "<p>Between.   wbrbreak </p>", "<p>After <span>all</span>.</p>"},
               {"Lost", "lost", "marked", "today", "caption", "video text", "hidden", "contenteditable", "data-id"}},
          Case{"plain-fragment.html",
               {"Hello Bob,<br/><br/>just text &amp; a link: <a href=\"https://example.org/a?b=c#d\">"},
               {}},
          Case{"compose-view.html",
               {"<a href=\"tel:+49301234567\">030 1234567</a>", "<a dir=\"ltr\">tomorrow at 10</a>",
                "Kept <span>\u00A0</span>text"},
               {"toolbar", "buttons", "x-apple", "h.example"}},
          Case{"note-made-before.html",
               {"<en-note xmlns=\"http://xml.evernote.com/pub/enml2.dtd\">",
                "<en-todo checked=\"true\"/>bought <en-todo/>maybe",
                "<en-media type=\"image/png\" hash=\"d41d8cd98f00b204e9800998ecf8427e\" width=\"3\"/>",
                "<en-crypt hint=\"pet\" cipher=\"AES\" length=\"128\">RU5DMA==</en-crypt>", "<div>end</div>"},
               {"no type", "bold", "a note inside"}},
          Case{"invoice-xhtml.html",
               {"<en-note xml:lang=\"de\" lang=\"de\" text=\"#000000\">",
                "<col align=\"char\" char=\",\" charoff=\"2\"/>",
                "<caption align=\"bottom\">Alle Preise in €</caption>", "<th abbr=\"P\">Posten</th>",
                "<ins datetime=\"2026-12-01\">1.12.</ins>", "<bdo dir=\"rtl\">abc</bdo>",
                "<map name=\"m\"><area shape=\"rect\" coords=\"0,0,1,1\" href=\"https://h.example/\" alt=\"Feld\" "
                "nohref=\"nohref\"/></map>",
                "usemap=\"#m\"", "<hr size=\"1\" noshade=\"noshade\"/>"},
               {"scope", "id="}},
          Case{"data-uri-picture.html", {"<img alt=\"dot\" width=\"1\"/>", "<p>and text behind it</p>"}, {"base64"}},
          Case{"broken-utf8.html", {"Caf\xEF\xBF\xBD", "Größe 日本", "controls", "end</p><a>x</a>"}, {"\xEF\xBF\xBF"}},
          Case{"deep-but-legal.html", {"<td>the core</td>", "<p>afterwards</p></en-note>"}, {}},
          Case{"two-pages.html",
               {"<en-note bgcolor=\"white\"><p>The mail itself.</p>", "The list's footer"},
               {"First"}}}) {
        const std::string note = ENHTMLtoENMLConverter().enmlFromHTMLContent(mail(c.name));
        for (const char* text : c.kept)
            EXPECT_THAT(note, HasSubstr(text)) << c.name;
        for (const char* text : c.gone)
            EXPECT_THAT(note, Not(HasSubstr(text))) << c.name;
    }
}

}  // namespace
}  // namespace qs
