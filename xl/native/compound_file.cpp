#include "xl/native/compound_file.h"

#include <gsf/gsf-infile-msole.h>
#include <gsf/gsf-infile.h>
#include <gsf/gsf-input-memory.h>
#include <gsf/gsf-outfile-msole.h>
#include <gsf/gsf-outfile.h>
#include <gsf/gsf-output-memory.h>
#include <gsf/gsf-utils.h>

#include <algorithm>
#include <memory>
#include <mutex>

namespace sheaflow::xl::native::cfb {
namespace {

struct Unref {
    void operator()(void* p) const {
        if (p) g_object_unref(p);
    }
};
template <typename T>
using Ref = std::unique_ptr<T, Unref>;

void init_gsf() {
    static std::once_flag once;
    std::call_once(once, [] { gsf_init(); });
}

bool same_name(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               auto lo = [](char c) { return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c; };
               return lo(x) == lo(y);
           });
}

struct Reader {
    std::string display;
    std::size_t budget;  // bytes still allowed to be read: stops a file whose streams overlap

    Error broken(const std::string& detail) const {
        return Error::make(Error::Code::BadFormat,
                           "複合ファイルを読み込めません（" + detail + "）。", display);
    }

    Result<void> read_storage(GsfInfile* in, Node& into, int depth) {
        if (depth > 32) return broken("階層が深すぎます");
        int n = gsf_infile_num_children(in);
        for (int i = 0; i < n; ++i) {
            Ref<GsfInput> child(gsf_infile_child_by_index(in, i));
            if (!child) return broken("項目を開けません");
            Node node;
            const char* name = gsf_input_name(child.get());
            node.name = name ? name : "";
            GsfInfile* as_dir = GSF_IS_INFILE(child.get()) ? GSF_INFILE(child.get()) : nullptr;
            if (as_dir && gsf_infile_num_children(as_dir) >= 0) {
                node.storage = true;
                if (GSF_IS_INFILE_MSOLE(child.get()))
                    gsf_infile_msole_get_class_id(GSF_INFILE_MSOLE(child.get()),
                                                  node.clsid.data());
                if (auto r = read_storage(as_dir, node, depth + 1); !r) return r;
            } else {
                gsf_off_t size = gsf_input_size(child.get());
                if (size < 0 || static_cast<std::uint64_t>(size) > budget)
                    return broken("ストリームが大きすぎます");
                budget -= static_cast<std::size_t>(size);
                node.data.resize(static_cast<std::size_t>(size));
                if (size > 0 &&
                    !gsf_input_read(child.get(), size,
                                    reinterpret_cast<guint8*>(node.data.data())))
                    return broken("ストリームを読めません: " + node.name);
            }
            into.children.push_back(std::move(node));
        }
        return {};
    }
};

Result<void> write_children(GsfOutfile* out, const Node& node) {
    for (const Node& c : node.children) {
        Ref<GsfOutput> child(gsf_outfile_new_child(out, c.name.c_str(), c.storage));
        if (!child) return Error::failed("複合ファイルに「" + c.name + "」を書けません。");
        if (c.storage) {
            gsf_outfile_msole_set_class_id(GSF_OUTFILE_MSOLE(child.get()), c.clsid.data());
            if (auto r = write_children(GSF_OUTFILE(child.get()), c); !r) return r;
        } else if (!c.data.empty() &&
                   !gsf_output_write(child.get(), c.data.size(),
                                     reinterpret_cast<const guint8*>(c.data.data()))) {
            return Error::failed("複合ファイルに「" + c.name + "」を書けません。");
        }
        if (!gsf_output_close(child.get()))
            return Error::failed("複合ファイルに「" + c.name + "」を書けません。");
    }
    return {};
}

}  // namespace

Node* Node::child(std::string_view child_name) {
    for (Node& c : children)
        if (same_name(c.name, child_name)) return &c;
    return nullptr;
}

const Node* Node::child(std::string_view child_name) const {
    return const_cast<Node*>(this)->child(child_name);
}

Node* Node::at(std::string_view path) {
    Node* n = this;
    while (n && !path.empty()) {
        std::size_t slash = path.find('/');
        n = n->child(path.substr(0, slash));
        path = slash == std::string_view::npos ? std::string_view() : path.substr(slash + 1);
    }
    return n;
}

const Node* Node::at(std::string_view path) const { return const_cast<Node*>(this)->at(path); }

