#include "HttpServer/LoopbackAcceptors.h"

#include <boost/asio/ip/v6_only.hpp>
#include <cerrno>

#include "Foundation/RunLoop.h"
#include "Foundation/RunLoopAsio.h"

namespace qs {

namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

constexpr int kMostPorts = 20;  // that are tried where any will do

error_code bindAndListen(tcp::acceptor& acceptor, const tcp::endpoint& endpoint) {
    error_code error;
    acceptor.open(endpoint.protocol(), error);
    if (!error) acceptor.set_option(tcp::acceptor::reuse_address(true), error);
    if (!error && endpoint.address().is_v6()) acceptor.set_option(asio::ip::v6_only(true), error);
    if (!error) acceptor.bind(endpoint, error);
    if (!error) acceptor.listen(asio::socket_base::max_listen_connections, error);
    return error;
}

tl::unexpected<Error> notListening(error_code error, const std::string& where, int port) {
    if (error == asio::error::address_in_use)
        return failure("HttpServer", EADDRINUSE, "Port " + std::to_string(port) + " is in use by another program.");
    return failure("HttpServer", error.value(),
                   "Cannot listen on port " + std::to_string(port) + where + ": " + error.message() + ".");
}

}  // namespace

Result<Acceptors> listenOnLoopback(int port) {
    auto& context = ioContextOf(RunLoop::main());
    for (int tries = 1;; ++tries) {
        Acceptors acceptors;
        tcp::acceptor v4(context), v6(context);
        if (const auto error = bindAndListen(v4, {asio::ip::address_v4::loopback(), static_cast<unsigned short>(port)}))
            return notListening(error, "", port);
        const auto taken = v4.local_endpoint().port();
        acceptors.push_back(std::move(v4));
        const auto error = bindAndListen(v6, {asio::ip::address_v6::loopback(), taken});
        if (!error) acceptors.push_back(std::move(v6));
        if (error != asio::error::address_in_use) return acceptors;
        if (port != 0 || tries == kMostPorts) return notListening(error, "", taken);
    }
}

Result<Acceptors> listenOn(const std::vector<std::string>& addresses, int port) {
    Acceptors acceptors;
    for (const std::string& text : addresses) {
        error_code error;
        const auto address = asio::ip::make_address(text, error);
        tcp::acceptor acceptor(ioContextOf(RunLoop::main()));
        if (!error) error = bindAndListen(acceptor, {address, static_cast<unsigned short>(port)});
        if (error) return notListening(error, " of " + text, port);
        // All of them get the port that the first was given.
        port = acceptor.local_endpoint().port();
        acceptors.push_back(std::move(acceptor));
    }
    return acceptors;
}

}  // namespace qs
