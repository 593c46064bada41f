// The mail server through which an account sends, with what it takes to sign in there: for who sends a mail past the
// host's own delivery. A picture of the account as it was when this was made.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "Foundation/Result.h"
#include "Foundation/Runtime.h"

namespace qs {

class DeliveryAccount : public HostObject {
public:
    using HostObject::HostObject;  // class "MFDeliveryAccount"

    virtual std::string identifier() const = 0;
    virtual std::string canonicalEmailAddress() const = 0;  // bare; the account's main one
    virtual std::string hostname() const = 0;               // empty: it has no server
    virtual std::string username() const = 0;               // empty: the server asks for none
    // Empty when there is none, and for a server that wants no password but a token. An error when one may be there
    // and can't be had now. Blocks for seconds: not from the main thread.
    virtual Result<std::string> password() const = 0;
    // TLS from the first byte; else the connection begins open, and turns to TLS unless that is allowed below.
    virtual bool usesSSL() const = 0;
    virtual std::optional<int> portNumberObject() const = 0;

    virtual bool allowsOpenConnection() const = 0;                     // to a server on this very machine alone
    virtual std::filesystem::path certificateAuthorities() const = 0;  // a PEM file; empty: the system's
};

class MailAccount;
// Through which the account sends; null for one that was taken away. Main thread.
std::shared_ptr<DeliveryAccount> deliveryAccount(const MailAccount& ofAccount);

}  // namespace qs
