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
inline constexpr std::string_view kShowConversations = "ShowConversations";        // boolean
inline constexpr std::string_view kGroupConversations = "GroupByConversation";     // boolean
// Addresses whose messages show the pictures that they name on the web: an array of strings in lower case.
inline constexpr std::string_view kRemotePictureSenders = "RemotePictureSenders";
// Servers of such pictures that may be on this machine, as "127.0.0.1:8025": an array of strings. Others are only
// fetched from the public network.
inline constexpr std::string_view kLocalPictureServers = "LocalPictureServers";
inline constexpr std::string_view kNotifyOfNewMail = "NotifyOfNewMail";                    // boolean
inline constexpr std::string_view kNotificationsTellContent = "NotificationsTellContent";  // boolean

// Adds the values that count before anything was chosen. Idempotent.
void registerHostSettings();

bool showsContactPhotos();                             // of the people who write, in lists
std::string defaultAccountIdentifier();                // empty when none was chosen
bool quotesOriginalMessage();                          // replies and forwards carry the text that they answer
bool composesPlainText();                              // new messages begin as plain text
bool showsConversations();                             // beside a message, those that belong to it
bool groupsConversations();                            // in lists: a row for each
bool notifiesOfNewMail();                              // by the browser
bool notificationsTellContent();                       // with sender and subject
bool showsRemotePicturesOf(std::string_view address);  // in any case
void alwaysShowRemotePicturesOf(std::string_view address);
bool isLocalPictureServer(std::string_view hostAndPort);

}  // namespace qs
