#include "HttpServer/HttpServer.h"

#include <boost/asio/awaitable.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/websocket.hpp>
#include <deque>
#include <list>

#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"
#include "Foundation/RunLoopAsio.h"
#include "HttpServer/BeastMessages.h"
#include "HttpServer/LoopbackAcceptors.h"

namespace qs {

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
namespace websocket = beast::websocket;
using asio::ip::tcp;
using boost::system::error_code;
using Stream = beast::tcp_stream;
using WebSocket = websocket::stream<Stream>;
using Parser = http::request_parser<http::string_body>;

constexpr std::uint32_t kHeadLimit = 16 * 1024;
constexpr std::size_t kLiveMessageLimit = 32 * 1024 * 1024;

class Channel : public LiveChannel, public std::enable_shared_from_this<Channel> {
public:
    explicit Channel(WebSocket socket) : socket_(std::move(socket)) {}

    void send(std::string text) override {
        if (closed_) return;
        waiting_.push_back(std::move(text));
        if (waiting_.size() == 1) writeNext();
    }

    void close() override {
        if (closed_) return;
        closed_ = true;
        auto self = shared_from_this();
        socket_.async_close(websocket::close_code::going_away, [self](error_code) {});
    }

    asio::awaitable<void> read() {
        auto self = shared_from_this();
        beast::flat_buffer buffer;
        for (error_code error; !error;) {
            co_await socket_.async_read(buffer, asio::redirect_error(asio::use_awaitable, error));
            if (error) break;
            // In a turn of its own: what it leads to may wait for the person, and this connection must go on being
            // read.
            RunLoop::main().post([self, text = beast::buffers_to_string(buffer.data())] {
                if (self->onText && !self->ended_) self->onText(text);
            });
            buffer.consume(buffer.size());
        }
        end();
    }

private:
    void writeNext() {
        auto self = shared_from_this();
        socket_.text(true);
        socket_.async_write(asio::buffer(waiting_.front()), [self](error_code error, std::size_t) {
            if (error) return self->end();
            self->waiting_.pop_front();
            if (!self->waiting_.empty() && !self->closed_) self->writeNext();
        });
    }

    void end() {
        closed_ = true;
        if (std::exchange(ended_, true)) return;
        if (auto onCloseNow = std::move(onClose)) RunLoop::main().post(std::move(onCloseNow));
    }

    WebSocket socket_;
    std::deque<std::string> waiting_;
    bool closed_ = false, ended_ = false;
};

class BeastServer : public HttpServer {
public:
    BeastServer(std::vector<tcp::acceptor> acceptors, int port, const HttpServerOptions& options)
        : acceptors_(std::move(acceptors)),
          port_(port),
          mostConnections_(options.mostConnections),
          idleTime_(options.idleSeconds),
          transferTime_(options.transferSeconds) {}

    ~BeastServer() override {
        *alive_ = false;
        stopAccepting();
        error_code ignored;
        for (auto* socket : sockets_)
            socket->close(ignored);
    }

    int port() const override { return port_; }

    void start(HttpHandlers handlers) override {
        handlers_ = std::make_shared<HttpHandlers>(std::move(handlers));
        for (auto& acceptor : acceptors_)
            asio::co_spawn(ioContextOf(RunLoop::main()), accept(acceptor), asio::detached);
    }

    void stopAccepting() override {
        isStopping_ = true;
        error_code ignored;
        for (auto& acceptor : acceptors_)
            acceptor.close(ignored);
    }

private:
    asio::awaitable<void> accept(tcp::acceptor& acceptor) {
        auto alive = alive_;
        while (*alive && !isStopping_) {
            error_code error;
            auto socket = co_await acceptor.async_accept(asio::redirect_error(asio::use_awaitable, error));
            if (!*alive) co_return;
            if (error) {
                if (error == asio::error::operation_aborted) co_return;
                // Out of file descriptors, perhaps: wait a little instead of spinning.
                asio::steady_timer pause(ioContextOf(RunLoop::main()), std::chrono::milliseconds(100));
                co_await pause.async_wait(asio::redirect_error(asio::use_awaitable, error));
                continue;
            }
            if (sockets_.size() < mostConnections_)
                asio::co_spawn(ioContextOf(RunLoop::main()), serve(std::move(socket)), asio::detached);
        }
    }

    // Keeps the list of open sockets true, so that the server's end closes them.
    struct Registered {
        BeastServer& server;
        std::shared_ptr<bool> alive;
        tcp::socket* socket;
        Registered(BeastServer& s, tcp::socket* registered) : server(s), alive(s.alive_), socket(registered) {
            server.sockets_.push_back(socket);
        }
        ~Registered() {
            if (*alive) server.sockets_.remove(socket);
        }
        Registered(const Registered&) = delete;
        Registered& operator=(const Registered&) = delete;
    };

