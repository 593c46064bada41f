#include "Support/ScriptedWebServer.h"

#include <algorithm>
#include <cstdlib>
#include <list>
#include <mutex>
#include <thread>

#include "Support/TestSocket.h"
#include "Text/Ascii.h"

namespace qs {

namespace {

std::string unescaped(std::string_view text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && text.size() - i > 2) {
            result += static_cast<char>(std::strtol(std::string(text.substr(i + 1, 2)).c_str(), nullptr, 16));
            i += 2;
        } else {
            result += text[i] == '+' ? ' ' : text[i];
        }
    }
    return result;
}

std::map<std::string, std::string> fieldsOf(std::string_view text) {
    std::map<std::string, std::string> fields;
    while (!text.empty()) {
        const auto end = std::min(text.find('&'), text.size());
        const std::string_view field = text.substr(0, end);
        const auto equals = std::min(field.find('='), field.size());
        fields[unescaped(field.substr(0, equals))] = unescaped(field.substr(std::min(equals + 1, field.size())));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return fields;
}

std::string lineOf(std::string line) {
    while (line.ends_with('\n') || line.ends_with('\r'))
        line.pop_back();
    return line;
}

// The body, by its length or in chunks.
std::optional<std::string> readBody(TestConnection& connection, const WebRequest& request) {
    if (!equalsIgnoringCase(request.header("Transfer-Encoding"), "chunked")) {
        const std::string length = request.header("Content-Length");
        return length.empty() ? std::string() : connection.read(std::strtoull(length.c_str(), nullptr, 10));
    }
    std::string body;
    for (;;) {
        const auto size = connection.readLine();
        if (!size) return std::nullopt;
        const auto count = std::strtoull(size->c_str(), nullptr, 16);
        auto chunk = connection.read(count);
        if (!chunk || !connection.readLine()) return std::nullopt;
        if (count == 0) return body;
        body += *chunk;
    }
}

std::optional<WebRequest> readRequest(TestConnection& connection) {
    const auto first = connection.readLine();
    if (!first) return std::nullopt;
    WebRequest request;
    const auto firstBlank = first->find(' '), secondBlank = first->rfind(' ');
    if (firstBlank == std::string::npos || secondBlank <= firstBlank) return std::nullopt;
    request.method = first->substr(0, firstBlank);
    const std::string target = first->substr(firstBlank + 1, secondBlank - firstBlank - 1);
    const auto mark = std::min(target.find('?'), target.size());
    request.path = target.substr(0, mark);
    request.query = target.substr(std::min(mark + 1, target.size()));
    for (auto line = connection.readLine();; line = connection.readLine()) {
        if (!line) return std::nullopt;
        const std::string text = lineOf(*line);
        if (text.empty()) break;
        const auto colon = std::min(text.find(':'), text.size());
        request.headers.emplace_back(text.substr(0, colon),
                                     trimmedAscii(std::string_view(text).substr(std::min(colon + 1, text.size()))));
    }
    auto body = readBody(connection, request);
    if (!body) return std::nullopt;
    request.body = std::move(*body);
    return request;
}

}  // namespace

std::string WebRequest::header(std::string_view name) const {
    for (const auto& [key, value] : headers)
        if (equalsIgnoringCase(key, name)) return value;
    return {};
}
bool WebRequest::has(std::string_view name) const {
    return std::any_of(headers.begin(), headers.end(),
                       [&](const auto& header) { return equalsIgnoringCase(header.first, name); });
}
std::map<std::string, std::string> WebRequest::form() const { return fieldsOf(body); }
std::map<std::string, std::string> WebRequest::queryFields() const { return fieldsOf(query); }

struct ScriptedWebServer::State {
    Handler handler;
    std::optional<TestIdentity> identity;
    TestListener listener;
    mutable std::mutex lock;
    std::mutex handling;
    std::vector<WebRequest> requests;
    int connections = 0;
    bool isEnding = false;
    std::list<std::unique_ptr<TestConnection>> open;
    std::list<std::thread> threads;
    std::thread acceptor;

    // False ends the connection.
    bool answer(TestConnection& connection, const WebRequest& request) {
        WebAnswer answer;
        {
            const std::lock_guard guard(handling);
            answer = handler(request);
        }
        if (answer.hangsUp) return false;
        if (answer.stalls) {
            connection.waitForHangUp();
            return false;
        }
        const bool hasBody = request.method != "HEAD" && answer.status != 204 && answer.status != 304;
        std::string text = "HTTP/1.1 " + std::to_string(answer.status) + " Answer\r\n";
        for (const auto& [name, value] : answer.headers)
            text += name + ": " + value + "\r\n";
        if (hasBody) text += "Content-Length: " + std::to_string(answer.body.size()) + "\r\n";
        text += "\r\n";
        if (hasBody) text += answer.hangsUpAfter ? answer.body.substr(0, answer.hangsUpAfter) : answer.body;
        return connection.write(text) && !answer.hangsUpAfter;
    }

    void serve(TestConnection& connection) {
        if (identity && !connection.startTls(*identity)) return connection.hangUp();
        while (auto request = readRequest(connection)) {
            {
                const std::lock_guard guard(lock);
                requests.push_back(*request);
            }
            if (!answer(connection, *request)) break;
        }
        connection.hangUp();
    }

    void accept() {
        while (auto connection = listener.accept()) {
            const std::lock_guard guard(lock);
            if (isEnding) return;
            ++connections;
            TestConnection& served = *open.emplace_back(std::move(connection));
            threads.emplace_back([this, &served] { serve(served); });
        }
    }
};

ScriptedWebServer::ScriptedWebServer(Handler handler, std::optional<TestIdentity> identity)
    : state_(std::make_shared<State>()) {
    state_->handler = std::move(handler);
    state_->identity = std::move(identity);
    state_->acceptor = std::thread([state = state_.get()] { state->accept(); });
}

ScriptedWebServer::~ScriptedWebServer() {
    state_->listener.stop();
    {
        const std::lock_guard guard(state_->lock);
        state_->isEnding = true;
        for (const auto& connection : state_->open)
            connection->hangUp();
    }
    state_->acceptor.join();
    for (std::thread& thread : state_->threads)
        thread.join();
}

int ScriptedWebServer::port() const { return state_->listener.port(); }

std::string ScriptedWebServer::url(std::string_view path) const {
    return (state_->identity ? "https" : "http") + std::string("://127.0.0.1:") + std::to_string(port()) +
           std::string(path);
}

std::vector<WebRequest> ScriptedWebServer::requests() const {
    const std::lock_guard guard(state_->lock);
    return state_->requests;
}

int ScriptedWebServer::connections() const {
    const std::lock_guard guard(state_->lock);
    return state_->connections;
}

}  // namespace qs
