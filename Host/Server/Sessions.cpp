#include "Sessions.h"

#include <openssl/crypto.h>

#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"
#include "Text/Digests.h"

namespace qs {

namespace {

constexpr std::size_t kSecretBytes = 32;
constexpr std::size_t kMostTickets = 100, kMostSessions = 100;

std::string newSecret() {
    std::string text = hexadecimal(randomDataWithBytes(kSecretBytes));
    DDLog::maskSecret(text);
    return text;
}

bool sameSecret(std::string_view a, std::string_view b) {
    return a.size() == b.size() && CRYPTO_memcmp(a.data(), b.data(), a.size()) == 0;
}

}  // namespace

// Cookies don't tell ports apart: the name does, so that two hosts on one machine leave each other's alone.
std::string Sessions::cookieName(int port) { return "quillstead-" + std::to_string(port); }

std::string Sessions::newTicket() {
    const Date now = RunLoop::main().now();
    std::erase_if(tickets_, [now](const auto& ticket) { return now - ticket.second > kTicketLife; });
    if (tickets_.size() >= kMostTickets) tickets_.clear();
    const std::string ticket = newSecret();
    tickets_[ticket] = now;
    return ticket;
}

std::optional<Sessions::Session> Sessions::redeem(std::string_view ticket) {
    const auto found = tickets_.find(std::string(ticket));
    if (found == tickets_.end()) return std::nullopt;
    const TimeInterval age = RunLoop::main().now() - found->second;
    tickets_.erase(found);
    if (age > kTicketLife || age < 0) return std::nullopt;
    if (tokens_.size() >= kMostSessions) tokens_.clear();
    Session session{newSecret(), newSecret()};
    tokens_[session.cookie] = session.token;
    return session;
}

bool Sessions::isKnown(const HttpServerRequest& request, std::string_view token) const {
    const auto found = tokens_.find(request.cookie(cookieName(port_)));
    return found != tokens_.end() && !token.empty() && sameSecret(found->second, token);
}

}  // namespace qs
