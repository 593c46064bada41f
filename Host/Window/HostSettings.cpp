#include "HostSettings.h"

#include "Settings/UserDefaults.h"

namespace qs {

void registerHostSettings() {
    UserDefaults::suite("")->registerDefaults({{std::string(kEnableContactPhotos), false},
                                               {std::string(kDefaultAccount), ""},
                                               {std::string(kQuoteOriginalMessage), true},
                                               {std::string(kComposePlainText), false}});
}

std::string defaultAccountIdentifier() { return UserDefaults::suite("")->stringForKey(kDefaultAccount); }
bool quotesOriginalMessage() { return UserDefaults::suite("")->boolForKey(kQuoteOriginalMessage); }
bool composesPlainText() { return UserDefaults::suite("")->boolForKey(kComposePlainText); }

}  // namespace qs
