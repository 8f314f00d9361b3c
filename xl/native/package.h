#pragma once
// The zip package of a workbook. Parts are read from the source archive when first asked for;
// parts written since opening are held in memory. Saving copies every unchanged part's compressed
// bytes from the source archive (no recompression) and adds the changed ones. Only this module
// touches the zip.

#include <zip.h>

#include <cstdint>
#include <ctime>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "util/result.h"

namespace sheaflow::xl::native {

// The namespaces and relationship types of a Strict Open XML part given in their transitional
// form (`to_transitional`), or the other way round. Only attribute values that begin with one of
// them change, so that a cell's text that happens to hold one stays as it is.
std::string translate_strict(std::string_view xml, bool to_transitional);

// Largest inflated size of one part; beyond it a part counts as a zip bomb.
inline constexpr std::uint64_t kMaxPartSize = std::uint64_t{1} << 30;

struct ZipDiscard {
    void operator()(zip_t* z) const {
        if (z) zip_discard(z);
    }
};
using ZipArchive = std::unique_ptr<zip_t, ZipDiscard>;

class Package {
public:
    // Opens a zip file. `display` names the file in messages.
    static Result<std::unique_ptr<Package>> open_file(const std::string& path);
    // Opens a zip held in memory (tests and the fuzzer).
    static Result<std::unique_ptr<Package>> open_memory(std::string bytes);
    // An empty package for a new workbook.
    static std::unique_ptr<Package> create();

    Package(const Package&) = delete;
    Package& operator=(const Package&) = delete;
    ~Package();

    // Part names are zip entry names ("xl/workbook.xml"); lookups ignore ASCII case as OPC does.
    bool has(std::string_view name) const;
    // The stored name of a part, with its case as in the archive.
    std::optional<std::string> find(std::string_view name) const;
    std::vector<std::string> part_names() const;  // in archive order, new parts last
    // Current content of a part: written content, else the inflated source entry.
    Result<std::string> read(std::string_view name) const;
    // At most `max_bytes` from the start of a part (for peeking at a large part's head).
    Result<std::string> read_prefix(std::string_view name, std::size_t max_bytes) const;
    // Declared inflated size of a part (written size for a changed part).
    std::uint64_t size(std::string_view name) const;
    // Replaces a part's content, or adds a part.
    void write(std::string_view name, std::string content);
    void remove(std::string_view name);
    bool changed(std::string_view name) const;
    bool any_changed() const;
    // Names of the parts written, added or removed since opening.
    std::vector<std::string> changed_parts() const;
    // A part's content as opened, before any write or removal.
    Result<std::string> read_original(std::string_view name) const;

    // Writes the package to `path` through a temporary file; the target is replaced only when
    // the new file is complete.
    Result<void> save(const std::string& path) const;
    // The same, with the finished zip bytes turned into the file's bytes by `seal` (the
    // encryption of a password-protected workbook).
    using Seal = std::function<Result<std::string>(std::string)>;
    Result<void> save(const std::string& path, const Seal& seal) const;

    // A Strict Open XML package: its XML parts are read with the transitional namespaces and
    // relationship types in place of the strict ones (the vocabulary the engine knows), and the
    // parts written back go out strict again. Parts not written are copied as they are.
    void set_strict(bool strict) { strict_ = strict; }
    bool strict() const { return strict_; }

private:
    Package() = default;
    struct Entry {
        std::string name;
        std::int64_t source_index = -1;   // -1 for a part added since opening
        std::optional<std::string> data;  // set when written since opening
        bool removed = false;
        std::uint64_t source_size = 0;
        std::time_t mtime = 0;
    };
    Result<void> load_directory();
    const Entry* entry(std::string_view name) const;
    Entry* entry(std::string_view name);
    const Entry* any_entry(std::string_view name) const;  // removed ones too
    // A part's content as the archive holds it (strict parts read transitional).
    Result<std::string> read_source(const Entry& e) const;
    Result<std::string> inflate(const Entry& e, std::uint64_t limit) const;
    Error broken(const std::string& detail) const;

    bool strict_ = false;
    std::string source_bytes_;  // the archive when opened from memory
    ZipArchive zip_;
    std::vector<Entry> entries_;
    std::unordered_map<std::string, std::size_t> index_;  // lower-cased name -> entries_
};

}  // namespace sheaflow::xl::native
