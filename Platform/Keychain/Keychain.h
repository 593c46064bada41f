// Where passwords and tokens live: the desktop's Secret Service, and a sealed file of our own where no such service
// runs. "There is none", "it is locked" and "the keychain can't be reached" are three answers: only the first may count
// as no credentials.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Foundation/Result.h"

namespace qs {

class FileSystem;

inline constexpr const char* kKeychainErrorDomain = "com.tallowbay.Quillstead.keychain";
enum class KeychainError {
    Missing = 1,      // there is no such item, for certain
    Locked = 2,       // the person has to unlock the keyring first
    Unreachable = 3,  // no answer, or another keyring than the one that was written to
    Damaged = 4,      // it can be read no more
    Failed = 5,       // it did not take the change
};
// Nil for an error of another domain.
std::optional<KeychainError> keychainError(const Error& error);

// An item is found again by the same pair: credentials by service and account, passwords by label and account.
struct KeychainName {
    enum class Kind { Service, Label };
    Kind kind = Kind::Service;
    std::string place;  // the service or the label; any bytes
    std::string account;

    static KeychainName service(std::string service, std::string account) {
        return {Kind::Service, std::move(service), std::move(account)};
    }
    static KeychainName label(std::string label, std::string account) {
        return {Kind::Label, std::move(label), std::move(account)};
    }
    auto operator<=>(const KeychainName&) const = default;
};

// Safe from every thread. A call may wait a few seconds for another program, but never for the person.
class Keychain {
public:
    virtual ~Keychain() = default;
    virtual Result<std::string> read(const KeychainName& name) = 0;
    // Adds the item, or replaces its secret (any bytes). Read back before this answers, so that a success is one.
    virtual Result<void> write(const KeychainName& name, std::string_view secret) = 0;
    // Missing when there was none.
    virtual Result<void> remove(const KeychainName& name) = 0;
    // Asks the person to unlock (or to make) the keyring, which may take minutes: never from the main thread. Answers
    // whether it can be used now.
    virtual bool unlock() = 0;

    // A file sealed with a key that lies in a file beside it, or in `key` where the service manager hands one in; it
    // keeps the secrets out of copies of the mail folder, not from other programs of the same user.
    struct VaultOptions {
        std::filesystem::path folder;  // made when first needed
        std::filesystem::path key;     // empty: "Vault.key" in the folder
        FileSystem* files = nullptr;   // null: the real one
    };
    static std::shared_ptr<Keychain> vault(const VaultOptions& options);
    // The session's Secret Service alone.
    static std::shared_ptr<Keychain> secretService();
    // The Secret Service where one runs, else the vault. Notes in the folder which of them was ever written to, so that
    // a service that is gone reads as out of reach, not as empty.
    static std::shared_ptr<Keychain> standard(const VaultOptions& options);
};

}  // namespace qs
