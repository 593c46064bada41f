// Digests and random bytes. Digests of a text are those of its UTF-8 bytes. Thread-safe.
//
// MD5 and SHA-1 are here because outside formats ask for them (picture services, signatures of requests); nothing of
// ours relies on them for safety.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "Foundation/ByteSource.h"

namespace qs {

std::string MD5Digest(std::string_view bytes);     // 16 bytes
std::string MD5HexDigest(std::string_view bytes);  // 32 lowercase hexadecimal characters
std::string SHA256Digest(std::string_view bytes);  // 32 bytes
std::string SHA256HexDigest(std::string_view bytes);
Result<std::string> SHA256HexDigestOf(const ByteSource& bytes);

std::string MD5(std::string_view text);          // as MD5HexDigest
std::string MD5Email(std::string_view text);     // of stringByRemovingWhitespace(text)
std::string sha1_digest(std::string_view text);  // 40 lowercase hexadecimal characters

// 20 bytes. The key is ASCII and ends at a zero byte, if it has one; empty for a key that isn't ASCII.
std::string HMACSHA1DigestOfString(std::string_view text, std::string_view key);

// From the system's source for secrets.
std::string randomDataWithBytes(std::size_t count);

std::string hexadecimal(std::string_view bytes);  // lowercase

}  // namespace qs
