#include "Redirects/LoopbackRedirect.h"

#include <boost/asio/awaitable.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>

#include <vector>

#include "Foundation/RunLoop.h"
#include "HttpServer/LoopbackAcceptors.h"
#include "Text/Escapes.h"

namespace qs {

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using asio::ip::tcp;
using boost::system::error_code;
using Answer = http::response<http::string_body>;

constexpr auto kPatience = std::chrono::seconds(10);
constexpr std::uint32_t kHeadLimit = 16 * 1024;
constexpr int kMostConnections = 8;

// What the connections share with the listener; the listener may go first.
struct Wait {
    LoopbackRedirect::Wanted wanted;  // `arrived` is empty when it is over
    std::string host;                 // as address() has it
    std::string anotherHost;          // the name that a provider may know this machine by
    int connections = 0;
};

Answer answerTo(const http::request<http::empty_body>& request, Wait& wait, std::string& query) {
    const std::string_view target(request.target().data(), request.target().size());
    const auto host = request[http::field::host];
    const auto question = std::min(target.find('?'), target.size());
    const std::string given(target.substr(std::min(question + 1, target.size())));
    const bool isIt = wait.wanted.arrived && request.method() == http::verb::get &&
                      (host == wait.host || host == wait.anotherHost) &&
                      target.substr(0, question) == "/" + wait.wanted.path && wait.wanted.accepts(given);
    Answer answer{isIt ? http::status::ok : http::status::not_found, 11};
    if (isIt) query = given;
    answer.set(http::field::content_type, "text/html; charset=utf-8");
    answer.set(http::field::cache_control, "no-store");
    answer.set("Referrer-Policy", "no-referrer");
    answer.set("Content-Security-Policy", "default-src 'none'; frame-ancestors 'none'");
    answer.set("X-Content-Type-Options", "nosniff");
    answer.keep_alive(false);
    const std::string text = isIt ? stringByEscapingXMLEntities(wait.wanted.sentence) : "There is nothing here.";
    answer.body() = "<!doctype html><meta charset=\"utf-8\"><title>Quillstead</title><p>" + text + "</p>";
    answer.prepare_payload();
    return answer;
}

asio::awaitable<void> serve(beast::tcp_stream stream, std::shared_ptr<Wait> wait) {
    const auto counted = std::shared_ptr<void>(nullptr, [wait](void*) { --wait->connections; });
    ++wait->connections;
    error_code error;
    beast::flat_buffer buffer(kHeadLimit);
    http::request_parser<http::empty_body> parser;
    parser.header_limit(kHeadLimit);
    stream.expires_after(kPatience);
    co_await http::async_read_header(stream, buffer, parser, asio::redirect_error(asio::use_awaitable, error));
    if (error) co_return;
    std::string query;
    Answer answer = answerTo(parser.get(), *wait, query);
    auto arrived = query.empty() ? nullptr : std::exchange(wait->wanted.arrived, nullptr);
    stream.expires_after(kPatience);
    co_await http::async_write(stream, answer, asio::redirect_error(asio::use_awaitable, error));
    stream.socket().shutdown(tcp::socket::shutdown_both, error);
    if (arrived) RunLoop::main().post([arrived = std::move(arrived), query = std::move(query)] { arrived(query); });
}

asio::awaitable<void> accept(std::shared_ptr<tcp::acceptor> acceptor, std::shared_ptr<Wait> wait) {
    while (wait->wanted.arrived) {
        error_code error;
        auto socket = co_await acceptor->async_accept(asio::redirect_error(asio::use_awaitable, error));
        if (error) co_return;
        if (wait->connections < kMostConnections)
            asio::co_spawn(acceptor->get_executor(), serve(beast::tcp_stream(std::move(socket)), wait), asio::detached);
    }
}

class AsioLoopbackRedirect : public LoopbackRedirect {
public:
    AsioLoopbackRedirect(Acceptors acceptors, std::shared_ptr<Wait> wait) : wait_(std::move(wait)) {
        for (tcp::acceptor& each : acceptors) {
            acceptors_.push_back(std::make_shared<tcp::acceptor>(std::move(each)));
            asio::co_spawn(acceptors_.back()->get_executor(), accept(acceptors_.back(), wait_), asio::detached);
        }
    }
    ~AsioLoopbackRedirect() override {
        wait_->wanted.arrived = nullptr;
        error_code ignored;
        for (const auto& each : acceptors_)
            each->close(ignored);
    }
    std::string address() const override { return "http://" + wait_->host + "/" + wait_->wanted.path; }

private:
    std::vector<std::shared_ptr<tcp::acceptor>> acceptors_;  // the coroutines go on with them
    std::shared_ptr<Wait> wait_;
};

}  // namespace

Result<std::unique_ptr<LoopbackRedirect>> LoopbackRedirect::listen(Wanted wanted) {
    auto acceptors = listenOnLoopback(0);
    if (!acceptors)
        return failure("LoopbackRedirect", 1,
                       "The browser's answer can't be waited for. " + acceptors.error().description);
    const auto port = acceptors->front().local_endpoint().port();
    auto wait = std::make_shared<Wait>(Wait{.wanted = std::move(wanted),
                                            .host = "127.0.0.1:" + std::to_string(port),
                                            .anotherHost = "localhost:" + std::to_string(port),
                                            .connections = 0});
    return std::unique_ptr<LoopbackRedirect>(
        std::make_unique<AsioLoopbackRedirect>(std::move(*acceptors), std::move(wait)));
}

}  // namespace qs
