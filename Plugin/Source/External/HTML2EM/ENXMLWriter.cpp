#include "HTML2EM/ENXMLWriter.h"

#include <libxml/xmlwriter.h>

#include <utility>

#include "Foundation/Format.h"
#include "HTML2EM/ENLibXML.h"
#include "HTML2EM/ENXMLDTD.h"
#include "HTML2EM/ENXMLElement.h"
#include "HTML2EM/ENXMLText.h"

namespace qs {

// What libxml2 calls with the document. Nothing that is thrown may pass through it.
struct ENXMLWriter::Output {
    static int write(void* user, const char* bytes, int length) {
        auto& self = *static_cast<ENXMLWriter*>(user);
        const std::string_view data(bytes, static_cast<std::size_t>(length));
        if (!self.delegate_) {
            self.contents_.append(data);
            return length;
        }
        return told(self, [&] { self.delegate_->xmlWriterDidGenerateData(self, data); }) ? length : -1;
    }
    static int close(void* user) {
        auto& self = *static_cast<ENXMLWriter*>(user);
        if (!self.delegate_) return 0;
        return told(self, [&] { self.delegate_->xmlWriterDidEndWritingDocument(self); }) ? 0 : -1;
    }

private:
    template <class Tell>
    static bool told(ENXMLWriter& self, Tell tell) {
        try {
            tell();
            return true;
        } catch (...) {
            self.thrown_ = std::current_exception();
            return false;
        }
    }
};

ENXMLWriter::ENXMLWriter(ENXMLWriterDelegate* delegate) : delegate_(delegate) {}

ENXMLWriter::~ENXMLWriter() {
    delegate_ = nullptr;
    xmlFreeTextWriter(writer_);
}

void ENXMLWriter::startDocument() {
    contents_.clear();
    openElements_.clear();
    currentElement_ = nullptr;
    isTagOpen_ = false;
    xmlFreeTextWriter(std::exchange(writer_, nullptr));
    xmlOutputBuffer_ = xmlOutputBufferCreateIO(Output::write, Output::close, this, nullptr);
    writer_ = xmlOutputBuffer_ ? xmlNewTextWriter(xmlOutputBuffer_) : nullptr;
    check(writer_ ? 0 : -1, "xmlNewTextWriter");
    check(xmlTextWriterSetIndent(writer_, 0), "xmlTextWriterSetIndent");
    isUTF8Declared_ = dtd_ && !dtd_->docTypeDeclaration().empty();
    if (isUTF8Declared_) {
        check(xmlTextWriterStartDocument(writer_, nullptr, "UTF-8", "no"), "xmlTextWriterStartDocument");
        writeRawString(dtd_->docTypeDeclaration());
        // What follows is UTF-8 already, and need not be converted into it.
        flush();
        xmlOutputBuffer_->encoder = nullptr;
    }
    writeRawString("\n");
}

void ENXMLWriter::endDocument() {
    isTagOpen_ = false;
    check(xmlTextWriterEndDocument(writer_), "xmlTextWriterEndDocument");
    openElements_.clear();
    currentElement_ = nullptr;
    xmlFreeTextWriter(std::exchange(writer_, nullptr));
    check(0, "xmlFreeTextWriter");
}

void ENXMLWriter::flush() {
    if (writer_) check(xmlTextWriterFlush(writer_), "xmlTextWriterFlush");
}

bool ENXMLWriter::startElement(std::string_view name) {
    const ENXMLElement* element = dtd_ ? dtd_->element(name) : nullptr;
    if (dtd_ && !element) return false;
    startLegalElement(name, element);
    return true;
}

void ENXMLWriter::startLegalElement(std::string_view name, const ENXMLElement* element) {
    if (!element) name_ = name;
    check(xmlTextWriterStartElement(writer_, xmlChars(element ? element->name() : name_)), "xmlTextWriterStartElement");
    openElements_.push_back(element);
    currentElement_ = element;
    isTagOpen_ = true;
}

bool ENXMLWriter::startElement(std::string_view name, const ENXMLAttributes& attributes) {
    if (!startElement(name)) return false;
    writeAttributes(attributes);
    return true;
}

void ENXMLWriter::writeAttributes(const ENXMLAttributes& attributes) {
    if (!isTagOpen_ || !isUTF8Declared_) {
        for (const ENXMLAttribute& attribute : attributes)
            writeAttributeName(attribute.name, attribute.value);
        return;
    }
    // What libxml2 would write, in one piece: it takes a dozen calls and copies for each attribute.
    text_.clear();
    for (const ENXMLAttribute& attribute : attributes) {
        if (!isLegalAttribute(attribute.name)) continue;
        text_.append(1, ' ').append(attribute.name).append("=\"");
        appendEscapedXmlValue(text_, attribute.value.value_or(std::string_view()));
        text_ += '"';
    }
    if (text_.empty()) return;
    check(xmlOutputBufferWrite(xmlOutputBuffer_, static_cast<int>(text_.size()), text_.data()), "xmlOutputBufferWrite");
}

bool ENXMLWriter::isLegalAttribute(std::string_view name) const {
    if (!dtd_) return true;
    return currentElement_ ? currentElement_->takesAttribute(name) : dtd_->isAttributeLegal(name, std::string_view());
}

void ENXMLWriter::endElement() {
    isTagOpen_ = false;
    check(xmlTextWriterEndElement(writer_), "xmlTextWriterEndElement");
    currentElement_ = nullptr;
    openElements_.pop_back();
}

bool ENXMLWriter::writeElement(std::string_view name, const ENXMLAttributes& attributes, std::string_view content) {
    if (!startElement(name, attributes)) return false;
    writeString(content);
    endElement();
    return true;
}

bool ENXMLWriter::writeAttributeName(std::string_view name, std::optional<std::string_view> value) {
    if (!isLegalAttribute(name)) return false;
    name_ = name;
    text_.clear();
    std::string_view rest = value.value_or(std::string_view());
    for (std::size_t at = rest.find('&'); at != rest.npos; at = rest.find('&')) {
        appendLegalXml(text_, rest.substr(0, at));
        text_ += "&#38;";
        rest.remove_prefix(at + 1);
    }
    appendLegalXml(text_, rest);
    check(xmlTextWriterWriteAttribute(writer_, xmlChars(name_), xmlChars(text_)), "xmlTextWriterWriteAttribute");
    return true;
}

void ENXMLWriter::writeString(std::string_view text, bool raw) {
    if (raw)
        writeRawString(text);
    else
        writeString(text);
}

void ENXMLWriter::writeRawString(std::string_view text) {
    if (text.empty()) return;
    isTagOpen_ = false;
    check(xmlTextWriterWriteRawLen(writer_, xmlChars(text.data()), static_cast<int>(text.size())),
          "xmlTextWriterWriteRaw");
}

void ENXMLWriter::writeString(std::string_view text) {
    // Escaped here, in one pass with the look at each character, as libxml2's own escaping would copy it twice more.
    text_.clear();
    appendEscapedXml(text_, text);
    writeRawString(text_);
}

void ENXMLWriter::startCDATA() {
    isTagOpen_ = false;
    check(xmlTextWriterStartCDATA(writer_), "xmlTextWriterStartCDATA");
    isInCDATA_ = true;
}

void ENXMLWriter::writeCDATA(std::string_view text) {
    if (!isInCDATA_) {
        startCDATA();
        writeCDATA(text);
        return endCDATA();
    }
    // "]]>" would end the section: it is spread over two.
    constexpr std::string_view end = "]]>";
    for (std::size_t at = text.find(end); at != text.npos; at = text.find(end)) {
        check(xmlTextWriterWriteString(writer_, legal(text.substr(0, at + 2))), "xmlTextWriterWriteString");
        text.remove_prefix(at + 2);
        endCDATA();
        startCDATA();
    }
    check(xmlTextWriterWriteString(writer_, legal(text)), "xmlTextWriterWriteString");
}

void ENXMLWriter::endCDATA() {
    check(xmlTextWriterEndCDATA(writer_), "xmlTextWriterEndCDATA");
    isInCDATA_ = false;
}

void ENXMLWriter::raise(int result, const char* function) {
    if (thrown_) std::rethrow_exception(std::exchange(thrown_, nullptr));
    throw ENXMLWriterLibXMLError(
        stringWithFormat("%@ returned result=%i, error=%@", {function, result, takeLastXmlMessage()}));
}

const unsigned char* ENXMLWriter::legal(std::string_view text) {
    text_.clear();
    appendLegalXml(text_, text);
    return xmlChars(text_);
}

}  // namespace qs
