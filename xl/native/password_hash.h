#pragma once
// Password hashes as the application writes them: the salted, iterated hash of the protection
// elements (sheetProtection, workbookProtection: algorithmName, hashValue, saltValue, spinCount)
// and the 16-bit legacy hash of older files ("password", "workbookPassword"). The same iterated
// hash (with the iterator first) is the start of the key derivation of encrypted packages.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace sheaflow::xl::native {

// The spin count the application uses.
inline constexpr std::uint32_t kDefaultSpinCount = 100000;

// A stored hash: the attributes of a protection element, base64 as written.
struct PasswordHash {
    std::string algorithm = "SHA-512";  // "SHA-512", "SHA-384", "SHA-256", "SHA-1", "MD5"
    std::string hash;                   // base64
    std::string salt;                   // base64
    std::uint32_t spin_count = kDefaultSpinCount;
};

// The iterated hash of a password (UTF-8 in, hashed as UTF-16LE after the salt):
// H0 = H(salt + password), then Hn = H(Hn-1 + n) for n = 0..spin_count-1, with n a 32-bit
// little-endian number; `iterator_first` puts n before Hn-1 instead (encrypted packages).
// nullopt for an unknown algorithm name.
std::optional<std::string> iterated_hash(std::string_view algorithm, std::string_view password,
                                         std::string_view salt, std::uint32_t spin_count,
                                         bool iterator_first = false);

// A new hash of the password with 16 random salt bytes, for a protection element.
PasswordHash hash_password(std::string_view password, std::string_view algorithm = "SHA-512",
                           std::uint32_t spin_count = kDefaultSpinCount);
// Whether the password gives the stored hash (false for an algorithm or salt that cannot be read).
bool verify_password(const PasswordHash& stored, std::string_view password);

// The legacy 16-bit hash, as four upper-case hex digits ("CBEB" for "test").
std::string legacy_password_hash(std::string_view password);

// Base64 (standard alphabet, padded); decoding gives nullopt for text that is not base64.
std::string base64_encode(std::string_view bytes);
std::optional<std::string> base64_decode(std::string_view text);

}  // namespace sheaflow::xl::native
