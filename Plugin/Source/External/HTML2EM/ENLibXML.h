// Between libxml2's texts and ours. For source files only: it brings libxml2's headers.
#pragma once

#include <libxml/xmlerror.h>
#include <libxml/xmlstring.h>

#include <string>
#include <string_view>

#include "Text/Ascii.h"

namespace qs {

inline const xmlChar* xmlChars(const char* text) { return reinterpret_cast<const xmlChar*>(text); }
inline const xmlChar* xmlChars(const std::string& text) { return xmlChars(text.c_str()); }
inline std::string_view view(const xmlChar* text) { return reinterpret_cast<const char*>(text); }
inline std::string_view view(const xmlChar* text, int length) {
    return {reinterpret_cast<const char*>(text), static_cast<std::size_t>(length)};
}

// What libxml2 last complained about on this thread, once.
inline std::string takeLastXmlMessage() {
    const xmlError* error = xmlGetLastError();
    std::string message = error && error->message ? std::string(trimmedAscii(error->message)) : "(null)";
    xmlResetLastError();
    return message;
}

}  // namespace qs
