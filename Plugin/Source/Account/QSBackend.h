// The backend on which the account and read tracking live: where it is, and how every call to it begins. There is none
// unless somebody names one, in the setting "QSBackendURL" or when the program is built. Main thread.
#pragma once

#include <string>
#include <string_view>

#include "External/AFNetworking/AFHTTPSessionManager.h"

namespace qs {

inline constexpr std::string_view QSErrorDomain = "com.tallowbay.Quillstead.error";

namespace QSBackend {

bool isConfigured();
// Without a slash at its end. Empty when there is none, and for an address without TLS that is not this machine's.
std::string baseURL();
// Whether a call can be made now: the network is there, and nobody has to sign in to it first.
bool isReachable();
// With the key that tells the backend that a plug-in asks, and "Accept: application/json". Keys of answers whose value
// is null are dropped. It may go before its calls end.
AFHTTPSessionManager manager();
// The same, in the name of a user.
AFHTTPSessionManager manager(std::string_view email, std::string_view password);

}  // namespace QSBackend

}  // namespace qs
