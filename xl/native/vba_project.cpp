#include "xl/native/vba_project.h"

#include <unicode/ucnv.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <optional>
#include <random>
#include <set>

#include "util/text.h"
#include "xl/native/vba_compression.h"

namespace sheaflow::xl::native::vba {
namespace {

// dir stream record ids.
enum : std::uint16_t {
    kProjectVersion = 0x0009,
    kProjectCodePage = 0x0003,
    kProjectModules = 0x000F,
    kProjectCookie = 0x0013,
    kDirTerminator = 0x0010,
    kModuleName = 0x0019,
    kModuleNameUnicode = 0x0047,
    kModuleStreamName = 0x001A,
    kModuleStreamNameUnicode = 0x0032,
    kModuleDocString = 0x001C,
    kModuleDocStringUnicode = 0x0048,
    kModuleOffset = 0x0031,
    kModuleHelpContext = 0x001E,
    kModuleCookie = 0x002C,
    kModuleProcedural = 0x0021,
    kModuleNonProcedural = 0x0022,
    kModuleReadOnly = 0x0025,
    kModulePrivate = 0x0028,
    kModuleTerminator = 0x002B,
};

// Records of the information and reference sections that the reader knows.
const std::set<std::uint16_t> kHeadIds = {
    0x0001, 0x004A, 0x0002, 0x0014, 0x0003, 0x0004, 0x0005, 0x0040, 0x0006, 0x003D,
    0x0007, 0x0008, 0x0009, 0x000C, 0x003C,                                  // information
    0x0016, 0x003E, 0x0033, 0x002F, 0x0030, 0x000D, 0x000E,                  // references
};
const std::set<std::uint16_t> kModuleIds = {
    kModuleName,      kModuleNameUnicode,      kModuleStreamName, kModuleStreamNameUnicode,
    kModuleDocString, kModuleDocStringUnicode, kModuleOffset,     kModuleHelpContext,
    kModuleCookie,    kModuleProcedural,       kModuleNonProcedural, kModuleReadOnly,
    kModulePrivate,   kModuleTerminator,
};

const char* const kModuleKeys[] = {"Document", "Module", "Class", "BaseClass", "Package"};

std::uint32_t u32(std::string_view s, std::size_t at) {
    std::uint32_t v = 0;
    for (int i = 3; i >= 0; --i) v = v << 8 | static_cast<unsigned char>(s[at + i]);
    return v;
}
void put16(std::string& out, unsigned v) {
    out.push_back(static_cast<char>(v & 0xFF));
    out.push_back(static_cast<char>((v >> 8) & 0xFF));
}
void put32(std::string& out, std::uint32_t v) {
    put16(out, v & 0xFFFF);
    put16(out, v >> 16);
}
void put_record(std::string& out, const Record& r) {
    put16(out, r.id);
    if (r.id == kProjectVersion) {
        put32(out, 4);  // the size field says 4 although 6 bytes follow
    } else {
        put32(out, static_cast<std::uint32_t>(r.data.size()));
    }
    out += r.data;
}

std::string utf16le(std::string_view utf8) {
    icu::UnicodeString u = icu::UnicodeString::fromUTF8(
        icu::StringPiece(utf8.data(), static_cast<std::int32_t>(utf8.size())));
    std::string out;
    for (std::int32_t i = 0; i < u.length(); ++i) put16(out, u.charAt(i));
    return out;
}
std::string from_utf16le(std::string_view bytes) {
    icu::UnicodeString u;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2)
        u.append(static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) |
                                       static_cast<unsigned char>(bytes[i + 1]) << 8));
    std::string out;
    u.toUTF8String(out);
    return out;
}

char ascii_lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }
bool same_name(std::string_view a, std::string_view b) {
    return a.size() == b.size() &&
           std::equal(a.begin(), a.end(), b.begin(),
                      [](char x, char y) { return ascii_lower(x) == ascii_lower(y); });
}
bool starts_with_ci(std::string_view s, std::string_view prefix) {
    return s.size() >= prefix.size() && same_name(s.substr(0, prefix.size()), prefix);
}

// The value of "Key=value" when the line has that key.
std::optional<std::string_view> value_of(std::string_view line, std::string_view key) {
    if (line.size() <= key.size() || line[key.size()] != '=' ||
        !same_name(line.substr(0, key.size()), key))
        return std::nullopt;
    return line.substr(key.size() + 1);
}

