// What the person chose in the host's own preferences: keys in the host's standard defaults, and their values as the
// windows use them.
#pragma once

#include <string>
#include <string_view>

namespace qs {

class UserDefaults;

inline constexpr std::string_view kEnableContactPhotos = "EnableContactPhotos";    // boolean
inline constexpr std::string_view kDefaultAccount = "DefaultAccount";              // identifier; "": the first
inline constexpr std::string_view kQuoteOriginalMessage = "QuoteOriginalMessage";  // boolean
inline constexpr std::string_view kComposePlainText = "ComposePlainText";          // boolean

// Adds the values that count before anything was chosen. Idempotent.
void registerHostSettings();

std::string defaultAccountIdentifier();  // empty when none was chosen
bool quotesOriginalMessage();            // replies and forwards carry the text that they answer
bool composesPlainText();                // new messages begin as plain text

}  // namespace qs
