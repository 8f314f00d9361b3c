#pragma once
// The engine's implementation of the object model: NativeApplication owns the open books; a Book
// owns its package and the part objects read from it; a Sheet owns its worksheet part once read.
// Internal to xl/native (operations see only xl/xl.h); the sheet-structure code works on these.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "xl/native/content_types.h"
#include "xl/native/package.h"
#include "xl/native/relationships.h"
#include "xl/native/shared_strings.h"
#include "xl/native/styles.h"
#include "xl/native/workbook_part.h"
#include "xl/native/worksheet_part.h"
#include "xl/office_bridge.h"
#include "xl/xl.h"

namespace sheaflow::xl::native {

class Book;
class NativeApplication;
struct PropertiesPart;
class VbaBinding;
class FormatTable;

// What a sheet part is.
enum class SheetKind { Worksheet, Chart, Dialog, Macro };

class Sheet : public xl::Worksheet {
public:
    Sheet(Book& book, std::string name, std::string part_name, SheetKind kind);

    // xl::Worksheet
    Workbook& parent() override;
    std::string name() const override { return name_; }
    Result<void> set_name(const std::string& name) override;
    std::string code_name() const override;
    int type() const override;
    int index() const override;
    bool visible() const override { return state_.empty() || state_ == "visible"; }
    Result<void> activate() override;
    Result<void> select() override { return activate(); }
    std::int32_t rows_count() const override { return 1048576; }
    std::int32_t columns_count() const override { return 16384; }
    Area used_range() override;
    Value cell_value(CellRef c) override;
    std::string cell_formula(CellRef c) override;
    std::string cell_text(CellRef c) override;
    std::string cell_number_format_local(CellRef c) override;
    Result<void> set_cell_value(CellRef c, const Value& v) override;
    Result<void> set_cell_formula(CellRef c, const std::string& formula_or_constant) override;
    void for_each_cell(const Area& area, const std::function<void(CellRef)>& visit) override;
    std::optional<CellRef> find(const Area& area, const FindSpec& criteria,
                                std::optional<CellRef> after) override;
    Result<bool> replace(const Area& area, const FindSpec& criteria,
                         const std::string& replacement) override;
    std::int64_t count_a(const Area& area) override;
    Result<void> check() override;
    Result<void> delete_sheet() override;
    Result<void> move(Worksheet* before, Worksheet* after) override;
    Result<Worksheet*> copy(Worksheet* before, Worksheet* after) override;
    // Whether the sheet can be copied: a worksheet whose part is well-formed.
    Result<void> copyable();
    // Rows and columns (xl/native/sheet_lines.cpp).
    Result<void> insert_lines(Axis axis, std::int32_t at, std::int32_t count) override;
    Result<void> insert_lines_before(Axis axis, std::vector<std::int32_t> lines) override;
    Result<void> delete_lines(Axis axis, std::vector<LineSpan> spans) override;
    Result<void> insert_cells(Axis axis, const Area& area) override;
    Result<void> delete_cells(Axis axis, const Area& area) override;
    LineFormat line_format(Axis axis, std::int32_t line) override;
    Result<void> format_lines(Axis axis, const std::vector<LineSpan>& spans,
                              const LineFormatChange& change) override;
    Result<void> autofit_lines(Axis axis, const std::vector<LineSpan>& spans,
                               std::int32_t first_cross) override;
    double standard_size(Axis axis) override;
    std::vector<std::pair<LineSpan, LineFormat>> formatted_lines(Axis axis) override;
    // Copying and clearing cells (xl/native/range_copy.cpp).
    Result<void> paste_special(Worksheet& source, const Area& from, CellRef to, int paste,
                               bool skip_blanks, bool transpose) override;
    Result<void> clear_cells(const Area& area, int what) override;
    Result<void> cut_cells(const Area& from, CellRef to) override;
    Result<void> paste_conditional_formats(Worksheet& source, const Area& from,
                                           CellRef to) override;
    std::vector<std::pair<CellRef, std::string>> comments() override;
    // The window (xl/native/sheet_view.cpp).
    Result<SheetView> view() override;
    Result<void> set_view(const SheetView& v) override;

    // Page setup (xl/native/page_setup.cpp).
    Result<PageSetup> page_setup() override;
    Result<void> set_page_setup(const PageSetupChange& change) override;

