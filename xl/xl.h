#pragma once
// The object model that the operations are written against: Application, Workbooks, Workbook,
// Worksheet and Range, with the members and constants of the spreadsheet application's automation
// interface that Sheaflow uses. The workbook engine (xl/native) implements it; tests may implement
// it with fakes. Names follow the object model (Worksheets.Count is `worksheet_count()`, Range.Text
// is `text()`); positions are 1-based as in the object model.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "util/result.h"
#include "xl/page_setup.h"
#include "xl/cell_format.h"
#include "xl/cell_rules.h"
#include "xl/sheet_objects.h"

namespace sheaflow::xl {

// Constants of the object model.
inline constexpr int xlWorksheet = -4167;     // Worksheet.Type of an ordinary worksheet
inline constexpr int xlChart = -4109;         // a chart sheet
inline constexpr int xlExcel4MacroSheet = 3;  // an XLM macro sheet (listed in Worksheets)
inline constexpr int xlDialogSheet = -4116;   // a dialog sheet
inline constexpr int xlFormulas = -4123;
inline constexpr int xlValues = -4163;
inline constexpr int xlComments = -4144;
inline constexpr int xlWhole = 1;
inline constexpr int xlPart = 2;
inline constexpr int xlByRows = 1;
inline constexpr int xlByColumns = 2;
inline constexpr int xlNext = 1;
inline constexpr int xlPrevious = 2;
inline constexpr int xlCSV = 6;
inline constexpr int xlCurrentPlatformText = -4158;
inline constexpr int xlOpenXMLWorkbook = 51;
inline constexpr int xlOpenXMLWorkbookMacroEnabled = 52;
inline constexpr int xlExcel8 = 56;
// Range.PasteSpecial Paste:= and what Range.Clear... removes.
inline constexpr int xlPasteAll = -4104;
inline constexpr int xlPasteValues = -4163;
inline constexpr int xlPasteFormulas = -4123;
inline constexpr int xlPasteFormats = -4122;
inline constexpr int xlPasteComments = -4144;
inline constexpr int xlPasteValidation = 6;
inline constexpr int xlPasteColumnWidths = 8;
inline constexpr int kClearContents = 1;  // ClearContents: values and formulas
inline constexpr int kClearFormats = 2;   // ClearFormats: cell formats
inline constexpr int kClearComments = 4;  // ClearComments: notes
inline constexpr int kClearAll = 7;       // Clear
inline constexpr int xlMinimized = -4140;
inline constexpr int xlMaximized = -4137;
inline constexpr int xlNormal = -4143;

// An error value of a cell ("#N/A", "#DIV/0!", ...).
struct CellError {
    std::string code;
    bool operator==(const CellError&) const = default;
};
// A date-time value: what Range.Value gives for a number shown with a date format.
struct DateTime {
    double serial = 0;  // days since 1899-12-30
    bool operator==(const DateTime&) const = default;
};
// Range.Value of one cell: Empty, a number, a date, a boolean, a string or an error value.
using Value = std::variant<std::monostate, double, DateTime, bool, std::string, CellError>;

bool is_empty(const Value& v);
bool is_error(const Value& v);
// The text that string concatenation gives for a value in a Japanese-locale session: numbers with
// up to 15 significant digits ("0.1", "1E+20"), dates as "yyyy/mm/dd" (with " h:mm:ss" when there
// is a time), booleans "True"/"False", errors "Error 2042" and the like.
std::string to_text(const Value& v);
// The text a number shows in a number format code ("#,##0", "yyyy/mm/dd", "[$-ja-JP]ggge年");
// a text value is shown through the code's text section.
std::string format_number_text(double value, std::string_view code);
std::string format_text_value(std::string_view value, std::string_view code);

// A cell position, 1-based.
struct CellRef {
    std::int32_t row = 1;
    std::int32_t col = 1;
    bool operator==(const CellRef&) const = default;
};
// A rectangle of cells, 1-based and inclusive.
struct Area {
    std::int32_t first_row = 1;
    std::int32_t first_col = 1;
    std::int32_t last_row = 1;
    std::int32_t last_col = 1;
    bool operator==(const Area&) const = default;
    bool contains(CellRef c) const {
        return c.row >= first_row && c.row <= last_row && c.col >= first_col && c.col <= last_col;
    }
};

// "A", "Z", "AA"... for a 1-based column number; "" when out of range.
std::string column_letters(std::int32_t col);
// 0 when the text is not a column name within 16,384 columns (lower case accepted).
std::int32_t column_number(std::string_view letters);
// "$A$1" or "$A$1:$C$5" (no "$" when the flags are false), as Range.Address gives it.
std::string format_address(const Area& a, bool row_absolute = true, bool column_absolute = true);
// Parses "A1", "$B$2:C5", "B:D", "3:7" (no sheet part). Rows/columns default to the grid edges.
std::optional<Area> parse_address(std::string_view address, std::int32_t max_rows = 1048576,
                                  std::int32_t max_cols = 16384);

// ---- Formulas: tokens of the formula grammar (xl/native/formula_tokens.cpp) ----------------
enum class TokenKind {
    Number,      // 12, 1.5, 1E+10
    String,      // "text" (quotes included, doubled quotes inside)
    Bool,        // TRUE, FALSE
    Error,       // #REF!, #N/A ... (with a sheet prefix when one stands before it)
    Reference,   // A1, $A$1:B5, A:C, 3:7, with an optional sheet or book prefix
    Name,        // a defined name (or a name the workbook does not define), optional prefix
    Function,    // SUM, _xlfn.XLOOKUP: the name before "("
    Table,       // a structured reference: Table1[Qty], Table1[[#This Row],[Qty]], [@Qty]
    Operator,    // + - * / ^ & = <> < > <= >= % : @ and the spill mark #
    Open,        // (
    Close,       // )
    Comma,       // , between arguments (or the union of references)
    ArrayOpen,   // {
    ArrayClose,  // }
    ArrayRow,    // ; between the rows of an array constant
    Space,       // blanks and line breaks (between two references: their intersection)
    Invalid,     // text the grammar has no place for (an unclosed string, a stray quote)
};

// The shape of a reference.
enum class RefShape { Cell, Columns, Rows };

// One token. `text` is the token as written; printing a token writes it again from its parts,
// so that printing every token of a formula gives the formula back.
struct FormulaToken {
    TokenKind kind = TokenKind::Invalid;
    std::string text;
    std::size_t position = 0;  // byte offset in the formula
    // The prefix before "!": another workbook ("[1]", "C:\dir\[Book.xlsx]"), the sheet and,
    // for a 3-D reference, the last sheet; names unquoted. `quoted` when written in quotes.
    bool has_prefix = false;
    std::string book;
    std::string sheet;
    std::string last_sheet;
    bool quoted = false;
    // What follows the prefix (the whole text when there is none).
    std::string body;
    // References: the cells, the shape, whether written as a range, and the "$" marks of the
    // first and the second part. `area` is ordered (first <= last) whichever way it was written;
    // `swapped_rows`/`swapped_cols` remember a range written backwards ("B5:A1").
    Area area;
    RefShape shape = RefShape::Cell;
    bool range = false;
    bool abs_col1 = false, abs_row1 = false, abs_col2 = false, abs_row2 = false;
    bool swapped_rows = false, swapped_cols = false;
};

// The tokens of a formula (with or without its leading "="; an "=" at the start is left out).
// Every character of the text belongs to one token.
std::vector<FormulaToken> tokenize_formula(std::string_view formula);
// A token written from its parts.
std::string token_text(const FormulaToken& t);
// The formula written again from its tokens (without "=").
std::string formula_from_tokens(const std::vector<FormulaToken>& tokens);
// The first fault of the token sequence as a formula ("" when it reads as one): brackets that
// do not match, an operator without an operand, two operands without an operator, text that is
// not part of the grammar. The message is for the user.
std::string formula_syntax_error(const std::vector<FormulaToken>& tokens);

// Find and Replace arguments; an argument left empty takes the value that the application kept
// from the previous call (see FindState).
struct FindOptions {
    std::string what;
    std::optional<int> look_in;           // xlFormulas, xlValues, xlComments
    std::optional<int> look_at;           // xlWhole, xlPart
    std::optional<int> search_order;      // xlByRows, xlByColumns
    std::optional<int> search_direction;  // xlNext, xlPrevious
    std::optional<bool> match_case;
    std::optional<bool> match_byte;
};
struct ReplaceOptions {
    std::string what;
    std::string replacement;
    std::optional<int> look_at;
    std::optional<int> search_order;
    std::optional<bool> match_case;
    std::optional<bool> match_byte;
};
// The search settings fully resolved.
struct FindSpec {
    std::string what;
    int look_in = xlFormulas;
    int look_at = xlPart;
    int search_order = xlByRows;
    int search_direction = xlNext;
    bool match_case = false;
    bool match_byte = false;
};
// Settings that the application keeps from one Find or Replace call to the next.
struct FindState {
    int look_in = xlFormulas;
    int look_at = xlPart;
    int search_order = xlByRows;
    bool match_case = false;
    bool match_byte = false;
    FindSpec last;  // the conditions of the last Find, used by FindNext
    std::int64_t replaced_cells = 0;  // cells that Replace changed since the application started
};

// ---- The VBA project: VBProject.VBComponents and CodeModule ---------------------------------
// Component Type codes (vbext_ComponentType).
inline constexpr int vbext_ct_StdModule = 1;
inline constexpr int vbext_ct_ClassModule = 2;
inline constexpr int vbext_ct_MSForm = 3;
inline constexpr int vbext_ct_ActiveXDesigner = 11;
inline constexpr int vbext_ct_Document = 100;

// The code of one component as the editor shows it: the attribute lines that head the module
// are hidden; lines are numbered from 1.
class CodeModule {
public:
    virtual ~CodeModule() = default;
    virtual int count_of_lines() = 0;
    // Lines(start, count): the lines joined by CR LF ("" outside the module).
    virtual std::string lines(int start, int count) = 0;
    virtual Result<void> delete_lines(int start, int count = 1) = 0;
    // InsertLines: the text (lines separated by CR LF or LF) becomes lines from `line` on; a line
    // past the end appends.
    virtual Result<void> insert_lines(int line, const std::string& code) = 0;
    // AddFromFile: the file's text (CP932 or UTF-8, CR LF or LF) goes before the first
    // procedure, or at the end when there is none.
    virtual Result<void> add_from_file(const std::string& path) = 0;
};

class VBComponent {
public:
    virtual ~VBComponent() = default;
    virtual std::string name() const = 0;
    // Name = ...: refused for a name in use or not a valid module name.
    virtual Result<void> set_name(const std::string& name) = 0;
    virtual int type() const = 0;  // vbext_ct_*
    // Export: the module file as the editor writes it (.bas, or .cls with its class header);
    // forms and designers are refused.
    virtual Result<void> export_file(const std::string& path) = 0;
    virtual CodeModule& code_module() = 0;
};

class VBComponents {
public:
    virtual ~VBComponents() = default;
    virtual int count() = 0;
    virtual VBComponent* item(int index) = 0;  // 1-based; nullptr when out of range
    // By name, compared without regard to case; nullptr when none.
    virtual VBComponent* item(std::string_view name) = 0;
    // Import: a .bas or .cls file becomes a new module named by its VB_Name attribute (a name in
    // use gets a number added, as the editor does).
    virtual Result<VBComponent*> import_file(const std::string& path) = 0;
    // Remove: standard, class and form modules; document modules are refused.
    virtual Result<void> remove(VBComponent& component) = 0;
    // A standard or class module of another workbook's project copied in under its own name,
    // attributes and all, as an export and an import of it would (the text keeps its characters
    // whatever the two projects' code pages). A name in use is refused.
    virtual Result<VBComponent*> copy_from(VBComponent& component) = 0;
};

class VBProject {
public:
    virtual ~VBProject() = default;
    virtual VBComponents& vb_components() = 0;
    // Whether the workbook holds a VBA project at all (a workbook without one lists no
    // components and refuses imports).
    virtual bool exists() const = 0;
    // Makes an empty project in a workbook that has none, as the editor does for a macro-enabled
    // workbook: ThisWorkbook and a document module for every sheet, tied to their code names
    // (a sheet without one gets one). With a model (another workbook's project) its code page,
    // project information and references are taken. The workbook is saved with it only in a
    // macro-enabled format. Once it exists, sheets added to or copied into the workbook get
    // their document modules and a deleted sheet takes its module along.
    virtual Result<void> create(VBProject* model) = 0;
};
// ---- end of the VBA project -----------------------------------------------------------------

// Rows and columns.
enum class Axis { Rows, Columns };
// Lines (rows or columns) first..last, 1-based and inclusive.
struct LineSpan {
    std::int32_t first = 1;
    std::int32_t last = 1;
    bool operator==(const LineSpan&) const = default;
};
// What a row or column shows: RowHeight (points) or ColumnWidth (characters of the standard
// font's digits), Hidden, OutlineLevel and whether its group is collapsed there.
struct LineFormat {
    double size = 0;
    bool custom_size = false;  // sized by hand rather than the sheet's standard size
    bool hidden = false;
    int outline_level = 0;
    bool collapsed = false;
    bool operator==(const LineFormat&) const = default;
};
// A change of rows' or columns' properties; what is left empty stays as it is.
struct LineFormatChange {
    std::optional<double> size;  // RowHeight or ColumnWidth
    bool standard_size = false;  // back to the sheet's standard size (rows fit their text again)
    std::optional<bool> hidden;
    std::optional<int> outline_level;  // 0..7
    std::optional<bool> collapsed;
};

// ---- Protection ------------------------------------------------------------------------------
// What a protected sheet still lets the user do (Protect's Allow... arguments, and the drawing
// objects and scenarios that Protect leaves editable when its DrawingObjects and Scenarios
// arguments are False): true = allowed.
struct SheetPermissions {
    bool select_locked_cells = true;
    bool select_unlocked_cells = true;
    bool format_cells = false;
    bool format_columns = false;
    bool format_rows = false;
    bool insert_columns = false;
    bool insert_rows = false;
    bool insert_hyperlinks = false;
    bool delete_columns = false;
    bool delete_rows = false;
    bool sort = false;
    bool auto_filter = false;
    bool pivot_tables = false;
    bool edit_objects = false;
    bool edit_scenarios = false;
    bool operator==(const SheetPermissions&) const = default;
};
struct SheetProtection {
    bool on = false;  // ProtectContents
    bool has_password = false;
    SheetPermissions allow;
};
// ProtectStructure and ProtectWindows of a workbook.
struct BookProtection {
    bool structure = false;
    bool windows = false;
    bool has_password = false;
};
// ---- end of protection ------------------------------------------------------------------------

// ---- Workbook options -------------------------------------------------------------------------
inline constexpr int xlCalculationAutomatic = -4105;
inline constexpr int xlCalculationManual = -4135;
inline constexpr int xlCalculationSemiautomatic = 2;  // automatic except data tables

// The options a workbook keeps in its file: its window (DisplayWorkbookTabs, the scroll bars,
// TabRatio), its calculation (Calculation, Iteration, MaxIterations, MaxChange,
// PrecisionAsDisplayed), Date1904 and SaveLinkValues.
struct BookOptions {
    bool show_sheet_tabs = true;
    bool show_horizontal_scroll = true;
    bool show_vertical_scroll = true;
    int tab_ratio = 600;  // per mille of the window width given to the sheet tabs
    int calculation = xlCalculationAutomatic;
    bool iteration = false;
    int max_iterations = 100;
    double max_change = 0.001;
    bool precision_as_displayed = false;
    bool date1904 = false;
    bool save_link_values = true;
};
// A change of options; what is left empty stays as it is.
struct BookOptionsChange {
    std::optional<bool> show_sheet_tabs;
    std::optional<bool> show_horizontal_scroll;
    std::optional<bool> show_vertical_scroll;
    std::optional<int> tab_ratio;
    std::optional<int> calculation;
    std::optional<bool> iteration;
    std::optional<int> max_iterations;
    std::optional<double> max_change;
    std::optional<bool> precision_as_displayed;
    std::optional<bool> date1904;
    std::optional<bool> save_link_values;
};

// The legacy shared workbook (shared revision history, before co-authoring): whether it is
// shared, and the users and revisions its history records.
struct SharingState {
    bool shared = false;
    int revisions = 0;
    std::vector<std::string> users;
};
// ---- end of workbook options ------------------------------------------------------------------

// Worksheet.Visible.
inline constexpr int xlSheetVisible = -1;
inline constexpr int xlSheetHidden = 0;
inline constexpr int xlSheetVeryHidden = 2;

// One cell style of a workbook (the Styles collection): its name, whether it is built in
// (builtinId, -1 for a style of the user's), and how many cells, rows and columns use it.
struct CellStyleInfo {
    std::string name;
    int builtin_id = -1;
    bool hidden = false;
    std::int64_t cells = 0;
};

// The window of a sheet (ActiveWindow while the sheet is active), as the workbook keeps it.
// View: xlNormalView, xlPageBreakPreview, xlPageLayoutView.
inline constexpr int xlNormalView = 1;
inline constexpr int xlPageBreakPreview = 2;
inline constexpr int xlPageLayoutView = 3;
struct SheetView {
    int view = xlNormalView;
    int zoom = 100;          // Zoom of the view shown, percent (10..400)
    CellRef scroll{1, 1};    // ScrollRow and ScrollColumn: the first cell shown where it scrolls
    CellRef active_cell{1, 1};
    std::vector<Area> selection{Area{}};  // Selection: its areas (the active cell lies in one)
    // FreezePanes: the first cell that scrolls (B2 freezes row 1 and column A); nullopt when
    // the panes are not frozen.
    std::optional<CellRef> freeze;
    bool split = false;  // split into panes without freezing (Split); false removes a split
    // Display options of the window.
    bool gridlines = true;       // DisplayGridlines
    bool headings = true;        // DisplayHeadings
    bool zeros = true;           // DisplayZeros
    bool formulas = false;       // DisplayFormulas
    bool outline = true;         // DisplayOutline
    bool right_to_left = false;  // DisplayRightToLeft
    bool ruler = true;           // DisplayRuler (page layout view)
    bool white_space = true;     // DisplayWhitespace (page layout view)
    // DisplayPageBreaks: the automatic page breaks drawn on the grid (autoPageBreaks of the
    // sheet's properties rather than of its window).
    bool page_breaks = true;
    bool operator==(const SheetView&) const = default;
};

// A defined name: Name.Name, Name.RefersTo (without "="), the sheet it belongs to ("" for a
// name of the whole workbook) and whether it is hidden.
struct DefinedName {
    std::string name;
    std::string refers_to;
    std::string sheet;
    bool hidden = false;
};

class Application;
class Workbook;
class Worksheet;

// One document property: a built-in one by its object-model name ("Title", "Subject", "Author",
// "Manager", "Company", "Category", "Keywords", "Comments", "Last Author", "Creation Date",
// "Last Save Time"), or a custom one with a text value.
struct DocumentProperty {
    std::string name;
    std::string value;
    bool custom = false;
};

// A rectangle of one sheet, like the object model's Range. Cheap to copy; valid while its sheet is.
class Range {
public:
    Range(Worksheet& sheet, Area area) : sheet_(&sheet), area_(area) {}

