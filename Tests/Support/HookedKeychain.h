// A keychain in front of another one, in which a test can lock, fail or hold up what is asked of it.
#pragma once

#include <functional>
#include <memory>

#include "Keychain/Keychain.h"

namespace qs {

class HookedKeychain : public Keychain {
public:
    using Hook = std::function<Result<void>(const KeychainName&)>;

    explicit HookedKeychain(std::shared_ptr<Keychain> real) : real_(std::move(real)) {}
    // Set while nobody uses the keychain. On the thread of who asks; what they fail with is the answer.
    Hook hasRead, willWrite, willRemove;
    std::function<bool()> unlocking;

    static tl::unexpected<Error> refusal(KeychainError error) {
        return failure(kKeychainErrorDomain, static_cast<int>(error), "The keychain says no.");
    }

    Result<std::string> read(const KeychainName& name) override {
        auto secret = real_->read(name);
        if (hasRead)
            if (const auto may = hasRead(name); !may) return failed(may);
        return secret;
    }
    Result<void> write(const KeychainName& name, std::string_view secret) override {
        if (willWrite)
            if (auto may = willWrite(name); !may) return may;
        return real_->write(name, secret);
    }
    Result<void> remove(const KeychainName& name) override {
        if (willRemove)
            if (auto may = willRemove(name); !may) return may;
        return real_->remove(name);
    }
    bool unlock() override { return unlocking ? unlocking() : real_->unlock(); }

private:
    const std::shared_ptr<Keychain> real_;
};

}  // namespace qs
