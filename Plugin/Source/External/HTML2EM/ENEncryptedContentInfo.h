// Encrypted text in a note, as the note service's own programs make it.
#pragma once

#include <optional>
#include <string>

namespace qs {

struct ENEncryptedContentInfo {
    std::optional<std::string> hint;  // what its owner wrote down to remember the passphrase
    std::string cipher = "RC2";
    int keyLength = 64;      // bits
    std::string cipherText;  // base64
};

}  // namespace qs
