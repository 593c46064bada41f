#include "Text/ProofKey.h"

#include "Foundation/Log.h"
#include "Text/Base64.h"
#include "Text/Digests.h"

namespace qs {

namespace {

constexpr std::size_t kRandomBytes = 32;

std::string base64Url(std::string_view bytes) {
    std::string text = base64EncodedString(bytes);
    while (text.ends_with('='))
        text.pop_back();
    for (char& c : text)
        c = c == '+' ? '-' : c == '/' ? '_' : c;
    return text;
}

}  // namespace

std::string randomWord() {
    std::string word = base64Url(randomDataWithBytes(kRandomBytes));
    DDLog::maskSecret(word);
    return word;
}

std::string codeChallenge(std::string_view verifier) { return base64Url(SHA256Digest(verifier)); }

}  // namespace qs
