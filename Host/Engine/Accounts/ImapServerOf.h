// The incoming server of an account as the IMAP client wants it.
#pragma once

#include "AccountRecord.h"
#include "Imap/ImapServer.h"
#include "Reachability/NetworkState.h"

namespace qs {

inline ImapServer imapServerOf(const IncomingServer& incoming) {
    ImapServer server;
    server.host = incoming.host;
    server.port = incoming.port;
    server.security = incoming.security;
    server.user = incoming.user;
    server.certificateAuthorities = incoming.certificateAuthorities;
    server.compresses = !isOwnHost(incoming.host);  // no line is faster than none
    return server;
}

}  // namespace qs