    // Colours and drawing objects (xl/native/colours*.cpp, drawing*.cpp).
    Result<void> visit_colours(const ColourKinds& kinds, const ColourVisit& visit) override;
    std::optional<std::int32_t> tab_colour() override;
    Result<void> set_tab_colour(std::int32_t colour) override;
    // Drawing objects (xl/native/drawing_objects.cpp).
    std::vector<SheetObject> objects() override;
    Result<void> delete_object(const SheetObject& o) override;
    Result<void> move_object(const SheetObject& o, CellRef to) override;
    Result<void> rename_object(const SheetObject& o, const std::string& name) override;
    Result<void> scale_object(const SheetObject& o, double width, double height) override;
    Result<void> copy_object(const SheetObject& o, Worksheet& dest,
                             std::optional<CellRef> to) override;
    Result<void> add_picture(const std::string& png, CellRef at, double width,
                             double height) override;
    // Merged areas (xl/native/formula_book.cpp).
    std::vector<Area> merged_areas() override;
    // Visibility and code name (xl/native/sheet_settings.cpp).
    int visibility() const override;
    Result<void> set_visibility(int visibility) override;
    Result<void> set_code_name(const std::string& name) override;
    // Protection (xl/native/protection.cpp).
    SheetProtection protection() override;
    Result<void> protect(const std::string& password, const SheetPermissions& allow) override;
    Result<void> unprotect(const std::string& password) override;

    // Cell formats (xl/native/sheet_formats.cpp).
    CellFormat cell_format(CellRef c) override;
    Result<void> format_cells(const Area& area, bool blanks,
                              const std::function<void(CellRef, CellFormat&)>& edit) override;
    std::vector<TextRun> text_runs(CellRef c) override;
    Result<void> set_text_runs(CellRef c, const std::vector<TextRun>& runs) override;
    // Phonetic readings (xl/native/phonetic.cpp).
    std::string phonetic(CellRef c) override;
    Result<void> set_phonetic(CellRef c, const std::string& reading) override;
    // Data validation (xl/native/validation.cpp).
    std::vector<Validation> validations() override;
    Result<void> add_validation(const Validation& v) override;
    Result<void> update_validations(const std::vector<Validation>& changed) override;
    Result<void> delete_validations(const Area& area) override;
    // Conditional formats (xl/native/conditional_formats.cpp).
    std::vector<ConditionalFormat> conditional_formats() override;
    Result<void> add_conditional_format(const ConditionalFormat& f) override;
    Result<void> delete_conditional_formats(const Area& area) override;
    // Hyperlinks (xl/native/hyperlinks.cpp).
    std::vector<Hyperlink> hyperlinks() override;
    Result<void> add_hyperlink(const Hyperlink& h) override;
    // Comment boxes (xl/native/comment_boxes.cpp).
    std::vector<CommentBox> comment_boxes() override;
    Result<void> format_comment_boxes(const Area& area,
                                      const std::function<void(CommentBox&)>& edit) override;

    // Engine side.
    SheetKind kind() const { return kind_; }
    const std::string& part_name() const { return part_name_; }
    void set_part_name(std::string p) { part_name_ = std::move(p); }
    const std::string& state() const { return state_; }
    void set_state(std::string s) { state_ = std::move(s); }
    void rename_in_memory(std::string n) { name_ = std::move(n); }
    bool has_cells() const { return kind_ == SheetKind::Worksheet || kind_ == SheetKind::Macro; }
    // The worksheet part, read on first use.
    Result<WorksheetPart*> part();
    bool loaded() const { return part_ != nullptr; }
    bool part_dirty() const { return part_ && part_->dirty(); }
    // Cells and rows held in memory (0 when the part is not read).
    std::uint64_t held_cells() const;
    // Drops the cells of a part read but not changed; it is read again when next needed.
    void release();
    // Replaces the part with one built elsewhere (new sheets, CSV).
    void adopt_part(std::unique_ptr<WorksheetPart> p) {
        part_ = std::move(p);
        by_columns_valid_ = false;  // cells may have moved
        comments_loaded_ = false;
        comments_.clear();
    }

    // Cell texts used by find, replace and the text formats.
    std::string formula_bar_text(std::int32_t r, const Cell& c) const;
    std::string display_text(const Cell& c) const;
    // The text of a cell's comment ("" when none).
    std::string comment_text(CellRef c);

private:
    // Stores a typed entry ("123", "=A1", "TRUE", "abc") in a cell, as if typed; keeps the
    // cell's format.
    Result<void> enter(CellRef at, std::string_view typed);
    // Prepares a cell for a change: shared formulas it belongs to are written out per cell.
    Result<Cell*> prepare_change(CellRef at);
    void set_string(Cell& cell, std::string_view s);
    void clear_value(Cell& cell);
    Result<void> ensure_comments();
    // The paste of range_copy.cpp; `shift` moves the relative references of formulas (a copy),
    // else they are pasted as they stand (a cut).
    Result<void> paste_cells(Sheet& src, const Area& from, CellRef to, int paste,
                             bool skip_blanks, bool transpose, bool shift);
    const std::vector<std::pair<std::int32_t, std::int32_t>>& column_order();

