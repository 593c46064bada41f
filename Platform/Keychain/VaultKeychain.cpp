// The vault: one file, sealed with libsodium's secretbox under a random key. Layout: the mark, 24 bytes of nonce, and
// the sealed property list [{kind, place, account, secret}]. The generation before is kept beside it.
#include <sodium.h>

#include <map>
#include <mutex>
#include <stdexcept>

#include "Foundation/FileSystem.h"
#include "Foundation/Log.h"
#include "Foundation/PropertyList.h"
#include "Keychain/Keychain.h"

namespace qs {

namespace {

constexpr std::string_view kMark = "QSVAULT1";
constexpr std::size_t kMostBytes = 16 << 20;

Error errorOf(KeychainError code, std::string description) {
    return {kKeychainErrorDomain, static_cast<int>(code), std::move(description), {}};
}
Error isMissing() { return errorOf(KeychainError::Missing, "The keychain holds no such item."); }

const unsigned char* bytesOf(std::string_view text) {
    const void* plain = text.data();
    return static_cast<const unsigned char*>(plain);
}
unsigned char* bytesOf(std::string& text) {
    void* plain = text.data();
    return static_cast<unsigned char*>(plain);
}
void wipe(std::string& text) {
    sodium_memzero(text.data(), text.size());
    text.clear();
}

using Items = std::map<KeychainName, std::string>;

Value toValue(const Items& items) {
    Array all;
    for (const auto& [name, secret] : items)
        all.emplace_back(Dictionary{{"kind", name.kind == KeychainName::Kind::Service ? "service" : "label"},
                                    {"place", Data{name.place}},
                                    {"account", Data{name.account}},
                                    {"secret", Data{secret}}});
    return all;
}

Items toItems(const Value& value) {
    Items items;
    for (const Value& each : value.array()) {
        const auto kind =
            each["kind"].stringValue() == "service" ? KeychainName::Kind::Service : KeychainName::Kind::Label;
        items[{kind, each["place"].dataValue().bytes, each["account"].dataValue().bytes}] =
            each["secret"].dataValue().bytes;
    }
    return items;
}

class VaultKeychain : public Keychain {
public:
    explicit VaultKeychain(VaultOptions options)
        : options_(std::move(options)),
          files_(options_.files ? *options_.files : FileSystem::real()),
          file_(options_.folder / "Vault"),
          former_(options_.folder / "Vault.former"),
          keyFile_(options_.key.empty() ? options_.folder / "Vault.key" : options_.key) {
        if (sodium_init() < 0) throw std::runtime_error("The machine has no random numbers for the vault.");
    }

    Result<std::string> read(const KeychainName& name) override {
        const std::lock_guard guard(lock_);
        const auto items = load();
        if (!items) return failed(items);
        const auto found = items->find(name);
        if (found == items->end()) return failure(isMissing());
        return found->second;
    }

    Result<void> write(const KeychainName& name, std::string_view secret) override {
        const std::lock_guard guard(lock_);
        auto items = load();
        if (!items) return failed(items);
        (*items)[name] = secret;
        if (auto saved = save(*items); !saved) return saved;
        const auto again = load();
        if (!again) return failed(again);
        const auto found = again->find(name);
        if (found == again->end() || found->second != secret)
            return failure(errorOf(KeychainError::Failed, "The vault did not keep what was written to it."));
        return {};
    }

    Result<void> remove(const KeychainName& name) override {
        const std::lock_guard guard(lock_);
        auto items = load();
        if (!items) return failed(items);
        if (items->erase(name) == 0) return failure(isMissing());
        return save(*items);
    }

    bool unlock() override {
        const std::lock_guard guard(lock_);
        return load().has_value();
    }

private:
    Result<Items> load() {
        if (!files_.exists(file_)) return Items();
        auto items = unseal(file_);
        if (items || !files_.exists(former_)) return items;
        auto former = unseal(former_);
        if (!former) return items;
        logError("The vault " + file_.string() + " is damaged. Its former state is used: " + items.error().description);
        return former;
    }