    asio::awaitable<void> serve(tcp::socket accepted) {
        auto alive = alive_;
        error_code error;
        const auto peer = accepted.remote_endpoint(error);
        if (error) co_return;
        accepted.set_option(tcp::no_delay(true), error);
        Stream stream(std::move(accepted));
        beast::flat_buffer buffer;
        std::optional<http::request<http::string_body>> upgrade;
        {
            Registered registered(*this, &stream.socket());
            while (*alive && co_await answerOne(stream, peer, buffer, upgrade)) {
            }
        }
        if (*alive && upgrade) co_await serveLive(std::move(stream), peer, std::move(*upgrade));
    }

    // True when the connection is good for another request.
    asio::awaitable<bool> answerOne(Stream& stream, const tcp::endpoint& peer, beast::flat_buffer& buffer,
                                    std::optional<http::request<http::string_body>>& upgrade) {
        auto alive = alive_;
        auto handlers = handlers_;
        error_code error;
        Parser parser;
        parser.header_limit(kHeadLimit);
        parser.body_limit(boost::none);  // set below, once the head tells what it is
        stream.expires_after(idleTime_);
        co_await http::async_read_header(stream, buffer, parser, asio::redirect_error(asio::use_awaitable, error));
        if (error || !*alive) co_return false;
        const HttpServerRequest head = requestFrom(parser.get(), peer);
        const unsigned version = parser.get().version();
        if (auto refusal = handlers->refuse(head)) {
            // The body is not read, so the connection can't go on.
            co_await write(stream, messageFrom(std::move(*refusal), version, false));
            co_return false;
        }
        if (head.isWebSocketUpgrade) {
            upgrade = parser.release();
            co_return false;
        }
        std::unique_ptr<HttpBodySink> sink;
        if (handlers->takeBody) sink = handlers->takeBody(head);
        if (sink) co_return co_await receive(stream, buffer, parser, std::move(sink));
        const auto limit = handlers->bodyLimit(head);
        if (parser.content_length() && *parser.content_length() > limit) {
            co_await write(stream, messageFrom(HttpServerResponse::text(413, "That is too large."), version, false));
            co_return false;
        }
        parser.body_limit(limit);
        stream.expires_after(transferTime_);
        co_await http::async_read(stream, buffer, parser, asio::redirect_error(asio::use_awaitable, error));
        if (error || !*alive) co_return false;
        auto message = parser.release();
        HttpServerRequest request = requestFrom(message, peer);
        request.body = std::move(message.body());
        bool keepAlive = message.keep_alive();
        HttpServerResponse response;
        if (handlers->respondLater) {
            stream.expires_never();
            response = co_await laterAnswer(*handlers, std::move(request));
            if (!*alive) co_return false;
        } else {
            response = answer(*handlers, request);
        }
        keepAlive = keepAlive && !isStopping_;
        if (response.largeBody) co_return co_await writeInPieces(stream, std::move(response), version, keepAlive);
        co_return co_await write(stream, messageFrom(std::move(response), version, keepAlive)) && keepAlive;
    }

    // All of the body is read, also one that is not wanted: a browser hears no answer before it has sent everything.
    asio::awaitable<bool> receive(Stream& stream, beast::flat_buffer& buffer, Parser& head,
                                  std::unique_ptr<HttpBodySink> sink) {
        auto alive = alive_;
        http::request_parser<http::buffer_body> parser(std::move(head));
        parser.body_limit(boost::none);
        std::string piece(kPieceBytes, '\0');
        bool isTaken = true;
        while (!parser.is_done()) {
            auto& body = parser.get().body();
            body.data = piece.data();
            body.size = piece.size();
            stream.expires_after(transferTime_);
            error_code error;
            co_await http::async_read(stream, buffer, parser, asio::redirect_error(asio::use_awaitable, error));
            if (error == http::error::need_buffer) error = {};
            if (error || !*alive) co_return false;
            const std::string_view came = std::string_view(piece).substr(0, piece.size() - body.size);
            isTaken = isTaken && sink->take(came).has_value();
        }
        const bool keepAlive = parser.get().keep_alive() && !isStopping_;
        co_return co_await write(stream, messageFrom(sink->end(), parser.get().version(), keepAlive)) && keepAlive;
    }

