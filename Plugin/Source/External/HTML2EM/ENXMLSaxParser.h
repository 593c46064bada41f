// Reads HTML as it comes (tag soup) or XML, whole or in chunks, and tells its delegate what it finds.
//
// HTML is UTF-8, whatever the document claims; bytes that are none become U+FFFD. It is told when all of it is there,
// so that chunks don't change what it says. XML is told as it comes, keeps the encoding that it declares, is read in
// spite of faults as far as that goes, and loads nothing: the entities that it may use are those of XHTML. Used by one
// thread at a time. From the network (parseContentsOfURL) on the main thread only.
#pragma once

#include <array>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <string_view>

#include "Foundation/Date.h"
#include "Foundation/Result.h"
#include "HTML2EM/ENXMLAttributes.h"

struct _xmlEntity;

namespace qs {

class ENXMLDTD;
class ENXMLSaxParser;
struct HttpRequest;

inline constexpr std::string_view ENXMLSaxParserErrorDomain = "ENXMLSaxParserErrorDomain";
enum class ENXMLSaxParserError {
    Fatal = 1001,     // userInfo "message"
    Response = 1002,  // an HTTP status other than 200; userInfo "response"
    Limit = 1003,     // the document is beyond a bound of ENXMLLimits; userInfo "message"
};

// Bounds of one document, far above what a mail has. They keep a hostile one from taking minutes or all memory.
struct ENXMLLimits {
    std::size_t bytes = 32u << 20;
    std::size_t depth = 1000;                   // of elements inside each other
    std::size_t attributes = 1000;              // of one element
    TimeInterval seconds = 20;                  // of work; waiting for more of it does not count
    std::function<TimeInterval()> uptime = {};  // that of the run loop when not given; without either there's no bound
};

// Everything is optional: a delegate says what it answers, and the rest is not even gathered. Elements are told in
// pairs, whatever the document looks like. Views live as long as the call.
class ENXMLSaxParserDelegate {
public:
    enum Callback : unsigned {
        StartDocument = 1,  // start and end count only as a pair
        EndDocument = 2,
        StartElement = 4,
        EndElement = 8,
        Characters = 16,
        CDATA = 32,  // without it CDATA counts as characters
        Comment = 64,
        Failure = 128,
    };
    virtual ~ENXMLSaxParserDelegate() = default;
    virtual unsigned answeredCallbacks() const = 0;

    virtual void parserDidStartDocument(ENXMLSaxParser&) {}
    virtual void parserDidEndDocument(ENXMLSaxParser&) {}
    // Attribute names are in lower case, names of elements as the document has them. In XML, values keep "&#38;" and
    // the names of entities that are not predefined.
    virtual void parserDidStartElement(ENXMLSaxParser&, std::string_view, const ENXMLAttributes&) {}
    virtual void parserDidEndElement(ENXMLSaxParser&, std::string_view) {}
    virtual void parserFoundCharacters(ENXMLSaxParser&, std::string_view) {}
    virtual void parserFoundCDATA(ENXMLSaxParser&, std::string_view) {}
    virtual void parserFoundComment(ENXMLSaxParser&, std::string_view) {}
    // Nothing follows, not even the end of the document.
    virtual void parserDidFailWithError(ENXMLSaxParser&, const Error&) {}
};

class ENXMLSaxParser {
public:
    explicit ENXMLSaxParser(bool isHTML, ENXMLSaxParserDelegate* delegate = nullptr, ENXMLLimits limits = {});
    ~ENXMLSaxParser();
    ENXMLSaxParser(const ENXMLSaxParser&) = delete;
    ENXMLSaxParser& operator=(const ENXMLSaxParser&) = delete;

    bool isHTML() const { return isHTML_; }
    // Not owned; must outlive the parser or be taken away. What it answers counts from the next document on.
    void setDelegate(ENXMLSaxParserDelegate* delegate);

    // A whole document. True, whatever was in it: failures go to the delegate and the log.
    bool parseContents(std::string_view contents);
    bool parseData(std::string_view data);
    // False when there is no such file or it is empty. What cannot be read of it goes to the log.
    bool parseContentsOfFile(const std::filesystem::path& file);
    // A file by its URL, or a document from the network: runs the run loop until it is read. False when it could not be
    // fetched, or when there is no delegate.
    bool parseContentsOfURL(std::string_view url);
    bool parseContentsOfURLWithRequest(HttpRequest request);

    // A document in chunks, of any size and cut anywhere, ended by finalizeParser(). What the delegate throws comes out
    // of these and stops the parser. Not to be called from inside a callback.
    void appendData(std::string_view data);
    void appendBytes(const char* bytes, std::size_t length);
    void finalizeParser();
    // Also from inside a callback. The rest of the document is ignored.
    void stopParser();
    bool isHalted() const { return isHalted_; }

    // By the entity sets of XHTML, Latin 1, symbols, special signs, in this order. Null for none.
    const _xmlEntity* lookupEntity(std::string_view name) const;

private:
    class Context;
    class Transfer;
    void startAnew();
    void startContext();
    void finish(std::string_view lastBytes);
    void assertOutsideCallback() const;

    bool isHTML_, isHalted_ = false;
    ENXMLSaxParserDelegate* delegate_;
    ENXMLLimits limits_;
    std::array<std::shared_ptr<const ENXMLDTD>, 3> dtds_;
    std::unique_ptr<Context> context_;
    Transfer* transfer_ = nullptr;  // of the call of parseContentsOfURLWithRequest() that runs
};

}  // namespace qs
