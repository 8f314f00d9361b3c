#include "xl/native/encryption.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <pugixml.hpp>

#include "util/text.h"
#include "xl/native/password_hash.h"

namespace sheaflow::xl::native::encryption {
namespace {

using Bytes = std::string;

constexpr std::size_t kSegment = 4096;
constexpr std::uint32_t kWriteSpins = 100000;
// Spin counts beyond this are refused: a hostile file could otherwise keep a run busy for hours.
constexpr std::uint32_t kMostSpins = 10'000'000;

// Block keys of the agile scheme.
const Bytes kVerifierInputKey("\xfe\xa7\xd2\x76\x3b\x4b\x9e\x79", 8);
const Bytes kVerifierHashKey("\xd7\xaa\x0f\x6d\x30\x61\x34\x4e", 8);
const Bytes kKeyValueKey("\x14\x6e\x0b\xe7\xab\xac\xd0\xd6", 8);
const Bytes kHmacKeyKey("\x5f\xb2\xad\x01\x0c\xb9\xe1\xf6", 8);
const Bytes kHmacValueKey("\xa0\x67\x7f\x02\xb2\x2c\x84\x33", 8);

Error damaged(const std::string& what) {
    return Error::make(Error::Code::BadFormat,
                       "暗号化されたブックが壊れています（" + what + "）。");
}
Error wrong_password() { return Error::make(Error::Code::Refused, "パスワードが違います。"); }

Bytes le32(std::uint32_t v) {
    Bytes b(4, '\0');
    for (int i = 0; i < 4; ++i) b[static_cast<std::size_t>(i)] = static_cast<char>(v >> (8 * i));
    return b;
}
std::uint32_t read_le32(std::string_view b, std::size_t at) {
    std::uint32_t v = 0;
    for (int i = 3; i >= 0; --i)
        v = (v << 8) | static_cast<unsigned char>(b[at + static_cast<std::size_t>(i)]);
    return v;
}

Bytes utf16le(std::string_view utf8) {
    Bytes out;
    for (char32_t c : text::to_u32(utf8)) {
        auto put = [&](std::uint32_t u) {
            out += static_cast<char>(u & 0xFF);
            out += static_cast<char>(u >> 8);
        };
        if (c >= 0x10000) {
            put(0xD800 + ((c - 0x10000) >> 10));
            put(0xDC00 + ((c - 0x10000) & 0x3FF));
        } else {
            put(c);
        }
    }
    return out;
}

// The agile description names hashes "SHA512"; the protection hash "SHA-512".
std::string protection_name(std::string_view name) {
    if (name == "SHA512") return "SHA-512";
    if (name == "SHA384") return "SHA-384";
    if (name == "SHA256") return "SHA-256";
    return "SHA-1";
}

// H(salt + password), then `spins` times H(iterator + previous hash); `algorithm` as the
// protection hashes name it ("SHA-512").
Bytes spun_hash(std::string_view algorithm, std::string_view salt, std::string_view password,
                std::uint32_t spins) {
    return iterated_hash(algorithm, password, salt, spins, /*iterator_first=*/true).value_or("");
}

const EVP_MD* hash_named(std::string_view name) {
    if (name == "SHA512") return EVP_sha512();
    if (name == "SHA384") return EVP_sha384();
    if (name == "SHA256") return EVP_sha256();
    if (name == "SHA1" || name == "SHA-1") return EVP_sha1();
    return nullptr;
}

Bytes digest(const EVP_MD* md, std::string_view a, std::string_view b = {}) {
    unsigned char out[EVP_MAX_MD_SIZE];
    unsigned int n = 0;
    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> ctx(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    EVP_DigestInit_ex(ctx.get(), md, nullptr);
    EVP_DigestUpdate(ctx.get(), a.data(), a.size());
    if (!b.empty()) EVP_DigestUpdate(ctx.get(), b.data(), b.size());
    EVP_DigestFinal_ex(ctx.get(), out, &n);
    return Bytes(reinterpret_cast<char*>(out), n);
}

// `b` cut or padded (with `pad`) to `size` bytes.
Bytes fitted(Bytes b, std::size_t size, char pad) {
    b.resize(size, pad);
    return b;
}

const EVP_CIPHER* aes(std::size_t key_bytes, bool cbc) {
    switch (key_bytes) {
        case 16:
            return cbc ? EVP_aes_128_cbc() : EVP_aes_128_ecb();
        case 24:
            return cbc ? EVP_aes_192_cbc() : EVP_aes_192_ecb();
        case 32:
            return cbc ? EVP_aes_256_cbc() : EVP_aes_256_ecb();
        default:
            return nullptr;
    }
}

// AES without padding over whole blocks; `iv` empty for ECB.
Result<Bytes> aes_run(bool encrypting, std::string_view key, std::string_view iv,
                      std::string_view data) {
    const EVP_CIPHER* cipher = aes(key.size(), !iv.empty());
    if (!cipher || data.size() % 16 != 0) return damaged("暗号の設定");
    std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> ctx(EVP_CIPHER_CTX_new(),
                                                                        EVP_CIPHER_CTX_free);
    const auto* k = reinterpret_cast<const unsigned char*>(key.data());
    const auto* v = iv.empty() ? nullptr : reinterpret_cast<const unsigned char*>(iv.data());
    if (EVP_CipherInit_ex(ctx.get(), cipher, nullptr, k, v, encrypting ? 1 : 0) != 1)
        return damaged("暗号の設定");
    EVP_CIPHER_CTX_set_padding(ctx.get(), 0);
    Bytes out(data.size(), '\0');
    int n = 0;
    if (EVP_CipherUpdate(ctx.get(), reinterpret_cast<unsigned char*>(out.data()), &n,
                         reinterpret_cast<const unsigned char*>(data.data()),
                         static_cast<int>(data.size())) != 1)
        return damaged("復号");
    return out;
}

Bytes random_bytes(std::size_t n) {
    Bytes b(n, '\0');
    RAND_bytes(reinterpret_cast<unsigned char*>(b.data()), static_cast<int>(n));
    return b;
}

// The parameters of one agile <keyData> or <p:encryptedKey> element.
struct Params {
    Bytes salt;
    std::size_t block = 16, key_bytes = 32, hash_size = 64;
    const EVP_MD* md = nullptr;
    std::string hash_name;  // "SHA-512", as the protection hashes name it
    std::uint32_t spins = 0;
};

Result<Params> read_params(pugi::xml_node n) {
    Params p;
    auto salt = base64_decode(n.attribute("saltValue").value());
    p.md = hash_named(n.attribute("hashAlgorithm").value());
    p.hash_name = protection_name(n.attribute("hashAlgorithm").value());
    p.block = n.attribute("blockSize").as_uint(16);
    p.key_bytes = n.attribute("keyBits").as_uint(0) / 8;
    p.hash_size = n.attribute("hashSize").as_uint(0);
    p.spins = n.attribute("spinCount").as_uint(0);
    if (!salt || !p.md || p.block != 16 || !aes(p.key_bytes, true) ||
        p.hash_size != static_cast<std::size_t>(EVP_MD_get_size(p.md)))
        return Error::make(Error::Code::Unsupported,
                           "この暗号化の方式には対応していません（" +
                               std::string(n.attribute("cipherAlgorithm").value()) + " " +
                               n.attribute("hashAlgorithm").value() + "）。");
    if (p.spins > kMostSpins) return damaged("反復回数");
    p.salt = std::move(*salt);
    return p;
}

// The agile key for a block key: H(spun hash + block key), fitted with 0x36 to the key size.
Bytes block_key(const Params& p, const Bytes& spun, const Bytes& key) {
    return fitted(digest(p.md, spun, key), p.key_bytes, '\x36');
}
// An IV: H(salt + block key) fitted with 0x36 to the block size.
Bytes block_iv(const Params& p, const Bytes& key) {
    return fitted(digest(p.md, p.salt, key), p.block, '\x36');
}

Bytes padded(Bytes b, std::size_t block) {
    b.resize((b.size() + block - 1) / block * block, '\0');
    return b;
}

// The segments of the package, each encrypted under its own IV (H(salt + segment number)).
Result<Bytes> agile_package(bool encrypting, const Params& data, const Bytes& key,
                            std::string_view body) {
    Bytes out;
    out.reserve(body.size() + 16);
    for (std::size_t at = 0, i = 0; at < body.size(); at += kSegment, ++i) {
        std::string_view segment = body.substr(at, kSegment);
        Bytes iv = fitted(digest(data.md, data.salt, le32(static_cast<std::uint32_t>(i))),
                          data.block, '\x36');
        auto done = aes_run(encrypting, key, iv, padded(Bytes(segment), data.block));
        if (!done) return done.error();
        out += *done;
    }
    return out;
}

Result<std::string> decrypt_agile(std::string_view xml, std::string_view package,
                                  std::string_view password) {
    pugi::xml_document doc;
    if (!doc.load_buffer(xml.data(), xml.size())) return damaged("EncryptionInfo");
    pugi::xml_node enc = doc.document_element();
    pugi::xml_node key_data = enc.child("keyData");
    pugi::xml_node encrypted_key;
    for (pugi::xml_node k : enc.child("keyEncryptors").children("keyEncryptor"))
        if (std::string_view(k.attribute("uri").value()).ends_with("keyEncryptor/password"))
            encrypted_key = k.first_child();
    if (!key_data || !encrypted_key)
        return Error::make(Error::Code::Unsupported,
                           "証明書で暗号化されたブックには対応していません。");
    auto data = read_params(key_data);
    if (!data) return data.error();
    auto pw = read_params(encrypted_key);
    if (!pw) return pw.error();
    auto input = base64_decode(encrypted_key.attribute("encryptedVerifierHashInput").value());
    auto value = base64_decode(encrypted_key.attribute("encryptedVerifierHashValue").value());
    auto key_value = base64_decode(encrypted_key.attribute("encryptedKeyValue").value());
    if (!input || !value || !key_value) return damaged("EncryptionInfo");

    const Bytes spun = spun_hash(pw->hash_name, pw->salt, password, pw->spins);
    auto plain_input = aes_run(false, block_key(*pw, spun, kVerifierInputKey), pw->salt, *input);
    auto plain_value = aes_run(false, block_key(*pw, spun, kVerifierHashKey), pw->salt, *value);
    if (!plain_input || !plain_value) return damaged("EncryptionInfo");
    Bytes expected = digest(pw->md, plain_input->substr(0, pw->salt.size()));
    if (plain_value->substr(0, expected.size()) != expected) return wrong_password();
    auto key = aes_run(false, block_key(*pw, spun, kKeyValueKey), pw->salt, *key_value);
    if (!key) return key.error();
    key->resize(data->key_bytes);

    if (package.size() < 8) return damaged("EncryptedPackage");
    std::uint64_t size = read_le32(package, 0) | (std::uint64_t{read_le32(package, 4)} << 32);
    std::string_view body = package.substr(8);
    if (size > body.size() || body.size() % data->block != 0) return damaged("EncryptedPackage");
    auto plain = agile_package(false, *data, *key, body);
    if (!plain) return plain.error();
    plain->resize(static_cast<std::size_t>(size));
    return plain;
}

Result<std::string> decrypt_standard(std::string_view info, std::string_view package,
                                     std::string_view password) {
    // Version (4), flags (4), header size (4), header, verifier.
    if (info.size() < 12) return damaged("EncryptionInfo");
    std::uint32_t header_size = read_le32(info, 8);
    if (header_size < 32 || info.size() < 12 + std::size_t{header_size} + 4 + 16 + 16 + 4 + 32)
        return damaged("EncryptionInfo");
    std::string_view header = info.substr(12, header_size);
    std::uint32_t alg = read_le32(header, 8);
    std::uint32_t alg_hash = read_le32(header, 12);
    std::uint32_t key_bits = read_le32(header, 16);
    if ((alg != 0x660E && alg != 0x660F && alg != 0x6610) || (alg_hash != 0x8004 && alg_hash != 0))
        return Error::make(Error::Code::Unsupported,
                           "この暗号化の方式（RC4 など）には対応していません。");
    std::string_view verifier = info.substr(12 + header_size);
    std::uint32_t salt_size = read_le32(verifier, 0);
    if (salt_size != 16) return damaged("EncryptionInfo");
    Bytes salt(verifier.substr(4, 16));
    Bytes enc_verifier(verifier.substr(20, 16));
    Bytes enc_hash(verifier.substr(40, 32));

    const EVP_MD* sha1 = EVP_sha1();
    Bytes h = digest(sha1, spun_hash("SHA-1", salt, password, 50000), le32(0));
    Bytes x1(64, '\x36'), x2(64, '\x5c');
    for (std::size_t i = 0; i < h.size(); ++i) {
        x1[i] = static_cast<char>(x1[i] ^ h[i]);
        x2[i] = static_cast<char>(x2[i] ^ h[i]);
    }
    Bytes key = (digest(sha1, x1) + digest(sha1, x2)).substr(0, key_bits / 8);
    auto v = aes_run(false, key, {}, enc_verifier);
    auto vh = aes_run(false, key, {}, enc_hash);
    if (!v || !vh) return damaged("EncryptionInfo");
    if (digest(sha1, *v) != vh->substr(0, 20)) return wrong_password();

    if (package.size() < 8) return damaged("EncryptedPackage");
    std::uint64_t size = read_le32(package, 0) | (std::uint64_t{read_le32(package, 4)} << 32);
    std::string_view body = package.substr(8);
    body = body.substr(0, body.size() / 16 * 16);
    if (size > body.size()) return damaged("EncryptedPackage");
    auto plain = aes_run(false, key, {}, body);
    if (!plain) return plain.error();
    plain->resize(static_cast<std::size_t>(size));
    return plain;
}

// The \x06DataSpaces storage the application writes beside an encrypted package.
cfb::Node data_spaces() {
    auto unicode = [](std::string_view s) {
        Bytes b = le32(static_cast<std::uint32_t>(s.size() * 2)) + utf16le(s);
        b.resize((b.size() + 3) / 4 * 4, '\0');
        return b;
    };
    cfb::Node root{
        "\x06"
        "DataSpaces",
        true,
        {},
        {},
        {}};
    cfb::Node& version = root.stream("Version");
    version.data = unicode("Microsoft.Container.DataSpaces") + le32(1) + le32(1) + le32(1);
    // One map entry: the EncryptedPackage stream in the StrongEncryptionDataSpace.
    Bytes entry =
        le32(1) + le32(0) + unicode("EncryptedPackage") + unicode("StrongEncryptionDataSpace");
    root.stream("DataSpaceMap").data =
        le32(8) + le32(1) + le32(static_cast<std::uint32_t>(entry.size() + 4)) + entry;
    cfb::Node info{"DataSpaceInfo", true, {}, {}, {}};
    info.stream("StrongEncryptionDataSpace").data =
        le32(8) + le32(1) + unicode("StrongEncryptionTransform");
    root.children.push_back(std::move(info));
    cfb::Node transforms{"TransformInfo", true, {}, {}, {}};
    cfb::Node strong{"StrongEncryptionTransform", true, {}, {}, {}};
    Bytes id = unicode("{FF9A3F03-56EF-4613-BDD5-5A41C1D07246}");
    // Header length (its own field, the type and the id), type 1, id, name, the reader,
    // updater and writer versions 1.0; then an empty encryption name, block size and cipher
    // mode 0, and the reserved 4.
    strong
        .stream(
            "\x06"
            "Primary")
        .data = le32(static_cast<std::uint32_t>(8 + id.size())) + le32(1) + id +
                unicode("Microsoft.Container.EncryptionTransform") + le32(1) + le32(1) + le32(1) +
                le32(0) + le32(0) + le32(0) + le32(4);
    transforms.children.push_back(std::move(strong));
    root.children.push_back(std::move(transforms));
    return root;
}

}  // namespace

bool is_encrypted_package(const cfb::Node& root) {
    return root.child("EncryptionInfo") && root.child("EncryptedPackage");
}

Result<std::string> decrypt(const cfb::Node& root, std::string_view password) {
    const cfb::Node* info = root.child("EncryptionInfo");
    const cfb::Node* package = root.child("EncryptedPackage");
    if (!info || !package || info->storage || package->storage || info->data.size() < 8)
        return damaged("EncryptionInfo");
    std::uint32_t major = static_cast<unsigned char>(info->data[0]) |
                          static_cast<unsigned>(static_cast<unsigned char>(info->data[1])) << 8;
    std::uint32_t minor = static_cast<unsigned char>(info->data[2]) |
                          static_cast<unsigned>(static_cast<unsigned char>(info->data[3])) << 8;
    if (major == 4 && minor == 4)
        return decrypt_agile(std::string_view(info->data).substr(8), package->data, password);
    if ((major == 3 || major == 4) && minor == 2)
        return decrypt_standard(info->data, package->data, password);
    return Error::make(Error::Code::Unsupported, "この暗号化の方式（版 " + std::to_string(major) +
                                                     "." + std::to_string(minor) +
                                                     "）には対応していません。");
}

Result<std::string> encrypt(std::string_view package, std::string_view password) {
    Params data;
    data.md = EVP_sha512();
    data.hash_name = "SHA-512";
    data.salt = random_bytes(16);
    Params pw = data;
    pw.salt = random_bytes(16);
    pw.spins = kWriteSpins;
    const Bytes key = random_bytes(data.key_bytes);

    Bytes stream = le32(static_cast<std::uint32_t>(package.size())) +
                   le32(static_cast<std::uint32_t>(std::uint64_t{package.size()} >> 32));
    auto body = agile_package(true, data, key, package);
    if (!body) return body.error();
    stream += *body;

    const Bytes spun = spun_hash(pw.hash_name, pw.salt, password, pw.spins);
    const Bytes verifier = random_bytes(16);
    auto enc_input = aes_run(true, block_key(pw, spun, kVerifierInputKey), pw.salt, verifier);
    auto enc_value = aes_run(true, block_key(pw, spun, kVerifierHashKey), pw.salt,
                             padded(digest(pw.md, verifier), pw.block));
    auto enc_key = aes_run(true, block_key(pw, spun, kKeyValueKey), pw.salt, key);
    // The integrity check: an HMAC of the whole EncryptedPackage stream under a random key.
    const Bytes hmac_key = random_bytes(data.hash_size);
    unsigned char mac[EVP_MAX_MD_SIZE];
    unsigned int mac_len = 0;
    HMAC(data.md, hmac_key.data(), static_cast<int>(hmac_key.size()),
         reinterpret_cast<const unsigned char*>(stream.data()), stream.size(), mac, &mac_len);
    auto enc_hmac_key = aes_run(true, key, block_iv(data, kHmacKeyKey), hmac_key);
    auto enc_hmac_value = aes_run(true, key, block_iv(data, kHmacValueKey),
                                  Bytes(reinterpret_cast<char*>(mac), mac_len));
    for (auto* r : {&enc_input, &enc_value, &enc_key, &enc_hmac_key, &enc_hmac_value})
        if (!*r) return r->error();

    const std::string common =
        "blockSize=\"16\" keyBits=\"256\" hashSize=\"64\" cipherAlgorithm=\"AES\" "
        "cipherChaining=\"ChainingModeCBC\" hashAlgorithm=\"SHA512\" ";
    std::string xml =
        "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\r\n"
        "<encryption xmlns=\"http://schemas.microsoft.com/office/2006/encryption\" "
        "xmlns:p=\"http://schemas.microsoft.com/office/2006/keyEncryptor/password\" "
        "xmlns:c=\"http://schemas.microsoft.com/office/2006/keyEncryptor/certificate\">"
        "<keyData saltSize=\"16\" " +
        common + "saltValue=\"" + base64_encode(data.salt) +
        "\"/>"
        "<dataIntegrity encryptedHmacKey=\"" +
        base64_encode(*enc_hmac_key) + "\" encryptedHmacValue=\"" + base64_encode(*enc_hmac_value) +
        "\"/>"
        "<keyEncryptors><keyEncryptor "
        "uri=\"http://schemas.microsoft.com/office/2006/keyEncryptor/password\">"
        "<p:encryptedKey spinCount=\"" +
        std::to_string(kWriteSpins) + "\" saltSize=\"16\" " + common + "saltValue=\"" +
        base64_encode(pw.salt) + "\" encryptedVerifierHashInput=\"" + base64_encode(*enc_input) +
        "\" encryptedVerifierHashValue=\"" + base64_encode(*enc_value) + "\" encryptedKeyValue=\"" +
        base64_encode(*enc_key) + "\"/></keyEncryptor></keyEncryptors></encryption>";

    cfb::Node root{"Root Entry", true, {}, {}, {}};
    root.children.push_back(data_spaces());
    // Version 4.4, flags 0x40 (agile).
    root.stream("EncryptionInfo").data = Bytes("\x04\x00\x04\x00\x40\x00\x00\x00", 8) + xml;
    root.stream("EncryptedPackage").data = std::move(stream);
    return cfb::write(root);
}

}  // namespace sheaflow::xl::native::encryption
