// Makes hostile HTML safe to show: an allow-list over our own tree (elements, attributes, styles, addresses). What is
// not on the lists is taken out; nothing of the result runs, loads, submits or navigates by itself.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace qs {

struct SanitizerOptions {
    // Gives the address (a data URL) that stands in for a picture of the message itself, by content id; empty for none.
    std::function<std::string(std::string_view contentID)> inlinePicture;
    // Gives the address (a data URL) that stands in for a picture on the web; empty leaves it out and counts it.
    std::function<std::string(std::string_view address)> remotePicture;
    // Leaves addresses of pictures on the web as they are, for a text that is handed on and not shown.
    bool keepRemotePictures = false;
    bool keepQuotes = true;
};

struct SanitizedHtml {
    std::string html;       // inside of a body
    int remoteBlocked = 0;  // pictures and styles that would have loaded something from elsewhere
};

SanitizedHtml sanitizeHtml(std::string_view html, const SanitizerOptions& options);
// A plain text body as HTML: line breaks kept, addresses of web pages made links, quoted lines marked by depth.
std::string plainTextToHtml(std::string_view text);

}  // namespace qs
