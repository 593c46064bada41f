// Answers in the forms that this server gives.
#pragma once

#include <string>
#include <string_view>

#include "Foundation/Value.h"
#include "HttpServer/HttpTypes.h"

namespace qs {

HttpServerResponse jsonAnswer(int status, const Value& value);
// {"error": sentence}: what the plug-in shows to its user.
HttpServerResponse errorAnswer(int status, std::string_view sentence);
// 429, with the header that says when to come back.
HttpServerResponse tooManyAnswer(int seconds);

}  // namespace qs
