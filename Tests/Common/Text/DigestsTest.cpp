#include "Text/Digests.h"

#include <gtest/gtest.h>

namespace qs {
namespace {

TEST(Digests, AreThoseOfThePublishedExamples) {
    EXPECT_EQ(MD5(""), "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(MD5("message digest"), "f96b697d7cb7938d525a2f31aaf161d0");
    EXPECT_EQ(hexadecimal(MD5Digest("abc")), MD5HexDigest("abc"));
    EXPECT_EQ(sha1_digest("abc"), "a9993e364706816aba3e25717850c26c9cd0d89d");
    EXPECT_EQ(SHA256HexDigest("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(hexadecimal(SHA256Digest("abc")), SHA256HexDigest("abc"));
}

TEST(Digests, OfAnAddressDoNotDependOnItsBlanks) {
    EXPECT_EQ(MD5Email("  ada@x.example \n"), MD5("ada@x.example"));
    EXPECT_EQ(MD5Email(" Ada  Lovelace\t<ada@x.example> "), MD5("Ada Lovelace <ada@x.example>"));
    EXPECT_NE(MD5Email("Ada Lovelace"), MD5("AdaLovelace"));
}

TEST(Digests, WithAKey) {
    const struct {
        std::string text, key, digest;
    } cases[] = {
        // The second example of RFC 2202, section 3.
        {"what do ya want for nothing?", "Jefe", "effcdf6ae5eb2fa2d27416d5f184df9c259a7c79"},
        {"", "", "fbdb1d1b18aa6c08324b7d64b71fb76370690e1d"},
        {"what do ya want for nothing?", std::string("Jefe\0ignored", 12), "effcdf6ae5eb2fa2d27416d5f184df9c259a7c79"},
        {"text", "schl\xC3\xBCssel", ""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(hexadecimal(HMACSHA1DigestOfString(c.text, c.key)), c.digest) << c.key;
}

TEST(Digests, RandomBytesDiffer) {
    EXPECT_EQ(randomDataWithBytes(0), "");
    const std::string one = randomDataWithBytes(32), other = randomDataWithBytes(32);
    EXPECT_EQ(one.size(), 32u);
    EXPECT_NE(one, other);
}

}  // namespace
}  // namespace qs
