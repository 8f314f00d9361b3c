#include "run/target_list.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <set>
#include <utility>

#include "report/record_store.h"
#include "util/file.h"
#include "util/text.h"

namespace sheaflow::run {
namespace {

struct Filter {
    bool any = false;
    std::vector<std::string> extensions;  // upper-cased
};

Filter parse_filter(std::string_view filter) {
    Filter f;
    for (const std::string& raw : text::split(filter, ";")) {
        std::string p = text::trim(raw);
        if (p.empty()) continue;
        std::size_t dot = p.rfind('.');
        std::string ext = dot == std::string::npos ? p : p.substr(dot + 1);
        if (ext == "*")
            f.any = true;
        else
            f.extensions.push_back(text::upper(ext));
    }
    return f;
}

bool matches(const Filter& f, const std::string& name) {
    if (f.any) return true;
    std::size_t dot = name.rfind('.');
    if (dot == std::string::npos) return false;
    const std::string ext = text::upper(std::string_view(name).substr(dot + 1));
    return std::find(f.extensions.begin(), f.extensions.end(), ext) != f.extensions.end();
}

std::string without_trailing_slash(std::string folder) {
    while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
    return folder;
}

// The entry names of a folder in byte order (so that the search is the same on every run);
// empty when the folder cannot be read.
std::vector<std::string> entries(const std::string& folder) {
    std::vector<std::string> names;
    DIR* d = ::opendir(folder.c_str());
    if (d == nullptr) return names;
    while (const dirent* e = ::readdir(d)) {
        std::string n = e->d_name;
        if (n != "." && n != "..") names.push_back(std::move(n));
    }
    ::closedir(d);
    std::sort(names.begin(), names.end());
    return names;
}

void search(const std::string& folder, bool subfolders, const Filter& filter,
            const SearchYield& yield, std::set<std::pair<dev_t, ino_t>>& visited,
            std::vector<TargetFile>& out) {
    struct stat self {};
    if (::stat(folder.c_str(), &self) != 0 || !S_ISDIR(self.st_mode)) return;
    // Bind mounts could still lead back up the tree.
    if (!visited.insert({self.st_dev, self.st_ino}).second) return;
    std::vector<std::string> folders;
    for (const std::string& name : entries(folder)) {
        if (yield) yield();
        if (name.front() == '.') continue;
        const std::string path = file::join(folder, name);
        struct stat link {};
        if (::lstat(path.c_str(), &link) != 0) continue;
        struct stat st = link;
        if (S_ISLNK(link.st_mode) && ::stat(path.c_str(), &st) != 0) continue;  // a broken link
        if (S_ISDIR(st.st_mode)) {
            // A link to a folder is not followed: the files a run touches stay below the
            // target folder, and no link can send the search round in circles.
            if (subfolders && !S_ISLNK(link.st_mode)) folders.push_back(path);
        } else if (S_ISREG(st.st_mode) && !is_office_lock_file(name) && matches(filter, name)) {
            out.push_back(TargetFile{folder, name, true});
        }
    }
    for (const std::string& sub : folders) search(sub, subfolders, filter, yield, visited, out);
}

}  // namespace

bool is_office_lock_file(std::string_view name) {
    if (name.substr(0, 2) == "~$") return true;
    return name.substr(0, 7) == ".~lock." && !name.empty() && name.back() == '#';
}

std::vector<TargetFile> File_Search(const std::string& folder, bool subfolders,
                                    std::string_view filter, const SearchYield& yield) {
    std::vector<TargetFile> out;
    if (folder.empty()) return out;
    std::set<std::pair<dev_t, ino_t>> visited;
    search(without_trailing_slash(folder), subfolders, parse_filter(filter), yield, visited, out);
    return out;
}

TargetList Lst_FileName_Load(const std::string& folder, bool subfolders, const SearchYield& yield) {
    TargetList list;
    if (folder.empty()) return list;
    list.folder_exists = file::is_directory(folder);
    std::vector<TargetFile> found = File_Search(folder, subfolders, kTargetFilter, yield);

    // Sorted like every list of the program: through the record store, on the upper-cased
    // folder and name, so the files of one subfolder stand together.
    report::RecordStore store;
    for (std::size_t i = 0; i < found.size(); ++i)
        store.add(
            std::vector<std::string>{text::upper(found[i].folder), text::upper(found[i].name)},
            {std::to_string(i)});
    store.sort();
    list.files.reserve(found.size());
    for (std::int32_t i = 0; i <= store.count(); ++i)
        list.files.push_back(std::move(found[std::stoul(store.record(i).field(0))]));
    return list;
}

}  // namespace sheaflow::run
