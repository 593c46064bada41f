// Stands between a client and a server on loopback and breaks the connection after so many bytes, as a network does.
// What a test wants to see cut is set beforehand; without that everything passes. It can also take part in the
// dialogue: change a line, answer it in the server's place, or do something before it goes on.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

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
    // What passes in place of a line; all with the line's end.
    struct Passing {
        std::string onward;
        std::string back = {};  // to whoever sent the line
    };
    // From now on the connections pass by lines, those of contents included, one after the other; each as it is
    // answered on the proxy's thread. {} ends it.
    using Meddle = std::function<Passing(bool isFromClient, const std::string& line)>;
    void meddle(Meddle meddle);
    std::uint64_t sent() const;      // by clients, since the last of these calls
    std::uint64_t received() const;  // by them, likewise

private:
    struct State;
    const std::shared_ptr<State> state_;
};

}  // namespace qs
