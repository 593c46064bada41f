// One linked outside account, or one that can be linked: its kind, its login, what is set about it, and whether it is
// linked. The work is done by its slave. Main thread.
//
// Changes are told by the keys "linked", "linking" and "linkStateColor". The password lives in the keychain, never in
// the archive.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "Core/QSKeyValueChanges.h"
#include "Foundation/Date.h"
#include "Foundation/Runtime.h"
#include "Foundation/Value.h"
#include "Text/Color.h"

namespace qs {

class QSServiceSlaveProtocol;

class QSService : public HostObject, public QSKeyValueChanges {
public:
    static std::uint64_t utilityTypeForServiceType(std::int32_t type);
    static std::optional<std::string> nameForServiceType(std::int32_t type);
    static std::optional<std::string> identifierForServiceType(std::int32_t type);
    // The name of a picture for models.
    static std::string iconForServiceType(std::int32_t type);
    static bool isDeletableServiceType(std::int32_t type);
    static bool allowsMultipleOfServiceType(std::int32_t type);

    // With a new identifier, unlinked.
    static std::shared_ptr<QSService> initWithServiceType(std::int32_t type);
    // Reads the password from the keychain. An assertion failure when the archive's type is no type.
    static std::shared_ptr<QSService> initWithCoder(const Value& archive);
    Value encoded() const;  // "serviceType", "uniqueIdentifier", "credentials", "login", "linked"

    // Nothing only after decoding an archive that has none: such a service is dropped.
    const std::optional<std::string>& uniqueIdentifier() const { return uniqueIdentifier_; }
    std::int32_t serviceType() const { return serviceType_; }
    const std::optional<std::string>& login() const { return login_; }
    void setLogin(std::optional<std::string> login) { login_ = std::move(login); }
    // Asks the keychain again if that could not be read before.
    const std::optional<std::string>& password() const;
    void setPassword(std::optional<std::string> password);
    Dictionary& credentials() { return credentials_; }
    const Dictionary& credentials() const { return credentials_; }

    bool linked() const { return linked_; }
    bool linking() const { return linking_; }
    // True where control goes to the browser, a sheet or the network, from when on one redirect counts.
    void setLinking(bool linking);
    // Ends the linking either way. When it changes: tells of it, then keeps the password in the keychain, or removes
    // it.
    void markAsLinked(bool linked);
    // Whether a code that a browser brings now belongs to this service: it is linking, for at most 15 minutes, and got
    // none yet.
    bool awaitsRedirect() const;
    // The one code has come.
    void didTakeRedirect() { redirectAwaitedSince_.reset(); }

    // Made when first asked for; an assertion failure when there is no such worker.
    QSServiceSlaveProtocol& slave();
    bool hasSlaveClass() const;

    std::optional<std::string> identifier() const { return identifierForServiceType(serviceType_); }
    std::uint64_t utilityType() const { return utilityTypeForServiceType(serviceType_); }
    std::string utility() const;  // its name
    std::string name() const;     // with the login when there are several of the type
    std::string icon() const { return iconForServiceType(serviceType_); }
    std::string bannerImage() const;
    bool canBeDeleted() const { return isDeletableServiceType(serviceType_); }
    bool showUsername() const;
    std::string keychainIdentifier() const;
    Color linkStateColor() const;
    std::string description() const;

    void savePasswordInKeychain();
    void removePasswordFromKeychain();

protected:
    std::vector<std::string> keyPathsForValuesAffectingValueForKey(std::string_view key) const override;
    std::vector<std::string> derivedKeys() const override { return {"linkStateColor"}; }

private:
    explicit QSService(std::int32_t type);

    std::optional<std::string> uniqueIdentifier_;
    bool linked_ = false, linking_ = false;
    std::int32_t serviceType_;
    std::optional<std::string> login_;
    mutable std::optional<std::string> password_;
    mutable bool passwordIsUnread_ = false;
    Dictionary credentials_;
    std::shared_ptr<QSServiceSlaveProtocol> slave_;
    std::optional<Date> redirectAwaitedSince_;
};

}  // namespace qs
