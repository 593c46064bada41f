#include "HttpServer/BeastMessages.h"

#include <boost/beast/websocket/rfc6455.hpp>

namespace qs {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;

namespace {

std::string percentDecoded(std::string_view text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            result += text[i];
            continue;
        }
        unsigned code = 0;
        if (i + 2 >= text.size() || std::sscanf(std::string(text.substr(i + 1, 2)).c_str(), "%2x", &code) != 1 ||
            !std::isxdigit(static_cast<unsigned char>(text[i + 2])) || code < 0x20)
            return {};
        result += static_cast<char>(code);
        i += 2;
    }
    return result;
}

// What every answer carries, whatever it is about.
void addCommonHeaders(http::response_header<>& message) {
    message.set(http::field::cache_control, "no-store");
    message.set("X-Content-Type-Options", "nosniff");
    message.set("Referrer-Policy", "no-referrer");
    message.set("Cross-Origin-Opener-Policy", "same-origin");
    message.set("Cross-Origin-Resource-Policy", "same-origin");
    message.set("X-Frame-Options", "DENY");
}

}  // namespace

HttpServerRequest requestFrom(const http::request_header<>& message, const asio::ip::tcp::endpoint& peer) {
    HttpServerRequest request;
    request.peer = peer.address().to_string();
    request.method = std::string(message.method_string());
    const std::string_view target(message.target().data(), message.target().size());
    const auto question = target.find('?');
    request.rawPath = target.substr(0, question);
    request.path = percentDecoded(request.rawPath);
    if (question != std::string_view::npos) request.query = target.substr(question + 1);
    for (const auto& field : message)
        request.headers.emplace_back(std::string(field.name_string()), std::string(field.value()));
    request.isWebSocketUpgrade = beast::websocket::is_upgrade(message);
    return request;
}

http::response<http::empty_body> headOf(const HttpServerResponse& response, unsigned version, bool keepAlive) {
    http::response<http::empty_body> head{static_cast<http::status>(response.status), version};
    addCommonHeaders(head);
    for (const auto& [name, value] : response.headers)
        head.set(name, value);
    head.keep_alive(keepAlive);
    head.content_length(response.largeBody->size);
    return head;
}

http::response<http::string_body> messageFrom(HttpServerResponse response, unsigned version, bool keepAlive) {
    http::response<http::string_body> message{static_cast<http::status>(response.status), version};
    addCommonHeaders(message);
    for (const auto& [name, value] : response.headers)
        message.set(name, value);
    message.body() = std::move(response.body);
    message.keep_alive(keepAlive);
    message.prepare_payload();
    return message;
}

}  // namespace qs