    static asio::awaitable<HttpServerResponse> laterAnswer(const HttpHandlers& handlers, HttpServerRequest request) {
        struct Waiting {
            asio::steady_timer gate{ioContextOf(RunLoop::main()), asio::steady_timer::time_point::max()};
            std::optional<HttpServerResponse> response;
        };
        auto waiting = std::make_shared<Waiting>();
        const auto reply = [waiting](HttpServerResponse response) {
            auto deliver = [waiting, response = std::move(response)]() mutable {
                waiting->response = std::move(response);
                waiting->gate.cancel();
            };
            if (RunLoop::main().isMainThread()) return deliver();
            RunLoop::main().post(std::move(deliver));
        };
        const std::string path = request.path;
        try {
            handlers.respondLater(std::move(request), reply);
        } catch (const std::exception& fault) {
            if (!waiting->response) waiting->response = failedAnswer(path, fault);
        }
        error_code cancelled;
        while (!waiting->response)
            co_await waiting->gate.async_wait(asio::redirect_error(asio::use_awaitable, cancelled));
        co_return std::move(*waiting->response);
    }

    static HttpServerResponse answer(const HttpHandlers& handlers, const HttpServerRequest& request) {
        try {
            return handlers.respond(request);
        } catch (const std::exception& fault) {
            return failedAnswer(request.path, fault);
        }
    }

    static HttpServerResponse failedAnswer(const std::string& path, const std::exception& fault) {
        logError("The answer to " + path + " failed: " + fault.what());
        return HttpServerResponse::text(500, "Something went wrong. The log tells more.");
    }

    asio::awaitable<bool> write(Stream& stream, http::response<http::string_body> message) {
        error_code error;
        stream.expires_after(transferTime_);
        co_await http::async_write(stream, message, asio::redirect_error(asio::use_awaitable, error));
        if (message.need_eof() || error) stream.socket().shutdown(tcp::socket::shutdown_send, error);
        co_return !error && !message.need_eof();
    }

    // One that can't be read to its end is cut short, which the other side sees by the length.
    asio::awaitable<bool> writeInPieces(Stream& stream, HttpServerResponse response, unsigned version, bool keepAlive) {
        const auto time = transferTime_;  // for each piece
        const auto head = headOf(response, version, keepAlive);
        http::response_serializer<http::empty_body> serializer(head);
        error_code error;
        stream.expires_after(time);
        co_await http::async_write_header(stream, serializer, asio::redirect_error(asio::use_awaitable, error));
        std::string piece(kPieceBytes, '\0');
        std::uint64_t left = response.largeBody->size;
        while (left > 0 && !error) {
            const auto length = response.largeBody->read(
                piece.data(), static_cast<std::size_t>(std::min<std::uint64_t>(left, piece.size())));
            if (!length || *length == 0) {
                logError("An answer is cut short: " + (length ? "It ends too early." : length.error().description));
                break;
            }
            left -= *length;
            stream.expires_after(time);
            co_await asio::async_write(stream, asio::buffer(piece.data(), *length),
                                       asio::redirect_error(asio::use_awaitable, error));
        }
        if (left > 0 || error || !keepAlive) stream.socket().shutdown(tcp::socket::shutdown_send, error);
        co_return left == 0 && !error && keepAlive;
    }

    asio::awaitable<void> serveLive(Stream stream, tcp::endpoint peer, http::request<http::string_body> request) {
        auto alive = alive_;
        auto handlers = handlers_;
        auto protocol =
            handlers->acceptLive ? handlers->acceptLive(requestFrom(request, peer)) : std::optional<std::string>();
        if (!protocol) {
            co_await write(stream, messageFrom(HttpServerResponse::text(403, "Please open the page by its start link."),
                                               request.version(), false));
            co_return;
        }
        stream.expires_never();
        WebSocket socket(std::move(stream));
        socket.set_option(websocket::stream_base::timeout::suggested(beast::role_type::server));
        socket.read_message_max(kLiveMessageLimit);
        socket.set_option(websocket::stream_base::decorator([&protocol](websocket::response_type& response) {
            response.set(http::field::sec_websocket_protocol, *protocol);
        }));
        error_code error;
        co_await socket.async_accept(request, asio::redirect_error(asio::use_awaitable, error));
        if (error || !*alive) co_return;
        auto channel = std::make_shared<Channel>(std::move(socket));
        handlers->openLive(channel);
        co_await channel->read();
    }

    std::vector<tcp::acceptor> acceptors_;
    int port_;
    std::size_t mostConnections_;
    std::chrono::seconds idleTime_, transferTime_;
    bool isStopping_ = false;
    std::shared_ptr<HttpHandlers> handlers_;
    std::list<tcp::socket*> sockets_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace

Result<std::unique_ptr<HttpServer>> HttpServer::listen(const HttpServerOptions& options) {
    auto acceptors =
        options.addresses.empty() ? listenOnLoopback(options.port) : listenOn(options.addresses, options.port);
    if (!acceptors) return failed(acceptors);
    const int port = acceptors->front().local_endpoint().port();
    return std::unique_ptr<HttpServer>(std::make_unique<BeastServer>(std::move(*acceptors), port, options));
}

}  // namespace qs
