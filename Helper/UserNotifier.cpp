#include "UserNotifier.h"

#include <sdbus-c++/sdbus-c++.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "MessageBus/BusConnection.h"
#include "Text/Escapes.h"

namespace qs {

namespace {

constexpr const char* kService = "org.freedesktop.Notifications";
constexpr const char* kPath = "/org/freedesktop/Notifications";
constexpr std::chrono::seconds kAnswerTime(2);
constexpr std::size_t kLongestText = 1000;

// Subjects of mail come along here: one line, and no more than a desktop can show.
std::string plain(std::string_view text) {
    if (text.size() > kLongestText) {
        std::size_t end = kLongestText;
        while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80)
            --end;  // not in the middle of a character
        text = text.substr(0, end);
    }
    std::string line(text);
    std::replace_if(
        line.begin(), line.end(), [](char c) { return static_cast<unsigned char>(c) < ' '; }, ' ');
    return line;
}

class DesktopNotifier : public UserNotifier {
public:
    void show(std::string_view title, std::string_view subtitle) override {
        try {
            const auto bus = connectToSessionBus();
            showOn(*bus, plain(title), plain(subtitle));
        } catch (const sdbus::Error& error) {
            logDebug(stringWithFormat("No notification service answers: %@", {error.getMessage()}));
            logInfo(stringWithFormat("%@: %@", {plain(title), plain(subtitle)}));
        }
    }

private:
    static void showOn(sdbus::IConnection& bus, const std::string& title, std::string subtitle) {
        const auto service = sdbus::createProxy(bus, kService, kPath);
        std::vector<std::string> capabilities;
        service->callMethod("GetCapabilities")
            .onInterface(kService)
            .withTimeout(kAnswerTime)
            .storeResultsTo(capabilities);
        if (std::find(capabilities.begin(), capabilities.end(), "body-markup") != capabilities.end())
            subtitle = stringByEscapingXMLEntities(subtitle);
        const std::map<std::string, sdbus::Variant> hints{{"desktop-entry", sdbus::Variant("quillstead")}};
        std::uint32_t shown = 0;
        service->callMethod("Notify")
            .onInterface(kService)
            .withTimeout(kAnswerTime)
            .withArguments(std::string("Quillstead"), std::uint32_t{0}, std::string("mail-message-new"), title,
                           subtitle, std::vector<std::string>{}, hints, std::int32_t{-1})
            .storeResultsTo(shown);
    }
};

}  // namespace

std::unique_ptr<UserNotifier> UserNotifier::desktop() { return std::make_unique<DesktopNotifier>(); }

}  // namespace qs
