#include "HTML2EM/ENXMLSaxParser.h"

#include <gmock/gmock.h>

#include "ENMLSupport.h"
#include "ENXMLRecorder.h"
#include "Foundation/Assertion.h"
#include "Support/LogCapture.h"
#include "Support/TemporaryFolder.h"

namespace qs {
namespace {

using testing::HasSubstr;

struct ENXMLSaxParserTest : ENMLTest {
    static std::string heardOf(std::string_view document, bool isHTML = false, unsigned callbacks = ~0u,
                               ENXMLLimits limits = {}) {
        ENXMLRecorder recorder(callbacks);
        ENXMLSaxParser parser(isHTML, &recorder, std::move(limits));
        EXPECT_TRUE(parser.parseContents(document));
        EXPECT_TRUE(document.empty() || parser.isHalted());
        return recorder.heard;
    }
};

TEST_F(ENXMLSaxParserTest, TellsWhatAnXmlDocumentHolds) {
    struct Case {
        const char *why, *document, *heard;
    };
    for (const Case& c :
         {Case{"all kinds", "<?xml version='1.0'?><A b='1'>t<!-- c --><d/><![CDATA[<x>]]></A>",
               "{<A b=1>t( c )<d></d>[<x>]</A>}"},
          Case{"names of attributes are lowered, the last of one name counts", "<a B='1' c='2' b='3'/>",
               "{<a c=2 b=3></a>}"},
          Case{"predefined entities", "<a>&lt;&amp;&gt;&quot;&apos;</a>", "{<a><&>\"'</a>}"},
          Case{"entities of XHTML", "<a>&nbsp;&euro;&alpha;&nbsp;</a>",
               "{<a>\xC2\xA0\xE2\x82\xAC\xCE\xB1\xC2\xA0</a>}"},
          Case{"in values references stay, but for some", "<a b='&lt;&amp;&nbsp;&#38;'/>",
               "{<a b=<&#38;&nbsp;&#38;></a>}"},
          Case{"unknown entities yield nothing", "<a>x&nosuch;y</a>", "{<a>xy</a>}"},
          Case{"the document's own entities yield nothing",
               "<!DOCTYPE a [<!ENTITY e 'text'><!ENTITY f SYSTEM 'file:///etc/passwd'>]>"
               "<a b='&e;'>x&e;&f;y</a>",
               "{<a b=>xy</a>}"},
          Case{"its own encoding", "<?xml version='1.0' encoding='iso-8859-1'?><a>\xE4</a>", "{<a>\xC3\xA4</a>}"},
          Case{"faults are read over", "<a><b>x</a>", "{<a><b>x</b></a>}"},
          Case{"an end that is missing", "<a><b>x<c/>", "{<a><b>x<c></c></b></a>}"}})
        EXPECT_EQ(heardOf(c.document), c.heard) << c.why;
}

TEST_F(ENXMLSaxParserTest, EntitiesCannotGrow) {
    std::string document = "<!DOCTYPE a [<!ENTITY e0 'xxxxxxxxxx'>";
    for (int i = 1; i < 30; ++i) {
        const std::string before = "&e" + std::to_string(i - 1) + ";";
        document += "<!ENTITY e" + std::to_string(i) + " '" + before + before + before + before + "'>";
    }
    EXPECT_EQ(heardOf(document + "]><a b='&e29;'>&e29;</a>"), "{<a b=></a>}");
}

TEST_F(ENXMLSaxParserTest, GathersOnlyWhatTheDelegateAnswers) {
    using D = ENXMLSaxParserDelegate;
    struct Case {
        unsigned callbacks;
        const char* heard;
    };
    const char* document = "<a>t<!--c--><![CDATA[d]]></a>";
    for (const Case& c :
         {Case{D::StartElement, "<a>"}, Case{D::EndElement, "</a>"}, Case{D::StartDocument, ""},
          Case{D::EndDocument, ""}, Case{D::StartDocument | D::EndDocument, "{}"}, Case{D::Characters, "td"},
          Case{D::CDATA | D::Characters, "t[d]"}, Case{D::Comment, "(c)"}, Case{0, ""}})
        EXPECT_EQ(heardOf(document, false, c.callbacks), c.heard);
}

TEST_F(ENXMLSaxParserTest, LogsFaultsButNotWithoutEnd) {
    const LogCapture log;
    heardOf("<a>&nosuch;</b></a>");
    EXPECT_TRUE(log.contains("Ignoring unknown entity 'nosuch'"));
    EXPECT_TRUE(log.contains("ENXMLSaxParser: Opening and ending tag mismatch"));
    EXPECT_TRUE(log.contains("(nonfatal)"));
    heardOf("<body>" + std::string(50'000, '&') + "</body>", true);
    EXPECT_LT(log.lines().size(), 60u);
    EXPECT_TRUE(log.contains("more lines of this kind were left out"));
}

TEST_F(ENXMLSaxParserTest, TellsWhenItGivesUp) {
    const LogCapture log;
    ENXMLRecorder recorder;
    ENXMLSaxParser(false, &recorder).parseContents("<?xml version='1.0' encoding='no-such-encoding'?><a/>");
    ASSERT_EQ(recorder.errors.size(), 1u);
    EXPECT_EQ(recorder.errors[0].domain, "ENXMLSaxParserErrorDomain");
    EXPECT_EQ(recorder.errors[0].code, 1001);
    EXPECT_THAT(recorder.errors[0].userInfo["message"].stringValue(), HasSubstr("no-such-encoding"));
    EXPECT_TRUE(log.contains("ENXMLSaxParser: fatal error "));
}

TEST_F(ENXMLSaxParserTest, KeepsToItsBounds) {
    std::string attributes;
    for (int i = 0; i < 20; ++i)
        attributes += " a" + std::to_string(i) + "='1'";
    const auto manyElements = [](const char* one) {
        std::string text = "<r>";
        for (int i = 0; i < 2000; ++i)
            text += one;
        return text + "</r>";
    };
    double time = 0;
    const auto slowClock = [&time] { return time += 1; };
    struct Case {
        const char* why;
        std::string document;
        ENXMLLimits limits;
        const char* message;
    };
    for (const bool isHTML : {true, false})
        for (const Case& c : {Case{"size", "<r>0123456789</r>", {.bytes = 16}, "The document is larger than 16 bytes."},
                              Case{"depth", manyElements("<b>"), {.depth = 10}, "Elements stand more than 10 deep."},
                              Case{"attributes",
                                   "<r" + attributes + ">x</r>",
                                   {.attributes = 19},
                                   "An element has more than 19 attributes."},
                              Case{"time",
                                   manyElements("<b>x</b>"),
                                   {.seconds = 5, .uptime = slowClock},
                                   "The document takes longer than 5 seconds."}}) {
            ENXMLRecorder recorder;
            ENXMLSaxParser(isHTML, &recorder, c.limits).parseContents(c.document);
            ASSERT_EQ(recorder.errors.size(), 1u) << c.why;
            EXPECT_EQ(recorder.errors[0].code, 1003) << c.why;
            EXPECT_EQ(recorder.errors[0].userInfo["message"].stringValue(), c.message);
            EXPECT_TRUE(recorder.heard.ends_with("!1003")) << c.why << ": something followed";
        }
    EXPECT_THAT(heardOf("<r" + attributes + ">x</r>", false, ~0u, {.bytes = 1000, .depth = 1, .attributes = 20}),
                HasSubstr("a19=1>x</r>}"));
}

TEST_F(ENXMLSaxParserTest, TheDefaultBoundsHoldWhatMailsAreMadeOf) {
    std::string nested = "<body>";
    for (int i = 0; i < 300; ++i)
        nested += "<table><tr><td>";
    EXPECT_THAT(heardOf(nested, true), testing::Not(HasSubstr("!")));
    const std::string picture = "<body><img src='data:image/png;base64," + std::string(3'000'000, 'A') + "' alt='x'>";
    EXPECT_THAT(heardOf(picture, true), HasSubstr(" alt=x>"));
}

// A tag with a hundred thousand attributes takes libxml2 minutes when it reads all of them.
TEST_F(ENXMLSaxParserTest, DoesNotCompareEndlessAttributes) {
    std::string tag = "<p";
    for (int i = 0; i < 60'000; ++i)
        tag += " a" + std::to_string(i);
    EXPECT_THAT(heardOf("<body>" + tag + ">x", true), HasSubstr("!1003"));
}

TEST_F(ENXMLSaxParserTest, StopsAtOnce) {
    for (const bool isHTML : {true, false}) {
        ENXMLRecorder recorder;
        recorder.stopsAt = "b";
        ENXMLSaxParser parser(isHTML, &recorder);
        parser.appendData("<body><p>x</p><b>y</b><i>z</i>");
        EXPECT_EQ(parser.isHalted(), !isHTML) << "HTML is told at its end";
        parser.appendData("<u>more</u></body>");
        parser.finalizeParser();
        EXPECT_TRUE(parser.isHalted());
        EXPECT_TRUE(recorder.heard.ends_with("<p>x</p><b>")) << recorder.heard;
    }
}

TEST_F(ENXMLSaxParserTest, WhatTheDelegateThrowsComesOutAndTheNextDocumentIsRead) {
    ENXMLRecorder recorder;
    recorder.throwsAt = "b";
    ENXMLSaxParser parser(false, &recorder);
    EXPECT_THROW(parser.parseContents("<a><b/><c/></a>"), std::runtime_error);
    recorder.heard.clear();
    EXPECT_TRUE(parser.parseContents("<d/>"));
    EXPECT_EQ(recorder.heard, "{<d></d>}");
}

TEST_F(ENXMLSaxParserTest, ANewDocumentEndsTheOneThatWasBegun) {
    ENXMLRecorder recorder;
    ENXMLSaxParser parser(false, &recorder);
    parser.appendData("<a><b>");
    recorder.heard.clear();
    parser.parseContents("<c/>");
    EXPECT_EQ(recorder.heard, "{<c></c>}");
}

TEST_F(ENXMLSaxParserTest, ReadsWhatComesByteByByte) {
    for (const bool isHTML : {true, false}) {
        const std::string document =
            "<body><p a='\"x > y\"' b=\"it's\">\xE6\x97\xA5 &amp; <!-- - -- --><b>z</b></p></body>";
        ENXMLRecorder recorder;
        ENXMLSaxParser parser(isHTML, &recorder);
        for (const char& c : document)
            parser.appendBytes(&c, 1);
        if (!isHTML) {
            EXPECT_THAT(recorder.heard, HasSubstr("<b>z</b></p>")) << "XML is told as it comes";
        }
        parser.finalizeParser();
        EXPECT_EQ(recorder.heard, heardOf(document, isHTML));
    }
}

TEST_F(ENXMLSaxParserTest, ACallbackMayNotBeginAnotherDocument) {
    for (const bool isHTML : {true, false}) {
        ENXMLRecorder recorder;
        recorder.readsMoreAt = "b";
        ENXMLSaxParser parser(isHTML, &recorder);
        EXPECT_THROW(parser.parseContents("<body><b>x</b></body>"), AssertionFailure);
        EXPECT_TRUE(recorder.heard.ends_with("<b>")) << recorder.heard;
    }
}

TEST_F(ENXMLSaxParserTest, WaitingForTheNextChunkIsNoWork) {
    double time = 0;
    ENXMLRecorder recorder;
    ENXMLSaxParser parser(false, &recorder, {.seconds = 5, .uptime = [&time] { return time; }});
    parser.appendData("<a>");
    for (int i = 0; i < 1000; ++i, time += 1)
        parser.appendData("<p>x</p>");
    parser.appendData("</a>");
    parser.finalizeParser();
    EXPECT_TRUE(recorder.heard.ends_with("<p>x</p></a>}")) << recorder.heard;
}

TEST_F(ENXMLSaxParserTest, TellsOfAFileThatCannotBeRead) {
    const LogCapture log;
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder / "no-file");
    ENXMLRecorder recorder;
    EXPECT_TRUE(ENXMLSaxParser(false, &recorder).parseContentsOfFile(folder / "no-file"));
    EXPECT_EQ(recorder.heard, "");
    EXPECT_TRUE(log.contains("no-file cannot be read"));
}

TEST_F(ENXMLSaxParserTest, ReadsFilesByTheirUrl) {
    const TemporaryFolder folder;
    folder.write("a b.xml", "<a>" + std::string(10'000, 'x') + "</a>");
    folder.write("stops.xml", "<a><b/>" + std::string(10'000, 'x') + "</a>");
    ENXMLRecorder recorder;
    recorder.stopsAt = "b";
    ENXMLSaxParser parser(false, &recorder);
    EXPECT_TRUE(parser.parseContentsOfURL("file://" + folder.path().string() + "/a%20b.xml"));
    EXPECT_EQ(recorder.heard, "{<a>" + std::string(10'000, 'x') + "</a>}");
    EXPECT_FALSE(parser.parseContentsOfURL("file://" + folder.path().string() + "/none.xml"));
    recorder.heard.clear();
    EXPECT_TRUE(parser.parseContentsOfFile(folder / "stops.xml"));
    EXPECT_EQ(recorder.heard, "{<a><b>");
}

}  // namespace
}  // namespace qs
