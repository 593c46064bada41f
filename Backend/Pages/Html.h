// The pages that a person sees in a browser: plain HTML without scripts, in the light or the dark as the system has it.
#pragma once

#include <string>
#include <string_view>

#include "HttpServer/HttpTypes.h"

namespace qs {

// Safe in texts and attributes.
std::string escaped(std::string_view text);
// `body` is HTML, `title` text.
HttpServerResponse htmlPage(int status, std::string_view title, std::string_view body);
// A title and a paragraph of text.
HttpServerResponse messagePage(int status, std::string_view title, std::string_view sentence);
HttpServerResponse styleSheet();

// One labelled field of a form. `attributes` is HTML, such as `autocomplete="email"`.
std::string inputField(std::string_view label, std::string_view name, std::string_view type,
                       std::string_view attributes);
// Above a form, read out by screen readers; empty for no text.
std::string faultNote(std::string_view text);
std::string hiddenField(std::string_view name, std::string_view value);

}  // namespace qs
