#include "Accounts/PasswordHasher.h"

#include <sodium.h>

#include <array>
#include <stdexcept>

#include "Text/Digests.h"

namespace qs {

namespace {

class Turn {
public:
    explicit Turn(std::counting_semaphore<>& free) : free_(free) { free_.acquire(); }
    ~Turn() { free_.release(); }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

private:
    std::counting_semaphore<>& free_;
};

}  // namespace

PasswordHasher::PasswordHasher(Cost cost)
    : operations_(cost == Cost::Usual ? crypto_pwhash_OPSLIMIT_INTERACTIVE : crypto_pwhash_OPSLIMIT_MIN),
      memory_(cost == Cost::Usual ? crypto_pwhash_MEMLIMIT_INTERACTIVE : crypto_pwhash_MEMLIMIT_MIN) {
    if (sodium_init() < 0) throw std::runtime_error("The machine has no random numbers.");
    nobody_ = hash(randomDataWithBytes(32));
}

std::string PasswordHasher::hash(const std::string& password) {
    const Turn turn(free_);
    std::array<char, crypto_pwhash_STRBYTES> kept{};
    if (crypto_pwhash_str(kept.data(), password.data(), password.size(), operations_, memory_) != 0)
        throw std::runtime_error("There is not enough memory for a password's digest.");
    return kept.data();
}

bool PasswordHasher::matches(const std::string& kept, const std::string& password) {
    const Turn turn(free_);
    const bool isRight =
        crypto_pwhash_str_verify((kept.empty() ? nobody_ : kept).c_str(), password.data(), password.size()) == 0;
    return isRight && !kept.empty();
}

}  // namespace qs