// The module name of a PROJECT line ("Document=Sheet1/&H00000000" -> Sheet1) and its key.
std::optional<std::pair<std::string, std::string_view>> module_line(std::string_view line) {
    for (const char* key : kModuleKeys) {
        auto v = value_of(line, key);
        if (!v) continue;
        std::string_view name = *v;
        if (std::string_view(key) == "Document") name = name.substr(0, name.find('/'));
        return std::pair<std::string, std::string_view>(std::string(name), key);
    }
    return std::nullopt;
}

int hex_digit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return -1;
}

// Reverses the light obfuscation of the CMG, DPB and GC values; nullopt for a value that does
// not follow the format.
std::optional<std::string> unveil(std::string_view quoted) {
    if (quoted.size() < 2 || quoted.front() != '"' || quoted.back() != '"') return std::nullopt;
    std::string_view hex = quoted.substr(1, quoted.size() - 2);
    if (hex.size() % 2) return std::nullopt;
    std::string b;
    for (std::size_t i = 0; i < hex.size(); i += 2) {
        int hi = hex_digit(hex[i]), lo = hex_digit(hex[i + 1]);
        if (hi < 0 || lo < 0) return std::nullopt;
        b.push_back(static_cast<char>(hi * 16 + lo));
    }
    if (b.size() < 7) return std::nullopt;
    auto at = [&](std::size_t i) { return static_cast<unsigned char>(b[i]); };
    unsigned seed = at(0);
    if ((seed ^ at(1)) != 2) return std::nullopt;  // version
    unsigned key = seed ^ at(2);
    unsigned enc1 = at(2), enc2 = at(1), plain1 = key;
    std::size_t pos = 3;
    auto next = [&]() -> std::optional<unsigned> {
        if (pos >= b.size()) return std::nullopt;
        unsigned e = at(pos++);
        unsigned p = e ^ ((enc2 + plain1) & 0xFF);
        enc2 = enc1;
        enc1 = e;
        plain1 = p;
        return p;
    };
    for (unsigned i = 0; i < (seed & 6) / 2; ++i)
        if (!next()) return std::nullopt;
    std::uint32_t length = 0;
    for (int i = 0; i < 4; ++i) {
        auto p = next();
        if (!p) return std::nullopt;
        length |= *p << (8 * i);
    }
    if (length > b.size()) return std::nullopt;
    std::string data;
    for (std::uint32_t i = 0; i < length; ++i) {
        auto p = next();
        if (!p) return std::nullopt;
        data.push_back(static_cast<char>(*p));
    }
    return data;
}

// The light obfuscation of the CMG, DPB and GC values, the inverse of `unveil`. `key` is the
// sum of the bytes of the project's ID line value; `seed` any byte.
std::string veil(std::string_view data, unsigned key, unsigned seed) {
    std::string b;
    b.push_back(static_cast<char>(seed));
    b.push_back(static_cast<char>(seed ^ 2));
    b.push_back(static_cast<char>(seed ^ key));
    unsigned enc1 = (seed ^ key) & 0xFF, enc2 = (seed ^ 2) & 0xFF, plain1 = key & 0xFF;
    auto put = [&](unsigned p) {
        unsigned e = (p ^ ((enc2 + plain1) & 0xFF)) & 0xFF;
        b.push_back(static_cast<char>(e));
        enc2 = enc1;
        enc1 = e;
        plain1 = p & 0xFF;
    };
    for (unsigned i = 0; i < (seed & 6) / 2; ++i) put(0);
    const auto length = static_cast<std::uint32_t>(data.size());
    for (int i = 0; i < 4; ++i) put(length >> (8 * i) & 0xFF);
    for (char c : data) put(static_cast<unsigned char>(c));
    static const char* const kHex = "0123456789ABCDEF";
    std::string out = "\"";
    for (char c : b) {
        out.push_back(kHex[static_cast<unsigned char>(c) >> 4]);
        out.push_back(kHex[static_cast<unsigned char>(c) & 15]);
    }
    return out + "\"";
}

Record record(std::uint16_t id, std::string data) { return {id, std::move(data)}; }
std::string u16_bytes(unsigned v) {
    std::string out;
    put16(out, v);
    return out;
}
std::string u32_bytes(std::uint32_t v) {
    std::string out;
    put32(out, v);
    return out;
}

