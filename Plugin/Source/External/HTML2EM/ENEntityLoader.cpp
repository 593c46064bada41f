#include "HTML2EM/ENEntityLoader.h"

#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/xmlIO.h>

#include <mutex>
#include <string_view>

#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "HTML2EM/ENXMLDTD.h"
#include "Text/Ascii.h"

namespace qs {

namespace {

xmlExternalEntityLoader formerLoader = nullptr;

bool isOnNetwork(std::string_view url) {
    for (const std::string_view scheme : {"http:", "https:", "ftp:"})
        if (startsWithIgnoringCase(url, scheme)) return true;
    return false;
}

xmlParserInput* loadEntity(const char* url, const char* identifier, xmlParserCtxt* context) {
    const std::string_view address = url ? url : "";
    const auto path = ENXMLDTD::pathForResource(address.substr(address.rfind('/') + 1));
    if (!path.empty()) return xmlNewInputFromFile(context, path.c_str());
    const bool isAskedForByDocument = context && context->inputNr > 0;
    if (isAskedForByDocument || isOnNetwork(address)) {
        logWarning(stringWithFormat("%@ is not loaded: XML documents may use nothing from outside", {address}));
        return nullptr;
    }
    return formerLoader(url, identifier, context);
}

}  // namespace

void installEntityLoader() {
    static std::once_flag once;
    std::call_once(once, [] {
        xmlInitParser();
        formerLoader = xmlGetExternalEntityLoader();
        xmlSetExternalEntityLoader(loadEntity);
    });
}

}  // namespace qs
