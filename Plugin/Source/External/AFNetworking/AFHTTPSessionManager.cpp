#include "External/AFNetworking/AFHTTPSessionManager.h"

#include "External/AFOAuth2Manager/AFOAuthCredential.h"
#include "Foundation/Format.h"
#include "Foundation/RunLoop.h"
#include "Platform.h"
#include "Text/Ascii.h"
#include "Text/Base64.h"
#include "Text/Escapes.h"

namespace qs {

namespace {

void appendPairs(std::string& text, const std::string& name, const Value& value) {
    if (value.type() == Value::Type::Dictionary) {
        for (const auto& [key, each] : value.dictionary())
            appendPairs(text, name.empty() ? key : name + "[" + key + "]", each);
    } else if (value.type() == Value::Type::Array) {
        for (const Value& each : value.array())
            appendPairs(text, name + "[]", each);
    } else if (!name.empty()) {
        const bool isTruth = value.type() == Value::Type::Boolean;
        text += (text.empty() ? "" : "&") + urlEncodedString(name) + "=" +
                urlEncodedString(isTruth ? (value.boolValue() ? "1" : "0") : value.stringValue());
    }
}

bool hasQueryOnly(std::string_view method) { return method == "GET" || method == "HEAD" || method == "DELETE"; }

Error statusError(const HttpResponse& answer) {
    return {AFURLResponseSerializationErrorDomain,
            kBadServerResponse,
            stringWithFormat("Request failed: the server answered with status %ld.", {answer.status}),
            {{AFNetworkingOperationFailingURLResponseDataErrorKey, Data{answer.body}},
             {kHTTPStatusErrorKey, answer.status}}};
}

// What the answer stands for, or why it stands for nothing.
Result<Value> valueOf(const HttpResponse& answer, const AFHTTPResponseSerializer& serializer) {
    if (!answer.isSuccess()) return failure(statusError(answer));
    if (serializer.kind == AFHTTPResponseSerializer::Kind::Data) return Value(Data{answer.body});
    if (trimmedAscii(answer.body).empty()) return Value();
    auto value = parseJson(answer.body, serializer.removesKeysWithNullValues ? JsonNulls::Drop : JsonNulls::Keep);
    if (value) return value;
    Error error = statusError(answer);
    error.code = kCannotDecodeContent;
    error.description = value.error().description;
    return failure(std::move(error));
}

}  // namespace

void AFHTTPRequestSerializer::setValueForHTTPHeaderField(std::optional<std::string> value, const std::string& field) {
    if (value)
        headers_[field] = std::move(*value);
    else
        headers_.erase(field);
}

std::optional<std::string> AFHTTPRequestSerializer::valueForHTTPHeaderField(const std::string& field) const {
    const auto found = headers_.find(field);
    return found == headers_.end() ? std::nullopt : std::optional(found->second);
}

void AFHTTPRequestSerializer::setAuthorizationHeaderField(std::string_view username, std::string_view password) {
    headers_["Authorization"] = "Basic " + base64EncodedString(std::string(username) + ":" + std::string(password));
}

void AFHTTPRequestSerializer::setAuthorizationHeaderFieldWithCredential(const AFOAuthCredential& credential) {
    if (!equalsIgnoringCase(credential.tokenType().value_or(""), "Bearer")) return;
    headers_["Authorization"] = stringWithFormat("Bearer %@", {credential.accessToken().value_or("")});
}

std::string AFQueryStringFromParameters(const Value& parameters) {
    std::string text;
    appendPairs(text, "", parameters);
    return text;
}

std::string AFHTTPSessionManager::urlOf(std::string_view path) const {
    if (startsWithIgnoringCase(path, "https://") || startsWithIgnoringCase(path, "http://")) return std::string(path);
    const auto authority = baseURL_.find("://");
    if (path.starts_with('/') && authority != std::string::npos)
        return baseURL_.substr(0, baseURL_.find('/', authority + 3)) + std::string(path);
    return baseURL_ + (baseURL_.ends_with('/') || path.empty() ? "" : "/") + std::string(path);
}

HttpTaskRef AFHTTPSessionManager::request(std::string_view method, std::string_view path, const Value& parameters,
                                          Success success, Failure failure) {
    HttpRequest request{.method = std::string(method), .url = urlOf(path)};
    if (hasQueryOnly(method)) {
        if (const std::string query = AFQueryStringFromParameters(parameters); !query.empty())
            request.url += (request.url.find('?') == std::string::npos ? "?" : "&") + query;
        return send(std::move(request), std::move(success), std::move(failure));
    }
    if (!parameters.isNil()) {
        switch (request_.form) {
        case AFHTTPRequestSerializer::Form::UrlEncoded:
            request.headers.emplace_back("Content-Type", "application/x-www-form-urlencoded");
            request.body = AFQueryStringFromParameters(parameters);
            break;
        case AFHTTPRequestSerializer::Form::Json:
            request.headers.emplace_back("Content-Type", "application/json");
            request.body = jsonText(parameters);
            break;
        case AFHTTPRequestSerializer::Form::Plain:
            request.body =
                parameters.type() == Value::Type::Data ? parameters.dataValue().bytes : parameters.stringValue();
        }
    }
    return send(std::move(request), std::move(success), std::move(failure));
}

HttpTaskRef AFHTTPSessionManager::POST(std::string_view path, const std::vector<AFMultipartPart>& parts,
                                       Success success, Failure failure,
                                       std::function<void(std::uint64_t, std::uint64_t)> uploadProgress) {
    // Long enough never to stand in a part by chance, and looked for all the same.
    std::string boundary = "Quillstead-5f1d2b7c9a3e48d0";
    for (const AFMultipartPart& part : parts)
        while (part.content.find(boundary) != std::string::npos)
            boundary += "-more";
    const auto quoted = [](std::string_view text) {
        std::string result;
        for (const char c : text)
            result += c == '"' ? std::string("%22") : c == '\r' ? "%0D" : c == '\n' ? "%0A" : std::string(1, c);
        return "\"" + result + "\"";
    };
    HttpRequest request{.method = "POST", .url = urlOf(path), .uploadProgress = std::move(uploadProgress)};
    for (const AFMultipartPart& part : parts) {
        request.body += "--" + boundary + "\r\nContent-Disposition: form-data; name=" + quoted(part.name);
        if (!part.fileName.empty()) request.body += "; filename=" + quoted(part.fileName);
        if (!part.mimeType.empty()) request.body += "\r\nContent-Type: " + part.mimeType;
        request.body += "\r\n\r\n" + part.content + "\r\n";
    }
    request.body += "--" + boundary + "--\r\n";
    request.headers.emplace_back("Content-Type", "multipart/form-data; boundary=" + boundary);
    return send(std::move(request), std::move(success), std::move(failure));
}

HttpTaskRef AFHTTPSessionManager::send(HttpRequest request, Success success, Failure failure) {
    for (const auto& [name, value] : request_.headers()) {
        bool isThere = false;
        for (const auto& header : request.headers)
            isThere |= equalsIgnoringCase(header.first, name);
        if (!isThere) request.headers.emplace_back(name, value);
    }
    request.timeout = timeoutInterval;
    auto completion = [success = std::move(success), failure = std::move(failure),
                       serializer = response_](Result<HttpResponse> answer) {
        if (!answer) {
            if (failure) failure(answer.error());
            return;
        }
        const auto value = valueOf(*answer, serializer);
        if (value && success) success(*value, *answer);
        if (!value && failure) failure(value.error());
    };
    const auto& client = Platform::current().http;
    if (client) return client->send(std::move(request), std::move(completion));
    RunLoop::main().post([completion = std::move(completion)] {
        completion(qs::failure(kHttpErrorDomain, static_cast<int>(HttpError::NotConnected), "There is no network."));
    });
    return nullptr;
}

}  // namespace qs