    Book& book_;
    std::string name_;
    std::string part_name_;
    SheetKind kind_;
    std::string state_;
    std::unique_ptr<WorksheetPart> part_;
    std::optional<Error> load_error_;
    mutable std::optional<std::string> code_name_;
    std::vector<std::pair<std::int32_t, std::int32_t>> by_columns_;  // (col,row) order cache
    bool by_columns_valid_ = false;
    bool comments_loaded_ = false;
    std::vector<std::pair<CellRef, std::string>> comments_;
    // Kept by the book's sheet index: the place in the sheet list, and the worksheet number
    // (1-based; 0 for other sheets).
    friend class Book;
    int position_ = -1;
    int worksheet_number_ = 0;
};

class Book : public xl::Workbook {
public:
    enum class Format { Package, Csv, New };

    // Opens a file (a package, or a CSV file by its extension).
    static Result<std::unique_ptr<Book>> open(NativeApplication& app, const std::string& path,
                                              bool read_only);
    // Opens a package held in memory (tests and the fuzzer); `name` plays the file name.
    static Result<std::unique_ptr<Book>> open_memory(NativeApplication& app, std::string bytes,
                                                     const std::string& name);
    // A new workbook with one empty worksheet "Sheet1".
    static std::unique_ptr<Book> create(NativeApplication& app, const std::string& name);

    // xl::Workbook
    Application& application() override;
    std::string name() const override { return name_; }
    std::string full_name() const override { return path_.empty() ? name_ : path_; }
    bool read_only() const override { return read_only_; }
    int worksheet_count() override;
    Worksheet* worksheet(int index) override;
    Worksheet* worksheet(std::string_view name) override;
    int sheet_count() override { return static_cast<int>(sheets_.size()); }
    Worksheet* sheet(int index) override;
    Worksheet* active_sheet() override;
    Result<void> activate() override;
    Result<Worksheet*> add_worksheet(Worksheet* before, Worksheet* after) override;
    Result<std::vector<Worksheet*>> copy_sheets(const std::vector<Worksheet*>& sheets,
                                                Worksheet& after,
                                                const std::vector<std::string>& names) override;
    Result<void> check_sheet_name(const std::string& name) override;
    Result<std::vector<Result<void>>> rename_sheets(
        const std::vector<std::pair<Worksheet*, std::string>>& renames) override;
    Result<void> set_open_password(const std::string& password) override;
    bool has_open_password() const override { return !password_.empty(); }
    // False after any change that a save would write, whichever path made it.
    bool saved() const override;
    void set_saved(bool saved) override { saved_ = saved; }
    Result<void> save_as(const std::string& path, int file_format) override;
    void close() override;
    ~Book() override { release_office_document(); }
    Result<std::vector<DocumentProperty>> document_properties() override;
    Result<void> set_document_property(const std::string& name, const std::string& value,
                                       bool custom) override;
    std::string opened_through() const override { return office_name_; }

    // Named cell styles (xl/native/range_copy.cpp).
    std::vector<std::string> style_names() override;
    Result<void> merge_styles(Workbook& source, const std::vector<std::string>& names) override;

    // Selected tabs (xl/native/sheet_view.cpp).
    std::vector<int> selected_sheets() override;
    Result<void> select_sheets(const std::vector<int>& positions) override;
    // Defined names (xl/native/formula_book.cpp).
    std::vector<DefinedName> names() override;

    // Tabs (xl/native/colours_sheet.cpp).
    int first_tab() override;
    Result<void> set_first_tab(int position) override;
    // Protection (xl/native/protection.cpp).
    BookProtection protection() override;
    Result<void> protect(const std::string& password, bool structure, bool windows) override;
    Result<void> unprotect(const std::string& password) override;
    bool has_modify_password() override;
    Result<void> change_modify_password(const std::string& old_password,
                                        const std::string& password) override;
    // Options and sharing (xl/native/book_options.cpp).
    BookOptions options() override;
    Result<void> set_options(const BookOptionsChange& change) override;
    SharingState sharing() override;
    Result<void> set_shared(bool shared, const std::string& user) override;
    // Cell styles (xl/native/cell_styles.cpp).
    Result<std::vector<CellStyleInfo>> cell_styles() override;
    Result<int> delete_cell_styles(const std::vector<std::string>& names) override;
    // Cell styles (xl/native/sheet_formats.cpp).
    std::vector<std::string> cell_style_names() override;