    Worksheet& worksheet() const { return *sheet_; }
    const Area& area() const { return area_; }
    std::int32_t row() const { return area_.first_row; }
    std::int32_t column() const { return area_.first_col; }
    std::int64_t count() const;
    // Cells(row, col) relative to the range's top-left cell.
    Range cells(std::int32_t row, std::int32_t col) const;

    // Value, Formula, Text and NumberFormatLocal of the top-left cell.
    Value value() const;
    std::string formula() const;
    std::string text() const;
    std::string number_format_local() const;
    // Setting Value or Formula sets every cell of the range.
    Result<void> set_value(const Value& v);
    Result<void> set_formula(const std::string& f);
    std::string address(bool row_absolute = true, bool column_absolute = true) const;

    // Range.Find: the first match after `after` (default: the top-left cell, which is looked at
    // last), in the resolved order, wrapping round; updates the application's kept settings.
    std::optional<Range> find(const FindOptions& o, std::optional<CellRef> after = {}) const;
    // Range.FindNext: the next match after `after` with the conditions of the last Find.
    std::optional<Range> find_next(const Range& after) const;
    // Range.Replace on the formula-bar text of every cell of the range. True as the object model
    // returns; the error describes a cell the engine refused to change.
    Result<bool> replace(const ReplaceOptions& o);
    // WorksheetFunction.CountA over this range.
    std::int64_t count_a() const;
    // EntireRow.Insert / EntireColumn.Insert: as many lines as the range spans, before it.
    Result<void> insert_entire(Axis axis) const;
    // EntireRow.Delete / EntireColumn.Delete.
    Result<void> delete_entire(Axis axis) const;

private:
    Worksheet* sheet_;
    Area area_;
};

// One sheet of a workbook. Chart sheets are sheets too (their Type is xlChart) but they are not
// in Worksheets and have no cells.
class Worksheet {
public:
    virtual ~Worksheet() = default;