// A registered type library reference: its name (MBCS and UTF-16) and its LibidReference.
void add_reference(std::vector<Record>& head, const std::string& name, const std::string& libid) {
    head.push_back(record(0x0016, name));
    head.push_back(record(0x003E, utf16le(name)));
    head.push_back(record(0x000D, u32_bytes(static_cast<std::uint32_t>(libid.size())) + libid +
                                      u32_bytes(0) + u16_bytes(0)));
}

// The references of a dir stream's head, as [begin, end) runs of records, each with its name.
// A reference starts at its name record; the name record just after a control reference's
// first record is that control's extended name and stays inside it.
struct ReferenceRun {
    std::size_t begin, end;
    std::string name;
};
std::vector<ReferenceRun> reference_runs(const std::vector<Record>& head) {
    std::vector<ReferenceRun> runs;
    for (std::size_t i = 0; i < head.size(); ++i) {
        if (head[i].id != 0x0016 || (i > 0 && head[i - 1].id == 0x002F)) continue;
        if (!runs.empty()) runs.back().end = i;
        runs.push_back({i, head.size(), head[i].data});
    }
    return runs;
}

Error refused(const std::string& why, const std::string& display) {
    return Error::make(Error::Code::Unsupported,
                       "マクロ（VBA プロジェクト）を扱えません（" + why + "）。", display);
}

bool is_signature(std::string_view name) {
    return starts_with_ci(name, "\x05" "DigitalSignature");
}

}  // namespace

std::vector<std::string> split_lines(std::string_view text) {
    std::vector<std::string> lines;
    std::size_t start = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\r' && text[i] != '\n') continue;
        lines.emplace_back(text.substr(start, i - start));
        if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') ++i;
        start = i + 1;
    }
    if (start < text.size()) lines.emplace_back(text.substr(start));
    return lines;
}

std::string module_name_problem(const std::string& name) {
    if (name.empty()) return "名前が空です。";
    if (text::length(name) > 31) return "名前が31文字を超えています。";
    std::u32string u = text::to_u32(name);
    auto letter = [](char32_t c) {
        return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c >= 0x80;
    };
    if (!letter(u[0])) return "名前は文字で始めてください。";
    for (char32_t c : u)
        if (!letter(c) && !(c >= '0' && c <= '9') && c != '_')
            return "名前に使えない文字があります。";
    return "";
}

std::string Project::decode(std::string_view bytes) const {
    if (code_page_ == 65001) return std::string(bytes);
    std::string out;
    if (code_page_ == 932 && text::from_cp932(bytes, out)) return out;
    std::string cp = code_page_ == 932 ? "windows-31j" : "windows-" + std::to_string(code_page_);
    icu::UnicodeString u(bytes.data(), static_cast<std::int32_t>(bytes.size()), cp.c_str());
    out.clear();
    u.toUTF8String(out);
    return out;
}

std::string Project::encode(std::string_view utf8) const {
    if (code_page_ == 65001) return std::string(utf8);
    if (code_page_ == 932) return text::to_cp932(utf8, '?');
    // Characters the code page cannot hold become "?", as the editor writes them.
    UErrorCode status = U_ZERO_ERROR;
    std::string cp = "windows-" + std::to_string(code_page_);
    UConverter* cnv = ucnv_open(cp.c_str(), &status);
    if (U_FAILURE(status)) return std::string(utf8);
    ucnv_setSubstChars(cnv, "?", 1, &status);
    icu::UnicodeString u = icu::UnicodeString::fromUTF8(
        icu::StringPiece(utf8.data(), static_cast<std::int32_t>(utf8.size())));
    std::string out(static_cast<std::size_t>(u.length()) * 4 + 4, '\0');
    status = U_ZERO_ERROR;
    std::int32_t n = u.extract(out.data(), static_cast<std::int32_t>(out.size()), cnv, status);
    ucnv_close(cnv);
    out.resize(U_SUCCESS(status) ? static_cast<std::size_t>(n) : 0);
    return out;
}

std::string Project::source_bytes(const Module& m) const {
    if (!m.changed) return m.original;
    std::string text;
    for (const auto* part : {&m.attributes, &m.code})
        for (const std::string& line : *part) text += line + m.eol;
    return encode(text);
}