    // Engine side.
    NativeApplication& app() { return app_; }
    Package& package() { return *package_; }
    WorkbookPart& workbook_part() { return workbook_; }
    const std::string& workbook_part_name() const { return workbook_part_name_; }
    Relationships& workbook_rels() { return workbook_rels_; }
    Result<ContentTypes*> content_types();
    // The shared strings table, created empty when the workbook has none. A table that cannot
    // be read also reads as empty; it is never written (flush refuses).
    SharedStrings& shared_strings();
    // Error when the cells of a sheet refer to strings that the table cannot give: the table is
    // damaged, or an index lies beyond it.
    Result<void> check_string_references(const CellTable& cells);
    const Styles& styles();
    bool date1904() const { return date1904_; }
    Format format() const { return format_; }
    // The sheet list. Code that inserts or removes entries calls structure_changed() after.
    std::vector<std::unique_ptr<Sheet>>& sheets() { return sheets_; }
    int sheet_position(const Sheet* s) const;  // 0-based, -1 when not here
    int worksheet_number(const Sheet* s) const;  // 1-based among worksheets, 0 when none
    // The cells that a sheet about to be read may hold: the cell limit less what the other
    // sheets hold, after the unchanged ones among them let go of theirs.
    std::uint64_t cell_budget(const Sheet* reading);
    // Moves the sheet at `from` to `to` (0-based, `to` counted without it) in the sheet list and
    // its <sheet> element with it, in time proportional to the distance. The caller updates
    // what refers to sheet positions.
    void move_sheet(int from, int to);
    // The document properties list the sheets: written again at the next save.
    void app_properties_stale() { app_properties_stale_ = true; }
    // Makes `s` the active sheet; a group of selected tabs that does not hold it is dissolved.
    void set_active(Sheet* s);
    // Records that cell contents changed: the calculation chain goes and a full recalculation
    // is requested for the next open.
    void cells_changed();
    // Whether shared string `index` matches the search `criteria` (0 not known yet, 1 yes, 2 no),
    // kept while the same search is repeated (FindNext loops).
    std::int8_t& match_memo(const FindSpec& criteria, std::size_t index);
    // Writes every changed part object into the package.
    Result<void> flush();
    // Sheet structure (xl/native/structure*.cpp): the sheet list changed, so the active tab
    // and every sheet's selected flag are written again at the next flush.
    void structure_changed() {
        loaded_active_tab_ = -1;
        saved_ = false;
        ++list_version_;
    }
    // Keeps a deleted sheet's object alive until the book closes (callers may hold pointers).
    void retire(std::unique_ptr<Sheet>& sheet) { retired_.push_back(std::move(sheet)); }
    // The styles part was rewritten in the package: read it again when next needed.
    void styles_changed() {
        styles_.reset();
        formats_.reset();
    }
    // The styles part as an editable table of cell formats, read on first use.
    Result<FormatTable*> formats();
    // The format table wrote the styles part: the number formats are read again.
    void formats_stored() { styles_.reset(); }
    // What the sheet-structure code looked up in this workbook and keeps for the next copy
    // into it (the external links of a workbook that collects many sheets).
    std::shared_ptr<struct StructureCache> structure_cache;
    // The text of the active sheet in a text format (6 CSV, -4158 tab text), encoded.
    Result<std::string> text_of_active_sheet(int file_format);
    // The VBA project (xl/native/vba_book.cpp).
    Result<VBProject*> vb_project() override;
    // Runs `macro` ("Module.Procedure") of the workbook file `macro_book` against this
    // workbook in the office program, and takes the changed workbook back.
    Result<void> run_macro_in_office(const std::string& macro_book, const std::string& macro,
                                     int time_limit_seconds);
    // Renames the document module tied to a sheet or to the workbook when its code name
    // changes; nothing to do when the workbook has no project or no such module.
    Result<void> rename_document_module(const std::string& old_code_name,
                                        const std::string& new_code_name);
    // A sheet came in or went: its document module follows, when the project has been read in
    // this session (a project not read yet is left as it is).
    // A copied sheet's module takes the code of its source's module.
    void document_module_added(const Sheet& sheet, Sheet* source = nullptr);
    void document_module_removed(const std::string& code_name);

private:
    Book(NativeApplication& app) : app_(app) {}
    Result<void> load_package(const std::string& display);
    // An encrypted package: decrypted with the run's password (or the default one) and loaded.
    Result<void> load_encrypted(const std::string& bytes, const std::string& display);
    Result<void> load_csv(const std::string& bytes, const std::string& display);
    void init_new(const std::string& sheet_name);
    // A file the engine cannot read itself (.xls), loaded by the office program as a package.
    Result<void> load_through_office(const std::string& path, std::string_view bytes);
    // Saves as .xls: the package goes to the office program, which writes the target's
    // temporary file of the safe save.
    Result<void> save_through_office(const std::string& target);
    // Closes the document the office kept open since it read the file: after a save, the
    // package no longer tells what that document lacks.
    void release_office_document();
    Result<void> save_package(const std::string& path, int file_format);
    // Where every cell that used shared string i now uses one appended string j, and no cell
    // uses i any more, entry i takes j's text and those cells are written as they were read:
    // a replace across a workbook then rewrites the string table, not every sheet.
    void fold_string_changes();
    // The name of a document properties part (xl/native/doc_properties.cpp), "" when the
    // workbook has none; with `create`, a missing part is added.
    std::string properties_part(const PropertiesPart& kind, bool create);

