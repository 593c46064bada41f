// A server that takes mail for delivery, as somebody set it up.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "Foundation/Result.h"
#include "Transport/TransportSecurity.h"

namespace qs {

// No secret stands in any file of ours: it comes from `secret`, or from a command (as in `pass show mail`) whose
// output's first line counts. Without a user, no authentication.
struct SubmissionServer {
    std::string host;
    int port = 587;
    TransportSecurity security = TransportSecurity::StartTls;
    std::string user;
    ServerAuthentication authentication = ServerAuthentication::Password;
    std::vector<std::string> passwordCommand;
    std::string certificateAuthorities;  // a PEM file to trust instead of the system's; empty for the system's
    // Goes before the command where it is set: the password or the access token. Asked for each connection, on the
    // thread that sends; may block. Never kept in a file.
    std::function<Result<std::string>()> secret = {};
};

}  // namespace qs
