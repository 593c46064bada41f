#include "Delivery/DraftForRefused.h"

#include "Mail/MessageHeaders.h"
#include "Mime/Addresses.h"
#include "Mime/HiddenPictures.h"
#include "Mime/MessageWriter.h"
#include "Text/Ascii.h"

namespace qs {

namespace {

// Of the addresses in a field, those refused.
std::string refusedOf(std::string_view field, const std::map<std::string, std::string>& refused) {
    std::string list;
    for (const MailAddress& each : parseAddresses(field))
        if (refused.contains(each.address)) list += (list.empty() ? "" : ", ") + each.display();
    std::erase_if(list, [](char c) { return isAsciiControl(c); });
    return list;
}

// What programs have put on the message that was sent is that message's alone: when it leaves, who watches it.
bool isOfTheSentMessage(std::string_view name) {
    return equalsIgnoringCase(name, MCHeaderKeyMessageId) ||
           (startsWithIgnoringCase(name, "X-") && !equalsIgnoringCase(name, "X-Priority"));
}

}  // namespace

std::string draftForRefused(std::string_view content, const std::map<std::string, std::string>& refused) {
    const std::string text = withCrLf(content);
    std::string draft;
    std::size_t at = 0;
    while (at < text.size() && !std::string_view(text).substr(at).starts_with("\r\n")) {
        std::size_t end = text.find("\r\n", at) + 2;
        while (end < text.size() && (text[end] == ' ' || text[end] == '\t'))
            end = text.find("\r\n", end) + 2;
        const std::string_view field = std::string_view(text).substr(at, end - at);
        at = end;
        const auto colon = std::min(field.find(':'), field.size());
        const std::string_view name = trimmedAscii(field.substr(0, colon));
        const auto is = [name](std::string_view other) { return equalsIgnoringCase(name, other); };
        if (isOfTheSentMessage(name)) continue;
        if (!is(MCHeaderKeyTo) && !is(MCHeaderKeyCc) && !is(MCHeaderKeyBcc)) {
            draft += field;
        } else if (const auto list = refusedOf(field.substr(std::min(colon + 1, field.size())), refused);
                   !list.empty()) {
            draft.append(name).append(": ").append(list).append("\r\n");
        }
    }
    return withoutHiddenPictures(draft.append(text, at));
}

}  // namespace qs
