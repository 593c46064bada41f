// Turns the HTML of a mail into ENML, the content of a note. Nothing is repaired: what the definition of ENML does not
// know is left out, an element with all that it holds. So is an element of the class "en-ignore". What lies outside the
// body vanishes, and without a body there is no note: the result is empty.
//
// A document beyond the limits is cut off there, and the note lacks its end then. One converter for one document; used
// by one thread at a time.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "HTML2EM/ENXMLSaxParser.h"
#include "HTML2EM/ENXMLWriter.h"

namespace qs {

class ENHTMLtoENMLConverter;
class ENMLWriter;

class ENHTMLtoENMLConverterDelegate {
public:
    virtual ~ENHTMLtoENMLConverterDelegate() = default;
    virtual void htmlConverterDidStart(ENHTMLtoENMLConverter&) {}
    virtual void htmlConverterDidGenerateString(ENHTMLtoENMLConverter&, std::string_view) {}  // whole characters
    virtual void htmlConverterDidFinish(ENHTMLtoENMLConverter&) {}
    virtual void htmlConverterDidFailWithError(ENHTMLtoENMLConverter&, const Error&) {}
};

class ENHTMLtoENMLConverter final : public ENXMLSaxParserDelegate, public ENXMLWriterDelegate {
public:
    explicit ENHTMLtoENMLConverter(ENXMLLimits limits = {});
    ~ENHTMLtoENMLConverter() override;

    // Gets the note while it is written, instead of whoever asks for it. Not owned, must outlive the converter; null
    // for none.
    void setDelegate(ENHTMLtoENMLConverterDelegate* delegate) { delegate_ = delegate; }

    // The whole note; empty with a delegate. What is wrong with the document goes to the log and to the delegate.
    std::string enmlFromHTMLContent(std::string_view html);
    std::string enmlFromContentsOfHTMLFile(const std::filesystem::path& file);

    // In chunks, cut anywhere: for a delegate.
    void writeData(std::string_view data);
    void finish();
    void cancel();  // nothing more is told

private:
    ENXMLSaxParser& htmlParser();
    ENMLWriter& enmlWriter();
    void handOn(std::string_view text);
    void handOnRest();

    unsigned answeredCallbacks() const override;
    void parserDidStartDocument(ENXMLSaxParser& parser) override;
    void parserDidEndDocument(ENXMLSaxParser& parser) override;
    void parserDidStartElement(ENXMLSaxParser& parser, std::string_view name,
                               const ENXMLAttributes& attributes) override;
    void parserDidEndElement(ENXMLSaxParser& parser, std::string_view name) override;
    void parserFoundCharacters(ENXMLSaxParser& parser, std::string_view text) override;
    void parserDidFailWithError(ENXMLSaxParser& parser, const Error& error) override;
    void xmlWriterDidGenerateData(ENXMLWriter& writer, std::string_view data) override;
    void xmlWriterDidEndWritingDocument(ENXMLWriter& writer) override;

    std::unique_ptr<ENXMLSaxParser> htmlParser_;
    std::unique_ptr<ENMLWriter> enmlWriter_;
    std::string enml_;
    ENHTMLtoENMLConverterDelegate* delegate_ = nullptr;
    bool inHTMLBody_ = false;
    int skipCount_ = 0;  // open elements of a subtree that is left out
    ENXMLLimits limits_;
    std::string cutOffCharacter_;  // the start of a character that the writer's block ended in
};

}  // namespace qs