    virtual Workbook& parent() = 0;
    virtual std::string name() const = 0;
    // Worksheet.Name = ...: refused with Error::Code::Refused under the application's naming
    // rules; a rename rewrites every reference to the sheet.
    virtual Result<void> set_name(const std::string& name) = 0;
    virtual std::string code_name() const = 0;
    virtual int type() const = 0;
    // 1-based position in Worksheets (0 for a sheet that is not in Worksheets).
    virtual int index() const = 0;
    virtual bool visible() const = 0;
    virtual Result<void> activate() = 0;
    virtual Result<void> select() = 0;
    virtual std::int32_t rows_count() const = 0;
    virtual std::int32_t columns_count() const = 0;
    // UsedRange (A1 alone for a sheet with nothing in it).
    virtual Area used_range() = 0;

    // Cell access, 1-based. Cells outside the grid read as empty and refuse writes.
    virtual Value cell_value(CellRef c) = 0;
    virtual std::string cell_formula(
        CellRef c) = 0;                            // formula with "=", else the constant as typed
    virtual std::string cell_text(CellRef c) = 0;  // displayed text
    virtual std::string cell_number_format_local(CellRef c) = 0;
    virtual Result<void> set_cell_value(CellRef c, const Value& v) = 0;
    virtual Result<void> set_cell_formula(CellRef c, const std::string& formula_or_constant) = 0;
    // Calls `visit` for every cell of `area` that holds something, row by row.
    virtual void for_each_cell(const Area& area, const std::function<void(CellRef)>& visit) = 0;

