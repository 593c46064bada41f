#include "Support/TestSocket.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/bio.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>

#include "Support/TestIdentity.h"

namespace qs {

struct TestConnection::Tls {
    std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context{SSL_CTX_new(TLS_server_method()), &SSL_CTX_free};
    std::unique_ptr<SSL, decltype(&SSL_free)> session{nullptr, &SSL_free};
};

TestConnection::TestConnection(int descriptor) : descriptor_(descriptor) {
    // Writing to a client that was killed is an error, not the end of the test.
    signal(SIGPIPE, SIG_IGN);
    // Or a second line waits until the client's delayed acknowledgement of the first, which is 40 ms for each answer.
    const int on = 1;
    setsockopt(descriptor_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

TestConnection::~TestConnection() {
    tls_.reset();
    close(descriptor_);
}

bool TestConnection::write(std::string_view bytes) {
    while (!bytes.empty()) {
        const auto length = tls_ ? SSL_write(tls_->session.get(), bytes.data(), static_cast<int>(bytes.size()))
                                 : send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (length <= 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(length));
    }
    return true;
}

bool TestConnection::fill() {
    char piece[8192];
    const auto length =
        tls_ ? SSL_read(tls_->session.get(), piece, sizeof piece) : recv(descriptor_, piece, sizeof piece, 0);
    if (length <= 0) return false;
    buffer_.append(piece, static_cast<std::size_t>(length));
    return true;
}

std::optional<std::string> TestConnection::readLine() {
    for (std::size_t searched = 0;;) {
        const std::size_t end = buffer_.find('\n', searched);
        if (end != std::string::npos) {
            std::string line = buffer_.substr(0, end + 1);
            buffer_.erase(0, end + 1);
            return line;
        }
        searched = buffer_.size();
        if (!fill()) return {};
    }
}

bool TestConnection::startTls(const TestIdentity& identity) {
    auto tls = std::make_unique<Tls>();
    const std::unique_ptr<BIO, decltype(&BIO_free)> certificateText(BIO_new_mem_buf(identity.certificate.data(), -1),
                                                                    &BIO_free);
    const std::unique_ptr<BIO, decltype(&BIO_free)> keyText(BIO_new_mem_buf(identity.key.data(), -1), &BIO_free);
    const std::unique_ptr<X509, decltype(&X509_free)> certificate(
        PEM_read_bio_X509(certificateText.get(), nullptr, nullptr, nullptr), &X509_free);
    const std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> key(
        PEM_read_bio_PrivateKey(keyText.get(), nullptr, nullptr, nullptr), &EVP_PKEY_free);
    SSL_CTX_use_certificate(tls->context.get(), certificate.get());
    SSL_CTX_use_PrivateKey(tls->context.get(), key.get());
    if (identity.speaksOldTlsOnly) {
        SSL_CTX_set_security_level(tls->context.get(), 0);
        SSL_CTX_set_cipher_list(tls->context.get(), "ALL:@SECLEVEL=0");
        SSL_CTX_set_max_proto_version(tls->context.get(), TLS1_1_VERSION);
    }
    tls->session.reset(SSL_new(tls->context.get()));
    SSL_set_fd(tls->session.get(), descriptor_);
    if (SSL_accept(tls->session.get()) != 1) return false;
    tls_ = std::move(tls);
    return true;
}

std::optional<std::string> TestConnection::read(std::size_t count) {
    while (buffer_.size() < count)
        if (!fill()) return std::nullopt;
    std::string bytes = buffer_.substr(0, count);
    buffer_.erase(0, count);
    return bytes;
}

void TestConnection::waitForHangUp() {
    while (fill())
        buffer_.clear();
}

void TestConnection::hangUp() { shutdown(descriptor_, SHUT_RDWR); }

TestListener::TestListener() : descriptor_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const any = reinterpret_cast<sockaddr*>(&address);
    if (descriptor_ < 0 || bind(descriptor_, any, size) != 0 || listen(descriptor_, 16) != 0 ||
        getsockname(descriptor_, any, &size) != 0)
        throw std::runtime_error("no port on the loopback interface");
    port_ = ntohs(address.sin_port);
}

TestListener::~TestListener() {
    stop();
    close(descriptor_);
}

std::unique_ptr<TestConnection> TestListener::accept() {
    while (!stopped_) {
        const int descriptor = accept4(descriptor_, nullptr, nullptr, SOCK_CLOEXEC);
        if (descriptor >= 0) return std::make_unique<TestConnection>(descriptor);
        if (errno != EINTR && errno != ECONNABORTED) break;
    }
    return nullptr;
}

void TestListener::stop() {
    stopped_ = true;
    shutdown(descriptor_, SHUT_RDWR);
}

}  // namespace qs
