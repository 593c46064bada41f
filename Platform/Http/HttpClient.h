// Outbound HTTP: a request goes out, and its answer, or why there is none, comes to the main thread. An answer of any
// status is an answer; what a status means is the caller's business.
//
// Credentials never follow a redirect to another host or to plain http. TLS is 1.2 or later, chain and name verified.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Foundation/Date.h"
#include "Foundation/Result.h"

namespace qs {

// In the order given; names are compared without regard to case.
using HttpHeaders = std::vector<std::pair<std::string, std::string>>;

struct HttpLogin {
    enum class Kind { Basic, Digest };
    Kind kind = Kind::Basic;
    std::string user, password;
};

struct HttpRequest {
    std::string method = "GET";
    std::string url;      // http or https
    HttpHeaders headers;  // an empty value leaves out what would be sent by default
    std::string body;
    std::filesystem::path bodyFile;    // not empty: streamed instead of `body`
    std::filesystem::path saveAnswer;  // not empty: the answer's body goes into this file, replacing it when complete
    std::optional<HttpLogin> login;

    TimeInterval timeout = 60;                   // for connecting, and then without a byte either way
    TimeInterval mostSeconds = 600;              // in all
    std::uint64_t mostBytes = 32 * 1024 * 1024;  // of the answer's body, unpacked
    int mostRedirects = 10;                      // 0: an answer that redirects is the answer
    // For addresses that come out of a mail: an address that is not public is refused, after resolving, at each
    // redirect; no proxy is used, and nothing that identifies the person is sent.
    bool publicAddressesOnly = false;
    bool alsoLoopback = false;  // with publicAddressesOnly: for an address on this machine that the person named
    bool acceptsAnyCertificate = false;  // never with a login; for pictures of web sites
    // Bytes of the body that have left, of how many. Main thread.
    std::function<void(std::uint64_t sent, std::uint64_t total)> uploadProgress;
    // Gets the body of a success in pieces, as they come, instead of the answer. Main thread, before the completion;
    // after cancel() some may still be on their way. Not together with `saveAnswer`.
    std::function<void(int status, std::string_view piece)> bodyArrives;
};

struct HttpResponse {
    int status = 0;
    HttpHeaders headers;
    std::string body;      // empty when it went into a file or to `bodyArrives`
    std::string finalUrl;  // after redirects
    // Where an answer leads whose redirect was not followed, as a whole address; empty for other answers.
    std::string redirectUrl;

    std::optional<std::string> header(std::string_view name) const;
    bool isSuccess() const { return status >= 200 && status < 300; }
};

inline constexpr const char* kHttpErrorDomain = "com.tallowbay.Quillstead.http";
enum class HttpError {
    Cancelled = -999,
    BadUrl = -1000,
    TimedOut = -1001,
    CannotFindHost = -1003,
    CannotConnect = -1004,
    ConnectionLost = -1005,
    TooManyRedirects = -1007,
    NotConnected = -1009,  // the machine is offline: ask again later; says nothing about the other side
    BadAnswer = -1011,
    SecureConnectionFailed = -1200,
    AddressNotAllowed = -1022,  // by publicAddressesOnly
    CannotOpenFile = -3000,     // bodyFile or saveAnswer
    TooLarge = -1103,
};

// One request under way. Dropping the handle changes nothing.
class HttpTask {
public:
    virtual ~HttpTask() = default;
    // From every thread. The completion comes with Cancelled, unless it is on its way already.
    virtual void cancel() = 0;
};
using HttpTaskRef = std::shared_ptr<HttpTask>;
using HttpCompletion = std::function<void(Result<HttpResponse>)>;

// Must go before the run loop does; requests under way are dropped then, without their completions.
class HttpClient {
public:
    virtual ~HttpClient() = default;
    // Main thread. The completion is called there once, never before this returns. A virtual clock stands meanwhile.
    virtual HttpTaskRef send(HttpRequest request, HttpCompletion completion) = 0;

    struct Options {
        std::string userAgent;               // sent unless a request has its own; empty: none
        std::filesystem::path certificates;  // trusted roots instead of the system's
        bool allowsLoopback = false;         // where publicAddressesOnly is asked for: for tests alone
    };
    static std::shared_ptr<HttpClient> make(Options options);
};

// "a=b&c=d", escaped as application/x-www-form-urlencoded asks for.
std::string formEncoded(const std::vector<std::pair<std::string, std::string>>& fields);

}  // namespace qs
