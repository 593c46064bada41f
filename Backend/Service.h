// What the routes work with. A route takes a request and gives its answer, on a thread that may wait; sockets, threads
// and the clock are somebody else's business.
#pragma once

#include <string>

#include "Foundation/Date.h"
#include "Foundation/Value.h"
#include "HttpServer/HttpTypes.h"

namespace qs {

struct BackendConfiguration;
struct RateLimits;
class ImageDecoder;
class LetterQueue;
class Metrics;
class OpenLog;
class PasswordHasher;
class SignIn;
class SqlPool;

struct Service {
    const BackendConfiguration& configuration;
    std::string baseUrl;  // without a slash at its end
    SqlPool& database;
    PasswordHasher& passwords;
    RateLimits& limits;
    SignIn& signIn;
    Metrics& metrics;
    OpenLog& opens;
    LetterQueue& letters;
    ImageDecoder* images;      // null: pictures are not taken
    Array signatureTemplates;  // as the profile tells them
};

struct Call {
    const HttpServerRequest& http;
    Date now;
    std::string peer;  // the client's address
};

using Route = HttpServerResponse (*)(Service& service, const Call& call);

}  // namespace qs
