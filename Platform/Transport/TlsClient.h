// The client's side of TLS on a socket that does not block. Private to this folder.
#pragma once

#include <sys/types.h>

#include <memory>
#include <string>
#include <string_view>

#include "Foundation/Result.h"

namespace qs {

class TlsClient {
public:
    static constexpr ssize_t kWait = -2;

    // The socket must outlive it. Fails when the authorities can't be read.
    static Result<std::unique_ptr<TlsClient>> make(int socket, const std::string& host, const std::string& authorities);
    ~TlsClient();

    enum class Handshake { Done, Wait, NotTrusted, Failed };
    Handshake shakeHands(short& events);  // `events`: what to poll for
    const std::string& reason() const { return reason_; }

    // How much; kWait to be called again once the socket is ready for `events`; 0 or less: it is over.
    ssize_t read(char* buffer, std::size_t size, short& events);
    ssize_t write(std::string_view bytes, short& events);
    bool hasPending() const;

private:
    struct Held;
    explicit TlsClient(std::unique_ptr<Held> held);
    ssize_t outcome(int result, short& events) const;

    const std::unique_ptr<Held> held_;
    std::string reason_;
};

}  // namespace qs