Result<Project> Project::parse(std::string_view bin, const std::string& display) {
    auto root = cfb::read(bin, display);
    if (!root) return root.error();
    Project p;
    p.root_ = std::move(*root);
    const cfb::Node* vba = p.root_.child("VBA");
    const cfb::Node* dir = p.root_.at("VBA/dir");
    const cfb::Node* project = p.root_.child("PROJECT");
    if (!vba || !vba->storage || !dir || dir->storage || !project || project->storage ||
        !p.root_.at("VBA/_VBA_PROJECT"))
        return refused("必要なストリームがありません", display);
    auto plain = decompress(dir->data);
    if (!plain) return refused("dir ストリーム: " + plain.error().message, display);
    std::string_view d = *plain;

    // The records in order; the version record's size field does not count its data.
    std::vector<Record> records;
    for (std::size_t pos = 0; pos < d.size();) {
        if (pos + 6 > d.size()) return refused("dir ストリームの終わりが欠けています", display);
        Record r;
        r.id = static_cast<std::uint16_t>(static_cast<unsigned char>(d[pos]) |
                                          static_cast<unsigned char>(d[pos + 1]) << 8);
        std::size_t size = r.id == kProjectVersion ? 6 : u32(d, pos + 2);
        pos += 6;
        if (size > d.size() - pos) return refused("dir ストリームのレコードが欠けています", display);
        r.data.assign(d.substr(pos, size));
        pos += size;
        records.push_back(std::move(r));
        if (records.back().id == kDirTerminator) {
            if (pos != d.size()) return refused("dir ストリームの後に余分なデータがあります", display);
            break;
        }
    }
    std::size_t i = 0;
    for (; i < records.size() && records[i].id != kProjectModules; ++i) {
        if (!kHeadIds.count(records[i].id))
            return refused("未知のレコード " + std::to_string(records[i].id), display);
        if (records[i].id == kProjectCodePage && records[i].data.size() == 2)
            p.code_page_ = static_cast<unsigned char>(records[i].data[0]) |
                           static_cast<unsigned char>(records[i].data[1]) << 8;
        p.head_.push_back(records[i]);
    }
    if (i + 1 >= records.size() || records[i].data.size() != 2 ||
        records[i + 1].id != kProjectCookie || records[i + 1].data.size() != 2)
        return refused("モジュールの一覧がありません", display);
    unsigned count = static_cast<unsigned char>(records[i].data[0]) |
                     static_cast<unsigned char>(records[i].data[1]) << 8;
    p.cookie_ = static_cast<std::uint16_t>(static_cast<unsigned char>(records[i + 1].data[0]) |
                                           static_cast<unsigned char>(records[i + 1].data[1]) << 8);
    i += 2;
    for (unsigned n = 0; n < count; ++n) {
        Module m;
        bool ended = false, has_offset = false, has_type = false;
        std::uint32_t offset = 0;
        for (; i < records.size() && !ended; ++i) {
            const Record& r = records[i];
            if (!kModuleIds.count(r.id))
                return refused("未知のモジュールレコード " + std::to_string(r.id), display);
            switch (r.id) {
                case kModuleName:
                    if (m.name.empty()) m.name = p.decode(r.data);
                    break;
                case kModuleNameUnicode:
                    if (!r.data.empty()) m.name = from_utf16le(r.data);
                    break;
                case kModuleStreamName:
                    m.stream_name = p.decode(r.data);
                    break;
                case kModuleStreamNameUnicode:
                    if (!r.data.empty()) m.stream_name = from_utf16le(r.data);
                    break;
                case kModuleOffset:
                    if (r.data.size() != 4) return refused("モジュールの位置", display);
                    offset = u32(r.data, 0);
                    has_offset = true;
                    break;
                case kModuleProcedural:
                    m.type = 1;
                    has_type = true;
                    break;
                case kModuleNonProcedural:
                    m.type = 2;
                    has_type = true;
                    break;
                case kModuleTerminator:
                    ended = true;
                    break;
                default:
                    break;
            }
            m.records.push_back(r);
        }
        if (!ended || m.name.empty() || m.stream_name.empty() || !has_offset || !has_type)
            return refused("モジュールのレコードが欠けています", display);
        const cfb::Node* stream = vba->child(m.stream_name);
        if (!stream || stream->storage || offset > stream->data.size())
            return refused("モジュール「" + m.name + "」のストリームがありません", display);
        auto source = decompress(std::string_view(stream->data).substr(offset));
        if (!source) return refused("モジュール「" + m.name + "」: " + source.error().message, display);
        m.original = std::move(*source);
        p.modules_.push_back(std::move(m));
    }
    if (i + 1 != records.size() || records[i].id != kDirTerminator)
        return refused("dir ストリームの終わりが違います", display);

    // PROJECT: the kind of every module and the protection of the project.
    p.project_lines_ = split_lines(project->data);
    bool in_first_section = true;
    for (const std::string& line : p.project_lines_) {
        if (!line.empty() && line[0] == '[') in_first_section = false;
        if (!in_first_section) continue;
        if (auto ml = module_line(line)) {
            if (Module* m = p.find(p.decode(ml->first))) {
                std::string_view key = ml->second;
                m->type = key == "Document" ? 100 : key == "Module" ? 1 : key == "Class" ? 2 : 3;
            }
            continue;
        }
        for (const char* key : {"CMG", "DPB", "GC"}) {
            auto v = value_of(line, key);
            if (!v) continue;
            auto data = unveil(*v);
            if (!data) return refused("保護の情報を読めません", display);
            std::string_view k = key;
            bool locked = (k == "CMG" && data->find_first_not_of('\0') != std::string::npos) ||
                          (k == "DPB" && data->find_first_not_of('\0') != std::string::npos) ||
                          (k == "GC" && data->size() == 1 && (*data)[0] == '\0');
            if (locked) return refused("プロジェクトが保護されています", display);
        }
    }
    for (Module& m : p.modules_) {
        // A form keeps its designer in a storage of the stream's name: carried as it is.
        if (m.type == 3 && !p.root_.child(m.stream_name))
            return refused("フォーム「" + m.name + "」のデザイナーがありません", display);
        if (m.original.find("\r\n") == std::string::npos && m.original.find('\n') != std::string::npos)
            m.eol = "\n";
        std::vector<std::string> lines = split_lines(p.decode(m.original));
        std::size_t k = 0;
        while (k < lines.size() && starts_with_ci(lines[k], "Attribute ")) ++k;
        m.attributes.assign(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(k));
        m.code.assign(lines.begin() + static_cast<std::ptrdiff_t>(k), lines.end());
    }
    return p;
}

