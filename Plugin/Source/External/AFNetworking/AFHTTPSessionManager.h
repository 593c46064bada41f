// The shape in which the workers of outside services speak HTTP: a base URL, headers kept by a request serializer,
// parameters as a form or as JSON, and answers as values. Everything is called on the main thread; completions come
// there. The work is the platform's HTTP client's.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Json.h"
#include "Foundation/Result.h"
#include "Foundation/Value.h"
#include "Http/HttpClient.h"

namespace qs {

class AFOAuthCredential;

// In the user info of the error of a failed request: the answer's body, as data, and its HTTP status.
inline constexpr const char* AFNetworkingOperationFailingURLResponseDataErrorKey =
    "com.alamofire.serialization.response.error.data";
inline constexpr const char* kHTTPStatusErrorKey = "HTTPStatus";
inline constexpr const char* AFURLResponseSerializationErrorDomain = "com.alamofire.error.serialization.response";
inline constexpr int kBadServerResponse = -1011;    // a status that is no success
inline constexpr int kCannotDecodeContent = -1016;  // no JSON where JSON was wanted

class AFHTTPRequestSerializer {
public:
    enum class Form { UrlEncoded, Json, Plain };  // Plain: the parameters are a string or data, sent as they are
    Form form = Form::UrlEncoded;

    // Nothing removes the header.
    void setValueForHTTPHeaderField(std::optional<std::string> value, const std::string& field);
    std::optional<std::string> valueForHTTPHeaderField(const std::string& field) const;
    void setAuthorizationHeaderField(std::string_view username, std::string_view password);  // HTTP Basic
    // "Bearer" and its token if that is the credential's type, whatever its case; else nothing changes.
    void setAuthorizationHeaderFieldWithCredential(const AFOAuthCredential& credential);
    void clearAuthorizationHeader() { setValueForHTTPHeaderField(std::nullopt, "Authorization"); }
    const std::map<std::string, std::string>& headers() const { return headers_; }

private:
    std::map<std::string, std::string> headers_;
};

struct AFHTTPResponseSerializer {
    enum class Kind { Json, Data };
    Kind kind = Kind::Json;
    bool removesKeysWithNullValues = false;
};

// One part of a multipart/form-data body (RFC 7578).
struct AFMultipartPart {
    std::string name, fileName, mimeType;  // without a file name it is a plain field
    std::string content;
};

class AFHTTPSessionManager {
public:
    // Null when the answer has no body.
    using Success = std::function<void(const Value& response, const HttpResponse& task)>;
    using Failure = std::function<void(const Error& error)>;

    explicit AFHTTPSessionManager(std::string baseURL) : baseURL_(std::move(baseURL)) {}
    virtual ~AFHTTPSessionManager() = default;

    const std::string& baseURL() const { return baseURL_; }
    AFHTTPRequestSerializer& requestSerializer() { return request_; }
    const AFHTTPRequestSerializer& requestSerializer() const { return request_; }
    AFHTTPResponseSerializer& responseSerializer() { return response_; }
    TimeInterval timeoutInterval = 60;

    // `path` is relative to the base URL, or an address of its own. With GET, HEAD and DELETE the parameters go into
    // the query. Both completions may be null.
    HttpTaskRef request(std::string_view method, std::string_view path, const Value& parameters, Success success,
                        Failure failure);
    HttpTaskRef GET(std::string_view path, const Value& parameters, Success success, Failure failure) {
        return request("GET", path, parameters, std::move(success), std::move(failure));
    }
    HttpTaskRef POST(std::string_view path, const Value& parameters, Success success, Failure failure) {
        return request("POST", path, parameters, std::move(success), std::move(failure));
    }
    HttpTaskRef PUT(std::string_view path, const Value& parameters, Success success, Failure failure) {
        return request("PUT", path, parameters, std::move(success), std::move(failure));
    }
    HttpTaskRef DELETE(std::string_view path, const Value& parameters, Success success, Failure failure) {
        return request("DELETE", path, parameters, std::move(success), std::move(failure));
    }
    HttpTaskRef POST(std::string_view path, const std::vector<AFMultipartPart>& parts, Success success, Failure failure,
                     std::function<void(std::uint64_t sent, std::uint64_t total)> uploadProgress = nullptr);
    // With all headers of the serializer that the request has not itself; for uploads from a file.
    HttpTaskRef send(HttpRequest request, Success success, Failure failure);

    std::string urlOf(std::string_view path) const;

private:
    std::string baseURL_;
    AFHTTPRequestSerializer request_;
    AFHTTPResponseSerializer response_;
};

// The parameters as a query string: keys in order, "a[b]=c" for objects in objects and "a[]=b" for lists.
std::string AFQueryStringFromParameters(const Value& parameters);

}  // namespace qs