    // The engine's search and replace over an area (Range::find and Range::replace resolve the
    // kept settings and call these).
    virtual std::optional<CellRef> find(const Area& area, const FindSpec& criteria,
                                        std::optional<CellRef> after) = 0;
    virtual Result<bool> replace(const Area& area, const FindSpec& criteria,
                                 const std::string& replacement) = 0;
    virtual std::int64_t count_a(const Area& area) = 0;
    // Whether the sheet's cells can be read; the error describes a damaged sheet (reading such a
    // sheet gives empty cells and writing to it fails).
    virtual Result<void> check() { return {}; }

    // Structure. `before`/`after` are sheets of the same workbook (Move) or of any open workbook
    // (Copy); with neither, Copy makes a new workbook holding the copy.
    virtual Result<void> delete_sheet() = 0;
    virtual Result<void> move(Worksheet* before, Worksheet* after) = 0;
    virtual Result<Worksheet*> copy(Worksheet* before, Worksheet* after) = 0;

    // ---- Colours and drawing objects (xl/native/colours*.cpp, drawing*.cpp) ----
    // Visits every non-automatic colour of the chosen kinds of item and writes the colours that
    // `visit` answers. A changed cell format becomes a new format entry; entries that other
    // cells keep are left as they are.
    virtual Result<void> visit_colours(const ColourKinds& kinds, const ColourVisit& visit) {
        (void)kinds, (void)visit;
        return Error::failed("色を扱えないシートです。");
    }
    // Tab.Color: the tab's colour, nullopt when automatic. Setting -1 clears it.
    virtual std::optional<std::int32_t> tab_colour() { return std::nullopt; }
    virtual Result<void> set_tab_colour(std::int32_t colour) {
        (void)colour;
        return Error::failed("見出しの色を設定できないシートです。");
    }
    // Every object of the sheet: comments, embedded objects, charts, pictures and shapes,
    // controls, hyperlinks, in that order.
    virtual std::vector<SheetObject> objects() { return {}; }
    virtual Result<void> delete_object(const SheetObject& o) {
        (void)o;
        return Error::failed("オブジェクトを扱えないシートです。");
    }
    // Moves the object so that its top-left corner is at the top-left of cell `to`.
    virtual Result<void> move_object(const SheetObject& o, CellRef to) {
        (void)o, (void)to;
        return Error::failed("オブジェクトを扱えないシートです。");
    }
    virtual Result<void> rename_object(const SheetObject& o, const std::string& name) {
        (void)o, (void)name;
        return Error::failed("オブジェクトを扱えないシートです。");
    }
    // Scales the object's width and height by the factors (1 = unchanged).
    virtual Result<void> scale_object(const SheetObject& o, double width, double height) {
        (void)o, (void)width, (void)height;
        return Error::failed("オブジェクトを扱えないシートです。");
    }
    // Copies the object onto `dest` (a sheet of any open workbook), its top-left corner at `to`
    // or where it was when not given. The copy keeps the object's name.
    virtual Result<void> copy_object(const SheetObject& o, Worksheet& dest,
                                     std::optional<CellRef> to) {
        (void)o, (void)dest, (void)to;
        return Error::failed("オブジェクトを扱えないシートです。");
    }
    // Shapes.AddPicture: a PNG picture (the file's bytes) `width` × `height` points large, its
    // top-left corner at the top-left of cell `at`; it moves with the cells, not sized with them.
    virtual Result<void> add_picture(const std::string& png, CellRef at, double width,
                                     double height) {
        (void)png, (void)at, (void)width, (void)height;
        return Error::failed("画像を貼り付けられないシートです。");
    }
    // ---- Visibility and code name (xl/native/sheet_settings.cpp) ----
    // Worksheet.Visible: xlSheetVisible, xlSheetHidden or xlSheetVeryHidden.
    virtual int visibility() const { return visible() ? xlSheetVisible : xlSheetHidden; }
    // Refused with Error::Code::Refused for the last visible sheet, as the application refuses.
    virtual Result<void> set_visibility(int visibility) {
        (void)visibility;
        return Error::failed("表示を変更できないシートです。");
    }
    // CodeName = ...: refused for a name in use or not a valid module name; the sheet's
    // document module in the VBA project is renamed with it.
    virtual Result<void> set_code_name(const std::string& name) {
        (void)name;
        return Error::failed("コード名を変更できないシートです。");
    }
    // ---- Protection (xl/native/protection.cpp) ----
    virtual SheetProtection protection() { return {}; }
    // Protect: refused when the sheet is protected already. The password is stored as the
    // application stores it (salted SHA-512, 100,000 spins); "" protects without one.
    virtual Result<void> protect(const std::string& password, const SheetPermissions& allow) {
        (void)password, (void)allow;
        return Error::failed("保護を設定できないシートです。");
    }
    // Unprotect: refused with Error::Code::Refused when the password is wrong; a sheet that is
    // not protected is left as it is.
    virtual Result<void> unprotect(const std::string& password) {
        (void)password;
        return Error::failed("保護を解除できないシートです。");
    }
    // The merged areas of the sheet (MergeArea of each), in the order the sheet keeps them.
    virtual std::vector<Area> merged_areas() { return {}; }
    // Rows and columns. Inserting and deleting moves the cells and everything that refers to
    // them on every sheet (formulas, names, merged cells, formats, validation, links, comments,
    // drawings, filters, tables, print areas) as the application does, and is refused with
    // Error::Code::Refused where the application refuses. Properties edit only the row and
    // column records.
    // Inserts `count` empty lines before line `at`; they take the format of the line before.
    virtual Result<void> insert_lines(Axis axis, std::int32_t at, std::int32_t count);
    // Inserts one empty line before each of `lines` (numbered as before the edit; a line given
    // twice gets two) as one edit: the result of inserting them one at a time from the bottom up.
    virtual Result<void> insert_lines_before(Axis axis, std::vector<std::int32_t> lines);
    // Deletes the lines of every span (in any order, overlapping allowed) as one edit.
    virtual Result<void> delete_lines(Axis axis, std::vector<LineSpan> spans);
    // Cells: inserting `area` pushes the cells at and below it down (Axis::Rows) or at and right
    // of it right (Axis::Columns), within the area's columns or rows only; deleting removes the
    // area's cells and pulls those below or right of it up or left. References follow as the
    // application moves them; refused (Error::Code::Refused) where the application refuses
    // (part of a merged area, an array formula, a table or a pivot table would be cut).
    virtual Result<void> insert_cells(Axis axis, const Area& area) {
        (void)axis, (void)area;
        return Error::failed("セルを挿入できないシートです。");
    }
    virtual Result<void> delete_cells(Axis axis, const Area& area) {
        (void)axis, (void)area;
        return Error::failed("セルを削除できないシートです。");
    }
    virtual LineFormat line_format(Axis axis, std::int32_t line);
    virtual Result<void> format_lines(Axis axis, const std::vector<LineSpan>& spans,
                                      const LineFormatChange& change);
    // AutoFit: each line sized to the texts of its cells as the workbook's fonts draw them
    // (columns look at the cells from row `first_cross` down).
    virtual Result<void> autofit_lines(Axis axis, const std::vector<LineSpan>& spans,
                                       std::int32_t first_cross = 1);
    // StandardHeight or StandardWidth.
    virtual double standard_size(Axis axis);
    // The lines that have properties of their own (sized, hidden, grouped), with them, in order;
    // lines of one span share the same properties.
    virtual std::vector<std::pair<LineSpan, LineFormat>> formatted_lines(Axis axis);