Project Project::create(const Project* model) {
    Project p;
    p.root_.name = "Root Entry";
    p.root_.storage = true;
    auto node = [](const char* name, bool storage) {
        cfb::Node n;
        n.name = name;
        n.storage = storage;
        return n;
    };
    cfb::Node vba = node("VBA", true);
    vba.children.push_back(node("_VBA_PROJECT", false));
    vba.children.push_back(node("dir", false));
    p.root_.children.push_back(std::move(vba));
    p.root_.children.push_back(node("PROJECT", false));
    p.root_.children.push_back(node("PROJECTwm", false));
    if (model) {
        p.code_page_ = model->code_page_;
        p.head_ = model->head_;
    } else {
        p.code_page_ = 932;
        auto& h = p.head_;
        h.push_back(record(0x0001, u32_bytes(1)));       // SYSKIND: 32-bit Windows
        h.push_back(record(0x0002, u32_bytes(0x409)));   // LCID
        h.push_back(record(0x0014, u32_bytes(0x409)));   // LCIDINVOKE
        h.push_back(record(kProjectCodePage, u16_bytes(932)));
        h.push_back(record(0x0004, "VBAProject"));
        h.push_back(record(0x0005, ""));
        h.push_back(record(0x0040, ""));
        h.push_back(record(0x0006, ""));
        h.push_back(record(0x003D, ""));
        h.push_back(record(0x0007, u32_bytes(0)));
        h.push_back(record(0x0008, u32_bytes(0)));
        h.push_back(record(kProjectVersion, u32_bytes(1) + u16_bytes(0)));
        h.push_back(record(0x000C, ""));
        h.push_back(record(0x003C, ""));
        add_reference(h, "stdole",
                      "*\\G{00020430-0000-0000-C000-000000000046}#2.0#0#"
                      "C:\\Windows\\System32\\stdole2.tlb#OLE Automation");
        add_reference(h, "Office",
                      "*\\G{2DF8D04C-5BFA-101B-BDE5-00AA0044DE52}#2.0#0#"
                      "C:\\Program Files\\Common Files\\Microsoft Shared\\OFFICE16\\MSO.DLL#"
                      "Microsoft Office 16.0 Object Library");
    }
    // A fresh project id; the protection values say "not protected, visible".
    std::random_device rd;
    static const char* const kHex = "0123456789ABCDEF";
    std::string id = "{";
    for (int i = 0; i < 32; ++i) {
        if (i == 8 || i == 12 || i == 16 || i == 20) id += '-';
        id += kHex[rd() & 15];
    }
    id += "}";
    unsigned key = 0;
    for (char c : id) key += static_cast<unsigned char>(c);
    std::string name = "VBAProject";
    for (const Record& r : p.head_)
        if (r.id == 0x0004 && !r.data.empty() && r.data.find_first_of("\r\n\"") == std::string::npos)
            name = r.data;
    p.project_lines_ = {
        "ID=\"" + id + "\"",
        "Name=\"" + name + "\"",
        "HelpContextID=\"0\"",
        "VersionCompatible32=\"393222000\"",
        "CMG=" + veil(std::string(4, '\0'), key, rd() & 0xFF),
        "DPB=" + veil(std::string(1, '\0'), key, rd() & 0xFF),
        "GC=" + veil(std::string(1, '\xFF'), key, rd() & 0xFF),
        "",
        "[Host Extender Info]",
        "&H00000001={3832D640-CF90-11CF-8E43-00A0C911005A};VBE;&H00000000",
        "",
        "[Workspace]",
    };
    return p;
}

