// One document on its way through libxml2's push parsers, for ENXMLSaxParser: feeds them, watches the bounds, and
// hands the events on. HTML is collected first: what libxml2 (2.9) reads in tag soup depends on where it is cut, down
// to text that vanishes.
#pragma once

#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "HTML2EM/ENLogBudget.h"
#include "HTML2EM/ENXMLSaxParser.h"

struct _xmlDoc;
struct _xmlEntity;
struct _xmlParserCtxt;

namespace qs {

class ENXMLSaxParser::Context {
public:
    Context(ENXMLSaxParser& parser, ENXMLSaxParserDelegate* delegate, const ENXMLLimits& limits);
    ~Context();
    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;

    void append(std::string_view bytes);
    void finish(std::string_view lastBytes);
    void stop();
    void setDelegate(ENXMLSaxParserDelegate* delegate) { delegate_ = delegate; }
    bool isStopped() const { return isStopped_; }
    bool isInsideCallback() const { return isParsing_; }

private:
    struct Events;  // what libxml2 calls
    using Name = const unsigned char*;
    static constexpr unsigned kEventsBetweenLooksAtTheClock = 256;

    bool isWithinBound(std::string_view bytes);
    void feed(std::string_view bytes);
    void parse(std::string_view bytes, bool isLast);
    // Called at every event; looks at the clock now and then.
    void checkTime() {
        if (++events_ % kEventsBetweenLooksAtTheClock == 0) lookAtTheClock();
    }
    void lookAtTheClock();
    // Stops. Told at once, or when libxml2 has returned.
    void fail(ENXMLSaxParserError code, std::string message);
    void tellFailure();
    bool answers(ENXMLSaxParserDelegate::Callback callback) const { return delegate_ && (callbacks_ & callback) != 0; }

    bool answersDocument() const;
    void startDocument();
    void startElement(Name name, Name* attributes);
    void endElement(Name name);
    void endOpenElement();
    void endDocument();
    void gather(Name* attributes);
    _xmlEntity* entity(Name name);
    _xmlEntity* ownCopy(const _xmlEntity& entity);

    ENXMLSaxParser& parser_;
    ENXMLSaxParserDelegate* delegate_;
    const unsigned callbacks_;
    const ENXMLLimits& limits_;
    _xmlParserCtxt* context_ = nullptr;
    _xmlDoc* entities_ =
        nullptr;        // libxml2 notes things in an entity that it uses, and those of the definitions are shared
    std::string held_;  // bytes that libxml2 gets with the next ones
    ENLogBudget log_;
    std::vector<Name> open_;  // the elements that have begun; the names are libxml2's
    ENXMLAttributes attributes_;
    std::vector<std::unique_ptr<std::string>> loweredNames_;
    std::optional<Error> failure_;  // to be told when libxml2 has returned
    std::exception_ptr thrown_;     // likewise
    std::size_t bytes_ = 0;
    unsigned events_ = 0;
    TimeInterval parseBegan_ = 0, spent_ = 0;  // spent_: before that
    bool isParsing_ = false, isStopped_ = false, hasStarted_ = false, hasEnded_ = false;
};

}  // namespace qs
