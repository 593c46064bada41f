// Finding the addresses of a host without being held up by the resolver, which can neither be cancelled nor bounded.
#pragma once

#include <sys/socket.h>

#include <functional>
#include <string>
#include <vector>

#include "Foundation/Date.h"
#include "Foundation/Result.h"

namespace qs {

struct SocketAddress {
    sockaddr_storage bytes{};
    socklen_t size = 0;
};

// Looks on a thread of its own. `wait(descriptor)` is to return once the descriptor can be read, or with an error,
// which is then the answer. An empty list: there is no such host.
Result<std::vector<SocketAddress>> lookUpHost(const std::string& host, int port,
                                              const std::function<Result<void>(int descriptor)>& wait);

}  // namespace qs
