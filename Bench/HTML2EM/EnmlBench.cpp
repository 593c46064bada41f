// What the conversion to ENML costs beside the least that it could cost: libxml2's push parser with handlers that write
// everything out again, escaped and unchecked. "share of the floor's speed" is of processor time, measured by taking
// turns, so that a busy machine slows both alike. The sizes double, so that anything worse than linear shows.
#include <benchmark/benchmark.h>
#include <libxml/HTMLparser.h>
#include <libxml/xmlwriter.h>

#include <algorithm>
#include <ctime>
#include <fstream>
#include <iterator>

#include "Foundation/Assertion.h"
#include "HTML2EM/ENHTMLtoENMLConverter.h"
#include "HTML2EM/ENXMLDTD.h"

namespace qs {
namespace {

std::string fileContent(const std::string& name) {
    std::ifstream file(QS_ENML_MAILS "/" + name, std::ios::binary);
    assertThat(file.good(), name + " is not there");
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string bodyOf(const std::string& html) {
    const std::size_t start = html.find('>', html.find("<body")) + 1;
    return html.substr(start, html.rfind("</body>") - start);
}

// Newsletters and a long discussion, as often as the size wants.
std::string mailOfSize(std::size_t size) {
    ENXMLDTD::setResourceFolder(QS_ENML_RESOURCES);
    static const std::string part = bodyOf(fileContent("newsletter-tables.html")) +
                                    bodyOf(fileContent("nested-quotes.html")) +
                                    bodyOf(fileContent("word-conditional.html"));
    std::string mail = "<html><head><title>t</title></head><body>";
    while (mail.size() < size)
        mail += part;
    return mail + "</body></html>";
}

std::string convert(const std::string& html) { return ENHTMLtoENMLConverter().enmlFromHTMLContent(html); }

void ignoreFault(void*, const char*, ...) {}

template <class Handlers>
void pushParse(const std::string& html, Handlers& handlers) {
    htmlSAXHandler sax{};
    sax.startElement = [](void* user, const xmlChar* name, const xmlChar** attributes) {
        static_cast<Handlers*>(user)->start(name, attributes);
    };
    sax.endElement = [](void* user, const xmlChar* name) { static_cast<Handlers*>(user)->end(name); };
    sax.characters = [](void* user, const xmlChar* text, int length) {
        static_cast<Handlers*>(user)->characters(text, length);
    };
    sax.error = ignoreFault;
    auto* context = htmlCreatePushParserCtxt(&sax, &handlers, nullptr, 0, nullptr, XML_CHAR_ENCODING_UTF8);
    htmlCtxtUseOptions(context, HTML_PARSE_IGNORE_ENC);
    htmlParseChunk(context, html.data(), static_cast<int>(html.size()), 0);
    htmlParseChunk(context, nullptr, 0, 1);
    htmlFreeParserCtxt(context);
}

// The floor: nothing but the parser and appending to a text.
struct PlainWriter {
    void start(const xmlChar* name, const xmlChar** attributes) {
        out.append("<").append(view(name));
        for (; attributes && attributes[0]; attributes += 2) {
            out.append(" ").append(view(attributes[0])).append("=\"");
            if (attributes[1]) escape(view(attributes[1]));
            out += '"';
        }
        out += '>';
    }
    void end(const xmlChar* name) { out.append("</").append(view(name)).append(">"); }
    void characters(const xmlChar* text, int length) { escape(view(text).substr(0, static_cast<std::size_t>(length))); }

    std::string out;

private:
    static std::string_view view(const xmlChar* text) { return reinterpret_cast<const char*>(text); }
    void escape(std::string_view text) {
        for (const char c : text)
            switch (c) {
            case '&': out += "&amp;"; break;
            case '<': out += "&lt;"; break;
            case '>': out += "&gt;"; break;
            case '"': out += "&quot;"; break;
            default: out += c;
            }
    }
};
std::string writePlainly(const std::string& html) {
    PlainWriter writer;
    pushParse(html, writer);
    return std::move(writer.out);
}

// The same with libxml2's own writer, which the conversion uses too.
struct LibraryWriter {
    void start(const xmlChar* name, const xmlChar** attributes) {
        xmlTextWriterStartElement(writer, name);
        for (; attributes && attributes[0]; attributes += 2)
            xmlTextWriterWriteAttribute(writer, attributes[0],
                                        attributes[1] ? attributes[1] : reinterpret_cast<const xmlChar*>(""));
    }
    void end(const xmlChar*) { xmlTextWriterEndElement(writer); }
    void characters(const xmlChar* text, int length) {
        const std::string copy(reinterpret_cast<const char*>(text), static_cast<std::size_t>(length));
        xmlTextWriterWriteString(writer, reinterpret_cast<const xmlChar*>(copy.c_str()));
    }

    std::string out;
    xmlTextWriter* writer = xmlNewTextWriter(xmlOutputBufferCreateIO(
        [](void* user, const char* bytes, int length) {
            static_cast<LibraryWriter*>(user)->out.append(bytes, static_cast<std::size_t>(length));
            return length;
        },
        nullptr, this, nullptr));
};
std::string writeWithLibrary(const std::string& html) {
    LibraryWriter writer;
    xmlTextWriterStartDocument(writer.writer, nullptr, "UTF-8", "no");
    pushParse(html, writer);
    xmlTextWriterEndDocument(writer.writer);
    xmlFreeTextWriter(writer.writer);
    return std::move(writer.out);
}

using Work = std::string (*)(const std::string&);

void run(benchmark::State& state, Work work) {
    const std::string html = mailOfSize(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(work(html));
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(html.size()));
    state.SetComplexityN(state.range(0));
}
BENCHMARK_CAPTURE(run, conversion, convert)->RangeMultiplier(2)->Range(64 << 10, 8 << 20)->Complexity(benchmark::oN);
BENCHMARK_CAPTURE(run, floor, writePlainly)->RangeMultiplier(2)->Range(64 << 10, 8 << 20)->Complexity(benchmark::oN);
BENCHMARK_CAPTURE(run, floorWithLibraryWriter, writeWithLibrary)->Arg(1 << 20);

void share(benchmark::State& state, Work floor) {
    const std::string html = mailOfSize(static_cast<std::size_t>(state.range(0)));
    std::vector<double> shares;
    for (auto _ : state) {
        const std::clock_t start = std::clock();
        benchmark::DoNotOptimize(floor(html));
        const std::clock_t middle = std::clock();
        benchmark::DoNotOptimize(convert(html));
        shares.push_back(static_cast<double>(middle - start) / static_cast<double>(std::clock() - middle));
    }
    std::nth_element(shares.begin(), shares.begin() + static_cast<std::ptrdiff_t>(shares.size() / 2), shares.end());
    state.counters["share of the floor's speed"] = shares[shares.size() / 2];
}
BENCHMARK_CAPTURE(share, floor, writePlainly)->Arg(100 << 10)->Arg(1 << 20)->Iterations(51);
BENCHMARK_CAPTURE(share, floorWithLibraryWriter, writeWithLibrary)->Arg(100 << 10)->Arg(1 << 20)->Iterations(51);

}  // namespace
}  // namespace qs
