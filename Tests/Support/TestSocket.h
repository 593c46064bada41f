// Sockets for test servers: a listener on a free loopback port, and connections that are read line by line, with TLS
// where a test wants it. A connection may be used by one thread; hangUp() and stop() come from any.
#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace qs {

struct TestIdentity;

class TestConnection {
public:
    explicit TestConnection(int descriptor);
    ~TestConnection();
    TestConnection(const TestConnection&) = delete;
    TestConnection& operator=(const TestConnection&) = delete;

    bool write(std::string_view bytes);
    // Exactly that many bytes; nothing when the other side hung up first.
    std::optional<std::string> read(std::size_t count);
    // With its line end, as it came; nothing when the other side hung up first.
    std::optional<std::string> readLine();
    // What was read but not asked for yet: a client that talks before the handshake is wrong.
    bool hasUnread() const { return !buffer_.empty(); }
    bool startTls(const TestIdentity& identity);
    bool isEncrypted() const { return tls_ != nullptr; }
    void waitForHangUp();  // reads and drops what comes
    void hangUp();         // at once: what was not sent yet is dropped

private:
    struct Tls;
    bool fill();
    std::unique_ptr<Tls> tls_;
    int descriptor_;
    std::string buffer_;
};

class TestListener {
public:
    TestListener();
    ~TestListener();
    int port() const { return port_; }
    std::unique_ptr<TestConnection> accept();  // null once it was stopped
    void stop();

private:
    int descriptor_ = -1, port_ = 0;
    std::atomic<bool> stopped_ = false;
};

}  // namespace qs
