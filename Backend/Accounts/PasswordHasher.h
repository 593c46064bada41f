// Passwords as salted, memory-hard digests (Argon2id, by libsodium). Blocking, a tenth of a second or so; from every
// thread, and only a few at a time, since each takes the memory that makes guessing expensive.
#pragma once

#include <semaphore>
#include <string>

namespace qs {

class PasswordHasher {
public:
    enum class Cost {
        Usual,
        Least  // for tests and measurements
    };
    explicit PasswordHasher(Cost cost = Cost::Usual);

    // The text to keep. Throws std::runtime_error when there is not enough memory.
    std::string hash(const std::string& password);
    // An empty `kept` takes as long as any other and answers false: how long a refusal takes then says nothing about
    // whether there is an account.
    bool matches(const std::string& kept, const std::string& password);

private:
    unsigned long long operations_;
    std::size_t memory_;  // bytes
    std::counting_semaphore<> free_{2};
    std::string nobody_;  // a digest that no password has
};

}  // namespace qs
