#include "Delivery/DraftForRefused.h"

#include <algorithm>

#include "Mail/MessageHeaders.h"
#include "Mime/Addresses.h"
#include "Mime/HiddenPictures.h"
#include "Mime/MessageChanges.h"
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

Result<ByteSource> draftForRefused(std::shared_ptr<const OpenFile> content,
                                   const std::map<std::string, std::string>& refused,
                                   const std::filesystem::path& folder) {
    auto clean = withoutHiddenPictures(std::move(content), folder);
    if (!clean) return clean;
    return withChangedHeader(std::move(*clean), [refused](std::string_view field) {
        const std::string_view name = fieldName(field);
        const auto is = [name](std::string_view other) { return equalsIgnoringCase(name, other); };
        if (isOfTheSentMessage(name)) return std::string();
        if (!is(MCHeaderKeyTo) && !is(MCHeaderKeyCc) && !is(MCHeaderKeyBcc)) return std::string(field);
        const std::size_t colon = std::min(field.find(':'), field.size() - 1);
        const std::string list = refusedOf(field.substr(colon + 1), refused);
        return list.empty() ? list : std::string(name) + ": " + list + "\r\n";
    });
}

}  // namespace qs
