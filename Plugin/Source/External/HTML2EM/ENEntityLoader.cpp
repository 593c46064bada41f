#include "HTML2EM/ENEntityLoader.h"

#include <libxml/parser.h>
#include <libxml/parserInternals.h>

#include <mutex>
#include <string_view>

#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "HTML2EM/ENXMLDTD.h"

namespace qs {

namespace {

xmlParserInput* loadEntity(const char* url, const char*, xmlParserCtxt* context) {
    const std::string_view address = url ? url : "";
    const auto path = ENXMLDTD::pathForResource(address.substr(address.rfind('/') + 1));
    if (!path.empty()) return xmlNewInputFromFile(context, path.c_str());
    logWarning(stringWithFormat("%@ is not loaded: documents may use nothing from outside", {address}));
    return nullptr;
}

}  // namespace

void installEntityLoader() {
    static std::once_flag once;
    std::call_once(once, [] {
        xmlInitParser();
        xmlSetExternalEntityLoader(loadEntity);
    });
}

}  // namespace qs
