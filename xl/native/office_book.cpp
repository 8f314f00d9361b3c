// The engine's side of the office bridge: workbooks the engine cannot read or write itself
// (.xls) go through the office program as packages, and macros run there against a workbook.

#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>

#include "util/safe_save.h"
#include "xl/native/book.h"
#include "xl/native/compound_file.h"
#include "xl/native/office_edits.h"
#include "xl/native/relationships.h"
#include "xl/native/vba_project.h"

namespace sheaflow::xl::native {

namespace fs = std::filesystem;

namespace {

// UTF-16LE "_VBA_PROJECT_CUR": the storage of a binary workbook's VBA project.
bool holds_vba_storage(std::string_view bytes) {
    std::string needle;
    for (char c : std::string_view("_VBA_PROJECT_CUR")) {
        needle += c;
        needle += '\0';
    }
    return bytes.find(needle) != std::string_view::npos;
}

std::string office_work_file(const std::string& folder, std::string_view kind,
                             std::string_view extension) {
    static int counter = 0;
    return folder + "/" + std::string(kind) + "-" + std::to_string(++counter) + "." +
           std::string(extension);
}

// Whether a binary workbook's VBA project holds code: its storage is the same compound file as
// an .xlsm's vbaProject.bin. Document modules that Excel keeps for every sheet, with nothing but
// options in them, are no macros. A project that cannot be read counts as holding code.
bool holds_macro_code(std::string_view bytes) {
    if (!holds_vba_storage(bytes)) return false;
    auto root = cfb::read(bytes, "xls");
    if (!root) return true;
    const cfb::Node* storage = root->child("_VBA_PROJECT_CUR");
    if (!storage) return false;
    auto bin = cfb::write(*storage);
    if (!bin) return true;
    auto project = vba::Project::parse(*bin, "_VBA_PROJECT_CUR");
    if (!project) return true;
    for (const vba::Module& m : project->modules())
        for (const std::string& line : m.code) {
            std::string_view t = line;
            while (!t.empty() && (t.front() == ' ' || t.front() == '\t')) t.remove_prefix(1);
            if (!t.empty() && t.rfind("Option ", 0) != 0 && t.front() != '\'') return true;
        }
    return false;
}

std::string read_work_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::error_code ec;
    fs::remove(path, ec);
    return bytes;
}

}  // namespace

Result<void> Book::load_through_office(const std::string& path, std::string_view bytes) {
    OfficeBridge* office = app_.office();
    auto folder = office->work_folder();
    if (!folder) return folder.error();
    const std::string work = office_work_file(*folder, "open", "xlsx");
    auto handle = office->convert_and_keep(path, work, kFilterXlsx);
    if (!handle) return handle.error();
    office_document_ = *handle;
    auto pkg = Package::open_memory(read_work_file(work));
    if (!pkg) return pkg.error();
    package_ = std::move(*pkg);
    if (auto r = load_package(path); !r) return r;
    office_name_ = office->name();
    office_macros_ = holds_macro_code(bytes);
    return {};
}

Result<void> Book::save_through_office(const std::string& target) {
    OfficeBridge* office = app_.office();
    if (!office)
        return Error::make(Error::Code::Unsupported,
                           "Excel 97-2003 形式（.xls）での保存には LibreOffice との連携が必要です"
                           "（この環境では使えません）。",
                           target);
    // The package the office gave holds no VBA project: saving would drop the file's macros.
    if (office_macros_)
        return Error::make(Error::Code::Refused,
                           "マクロを含む .xls のブックは、保存するとマクロが失われるため保存しません。",
                           target);
    auto folder = office->work_folder();
    if (!folder) return folder.error();
    if (auto r = flush(); !r) return r;
    // Changes to cell values only are written into the document the office read the file into;
    // anything else, or a failure there, goes the long way: the office reads the package.
    // The tabs selected besides the active sheet are not told to the office.
    std::optional<std::vector<OfficeCellEdit>> edits;
    if (!office_document_.empty() && active_ && group_.size() <= 1) {
        std::vector<OfficeSheet> sheets;
        for (const auto& s : sheets_)
            if (s->kind() == SheetKind::Worksheet) sheets.push_back({s->name(), s->part_name()});
        shared_strings();  // names the string table's part
        edits = office_cell_edits(*package_, sheets, workbook_part_name_, shared_strings_part_);
    }
    const std::string kept = std::exchange(office_document_, std::string());
    if (!kept.empty() && !edits) office->close_kept(kept);
    // The office writes the temporary file by its name; the safe save renames it over the target.
    const bool macros = workbook_rels_.by_type(rel::kVbaProject).has_value();
    const std::string work = office_work_file(*folder, "save", macros ? "xlsm" : "xlsx");
    auto r = file::replace_file(target, [&](int, const std::string& temp) -> Result<void> {
        if (edits && office->store_kept(kept, *edits, active_->name(), temp, kFilterXls)) return {};
        if (auto saved =
                save_package(work, macros ? xlOpenXMLWorkbookMacroEnabled : xlOpenXMLWorkbook);
            !saved)
            return saved;
        auto converted = office->convert(work, temp, kFilterXls);
        if (converted) return {};
        Error e = converted.error();
        e.message = "ファイル「" + target + "」を保存できません（" + e.message + "）。";
        return e;
    });
    std::error_code ec;
    fs::remove(work, ec);
    return r;
}

