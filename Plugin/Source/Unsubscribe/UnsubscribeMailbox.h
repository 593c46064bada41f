// The mailbox of the backend's operator from which an unsubscription leaves when the message's own account can't send
// it. What it is belongs to a build (see Plugin/CMakeLists.txt); there is none by default.
#pragma once

#include <string>

namespace qs {

struct UnsubscribeMailbox {
    UnsubscribeMailbox();  // the build's
    std::string address, host, login, password;
    std::string port = "465";
    std::string certificateAuthorities;  // a PEM file to trust instead of the system's; empty: the system's

    bool isConfigured() const { return !host.empty() && !login.empty() && !password.empty(); }
};

// The session's own, so that one can be put in its place. Main thread.
UnsubscribeMailbox& unsubscribeMailbox();

}  // namespace qs
