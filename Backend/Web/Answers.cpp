#include "Web/Answers.h"

#include "Foundation/Json.h"

namespace qs {

HttpResponse jsonAnswer(int status, const Value& value) {
    HttpResponse response = HttpResponse::json(jsonText(value));
    response.status = status;
    return response;
}

HttpResponse errorAnswer(int status, std::string_view sentence) {
    return jsonAnswer(status, Dictionary{{"error", sentence}});
}

HttpResponse tooManyAnswer(int seconds) {
    HttpResponse response = errorAnswer(429, "There were too many tries. Please wait a little and try again.");
    response.headers.emplace_back("Retry-After", std::to_string(seconds));
    return response;
}

}  // namespace qs
