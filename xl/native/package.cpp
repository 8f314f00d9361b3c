#include "xl/native/package.h"

#include <algorithm>

#include "xl/native/safe_file.h"

namespace sheaflow::xl::native {

namespace {

std::string lower_ascii(std::string_view s) {
    std::string out(s);
    for (char& c : out)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
    return out;
}

std::string zip_error_text(zip_t* z) {
    zip_error_t* e = zip_get_error(z);
    return e ? zip_error_strerror(e) : "不明なエラー";
}

struct ZipFileClose {
    void operator()(zip_file_t* f) const {
        if (f) zip_fclose(f);
    }
};
using ZipFile = std::unique_ptr<zip_file_t, ZipFileClose>;

}  // namespace

Package::~Package() {
    zip_.reset();
    // A memory source is owned by the archive once opened; only a failed open leaves it here.
}

Error Package::broken(const std::string& detail) const {
    return Error::make(Error::Code::BadFormat, detail);
}

Result<std::unique_ptr<Package>> Package::open_file(const std::string& path) {
    int err = 0;
    zip_t* z = zip_open(path.c_str(), ZIP_RDONLY, &err);
    if (!z) {
        if (err == ZIP_ER_NOENT)
            return Error::make(Error::Code::NotFound, "ファイルがありません", path);
        if (err == ZIP_ER_OPEN || err == ZIP_ER_READ)
            return Error::make(Error::Code::Io, "ファイルを読み込めません", path);
        return Error::make(Error::Code::BadFormat, "zip 形式として壊れています", path);
    }
    std::unique_ptr<Package> p(new Package());
    p->zip_.reset(z);
    if (auto r = p->load_directory(); !r) return r.error();
    return p;
}

Result<std::unique_ptr<Package>> Package::open_memory(std::string bytes) {
    std::unique_ptr<Package> p(new Package());
    p->source_bytes_ = std::move(bytes);
    zip_error_t error;
    zip_error_init(&error);
    zip_source_t* src =
        zip_source_buffer_create(p->source_bytes_.data(), p->source_bytes_.size(), 0, &error);
    if (!src) {
        zip_error_fini(&error);
        return Error::make(Error::Code::Failed, "メモリが足りません");
    }
    zip_t* z = zip_open_from_source(src, ZIP_RDONLY, &error);
    zip_error_fini(&error);
    if (!z) {
        zip_source_free(src);
        return Error::make(Error::Code::BadFormat, "zip 形式として壊れています");
    }
    p->zip_.reset(z);
    if (auto r = p->load_directory(); !r) return r.error();
    return p;
}

std::unique_ptr<Package> Package::create() { return std::unique_ptr<Package>(new Package()); }

Result<void> Package::load_directory() {
    zip_int64_t n = zip_get_num_entries(zip_.get(), 0);
    if (n < 0) return broken("zip 形式として壊れています");
    entries_.reserve(static_cast<std::size_t>(n));
    for (zip_int64_t i = 0; i < n; ++i) {
        zip_stat_t st;
        zip_stat_init(&st);
        if (zip_stat_index(zip_.get(), static_cast<zip_uint64_t>(i), 0, &st) != 0 || !st.name)
            return broken("zip 形式として壊れています");
        std::string name = st.name;
        if (name.empty() || name.back() == '/') continue;  // folders are not parts
        Entry e;
        e.name = name;
        e.source_index = i;
        e.source_size = (st.valid & ZIP_STAT_SIZE) ? st.size : 0;
        e.mtime = (st.valid & ZIP_STAT_MTIME) ? st.mtime : 0;
        std::string key = lower_ascii(name);
        if (index_.count(key)) continue;  // a duplicate entry name: the first one counts
        index_.emplace(std::move(key), entries_.size());
        entries_.push_back(std::move(e));
    }
    return {};
}

const Package::Entry* Package::entry(std::string_view name) const {
    if (!name.empty() && name.front() == '/') name.remove_prefix(1);
    auto it = index_.find(lower_ascii(name));
    if (it == index_.end()) return nullptr;
    const Entry& e = entries_[it->second];
    return e.removed ? nullptr : &e;
}

Package::Entry* Package::entry(std::string_view name) {
    return const_cast<Entry*>(static_cast<const Package*>(this)->entry(name));
}

bool Package::has(std::string_view name) const { return entry(name) != nullptr; }

std::optional<std::string> Package::find(std::string_view name) const {
    const Entry* e = entry(name);
    if (!e) return std::nullopt;
    return e->name;
}

std::vector<std::string> Package::part_names() const {
    std::vector<std::string> out;
    for (const Entry& e : entries_)
        if (!e.removed) out.push_back(e.name);
    return out;
}

Result<std::string> Package::inflate(const Entry& e, std::uint64_t limit) const {
    if (e.source_size > kMaxPartSize && limit > kMaxPartSize)
        return Error::make(Error::Code::TooLarge,
                           "部品「" + e.name + "」の展開後のサイズが上限（1 GB）を超えています",
                           e.name);
    ZipFile f(zip_fopen_index(zip_.get(), static_cast<zip_uint64_t>(e.source_index), 0));
    if (!f) {
        zip_error_t* ze = zip_get_error(zip_.get());
        if (ze && (zip_error_code_zip(ze) == ZIP_ER_ENCRNOTSUPP ||
                   zip_error_code_zip(ze) == ZIP_ER_NOPASSWD))
            return Error::make(Error::Code::Unsupported,
                               "部品「" + e.name + "」が暗号化されています", e.name);
        if (ze && zip_error_code_zip(ze) == ZIP_ER_COMPNOTSUPP)
            return Error::make(Error::Code::Unsupported,
                               "部品「" + e.name + "」の圧縮方式に対応していません", e.name);
        return broken("部品「" + e.name + "」を読み込めません（" + zip_error_text(zip_.get()) +
                      "）");
    }
    // Read straight into the result, sized by the directory; a part longer than declared grows
    // it up to the limit.
    std::string out;
    std::uint64_t want = std::min<std::uint64_t>(e.source_size, limit);
    out.resize(static_cast<std::size_t>(std::min<std::uint64_t>(want, 256u << 20)));
    std::size_t filled = 0;
    while (filled < limit) {
        if (filled == out.size()) {
            std::uint64_t grow =
                std::min<std::uint64_t>(std::max<std::size_t>(out.size(), 65536), limit - filled);
            out.resize(out.size() + static_cast<std::size_t>(grow));
        }
        zip_int64_t got = zip_fread(f.get(), out.data() + filled, out.size() - filled);
        if (got < 0) {
            // A checksum that disagrees with the inflated data: other readers (and the
            // application, after its repair prompt) accept such parts, and so does this one;
            // the part's XML is still checked when it is parsed.
            zip_error_t* fe = zip_file_get_error(f.get());
            if (fe && zip_error_code_zip(fe) == ZIP_ER_CRC) break;
            return broken("部品「" + e.name + "」が壊れています（" +
                          std::string(zip_file_strerror(f.get())) + "）");
        }
        if (got == 0) break;
        filled += static_cast<std::size_t>(got);
    }
    out.resize(filled);
    if (limit == kMaxPartSize + 1 && out.size() > kMaxPartSize)
        return Error::make(Error::Code::TooLarge,
                           "部品「" + e.name + "」の展開後のサイズが上限（1 GB）を超えています",
                           e.name);
    return out;
}

Result<std::string> Package::read(std::string_view name) const {
    const Entry* e = entry(name);
    if (!e)
        return Error::make(Error::Code::NotFound, "部品「" + std::string(name) + "」がありません",
                           std::string(name));
    if (e->data) return *e->data;
    if (e->source_index < 0) return std::string();
    return inflate(*e, kMaxPartSize + 1);
}

Result<std::string> Package::read_prefix(std::string_view name, std::size_t max_bytes) const {
    const Entry* e = entry(name);
    if (!e)
        return Error::make(Error::Code::NotFound, "部品「" + std::string(name) + "」がありません",
                           std::string(name));
    if (e->data) return e->data->substr(0, max_bytes);
    if (e->source_index < 0) return std::string();
    return inflate(*e, max_bytes);
}

std::uint64_t Package::size(std::string_view name) const {
    const Entry* e = entry(name);
    if (!e) return 0;
    return e->data ? e->data->size() : e->source_size;
}

void Package::write(std::string_view name, std::string content) {
    if (!name.empty() && name.front() == '/') name.remove_prefix(1);
    std::string key = lower_ascii(name);
    auto it = index_.find(key);
    if (it != index_.end()) {
        Entry& e = entries_[it->second];
        e.removed = false;
        e.data = std::move(content);
        return;
    }
    Entry e;
    e.name = std::string(name);
    e.data = std::move(content);
    e.mtime = std::time(nullptr);
    index_.emplace(std::move(key), entries_.size());
    entries_.push_back(std::move(e));
}

void Package::remove(std::string_view name) {
    if (Entry* e = entry(name)) {
        e->removed = true;
        e->data.reset();
    }
}

bool Package::changed(std::string_view name) const {
    const Entry* e = entry(name);
    return e && e->data.has_value();
}

bool Package::any_changed() const {
    return std::any_of(entries_.begin(), entries_.end(), [](const Entry& e) {
        return e.removed ? e.source_index >= 0 : e.data.has_value();
    });
}

Result<void> Package::save(const std::string& path) const {
    return write_atomically(path, [&](const std::string& temp) -> Result<void> {
        int err = 0;
        zip_t* raw = zip_open(temp.c_str(), ZIP_CREATE | ZIP_TRUNCATE, &err);
        if (!raw) return Error::make(Error::Code::Io, "一時ファイルを開けません", path);
        ZipArchive out(raw);
        auto fail = [&](const std::string& what) {
            return Error::make(Error::Code::Io,
                               "ファイル「" + path + "」を保存できません（" + what + "）。", path);
        };
        for (const Entry& e : entries_) {
            if (e.removed) continue;
            zip_source_t* src = nullptr;
            bool copied = false;
            if (e.data) {
                src = zip_source_buffer(out.get(), e.data->data(), e.data->size(), 0);
            } else if (e.source_index >= 0) {
                // Whole-entry source: libzip copies the compressed bytes as they are.
                src = zip_source_zip(out.get(), zip_.get(),
                                     static_cast<zip_uint64_t>(e.source_index), 0, 0, -1);
                copied = true;
            } else {
                src = zip_source_buffer(out.get(), "", 0, 0);
            }
            if (!src) return fail(zip_error_text(out.get()));
            zip_int64_t idx = zip_file_add(out.get(), e.name.c_str(), src, ZIP_FL_ENC_UTF_8);
            if (idx < 0) {
                zip_source_free(src);
                return fail(zip_error_text(out.get()));
            }
            if (!copied) {
                // Changed parts: fast deflate; they are rewritten on every save anyway.
                zip_set_file_compression(out.get(), static_cast<zip_uint64_t>(idx), ZIP_CM_DEFLATE,
                                         e.data && e.data->size() > (1u << 20) ? 3 : 6);
            }
            if (e.mtime) zip_file_set_mtime(out.get(), static_cast<zip_uint64_t>(idx), e.mtime, 0);
        }
        zip_t* z = out.release();
        if (zip_close(z) != 0) {
            std::string why = zip_error_text(z);
            zip_discard(z);
            return fail(why);
        }
        return {};
    });
}

}  // namespace sheaflow::xl::native
