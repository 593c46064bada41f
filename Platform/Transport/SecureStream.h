// A TCP connection with TLS and deflate on it, for protocols that are spoken line by line. Blocking, every wait
// bounded; cancel() and wake() come from any thread, everything else from one at a time. Never raises SIGPIPE.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "Foundation/Date.h"
#include "Foundation/Result.h"

namespace qs {

inline constexpr std::string_view kStreamErrorDomain = "SecureStream";
enum class StreamFailure { NotReachable = 1, TimedOut, HungUp, Cancelled, Tls, NotTrusted, Malformed };
inline StreamFailure streamFailure(const Error& error) { return static_cast<StreamFailure>(error.code); }

class SecureStream {
public:
    SecureStream();
    ~SecureStream();  // closes
    SecureStream(const SecureStream&) = delete;
    SecureStream& operator=(const SecureStream&) = delete;

    // Tries each address of the host in turn, for `longest` seconds all together, and as long for the name before.
    Result<void> connect(const std::string& host, int port, TimeInterval longest);
    // TLS 1.2 or later; the chain must lead to the system's authorities, or to those in the PEM file, and the
    // certificate must name the host. What was read before is not touched: see that nothing is waiting.
    Result<void> startTls(const std::string& host, const std::string& authorities, TimeInterval longest);
    // From now on both directions are raw deflate streams (RFC 1951). `unread` are bytes that were read too far.
    Result<void> startDeflate(std::string_view unread);

    // How long the other side may be silent while something is waited for.
    void setSilence(TimeInterval seconds);
    // All reading and writing from now on must end by then; 0: no such end.
    void setDeadline(TimeInterval seconds);

    // At least one byte, at most `size`. The end of the stream is HungUp.
    Result<std::size_t> read(char* buffer, std::size_t size);
    // As read(), but 0 when nothing is there: what became readable may have been TLS's own.
    Result<std::size_t> readAvailable(char* buffer, std::size_t size);
    Result<void> write(std::string_view bytes);

    enum class Wait { Readable, Woken, Quiet };
    // Until something can be read, or wake() is called, or was since the last wait; Quiet after so many seconds.
    Result<Wait> waitForInput(TimeInterval seconds);

    void cancel();  // for good
    void wake();
    void close();

private:
    struct Held;
    const std::unique_ptr<Held> held_;
};

}  // namespace qs