Result<Project::FormFiles> Project::form_files(const Module& m, const std::string& frx_name) const {
    const cfb::Node* designer = root_.child(m.stream_name);
    const cfb::Node* frame = designer ? designer->child("\x03VBFrame") : nullptr;
    if (!designer || !designer->storage || !frame || frame->storage)
        return Error::make(Error::Code::Unsupported,
                           "フォーム「" + m.name + "」の画面定義がないため、エクスポートできません。");
    // The top-level properties of the frame stand in alphabetical order between its Begin line
    // and its End line; the blob's line takes its place among them.
    std::vector<std::string> lines = split_lines(frame->data);
    std::size_t begin = 0;
    while (begin < lines.size() && !starts_with_ci(text::trim(lines[begin]), "Begin ")) ++begin;
    if (begin == lines.size())
        return Error::make(Error::Code::Unsupported,
                           "フォーム「" + m.name + "」の画面定義を読めないため、エクスポートできません。");
    std::string key = "OleObjectBlob";
    std::size_t at = begin + 1;
    while (at < lines.size()) {
        std::string t = text::trim(lines[at]);
        if (same_name(t, "End") || starts_with_ci(t, "Begin ")) break;
        std::string name = text::trim(t.substr(0, t.find('=')));
        if (text::upper(name) > text::upper(key)) break;
        ++at;
    }
    // The file name is written as a Japanese system writes file names in text, in CP932.
    std::string blob = "   " + key + std::string(16 - key.size(), ' ') + "=   \"" +
                       text::to_cp932(frx_name, '?') + "\":0000";
    lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(at), blob);
    FormFiles out;
    for (const std::string& line : lines) out.frm += line + "\r\n";
    out.frm += source_bytes(m);
    cfb::Node storage = *designer;
    storage.name = "Root Entry";
    storage.remove("\x03VBFrame");
    auto bytes = cfb::write(storage);
    if (!bytes) return bytes.error();
    out.frx = std::move(*bytes);
    return out;
}

Module* Project::find(std::string_view name) {
    for (Module& m : modules_)
        if (same_name(m.name, name)) return &m;
    return nullptr;
}

bool Project::signed_project() const {
    return std::any_of(root_.children.begin(), root_.children.end(),
                       [](const cfb::Node& n) { return is_signature(n.name); });
}

std::vector<std::string> Project::reference_names() const {
    std::vector<std::string> names;
    for (const ReferenceRun& r : reference_runs(head_)) names.push_back(r.name);
    return names;
}

void Project::add_references_of(const Project& other) {
    std::vector<std::string> have = reference_names();
    std::vector<Record> added;
    for (const ReferenceRun& r : reference_runs(other.head_)) {
        auto same = [&](const std::string& n) { return same_name(n, r.name); };
        if (std::any_of(have.begin(), have.end(), same)) continue;
        have.push_back(r.name);
        added.insert(added.end(), other.head_.begin() + static_cast<std::ptrdiff_t>(r.begin),
                     other.head_.begin() + static_cast<std::ptrdiff_t>(r.end));
    }
    head_.insert(head_.end(), added.begin(), added.end());
}

