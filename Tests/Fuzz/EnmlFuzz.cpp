// Turns any bytes into a note, whole and in chunks (the first byte tells their size). Both must come out alike, and be
// valid by the definition.
#include <libxml/parser.h>
#include <libxml/valid.h>

#include <cstdlib>
#include <string>
#include <string_view>

#include "HTML2EM/ENHTMLtoENMLConverter.h"
#include "HTML2EM/ENURLConnection.h"
#include "HTML2EM/ENXMLDTD.h"
#include "Http/HttpClient.h"

namespace {

struct Collector : qs::ENHTMLtoENMLConverterDelegate {
    void htmlConverterDidGenerateString(qs::ENHTMLtoENMLConverter&, std::string_view text) override { note += text; }
    void htmlConverterDidFailWithError(qs::ENHTMLtoENMLConverter&, const qs::Error&) override { hasFailed = true; }
    std::string note;
    bool hasFailed = false;
};

Collector converted(std::string_view html, std::size_t chunk) {
    Collector collector;
    qs::ENHTMLtoENMLConverter converter;
    converter.setDelegate(&collector);
    for (std::size_t at = 0; at < html.size(); at += chunk)
        converter.writeData(html.substr(at, chunk));
    converter.finish();
    return collector;
}

bool isValid(const std::string& note) {
    static xmlDtd* const definition = xmlParseDTD(nullptr, reinterpret_cast<const xmlChar*>("enml2.dtd"));
    xmlDoc* document = xmlReadMemory(note.data(), static_cast<int>(note.size()), "note.xml", "UTF-8",
                                     XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_HUGE);
    if (!document) return false;
    xmlValidCtxt* context = xmlNewValidCtxt();
    const bool isValid = xmlValidateDtd(context, document, definition) == 1;
    xmlFreeValidCtxt(context);
    xmlFreeDoc(document);
    return isValid;
}

}  // namespace

// Nothing is read from the network here.
std::unique_ptr<qs::ENURLConnection> qs::ENURLConnection::start(HttpRequest, ENURLConnectionDelegate&) { std::abort(); }

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    qs::ENXMLDTD::setResourceFolder(QS_ENML_RESOURCES);
    if (!qs::ENXMLDTD::enml2dtd()) std::abort();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size) {
    if (size == 0) return 0;
    const std::string_view html(reinterpret_cast<const char*>(bytes) + 1, size - 1);
    const Collector whole = converted(html, std::max<std::size_t>(html.size(), 1));
    const Collector chunked = converted(html, bytes[0] + 1u);
    if (whole.hasFailed || chunked.hasFailed) return 0;
    if (whole.note != chunked.note) std::abort();
    if (!whole.note.empty() && !isValid(whole.note)) std::abort();
    return 0;
}
