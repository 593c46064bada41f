#include "HTML2EM/ENXMLSaxParser.h"

#include <unistd.h>

#include <fstream>

#include "Foundation/Assertion.h"
#include "Foundation/FileSystem.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"
#include "HTML2EM/ENURLConnection.h"
#include "HTML2EM/ENXMLDTD.h"
#include "HTML2EM/ENXMLSaxContext.h"
#include "Http/HttpClient.h"
#include "Text/Url.h"

namespace qs {

// A document that comes from the network.
class ENXMLSaxParser::Transfer final : public ENURLConnectionDelegate {
public:
    explicit Transfer(ENXMLSaxParser& parser) : parser_(parser) { parser.transfer_ = this; }
    ~Transfer() override { parser_.transfer_ = nullptr; }

    bool run(HttpRequest request) {
        connection_ = ENURLConnection::start(std::move(request), *this);
        RunLoop::main().runUntil([this] { return parser_.isHalted_; });
        if (!parser_.isHalted_) parser_.stopParser();  // the loop ended first
        cancel();
        if (thrown_) std::rethrow_exception(std::exchange(thrown_, nullptr));
        parser_.finalizeParser();
        return isComplete_;
    }
    void cancel() {
        if (connection_) connection_->cancel();
    }

    void connectionDidReceiveResponse(int statusCode) override {
        if (statusCode == 200) return;
        fail(Error{std::string(ENXMLSaxParserErrorDomain),
                   static_cast<int>(ENXMLSaxParserError::Response),
                   stringWithFormat("The server answered %ld.", {statusCode}),
                   {{"response", statusCode}}});
    }
    void connectionDidReceiveData(std::string_view data) override {
        guarded([&] { parser_.appendData(data); });
    }
    void connectionDidFinishLoading() override {
        guarded([&] {
            isComplete_ = true;
            parser_.finalizeParser();
        });
    }
    void connectionDidFailWithError(const Error& error) override { fail(error); }

private:
    void fail(const Error& error) {
        guarded([&] {
            parser_.stopParser();
            if (parser_.delegate_ && (parser_.delegate_->answeredCallbacks() & ENXMLSaxParserDelegate::Failure) != 0)
                parser_.delegate_->parserDidFailWithError(parser_, error);
        });
    }
    // What the delegate throws belongs to whoever asked for the document, not to the connection.
    template <class Step>
    void guarded(Step step) {
        if (parser_.isHalted_) return;
        try {
            step();
        } catch (...) {
            thrown_ = std::current_exception();
            parser_.stopParser();
        }
    }

    ENXMLSaxParser& parser_;
    std::unique_ptr<ENURLConnection> connection_;
    std::exception_ptr thrown_;
    bool isComplete_ = false;
};

ENXMLSaxParser::ENXMLSaxParser(bool isHTML, ENXMLSaxParserDelegate* delegate, ENXMLLimits limits)
    : isHTML_(isHTML),
      delegate_(delegate),
      limits_(std::move(limits)),
      dtds_{ENXMLDTD::lat1DTD(), ENXMLDTD::symbolDTD(), ENXMLDTD::specialDTD()} {}

ENXMLSaxParser::~ENXMLSaxParser() = default;

void ENXMLSaxParser::setDelegate(ENXMLSaxParserDelegate* delegate) {
    delegate_ = delegate;
    if (context_) context_->setDelegate(delegate);
}

bool ENXMLSaxParser::parseContents(std::string_view contents) { return parseData(contents); }

bool ENXMLSaxParser::parseData(std::string_view data) {
    startAnew();
    if (!data.empty()) startContext();
    finish(data);
    return true;
}

bool ENXMLSaxParser::parseContentsOfFile(const std::filesystem::path& file) {
    const auto attributes = FileSystem::real().info(file);
    if (!attributes) {
        logError(stringWithFormat("attributesOfItemAtPath:%@ returned error:%@",
                                  {file.string(), attributes.error().description}));
        return false;
    }
    if (attributes->size == 0) {
        logError(stringWithFormat("The file %@ is 0 bytes!", {file.string()}));
        return false;
    }
    startAnew();
    std::ifstream stream(file, std::ios::binary);
    std::string page(static_cast<std::size_t>(sysconf(_SC_PAGESIZE)), '\0');
    while (stream && !isHalted_) {
        stream.read(page.data(), static_cast<std::streamsize>(page.size()));
        appendBytes(page.data(), static_cast<std::size_t>(stream.gcount()));
    }
    if (!stream && !stream.eof()) logError(stringWithFormat("The file %@ cannot be read", {file.string()}));
    finalizeParser();
    return true;
}

bool ENXMLSaxParser::parseContentsOfURL(std::string_view text) {
    const auto url = Url::parse(text);
    if (url && url->scheme() == "file") return parseContentsOfFile(url->path().value_or(""));
    return parseContentsOfURLWithRequest({.url = std::string(text)});
}

bool ENXMLSaxParser::parseContentsOfURLWithRequest(HttpRequest request) {
    if (request.url.empty() || !delegate_) return false;
    startAnew();
    return Transfer(*this).run(std::move(request));
}

void ENXMLSaxParser::appendData(std::string_view data) { appendBytes(data.data(), data.size()); }

void ENXMLSaxParser::appendBytes(const char* bytes, std::size_t length) {
    if (length == 0) return;
    assertOutsideCallback();
    startContext();
    context_->append({bytes, length});
    if (context_->isStopped()) isHalted_ = true;
}

void ENXMLSaxParser::finalizeParser() {
    if (context_ && context_->isInsideCallback()) return stopParser();
    finish({});
}

void ENXMLSaxParser::startContext() {
    if (context_) return;
    isHalted_ = false;
    context_ = std::make_unique<Context>(*this, delegate_, limits_);
}

void ENXMLSaxParser::finish(std::string_view lastBytes) {
    struct End {
        ENXMLSaxParser& self;
        ~End() {
            self.context_.reset();
            self.isHalted_ = true;
        }
    };
    // The delegate may still ask for things, so the context stays where it is until the end is told.
    const End end{*this};
    if (context_) context_->finish(lastBytes);
}

void ENXMLSaxParser::stopParser() {
    if (transfer_) transfer_->cancel();
    if (context_) context_->stop();
    isHalted_ = true;
}

const _xmlEntity* ENXMLSaxParser::lookupEntity(std::string_view name) const {
    for (const auto& dtd : dtds_)
        if (const _xmlEntity* found = dtd ? dtd->xmlEntityNamed(name) : nullptr) return found;
    return nullptr;
}

// A document that was begun before and never ended is forgotten.
void ENXMLSaxParser::startAnew() {
    assertOutsideCallback();
    stopParser();
    context_.reset();
    isHalted_ = false;
}

// libxml2 is in the middle of its work then.
void ENXMLSaxParser::assertOutsideCallback() const {
    assertThat(!context_ || !context_->isInsideCallback(), "A parser gets nothing to read from inside its callbacks");
}

}  // namespace qs