    Result<Items> unseal(const std::filesystem::path& file) {
        auto key = readKey();
        if (!key) return failed(key);
        const auto sealed = files_.read(file);
        if (!sealed) return failure(errorOf(KeychainError::Unreachable, sealed.error().description));
        constexpr std::size_t head = kMark.size() + crypto_secretbox_NONCEBYTES;
        const auto isDamaged = [&file] {
            return errorOf(KeychainError::Damaged, "The vault " + file.string() +
                                                       " can't be opened: it is damaged, or its key is another one.");
        };
        if (sealed->size() < head + crypto_secretbox_MACBYTES || sealed->size() > kMostBytes ||
            !sealed->starts_with(kMark))
            return failure(isDamaged());
        const std::string_view box = std::string_view(*sealed).substr(head);
        std::string plain(box.size() - crypto_secretbox_MACBYTES, 0);
        const int wrong = crypto_secretbox_open_easy(bytesOf(plain), bytesOf(box), box.size(),
                                                     bytesOf(std::string_view(*sealed).substr(kMark.size())),
                                                     bytesOf(std::string_view(*key)));
        wipe(*key);
        if (wrong) return failure(isDamaged());
        const auto list = parsePropertyList(plain);
        wipe(plain);
        if (!list) return failure(isDamaged());
        return toItems(*list);
    }

    Result<void> save(const Items& items) {
        auto key = readOrMakeKey();
        if (!key) return failed(key);
        std::string plain = xmlPropertyList(toValue(items));
        std::string sealed(kMark);
        std::string nonce(crypto_secretbox_NONCEBYTES, 0);
        randombytes_buf(nonce.data(), nonce.size());
        std::string box(plain.size() + crypto_secretbox_MACBYTES, 0);
        crypto_secretbox_easy(bytesOf(box), bytesOf(std::string_view(plain)), plain.size(),
                              bytesOf(std::string_view(nonce)), bytesOf(std::string_view(*key)));
        wipe(plain);
        wipe(*key);
        sealed += nonce + box;
        if (unseal(file_))  // never a damaged one over a good one
            if (auto kept = files_.replace(former_, files_.read(file_).value_or("")); !kept)
                return failure(errorOf(KeychainError::Failed, kept.error().description));
        if (auto written = files_.replace(file_, sealed); !written)
            return failure(errorOf(KeychainError::Failed, written.error().description));
        return {};
    }

    Result<std::string> readKey() {
        auto key = files_.read(keyFile_);
        if (!key)
            return failure(errorOf(KeychainError::Unreachable, "The vault's key is missing: " + keyFile_.string()));
        if (key->size() != crypto_secretbox_KEYBYTES)
            return failure(errorOf(KeychainError::Damaged, "The vault's key is damaged: " + keyFile_.string()));
        return key;
    }

    // A new key only for a new vault: an old one could not be opened with it.
    Result<std::string> readOrMakeKey() {
        if (files_.exists(keyFile_) || files_.exists(file_)) return readKey();
        std::string key(crypto_secretbox_KEYBYTES, 0);
        crypto_secretbox_keygen(bytesOf(key));
        auto made = files_.makeFolder(keyFile_.parent_path());
        if (made) made = files_.makeFolder(options_.folder);
        if (made) made = files_.replace(keyFile_, key);
        if (!made) return failure(errorOf(KeychainError::Failed, made.error().description));
        return key;
    }

    const VaultOptions options_;
    FileSystem& files_;
    const std::filesystem::path file_, former_, keyFile_;
    std::mutex lock_;
};

}  // namespace

std::shared_ptr<Keychain> Keychain::vault(const VaultOptions& options) {
    return std::make_shared<VaultKeychain>(options);
}

std::optional<KeychainError> keychainError(const Error& error) {
    if (error.domain != kKeychainErrorDomain) return std::nullopt;
    return static_cast<KeychainError>(error.code);
}

}  // namespace qs
