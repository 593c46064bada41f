#include "HTML2EM/ENXMLSaxContext.h"

#include <libxml/HTMLparser.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>

#include "Foundation/RunLoop.h"
#include "HTML2EM/ENHTMLInput.h"
#include "HTML2EM/ENLibXML.h"
#include "HTML2EM/ENXMLDTD.h"
#include "Text/Ascii.h"

namespace qs {

namespace {

// The parser compares each attribute of an element with all others. What stops it is that it has no room for more names
// than any real document has; then startElement() counts.
constexpr std::size_t kRoomForNames = 64 << 10;
constexpr std::size_t kLittle = 1024;

std::string formatted(const char* format, va_list arguments) {
    char buffer[1024];
    const int length = std::vsnprintf(buffer, sizeof buffer, format, arguments);
    const auto most = static_cast<int>(sizeof buffer) - 1;
    return std::string(trimmedAscii(std::string_view(buffer, static_cast<std::size_t>(std::clamp(length, 0, most)))));
}

bool hasUpperCase(std::string_view text) {
    return std::any_of(text.begin(), text.end(), [](char c) { return c >= 'A' && c <= 'Z'; });
}

std::string tooMuch(std::string_view format, std::size_t bound) {
    return stringWithFormat(format, {static_cast<std::int64_t>(bound)});
}

std::string tooManyAttributes(const ENXMLLimits& limits) {
    return tooMuch("An element has more than %ld attributes.", limits.attributes);
}

TimeInterval uptimeBy(const ENXMLLimits& limits) {
    if (limits.uptime) return limits.uptime();
    const RunLoop* loop = RunLoop::mainIfInstalled();
    return loop ? loop->uptime() : 0;
}

}  // namespace

// Nothing that is thrown may pass through libxml2: it waits in thrown_ until libxml2 has returned.
struct ENXMLSaxParser::Context::Events {
    using Callback = ENXMLSaxParserDelegate::Callback;

    template <class Tell>
    static void tell(void* user, Tell tell) {
        auto& self = *static_cast<Context*>(user);
        self.checkTime();
        if (self.isStopped_) return;
        try {
            tell(self);
        } catch (...) {
            self.thrown_ = std::current_exception();
            self.stop();
        }
    }

    static void startDocument(void* user) {
        tell(user, [](Context& self) { self.startDocument(); });
    }
    static void endDocument(void* user) {
        tell(user, [](Context& self) { self.endDocument(); });
    }
    static void startElement(void* user, const xmlChar* name, const xmlChar** attributes) {
        tell(user, [=](Context& self) { self.startElement(name, attributes); });
    }
    static void endElement(void* user, const xmlChar* name) {
        tell(user, [=](Context& self) { self.endElement(name); });
    }
    static void characters(void* user, const xmlChar* text, int length) {
        tell(user, [=](Context& self) {
            if (self.delegate_) self.delegate_->parserFoundCharacters(self.parser_, view(text, length));
        });
    }
    static void cdata(void* user, const xmlChar* text, int length) {
        tell(user, [=](Context& self) {
            if (self.delegate_) self.delegate_->parserFoundCDATA(self.parser_, view(text, length));
        });
    }
    static void comment(void* user, const xmlChar* text) {
        tell(user, [=](Context& self) {
            if (self.delegate_) self.delegate_->parserFoundComment(self.parser_, view(text));
        });
    }
    static xmlEntityPtr entity(void* user, const xmlChar* name) {
        xmlEntityPtr found = nullptr;
        tell(user, [&found, name](Context& self) { found = self.entity(name); });
        return found;
    }

    static void error(void* user, const char* format, ...) {
        auto& self = *static_cast<Context*>(user);
        self.checkTime();
        if (self.isStopped_ || !self.log_.allows()) return;
        va_list arguments;
        va_start(arguments, format);
        const std::string message = formatted(format, arguments);
        va_end(arguments);
        logInfo(stringWithFormat("ENXMLSaxParser: %@ (nonfatal)", {message}));
    }
    static void fatalError(void* user, const char* format, ...) {
        va_list arguments;
        va_start(arguments, format);
        std::string message = formatted(format, arguments);
        va_end(arguments);
        tell(user, [&message](Context& self) { self.fail(ENXMLSaxParserError::Fatal, std::move(message)); });
    }