    NativeApplication& app_;
    // The password to open: the package is encrypted with it when saved.
    std::string password_;
    std::unique_ptr<Package> package_;
    std::string path_;
    std::string name_;
    bool read_only_ = false;
    bool saved_ = true;
    bool written_ = false;  // saved at least once since it was opened
    Format format_ = Format::Package;
    std::string office_name_;    // the office program that read the file, "" for the engine
    bool office_macros_ = false;  // that file holds a VBA project, which the package lost
    std::string office_document_;  // the office's handle of the document it read, "" when none
    std::string workbook_part_name_;
    WorkbookPart workbook_;
    Relationships workbook_rels_;
    std::unique_ptr<ContentTypes> content_types_;
    std::unique_ptr<SharedStrings> shared_strings_;
    std::string shared_strings_part_;
    std::optional<Error> shared_strings_error_;  // the table's part could not be read
    std::unique_ptr<Styles> styles_;
    bool date1904_ = false;
    std::vector<std::unique_ptr<Sheet>> sheets_;
    Sheet* active_ = nullptr;
    int loaded_active_tab_ = 0;
    std::string memo_key_;
    std::vector<std::int8_t> memo_;
    bool cells_changed_ = false;
    std::vector<std::unique_ptr<Sheet>> retired_;
    bool app_properties_stale_ = false;
    // The sheet index: rebuilt on first use after the list changed (list_version_ moved on).
    void index_sheets() const;
    std::uint64_t list_version_ = 0;
    mutable std::uint64_t indexed_version_ = ~std::uint64_t{0};
    mutable std::size_t indexed_size_ = 0;
    mutable std::vector<int> worksheet_at_;  // worksheet number - 1 -> position
    mutable std::vector<pugi::xml_node> sheet_elements_;  // position -> <sheet>, or empty
    std::vector<Sheet*> group_;  // tabs selected with the active sheet (select_sheets)
    bool group_changed_ = false;
    Result<void> flush_vba();
    std::shared_ptr<VbaBinding> vba_;  // read on first use
    std::shared_ptr<FormatTable> formats_;  // read on first use
};

class NativeApplication : public xl::Application, public xl::Workbooks {
public:
    explicit NativeApplication(std::unique_ptr<OfficeBridge> office = nullptr)
        : office_(std::move(office)) {}
    ~NativeApplication() override;

    // xl::Application
    Workbooks& workbooks() override { return *this; }
    Workbook* active_workbook() override { return active_; }
    std::string version() const override { return "16.0"; }
    void quit() override;
    Result<void> run_macro(const std::string& macro_book, const std::string& module,
                           const std::string& procedure, int time_limit_seconds) override;

    // xl::Workbooks
    Result<Workbook*> open(const std::string& path, bool read_only) override;
    Result<Workbook*> add() override;
    int count() override { return static_cast<int>(books_.size()); }
    Workbook* item(int index) override;
    Workbook* item(std::string_view name) override;

    // Engine side.
    Result<Workbook*> adopt(std::unique_ptr<Book> book);
    void set_active(Book* b) { active_ = b; }
    void closed(Book* b);
    std::string next_book_name() { return "Book" + std::to_string(++new_books_); }
    // The office program for .xls files; nullptr when the run has none.
    OfficeBridge* office() { return office_.get(); }

private:
    std::unique_ptr<OfficeBridge> office_;
    std::vector<std::unique_ptr<Book>> books_;
    Book* active_ = nullptr;
    int new_books_ = 0;
};

}  // namespace sheaflow::xl::native
