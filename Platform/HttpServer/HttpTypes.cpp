#include "HttpServer/HttpTypes.h"
#include "Text/Ascii.h"

namespace qs {

namespace {

// The value after "name=" among pieces parted by `separator`; empty for none.
std::string valueIn(std::string_view text, char separator, std::string_view name) {
    while (!text.empty()) {
        const auto end = text.find(separator);
        const auto piece = trimmedAscii(text.substr(0, end));
        text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
        if (piece.size() > name.size() && piece.starts_with(name) && piece[name.size()] == '=')
            return std::string(piece.substr(name.size() + 1));
    }
    return {};
}

}  // namespace

std::string HttpServerRequest::header(std::string_view name) const {
    for (const auto& [key, value] : headers)
        if (equalsIgnoringCase(key, name)) return value;
    return {};
}

int HttpServerRequest::headerCount(std::string_view name) const {
    return static_cast<int>(std::count_if(headers.begin(), headers.end(),
                                          [name](const auto& field) { return equalsIgnoringCase(field.first, name); }));
}

std::string HttpServerRequest::cookie(std::string_view name) const { return valueIn(header("Cookie"), ';', name); }

std::string HttpServerRequest::queryValue(std::string_view name) const { return valueIn(query, '&', name); }

HttpServerResponse HttpServerResponse::text(int status, std::string_view sentence) {
    return {status, {{"Content-Type", "text/plain; charset=utf-8"}}, std::string(sentence) + "\n"};
}

HttpServerResponse HttpServerResponse::json(std::string body) {
    return {200, {{"Content-Type", "application/json"}}, std::move(body)};
}

}  // namespace qs
