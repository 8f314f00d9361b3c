#pragma once
// Compound files (the OLE2 structured storage of vbaProject.bin and of encrypted packages), read
// into and written from a plain tree of storages and streams. The tree is a value type: callers
// edit it freely and write it back whole. Reading and writing go through libgsf.

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "util/result.h"

namespace sheaflow::xl::native::cfb {

// Largest compound file the reader takes; beyond it the file counts as hostile.
inline constexpr std::size_t kMaxFileSize = std::size_t{256} << 20;

struct Node {
    std::string name;  // UTF-8 ("VBA", "dir", "\x05" "DigitalSignature")
    bool storage = false;
    std::string data;                      // a stream's bytes
    std::array<std::uint8_t, 16> clsid{};  // a storage's class id (all zero when none)
    std::vector<Node> children;            // a storage's entries, in directory order

    // The direct child of that name (compared without regard to ASCII case, as the format
    // does); nullptr when none.
    Node* child(std::string_view child_name);
    const Node* child(std::string_view child_name) const;
    // The node at a '/'-separated path below this one ("VBA/dir"); nullptr when none.
    Node* at(std::string_view path);
    const Node* at(std::string_view path) const;
    // Removes the direct child of that name; false when there was none.
    bool remove(std::string_view child_name);
    // The stream of that name, created empty (after the other children) when missing.
    Node& stream(std::string_view child_name);
};

// Whether the bytes begin with the compound-file signature.
bool is_compound_file(std::string_view bytes);

// Reads a whole compound file; the root storage's name is "Root Entry". `display` names the file
// in messages.
Result<Node> read(std::string_view bytes, const std::string& display);

// Writes the tree as a compound file.
Result<std::string> write(const Node& root);

// Whether a compound file is a password-protected workbook: an OOXML package kept encrypted
// (EncryptionInfo and EncryptedPackage streams) or a binary workbook (.xls) whose globals begin
// with a FILEPASS record (RC4, CryptoAPI and XOR obfuscation alike). A container too damaged to
// read is looked through for the encrypted package's stream name.
bool encrypted_workbook(std::string_view bytes);
// Only the first kind: an encrypted OOXML package (or a damaged container naming its stream).
bool encrypted_package(std::string_view bytes);

}  // namespace sheaflow::xl::native::cfb
