// Words that nobody guesses, for sign-ins by a browser: a state, and the proof that who redeems an authorization code
// is who asked for it (RFC 7636). Thread-safe.
#pragma once

#include <string>
#include <string_view>

namespace qs {

// 32 random bytes in base64 for addresses (RFC 4648, section 5), without padding. Masked in the log from now on.
std::string randomWord();
// The challenge to send for a verifier, of the method "S256".
std::string codeChallenge(std::string_view verifier);

}  // namespace qs
