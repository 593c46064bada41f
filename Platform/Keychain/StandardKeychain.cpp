// The Secret Service before the vault. A mark in the folder and a canary item in the keyring tell an empty keyring from
// one that is gone or that is not the one written to.
#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"
#include "Keychain/Keychain.h"

namespace qs {

namespace {

class StandardKeychain : public Keychain {
public:
    explicit StandardKeychain(const VaultOptions& options)
        : folder_(options.folder),
          files_(options.files ? *options.files : FileSystem::real()),
          mark_(options.folder / "Keyring in use"),
          service_(Keychain::secretService()),
          vault_(Keychain::vault(options)) {}

    Result<std::string> read(const KeychainName& name) override {
        auto found = service_->read(name);
        if (found) return found;
        // Written while no service ran; it stays there until it is written again.
        if (auto sealed = vault_->read(name); sealed || keychainError(sealed.error()) != KeychainError::Missing)
            return sealed;
        return failure(certain(found.error()));
    }

    Result<void> write(const KeychainName& name, std::string_view secret) override {
        if (auto kept = noteUse(); !kept) {
            if (keychainError(kept.error()) == KeychainError::Unreachable && !files_.exists(mark_))
                return vault_->write(name, secret);
            return kept;
        }
        auto written = service_->write(name, secret);
        if (!written) return written;
        if (auto old = vault_->remove(name); !old && keychainError(old.error()) != KeychainError::Missing)
            logWarning("An older secret stays in the vault: " + old.error().description);
        return {};
    }

    Result<void> remove(const KeychainName& name) override {
        const auto sealed = vault_->remove(name);
        auto removed = service_->remove(name);
        if (removed || !sealed) return removed ? removed : Result<void>(failure(certain(removed.error())));
        const auto code = keychainError(removed.error());
        if (code == KeychainError::Missing || !files_.exists(mark_)) return {};
        return removed;
    }

    bool unlock() override { return service_->unlock() || (!files_.exists(mark_) && vault_->unlock()); }

private:
    static KeychainName canary() { return KeychainName::service("Quillstead", "canary"); }

    // "Missing" only when it is known that we look into the right keyring.
    Error certain(Error error) {
        const bool wasUsed = files_.exists(mark_);
        const auto code = keychainError(error);
        if (!wasUsed && code == KeychainError::Unreachable)
            return {
                kKeychainErrorDomain, static_cast<int>(KeychainError::Missing), "The keychain holds no such item.", {}};
        if (!wasUsed || code != KeychainError::Missing) return error;
        const auto there = service_->read(canary());
        if (there) return error;
        if (keychainError(there.error()) != KeychainError::Missing) return there.error();
        return {kKeychainErrorDomain,
                static_cast<int>(KeychainError::Unreachable),
                "This is not the keyring that the passwords were put into.",
                {}};
    }

    // Before the first secret goes into the keyring. The canary comes first: without it the mark would accuse a
    // keyring.
    Result<void> noteUse() {
        const bool wasUsed = files_.exists(mark_);
        const auto there = service_->read(canary());
        if (there) return wasUsed ? Result<void>() : makeMark();
        if (keychainError(there.error()) != KeychainError::Missing) return failed(there);
        if (auto put = service_->write(canary(), "sings"); !put) return put;
        return makeMark();
    }
    Result<void> makeMark() {
        auto made = files_.makeFolder(folder_);
        return made ? files_.replace(mark_, "The passwords are in the desktop's keyring.\n") : made;
    }

    const std::filesystem::path folder_;
    FileSystem& files_;
    const std::filesystem::path mark_;
    const std::shared_ptr<Keychain> service_, vault_;
};

}  // namespace

std::shared_ptr<Keychain> Keychain::standard(const VaultOptions& options) {
    return std::make_shared<StandardKeychain>(options);
}

}  // namespace qs
