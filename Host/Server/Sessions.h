// Who may talk to the host: a page that was opened by a start link. The link's ticket is single-use and lives 60 s; it
// buys a cookie and a token, and every later request needs both (other ports of this machine share the cookie). Main
// thread.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "Foundation/Date.h"
#include "HttpServer/HttpTypes.h"

namespace qs {

class Sessions {
public:
    static constexpr TimeInterval kTicketLife = 60.0;

    std::string newTicket();
    struct Session {
        std::string cookie, token;
    };
    // Nothing for a ticket that is unknown, used or too old.
    std::optional<Session> redeem(std::string_view ticket);
    // Cookie and token belong to one session. The token is taken from its header, or from a WebSocket's subprotocol.
    bool isKnown(const HttpServerRequest& request, std::string_view token) const;

    static std::string cookieName(int port);
    explicit Sessions(int port) : port_(port) {}

private:
    int port_;
    std::map<std::string, Date> tickets_;                     // ticket -> made
    std::map<std::string, std::string, std::less<>> tokens_;  // cookie -> token
};

}  // namespace qs
