// Stands between a client and a server on loopback and breaks the connection after so many bytes, as a network does.
// What a test wants to see cut is set beforehand; without that everything passes.
#pragma once

#include <cstdint>
#include <memory>

namespace qs {

class CuttingProxy {
public:
    explicit CuttingProxy(int serverPort);
    ~CuttingProxy();
    CuttingProxy(const CuttingProxy&) = delete;
    CuttingProxy& operator=(const CuttingProxy&) = delete;

    int port() const;
    // The connections made from now on break, together, once so many more bytes have passed in that direction. The
    // server then still gets what the client had sent before. 0: never.
    void cutAfterSent(std::uint64_t bytesFromClient);
    void cutAfterReceived(std::uint64_t bytesFromServer);
    void letPass();
    // All connections break, and no new ones come about until letPass().
    void goDown();
    std::uint64_t sent() const;      // by clients, since the last of these calls
    std::uint64_t received() const;  // by them, likewise

private:
    struct State;
    const std::shared_ptr<State> state_;
};

}  // namespace qs