    // PageSetup (xl/native/page_setup.cpp).
    virtual Result<PageSetup> page_setup() {
        return Error::make(Error::Code::Unsupported, "頁設定を扱えないシートです。");
    }
    virtual Result<void> set_page_setup(const PageSetupChange& change) {
        (void)change;
        return Error::make(Error::Code::Unsupported, "頁設定を扱えないシートです。");
    }

    // ---- Cell formats (xl/native/cell_formats.cpp, sheet_formats.cpp) ----
    // The effective format of a cell: its own, else its row's or column's.
    virtual CellFormat cell_format(CellRef c) {
        (void)c;
        return {};
    }
    // Calls `edit` with the format of each cell of `area` (every cell when `blanks`; else the
    // cells that hold something or carry a format of their own), row by row, and writes the
    // formats it changed. A changed format becomes an entry of its own, or the equal entry the
    // workbook already has; entries that other cells keep stay as they are. An edit that changes
    // nothing writes nothing, so a read-only walk is a plain visit.
    virtual Result<void> format_cells(const Area& area, bool blanks,
                                      const std::function<void(CellRef, CellFormat&)>& edit) {
        (void)area, (void)blanks, (void)edit;
        return Error::failed("書式を扱えないシートです。");
    }
    // The runs of a cell's text constant (one run without a font of its own for plain text;
    // empty for a cell without text).
    virtual std::vector<TextRun> text_runs(CellRef c) {
        (void)c;
        return {};
    }
    // Writes the cell's text as these runs; the cell keeps its format.
    virtual Result<void> set_text_runs(CellRef c, const std::vector<TextRun>& runs) {
        (void)c, (void)runs;
        return Error::failed("書式を扱えないシートです。");
    }
    // The phonetic reading (furigana) of a cell's text constant as PHONETIC() gives it: the text
    // with each part that has a reading replaced by that reading; "" when it has none.
    virtual std::string phonetic(CellRef c) {
        (void)c;
        return {};
    }
    // Gives a text constant `reading` as one phonetic run over its whole text, or removes its
    // phonetic runs when `reading` is empty; the text and its formatting runs stay.
    virtual Result<void> set_phonetic(CellRef c, const std::string& reading) {
        (void)c, (void)reading;
        return Error::failed("ふりがなを扱えないシートです。");
    }

