// A server that takes mail for delivery, as somebody set it up.
#pragma once

#include <string>
#include <vector>

#include "Transport/TransportSecurity.h"

namespace qs {

// The password comes from a command (as in `pass show mail`), so that no secret stands in any file of ours; its output's
// first line counts. Without one, no authentication.
struct SubmissionServer {
    std::string host;
    int port = 587;
    TransportSecurity security = TransportSecurity::StartTls;
    std::string user;
    std::vector<std::string> passwordCommand;
    std::string certificateAuthorities;  // a PEM file to trust instead of the system's; empty for the system's
};

}  // namespace qs
