#include "Text/Digests.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>

#include <algorithm>
#include <memory>

#include "Foundation/Assertion.h"
#include "Text/StringAdditions.h"

namespace qs {

namespace {

std::string digest(std::string_view bytes, const EVP_MD* kind) {
    std::string result(EVP_MAX_MD_SIZE, '\0');
    unsigned length = 0;
    const int done =
        EVP_Digest(bytes.data(), bytes.size(), reinterpret_cast<unsigned char*>(result.data()), &length, kind, nullptr);
    assertThat(done == 1, "The system lacks a digest.");
    result.resize(length);
    return result;
}

}  // namespace

std::string MD5Digest(std::string_view bytes) { return digest(bytes, EVP_md5()); }
std::string MD5HexDigest(std::string_view bytes) { return hexadecimal(MD5Digest(bytes)); }
std::string SHA256Digest(std::string_view bytes) { return digest(bytes, EVP_sha256()); }
std::string SHA256HexDigest(std::string_view bytes) { return hexadecimal(SHA256Digest(bytes)); }

Result<std::string> SHA256HexDigestOf(const ByteSource& bytes) {
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(), &EVP_MD_CTX_free);
    bool isWell = context && EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr) == 1;
    auto read = forEachPiece(bytes, [&](std::string_view piece) -> Result<void> {
        isWell = isWell && EVP_DigestUpdate(context.get(), piece.data(), piece.size()) == 1;
        return {};
    });
    if (!read) return failed(read);
    unsigned char sum[EVP_MAX_MD_SIZE];
    unsigned length = 0;
    assertThat(isWell && EVP_DigestFinal_ex(context.get(), sum, &length) == 1, "The system lacks a digest.");
    return hexadecimal({reinterpret_cast<const char*>(sum), length});
}

std::string MD5(std::string_view text) { return MD5HexDigest(text); }
std::string MD5Email(std::string_view text) { return MD5HexDigest(stringByRemovingWhitespace(text)); }
std::string sha1_digest(std::string_view text) { return hexadecimal(digest(text, EVP_sha1())); }

std::string HMACSHA1DigestOfString(std::string_view text, std::string_view key) {
    key = key.substr(0, key.find('\0'));
    if (!std::ranges::all_of(key, [](char c) { return static_cast<unsigned char>(c) < 128; })) return {};
    std::string result(EVP_MAX_MD_SIZE, '\0');
    unsigned length = 0;
    // A null pointer would mean "the key of the last call".
    const char* const keyBytes = key.empty() ? "" : key.data();
    const auto* const made =
        HMAC(EVP_sha1(), keyBytes, static_cast<int>(key.size()), reinterpret_cast<const unsigned char*>(text.data()),
             text.size(), reinterpret_cast<unsigned char*>(result.data()), &length);
    assertThat(made != nullptr, "The system lacks a digest.");
    result.resize(length);
    return result;
}

std::string randomDataWithBytes(std::size_t count) {
    std::string bytes(count, '\0');
    const int done = RAND_bytes(reinterpret_cast<unsigned char*>(bytes.data()), static_cast<int>(count));
    assertThat(done == 1, "The system has no random numbers.");
    return bytes;
}

std::string hexadecimal(std::string_view bytes) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
    return text;
}

}  // namespace qs
