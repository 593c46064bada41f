#include "Text/Escapes.h"

#include <gtest/gtest.h>

#include "Foundation/Assertion.h"
#include "Text/SignatureHTML.h"

namespace qs {
namespace {

TEST(Escapes, OfURLs) {
    EXPECT_EQ(urlEncodedString("!*'\"();:@&=+$,/?%#[]% "),
              "%21%2A%27%22%28%29%3B%3A%40%26%3D%2B%24%2C%2F%3F%25%23%5B%5D%25%20");
    EXPECT_EQ(urlEncodedString("Az09-._~"), "Az09-._~");
    EXPECT_EQ(urlEncodedString("ü€<>\\^`{|}\n"), "%C3%BC%E2%82%AC%3C%3E%5C%5E%60%7B%7C%7D%0A");
    EXPECT_EQ(percentEncoded("/a b/c", "/"), "/a%20b/c");
    const struct {
        const char *text, *decoded;
    } cases[] = {
        {"%C3%bc+%2B", "ü++"}, {"100%", "100%"}, {"%4", "%4"}, {"%G1%1G", "%G1%1G"}, {"%%41", "%A"}, {"", ""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(percentDecoded(c.text), c.decoded) << c.text;
}

TEST(Escapes, OfXML) {
    EXPECT_EQ(stringByEscapingXMLEntities("<a href=\"x\" title='y'>&amp;</a>"),
              "&lt;a href=&quot;x&quot; title=&#x27;y&#x27;&gt;&amp;amp;&lt;/a&gt;");
    EXPECT_EQ(stringByEscapingXMLEntities("Grüße"), "Grüße");
}

TEST(Escapes, QuotedPrintable) {
    const struct {
        std::string text;
        const char* encoding;
        const char* decoded;
    } cases[] = {
        {"plain", "utf-8", "plain"},
        {"Gr=C3=BC=C3=9Fe", "utf-8", "Grüße"},
        {"Gr=FC=DFe", "iso-8859-1", "Grüße"},
        {"Gr=C3=BC=C3=9Fe", "iso-8859-1", "Grüße"},  // bytes that are UTF-8 are taken as that
        {"=A4", "iso-8859-15", "€"},
        {"soft=\r\nbreak=\nand=\ragain", "utf-8", "softbreakandagain"},
        {"twice=\r\n=\r\nover", "utf-8", "twiceover"},
        {"ends=\r\n", "utf-8", "ends"},
        {"hard=\r\n\r\nbreak", "utf-8", "hard\r\nbreak"},
        {"=3D=20", "utf-8", "= "},
        {std::string("cut\0off", 7), "utf-8", "cut"},
        {"", "utf-8", ""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(stringWithQuotedPrintableString(c.text, c.encoding), c.decoded) << c.text;
}

TEST(Escapes, BrokenQuotedPrintableIsAFault) {
    const struct {
        const char *text, *message;
    } cases[] = {
        {"end=", "Premature end in quoted printable string: end="},
        {"end=4", "Premature end in quoted printable string: end=4"},
        {"x=4g", "Invalid character 'g' in quoted printable string: x=4g"},
        {"x=c3", "Invalid character 'c' in quoted printable string: x=c3"},
        {"x= \n", "Invalid character ' ' in quoted printable string: x= \n"},
        {"=\xFF\xFF", "Invalid character '\uFFFD' in quoted printable string: =\uFFFD\uFFFD"},
    };
    for (const auto& c : cases) {
        try {
            stringWithQuotedPrintableString(c.text, "utf-8");
            ADD_FAILURE() << c.text << " was decoded";
        } catch (const AssertionFailure& fault) {
            EXPECT_STREQ(fault.what(), c.message);
        }
    }
    try {
        stringWithQuotedPrintableString(std::string(100'000, 'x') + '=', "utf-8");
        ADD_FAILURE();
    } catch (const AssertionFailure& fault) {
        EXPECT_LT(std::string_view(fault.what()).size(), 200u) << "the log gets no whole mails";
    }
}

TEST(SignatureHTML, IsTheInsideOfTheBody) {
    const struct {
        const char *html, *body;
    } cases[] = {
        {"<html><head><style>b{}</style></head><body><b>Ada</b></body></html>", "<b>Ada</b>"},
        {"<html><head/ ><title>x</title></head><body dir=\"ltr\" style=\"a>b\">Ada</body></html>", "b\">Ada"},
        {"<b>Ada</b>", "<b>Ada</b>"},
        {"<head><body>Ada</body>", "Ada"},  // a head without its end stays but for its tag
        {"</head>Ada<head>x", "Adax"},
        {"Ada<body", "Ada<body"},
        {"<body>one</body><body>two</body>", "onetwo"},
        {"<div>a<span class=\"Apple-converted-space\">&nbsp;</span>b</div>", "<div>a&nbsp;b</div>"},
        {"<header>kept?</header></head>Ada", "Ada"},
        {"", ""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(signatureHTMLString(c.html), c.body) << c.html;
}

}  // namespace
}  // namespace qs
