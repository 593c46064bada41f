#include "ENMLSupport.h"

#include <libxml/parser.h>
#include <libxml/valid.h>

#include <cstdarg>
#include <cstdio>
#include <memory>

#include "HTML2EM/ENHTMLtoENMLConverter.h"

namespace qs {

namespace {

template <auto release>
struct Release {
    template <class T>
    void operator()(T* object) const {
        release(object);
    }
};

void gather(void* faults, const char* format, ...) {
    char line[1024];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    static_cast<std::string*>(faults)->append(line);
}

xmlDtd* definition() {
    ENXMLDTD::enml2dtd();  // which lets the files be found
    static const std::unique_ptr<xmlDtd, Release<xmlFreeDtd>> dtd(
        xmlParseDTD(nullptr, reinterpret_cast<const xmlChar*>("enml2.dtd")));
    return dtd.get();
}

}  // namespace

std::string noteOf(std::string_view html) {
    const std::string note = ENHTMLtoENMLConverter().enmlFromHTMLContent(html);
    if (!note.starts_with(kNoteHead)) return "without its head: " + note;
    return note.substr(kNoteHead.size());
}

std::string contentOf(std::string_view html) {
    const std::string note = noteOf(html);
    if (note == "<en-note/>\n") return "";
    constexpr std::string_view end = "</en-note>\n";
    const std::size_t start = note.find('>') + 1;
    return note.ends_with(end) ? note.substr(start, note.size() - start - end.size()) : "not ended: " + note;
}

std::string faultsOf(const std::string& note) {
    const std::unique_ptr<xmlDoc, Release<xmlFreeDoc>> document(
        xmlReadMemory(note.data(), static_cast<int>(note.size()), "note.xml", "UTF-8",
                      XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_HUGE));
    if (!document) {
        const xmlError* error = xmlGetLastError();
        return std::string("not well-formed: ") + (error && error->message ? error->message : "?");
    }
    std::string faults;
    const std::unique_ptr<xmlValidCtxt, Release<xmlFreeValidCtxt>> context(xmlNewValidCtxt());
    context->userData = &faults;
    context->error = gather;
    context->warning = gather;
    if (!xmlValidateDtd(context.get(), document.get(), definition()) && faults.empty()) return "not valid";
    return faults;
}

}  // namespace qs
