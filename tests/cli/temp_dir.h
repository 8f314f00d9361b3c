#pragma once
// A temporary folder for one test, removed with everything in it.

#include <cstdlib>
#include <filesystem>
#include <string>

namespace sheaflow::testing {

class TempDir {
public:
    TempDir() {
        std::string tmpl = (std::filesystem::temp_directory_path() / "sheaflow-XXXXXX").string();
        char* made = ::mkdtemp(tmpl.data());
        path_ = made != nullptr ? made : tmpl;
    }
    ~TempDir() {
        std::error_code ec;
        std::filesystem::remove_all(path_, ec);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    const std::string& path() const { return path_; }
    std::string file(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

}  // namespace sheaflow::testing
