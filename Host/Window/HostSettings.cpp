#include "HostSettings.h"

#include <algorithm>

#include "Settings/UserDefaults.h"
#include "Text/Ascii.h"

namespace qs {
namespace {

bool isListed(std::string_view text, std::string_view key) {
    const Value list = UserDefaults::suite("")->objectForKey(key);
    return std::ranges::any_of(list.array(),
                               [&](const Value& each) { return equalsIgnoringCase(each.stringValue(), text); });
}

}  // namespace

void registerHostSettings() {
    UserDefaults::suite("")->registerDefaults({{std::string(kEnableContactPhotos), false},
                                               {std::string(kDefaultAccount), ""},
                                               {std::string(kQuoteOriginalMessage), true},
                                               {std::string(kComposePlainText), false},
                                               {std::string(kShowConversations), true},
                                               {std::string(kGroupConversations), false},
                                               {std::string(kNotifyOfNewMail), false},
                                               {std::string(kNotificationsTellContent), false}});
}

bool showsContactPhotos() { return UserDefaults::suite("")->boolForKey(kEnableContactPhotos); }
std::string defaultAccountIdentifier() { return UserDefaults::suite("")->stringForKey(kDefaultAccount); }
bool quotesOriginalMessage() { return UserDefaults::suite("")->boolForKey(kQuoteOriginalMessage); }
bool composesPlainText() { return UserDefaults::suite("")->boolForKey(kComposePlainText); }
bool showsConversations() { return UserDefaults::suite("")->boolForKey(kShowConversations); }
bool groupsConversations() { return UserDefaults::suite("")->boolForKey(kGroupConversations); }
bool notifiesOfNewMail() { return UserDefaults::suite("")->boolForKey(kNotifyOfNewMail); }
bool notificationsTellContent() { return UserDefaults::suite("")->boolForKey(kNotificationsTellContent); }

bool showsRemotePicturesOf(std::string_view address) {
    return !address.empty() && isListed(address, kRemotePictureSenders);
}

void alwaysShowRemotePicturesOf(std::string_view address) {
    if (address.empty() || isListed(address, kRemotePictureSenders)) return;
    Array senders = UserDefaults::suite("")->objectForKey(kRemotePictureSenders).array();
    senders.emplace_back(asciiLowered(address));
    UserDefaults::suite("")->setObject(std::move(senders), kRemotePictureSenders);
}

bool isLocalPictureServer(std::string_view hostAndPort) { return isListed(hostAndPort, kLocalPictureServers); }

}  // namespace qs
