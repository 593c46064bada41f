#include "Web/Answers.h"

#include "Foundation/Json.h"

namespace qs {

HttpServerResponse jsonAnswer(int status, const Value& value) {
    HttpServerResponse response = HttpServerResponse::json(jsonText(value));
    response.status = status;
    return response;
}

HttpServerResponse errorAnswer(int status, std::string_view sentence) {
    return jsonAnswer(status, Dictionary{{"error", sentence}});
}

HttpServerResponse tooManyAnswer(int seconds) {
    HttpServerResponse response = errorAnswer(429, "There were too many tries. Please wait a little and try again.");
    response.headers.emplace_back("Retry-After", std::to_string(seconds));
    return response;
}

}  // namespace qs
