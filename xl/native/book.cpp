#include "xl/native/book.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>

#include "util/safe_save.h"
#include "util/text.h"
#include "xl/native/compound_file.h"
#include "xl/native/csv.h"
#include "xl/native/encryption.h"
#include "xl/native/engine.h"
#include "xl/native/structure_support.h"

namespace sheaflow::xl::native {

namespace fs = std::filesystem;

namespace {

std::string file_name_of(const std::string& path) { return fs::path(path).filename().string(); }

std::string extension_upper(const std::string& path) {
    std::string ext = fs::path(path).extension().string();
    if (!ext.empty() && ext[0] == '.') ext.erase(0, 1);
    return text::upper(ext);
}

// "ファイル「x」を開けません（reason）。"
Error open_error(const std::string& display, const Error& e) {
    Error out = e;
    out.message = "ファイル「" + display + "」を開けません（" + e.message + "）。";
    if (out.path.empty() || out.path == display) out.path = display;
    return out;
}

Error reason(Error::Code code, std::string text) { return Error::make(code, std::move(text)); }

constexpr std::string_view kOle = "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1";

// Reads until `out` holds `size` bytes or the file ends; false on a read error.
bool read_up_to(int fd, std::size_t size, std::string& out) {
    std::size_t want = size > out.size() ? size - out.size() : 0;
    std::size_t start = out.size();
    out.resize(start + want);
    std::size_t got = 0;
    while (got < want) {
        ssize_t n = ::read(fd, out.data() + start + got, want - got);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return false;
        if (n == 0) break;
        got += static_cast<std::size_t>(n);
    }
    out.resize(start + got);
    return true;
}

struct FdCloser {
    int fd;
    ~FdCloser() { ::close(fd); }
};

const char* kNewWorkbookXml =
    "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\r\n"
    "<workbook xmlns=\"http://schemas.openxmlformats.org/spreadsheetml/2006/main\" "
    "xmlns:r=\"http://schemas.openxmlformats.org/officeDocument/2006/relationships\">"
    "<workbookPr defaultThemeVersion=\"164011\"/><bookViews><workbookView xWindow=\"0\" "
    "yWindow=\"0\" windowWidth=\"20490\" windowHeight=\"7755\"/></bookViews><sheets>"
    "<sheet name=\"Sheet1\" sheetId=\"1\" r:id=\"rId1\"/></sheets><calcPr calcId=\"191029\"/>"
    "</workbook>";

const char* kNewWorkbookRels =
    "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\r\n"
    "<Relationships xmlns=\"http://schemas.openxmlformats.org/package/2006/relationships\">"
    "<Relationship Id=\"rId1\" "
    "Type=\"http://schemas.openxmlformats.org/officeDocument/2006/relationships/worksheet\" "
    "Target=\"worksheets/sheet1.xml\"/><Relationship Id=\"rId2\" "
    "Type=\"http://schemas.openxmlformats.org/officeDocument/2006/relationships/styles\" "
    "Target=\"styles.xml\"/></Relationships>";

const char* kNewRootRels =
    "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\r\n"
    "<Relationships xmlns=\"http://schemas.openxmlformats.org/package/2006/relationships\">"
    "<Relationship Id=\"rId1\" "
    "Type=\"http://schemas.openxmlformats.org/officeDocument/2006/relationships/officeDocument\" "
    "Target=\"xl/workbook.xml\"/></Relationships>";

const char* kNewContentTypes =
    "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\r\n"
    "<Types xmlns=\"http://schemas.openxmlformats.org/package/2006/content-types\">"
    "<Default Extension=\"rels\" "
    "ContentType=\"application/vnd.openxmlformats-package.relationships+xml\"/>"
    "<Default Extension=\"xml\" ContentType=\"application/xml\"/>"
    "<Override PartName=\"/xl/workbook.xml\" "
    "ContentType=\"application/vnd.openxmlformats-officedocument.spreadsheetml.sheet.main+xml\"/>"
    "<Override PartName=\"/xl/worksheets/sheet1.xml\" "
    "ContentType=\"application/vnd.openxmlformats-officedocument.spreadsheetml.worksheet+xml\"/>"
    "<Override PartName=\"/xl/styles.xml\" "
    "ContentType=\"application/vnd.openxmlformats-officedocument.spreadsheetml.styles+xml\"/>"
    "</Types>";

// The default formats of a Japanese-locale workbook: one font, the two required fills, one
// border, one cell format.
const char* kNewStyles =
    "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\r\n"
    "<styleSheet xmlns=\"http://schemas.openxmlformats.org/spreadsheetml/2006/main\">"
    "<fonts count=\"1\"><font><sz val=\"11\"/><color theme=\"1\"/>"
    "<name val=\"游ゴシック\"/><family val=\"2\"/><charset val=\"128\"/>"
    "<scheme val=\"minor\"/></font></fonts>"
    "<fills count=\"2\"><fill><patternFill patternType=\"none\"/></fill>"
    "<fill><patternFill patternType=\"gray125\"/></fill></fills>"
    "<borders count=\"1\"><border><left/><right/><top/><bottom/><diagonal/></border></borders>"
    "<cellStyleXfs count=\"1\"><xf numFmtId=\"0\" fontId=\"0\" fillId=\"0\" borderId=\"0\">"
    "<alignment vertical=\"center\"/></xf></cellStyleXfs>"
    "<cellXfs count=\"1\"><xf numFmtId=\"0\" fontId=\"0\" fillId=\"0\" borderId=\"0\" xfId=\"0\">"
    "<alignment vertical=\"center\"/></xf></cellXfs>"
    "<cellStyles count=\"1\"><cellStyle name=\"標準\" xfId=\"0\" builtinId=\"0\"/></cellStyles>"
    "<dxfs count=\"0\"/><tableStyles count=\"0\" defaultTableStyle=\"TableStyleMedium2\" "
    "defaultPivotStyle=\"PivotStyleLight16\"/></styleSheet>";

}  // namespace

// ---------------------------------------------------------------------------------------------
// Opening

Result<std::unique_ptr<Book>> Book::open(NativeApplication& app, const std::string& path,
                                         bool read_only) {
    // The file is opened once, without blocking, and must be a regular file: a FIFO or a device
    // put at a target's path must not hang the run.
    auto opened = file::open_regular(path);
    if (!opened) {
        const Error& e = opened.error();
        if (e.code == Error::Code::NotFound)
            return Error::make(Error::Code::NotFound, "ファイル「" + path + "」が見つかりません。",
                               path);
        return open_error(path, reason(e.code, e.message));
    }
    FdCloser fd{*opened};
    std::error_code ec;
    std::unique_ptr<Book> book(new Book(app));
    book->path_ = fs::absolute(path, ec).lexically_normal().string();
    if (ec) book->path_ = path;
    book->name_ = file_name_of(path);
    book->read_only_ = read_only;

    struct stat st {};
    const std::uintmax_t size = ::fstat(fd.fd, &st) == 0 ? static_cast<std::uintmax_t>(st.st_size) : 0;
    if (size == 0) return open_error(path, reason(Error::Code::BadFormat, "ファイルが空です"));
    std::string head;
    if (!read_up_to(fd.fd, 8, head))
        return open_error(path, reason(Error::Code::Io, "読み込めません"));

    std::string ext = extension_upper(path);
    if (ext == "CSV") {
        if (size > kMaxPartSize)
            return open_error(path, reason(Error::Code::TooLarge, "ファイルが大きすぎます"));
        std::string bytes = head;
        if (!read_up_to(fd.fd, static_cast<std::size_t>(size), bytes))
            return open_error(path, reason(Error::Code::Io, "読み込めません"));
        if (auto r = book->load_csv(bytes, path); !r) return open_error(path, r.error());
        return book;
    }
    std::string_view magic(head);
    if (magic.substr(0, 8) == kOle) {
        // An OLE container: a password-protected OOXML file or a binary (.xls) workbook.
        std::string bytes = head;
        if (!read_up_to(fd.fd, static_cast<std::size_t>(std::min<std::uintmax_t>(size, cfb::kMaxFileSize)), bytes))
            return open_error(path, reason(Error::Code::Io, "読み込めません"));
        if (cfb::encrypted_package(bytes)) {
            if (size > cfb::kMaxFileSize)
                return open_error(path, reason(Error::Code::TooLarge, "ファイルが大きすぎます"));
            if (auto r = book->load_encrypted(bytes, path); !r) return open_error(path, r.error());
            return book;
        }
        if (cfb::encrypted_workbook(bytes))
            return open_error(path, reason(Error::Code::Unsupported,
                                           "パスワードで保護（暗号化）されたブックです。"
                                           "パスワードを解除してから処理してください"));
        if (!app.office())
            return open_error(path, reason(Error::Code::Unsupported,
                                           "Excel 97-2003 形式（.xls）のブックは LibreOffice "
                                           "との連携がないと開けません"));
        if (auto r = book->load_through_office(path, bytes); !r)
            return open_error(path, r.error());
        return book;
    }
    if (magic.substr(0, 2) != "PK") {
        // Older binary workbooks (BIFF2 to BIFF5 without a container) only the office reads.
        if (ext == "XLS" && app.office()) {
            if (auto r = book->load_through_office(path, {}); !r)
                return open_error(path, r.error());
            return book;
        }
        return open_error(path, reason(Error::Code::BadFormat, "Excel のブックではありません"));
    }
    auto pkg = Package::open_file(path);
    if (!pkg) return open_error(path, pkg.error());
    book->package_ = std::move(*pkg);
    if (auto r = book->load_package(path); !r) return open_error(path, r.error());
    return book;
}

Result<std::unique_ptr<Book>> Book::open_memory(NativeApplication& app, std::string bytes,
                                                const std::string& name) {
    std::unique_ptr<Book> book(new Book(app));
    book->name_ = name;
    book->path_.clear();
    auto pkg = Package::open_memory(std::move(bytes));
    if (!pkg) return open_error(name, pkg.error());
    book->package_ = std::move(*pkg);
    if (auto r = book->load_package(name); !r) return open_error(name, r.error());
    return book;
}

Result<void> Book::load_encrypted(const std::string& bytes, const std::string& display) {
    auto root = cfb::read(bytes, display);
    if (!root || !encryption::is_encrypted_package(*root))
        return reason(Error::Code::BadFormat, "パスワードで保護（暗号化）されたブックが壊れています");
    const std::string& given = app_.open_password;
    std::string password = given.empty() ? std::string(encryption::kDefaultPassword) : given;
    auto plain = encryption::decrypt(*root, password);
    if (!plain && plain.error().code == Error::Code::Refused)
        return reason(Error::Code::Refused,
                      given.empty() ? "パスワードで保護（暗号化）されたブックです。パスワードを"
                                      "指定してください"
                                    : "パスワードが違います");
    if (!plain) {
        // Said first what the file is: the method or damage follows.
        std::string why = plain.error().message;
        if (why.ends_with("。")) why.resize(why.size() - std::string_view("。").size());
        return reason(plain.error().code, "パスワードで保護（暗号化）されたブックです。" + why);
    }
    auto pkg = Package::open_memory(std::move(*plain));
    if (!pkg) return pkg.error();
    package_ = std::move(*pkg);
    if (auto r = load_package(display); !r) return r;
    // A workbook that opened with the default password keeps it: it is saved the same way.
    password_ = password;
    return {};
}

Result<void> Book::set_open_password(const std::string& password) {
    if (password == password_) return {};
    password_ = password;
    saved_ = false;
    return {};
}

Result<void> Book::load_package(const std::string& display) {
    (void)display;
    Package& pkg = *package_;
    // The package relationships name the workbook part.
    std::string main;
    if (pkg.has("_rels/.rels")) {
        auto bytes = pkg.read("_rels/.rels");
        if (!bytes) return bytes.error();
        Relationships root;
        if (auto r = root.parse(*bytes, "_rels/.rels"); !r)
            return reason(Error::Code::BadFormat, "部品「_rels/.rels」が壊れています");
        if (root.by_type(rel::kStrictOfficeDocument)) {
            // Read in the transitional vocabulary, written back strict.
            pkg.set_strict(true);
            auto again = pkg.read("_rels/.rels");
            if (!again) return again.error();
            root = Relationships();
            if (auto r = root.parse(*again, "_rels/.rels"); !r)
                return reason(Error::Code::BadFormat, "部品「_rels/.rels」が壊れています");
        }
        if (auto item = root.by_type(rel::kOfficeDocument)) main = resolve_target("", item->target);
    }
    if (main.empty()) {
        if (pkg.has("xl/workbook.bin"))
            return reason(Error::Code::Unsupported,
                          "Excel バイナリ ブック（.xlsb）には対応していません");
        if (pkg.has("mimetype") || pkg.has("content.xml"))
            return reason(Error::Code::Unsupported,
                          "OpenDocument 形式（.ods）のブックには対応していません");
        if (pkg.has("xl/workbook.xml"))
            main = "xl/workbook.xml";
        else
            return reason(Error::Code::BadFormat,
                          "Excel のブックではありません（ブックの部品がありません）");
    }
    if (main.size() > 4 && text::lower(main.substr(main.size() - 4)) == ".bin")
        return reason(Error::Code::Unsupported,
                      "Excel バイナリ ブック（.xlsb）には対応していません");
    auto found = pkg.find(main);
    if (!found) return reason(Error::Code::BadFormat, "部品「" + main + "」がありません");
    workbook_part_name_ = *found;

    auto wb_bytes = pkg.read(workbook_part_name_);
    if (!wb_bytes) return wb_bytes.error();
    if (auto r = workbook_.parse(*wb_bytes, workbook_part_name_); !r)
        return reason(Error::Code::BadFormat, "部品「" + workbook_part_name_ + "」が壊れています");
    std::string rels_name = rels_path_for(workbook_part_name_);
    if (pkg.has(rels_name)) {
        auto rb = pkg.read(rels_name);
        if (!rb) return rb.error();
        if (auto r = workbook_rels_.parse(*rb, rels_name); !r)
            return reason(Error::Code::BadFormat, "部品「" + rels_name + "」が壊れています");
    }
    date1904_ = workbook_.date1904();

    for (const WorkbookPart::Sheet& s : workbook_.sheets()) {
        auto item = workbook_rels_.by_id(s.rel_id);
        if (!item || item->external)
            return reason(Error::Code::BadFormat, "シート「" + s.name + "」の部品がありません");
        SheetKind kind = SheetKind::Worksheet;
        if (item->type == rel::kChartsheet)
            kind = SheetKind::Chart;
        else if (item->type == rel::kDialogsheet)
            kind = SheetKind::Dialog;
        else if (item->type == rel::kMacrosheet)
            kind = SheetKind::Macro;
        else if (item->type != rel::kWorksheet)
            return reason(Error::Code::BadFormat, "シート「" + s.name + "」の部品の種類が不明です");
        std::string part = resolve_target(workbook_part_name_, item->target);
        auto stored = pkg.find(part);
        if (!stored)
            return reason(Error::Code::BadFormat,
                          "シート「" + s.name + "」の部品「" + part + "」がありません");
        auto sheet = std::make_unique<Sheet>(*this, s.name, *stored, kind);
        sheet->set_state(s.state);
        sheets_.push_back(std::move(sheet));
    }
    if (sheets_.empty()) return reason(Error::Code::BadFormat, "シートがありません");
    int tab = workbook_.active_tab();
    if (tab >= static_cast<int>(sheets_.size())) tab = 0;
    if (!sheets_[static_cast<std::size_t>(tab)]->visible()) {
        for (std::size_t i = 0; i < sheets_.size(); ++i)
            if (sheets_[i]->visible()) {
                tab = static_cast<int>(i);
                break;
            }
    }
    active_ = sheets_[static_cast<std::size_t>(tab)].get();
    loaded_active_tab_ = workbook_.active_tab();
    format_ = Format::Package;
    saved_ = true;
    return {};
}

void Book::init_new(const std::string& sheet_name) {
    package_ = Package::create();
    package_->write("[Content_Types].xml", kNewContentTypes);
    package_->write("_rels/.rels", kNewRootRels);
    std::string wb = kNewWorkbookXml;
    if (sheet_name != "Sheet1") {
        std::string escaped;
        xml::escape_attr(sheet_name, escaped);
        wb.replace(wb.find("name=\"Sheet1\""), 13, "name=\"" + escaped + "\"");
    }
    package_->write("xl/workbook.xml", wb);
    package_->write("xl/_rels/workbook.xml.rels", kNewWorkbookRels);
    package_->write("xl/styles.xml", kNewStyles);
    // The application gives the first sheet of a new workbook (and of an opened CSV file) the
    // code name Sheet1.
    package_->write("xl/worksheets/sheet1.xml",
                    structure::with_code_name(WorksheetPart::empty_xml(true), "Sheet1"));
    workbook_part_name_ = "xl/workbook.xml";
    (void)workbook_.parse(wb, workbook_part_name_);
    (void)workbook_rels_.parse(kNewWorkbookRels, "xl/_rels/workbook.xml.rels");
    sheets_.push_back(std::make_unique<Sheet>(*this, sheet_name, "xl/worksheets/sheet1.xml",
                                              SheetKind::Worksheet));
    active_ = sheets_.front().get();
    loaded_active_tab_ = 0;
    saved_ = true;
}

std::unique_ptr<Book> Book::create(NativeApplication& app, const std::string& name) {
    std::unique_ptr<Book> book(new Book(app));
    book->name_ = name;
    book->format_ = Format::New;
    book->init_new("Sheet1");
    return book;
}

Result<void> Book::load_csv(const std::string& bytes, const std::string& display) {
    (void)display;
    std::string utf8;
    if (!csv::decode(bytes, utf8))
        return reason(Error::Code::BadFormat,
                      "文字コードを判別できません（CP932 でも UTF-8 でもありません）");
    // The sheet is named after the file, as the application names it (at most 31 characters).
    std::string stem = fs::path(name_).stem().string();
    std::string sheet_name = text::left(stem, 31);
    for (char bad : std::string_view(":\\/?*[]"))
        std::replace(sheet_name.begin(), sheet_name.end(), bad, '_');
    if (sheet_name.empty()) sheet_name = "Sheet1";
    init_new(sheet_name);
    format_ = Format::Csv;
    Sheet& sheet = *sheets_.front();
    auto part = sheet.part();
    if (!part) return part.error();
    CellTable& t = (*part)->table();
    auto rows = csv::parse(utf8, ',');
    if (rows.size() > 1048576)
        return reason(Error::Code::TooLarge,
                      "行数がワークシートの上限（1,048,576 行）を超えています");
    SharedStrings& sst = shared_strings();
    std::int32_t r = 0;
    for (const auto& fields : rows) {
        ++r;
        if (fields.size() > 16384)
            return reason(Error::Code::TooLarge,
                          "列数がワークシートの上限（16,384 列）を超えています");
        std::int32_t c = 0;
        for (const std::string& f : fields) {
            ++c;
            if (f.empty()) continue;
            Cell& cell = t.touch(r, c);
            double d;
            if (csv::plain_number(f, d)) {
                cell.kind = CellKind::Number;
                cell.number = d;
            } else {
                cell.kind = CellKind::SharedString;
                cell.number = sst.intern(f);
                sst.add_references(1);
            }
        }
    }
    (*part)->mark_dirty();
    saved_ = true;
    return {};
}

// ---------------------------------------------------------------------------------------------
// Parts on demand

Result<ContentTypes*> Book::content_types() {
    if (!content_types_) {
        auto ct = std::make_unique<ContentTypes>();
        auto bytes = package_->read("[Content_Types].xml");
        if (!bytes) return bytes.error();
        if (auto r = ct->parse(*bytes); !r) return r.error();
        content_types_ = std::move(ct);
    }
    return content_types_.get();
}

SharedStrings& Book::shared_strings() {
    if (!shared_strings_) {
        shared_strings_ = std::make_unique<SharedStrings>();
        if (auto item = workbook_rels_.by_type(rel::kSharedStrings)) {
            std::string part = resolve_target(workbook_part_name_, item->target);
            if (auto stored = package_->find(part)) {
                shared_strings_part_ = *stored;
                auto bytes = package_->read(*stored);
                Result<void> parsed = bytes ? shared_strings_->parse(std::move(*bytes), *stored)
                                            : Result<void>(bytes.error());
                if (!parsed) {
                    shared_strings_ = std::make_unique<SharedStrings>();
                    shared_strings_error_ = Error::make(
                        Error::Code::BadFormat, "部品「" + *stored + "」が壊れています", *stored);
                }
            }
        }
    }
    return *shared_strings_;
}

Result<void> Book::check_string_references(const CellTable& cells) {
    std::uint64_t highest = 0;
    bool any = false;
    for (const Cell& c : cells.cells)
        if (c.kind == CellKind::SharedString) {
            any = true;
            highest = std::max(highest, static_cast<std::uint64_t>(c.number));
        }
    if (!any) return {};
    const SharedStrings& table = shared_strings();
    if (shared_strings_error_) return *shared_strings_error_;
    if (highest >= table.size())
        return Error::make(Error::Code::BadFormat,
                           "文字列の番号 " + std::to_string(highest) + " が文字列の表（" +
                               std::to_string(table.size()) + " 個）の範囲外です",
                           shared_strings_part_);
    return {};
}

const Styles& Book::styles() {
    if (!styles_) {
        styles_ = std::make_unique<Styles>();
        if (auto item = workbook_rels_.by_type(rel::kStyles)) {
            std::string part = resolve_target(workbook_part_name_, item->target);
            if (auto bytes = package_->read(part); bytes) {
                if (!styles_->parse(*bytes, part)) styles_ = std::make_unique<Styles>();
            }
        }
    }
    return *styles_;
}

// ---------------------------------------------------------------------------------------------
// Collections

Application& Book::application() { return app_; }

void Book::index_sheets() const {
    // Inserts and deletes change the length; moves keep the index themselves.
    if (indexed_version_ == list_version_ && indexed_size_ == sheets_.size()) return;
    worksheet_at_.clear();
    for (std::size_t i = 0; i < sheets_.size(); ++i) {
        Sheet& s = *sheets_[i];
        s.position_ = static_cast<int>(i);
        s.worksheet_number_ = 0;
        if (s.kind() == SheetKind::Worksheet || s.kind() == SheetKind::Macro) {
            worksheet_at_.push_back(static_cast<int>(i));
            s.worksheet_number_ = static_cast<int>(worksheet_at_.size());
        }
    }
    sheet_elements_.clear();
    for (pugi::xml_node n = workbook_.sheets_node().first_child(); n;
         n = n.next_sibling())
        if (n.type() == pugi::node_element && xml::local_name(n.name()) == "sheet")
            sheet_elements_.push_back(n);
    // Moves carry the elements along only where they match the list one to one.
    if (sheet_elements_.size() != sheets_.size()) sheet_elements_.clear();
    indexed_version_ = list_version_;
    indexed_size_ = sheets_.size();
}

int Book::worksheet_count() {
    index_sheets();
    return static_cast<int>(worksheet_at_.size());
}

Worksheet* Book::worksheet(int index) {
    index_sheets();
    if (index < 1 || index > static_cast<int>(worksheet_at_.size())) return nullptr;
    return sheets_[static_cast<std::size_t>(worksheet_at_[static_cast<std::size_t>(index - 1)])]
        .get();
}

Worksheet* Book::worksheet(std::string_view name) {
    std::string want = text::upper(name);
    for (auto& s : sheets_) {
        if (s->kind() != SheetKind::Worksheet && s->kind() != SheetKind::Macro) continue;
        if (text::upper(s->name()) == want) return s.get();
    }
    return nullptr;
}

Worksheet* Book::sheet(int index) {
    if (index < 1 || index > static_cast<int>(sheets_.size())) return nullptr;
    return sheets_[static_cast<std::size_t>(index - 1)].get();
}

Worksheet* Book::active_sheet() { return active_; }

Result<void> Book::activate() {
    app_.set_active(this);
    return {};
}

int Book::sheet_position(const Sheet* s) const {
    if (!s) return -1;
    index_sheets();
    // A deleted sheet keeps its last position, where another sheet now stands.
    const int p = s->position_;
    if (p >= 0 && p < static_cast<int>(sheets_.size()) &&
        sheets_[static_cast<std::size_t>(p)].get() == s)
        return p;
    for (std::size_t i = 0; i < sheets_.size(); ++i)
        if (sheets_[i].get() == s) return static_cast<int>(i);
    return -1;
}

int Book::worksheet_number(const Sheet* s) const {
    return sheet_position(s) < 0 ? 0 : s->worksheet_number_;
}

std::uint64_t Book::cell_budget(const Sheet* reading) {
    const std::uint64_t limit = cell_limit();
    auto held = [&] {
        std::uint64_t n = 0;
        for (const auto& s : sheets_)
            if (s.get() != reading) n += s->held_cells();
        return n;
    };
    std::uint64_t others = held();
    // Past a quarter of the limit, sheets read but not changed let go of their cells: a search
    // over many large sheets then holds about one at a time. Below it nothing is dropped, so
    // that code walking several sheets of an ordinary workbook keeps what it read.
    if (others >= limit / 4) {
        for (const auto& s : sheets_)
            if (s.get() != reading) s->release();
        others = held();
    }
    return others >= limit ? 0 : limit - others;
}

void Book::move_sheet(int from, int to) {
    index_sheets();
    const int n = static_cast<int>(sheets_.size());
    if (from == to || from < 0 || to < 0 || from >= n || to >= n) return;
    const auto lo = static_cast<std::size_t>(std::min(from, to));
    const auto hi = static_cast<std::size_t>(std::max(from, to));
    if (!sheet_elements_.empty()) {
        pugi::xml_node moved = sheet_elements_[static_cast<std::size_t>(from)];
        pugi::xml_node anchor = sheet_elements_[static_cast<std::size_t>(to)];
        pugi::xml_node parent = moved.parent();
        if (to > from)
            parent.insert_move_after(moved, anchor);
        else
            parent.insert_move_before(moved, anchor);
    }
    // The worksheet numbers within the range stay the same set; they are dealt out again in
    // the new order.
    int first_number = 0;
    for (std::size_t i = lo; i <= hi && first_number == 0; ++i)
        if (sheets_[i]->worksheet_number_ > 0) first_number = sheets_[i]->worksheet_number_;
    auto rotate = [&](auto& v) {
        if (to > from)
            std::rotate(v.begin() + static_cast<std::ptrdiff_t>(lo),
                        v.begin() + static_cast<std::ptrdiff_t>(lo + 1),
                        v.begin() + static_cast<std::ptrdiff_t>(hi + 1));
        else
            std::rotate(v.begin() + static_cast<std::ptrdiff_t>(lo),
                        v.begin() + static_cast<std::ptrdiff_t>(hi),
                        v.begin() + static_cast<std::ptrdiff_t>(hi + 1));
    };
    rotate(sheets_);
    if (!sheet_elements_.empty()) rotate(sheet_elements_);
    int number = first_number;
    for (std::size_t i = lo; i <= hi; ++i) {
        Sheet& s = *sheets_[i];
        s.position_ = static_cast<int>(i);
        if (s.worksheet_number_ > 0) {
            s.worksheet_number_ = number;
            worksheet_at_[static_cast<std::size_t>(number - 1)] = static_cast<int>(i);
            ++number;
        }
    }
    loaded_active_tab_ = -1;
    saved_ = false;
}

void Book::set_active(Sheet* s) {
    if (!group_.empty() && std::find(group_.begin(), group_.end(), s) == group_.end()) {
        group_.clear();
        group_changed_ = true;
    }
    active_ = s;
}

void Book::close() { app_.closed(this); }

// ---------------------------------------------------------------------------------------------
// Changes and saving

bool Book::saved() const {
    if (!saved_) return false;
    // Until the first save, whatever a save would write counts as a change, also where the path
    // that made it did not clear the flag.
    if (written_ || format_ != Format::Package || !package_) return true;
    if (package_->any_changed() || workbook_.dirty() || workbook_rels_.dirty()) return false;
    if ((content_types_ && content_types_->dirty()) || (shared_strings_ && shared_strings_->dirty()))
        return false;
    return std::none_of(sheets_.begin(), sheets_.end(),
                        [](const std::unique_ptr<Sheet>& s) { return s->part_dirty(); });
}

void Book::cells_changed() {
    saved_ = false;
    if (cells_changed_) return;
    cells_changed_ = true;
    // The calculation chain lists formula cells; after an edit it may name cells that no longer
    // hold formulas, which the application reports as damage. It is optional: remove it.
    if (auto item = workbook_rels_.by_type(rel::kCalcChain)) {
        std::string part = resolve_target(workbook_part_name_, item->target);
        package_->remove(part);
        workbook_rels_.remove_type(rel::kCalcChain);
        if (auto ct = content_types(); ct) (*ct)->remove_override(part);
    }
    workbook_.set_full_calc_on_load();
}

std::int8_t& Book::match_memo(const FindSpec& criteria, std::size_t index) {
    std::string key = criteria.what;
    key += '\0';
    key += std::to_string(criteria.look_at) + (criteria.match_case ? "C" : "c") +
           (criteria.match_byte ? "B" : "b");
    if (key != memo_key_) {
        memo_key_ = std::move(key);
        memo_.clear();
    }
    if (memo_.size() <= index) memo_.resize(std::max(index + 1, shared_strings().size()), 0);
    return memo_[index];
}

void Book::fold_string_changes() {
    if (!shared_strings_) return;
    SharedStrings& sst = *shared_strings_;
    const std::size_t n = sst.original_size();
    if (sst.size() == n) return;
    // Who refers to what is only known when every sheet has been read.
    std::vector<WorksheetPart*> parts;
    for (auto& s : sheets_) {
        if (!s->has_cells()) continue;
        if (!s->loaded()) return;
        auto p = s->part();
        if (!p) return;
        parts.push_back(*p);
    }
    constexpr std::int64_t kUnused = -1, kKeep = -2;
    std::vector<std::int64_t> target(n, kUnused);
    for (WorksheetPart* p : parts) {
        for (const Cell& c : p->table().cells) {
            std::int64_t cur =
                c.kind == CellKind::SharedString ? static_cast<std::int64_t>(c.number) : -1;
            if (cur >= 0 && static_cast<std::size_t>(cur) < n)
                target[static_cast<std::size_t>(cur)] = kKeep;
        }
    }
    for (WorksheetPart* p : parts) {
        for (const Cell& c : p->table().cells) {
            if (!c.dirty() || c.kind != CellKind::SharedString || c.has_formula()) continue;
            auto cur = static_cast<std::int64_t>(c.number);
            if (static_cast<std::size_t>(cur) < n || static_cast<std::size_t>(cur) >= sst.size())
                continue;
            // A rich entry is written as it is, never folded into a plain one.
            if (sst.is_rich(static_cast<std::size_t>(cur))) continue;
            auto orig = p->original_shared_index(c);
            if (!orig || *orig >= n) continue;
            std::int64_t& t = target[*orig];
            if (t == kUnused)
                t = cur;
            else if (t != cur)
                t = kKeep;
        }
    }
    bool any = false;
    memo_key_.clear();  // entries change their text
    memo_.clear();
    for (std::size_t i = 0; i < n; ++i) {
        if (target[i] < 0) continue;
        sst.set_text(static_cast<std::uint32_t>(i), sst.at(static_cast<std::size_t>(target[i])));
        any = true;
    }
    if (!any) return;
    // The cells go back to the entry they were read with, and are written as they were.
    std::vector<bool> keep(sst.size() - n, false);
    for (WorksheetPart* p : parts) {
        for (Cell& c : p->table().cells) {
            if (c.kind != CellKind::SharedString) continue;
            auto cur = static_cast<std::size_t>(c.number);
            // Entries read from the part stay; so does a reference beyond the table, which
            // only a damaged file holds.
            if (cur < n || cur >= sst.size()) continue;
            if (c.dirty() && !c.has_formula()) {
                auto orig = p->original_shared_index(c);
                if (orig && *orig < n && target[*orig] == static_cast<std::int64_t>(cur)) {
                    c.number = *orig;
                    c.flags &= static_cast<std::uint8_t>(~(Cell::kDirty | Cell::kDropMeta));
                    continue;
                }
            }
            keep[cur - n] = true;
        }
        p->refresh_dirty();
    }
    auto remap = sst.compact_appended(keep);
    for (WorksheetPart* p : parts)
        for (Cell& c : p->table().cells)
            if (c.kind == CellKind::SharedString && static_cast<std::size_t>(c.number) >= n &&
                static_cast<std::size_t>(c.number) < remap.size())
                c.number = remap[static_cast<std::size_t>(c.number)];
}

Result<void> Book::flush() {
    if (auto r = flush_vba(); !r) return r;
    if (app_properties_stale_) {
        structure::list_sheets_in_app_properties(*this);
        app_properties_stale_ = false;
    }
    fold_string_changes();
    // The active tab and the selected flags of the sheets follow the active sheet.
    int active_pos = sheet_position(active_);
    if (active_pos >= 0 && (active_pos != loaded_active_tab_ || group_changed_)) {
        workbook_.set_active_tab(active_pos);
        for (std::size_t i = 0; i < sheets_.size(); ++i) {
            Sheet& s = *sheets_[i];
            if (!s.has_cells()) continue;
            bool want = static_cast<int>(i) == active_pos ||
                        std::find(group_.begin(), group_.end(), &s) != group_.end();
            if (!s.loaded()) {
                auto head = package_->read_prefix(s.part_name(), 64 * 1024);
                if (head && WorksheetPart::read_head(*head).tab_selected == want) continue;
            }
            auto part = s.part();
            if (!part) continue;  // a damaged sheet stays as it was
            (*part)->set_tab_selected(want);
        }
        loaded_active_tab_ = active_pos;
        group_changed_ = false;
    }
    for (auto& s : sheets_) {
        if (!s->loaded()) continue;
        auto part = s->part();
        if (part && (*part)->dirty()) package_->write(s->part_name(), (*part)->serialize());
    }
    if (shared_strings_ && shared_strings_->dirty()) {
        // A damaged table is kept as it was; writing the strings known here would lose the rest.
        if (shared_strings_error_) return *shared_strings_error_;
        if (shared_strings_part_.empty()) {
            // A workbook without a string table gets one.
            shared_strings_part_ = "xl/sharedStrings.xml";
            std::string dir = workbook_part_name_.substr(0, workbook_part_name_.rfind('/') + 1);
            shared_strings_part_ = dir + "sharedStrings.xml";
            workbook_rels_.add(rel::kSharedStrings,
                               relative_target(workbook_part_name_, shared_strings_part_));
            auto ct = content_types();
            if (!ct) return ct.error();
            (*ct)->set_override(shared_strings_part_, ctype::kSharedStrings);
        }
        package_->write(shared_strings_part_, shared_strings_->serialize());
    }
    if (workbook_.dirty()) package_->write(workbook_part_name_, workbook_.serialize());
    if (workbook_rels_.dirty())
        package_->write(rels_path_for(workbook_part_name_), workbook_rels_.serialize());
    if (content_types_ && content_types_->dirty())
        package_->write("[Content_Types].xml", content_types_->serialize());
    return {};
}

Result<void> Book::save_package(const std::string& path, int file_format) {
    auto ct = content_types();
    if (!ct) return ct.error();
    std::string main_type = (*ct)->type_of(workbook_part_name_);
    // Saved over itself, a package keeps its own kind whatever its name says: a macro-enabled
    // workbook named .xlsx keeps its VBA project. Only a save under a new name converts.
    const bool in_place = path == path_ && format_ == Format::Package;
    if (!in_place && file_format == xlOpenXMLWorkbook) {
        // An .xlsx holds no macros: the VBA project and what hangs off it go.
        if (auto item = workbook_rels_.by_type(rel::kVbaProject)) {
            std::string part = resolve_target(workbook_part_name_, item->target);
            std::string part_rels = rels_path_for(part);
            if (package_->has(part_rels)) {
                if (auto bytes = package_->read(part_rels)) {
                    Relationships vba_rels;
                    if (vba_rels.parse(*bytes, part_rels))
                        for (const auto& it : vba_rels.items()) {
                            if (it.external) continue;
                            std::string target = resolve_target(part, it.target);
                            package_->remove(target);
                            (*ct)->remove_override(target);
                        }
                }
                package_->remove(part_rels);
            }
            package_->remove(part);
            (*ct)->remove_override(part);
            workbook_rels_.remove_type(rel::kVbaProject);
        }
        if (main_type != ctype::kWorkbook)
            (*ct)->set_override(workbook_part_name_, ctype::kWorkbook);
    } else if (!in_place && main_type != ctype::kWorkbookMacro) {
        (*ct)->set_override(workbook_part_name_, ctype::kWorkbookMacro);
    }
    if (auto r = flush(); !r) return r;
    if (password_.empty()) return package_->save(path);
    return package_->save(path, [&](std::string zip) {
        return encryption::encrypt(zip, password_);
    });
}

Result<std::string> Book::text_of_active_sheet(int file_format) {
    if (!active_ || !active_->has_cells())
        return Error::make(
            Error::Code::Refused,
            "アクティブなシートがワークシートではないため、テキスト形式で保存できません。");
    if (auto r = active_->check(); !r) return r.error();
    char sep = file_format == xlCSV ? ',' : '\t';
    Area used = active_->used_range();
    std::string out;
    auto part = active_->part();
    if (!part) return part.error();
    const CellTable& t = (*part)->table();
    bool empty = active_->count_a(used) == 0 && t.cells.empty();
    if (empty) return out;
    // From A1 to the last used row and column, every line padded to the full width. Fields
    // are encoded one by one: ASCII as it is, other texts once per distinct text.
    std::unordered_map<std::string, std::string> encoded;
    std::string field;
    auto put = [&](const std::string& text) {
        field.clear();
        csv::append_field(text, sep, field);
        bool ascii = std::all_of(field.begin(), field.end(),
                                 [](char c) { return static_cast<unsigned char>(c) < 0x80; });
        if (ascii) {
            out += field;
            return;
        }
        auto it = encoded.find(field);
        if (it == encoded.end()) it = encoded.emplace(field, text::to_cp932(field, '?')).first;
        out += it->second;
    };
    std::size_t ri = 0;
    for (std::int32_t r = 1; r <= used.last_row; ++r) {
        std::int32_t col = 1;  // the next column to write
        auto next_field = [&]() {
            if (col > 1) out += sep;
            ++col;
        };
        while (ri < t.rows.size() && t.rows[ri].r < r) ++ri;
        if (ri < t.rows.size() && t.rows[ri].r == r) {
            const Row& row = t.rows[ri];
            for (std::uint32_t i = row.first; i < row.last; ++i) {
                const Cell& c = t.cells[i];
                if (c.col > used.last_col) break;
                while (col < c.col) next_field();
                next_field();
                put(active_->display_text(c));
            }
        }
        while (col <= used.last_col) next_field();
        out += "\r\n";
    }
    return out;
}

Result<void> Book::save_as(const std::string& path, int file_format) {
    std::error_code ec;
    std::string target = fs::absolute(path, ec).lexically_normal().string();
    if (ec) target = path;
    if (read_only_ && !path_.empty() && target == path_)
        return Error::make(
            Error::Code::Refused,
            "ブック「" + name_ + "」は読み取り専用で開かれているため、同じ名前では保存できません。",
            target);
    switch (file_format) {
        case xlOpenXMLWorkbook:
        case xlOpenXMLWorkbookMacroEnabled: {
            if (auto r = save_package(target, file_format); !r) return r;
            format_ = Format::Package;
            break;
        }
        case xlCSV:
        case xlCurrentPlatformText: {
            auto bytes = text_of_active_sheet(file_format);
            if (!bytes) return bytes.error();
            if (auto r = file::replace_file(target, *bytes); !r) return r;
            format_ = Format::Csv;
            break;
        }
        case xlExcel8:
            if (auto r = save_through_office(target); !r) return r;
            break;
        default:
            return Error::make(
                Error::Code::Unsupported,
                "保存形式（" + std::to_string(file_format) + "）には対応していません。", target);
    }
    release_office_document();
    // SaveAs re-targets the open workbook.
    path_ = target;
    name_ = file_name_of(target);
    read_only_ = false;
    saved_ = true;
    written_ = true;
    return {};
}

// ---------------------------------------------------------------------------------------------
// Application and Workbooks

NativeApplication::~NativeApplication() { books_.clear(); }

void NativeApplication::quit() {
    books_.clear();
    active_ = nullptr;
    if (office_) office_->shutdown();
}

Result<Workbook*> NativeApplication::adopt(std::unique_ptr<Book> book) {
    books_.push_back(std::move(book));
    active_ = books_.back().get();
    return static_cast<Workbook*>(active_);
}

Result<Workbook*> NativeApplication::open(const std::string& path, bool read_only) {
    std::error_code ec;
    std::string full = fs::absolute(path, ec).lexically_normal().string();
    for (auto& b : books_) {
        if (b->full_name() == full) {
            active_ = b.get();
            return static_cast<Workbook*>(b.get());
        }
    }
    std::string name = file_name_of(path);
    for (auto& b : books_)
        if (text::upper(b->name()) == text::upper(name))
            return Error::make(Error::Code::Refused,
                               "同じ名前のブック「" + name + "」が既に開いているため、開けません。",
                               path);
    auto book = Book::open(*this, path, read_only);
    if (!book) return book.error();
    return adopt(std::move(*book));
}

Result<Workbook*> NativeApplication::add() { return adopt(Book::create(*this, next_book_name())); }

Workbook* NativeApplication::item(int index) {
    if (index < 1 || index > static_cast<int>(books_.size())) return nullptr;
    return books_[static_cast<std::size_t>(index - 1)].get();
}

Workbook* NativeApplication::item(std::string_view name) {
    std::string want = text::upper(name);
    for (auto& b : books_)
        if (text::upper(b->name()) == want) return b.get();
    return nullptr;
}

void NativeApplication::closed(Book* b) {
    auto it =
        std::find_if(books_.begin(), books_.end(), [&](const auto& p) { return p.get() == b; });
    if (it == books_.end()) return;
    std::unique_ptr<Book> keep = std::move(*it);
    books_.erase(it);
    if (active_ == b) active_ = books_.empty() ? nullptr : books_.back().get();
    keep.reset();
}

std::unique_ptr<xl::Application> create_application(std::unique_ptr<OfficeBridge> office) {
    return std::make_unique<NativeApplication>(std::move(office));
}

}  // namespace sheaflow::xl::native
