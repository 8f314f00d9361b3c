// Feeds arbitrary bytes to the reader of password-encrypted workbooks: the compound file is read,
// and when it holds an encrypted package the package is decrypted with a password. Every input
// must end in a package or an error, never a crash or a read outside the input; a package that
// decrypts comes back the same through the engine's own encryption.
//
// Spin counts of the agile description are cut to a few hundred before decrypting, so that the
// fuzzer spends its time on the parsing and not on hashing (the reader itself refuses only spin
// counts beyond ten million).

#include <cstddef>
#include <cstdint>
#include <string>

#include "xl/native/compound_file.h"
#include "xl/native/encryption.h"

using namespace sheaflow::xl::native;

namespace {

void cut_spin_counts(std::string& info) {
    const std::string key = "spinCount=\"";
    for (std::size_t at = info.find(key); at != std::string::npos; at = info.find(key, at)) {
        at += key.size();
        std::size_t end = at;
        while (end < info.size() && end - at < 12 && info[end] >= '0' && info[end] <= '9') ++end;
        if (end - at > 3) info.replace(at, end - at, "500");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string bytes(reinterpret_cast<const char*>(data), size);
    if (!cfb::encrypted_package(bytes)) return 0;
    auto root = cfb::read(bytes, "fuzz");
    if (!root || !encryption::is_encrypted_package(*root)) return 0;
    if (cfb::Node* info = root->child("EncryptionInfo")) cut_spin_counts(info->data);
    for (const char* password : {"", "pw", "VelvetSweatshop"}) {
        auto plain = encryption::decrypt(*root, password);
        if (!plain) continue;
        // What decrypts must survive the engine's own encryption and decryption unchanged.
        auto sealed = encryption::encrypt(*plain, password);
        if (!sealed) __builtin_trap();
        auto again = cfb::read(*sealed, "again");
        if (!again) __builtin_trap();
        auto back = encryption::decrypt(*again, password);
        if (!back || *back != *plain) __builtin_trap();
    }
    return 0;
}
