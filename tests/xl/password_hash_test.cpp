// The protection password hashes against values computed independently (Python's hashlib for
// the iterated SHA-512; the legacy hashes the application writes for well-known passwords).

#include "xl/native/password_hash.h"

#include <gtest/gtest.h>

namespace sheaflow::xl::native {
namespace {

const std::string kSalt = std::string("\x00\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0a\x0b\x0c\x0d\x0e\x0f", 16);

TEST(PasswordHash, IteratedSha512MatchesAnIndependentComputation) {
    auto h = iterated_hash("SHA-512", "秘密pw", kSalt, 100000);
    ASSERT_TRUE(h.has_value());
    EXPECT_EQ(base64_encode(*h),
              "2OOsYOBWa5k8GPX9jGv4SX+TuPKcNaHsw4ZpcVqq5mEItVECLIpWNn+jm4uLfjoSWkJLCmGJuhKr84ijUWNdEg==");
    // The iterator first, as the key derivation of encrypted packages puts it.
    EXPECT_EQ(base64_encode(*iterated_hash("SHA-512", "秘密pw", kSalt, 3, true)),
              "6VuaYr3oUT/Le++wL9m7yZy5KLRlrxPfXld9RH92wi24qmYE68zKP9lS0Ql9y39JplYStyGJT9pg2mPMHIjF0Q==");
    EXPECT_FALSE(iterated_hash("WHIRLPOOL", "x", kSalt, 1).has_value());
}

TEST(PasswordHash, NewHashesVerifyAndDiffer) {
    PasswordHash a = hash_password("abc", "SHA-512", 1000);
    PasswordHash b = hash_password("abc", "SHA-512", 1000);
    EXPECT_NE(a.salt, b.salt);  // salted
    EXPECT_EQ(base64_decode(a.salt)->size(), 16u);
    EXPECT_EQ(base64_decode(a.hash)->size(), 64u);
    EXPECT_TRUE(verify_password(a, "abc"));
    EXPECT_FALSE(verify_password(a, "abd"));
    EXPECT_FALSE(verify_password(a, ""));
    PasswordHash broken = a;
    broken.salt = "not base64!";
    EXPECT_FALSE(verify_password(broken, "abc"));
}

TEST(PasswordHash, LegacyHashes) {
    EXPECT_EQ(legacy_password_hash("password"), "83AF");
    EXPECT_EQ(legacy_password_hash("test"), "CBEB");
}

TEST(PasswordHash, Base64RoundTrip) {
    for (std::string s : {std::string(), std::string("a"), std::string("ab"), std::string("abc"),
                          std::string("\xff\x00\x10", 3)})
        EXPECT_EQ(base64_decode(base64_encode(s)), s);
    EXPECT_EQ(base64_encode("Man"), "TWFu");
    EXPECT_FALSE(base64_decode("TW=u").has_value());
}

}  // namespace
}  // namespace sheaflow::xl::native