    static void install(xmlSAXHandler& sax, const Context& context) {
        // These also for a delegate that does not ask for them: the bounds and the end depend on them.
        sax.startDocument = startDocument;
        sax.endDocument = endDocument;
        sax.startElement = startElement;
        sax.endElement = endElement;
        if (context.answers(Callback::Characters)) sax.characters = sax.ignorableWhitespace = characters;
        if (context.answers(Callback::CDATA)) sax.cdataBlock = cdata;
        if (context.answers(Callback::Comment)) sax.comment = comment;
        sax.getEntity = entity;
        sax.error = error;
        sax.fatalError = fatalError;
    }
};

ENXMLSaxParser::Context::Context(ENXMLSaxParser& parser, ENXMLSaxParserDelegate* delegate, const ENXMLLimits& limits)
    : parser_(parser), delegate_(delegate), callbacks_(delegate ? delegate->answeredCallbacks() : 0), limits_(limits) {
    xmlSAXHandler sax{};
    Events::install(sax, *this);
    if (parser.isHTML()) {
        context_ = htmlCreatePushParserCtxt(&sax, this, nullptr, 0, nullptr, XML_CHAR_ENCODING_UTF8);
        // What a mail's own "meta" says of its encoding was true before it became UTF-8.
        if (context_) htmlCtxtUseOptions(context_, HTML_PARSE_IGNORE_ENC | HTML_PARSE_NONET);
    } else {
        context_ = xmlCreatePushParserCtxt(&sax, this, nullptr, 0, nullptr);
        if (context_) xmlCtxtUseOptions(context_, XML_PARSE_RECOVER | XML_PARSE_NONET);
    }
    if (!context_) throw std::bad_alloc();
    xmlDictSetLimit(context_->dict, kRoomForNames);
}

ENXMLSaxParser::Context::~Context() {
    if (context_->myDoc) xmlFreeDoc(context_->myDoc);
    context_->myDoc = nullptr;
    if (parser_.isHTML())
        htmlFreeParserCtxt(context_);
    else
        xmlFreeParserCtxt(context_);
    if (entities_) xmlFreeDoc(entities_);
}

void ENXMLSaxParser::Context::append(std::string_view bytes) {
    if (!isWithinBound(bytes)) return;
    if (parser_.isHTML())
        held_.append(bytes);
    else
        feed(bytes);
}

void ENXMLSaxParser::Context::finish(std::string_view lastBytes) {
    if (isWithinBound(lastBytes)) {
        const std::string_view rest = held_.empty() ? lastBytes : held_.append(lastBytes);
        std::string cleaned;
        parse(parser_.isHTML() ? cleanedHTML(rest, cleaned) : rest, false);
    }
    if (!isStopped_) parse({}, true);
    // libxml2 (2.9) forgets to tell the end of HTML that ends in a long text.
    if (parser_.isHTML() && hasStarted_ && !hasEnded_ && !isStopped_) endDocument();
    isStopped_ = true;
}

// False, too, for what comes when the document has ended or was stopped.
bool ENXMLSaxParser::Context::isWithinBound(std::string_view bytes) {
    if (isStopped_ || hasEnded_) return false;
    if (limits_.bytes - bytes_ < bytes.size()) {
        fail(ENXMLSaxParserError::Limit, tooMuch("The document is larger than %ld bytes.", limits_.bytes));
        return false;
    }
    bytes_ += bytes.size();
    return true;
}

void ENXMLSaxParser::Context::stop() {
    isStopped_ = true;
    xmlStopParser(context_);
}

// Looking for the end of something long, libxml2 begins anew with each chunk. So that much text in small chunks isn't
// slow, it gets them together then.
void ENXMLSaxParser::Context::feed(std::string_view bytes) {
    const xmlParserInput* input = context_->input;
    const std::size_t unread = input ? static_cast<std::size_t>(input->end - input->cur) : 0;
    if (held_.empty() && (unread <= kLittle || bytes.size() >= unread)) return parse(bytes, false);
    held_.append(bytes);
    if (held_.size() >= unread) parse(std::exchange(held_, {}), false);
}

void ENXMLSaxParser::Context::lookAtTheClock() {
    if (isStopped_ || spent_ + uptimeBy(limits_) - parseBegan_ <= limits_.seconds) return;
    fail(ENXMLSaxParserError::Limit,
         tooMuch("The document takes longer than %ld seconds.", static_cast<std::size_t>(limits_.seconds)));
}

void ENXMLSaxParser::Context::parse(std::string_view bytes, bool isLast) {
    if (bytes.empty() && !isLast) return;
    isParsing_ = true;
    parseBegan_ = uptimeBy(limits_);
    if (parser_.isHTML())
        htmlParseChunk(context_, bytes.data(), static_cast<int>(bytes.size()), isLast);
    else
        xmlParseChunk(context_, bytes.data(), static_cast<int>(bytes.size()), isLast);
    isParsing_ = false;
    spent_ += uptimeBy(limits_) - parseBegan_;
    if (thrown_) std::rethrow_exception(std::exchange(thrown_, nullptr));
    if (failure_) return tellFailure();
    const bool hasGivenUp = context_->instate == XML_PARSER_EOF && !isLast && !hasEnded_ && !isStopped_;
    if (!hasGivenUp) return;
    const char* message = context_->lastError.message;
    fail(ENXMLSaxParserError::Fatal, message ? std::string(trimmedAscii(message)) : "The document cannot be read.");
}

void ENXMLSaxParser::Context::fail(ENXMLSaxParserError code, std::string message) {
    failure_ = Error{std::string(ENXMLSaxParserErrorDomain), static_cast<int>(code), message, {{"message", message}}};
    stop();
    if (!isParsing_) tellFailure();
}

void ENXMLSaxParser::Context::tellFailure() {
    const Error error = *std::exchange(failure_, std::nullopt);
    logError(stringWithFormat("ENXMLSaxParser: fatal error %@", {error.description}));
    if (answers(ENXMLSaxParserDelegate::Failure)) delegate_->parserDidFailWithError(parser_, error);
}

bool ENXMLSaxParser::Context::answersDocument() const {
    return answers(ENXMLSaxParserDelegate::StartDocument) && answers(ENXMLSaxParserDelegate::EndDocument);
}

void ENXMLSaxParser::Context::startDocument() {
    hasStarted_ = true;
    if (answersDocument()) delegate_->parserDidStartDocument(parser_);
}

void ENXMLSaxParser::Context::startElement(Name name, Name* attributes) {
    if (open_.size() >= limits_.depth)
        return fail(ENXMLSaxParserError::Limit, tooMuch("Elements stand more than %ld deep.", limits_.depth));
    open_.push_back(name);
    gather(attributes);
    if (attributes_.size() > limits_.attributes) return fail(ENXMLSaxParserError::Limit, tooManyAttributes(limits_));
    if (answers(ENXMLSaxParserDelegate::StartElement))
        delegate_->parserDidStartElement(parser_, view(name), attributes_);
}

// libxml2 forgets to end an element whose start tag the document breaks off in.
void ENXMLSaxParser::Context::endElement(Name name) {
    const auto isIt = [name](Name open) { return open == name || xmlStrEqual(open, name) != 0; };
    const auto begun = std::find_if(open_.rbegin(), open_.rend(), isIt);
    if (begun == open_.rend()) return;
    for (auto toEnd = begun - open_.rbegin() + 1; toEnd > 0; --toEnd)
        endOpenElement();
}

void ENXMLSaxParser::Context::endOpenElement() {
    const Name name = open_.back();
    open_.pop_back();
    if (answers(ENXMLSaxParserDelegate::EndElement)) delegate_->parserDidEndElement(parser_, view(name));
}

void ENXMLSaxParser::Context::endDocument() {
    while (!open_.empty() && !isStopped_)
        endOpenElement();
    hasEnded_ = true;
    if (answersDocument() && !isStopped_) delegate_->parserDidEndDocument(parser_);
}

void ENXMLSaxParser::Context::gather(Name* attributes) {
    attributes_.clear();
    loweredNames_.clear();
    for (; attributes && attributes[0]; attributes += 2) {
        ENXMLAttribute attribute{view(attributes[0]), std::nullopt};
        if (attributes[1]) attribute.value = view(attributes[1]);
        if (!parser_.isHTML() && hasUpperCase(attribute.name))
            attribute.name = *loweredNames_.emplace_back(std::make_unique<std::string>(asciiLowered(attribute.name)));
        // In XML "A" and "a" are two, and become one here: the last one counts.
        if (!loweredNames_.empty())
            std::erase_if(attributes_, [&](const ENXMLAttribute& other) { return other.name == attribute.name; });
        attributes_.push_back(attribute);
    }
}

// Predefined ones first, then those of XHTML, whatever the document declares: so it can neither make its entities grow
// nor let them name files.
xmlEntityPtr ENXMLSaxParser::Context::entity(Name name) {
    if (xmlEntityPtr predefined = xmlGetPredefinedEntity(name)) return predefined;
    if (const xmlEntity* found = parser_.lookupEntity(view(name))) return ownCopy(*found);
    if (log_.allows()) logInfo(stringWithFormat("Ignoring unknown entity '%s'", {view(name)}));
    return nullptr;
}

xmlEntityPtr ENXMLSaxParser::Context::ownCopy(const xmlEntity& entity) {
    if (!entities_) {
        entities_ = xmlNewDoc(nullptr);
        if (!entities_ || !xmlCreateIntSubset(entities_, xmlChars("entities"), nullptr, nullptr))
            throw std::bad_alloc();
    }
    if (xmlEntityPtr copy = xmlGetDocEntity(entities_, entity.name)) return copy;
    return xmlAddDocEntity(entities_, entity.name, entity.etype, nullptr, nullptr, entity.content);
}

}  // namespace qs
