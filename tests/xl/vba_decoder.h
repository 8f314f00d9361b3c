#pragma once
// An independent reading of a vbaProject.bin for the tests: the compound file through libgsf,
// the dir stream and module source through a decompressor of its own. It shares no code with
// the engine, so that the engine's reading and writing are checked against a second reader.

#include <gsf/gsf-infile-msole.h>
#include <gsf/gsf-infile.h>
#include <gsf/gsf-input-memory.h>
#include <gsf/gsf-utils.h>

#include <map>
#include <optional>
#include <string>

namespace sheaflow::testing {

inline std::optional<std::string> ovba_decompress(const std::string& in) {
    if (in.empty() || in[0] != 1) return std::nullopt;
    std::string out;
    std::size_t p = 1;
    auto byte = [&](std::size_t i) { return static_cast<unsigned>(static_cast<unsigned char>(in[i])); };
    while (p + 2 <= in.size()) {
        unsigned h = byte(p) | byte(p + 1) << 8;
        std::size_t end = std::min(in.size(), p + (h & 0xFFF) + 3);
        p += 2;
        std::size_t start = out.size();
        if (!(h & 0x8000)) {
            out += in.substr(p, 4096);
            p = end;
            continue;
        }
        while (p < end) {
            unsigned flags = byte(p++);
            for (int b = 0; b < 8 && p < end; ++b) {
                if (!(flags >> b & 1)) {
                    out += in[p++];
                    continue;
                }
                unsigned t = byte(p) | byte(p + 1) << 8;
                p += 2;
                std::size_t d = out.size() - start;
                unsigned bits = 4;
                while ((1u << bits) < d) ++bits;
                std::size_t len = (t & (0xFFFFu >> bits)) + 3, off = (t >> (16 - bits)) + 1;
                if (off > d) return std::nullopt;
                for (std::size_t i = 0; i < len; ++i) out += out[out.size() - off];
            }
        }
    }
    return out;
}

// Module stream name -> decompressed source, from the dir stream's stream names and offsets.
inline std::optional<std::map<std::string, std::string>> decode_vba_modules(const std::string& bin) {
    gsf_init();
    GsfInput* mem = gsf_input_memory_new(reinterpret_cast<const guint8*>(bin.data()),
                                         static_cast<gsf_off_t>(bin.size()), FALSE);
    GsfInfile* ole = gsf_infile_msole_new(mem, nullptr);
    g_object_unref(mem);
    if (!ole) return std::nullopt;
    auto stream = [&](const char* a, const char* b) -> std::optional<std::string> {
        GsfInput* in = gsf_infile_child_by_vname(ole, a, b, nullptr);
        if (!in) return std::nullopt;
        std::string data(static_cast<std::size_t>(gsf_input_size(in)), '\0');
        if (!data.empty()) gsf_input_read(in, data.size(), reinterpret_cast<guint8*>(data.data()));
        g_object_unref(in);
        return data;
    };
    std::map<std::string, std::string> modules;
    auto dir_raw = stream("VBA", "dir");
    auto dir = dir_raw ? ovba_decompress(*dir_raw) : std::nullopt;
    bool ok = dir.has_value();
    std::string name;
    for (std::size_t p = 0; ok && p + 6 <= dir->size();) {
        const std::string& d = *dir;
        auto u = [&](std::size_t i) { return static_cast<unsigned>(static_cast<unsigned char>(d[i])); };
        unsigned id = u(p) | u(p + 1) << 8;
        std::size_t size = id == 9 ? 6 : (u(p + 2) | u(p + 3) << 8 | u(p + 4) << 16 | u(p + 5) << 24);
        std::string data = d.substr(p + 6, size);
        p += 6 + size;
        if (id == 0x1A) name = data;
        if (id == 0x31) {
            std::size_t offset = u(p - 4) | u(p - 3) << 8 | u(p - 2) << 16 | u(p - 1) << 24;
            auto raw = stream("VBA", name.c_str());
            auto src = raw && offset <= raw->size() ? ovba_decompress(raw->substr(offset)) : std::nullopt;
            if (!src) ok = false; else modules[name] = *src;
        }
    }
    g_object_unref(ole);
    if (!ok) return std::nullopt;
    return modules;
}

}  // namespace sheaflow::testing
