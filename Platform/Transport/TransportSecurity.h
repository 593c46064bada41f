// How a connection to a mail server is kept from others.
#pragma once

namespace qs {

enum class TransportSecurity {
    None,
    StartTls,  // begins open, and must turn to TLS before anything else is said
    Tls        // from the first byte
};

}  // namespace qs
