// An account at an IMAP server, as somebody set it up, and the limits within which the server is believed.
#pragma once

#include <cstddef>
#include <string>

#include "Foundation/Date.h"
#include "Transport/TransportSecurity.h"

namespace qs {

struct ImapLimits {
    TimeInterval connectSeconds = 30;      // finding, connecting and the TLS handshake, each
    TimeInterval silenceSeconds = 60;      // without a single byte while an answer is due
    TimeInterval answerSeconds = 600;      // until an answer is complete; of several messages, each
    TimeInterval idleSeconds = 25 * 60;    // after which IDLE is said anew (servers hang up after 30 minutes)
    std::size_t literalBytes = 64u << 20;  // of one response
    std::size_t textBytes = 8u << 20;      // one response without its literals
    std::size_t pieceBytes = 4u << 20;     // larger messages should be fetched in pieces of that size; below the above
};

struct ImapServer {
    std::string host;
    int port = 993;
    TransportSecurity security = TransportSecurity::Tls;
    std::string user;
    std::string certificateAuthorities;  // a PEM file to trust instead of the system's; empty for the system's
    bool compresses = true;              // where the server offers it
    ImapLimits limits;
};

struct ImapSecret {
    enum class Kind { Password, AccessToken };  // a token is sent as XOAUTH2
    Kind kind = Kind::Password;
    std::string text;
};

}  // namespace qs
