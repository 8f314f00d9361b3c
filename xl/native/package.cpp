#include "xl/native/package.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <utility>

#include "util/safe_save.h"

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

// A libzip source that writes the new archive straight to the descriptor of a save's temporary
// file (libzip's own file source would write yet another temporary file beside it), and keeps
// the errno of a failed write for the message.
struct FdSink {
    int fd = -1;
    int write_errno = 0;
    zip_error_t error{};
};

zip_int64_t fd_sink(void* user, void* data, zip_uint64_t len, zip_source_cmd_t cmd) {
    auto* s = static_cast<FdSink*>(user);
    switch (cmd) {
        case ZIP_SOURCE_SUPPORTS:
            return ZIP_SOURCE_SUPPORTS_WRITABLE;
        case ZIP_SOURCE_STAT:
            // Nothing there yet: the archive is created from scratch.
            zip_error_set(&s->error, ZIP_ER_READ, ENOENT);
            return -1;
        case ZIP_SOURCE_ERROR:
            return zip_error_to_data(&s->error, data, len);
        case ZIP_SOURCE_OPEN:
        case ZIP_SOURCE_READ:
        case ZIP_SOURCE_CLOSE:
        case ZIP_SOURCE_SEEK:
        case ZIP_SOURCE_TELL:
        case ZIP_SOURCE_FREE:
        case ZIP_SOURCE_COMMIT_WRITE:
        case ZIP_SOURCE_ROLLBACK_WRITE:
        case ZIP_SOURCE_REMOVE:
            return 0;
        case ZIP_SOURCE_BEGIN_WRITE:
            if (::lseek(s->fd, 0, SEEK_SET) < 0 || ::ftruncate(s->fd, 0) != 0) {
                s->write_errno = errno;
                zip_error_set(&s->error, ZIP_ER_WRITE, errno);
                return -1;
            }
            return 0;
        case ZIP_SOURCE_WRITE: {
            const char* p = static_cast<const char*>(data);
            zip_uint64_t done = 0;
            while (done < len) {
                ssize_t n = ::write(s->fd, p + done, len - done);
                if (n < 0 && errno == EINTR) continue;
                if (n < 0) {
                    s->write_errno = errno;
                    zip_error_set(&s->error, ZIP_ER_WRITE, errno);
                    return -1;
                }
                done += static_cast<zip_uint64_t>(n);
            }
            return static_cast<zip_int64_t>(len);
        }
        case ZIP_SOURCE_SEEK_WRITE: {
            auto* args = ZIP_SOURCE_GET_ARGS(zip_source_args_seek_t, data, len, &s->error);
            if (!args) return -1;
            if (::lseek(s->fd, args->offset, args->whence) < 0) {
                zip_error_set(&s->error, ZIP_ER_SEEK, errno);
                return -1;
            }
            return 0;
        }
        case ZIP_SOURCE_TELL_WRITE: {
            off_t at = ::lseek(s->fd, 0, SEEK_CUR);
            if (at < 0) zip_error_set(&s->error, ZIP_ER_TELL, errno);
            return at;
        }
        default:
            zip_error_set(&s->error, ZIP_ER_OPNOTSUPP, 0);
            return -1;
    }
}

// The archive just written to `fd`, read back whole for sealing. Returns an errno, 0 on success.
int read_back(int fd, std::string& out) {
    off_t size = ::lseek(fd, 0, SEEK_END);
    if (size < 0) return errno;
    out.resize(static_cast<std::size_t>(size));
    std::size_t done = 0;
    while (done < out.size()) {
        ssize_t n = ::pread(fd, out.data() + done, out.size() - done, static_cast<off_t>(done));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return n < 0 ? errno : EIO;
        done += static_cast<std::size_t>(n);
    }
    return 0;
}

// Replaces the whole content of `fd` with `bytes`. Returns an errno, 0 on success.
int rewrite(int fd, const std::string& bytes) {
    if (::ftruncate(fd, 0) != 0) return errno;
    std::size_t done = 0;
    while (done < bytes.size()) {
        ssize_t n = ::pwrite(fd, bytes.data() + done, bytes.size() - done, static_cast<off_t>(done));
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return errno;
        done += static_cast<std::size_t>(n);
    }
    return 0;
}

