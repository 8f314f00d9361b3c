#include "xl/native/password_hash.h"

#include <openssl/evp.h>
#include <openssl/rand.h>

#include <array>
#include <chrono>

#include "util/text.h"

namespace sheaflow::xl::native {
namespace {

const EVP_MD* digest_of(std::string_view algorithm) {
    if (algorithm == "SHA-512") return EVP_sha512();
    if (algorithm == "SHA-384") return EVP_sha384();
    if (algorithm == "SHA-256") return EVP_sha256();
    if (algorithm == "SHA-1") return EVP_sha1();
    if (algorithm == "MD5") return EVP_md5();
    return nullptr;
}

std::string utf16le(std::string_view utf8) {
    std::string out;
    for (char32_t c : text::to_u32(utf8)) {
        auto put = [&](std::uint16_t u) {
            out.push_back(static_cast<char>(u & 0xFF));
            out.push_back(static_cast<char>(u >> 8));
        };
        if (c >= 0x10000) {
            c -= 0x10000;
            put(static_cast<std::uint16_t>(0xD800 + (c >> 10)));
            put(static_cast<std::uint16_t>(0xDC00 + (c & 0x3FF)));
        } else {
            put(static_cast<std::uint16_t>(c));
        }
    }
    return out;
}

struct DigestContext {
    EVP_MD_CTX* ctx = EVP_MD_CTX_new();
    ~DigestContext() { EVP_MD_CTX_free(ctx); }
};

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

}  // namespace

std::optional<std::string> iterated_hash(std::string_view algorithm, std::string_view password,
                                         std::string_view salt, std::uint32_t spin_count,
                                         bool iterator_first) {
    const EVP_MD* md = digest_of(algorithm);
    if (!md) return std::nullopt;
    DigestContext d;
    std::array<unsigned char, EVP_MAX_MD_SIZE> h{};
    unsigned int len = 0;
    std::string pw = utf16le(password);
    EVP_DigestInit_ex(d.ctx, md, nullptr);
    EVP_DigestUpdate(d.ctx, salt.data(), salt.size());
    EVP_DigestUpdate(d.ctx, pw.data(), pw.size());
    EVP_DigestFinal_ex(d.ctx, h.data(), &len);
    for (std::uint32_t i = 0; i < spin_count; ++i) {
        unsigned char n[4] = {static_cast<unsigned char>(i), static_cast<unsigned char>(i >> 8),
                              static_cast<unsigned char>(i >> 16),
                              static_cast<unsigned char>(i >> 24)};
        EVP_DigestInit_ex(d.ctx, md, nullptr);
        if (iterator_first) EVP_DigestUpdate(d.ctx, n, 4);
        EVP_DigestUpdate(d.ctx, h.data(), len);
        if (!iterator_first) EVP_DigestUpdate(d.ctx, n, 4);
        EVP_DigestFinal_ex(d.ctx, h.data(), &len);
    }
    return std::string(reinterpret_cast<const char*>(h.data()), len);
}

PasswordHash hash_password(std::string_view password, std::string_view algorithm,
                           std::uint32_t spin_count) {
    std::array<unsigned char, 16> salt{};
    if (RAND_bytes(salt.data(), static_cast<int>(salt.size())) != 1) {
        // No entropy source: a salt from the clock still keeps equal passwords apart.
        auto t = static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
        for (std::size_t i = 0; i < salt.size(); ++i) salt[i] = static_cast<unsigned char>(t >> (i % 8 * 8));
    }
    std::string raw(reinterpret_cast<const char*>(salt.data()), salt.size());
    PasswordHash out;
    out.algorithm = std::string(algorithm);
    out.spin_count = spin_count;
    out.salt = base64_encode(raw);
    out.hash = base64_encode(iterated_hash(algorithm, password, raw, spin_count).value_or(""));
    return out;
}

bool verify_password(const PasswordHash& stored, std::string_view password) {
    std::optional<std::string> salt = base64_decode(stored.salt);
    std::optional<std::string> expected = base64_decode(stored.hash);
    if (!salt || !expected || expected->empty()) return false;
    std::optional<std::string> h =
        iterated_hash(stored.algorithm, password, *salt, stored.spin_count);
    return h && *h == *expected;
}

std::string legacy_password_hash(std::string_view password) {
    // The bytes of the password in the ANSI code page, at most 15 of them.
    std::string bytes = text::to_cp932(password).substr(0, 15);
    std::uint16_t hash = 0;
    for (auto it = bytes.rbegin(); it != bytes.rend(); ++it) {
        hash = static_cast<std::uint16_t>(((hash >> 14) & 1) | ((hash << 1) & 0x7FFF));
        hash ^= static_cast<unsigned char>(*it);
    }
    hash = static_cast<std::uint16_t>(((hash >> 14) & 1) | ((hash << 1) & 0x7FFF));
    hash ^= static_cast<std::uint16_t>(bytes.size());
    hash ^= 0xCE4B;
    static const char kHex[] = "0123456789ABCDEF";
    std::string out;
    for (int shift = 12; shift >= 0; shift -= 4) out.push_back(kHex[(hash >> shift) & 0xF]);
    return out;
}

std::string base64_encode(std::string_view bytes) {
    std::string out;
    std::size_t i = 0;
    for (; i + 2 < bytes.size(); i += 3) {
        std::uint32_t v = (static_cast<unsigned char>(bytes[i]) << 16) |
                          (static_cast<unsigned char>(bytes[i + 1]) << 8) |
                          static_cast<unsigned char>(bytes[i + 2]);
        for (int s = 18; s >= 0; s -= 6) out.push_back(kAlphabet[(v >> s) & 63]);
    }
    std::size_t rest = bytes.size() - i;
    if (rest > 0) {
        std::uint32_t v = static_cast<unsigned char>(bytes[i]) << 16;
        if (rest == 2) v |= static_cast<unsigned char>(bytes[i + 1]) << 8;
        out.push_back(kAlphabet[(v >> 18) & 63]);
        out.push_back(kAlphabet[(v >> 12) & 63]);
        out.push_back(rest == 2 ? kAlphabet[(v >> 6) & 63] : '=');
        out.push_back('=');
    }
    return out;
}

std::optional<std::string> base64_decode(std::string_view text) {
    std::string out;
    std::uint32_t acc = 0;
    int bits = 0;
    std::size_t pad = 0;
    for (char c : text) {
        if (c == ' ' || c == '\r' || c == '\n' || c == '\t') continue;
        if (c == '=') {
            ++pad;
            continue;
        }
        if (pad) return std::nullopt;  // data after padding
        const char* p = std::char_traits<char>::find(kAlphabet, 64, c);
        if (!p) return std::nullopt;
        acc = (acc << 6) | static_cast<std::uint32_t>(p - kAlphabet);
        bits += 6;
        if (bits >= 8) {
            bits -= 8;
            out.push_back(static_cast<char>((acc >> bits) & 0xFF));
        }
    }
    if (pad > 2) return std::nullopt;
    return out;
}

}  // namespace sheaflow::xl::native
