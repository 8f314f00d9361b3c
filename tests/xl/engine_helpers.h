#pragma once
// Helpers of the engine tests: a temporary folder, the corpus file lists, and packages compared
// by content.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "xl/native/package.h"

namespace sheaflow::testing {

class EngineTempDir {
public:
    EngineTempDir() {
        std::string tmpl = (std::filesystem::temp_directory_path() / "sheaflow-xl-XXXXXX").string();
        char* made = ::mkdtemp(tmpl.data());
        path_ = made != nullptr ? made : tmpl;
    }
    ~EngineTempDir() {
        std::error_code ec;
        std::filesystem::remove_all(path_, ec);
    }
    EngineTempDir(const EngineTempDir&) = delete;
    EngineTempDir& operator=(const EngineTempDir&) = delete;
    const std::string& path() const { return path_; }
    std::string file(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

inline std::string read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

inline void write_file(const std::string& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary);
    out << bytes;
}

// The shared corpus; the environment variable of the same name overrides the built-in path
// (worktrees that do not sit beside the shared folder).
inline std::string corpus(const std::string& rel) {
    const char* env = std::getenv("SHEAFLOW_CORPUS_DIR");
    return std::string(env && *env ? env : SHEAFLOW_CORPUS_DIR) + "/" + rel;
}

// Files of a corpus folder with one of the extensions (lower case, with the dot).
inline std::vector<std::string> corpus_files(const std::string& folder,
                                             const std::vector<std::string>& extensions) {
    std::vector<std::string> out;
    std::error_code ec;
    for (const auto& e : std::filesystem::directory_iterator(corpus(folder), ec)) {
        std::string ext = e.path().extension().string();
        std::transform(ext.begin(), ext.end(), ext.begin(), ::tolower);
        if (std::find(extensions.begin(), extensions.end(), ext) != extensions.end())
            out.push_back(e.path().string());
    }
    std::sort(out.begin(), out.end());
    return out;
}

// The parts of two packages with their content; "" when equal, else the first difference.
inline std::string package_difference(const std::string& a_path, const std::string& b_path) {
    auto a = xl::native::Package::open_file(a_path);
    auto b = xl::native::Package::open_file(b_path);
    if (!a || !b) return "cannot open";
    auto names_a = (*a)->part_names(), names_b = (*b)->part_names();
    std::sort(names_a.begin(), names_a.end());
    std::sort(names_b.begin(), names_b.end());
    if (names_a != names_b) return "part lists differ";
    for (const std::string& n : names_a) {
        auto x = (*a)->read(n), y = (*b)->read(n);
        if (!x || !y) return "cannot read " + n;
        if (*x != *y) return "part " + n + " differs";
    }
    return {};
}

}  // namespace sheaflow::testing