// Strict and transitional forms of the same names. A longer name comes before a name that is
// its start.
constexpr std::pair<std::string_view, std::string_view> kStrictNames[] = {
    {"http://purl.oclc.org/ooxml/officeDocument/relationships/extendedProperties",
     "http://schemas.openxmlformats.org/officeDocument/2006/relationships/extended-properties"},
    {"http://purl.oclc.org/ooxml/officeDocument/relationships/customProperties",
     "http://schemas.openxmlformats.org/officeDocument/2006/relationships/custom-properties"},
    {"http://purl.oclc.org/ooxml/officeDocument/relationships",
     "http://schemas.openxmlformats.org/officeDocument/2006/relationships"},
    {"http://purl.oclc.org/ooxml/spreadsheetml/main",
     "http://schemas.openxmlformats.org/spreadsheetml/2006/main"},
    {"http://purl.oclc.org/ooxml/drawingml/main",
     "http://schemas.openxmlformats.org/drawingml/2006/main"},
    {"http://purl.oclc.org/ooxml/drawingml/spreadsheetDrawing",
     "http://schemas.openxmlformats.org/drawingml/2006/spreadsheetDrawing"},
    {"http://purl.oclc.org/ooxml/drawingml/chart",
     "http://schemas.openxmlformats.org/drawingml/2006/chart"},
    {"http://purl.oclc.org/ooxml/drawingml/picture",
     "http://schemas.openxmlformats.org/drawingml/2006/picture"},
    {"http://purl.oclc.org/ooxml/officeDocument/extendedProperties",
     "http://schemas.openxmlformats.org/officeDocument/2006/extended-properties"},
    {"http://purl.oclc.org/ooxml/officeDocument/customProperties",
     "http://schemas.openxmlformats.org/officeDocument/2006/custom-properties"},
    {"http://purl.oclc.org/ooxml/officeDocument/docPropsVTypes",
     "http://schemas.openxmlformats.org/officeDocument/2006/docPropsVTypes"},
    {"http://purl.oclc.org/ooxml/officeDocument/sharedTypes",
     "http://schemas.openxmlformats.org/officeDocument/2006/sharedTypes"},
    {"http://purl.oclc.org/ooxml/officeDocument/math",
     "http://schemas.openxmlformats.org/officeDocument/2006/math"},
};

bool xml_like(std::string_view name) {
    std::string lower = lower_ascii(name);
    return lower.ends_with(".xml") || lower.ends_with(".rels") || lower.ends_with(".vml");
}

}  // namespace

std::string translate_strict(std::string_view xml, bool to_transitional) {
    std::string out;
    std::size_t done = 0;
    std::size_t at = 0;
    while ((at = xml.find("http://", at)) != std::string_view::npos) {
        // Only at the start of an attribute value.
        if (at == 0 || (xml[at - 1] != '"' && xml[at - 1] != '\'')) {
            at += 7;
            continue;
        }
        std::string_view rest = xml.substr(at);
        bool replaced = false;
        for (std::size_t k = 0; k < std::size(kStrictNames); ++k) {
            const auto& [strict, transitional] = kStrictNames[k];
            std::string_view from = to_transitional ? strict : transitional;
            std::string_view to = to_transitional ? transitional : strict;
            if (rest.substr(0, from.size()) != from) continue;
            // The whole value, or a name followed by "/..." (a relationship type).
            const char next = rest.size() > from.size() ? rest[from.size()] : '\0';
            if (next != '"' && next != '\'' && next != '/') continue;
            // A value that would come out as one of the longer names is left alone, so that
            // a translation there and back gives the same bytes.
            const std::string candidate = std::string(to) + std::string(rest.substr(from.size(), 64));
            bool collides = false;
            for (std::size_t j = 0; j < k; ++j) {
                std::string_view longer = to_transitional ? kStrictNames[j].second : kStrictNames[j].first;
                collides = collides || candidate.rfind(longer, 0) == 0;
            }
            if (collides) break;
            if (out.empty()) out.reserve(xml.size() + 256);
            out.append(xml.substr(done, at - done));
            out.append(to);
            at += from.size();
            done = at;
            replaced = true;
            break;
        }
        if (!replaced) at += 7;
    }
    if (done == 0) return std::string(xml);
    out.append(xml.substr(done));
    return out;
}

Package::~Package() {
    zip_.reset();
    // A memory source is owned by the archive once opened; only a failed open leaves it here.
}

Error Package::broken(const std::string& detail) const {
    return Error::make(Error::Code::BadFormat, detail);
}

