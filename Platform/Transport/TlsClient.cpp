#include "Transport/TlsClient.h"

#include <arpa/inet.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <limits>

namespace qs {

namespace {

// OpenSSL's own sockets write in a way that raises SIGPIPE when the other side is gone.
int socketOf(BIO* bio) { return static_cast<int>(reinterpret_cast<std::intptr_t>(BIO_get_data(bio))); }

int transferred(BIO* bio, ssize_t length, int retryFlag) {
    BIO_clear_retry_flags(bio);
    if (length < 0 && (errno == EAGAIN || errno == EINTR)) BIO_set_flags(bio, retryFlag | BIO_FLAGS_SHOULD_RETRY);
    return static_cast<int>(length);
}

int writeQuietly(BIO* bio, const char* bytes, int size) {
    return transferred(bio, ::send(socketOf(bio), bytes, static_cast<std::size_t>(size), MSG_NOSIGNAL),
                       BIO_FLAGS_WRITE);
}

int readQuietly(BIO* bio, char* buffer, int size) {
    return transferred(bio, ::recv(socketOf(bio), buffer, static_cast<std::size_t>(size), 0), BIO_FLAGS_READ);
}

long control(BIO*, int command, long, void*) { return command == BIO_CTRL_FLUSH ? 1 : 0; }

const BIO_METHOD* quietSockets() {
    static const BIO_METHOD* const method = [] {
        BIO_METHOD* made = BIO_meth_new(BIO_get_new_index() | BIO_TYPE_SOURCE_SINK, "quiet socket");
        BIO_meth_set_write(made, &writeQuietly);
        BIO_meth_set_read(made, &readQuietly);
        BIO_meth_set_ctrl(made, &control);
        BIO_meth_set_create(made, [](BIO* bio) {
            BIO_set_init(bio, 1);
            return 1;
        });
        return made;
    }();
    return method;
}

bool isAddress(const std::string& host) {
    in6_addr any{};
    return ::inet_pton(AF_INET, host.c_str(), &any) == 1 || ::inet_pton(AF_INET6, host.c_str(), &any) == 1;
}

// Without it a server of several names shows the wrong certificate.
bool setServerName(SSL* session, const std::string& host) {
    return SSL_ctrl(session, SSL_CTRL_SET_TLSEXT_HOSTNAME, TLSEXT_NAMETYPE_host_name,
                    const_cast<char*>(host.c_str())) == 1;
}

bool demandName(SSL* session, const std::string& host) {
    SSL_set_hostflags(session, X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS);
    if (isAddress(host)) return X509_VERIFY_PARAM_set1_ip_asc(SSL_get0_param(session), host.c_str()) == 1;
    return SSL_set1_host(session, host.c_str()) == 1 && setServerName(session, host);
}

std::string lastReason() {
    const unsigned long code = ERR_peek_last_error();
    const char* text = code ? ERR_reason_error_string(code) : nullptr;
    return text ? text : "it was broken off";
}

int intSize(std::size_t size) { return static_cast<int>(std::min<std::size_t>(size, std::numeric_limits<int>::max())); }

}  // namespace

struct TlsClient::Held {
    std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context{SSL_CTX_new(TLS_client_method()), &SSL_CTX_free};
    std::unique_ptr<SSL, decltype(&SSL_free)> session{nullptr, &SSL_free};
};

TlsClient::TlsClient(std::unique_ptr<Held> held) : held_(std::move(held)) {}
TlsClient::~TlsClient() = default;

Result<std::unique_ptr<TlsClient>> TlsClient::make(int socket, const std::string& host,
                                                   const std::string& authorities) {
    const auto notMade = [](const char* why) { return failure("TlsClient", 1, why); };
    auto held = std::make_unique<Held>();
    SSL_CTX* context = held->context.get();
    if (!context) return notMade("TLS could not be started.");
    SSL_CTX_set_min_proto_version(context, TLS1_2_VERSION);
    SSL_CTX_set_verify(context, SSL_VERIFY_PEER, nullptr);
    SSL_CTX_set_mode(context, SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
    SSL_CTX_set_options(context, SSL_OP_NO_RENEGOTIATION);
    const bool areRead = authorities.empty() ? SSL_CTX_set_default_verify_paths(context) == 1
                                             : SSL_CTX_load_verify_file(context, authorities.c_str()) == 1;
    if (!areRead) return notMade("The file with the certificate authorities can't be read.");
    held->session.reset(SSL_new(context));
    BIO* bio = BIO_new(quietSockets());
    if (!held->session || !bio || !demandName(held->session.get(), host)) {
        BIO_free(bio);
        return notMade("TLS could not be started.");
    }
    BIO_set_data(bio, reinterpret_cast<void*>(static_cast<std::intptr_t>(socket)));
    SSL_set_bio(held->session.get(), bio, bio);
    return std::unique_ptr<TlsClient>(new TlsClient(std::move(held)));
}

TlsClient::Handshake TlsClient::shakeHands(short& events) {
    ERR_clear_error();
    SSL* session = held_->session.get();
    const int result = SSL_connect(session);
    if (result == 1) return Handshake::Done;
    if (outcome(result, events) == kWait) return Handshake::Wait;
    const long verified = SSL_get_verify_result(session);
    const bool isTrusted = verified == X509_V_OK;
    reason_ = isTrusted ? lastReason() : X509_verify_cert_error_string(verified);
    return isTrusted ? Handshake::Failed : Handshake::NotTrusted;
}

ssize_t TlsClient::outcome(int result, short& events) const {
    if (result > 0) return result;
    switch (SSL_get_error(held_->session.get(), result)) {
    case SSL_ERROR_WANT_READ: events = POLLIN; return kWait;
    case SSL_ERROR_WANT_WRITE: events = POLLOUT; return kWait;
    default: return 0;
    }
}

ssize_t TlsClient::read(char* buffer, std::size_t size, short& events) {
    ERR_clear_error();
    return outcome(SSL_read(held_->session.get(), buffer, intSize(size)), events);
}

ssize_t TlsClient::write(std::string_view bytes, short& events) {
    ERR_clear_error();
    return outcome(SSL_write(held_->session.get(), bytes.data(), intSize(bytes.size())), events);
}

bool TlsClient::hasPending() const { return SSL_has_pending(held_->session.get()) == 1; }

}  // namespace qs
