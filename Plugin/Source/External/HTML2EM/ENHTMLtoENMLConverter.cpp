#include "HTML2EM/ENHTMLtoENMLConverter.h"

#include <utility>

#include "HTML2EM/ENMLConstants.h"
#include "HTML2EM/ENMLWriter.h"
#include "HTML2EM/ENXMLText.h"
#include "Text/Ascii.h"

namespace qs {

namespace {

bool hasClass(const ENXMLAttributes& attributes, std::string_view wanted) {
    const ENXMLAttribute* attribute = attributeNamed(attributes, "class");
    std::string_view rest = attribute ? attribute->value.value_or("") : "";
    while (!rest.empty()) {
        const std::string_view name = rest.substr(0, rest.find(' '));
        if (name == wanted) return true;
        rest.remove_prefix(std::min(rest.size(), name.size() + 1));
    }
    return false;
}

// Lowered only where it is not yet, which is never so in HTML.
class LowerCaseName {
public:
    explicit LowerCaseName(std::string_view name) : name_(name) {
        for (const char c : name)
            if (c != asciiLower(c)) {
                lowered_ = asciiLowered(name);
                name_ = lowered_;
                return;
            }
    }
    LowerCaseName(const LowerCaseName&) = delete;
    LowerCaseName& operator=(const LowerCaseName&) = delete;
    std::string_view operator*() const { return name_; }

private:
    std::string lowered_;
    std::string_view name_;
};

}  // namespace

ENHTMLtoENMLConverter::ENHTMLtoENMLConverter(ENXMLLimits limits) : limits_(std::move(limits)) {}

ENHTMLtoENMLConverter::~ENHTMLtoENMLConverter() = default;

std::string ENHTMLtoENMLConverter::enmlFromHTMLContent(std::string_view html) {
    enml_.clear();
    if (!delegate_) enml_.reserve(html.size());  // about what comes
    htmlParser().parseContents(html);
    handOnRest();
    return std::exchange(enml_, {});
}

std::string ENHTMLtoENMLConverter::enmlFromContentsOfHTMLFile(const std::filesystem::path& file) {
    enml_.clear();
    htmlParser().parseContentsOfFile(file);
    handOnRest();
    return std::exchange(enml_, {});
}

void ENHTMLtoENMLConverter::writeData(std::string_view data) { htmlParser().appendData(data); }

void ENHTMLtoENMLConverter::finish() { htmlParser().finalizeParser(); }

void ENHTMLtoENMLConverter::cancel() {
    htmlParser().stopParser();
    htmlParser().setDelegate(nullptr);
}

ENXMLSaxParser& ENHTMLtoENMLConverter::htmlParser() {
    if (!htmlParser_) htmlParser_ = std::make_unique<ENXMLSaxParser>(true, this, limits_);
    return *htmlParser_;
}

ENMLWriter& ENHTMLtoENMLConverter::enmlWriter() {
    if (!enmlWriter_) enmlWriter_ = std::make_unique<ENMLWriter>(this);
    return *enmlWriter_;
}

unsigned ENHTMLtoENMLConverter::answeredCallbacks() const {
    return StartDocument | EndDocument | StartElement | EndElement | Characters | Failure;
}

void ENHTMLtoENMLConverter::parserDidStartDocument(ENXMLSaxParser&) {
    if (delegate_) delegate_->htmlConverterDidStart(*this);
}

void ENHTMLtoENMLConverter::parserDidStartElement(ENXMLSaxParser&, std::string_view name,
                                                  const ENXMLAttributes& attributes) {
    if (skipCount_ > 0) {
        ++skipCount_;
        return;
    }
    const LowerCaseName lowered(name);
    if (!inHTMLBody_) {
        if (*lowered != "body") return;
        // A mail made of several pages has several bodies; they make one note.
        if (enmlWriter().openElementCount() == 0) enmlWriter().startDocumentWithAttributes(attributes);
        inHTMLBody_ = true;
        return;
    }
    if (hasClass(attributes, ENHTMLClassIgnore) || !enmlWriter().startElement(*lowered, attributes)) ++skipCount_;
}

void ENHTMLtoENMLConverter::parserDidEndElement(ENXMLSaxParser&, std::string_view name) {
    if (skipCount_ > 0) {
        --skipCount_;
        return;
    }
    if (!inHTMLBody_) return;
    if (*LowerCaseName(name) == "body")
        inHTMLBody_ = false;
    else
        enmlWriter().endElement();
}

void ENHTMLtoENMLConverter::parserFoundCharacters(ENXMLSaxParser&, std::string_view text) {
    if (inHTMLBody_ && skipCount_ <= 0) enmlWriter().writeString(text);
}

void ENHTMLtoENMLConverter::parserDidEndDocument(ENXMLSaxParser&) {
    if (enmlWriter_) enmlWriter_->endDocument();
    if (delegate_) delegate_->htmlConverterDidFinish(*this);
}

void ENHTMLtoENMLConverter::parserDidFailWithError(ENXMLSaxParser&, const Error& error) {
    handOnRest();
    if (delegate_) delegate_->htmlConverterDidFailWithError(*this, error);
}

void ENHTMLtoENMLConverter::handOnRest() {
    if (enmlWriter_) enmlWriter_->flush();
}

void ENHTMLtoENMLConverter::xmlWriterDidGenerateData(ENXMLWriter&, std::string_view data) {
    std::string joined;
    if (!cutOffCharacter_.empty()) {
        joined = std::exchange(cutOffCharacter_, {}).append(data);
        data = joined;
    }
    const std::size_t open = cutOffCharacterLength(data);
    cutOffCharacter_ = data.substr(data.size() - open);
    handOn(data.substr(0, data.size() - open));
}

void ENHTMLtoENMLConverter::handOn(std::string_view text) {
    if (text.empty()) return;
    if (delegate_)
        delegate_->htmlConverterDidGenerateString(*this, text);
    else
        enml_.append(text);
}

void ENHTMLtoENMLConverter::xmlWriterDidEndWritingDocument(ENXMLWriter&) {}

}  // namespace qs
