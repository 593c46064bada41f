// Listening for connections on the main run loop. For sources of adapters.
#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <string>
#include <vector>

#include "Foundation/Result.h"

namespace qs {

using Acceptors = std::vector<boost::asio::ip::tcp::acceptor>;

// On one port of both loopback addresses, as "localhost" leads to either: on a port that is free on one of them,
// another program would get what is meant for us. On IPv4 alone where the machine has nothing else. Port 0: any.
Result<Acceptors> listenOnLoopback(int port);
// On these addresses. Port 0: any, the same on all of them.
Result<Acceptors> listenOn(const std::vector<std::string>& addresses, int port);

}  // namespace qs
