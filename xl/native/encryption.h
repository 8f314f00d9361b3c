#pragma once
// Password-encrypted packages: an .xlsx/.xlsm held encrypted in a compound file, as the
// application writes it when a password to open is set. Reads the agile (AES with SHA-512 or
// SHA-1...) and the standard (AES-128 with SHA-1) kinds; writes the agile kind with AES-256,
// SHA-512 and 100,000 spins, with its integrity check. Crypto through OpenSSL's libcrypto.

#include <string>
#include <string_view>

#include "util/result.h"
#include "xl/native/compound_file.h"

namespace sheaflow::xl::native::encryption {

// The password the application tries first when none is given: a package encrypted with it
// opens without asking.
inline constexpr std::string_view kDefaultPassword = "VelvetSweatshop";

// Whether the compound file holds an encrypted package.
bool is_encrypted_package(const cfb::Node& root);

// The package (zip bytes) decrypted with `password`. A wrong password is Error::Code::Refused
// with a Japanese message; a damaged or unknown container is BadFormat or Unsupported.
Result<std::string> decrypt(const cfb::Node& root, std::string_view password);

// The compound file (bytes) that holds `package` encrypted with `password`.
Result<std::string> encrypt(std::string_view package, std::string_view password);

}  // namespace sheaflow::xl::native::encryption