Result<Module*> Project::add(int type, const std::string& name, std::vector<std::string> attributes,
                             std::vector<std::string> code) {
    if (type != 1 && type != 2)
        return Error::make(Error::Code::Refused, "標準モジュールとクラスモジュールだけを追加できます。");
    return insert(type, name, std::move(attributes), std::move(code));
}

Result<Module*> Project::add_document(const std::string& name, std::string_view base) {
    std::vector<std::string> attributes = {
        "Attribute VB_Name = \"" + name + "\"",
        "Attribute VB_Base = \"" + std::string(base) + "\"",
        "Attribute VB_GlobalNameSpace = False",
        "Attribute VB_Creatable = False",
        "Attribute VB_PredeclaredId = True",
        "Attribute VB_Exposed = True",
        "Attribute VB_TemplateDerived = False",
        "Attribute VB_Customizable = True",
    };
    return insert(100, name, std::move(attributes), {});
}

Result<Module*> Project::insert(int type, const std::string& name,
                                std::vector<std::string> attributes, std::vector<std::string> code) {
    if (std::string why = module_name_problem(name); !why.empty())
        return Error::make(Error::Code::Refused, "モジュール名「" + name + "」: " + why);
    if (decode(encode(name)) != name)
        return Error::make(Error::Code::Refused,
                           "モジュール名「" + name + "」はこのプロジェクトの文字コードで表せません。");
    cfb::Node* vba = root_.child("VBA");
    if (find(name) || (vba && vba->child(name)))
        return Error::make(Error::Code::Refused, "モジュール名「" + name + "」は既に使われています。");
    Module m;
    m.name = name;
    m.stream_name = name;
    m.type = type;
    std::string u32_zero(4, '\0');
    m.records = {{kModuleName, ""},
                 {kModuleNameUnicode, ""},
                 {kModuleStreamName, ""},
                 {kModuleStreamNameUnicode, ""},
                 {kModuleDocString, ""},
                 {kModuleDocStringUnicode, ""},
                 {kModuleOffset, u32_zero},
                 {kModuleHelpContext, u32_zero},
                 {kModuleCookie, std::string("\xFF\xFF", 2)},
                 {type == 1 ? kModuleProcedural : kModuleNonProcedural, ""},
                 {kModuleTerminator, ""}};
    m.attributes = std::move(attributes);
    m.code = std::move(code);
    m.changed = true;
    // Its PROJECT line goes after the other modules' lines.
    std::size_t at = 0;
    for (std::size_t i = 0; i < project_lines_.size(); ++i) {
        if (!project_lines_[i].empty() && project_lines_[i][0] == '[') break;
        if (module_line(project_lines_[i]) || starts_with_ci(project_lines_[i], "ID=")) at = i + 1;
    }
    const std::string key = type == 100 ? "Document=" : type == 1 ? "Module=" : "Class=";
    project_lines_.insert(project_lines_.begin() + static_cast<std::ptrdiff_t>(at),
                          key + encode(name) + (type == 100 ? "/&H00000000" : ""));
    modules_.push_back(std::move(m));
    return &modules_.back();
}

Result<void> Project::remove(std::string_view name, bool document) {
    auto it = std::find_if(modules_.begin(), modules_.end(),
                           [&](const Module& m) { return same_name(m.name, name); });
    if (it == modules_.end())
        return Error::make(Error::Code::NotFound, "モジュール「" + std::string(name) + "」がありません。");
    if (it->type == 100 && !document)
        return Error::make(Error::Code::Refused,
                           "シートと ThisWorkbook のモジュールは削除できません。");
    std::string mbcs = encode(it->name);
    bool in_first_section = true;
    std::erase_if(project_lines_, [&](const std::string& line) {
        if (!line.empty() && line[0] == '[') in_first_section = false;
        if (in_first_section) {
            auto ml = module_line(line);
            return ml && ml->second != "Package" && same_name(ml->first, mbcs);
        }
        return starts_with_ci(line, mbcs + "=");  // its [Workspace] entry
    });
    if (cfb::Node* vba = root_.child("VBA")) vba->remove(it->stream_name);
    if (it->type == 3) root_.remove(it->stream_name);
    modules_.erase(it);
    return {};
}