    // ---- Data validation (xl/native/validation.cpp) ----
    virtual std::vector<Validation> validations() { return {}; }
    // Adds a validation over its areas; the cells it covers leave the validations they had.
    virtual Result<void> add_validation(const Validation& v) {
        (void)v;
        return Error::failed("入力規則を扱えないシートです。");
    }
    // Writes back validations that validations() gave and the caller changed (by their id).
    virtual Result<void> update_validations(const std::vector<Validation>& changed) {
        (void)changed;
        return Error::failed("入力規則を扱えないシートです。");
    }
    // Removes the validation of every cell of `area`.
    virtual Result<void> delete_validations(const Area& area) {
        (void)area;
        return Error::failed("入力規則を扱えないシートです。");
    }

    // ---- Conditional formats (xl/native/conditional_formats.cpp) ----
    virtual std::vector<ConditionalFormat> conditional_formats() { return {}; }
    // Adds a rule over its areas, ahead of the rules the sheet has.
    virtual Result<void> add_conditional_format(const ConditionalFormat& f) {
        (void)f;
        return Error::failed("条件付き書式を扱えないシートです。");
    }
    // Removes every rule from the cells of `area`.
    virtual Result<void> delete_conditional_formats(const Area& area) {
        (void)area;
        return Error::failed("条件付き書式を扱えないシートです。");
    }
    // ---- Hyperlinks (xl/native/hyperlinks.cpp) ----
    virtual std::vector<Hyperlink> hyperlinks() { return {}; }
    // Gives the cell this hyperlink in place of the one it had.
    virtual Result<void> add_hyperlink(const Hyperlink& h) {
        (void)h;
        return Error::failed("ハイパーリンクを扱えないシートです。");
    }
    // ---- Comment boxes (xl/native/comment_boxes.cpp) ----
    virtual std::vector<CommentBox> comment_boxes() { return {}; }
    // Calls `edit` with the box of every comment in `area` and writes what it changed.
    virtual Result<void> format_comment_boxes(const Area& area,
                                              const std::function<void(CommentBox&)>& edit) {
        (void)area, (void)edit;
        return Error::failed("コメントを扱えないシートです。");
    }

    // ---- Copying and clearing cells (xl/native/range_copy.cpp) ----
    // Range.Copy then Range.PasteSpecial: the cells `from` of `source` (this sheet or a sheet of
    // any open workbook) pasted with their top-left cell at `to`. Formulas move their relative
    // references by the distance pasted; pasted into another workbook, references to sheets
    // of the source become external references to its file. Formats from another workbook are
    // merged into this one's styles. Refused where the application refuses (outside the grid,
    // over part of a merged area or of an array formula).
    virtual Result<void> paste_special(Worksheet& source, const Area& from, CellRef to,
                                       int paste = xlPasteAll, bool skip_blanks = false,
                                       bool transpose = false) {
        (void)source, (void)from, (void)to, (void)paste, (void)skip_blanks, (void)transpose;
        return Error::failed("貼り付けできないシートです。");
    }
    // Range.Cut Destination within this sheet: the cells of `from` (values, formulas as they
    // stand, formats) moved to `to`; every reference in the workbook wholly inside `from`
    // follows them, and one wholly inside the cells pasted over becomes #REF!.
    virtual Result<void> cut_cells(const Area& from, CellRef to) {
        (void)from, (void)to;
        return Error::failed("切り取りできないシートです。");
    }
    // The conditional formats of `source` (this sheet or a sheet of any open workbook) that
    // apply to cells of `from`, applied to the same cells counted from `to`: their ranges cut
    // to `from` and moved, their formulas' relative references moved, their formats merged
    // into this workbook's styles. Rules already there are kept.
    virtual Result<void> paste_conditional_formats(Worksheet& source, const Area& from,
                                                   CellRef to) {
        (void)source, (void)from, (void)to;
        return Error::failed("条件付き書式を扱えないシートです。");
    }
    // Range.Clear, ClearContents, ClearFormats, ClearComments by the kClear... bits.
    virtual Result<void> clear_cells(const Area& area, int what) {
        (void)area, (void)what;
        return Error::failed("クリアできないシートです。");
    }
    // The notes of the sheet with their cells, row by row.
    virtual std::vector<std::pair<CellRef, std::string>> comments() { return {}; }

