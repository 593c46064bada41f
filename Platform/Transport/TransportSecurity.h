// How a connection to a mail server is kept from others, and how we sign in there.
#pragma once

namespace qs {

enum class TransportSecurity {
    None,
    StartTls,  // begins open, and must turn to TLS before anything else is said
    Tls        // from the first byte
};

enum class ServerAuthentication {
    Password,
    XOAuth2  // an access token of OAuth 2 in place of the password
};

}  // namespace qs