Result<std::unique_ptr<Package>> Package::open_file(const std::string& path) {
    // Opened without blocking (a FIFO put in the file's place would hang the run) and only
    // when it is a regular file.
    auto fd = file::open_regular(path);
    if (!fd) return fd.error();
    int err = 0;
    zip_t* z = zip_fdopen(*fd, ZIP_RDONLY, &err);
    if (!z) {
        ::close(*fd);
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

const Package::Entry* Package::any_entry(std::string_view name) const {
    if (!name.empty() && name.front() == '/') name.remove_prefix(1);
    auto it = index_.find(lower_ascii(name));
    return it == index_.end() ? nullptr : &entries_[it->second];
}

const Package::Entry* Package::entry(std::string_view name) const {
    const Entry* e = any_entry(name);
    return e && !e->removed ? e : nullptr;
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
    return read_source(*e);
}

Result<std::string> Package::read_source(const Entry& e) const {
    auto bytes = inflate(e, kMaxPartSize + 1);
    if (bytes && strict_ && xml_like(e.name)) return translate_strict(*bytes, true);
    return bytes;
}

Result<std::string> Package::read_prefix(std::string_view name, std::size_t max_bytes) const {
    const Entry* e = entry(name);
    if (!e)
        return Error::make(Error::Code::NotFound, "部品「" + std::string(name) + "」がありません",
                           std::string(name));
    if (e->data) return e->data->substr(0, max_bytes);
    if (e->source_index < 0) return std::string();
    auto bytes = inflate(*e, max_bytes);
    if (bytes && strict_ && xml_like(e->name)) return translate_strict(*bytes, true);
    return bytes;
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

std::vector<std::string> Package::changed_parts() const {
    std::vector<std::string> out;
    for (const Entry& e : entries_)
        if (e.removed ? e.source_index >= 0 : e.data.has_value()) out.push_back(e.name);
    return out;
}

Result<std::string> Package::read_original(std::string_view name) const {
    const Entry* e = any_entry(name);
    if (!e || e->source_index < 0)
        return Error::make(Error::Code::NotFound, "部品「" + std::string(name) + "」がありません",
                           std::string(name));
    return read_source(*e);
}

Result<void> Package::save(const std::string& path) const { return save(path, nullptr); }

Result<void> Package::save(const std::string& path, const Seal& seal) const {
    return file::replace_file(path, [&](int fd, const std::string&) -> Result<void> {
        auto fail = [&](const std::string& what) {
            return Error::make(Error::Code::Io,
                               "ファイル「" + path + "」を保存できません（" + what + "）。", path);
        };
        FdSink sink;
        sink.fd = fd;
        zip_error_init(&sink.error);
        zip_error_t error;
        zip_error_init(&error);
        zip_source_t* target = zip_source_function_create(fd_sink, &sink, &error);
        if (!target) {
            zip_error_fini(&error);
            return fail(file::errno_text(ENOMEM));
        }
        zip_t* raw = zip_open_from_source(target, ZIP_CREATE | ZIP_TRUNCATE, &error);
        if (!raw) {
            std::string why = zip_error_strerror(&error);
            zip_error_fini(&error);
            zip_source_free(target);
            return fail(why);
        }
        zip_error_fini(&error);
        ZipArchive out(raw);
        // The strict forms of the parts written (libzip reads the buffers at close).
        std::vector<std::string> strict_parts;
        strict_parts.reserve(entries_.size());
        for (const Entry& e : entries_) {
            if (e.removed) continue;
            zip_source_t* src = nullptr;
            bool copied = false;
            if (e.data && strict_ && xml_like(e.name)) {
                strict_parts.push_back(translate_strict(*e.data, false));
                src = zip_source_buffer(out.get(), strict_parts.back().data(),
                                        strict_parts.back().size(), 0);
            } else if (e.data) {
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
            std::string why = sink.write_errno ? file::errno_text(sink.write_errno)
                                               : std::string(zip_error_text(z));
            zip_discard(z);
            Error e = fail(why);
            e.whole_run = file::errno_is_whole_run(sink.write_errno);
            return e;
        }
        if (!seal) return {};
        std::string zip_bytes;
        if (int err = read_back(fd, zip_bytes)) return fail(file::errno_text(err));
        auto sealed = seal(std::move(zip_bytes));
        if (!sealed) return sealed.error();
        if (int err = rewrite(fd, *sealed)) {
            Error e = fail(file::errno_text(err));
            e.whole_run = file::errno_is_whole_run(err);
            return e;
        }
        return {};
    });
}

}  // namespace sheaflow::xl::native
