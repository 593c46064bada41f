#include "HTML2EM/ENXMLDTD.h"

#include <gmock/gmock.h>
#include <libxml/HTMLparser.h>
#include <libxml/entities.h>
#include <libxml/parser.h>

#include "ENMLSupport.h"
#include "HTML2EM/ENXMLElement.h"
#include "Support/LogCapture.h"
#include "Support/TemporaryFolder.h"

namespace qs {
namespace {

struct ENXMLDTDTest : ENMLTest {};

std::vector<std::string> words(std::string_view text) {
    std::vector<std::string> found;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find(' ', at), text.size());
        if (end > at) found.emplace_back(text.substr(at, end - at));
        at = end + 1;
    }
    return found;
}

TEST_F(ENXMLDTDTest, KnowsTheElementsOfNotesWithTheirAttributes) {
    struct Row {
        const char *elements, *attributes;
    };
    const std::string core = "style title ", i18n = "lang xml:lang dir ", cells = "align char charoff valign ";
    const std::vector<std::pair<std::string, std::string>> rows{
        {"en-note", core + i18n + "bgcolor text xmlns"},
        {"en-media", core + i18n + "type hash height width usemap align border hspace vspace longdesc alt"},
        {"en-crypt", "hint cipher length"},
        {"en-todo", "checked"},
        {"abbr acronym address b bdo big center cite code dd dfn dt em i kbd s samp small span strike strong sub sup "
         "tt u "
         "var",
         core + i18n},
        {"a", core + i18n + "accesskey tabindex charset type name href hreflang rel rev shape coords target"},
        {"area", core + i18n + "accesskey tabindex shape coords href nohref alt target"},
        {"blockquote q", core + i18n + "cite"},
        {"br", core + "clear"},
        {"caption div h1 h2 h3 h4 h5 h6 p", core + i18n + "align"},
        {"col colgroup", core + i18n + cells + "span width"},
        {"del ins", core + i18n + "cite datetime"},
        {"dl", core + i18n + "compact"},
        {"font", core + i18n + "size color face"},
        {"hr", core + i18n + "align noshade size width"},
        {"img", core + i18n + "src alt name longdesc height width usemap ismap align border hspace vspace"},
        {"li", core + i18n + "type value"},
        {"map", i18n + "title name"},
        {"ol", core + i18n + "type compact start"},
        {"pre", core + i18n + "width xml:space"},
        {"table", core + i18n + "summary width border cellspacing cellpadding align bgcolor"},
        {"tbody tfoot thead", core + i18n + cells},
        {"td th", core + i18n + cells + "abbr rowspan colspan nowrap bgcolor width height"},
        {"tr", core + i18n + cells + "bgcolor"},
        {"ul", core + i18n + "type compact"}};
    const std::string everything =
        core + i18n + cells +
        "bgcolor text xmlns type hash height width usemap border hspace vspace longdesc alt "
        "hint cipher length checked accesskey tabindex charset name href hreflang rel rev "
        "shape coords target nohref cite clear span datetime compact size color face noshade "
        "src ismap value start xml:space summary cellspacing cellpadding abbr rowspan colspan "
        "nowrap space id class onclick background data-x";
    const ENXMLDTD& dtd = *ENXMLDTD::enml2dtd();
    int count = 0;
    for (const auto& [elements, attributes] : rows)
        for (const std::string& element : words(elements)) {
            ++count;
            EXPECT_TRUE(dtd.isElementLegal(element)) << element;
            const auto legal = words(attributes);
            for (const std::string& attribute : words(everything))
                EXPECT_EQ(dtd.isAttributeLegal(attribute, element),
                          std::find(legal.begin(), legal.end(), attribute) != legal.end())
                    << attribute << " of " << element;
        }
    EXPECT_EQ(count, 64);
}

TEST_F(ENXMLDTDTest, KnowsNoOtherElements) {
    for (const std::string& element : words(
             "applet base basefont bgsound blink body button dir embed fieldset form frame frameset head html iframe "
             "ilayer input isindex label layer legend link marquee menu meta noframes noscript object optgroup option "
             "param plaintext script select style textarea xml title xmp wbr nobr article section header footer nav "
             "aside main figure figcaption video audio source picture svg canvas mark time details summary P DIV"))
        EXPECT_FALSE(ENXMLDTD::enml2dtd()->isElementLegal(element)) << element;
}

TEST_F(ENXMLDTDTest, SanitizesAttributesInAnyCaseOfLetters) {
    const LogCapture log;
    const ENXMLDTD& dtd = *ENXMLDTD::enml2dtd();
    const auto sanitized = dtd.sanitizedAttributes({{"ALIGN", "x"}, {"id", "y"}, {"Style", "z"}}, "p");
    ASSERT_TRUE(sanitized);
    ASSERT_EQ(sanitized->size(), 2u);
    EXPECT_EQ((*sanitized)[0].name, "ALIGN");
    EXPECT_EQ((*sanitized)[1].value, "z");
    EXPECT_FALSE(dtd.sanitizedAttributes({{"align", "x"}}, "script"));
    EXPECT_TRUE(log.contains("Error retrieving element:script from dtd:enml2.dtd"));
}