Result<void> Project::rename(std::string_view old_name, const std::string& new_name) {
    Module* m = find(old_name);
    if (!m)
        return Error::make(Error::Code::NotFound, "モジュール「" + std::string(old_name) + "」がありません。");
    if (m->type == 3 || m->type == 11)
        return Error::make(Error::Code::Refused, "フォームとデザイナーの名前は変更できません。");
    if (std::string why = module_name_problem(new_name); !why.empty())
        return Error::make(Error::Code::Refused, "モジュール名「" + new_name + "」: " + why);
    if (decode(encode(new_name)) != new_name)
        return Error::make(Error::Code::Refused,
                           "モジュール名「" + new_name + "」はこのプロジェクトの文字コードで表せません。");
    cfb::Node* vba = root_.child("VBA");
    Module* other = find(new_name);
    if ((other && other != m) || (vba && !same_name(m->stream_name, new_name) && vba->child(new_name)))
        return Error::make(Error::Code::Refused, "モジュール名「" + new_name + "」は既に使われています。");
    std::string old_mbcs = encode(m->name), new_mbcs = encode(new_name);
    bool in_first_section = true;
    for (std::string& line : project_lines_) {
        if (!line.empty() && line[0] == '[') in_first_section = false;
        if (in_first_section) {
            auto ml = module_line(line);
            if (!ml || ml->second == "Package" || !same_name(ml->first, old_mbcs)) continue;
            std::string key(ml->second);
            std::size_t tail = key.size() + 1 + ml->first.size();
            line = key + "=" + new_mbcs + line.substr(tail);
        } else if (starts_with_ci(line, old_mbcs + "=")) {
            line = new_mbcs + line.substr(old_mbcs.size());
        }
    }
    if (vba)
        if (cfb::Node* s = vba->child(m->stream_name)) s->name = new_name;
    m->stream_name = new_name;
    m->name = new_name;
    for (std::string& a : m->attributes)
        if (starts_with_ci(a, "Attribute VB_Name")) a = "Attribute VB_Name = \"" + new_name + "\"";
    m->changed = true;
    return {};
}

Result<std::string> Project::serialize() const {
    cfb::Node root = root_;
    std::erase_if(root.children, [](const cfb::Node& n) { return is_signature(n.name); });
    cfb::Node* vba = root.child("VBA");
    if (!vba) return Error::failed("VBA ストレージがありません。");
    // Caches go, so that the application compiles the project again from source.
    std::erase_if(vba->children, [](const cfb::Node& n) { return starts_with_ci(n.name, "__SRP_"); });
    vba->stream("_VBA_PROJECT").data = std::string("\xCC\x61\xFF\xFF\x00\x01\x00", 7);

    std::string dir;
    for (const Record& r : head_) put_record(dir, r);
    put_record(dir, {kProjectModules, std::string{static_cast<char>(modules_.size() & 0xFF),
                                                  static_cast<char>(modules_.size() >> 8)}});
    put_record(dir, {kProjectCookie, std::string{static_cast<char>(cookie_ & 0xFF),
                                                 static_cast<char>(cookie_ >> 8)}});
    for (const Module& m : modules_) {
        for (Record r : m.records) {
            switch (r.id) {
                case kModuleName: r.data = encode(m.name); break;
                case kModuleNameUnicode: r.data = utf16le(m.name); break;
                case kModuleStreamName: r.data = encode(m.stream_name); break;
                case kModuleStreamNameUnicode: r.data = utf16le(m.stream_name); break;
                case kModuleOffset: r.data = std::string(4, '\0'); break;
                default: break;
            }
            put_record(dir, r);
        }
        vba->stream(m.stream_name).data = compress(source_bytes(m));
    }
    put_record(dir, {kDirTerminator, ""});
    vba->stream("dir").data = compress(dir);

    std::string project;
    for (const std::string& line : project_lines_) project += line + "\r\n";
    root.stream("PROJECT").data = project;
    if (cfb::Node* wm = root.child("PROJECTwm")) {
        wm->data.clear();
        for (const Module& m : modules_) {
            wm->data += encode(m.name);
            wm->data.push_back('\0');
            wm->data += utf16le(m.name);
            wm->data.append(2, '\0');
        }
        wm->data.append(2, '\0');
    }
    return cfb::write(root);
}

}  // namespace sheaflow::xl::native::vba
