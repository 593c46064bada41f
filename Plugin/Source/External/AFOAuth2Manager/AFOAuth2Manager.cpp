#include "External/AFOAuth2Manager/AFOAuth2Manager.h"

#include "Core/QSSession.h"
#include "External/AFOAuth2Manager/TokenRequests.h"
#include "Foundation/Assertion.h"
#include "Foundation/Bundle.h"
#include "Foundation/Format.h"
#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"

namespace qs {

namespace {

constexpr Date kDistantFuture{64'092'211'200};  // the first day of 4001

void requireParameter(const std::optional<std::string>& parameter, const char* name) {
    assertThat(parameter.has_value(), stringWithFormat("Invalid parameter not satisfying: %@", {name}));
}

std::string hostOf(std::string_view url) {
    const auto start = url.find("://");
    if (start == std::string_view::npos) return {};
    url.remove_prefix(start + 3);
    url = url.substr(0, url.find_first_of("/?#"));
    if (const auto user = url.rfind('@'); user != std::string_view::npos) url.remove_prefix(user + 1);
    if (const auto end = url.find(']'); end != std::string_view::npos) return std::string(url.substr(0, end + 1));
    return std::string(url.substr(0, url.find(':')));
}

// RFC 6749, section 5.2.
std::optional<std::string> describedCode(std::string_view code) {
    static const std::pair<const char*, const char*> texts[] = {
        {"invalid_request",
         "The request is missing a required parameter, includes an unsupported parameter value (other than grant "
         "type), repeats a parameter, includes multiple credentials, utilizes more than one mechanism for "
         "authenticating the client, or is otherwise malformed."},
        {"invalid_client",
         "Client authentication failed (e.g., unknown client, no client authentication included, or unsupported "
         "authentication method).  The authorization server MAY return an HTTP 401 (Unauthorized) status code to "
         "indicate which HTTP authentication schemes are supported.  If the client attempted to authenticate via the "
         "\"Authorization\" request header field, the authorization server MUST respond with an HTTP 401 "
         "(Unauthorized) status code and include the \"WWW-Authenticate\" response header field matching the "
         "authentication scheme used by the client."},
        {"invalid_grant",
         "The provided authorization grant (e.g., authorization code, resource owner credentials) or refresh token is "
         "invalid, expired, revoked, does not match the redirection URI used in the authorization request, or was "
         "issued to another client."},
        {"unauthorized_client", "The authenticated client is not authorized to use this authorization grant type."},
        {"unsupported_grant_type", "The authorization grant type is not supported by the authorization server."}};
    const auto bundle = Bundle::mainBundle();
    for (const auto& [known, text] : texts)
        if (code == known) return bundle ? bundle->localizedStringForKey(text, {}, "AFOAuth2Manager") : text;
    return std::nullopt;
}

// Nothing when "error" is null.
std::optional<Error> errorIn(const Value& answer) {
    if (answer["error"].isNil()) return std::nullopt;
    Error error{AFOAuth2ErrorDomain, -1, {}, {}};
    std::optional<std::string> text;
    if (!answer["error_description"].isNil())
        text = answer["error_description"].stringValue();
    else
        text = describedCode(answer["error"].stringValue());
    if (text) {
        error.description = *text;
        error.userInfo["NSLocalizedDescription"] = *text;
    }
    if (!answer["error_uri"].isNil()) error.userInfo["NSLocalizedRecoverySuggestion"] = answer["error_uri"];
    return error;
}

std::optional<std::string> textIn(const Value& answer, std::string_view key) {
    const Value& value = answer[key];
    return value.isNil() ? std::nullopt : std::optional(value.stringValue());
}

AFOAuthCredential credentialIn(const Value& answer, const Dictionary& parameters) {
    std::optional<std::string> refreshToken = textIn(answer, "refresh_token");
    if (!refreshToken) refreshToken = textIn(parameters, "refresh_token");
    auto credential =
        AFOAuthCredential::credentialWithOAuthToken(textIn(answer, "access_token"), textIn(answer, "token_type"));
    for (const auto& token : {credential.accessToken(), refreshToken})
        if (token) DDLog::maskSecret(*token);
    if (refreshToken) credential.setRefreshToken(refreshToken);
    const Value& seconds = answer["expires_in"];
    credential.setExpiration(seconds.isNil() ? kDistantFuture : RunLoop::main().now() + seconds.doubleValue());
    return credential;
}

}  // namespace

AFOAuth2Manager::AFOAuth2Manager(const std::optional<std::string>& baseURL, const std::optional<std::string>& clientID,
                                 const std::optional<std::string>& secret)
    : AFOAuth2Manager(baseURL, AFSessionConfiguration(), clientID, secret) {}

AFOAuth2Manager::AFOAuth2Manager(const std::optional<std::string>& baseURL,
                                 const AFSessionConfiguration& sessionConfiguration,
                                 const std::optional<std::string>& clientID, const std::optional<std::string>& secret)
    : AFHTTPSessionManager(baseURL.value_or("")) {
    requireParameter(baseURL, "url");
    requireParameter(clientID, "clientID");
    requireParameter(secret, "secret");
    serviceProviderIdentifier_ = hostOf(*baseURL);
    clientID_ = *clientID;
    secret_ = *secret;
    timeoutInterval = sessionConfiguration.timeoutIntervalForRequest;
    for (const auto& [field, value] : sessionConfiguration.HTTPAdditionalHeaders)
        requestSerializer().setValueForHTTPHeaderField(value, field);
    setUseHTTPBasicAuthentication(true);
    requestSerializer().setValueForHTTPHeaderField("application/json", "Accept");
}

void AFOAuth2Manager::setUseHTTPBasicAuthentication(bool uses) {
    useHTTPBasicAuthentication_ = uses;
    if (uses)
        requestSerializer().setAuthorizationHeaderField(clientID_, secret_);
    else
        requestSerializer().clearAuthorizationHeader();
}

HttpTaskRef AFOAuth2Manager::authenticateUsingOAuthWithPassword(std::string_view urlString,
                                                                const std::optional<std::string>& username,
                                                                const std::optional<std::string>& password,
                                                                const std::optional<std::string>& scope,
                                                                Success success, Failure failure) {
    requireParameter(username, "username");
    requireParameter(password, "password");
    DDLog::maskSecret(*password);
    Dictionary parameters{{"grant_type", "password"}, {"username", *username}, {"password", *password}};
    if (scope) parameters["scope"] = *scope;
    return authenticateUsingOAuthWithParameters(urlString, std::move(parameters), std::move(success),
                                                std::move(failure));
}

HttpTaskRef AFOAuth2Manager::authenticateUsingOAuthWithScope(std::string_view urlString,
                                                             const std::optional<std::string>& scope, Success success,
                                                             Failure failure) {
    Dictionary parameters{{"grant_type", "client_credentials"}};
    if (scope) parameters["scope"] = *scope;
    return authenticateUsingOAuthWithParameters(urlString, std::move(parameters), std::move(success),
                                                std::move(failure));
}

HttpTaskRef AFOAuth2Manager::authenticateUsingOAuthWithRefreshToken(std::string_view urlString,
                                                                    const std::optional<std::string>& refreshToken,
                                                                    Success success, Failure failure) {
    requireParameter(refreshToken, "refreshToken");
    return authenticateUsingOAuthWithParameters(urlString,
                                                {{"grant_type", "refresh_token"}, {"refresh_token", *refreshToken}},
                                                std::move(success), std::move(failure));
}

HttpTaskRef AFOAuth2Manager::authenticateUsingOAuthWithCode(std::string_view urlString,
                                                            const std::optional<std::string>& code,
                                                            const std::optional<std::string>& redirectURI,
                                                            Success success, Failure failure) {
    requireParameter(code, "code");
    requireParameter(redirectURI, "uri");
    DDLog::maskSecret(*code);
    return authenticateUsingOAuthWithParameters(
        urlString, {{"grant_type", "authorization_code"}, {"code", *code}, {"redirect_uri", *redirectURI}},
        std::move(success), std::move(failure));
}

HttpTaskRef AFOAuth2Manager::authenticateUsingOAuthWithParameters(std::string_view urlString, Dictionary parameters,
                                                                  Success success, Failure failure) {
    if (!useHTTPBasicAuthentication_) {
        parameters["client_id"] = clientID_;
        parameters["client_secret"] = secret_;
    }
    return QSSession::current().part<TokenRequests>().send(
        *this, urlString, parameters,
        [parameters, success = std::move(success), failure](const Value& answer, const HttpResponse&) {
            if (answer.isNil()) {
                if (failure) failure(std::nullopt);
                return;
            }
            if (failure && answer.dictionary().contains("error")) failure(errorIn(answer));
            if (success) success(credentialIn(answer, parameters));
        },
        [failure](const Error& error) {
            if (failure) failure(error);
        });
}

}  // namespace qs
