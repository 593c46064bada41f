#include "HTML2EM/ENXMLWriter.h"

#include <gmock/gmock.h>

#include "ENMLSupport.h"
#include "HTML2EM/ENMLWriter.h"
#include "Support/LogCapture.h"

namespace qs {
namespace {

using testing::HasSubstr;

struct ENXMLWriterTest : ENMLTest {};

TEST_F(ENXMLWriterTest, WritesWithoutADefinitionWhatItIsTold) {
    ENXMLWriter writer;
    writer.startDocument();
    EXPECT_TRUE(writer.startElement("list", {{"a", "1 & 2"}, {"b", std::nullopt}, {"c", "<\">\n"}}));
    EXPECT_TRUE(writer.startElement("item"));
    EXPECT_TRUE(writer.writeAttributeName("x", "y"));
    writer.writeString("1 < 2 & 3");
    writer.endElement();
    EXPECT_TRUE(writer.writeElement("item", {}, "\xE6\x97\xA5\x01\xFF"));
    writer.writeString("<raw/>", true);
    writer.writeString("<escaped/>", false);
    writer.writeRawString("&amp;");
    writer.writeString("");
    EXPECT_EQ(writer.openElementCount(), 1u);
    writer.endElement();
    writer.endDocument();
    EXPECT_EQ(writer.contents(),
              "\n<list a=\"1 &amp;#38; 2\" b=\"\" c=\"&lt;&quot;&gt;&#10;\"><item x=\"y\">1 &lt; 2 &amp; "
              "3</item><item>\xE6\x97\xA5\xEF\xBF\xBD</item><raw/>&lt;escaped/&gt;&amp;</list>\n");
}

TEST_F(ENXMLWriterTest, WritesSectionsThatHoldAnyText) {
    ENXMLWriter writer;
    writer.startDocument();
    writer.startElement("a");
    writer.startCDATA();
    writer.writeCDATA("<x> & ");
    writer.writeCDATA("y");
    writer.endCDATA();
    writer.writeCDATA("a]]>b]]>c");
    writer.endDocument();
    EXPECT_EQ(writer.contents(), "\n<a><![CDATA[<x> & y]]><![CDATA[a]]]]><![CDATA[>b]]]]><![CDATA[>c]]></a>\n");
}

TEST_F(ENXMLWriterTest, RefusesWhatTheDefinitionDoesNotKnow) {
    ENXMLWriter writer;
    writer.setDtd(ENXMLDTD::enml2dtd());
    writer.startDocument();
    EXPECT_TRUE(writer.startElement("en-note"));
    EXPECT_FALSE(writer.startElement("script"));
    EXPECT_FALSE(writer.startElement("P")) << "names of elements count as they stand";
    EXPECT_FALSE(writer.writeElement("form", {}, "x"));
    EXPECT_TRUE(writer.startElement("p"));
    EXPECT_EQ(writer.openElementCount(), 2u);
    EXPECT_FALSE(writer.writeAttributeName("onclick", "x"));
    EXPECT_TRUE(writer.writeAttributeName("align", "left"));
    writer.endElement();
    const LogCapture log;
    EXPECT_FALSE(writer.writeAttributeName("align", "left")) << "behind an end there is no element to take it";
    EXPECT_TRUE(log.contains("Error retrieving element:"));
    writer.endDocument();
    EXPECT_EQ(writer.contents(), std::string(kNoteHead).append("<en-note><p align=\"left\"/></en-note>\n"));
}

// Attributes of a start tag are written together, one by one through libxml2: a reader must not see which.
TEST_F(ENXMLWriterTest, AttributesComeOutAlikeTogetherAndOneByOne) {
    std::string everyByte;
    for (int c = 1; c < 256; ++c)
        everyByte += static_cast<char>(c);
    const ENXMLAttributes attributes{{"style", "plain"},
                                     {"onclick", "x"},
                                     {"lang", std::nullopt},
                                     {"title", everyByte},
                                     {"dir", "&&amp;<\">' \t\r\n"},
                                     {"xml:lang", "\xC3\xA4\xE6\x97\xA5\xF0\x9F\x98\x80\xEF\xBF\xBF \xE6\x97z"}};
    const auto written = [&](bool isTogether) {
        ENMLWriter writer;
        writer.startDocument();
        if (isTogether) {
            writer.startElement("p", attributes);
        } else {
            writer.startElement("p", ENXMLAttributes{});
            for (const ENXMLAttribute& each : attributes)
                writer.writeAttributeName(each.name, each.value);
        }
        writer.endElement();
        writer.startElement("b", {{"title", "t"}});
        writer.writeString("x");
        writer.endDocument();
        return writer.contents();
    };
    EXPECT_EQ(written(true), written(false));
    EXPECT_THAT(written(true), HasSubstr("title=\"t\">x</b>"));
}

TEST_F(ENXMLWriterTest, AWrongOrderOfCallsIsAnException) {
    const auto thrownBy = [](auto calls) -> std::string {
        try {
            ENXMLWriter writer;
            calls(writer);
            return "nothing";
        } catch (const ENXMLWriterLibXMLError& error) {
            return error.what();
        }
    };
    EXPECT_THAT(thrownBy([](ENXMLWriter& w) { w.startElement("a"); }),
                testing::MatchesRegex("xmlTextWriterStartElement returned result=-1, error=.*"));
    EXPECT_THAT(thrownBy([](ENXMLWriter& w) { w.startDocument(), w.endElement(); }),
                HasSubstr("xmlTextWriterEndElement returned result=-1"));
    EXPECT_THAT(thrownBy([](ENXMLWriter& w) {
                    w.startDocument(), w.startElement("a"), w.writeString("x"), w.writeAttributeName("b", "c");
                }),
                HasSubstr("xmlTextWriterWriteAttribute returned result=-1"));
    EXPECT_THAT(thrownBy([](ENXMLWriter& w) { w.endDocument(); }), HasSubstr("xmlTextWriterEndDocument returned"));
}

class Sink : public ENXMLWriterDelegate {
public:
    void xmlWriterDidGenerateData(ENXMLWriter&, std::string_view data) override {
        written.append(data);
        if (isFull) throw std::runtime_error("full");
    }
    void xmlWriterDidEndWritingDocument(ENXMLWriter&) override { ++ends; }
    std::string written;
    int ends = 0;
    bool isFull = false;
};

TEST_F(ENXMLWriterTest, ADelegateGetsItInBlocks) {
    Sink sink;
    ENXMLWriter writer(&sink);
    writer.startDocument();
    writer.startElement("a");
    writer.writeString(std::string(10'000, 'x'));
    EXPECT_GT(sink.written.size(), 4'000u);
    writer.writeString("y");
    writer.flush();
    EXPECT_TRUE(sink.written.ends_with("xy"));
    EXPECT_EQ(sink.ends, 0);
    writer.endDocument();
    EXPECT_EQ(sink.written, "\n<a>" + std::string(10'000, 'x') + "y</a>\n");
    EXPECT_EQ(sink.ends, 1);
    EXPECT_EQ(writer.contents(), "");
    sink.isFull = true;
    writer.startDocument();
    writer.startElement("a");
    EXPECT_THROW(writer.writeString(std::string(10'000, 'x')), std::runtime_error);
}

TEST_F(ENXMLWriterTest, AWriterThatGoesTellsNothing) {
    Sink sink;
    {
        ENXMLWriter writer(&sink);
        writer.startDocument();
        writer.startElement("a");
    }
    EXPECT_EQ(sink.written, "");
    EXPECT_EQ(sink.ends, 0);
}

struct ENMLWriterTest : ENMLTest {
    template <class Calls>
    static std::string written(Calls calls) {
        ENMLWriter writer;
        writer.startDocument();
        calls(writer);
        writer.endDocument();
        EXPECT_EQ(faultsOf(writer.contents()), "");
        EXPECT_TRUE(writer.contents().starts_with(kNoteHead));
        return writer.contents().substr(kNoteHead.size());
    }
    static constexpr std::array<unsigned char, 16> kHash{0xD4, 0x1D, 0x8C, 0xD9, 0x8F, 0x00, 0xB2, 0x04,
                                                         0xE9, 0x80, 0x09, 0x98, 0xEC, 0xF8, 0x42, 0x7E};
};

TEST_F(ENMLWriterTest, AnEmptyNote) {
    EXPECT_EQ(ENMLWriter::emptyNote(), std::string(kNoteHead).append("<en-note/>\n"));
}

TEST_F(ENMLWriterTest, TheServicesOwnElements) {
    EXPECT_EQ(written([](ENMLWriter& w) {
                  w.writeResource({kHash, "image/png"});
              }),
              "<en-note><en-media type=\"image/png\" hash=\"d41d8cd98f00b204e9800998ecf8427e\"/></en-note>\n");
    EXPECT_EQ(written([](ENMLWriter& w) {
                  w.writeResourceWithDataHash(kHash, "", {{"width", "5"}, {"hash", "other"}, {"id", "x"}});
              }),
              "<en-note><en-media width=\"5\" type=\"application/octet-stream\" "
              "hash=\"d41d8cd98f00b204e9800998ecf8427e\"/></en-note>\n");
    EXPECT_EQ(written([](ENMLWriter& w) {
                  w.writeTodoWithCheckedState(true);
                  w.writeTodoWithCheckedState(false);
              }),
              "<en-note><en-todo checked=\"true\"/><en-todo/></en-note>\n");
    EXPECT_EQ(written([](ENMLWriter& w) {
                  w.writeEncryptedInfo({.cipherText = "QUJD"});
                  w.writeEncryptedInfo({.hint = "a \"b\"", .cipher = "AES", .keyLength = 128, .cipherText = "QQ=="});
              }),
              "<en-note><en-crypt cipher=\"RC2\" length=\"64\">QUJD</en-crypt>"
              "<en-crypt cipher=\"AES\" length=\"128\" hint=\"a &quot;b&quot;\">QQ==</en-crypt></en-note>\n");
}

TEST_F(ENMLWriterTest, ChecksAddressesInAnyCaseOfLetters) {
    const LogCapture log;
    EXPECT_EQ(written([](ENMLWriter& w) {
                  w.startElement("a", {{"HREF", "javascript:x"}, {"X-Apple-y", "1"}, {"title", "t"}});
                  w.endElement();
              }),
              "<en-note><a title=\"t\"/></en-note>\n");
    EXPECT_TRUE(log.contains("Unable to validate URL:javascript:x in attributes:{HREF = javascript:x; title = t}"));
    ENMLWriter writer;
    EXPECT_EQ(writer.validateURLAttribute("href", {{"title", "t"}}).size(), 1u);
    EXPECT_EQ(writer.validateURLAttribute("src", {{"src", "http://h/"}, {"alt", "a"}}).size(), 2u);
    EXPECT_EQ(writer.validateURLAttribute("src", {{"src", "rel"}, {"alt", "a"}}).size(), 1u);
}

}  // namespace
}  // namespace qs
