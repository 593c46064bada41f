// What the worker of a service must answer, and who hears how a sign-in ended. Main thread.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "Foundation/Result.h"

namespace qs {

class QSService;
class Window;

class QSServiceSlaveAuthenticationDelegate {
public:
    virtual ~QSServiceSlaveAuthenticationDelegate() = default;
    virtual void didFinishAuthenticationWithError(const std::optional<Error>& error) = 0;  // nothing: it succeeded
};

// The operations that a worker may leave out. Callers ask respondsTo() before each use.
enum class QSSlaveOperation {
    Sync,
    Authenticate,
    AuthenticateWithWindow,
    AuthenticateWithCode,
    Deauthenticate,
    AuthDelegate,
    SetAuthDelegate,
};

// Made for a service by its factory (SlaveClasses.h), owned by that service and gone with it: an answer of a server may
// come later than that.
class QSServiceSlaveProtocol {
public:
    virtual ~QSServiceSlaveProtocol() = default;
    virtual bool respondsTo(QSSlaveOperation operation) const = 0;
    virtual void sync() {}
    virtual void authenticate() {}
    virtual void authenticateWithWindow(const std::shared_ptr<Window>& /*window*/) {}
    virtual void authenticateWithCode(const std::optional<std::string>& /*code*/) {}
    virtual void deauthenticate() {}
    virtual std::shared_ptr<QSServiceSlaveAuthenticationDelegate> authDelegate() const { return nullptr; }
    virtual void setAuthDelegate(std::weak_ptr<QSServiceSlaveAuthenticationDelegate> /*delegate*/) {}
};

}  // namespace qs