TEST_F(ENXMLDTDTest, GivesLibxml2sOwnRecords) {
    const auto* p = ENXMLDTD::enml2dtd()->xmlElementNamed("p");
    ASSERT_TRUE(p);
    EXPECT_STREQ(reinterpret_cast<const char*>(p->name), "p");
    EXPECT_FALSE(ENXMLDTD::enml2dtd()->xmlElementNamed("script"));
    EXPECT_TRUE(ENXMLDTD::enml2dtd()->xmlEntityNamed("nbsp")) << "the entity sets belong to the definition";
}

TEST_F(ENXMLDTDTest, TheEntitySetsAreThoseOfXhtml) {
    const std::vector<std::shared_ptr<const ENXMLDTD>> sets{ENXMLDTD::lat1DTD(), ENXMLDTD::symbolDTD(),
                                                            ENXMLDTD::specialDTD()};
    const std::size_t sizes[] = {96, 124, 33};
    std::size_t counts[] = {0, 0, 0};
    // libxml2's HTML parser has a table of its own.
    for (unsigned code = 1; code < 10'000; ++code) {
        const htmlEntityDesc* known = htmlEntityValueLookup(code);
        if (!known) continue;
        for (std::size_t i = 0; i < sets.size(); ++i) {
            const auto* entity = sets[i]->xmlEntityNamed(known->name);
            if (!entity) continue;
            ++counts[i];
            // "lt" and "amp" are references twice over.
            const std::string content = reinterpret_cast<const char*>(entity->content);
            const bool isDouble = code == '<' || code == '&';
            EXPECT_EQ(isDouble ? content : std::to_string(code),
                      isDouble
                          ? "&#" + std::to_string(code) + ";"
                          : std::to_string(htmlEntityLookup(reinterpret_cast<const xmlChar*>(known->name))->value));
            if (!isDouble) {
                const xmlChar* at = entity->content;
                int length = static_cast<int>(content.size());
                EXPECT_EQ(static_cast<unsigned>(xmlGetUTF8Char(at, &length)), code) << known->name;
            }
        }
    }
    for (std::size_t i = 0; i < sets.size(); ++i)
        EXPECT_EQ(counts[i], sizes[i]);
}

TEST_F(ENXMLDTDTest, TheExportDefinitionKnowsTheExportFormat) {
    const ENXMLDTD& dtd = *ENXMLDTD::enexDTD();
    for (const std::string& element : words(
             "en-export note title content created updated tag note-attributes subject-date latitude longitude "
             "altitude "
             "author source source-url source-application reminder-order reminder-time reminder-done-time place-name "
             "content-class application-data resource data mime width height duration recognition resource-attributes "
             "timestamp camera-make camera-model reco-type file-name attachment alternate-data"))
        EXPECT_TRUE(dtd.isElementLegal(element)) << element;
    EXPECT_TRUE(dtd.isAttributeLegal("export-date", "en-export"));
    EXPECT_TRUE(dtd.isAttributeLegal("key", "application-data"));
    EXPECT_TRUE(dtd.isAttributeLegal("encoding", "data"));
    EXPECT_FALSE(dtd.isAttributeLegal("encoding", "title"));
}

TEST_F(ENXMLDTDTest, AFileThatIsNoneGivesNothing) {
    const LogCapture log;
    const TemporaryFolder folder;
    EXPECT_FALSE(ENXMLDTD::initWithContentsOfFile(folder / "none.dtd"));
    EXPECT_TRUE(log.contains("none.dtd) returned error:"));
    EXPECT_FALSE(ENXMLDTD::initWithContentsOfFile(folder.write("bad.dtd", "<!ELEMENT a (b>")));
    EXPECT_TRUE(log.contains("xmlIOParseDTD() returned error:"));
    EXPECT_FALSE(ENXMLDTD::dtdWithBundleResource("no-such", "dtd"));
    EXPECT_FALSE(ENXMLDTD::dtdWithBundleResource("../Resources/enml2", "dtd")) << "a name leads nowhere else";
}

TEST_F(ENXMLDTDTest, NothingIsLoadedFromOutside) {
    const LogCapture log;
    const TemporaryFolder folder;
    folder.write("secret.txt", "secret");
    const std::string document = "<!DOCTYPE a [<!ENTITY s SYSTEM 'file://" + folder.path().string() +
                                 "/secret.txt'><!ENTITY n SYSTEM 'http://127.0.0.1:9/x'>]><a>&s;&n;</a>";
    ENXMLDTD::enml2dtd();
    // As a careless reader would: with everything that libxml2 offers switched on.
    xmlDoc* read = xmlReadMemory(document.data(), static_cast<int>(document.size()), "a.xml", nullptr,
                                 XML_PARSE_NOENT | XML_PARSE_DTDLOAD | XML_PARSE_NOERROR | XML_PARSE_NOWARNING);
    if (read) {
        xmlChar* content = xmlNodeGetContent(xmlDocGetRootElement(read));
        EXPECT_STREQ(reinterpret_cast<const char*>(content), "");
        xmlFree(content);
        xmlFreeDoc(read);
    }
    EXPECT_TRUE(log.contains("secret.txt is not loaded"));
}

}  // namespace
}  // namespace qs