void Book::release_office_document() {
    if (office_document_.empty()) return;
    if (OfficeBridge* office = app_.office()) office->close_kept(office_document_);
    office_document_.clear();
}

Result<void> Book::run_macro_in_office(const std::string& macro_book, const std::string& macro,
                                      int time_limit_seconds) {
    release_office_document();
    OfficeBridge* office = app_.office();
    if (!office)
        return Error::make(Error::Code::Unsupported,
                           "マクロを実行するには LibreOffice との連携が必要です。");
    auto folder = office->work_folder();
    if (!folder) return folder.error();
    // A workbook with a VBA project goes as .xlsm so that the package keeps its kind.
    const bool macros = workbook_rels_.by_type(rel::kVbaProject).has_value();
    const std::string in = office_work_file(*folder, "macro-in", macros ? "xlsm" : "xlsx");
    const std::string out = office_work_file(*folder, "macro-out", macros ? "xlsm" : "xlsx");
    // The office writes a VBA project of its own making; the macro does not change the project,
    // so the workbook's own one is put back afterwards, byte for byte.
    std::optional<std::string> own_project;
    if (macros) {
        auto item = workbook_rels_.by_type(rel::kVbaProject);
        if (auto bytes = package_->read(resolve_target(workbook_part_name_, item->target)))
            own_project = *bytes;
    }
    if (auto r = save_package(in, macros ? xlOpenXMLWorkbookMacroEnabled : xlOpenXMLWorkbook);
        !r)
        return r;
    auto ran = office->run_macro(in, macro_book, macro, out, macros ? kFilterXlsm : kFilterXlsx,
                                 time_limit_seconds);
    std::error_code ec;
    fs::remove(in, ec);
    if (!ran) {
        fs::remove(out, ec);
        return ran.error();
    }
    auto pkg = Package::open_memory(read_work_file(out));
    if (!pkg) return pkg.error();
    // The workbook becomes what the macro left; objects of the old sheets stay alive until the
    // book closes, as a deleted sheet's do.
    for (auto& sheet : sheets_) retire(sheet);
    sheets_.clear();
    active_ = nullptr;
    package_ = std::move(*pkg);
    content_types_.reset();
    shared_strings_.reset();
    shared_strings_part_.clear();
    shared_strings_error_.reset();
    styles_.reset();
    vba_.reset();
    memo_key_.clear();
    memo_.clear();
    structure_cache.reset();
    // load_package reads the workbook part and its relationships afresh.
    if (auto r = load_package(path_); !r) return r;
    if (own_project)
        if (auto item = workbook_rels_.by_type(rel::kVbaProject))
            package_->write(resolve_target(workbook_part_name_, item->target), *own_project);
    saved_ = false;
    return {};
}

Result<void> NativeApplication::run_macro(const std::string& macro_book, const std::string& module,
                                          const std::string& procedure, int time_limit_seconds) {
    if (!active_) return Error::failed("ブックが開かれていません。");
    return active_->run_macro_in_office(macro_book, module + "." + procedure, time_limit_seconds);
}

}  // namespace sheaflow::xl::native