    // ---- The sheet's window (xl/native/sheet_view.cpp) ----
    // What the window shows when the workbook opens on this sheet.
    virtual Result<SheetView> view() {
        return Error::failed("表示を扱えないシートです。");
    }
    // Writes what differs from view(). A view switched without a new zoom takes the zoom that
    // view last had; freezing keeps the rows and columns shown above and left of `freeze`.
    // Refused when a cell lies outside the grid or the zoom outside 10..400.
    virtual Result<void> set_view(const SheetView& v) {
        (void)v;
        return Error::failed("表示を扱えないシートです。");
    }

    Range cells() { return Range(*this, Area{1, 1, rows_count(), columns_count()}); }
    Range cell(std::int32_t row, std::int32_t col) {
        return Range(*this, Area{row, col, row, col});
    }
    // Range("A1:C5"); an address that does not parse gives an error.
    Result<Range> range(std::string_view address);
};

class Workbook {
public:
    virtual ~Workbook() = default;

    virtual Application& application() = 0;
    virtual std::string name() const = 0;       // file name with extension
    virtual std::string full_name() const = 0;  // full path
    virtual bool read_only() const = 0;
    // Worksheets: worksheets and macro sheets in tab order (chart sheets excluded).
    virtual int worksheet_count() = 0;
    virtual Worksheet* worksheet(int index) = 0;  // 1-based; nullptr when out of range
    // Worksheets("name"): compared without regard to case, as the object model does.
    virtual Worksheet* worksheet(std::string_view name) = 0;
    // Sheets: every sheet in tab order, chart sheets included.
    virtual int sheet_count() = 0;
    virtual Worksheet* sheet(int index) = 0;
    virtual Worksheet* active_sheet() = 0;
    virtual Result<void> activate() = 0;
    // Worksheets.Add: a new worksheet named as the application names it, before or after the
    // given sheet, or before the active sheet when neither is given. It becomes the active sheet.
    virtual Result<Worksheet*> add_worksheet(Worksheet* before, Worksheet* after) = 0;
    // Workbook.Password: the password to open, applied by the next save ("" removes it).
    virtual Result<void> set_open_password(const std::string& password) {
        (void)password;
        return Error::failed("パスワードを設定できないブックです。");
    }
    virtual bool has_open_password() const { return false; }
    // Worksheet.Name set on several sheets one after the other, with what refers to them
    // rewritten once for all. Each change is checked as set_name checks it, against the names
    // the earlier changes left; the answer holds each change's outcome in order (a refused one
    // is skipped, the others go ahead). An error of the whole (a part that cannot be read)
    // leaves every name as it was.
    virtual Result<std::vector<Result<void>>> rename_sheets(
        const std::vector<std::pair<Worksheet*, std::string>>& renames) {
        std::vector<Result<void>> outcome;
        for (const auto& [sheet, name] : renames) outcome.push_back(sheet->set_name(name));
        return outcome;
    }
    // The application's refusal of `name` as the name of a new sheet of this workbook.
    virtual Result<void> check_sheet_name(const std::string& name) {
        (void)name;
        return {};
    }
    // Sheets(Array(...)).Copy After:=: copies sheets of this workbook together after `after`, a
    // sheet of another open workbook, in the order given, each under its name in `names` (its
    // own name where `names` is empty), made unique in the destination as a copy's name is.
    // References among the copied sheets point at the copies; references to sheets left behind
    // become external references to this workbook with their values kept.
    virtual Result<std::vector<Worksheet*>> copy_sheets(const std::vector<Worksheet*>& sheets,
                                                        Worksheet& after,
                                                        const std::vector<std::string>& names) {
        (void)sheets, (void)after, (void)names;
        return Error::failed("シートをまとめてコピーできないブックです。");
    }

    // The office program that read the file for the engine ("LibreOffice" for an .xls), "" when
    // the engine read it itself.
    virtual std::string opened_through() const { return {}; }

    virtual bool saved() const = 0;
    virtual void set_saved(bool saved) = 0;
    // SaveAs with a format code (xlCSV, xlCurrentPlatformText, xlOpenXMLWorkbook,
    // xlOpenXMLWorkbookMacroEnabled, xlExcel8). The target is replaced only when complete.
    virtual Result<void> save_as(const std::string& path, int file_format) = 0;
    // Close without saving; the workbook object is destroyed (do not use it afterwards).
    virtual void close() = 0;

    // BuiltinDocumentProperties and CustomDocumentProperties: every built-in property (empty
    // value when unset), then the custom ones. Setting an empty value removes the property; the
    // times and the last author are kept by saving, not set.
    virtual Result<std::vector<DocumentProperty>> document_properties() {
        return Error::make(Error::Code::Unsupported, "プロパティを読めません。");
    }
    virtual Result<void> set_document_property(const std::string& name, const std::string& value,
                                               bool custom) {
        (void)name;
        (void)value;
        (void)custom;
        return Error::make(Error::Code::Unsupported, "プロパティを設定できません。");
    }
    // Workbook.VBProject: the error tells why the project cannot be used (a project the engine
    // cannot keep exactly, a locked project, a format without one).
    virtual Result<VBProject*> vb_project() {
        return Error::make(Error::Code::Unsupported, "このブックのマクロは扱えません。");
    }