bool Node::remove(std::string_view child_name) {
    auto it = std::find_if(children.begin(), children.end(),
                           [&](const Node& c) { return same_name(c.name, child_name); });
    if (it == children.end()) return false;
    children.erase(it);
    return true;
}

Node& Node::stream(std::string_view child_name) {
    if (Node* c = child(child_name)) return *c;
    children.push_back(Node{std::string(child_name), false, {}, {}, {}});
    return children.back();
}

bool is_compound_file(std::string_view bytes) {
    static const char kMagic[] = "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1";
    return bytes.size() >= 8 && bytes.substr(0, 8) == std::string_view(kMagic, 8);
}

Result<Node> read(std::string_view bytes, const std::string& display) {
    Reader reader{display, 0};
    if (!is_compound_file(bytes) || bytes.size() < 512) return reader.broken("署名がありません");
    if (bytes.size() > kMaxFileSize) return reader.broken("ファイルが大きすぎます");
    init_gsf();
    reader.budget = std::min(kMaxFileSize, bytes.size() * 4);
    Ref<GsfInput> input(gsf_input_memory_new(reinterpret_cast<const guint8*>(bytes.data()),
                                             static_cast<gsf_off_t>(bytes.size()), FALSE));
    GError* err = nullptr;
    Ref<GsfInfile> ole(gsf_infile_msole_new(input.get(), &err));
    if (!ole) {
        std::string why = err && err->message ? err->message : "不正な構造";
        if (err) g_error_free(err);
        return reader.broken(why);
    }
    Node root;
    root.name = "Root Entry";
    root.storage = true;
    gsf_infile_msole_get_class_id(GSF_INFILE_MSOLE(ole.get()), root.clsid.data());
    if (auto r = reader.read_storage(ole.get(), root, 0); !r) return r.error();
    return root;
}

Result<std::string> write(const Node& root) {
    init_gsf();
    Ref<GsfOutput> mem(gsf_output_memory_new());
    Ref<GsfOutfile> ole(gsf_outfile_msole_new(mem.get()));
    if (!ole) return Error::failed("複合ファイルを作れません。");
    gsf_outfile_msole_set_class_id(GSF_OUTFILE_MSOLE(ole.get()), root.clsid.data());
    if (auto r = write_children(ole.get(), root); !r) return r.error();
    if (!gsf_output_close(GSF_OUTPUT(ole.get()))) return Error::failed("複合ファイルを作れません。");
    const guint8* data = gsf_output_memory_get_bytes(GSF_OUTPUT_MEMORY(mem.get()));
    gsf_off_t size = gsf_output_size(mem.get());
    if (!data || size <= 0) return Error::failed("複合ファイルを作れません。");
    return std::string(reinterpret_cast<const char*>(data), static_cast<std::size_t>(size));
}

namespace {

// UTF-16LE "EncryptedPackage", the stream an encrypted OOXML file keeps in its container.
bool has_encrypted_package_name(std::string_view bytes) {
    static const std::string needle = [] {
        std::string s;
        for (char c : std::string_view("EncryptedPackage")) {
            s += c;
            s += '\0';
        }
        return s;
    }();
    return bytes.find(needle) != std::string_view::npos;
}

// The records of the globals substream, up to their EOF (0x000A): a FILEPASS (0x002F) among them
// means the records after it are encrypted.
bool biff_has_filepass(std::string_view stream) {
    std::size_t at = 0;
    for (int records = 0; at + 4 <= stream.size() && records < 4096; ++records) {
        auto u16 = [&](std::size_t i) {
            return static_cast<unsigned>(static_cast<unsigned char>(stream[i])) |
                   static_cast<unsigned>(static_cast<unsigned char>(stream[i + 1])) << 8;
        };
        const unsigned id = u16(at);
        if (id == 0x002F) return true;
        if (id == 0x000A) return false;
        at += 4 + u16(at + 2);
    }
    return false;
}

}  // namespace

bool encrypted_package(std::string_view bytes) {
    auto root = read(bytes, "");
    if (!root) return has_encrypted_package_name(bytes);
    return root->child("EncryptedPackage") && root->child("EncryptionInfo");
}

bool encrypted_workbook(std::string_view bytes) {
    auto root = read(bytes, "");
    if (!root) return has_encrypted_package_name(bytes);
    if (root->child("EncryptedPackage") && root->child("EncryptionInfo")) return true;
    for (const char* name : {"Workbook", "Book"})
        if (const Node* n = root->child(name); n && !n->storage) return biff_has_filepass(n->data);
    return false;
}

}  // namespace sheaflow::xl::native::cfb
