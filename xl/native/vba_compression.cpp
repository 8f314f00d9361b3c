#include "xl/native/vba_compression.h"

#include <cstdint>

namespace sheaflow::xl::native::vba {
namespace {

constexpr std::size_t kChunk = 4096;

// Bits of a copy token that hold the offset, from the position inside the decompressed chunk.
int offset_bits(std::size_t position) {
    int bits = 4;
    while ((std::size_t{1} << bits) < position) ++bits;
    return bits;
}

Error bad(const char* what) {
    return Error::make(Error::Code::BadFormat,
                       std::string("VBA プロジェクトの圧縮データが壊れています（") + what + "）。");
}

}  // namespace

Result<std::string> decompress(std::string_view in, std::size_t max_size) {
    if (in.empty() || static_cast<unsigned char>(in[0]) != 0x01) return bad("署名");
    std::string out;
    std::size_t pos = 1;
    while (pos < in.size()) {
        if (pos + 2 > in.size()) return bad("チャンクの見出し");
        unsigned header = static_cast<unsigned char>(in[pos]) |
                          static_cast<unsigned>(static_cast<unsigned char>(in[pos + 1])) << 8;
        if (((header >> 12) & 7) != 3) return bad("チャンクの署名");
        std::size_t end = pos + (header & 0x0FFF) + 3;
        if (end > in.size()) end = in.size();
        pos += 2;
        const std::size_t chunk_start = out.size();
        if ((header & 0x8000) == 0) {
            // Stored as it is: exactly one chunk of bytes.
            if (end - pos != kChunk) return bad("非圧縮チャンクの長さ");
            out.append(in.substr(pos, kChunk));
            pos = end;
            continue;
        }
        while (pos < end) {
            unsigned flags = static_cast<unsigned char>(in[pos++]);
            for (int bit = 0; bit < 8 && pos < end; ++bit) {
                if ((flags & (1u << bit)) == 0) {
                    out.push_back(in[pos++]);
                } else {
                    if (pos + 2 > end) return bad("コピートークン");
                    unsigned token = static_cast<unsigned char>(in[pos]) |
                                     static_cast<unsigned>(static_cast<unsigned char>(in[pos + 1]))
                                         << 8;
                    pos += 2;
                    std::size_t here = out.size() - chunk_start;
                    int bits = offset_bits(here);
                    unsigned length_mask = 0xFFFFu >> bits;
                    std::size_t length = (token & length_mask) + 3;
                    std::size_t offset = ((token & ~length_mask & 0xFFFFu) >> (16 - bits)) + 1;
                    if (offset > here) return bad("コピートークンの位置");
                    std::size_t from = out.size() - offset;
                    for (std::size_t i = 0; i < length; ++i) out.push_back(out[from + i]);
                }
                if (out.size() - chunk_start > kChunk) return bad("チャンクの長さ");
            }
        }
        if (out.size() > max_size) return bad("大きさ");
    }
    return out;
}

std::string compress(std::string_view data) {
    std::string out(1, '\x01');
    for (std::size_t start = 0; start < data.size(); start += kChunk) {
        std::string_view chunk = data.substr(start, kChunk);
        std::string body;
        std::size_t i = 0;
        while (i < chunk.size()) {
            std::size_t flag_at = body.size();
            body.push_back('\0');
            unsigned flags = 0;
            for (int bit = 0; bit < 8 && i < chunk.size(); ++bit) {
                // The longest earlier match inside the chunk, nearest first on ties.
                int bits = offset_bits(i);
                std::size_t max_len = (0xFFFFu >> bits) + 3;
                std::size_t best_len = 0, best_off = 0;
                for (std::size_t cand = i; cand-- > 0;) {
                    std::size_t len = 0;
                    while (i + len < chunk.size() && len < max_len &&
                           chunk[cand + len] == chunk[i + len])
                        ++len;
                    if (len > best_len) {
                        best_len = len;
                        best_off = i - cand;
                        if (len == max_len) break;
                    }
                }
                if (best_len >= 3) {
                    unsigned token = static_cast<unsigned>((best_off - 1) << (16 - bits)) |
                                     static_cast<unsigned>(best_len - 3);
                    body.push_back(static_cast<char>(token & 0xFF));
                    body.push_back(static_cast<char>(token >> 8));
                    flags |= 1u << bit;
                    i += best_len;
                } else {
                    body.push_back(chunk[i++]);
                }
            }
            body[flag_at] = static_cast<char>(flags);
        }
        unsigned header;
        if (body.size() > kChunk) {
            // Does not shrink: stored as a full chunk (a short last chunk is padded with NULs,
            // which only incompressible data can need).
            body.assign(chunk);
            body.resize(kChunk, '\0');
            header = 0x3000 | (kChunk - 1);
        } else {
            header = 0xB000 | static_cast<unsigned>(body.size() + 2 - 3);
        }
        out.push_back(static_cast<char>(header & 0xFF));
        out.push_back(static_cast<char>(header >> 8));
        out += body;
    }
    return out;
}

}  // namespace sheaflow::xl::native::vba