    // The names of the workbook's cell styles, in the order the workbook lists them.
    virtual std::vector<std::string> cell_style_names() { return {}; }
    // ---- Selected tabs (xl/native/sheet_view.cpp) ----
    // The 1-based positions (in Worksheets) of the selected tabs, the active sheet's among them.
    virtual std::vector<int> selected_sheets() {
        Worksheet* a = active_sheet();
        return a ? std::vector<int>{a->index()} : std::vector<int>{};
    }
    // Sheets(Array(...)).Select: the tabs at these positions are selected together and the
    // first of them becomes the active sheet. Activating a sheet later selects it alone.
    virtual Result<void> select_sheets(const std::vector<int>& positions) {
        (void)positions;
        return Error::failed("シートを選択できないブックです。");
    }

    // ---- Named cell styles (xl/native/range_copy.cpp) ----
    // The names of the workbook's cell styles ("Normal", "Good", ...), in its order.
    virtual std::vector<std::string> style_names() { return {}; }
    // Styles.Merge: the named styles of `source` (those of `names`, all when empty) copied
    // into this workbook with what they use (fonts, fills, borders, number formats); a style of
    // the same name here takes the source's definition. Refused when the source lacks a name.
    virtual Result<void> merge_styles(Workbook& source, const std::vector<std::string>& names) {
        (void)source, (void)names;
        return Error::failed("スタイルを扱えないブックです。");
    }
    // Names: every defined name of the workbook, hidden ones and those of one sheet included.
    virtual std::vector<DefinedName> names() { return {}; }

    // ---- Tabs (xl/native/colours*.cpp) ----
    // The 1-based position of the first tab shown in the tab bar, and setting it.
    virtual int first_tab() { return 1; }
    virtual Result<void> set_first_tab(int position) {
        (void)position;
        return Error::failed("見出しのスクロールができないブックです。");
    }
    // ---- Protection (xl/native/protection.cpp) ----
    virtual BookProtection protection() { return {}; }
    // Protect(Password, Structure, Windows): refused when the workbook is protected already.
    virtual Result<void> protect(const std::string& password, bool structure, bool windows) {
        (void)password, (void)structure, (void)windows;
        return Error::failed("保護を設定できないブックです。");
    }
    virtual Result<void> unprotect(const std::string& password) {
        (void)password;
        return Error::failed("保護を解除できないブックです。");
    }
    // Workbook.WritePassword: the password to modify (<fileSharing> of the workbook part).
    virtual bool has_modify_password() { return false; }
    // Sets, changes or removes ("") the password to modify. Refused (Error::Code::Refused) when
    // the workbook has one and `old_password` is not it.
    virtual Result<void> change_modify_password(const std::string& old_password,
                                                const std::string& password) {
        (void)old_password, (void)password;
        return Error::failed("書き込みパスワードを設定できないブックです。");
    }

    // ---- Options and sharing (xl/native/book_options.cpp) ----
    virtual BookOptions options() { return {}; }
    // Writes what differs from the current options; nothing when nothing does.
    virtual Result<void> set_options(const BookOptionsChange& change) {
        (void)change;
        return Error::failed("オプションを設定できないブックです。");
    }
    virtual SharingState sharing() { return {}; }
    // Shares the workbook (a revision history is started under `user`) or stops sharing it (the
    // history is removed). Refused where the application refuses: a workbook with tables, or
    // one whose structure is protected.
    virtual Result<void> set_shared(bool shared, const std::string& user) {
        (void)shared, (void)user;
        return Error::failed("共有を設定できないブックです。");
    }
    // ---- Cell styles (xl/native/cell_styles.cpp) ----
    virtual Result<std::vector<CellStyleInfo>> cell_styles() {
        return Error::failed("スタイルを読めないブックです。");
    }
    // Deletes the named styles (the Normal style is never deleted); cells, rows and columns
    // that used one take Normal and keep their own formats. Gives how many were deleted.
    virtual Result<int> delete_cell_styles(const std::vector<std::string>& names) {
        (void)names;
        return Error::failed("スタイルを削除できないブックです。");
    }
};

class Workbooks {
public:
    virtual ~Workbooks() = default;
    // Workbooks.Open(FileName, UpdateLinks:=0, ReadOnly). Links are never updated.
    virtual Result<Workbook*> open(const std::string& path, bool read_only) = 0;
    // Workbooks.Add: a new workbook with one sheet "Sheet1"; it becomes the active workbook.
    virtual Result<Workbook*> add() = 0;
    virtual int count() = 0;
    virtual Workbook* item(int index) = 0;  // 1-based
    virtual Workbook* item(std::string_view name) = 0;
};

class Application {
public:
    virtual ~Application() = default;

    virtual Workbooks& workbooks() = 0;
    virtual Workbook* active_workbook() = 0;
    Worksheet* active_sheet() {
        Workbook* b = active_workbook();
        return b ? b->active_sheet() : nullptr;
    }
    virtual std::string version() const = 0;  // "16.0"
    // Quit: closes every workbook without saving.
    virtual void quit() = 0;
    // Application.Run("'<book>'!<module>.<procedure>") against the active workbook, the macro
    // taken from the workbook file `macro_book`, in the office program; a macro that has not
    // ended after `time_limit_seconds` is stopped and reported. The active workbook holds the
    // macro's changes afterwards.
    virtual Result<void> run_macro(const std::string& macro_book, const std::string& module,
                                   const std::string& procedure, int time_limit_seconds) {
        (void)macro_book, (void)module, (void)procedure, (void)time_limit_seconds;
        return Error::make(Error::Code::Unsupported,
                           "マクロを実行するには LibreOffice との連携が必要です。");
    }

    // Properties that only a window has; the engine keeps them as values.
    bool visible = true;
    bool display_alerts = true;
    bool screen_updating = true;
    bool enable_events = true;
    int window_state = xlNormal;
    // The Password argument that every Workbooks.Open of the run passes: the password to open
    // an encrypted workbook ("" tries only the application's default password).
    std::string open_password;

    FindState find_state;
};

}  // namespace sheaflow::xl
