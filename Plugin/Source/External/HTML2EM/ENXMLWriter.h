// Writes an XML document, to a delegate as it grows or into a text. With a document type definition it refuses every
// element and attribute that the definition does not know. Characters that XML forbids are left out.
//
// Used by one thread at a time.
#pragma once

#include <exception>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "HTML2EM/ENXMLAttributes.h"

struct _xmlOutputBuffer;
struct _xmlTextWriter;

namespace qs {

class ENXMLDTD;
class ENXMLElement;
class ENXMLWriter;

class ENXMLWriterDelegate {
public:
    virtual ~ENXMLWriterDelegate() = default;
    // A block of UTF-8, which may end in the middle of a character.
    virtual void xmlWriterDidGenerateData(ENXMLWriter& writer, std::string_view data) = 0;
    virtual void xmlWriterDidEndWritingDocument(ENXMLWriter& writer) = 0;
};

// A call of libxml2 failed: the writer was used in a wrong order, or there is no memory.
class ENXMLWriterLibXMLError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// What the delegate throws comes out of the call that made it write.
class ENXMLWriter {
public:
    explicit ENXMLWriter(ENXMLWriterDelegate* delegate = nullptr);  // not owned; must outlive the writer
    virtual ~ENXMLWriter();                                         // tells the delegate nothing more
    ENXMLWriter(const ENXMLWriter&) = delete;
    ENXMLWriter& operator=(const ENXMLWriter&) = delete;

    void setDtd(std::shared_ptr<const ENXMLDTD> dtd) { dtd_ = std::move(dtd); }
    const std::shared_ptr<const ENXMLDTD>& dtd() const { return dtd_; }
    // What was written, when there is no delegate; complete after endDocument() or flush().
    const std::string& contents() const { return contents_; }
    unsigned openElementCount() const { return static_cast<unsigned>(openElements_.size()); }
    // Hands on what is still held back. For a document that will not be ended.
    void flush();

    virtual void startDocument();
    virtual void endDocument();  // ends all open elements

    // False when the definition does not know the element: then nothing was written, and there is nothing to end.
    bool startElement(std::string_view name);
    virtual bool startElement(std::string_view name, const ENXMLAttributes& attributes);
    void endElement();
    bool writeElement(std::string_view name, const ENXMLAttributes& attributes, std::string_view content);
    // Behind startElement() and before any content. False when the definition does not know the attribute. Every "&" of
    // the value becomes "&#38;", and then all of it is escaped: the document has "&amp;#38;" there, and its reader gets
    // "&#38;", between the fields of a link's query too. That is how these notes are written; it is no slip.
    bool writeAttributeName(std::string_view name, std::optional<std::string_view> value);

    void writeString(std::string_view text, bool raw);
    void writeRawString(std::string_view text);  // as it is, markup too
    virtual void writeString(std::string_view text);
    void startCDATA();
    void writeCDATA(std::string_view text);  // a section of its own unless one is open
    void endCDATA();

protected:
    // The innermost open element as the definition has it; null for none, and when there is no definition.
    const ENXMLElement* innermostElement() const { return openElements_.empty() ? nullptr : openElements_.back(); }
    // Without asking the definition, which declares `element`; null when there is none.
    void startLegalElement(std::string_view name, const ENXMLElement* element);
    void writeAttributes(const ENXMLAttributes& attributes);

private:
    struct Output;
    void check(int result, const char* function) {
        if (result < 0 || thrown_) raise(result, function);
    }
    [[noreturn]] void raise(int result, const char* function);
    const unsigned char* legal(std::string_view text);
    bool isLegalAttribute(std::string_view name) const;

    ENXMLWriterDelegate* delegate_;
    std::shared_ptr<const ENXMLDTD> dtd_;
    std::string contents_, name_, text_;
    _xmlTextWriter* writer_ = nullptr;
    _xmlOutputBuffer* xmlOutputBuffer_ = nullptr;  // the writer's
    std::vector<const ENXMLElement*> openElements_;
    const ENXMLElement* currentElement_ = nullptr;  // from its start on to any end
    bool isInCDATA_ = false, isUTF8Declared_ = false;
    bool isTagOpen_ = false;     // the last thing written was a start tag, and its end is still to come
    std::exception_ptr thrown_;  // by the delegate, on its way through libxml2
};

}  // namespace qs
