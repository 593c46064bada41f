#include "Text/SignatureHTML.h"

#include "Text/StringAdditions.h"

namespace qs {

namespace {

void removeAll(std::string& text, std::string_view what) { text = stringByReplacingOccurrences(text, what, ""); }

}  // namespace

std::string signatureHTMLString(std::string_view html) {
    std::string text(html);
    removeAll(text, "<html>");
    removeAll(text, "</html>");
    if (const auto head = text.find("<head"); head != std::string::npos)
        if (const auto end = text.find("</head>", head); end != std::string::npos) text.erase(head, end - head);
    removeAll(text, "</head>");
    removeAll(text, "<head>");
    if (const auto body = text.find("<body"); body != std::string::npos)
        if (const auto end = text.find('>', body); end != std::string::npos) text.erase(body, end + 1 - body);
    removeAll(text, "<body>");
    removeAll(text, "</body>");
    return stringByReplacingOccurrences(text, "<span class=\"Apple-converted-space\">&nbsp;</span>", "&nbsp;");
}

}  // namespace qs
