// Posts token requests (RFC 6749) and turns their answers into credentials. Made for each call and dropped: it holds no
// token. Main thread; completions come there.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "External/AFNetworking/AFHTTPSessionManager.h"
#include "External/AFOAuth2Manager/AFOAuthCredential.h"

namespace qs {

inline constexpr const char* AFOAuth2ErrorDomain = "com.alamofire.networking.oauth2.error";

// What a session does with all of its requests.
struct AFSessionConfiguration {
    TimeInterval timeoutIntervalForRequest = 60;
    std::map<std::string, std::string> HTTPAdditionalHeaders;  // those that the manager sets itself count more
};

class AFOAuth2Manager : public AFHTTPSessionManager {
public:
    using Success = std::function<void(const AFOAuthCredential& credential)>;
    // Null where the server's answer names no error, or is empty.
    using Failure = std::function<void(const std::optional<Error>& error)>;

    // Each must be given, the secret perhaps empty: anything else is an assertion failure.
    AFOAuth2Manager(const std::optional<std::string>& baseURL, const std::optional<std::string>& clientID,
                    const std::optional<std::string>& secret);
    AFOAuth2Manager(const std::optional<std::string>& baseURL, const AFSessionConfiguration& sessionConfiguration,
                    const std::optional<std::string>& clientID, const std::optional<std::string>& secret);
    static AFOAuth2Manager managerWithBaseURL(const std::optional<std::string>& baseURL,
                                              const std::optional<std::string>& clientID,
                                              const std::optional<std::string>& secret) {
        return {baseURL, clientID, secret};
    }
    static AFOAuth2Manager managerWithBaseURL(const std::optional<std::string>& baseURL,
                                              const AFSessionConfiguration& sessionConfiguration,
                                              const std::optional<std::string>& clientID,
                                              const std::optional<std::string>& secret) {
        return {baseURL, sessionConfiguration, clientID, secret};
    }

    const std::string& serviceProviderIdentifier() const { return serviceProviderIdentifier_; }  // the URL's host
    const std::string& clientID() const { return clientID_; }
    const std::string& secret() const { return secret_; }
    void setSecret(std::optional<std::string> secret) { secret_ = std::move(secret).value_or(""); }
    bool useHTTPBasicAuthentication() const { return useHTTPBasicAuthentication_; }
    void setUseHTTPBasicAuthentication(bool uses);

    // The URL strings are relative to the base URL. An answer with "error" reports failure and then success, with a
    // credential that has no token: callers must bear both.
    HttpTaskRef authenticateUsingOAuthWithPassword(std::string_view urlString,
                                                   const std::optional<std::string>& username,
                                                   const std::optional<std::string>& password,
                                                   const std::optional<std::string>& scope, Success success,
                                                   Failure failure);
    HttpTaskRef authenticateUsingOAuthWithScope(std::string_view urlString, const std::optional<std::string>& scope,
                                                Success success, Failure failure);
    HttpTaskRef authenticateUsingOAuthWithRefreshToken(std::string_view urlString,
                                                       const std::optional<std::string>& refreshToken, Success success,
                                                       Failure failure);
    HttpTaskRef authenticateUsingOAuthWithCode(std::string_view urlString, const std::optional<std::string>& code,
                                               const std::optional<std::string>& redirectURI, Success success,
                                               Failure failure);
    HttpTaskRef authenticateUsingOAuthWithParameters(std::string_view urlString, Dictionary parameters, Success success,
                                                     Failure failure);

private:
    std::string serviceProviderIdentifier_, clientID_, secret_;
    bool useHTTPBasicAuthentication_ = true;
};

}  // namespace qs
