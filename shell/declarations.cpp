// The catalogue as data: one row per entry, in catalogue order, separators included. Each row
// names its category, display name, procedure stem (derived from the name when left empty), its
// parameter files and, for the operations whose pane is settled, the pane's fields.

#include <algorithm>
#include <initializer_list>
#include <string>
#include <vector>

#include "shell/catalogue.h"
#include "util/text.h"

namespace sheaflow::shell {
namespace {

// ---- Field builders -------------------------------------------------------------------------

Field text(const char* key, const char* caption, const char* def = "") {
    return Field{key, FieldKind::Text, caption, def, {}, -1, false};
}
Field hist(const char* key, const char* caption, int history, bool reduce_quotes = false) {
    return Field{key, FieldKind::HistoryText, caption, "", {}, history, reduce_quotes};
}
// A header or footer text of the page setup pane: kept in Page_Header1 (headers, 0) or
// Page_Header2 (footers, 1); its drop-down is the history of header and footer texts that all
// six share (Page_Header2_Moji_T, after the pane's three history files).
Field header_text(const char* key, const char* caption, int stored_in) {
    Field f{key, FieldKind::HistoryText, caption, "", {}, 3 + 2, false};
    f.stored_in = stored_in;
    return f;
}
Field check(const char* key, const char* caption, const char* def = "0") {
    return Field{key, FieldKind::Check, caption, def, {}, -1, false};
}
Field option(const char* key, const char* caption, std::vector<Choice> choices, const char* def) {
    return Field{key, FieldKind::Option, caption, def, std::move(choices), -1, false};
}
Field number(const char* key, const char* caption, const char* def = "") {
    return Field{key, FieldKind::Number, caption, def, {}, -1, false};
}
Field row(const char* key, const char* caption) {
    return Field{key, FieldKind::Row, caption, "", {}, -1, false};
}
Field column(const char* key, const char* caption) {
    return Field{key, FieldKind::Column, caption, "", {}, -1, false};
}
Field folder(const char* key, const char* caption, int history = -1) {
    return Field{key, FieldKind::Folder, caption, "", {}, history, false};
}
Field file(const char* key, const char* caption, int history = -1) {
    return Field{key, FieldKind::File, caption, "", {}, history, false};
}
Field sheets(const char* key, const char* caption) {
    return Field{key, FieldKind::SheetList, caption, "", {}, -1, false};
}

std::vector<Field> fields(std::initializer_list<std::vector<Field>> parts) {
    std::vector<Field> out;
    for (const auto& p : parts) out.insert(out.end(), p.begin(), p.end());
    return out;
}

// The cell range of a pane: column-from, row-from, column-to, row-to.
std::vector<Field> range4() {
    return {column("col_from", "開始列"), row("row_from", "開始行"), column("col_to", "終了列"),
            row("row_to", "終了行")};
}

// The three check boxes of the text search and replace panes.
std::vector<Field> match3() {
    return {check("match_case", "大文字と小文字を区別する"),
            check("match_byte", "半角と全角を区別する"),
            check("whole_cell", "セル内容が完全に同一であるものを検索する")};
}

Field look_in() {
    return option("look_in", "検索対象", {{"formulas", "数式"}, {"values", "値"}}, "formulas");
}

// List the result, or write it back into the cells.
Field output_choice() {
    return option("output", "出力先", {{"list", "一覧に表示"}, {"write", "セルに書き込む"}},
                  "list");
}

Field cell_address(const char* key, const char* caption) {
    return Field{key, FieldKind::Address, caption, "", {}, -1, false};
}

// The (address, value) pairs of 文字列設定２.
std::vector<Field> value_pairs() {
    static const char* const kDigits[] = {"１", "２", "３", "４", "５", "６", "７", "８"};
    std::vector<Field> out;
    for (int i = 1; i <= 8; ++i) {
        const std::string n = std::to_string(i);
        const std::string row = kDigits[i - 1];
        out.push_back(Field{"address" + n, FieldKind::Address, "セル" + row, "", {}, -1, false});
        out.push_back(Field{"value" + n, FieldKind::Text, "値" + row, "", {}, -1, false});
    }
    return out;
}

Field output_folder(int history) { return folder("folder", "登録先ディレクトリ", history); }

// Kinds of item that the colour operations treat, one check box each.
std::vector<Field> colour_kinds() {
    return {check("font", "文字", "1"),
            check("interior", "背景", "1"),
            check("pattern", "パターン", "1"),
            check("borders", "罫線", "1"),
            check("format_conditions", "条件付き書式", "1"),
            check("comments", "コメント", "1"),
            check("shapes", "オートシェイプ", "1"),
            check("controls", "コントロール", "1"),
            check("tab", "見出し(TAB)", "1")};
}

// The file operations: which sheet a name or value is taken from, where an added text goes, how
// a name clash and unusable characters are met, and move or copy.
// The objects an object operation acts on, by name ("*" and "?" as wildcards).
Field object_name_pattern() {
    return text("name", "オブジェクト名（* ? 使用可、空欄はすべて）");
}

Field name_sheet() {
    return option("sheet", "対象シート", {{"active", "アクティブシート"}, {"first", "先頭のシート"}},
                  "active");
}
Field name_position() {
    return option("position", "追加する位置", {{"front", "ファイル名の先頭"}, {"end", "ファイル名の末尾"}},
                  "end");
}
Field overwrite() { return check("overwrite", "同じ名前のファイルがあれば上書きする"); }
// The printer (a CUPS queue) and the copies of the printing operations.
std::vector<Field> printer_fields() {
    return {text("printer", "プリンター（空欄は既定のプリンター）"), number("copies", "部数", "1")};
}
// PDF or XPS; XPS has no writer on Linux, which the check says.
Field pdf_format() {
    return option("format", "形式", {{"pdf", "PDF"}, {"xps", "XPS（Linux では出力できません）"}},
                  "pdf");
}
Field substitute() { return text("substitute", "ファイル名に使えない文字の置換文字", "_"); }
Field move_or_copy() {
    return option("action", "ファイルの扱い", {{"move", "移動する"}, {"copy", "コピーする"}}, "move");
}

// An option that a settings pane may leave as each workbook has it.
Field three_way(const char* key, const char* caption) {
    return option(key, caption, {{"keep", "変更しない"}, {"on", "する"}, {"off", "しない"}},
                  "keep");
}

// The cells whose values are added up across the targets, and the workbook the sums go to.
Field sum_cells() {
    return cell_address("cells", "加算するセル（例 B3、B3:D5、Sheet2!B3、カンマで区切って複数）");
}
std::vector<Field> sum_book() {
    return {sum_cells(), output_folder(-1),
            text("file_name", "登録するファイル名（空欄のディレクトリは最初のブックと同じ）",
                 "値の加算.xlsx"),
            overwrite()};
}

Field sheet_target(bool with_all) {
    std::vector<Choice> c = {{"active", "アクティブシート"}, {"position", "シート位置"}};
    if (with_all) c.push_back({"all", "すべてのシート"});
    return option("target", "対象シート", std::move(c), "active");
}

// ---- Cell format panes ----

// A property a pane may leave as each cell has it, set or clear.
Field switch3(const char* key, const char* caption) {
    return option(key, caption, {{"keep", "変更しない"}, {"on", "設定する"}, {"off", "解除する"}},
                  "keep");
}

std::vector<Field> font_fields() {
    return {text("font_name", "フォント名（空白は変更しない）"),
            number("size", "サイズ（空白は変更しない）"),
            switch3("bold", "太字"),
            switch3("italic", "斜体"),
            option("underline", "下線",
                   {{"keep", "変更しない"}, {"none", "なし"}, {"single", "下線"}, {"double", "二重下線"}},
                   "keep"),
            switch3("strike", "取り消し線"),
            text("colour", "文字の色（例 #FF0000、255,0,0、自動。空白は変更しない）")};
}

// ---- Data validation panes ----

std::vector<Choice> validation_kinds(bool with_all) {
    std::vector<Choice> c;
    if (with_all) c.push_back({"all", "すべての種類"});
    c.insert(c.end(), {{"list", "リスト（値）"},
                       {"list_range", "リスト（範囲）"},
                       {"whole", "整数"},
                       {"decimal", "小数点数"},
                       {"date", "日付"},
                       {"textLength", "文字列（長さ指定）"},
                       {"custom", "ユーザー設定（数式）"}});
    if (with_all) std::erase_if(c, [](const Choice& x) { return x.key == "list_range"; });
    return c;
}

std::vector<Choice> validation_operators() {
    return {{"between", "次の値の間"},
            {"notBetween", "次の値の間以外"},
            {"equal", "次の値に等しい"},
            {"notEqual", "次の値に等しくない"},
            {"greaterThan", "次の値より大きい"},
            {"lessThan", "次の値より小さい"},
            {"greaterThanOrEqual", "次の値以上"},
            {"lessThanOrEqual", "次の値以下"}};
}

// The sheets a view operation treats, and the names typed when they are named.
std::vector<Field> view_targets(const char* def) {
    return {option("target", "対象シート",
                   {{"active", "アクティブシート"}, {"all", "すべてのシート"}, {"names", "指定したシート"}},
                   def),
            text("names", "シート名（カンマ区切り）")};
}

// Copy and paste: where the cells come from and where they go. `unit` names what is copied:
// 'c' cells, 'r' rows, 'l' columns.
std::vector<Field> paste_pane(char unit, const char* source) {
    const char* range = unit == 'c'   ? "コピー元のセル範囲（例 A1:C5）"
                        : unit == 'r' ? "コピー元の行（例 5 または 5:9）"
                                      : "コピー元の列（例 C または C:F）";
    const char* dest = unit == 'c'   ? "貼り付け先のセル（例 E1）"
                       : unit == 'r' ? "貼り付け先の行"
                                     : "貼り付け先の列";
    return {option("source", "コピー元", {{"target", "処理するブック"}, {"file", "別のブック"}},
                   source),
            file("source_file", "コピー元のブック", 0),
            text("source_sheet", "コピー元のシート名（空白はアクティブシート）"),
            hist("range", range, 1),
            text("dest_sheet", "貼り付け先のシート名（空白はアクティブシート）"),
            cell_address("dest", dest)};
}

// ---- Row and column panes (the column pane names columns where the row pane names rows) ----

Field lines_box(bool rows, const char* key, const char* caption_rows, const char* caption_cols) {
    return rows ? row(key, caption_rows) : column(key, caption_cols);
}
// The line of the other axis whose cells are looked at.
Field key_box(bool rows) {
    return rows ? column("key", "値を調べる列") : row("key", "値を調べる行");
}

std::vector<Field> delete_pane(bool rows) {
    return {option("mode", "削除する",
                   {{"lines", rows ? "指定した行" : "指定した列"},
                    {"match", rows ? "値が一致する行" : "値が一致する列"}},
                   "lines"),
            lines_box(rows, "lines", "行（例 5 または 5:9）", "列（例 C または C:F）"),
            key_box(rows), text("value", "一致する値"), check("partial", "値の一部が一致すればよい")};
}

std::vector<Field> insert_pane(bool rows) {
    return {lines_box(rows, "at", "挿入する位置（行）", "挿入する位置（列）"),
            number("count", rows ? "挿入する行数" : "挿入する列数", "1")};
}

std::vector<Field> blank_pane(bool rows) {
    // Both axes' boxes; empty boxes mean every row or column in use.
    if (rows)
        return {row("from", "開始行"), row("to", "終了行"), column("cross_from", "調べる開始列"),
                column("cross_to", "調べる終了列"),
                check("formula_blank", "数式の結果が空文字列のセルも空白とみなす", "1")};
    return {column("from", "開始列"), column("to", "終了列"), row("cross_from", "調べる開始行"),
            row("cross_to", "調べる終了行"),
            check("formula_blank", "数式の結果が空文字列のセルも空白とみなす", "1")};
}

std::vector<Field> show_pane(bool rows) {
    return {lines_box(rows, "lines", "行（例 5 または 5:9）", "列（例 C または C:F）"),
            option("show", "表示", {{"hide", "非表示にする"}, {"show", "表示する"}}, "hide")};
}

std::vector<Field> show_by_value_pane(bool rows) {
    return {option("mode", "処理",
                   {{"show_all", rows ? "非表示の行をすべて表示" : "非表示の列をすべて表示"},
                    {"hide_match", rows ? "値が一致する行を非表示" : "値が一致する列を非表示"}},
                   "show_all"),
            key_box(rows), text("value", "一致する値（空白は空白のセル）"),
            check("partial", "値の一部が一致すればよい")};
}

std::vector<Field> size_pane(bool rows) {
    return {lines_box(rows, "lines", "行（例 5 または 5:9）", "列（例 C または C:F）"),
            number("size", rows ? "高さ（ポイント）" : "幅（文字数）")};
}

std::vector<Field> size_list_pane(bool rows) {
    return {option("mode", "設定のしかた",
                   {{"list", rows ? "行ごとに高さを指定" : "列ごとに幅を指定"},
                    {"auto", "自動調整"}},
                   "list"),
            hist("list", rows ? "行=高さ（例 1=20,3:5=15）" : "列=幅（例 A=12,C:E=8）", 0),
            lines_box(rows, "lines", "自動調整する行", "自動調整する列")};
}

Field formula_blank_check() {
    return check("formula_blank", "数式の結果が空文字列のセルは値なしとみなす", "1");
}

std::vector<Field> group_pane(bool rows) {
    return {lines_box(rows, "lines", "行（例 5 または 5:9）", "列（例 C または C:F）"),
            option("action", "処理",
                   {{"group", "グループ化"},
                    {"ungroup", "グループ解除"},
                    {"collapse", "折りたたむ"},
                    {"expand", "展開する"}},
                   "group")};
}

// ---- Rows -----------------------------------------------------------------------------------

enum Flags : unsigned { kNone = 0, kPlain = 1, kShared = 2 };

struct Entry {
    std::string category;
    std::string name;
    std::string proc;                     // "" = derived from category and name
    std::vector<std::string> files = {};  // main file, then history files (without ".txt")
    std::vector<Field> pane = {};
    unsigned flags = kNone;
    std::vector<std::string> extra = {};  // files left to the operation's own procedures
};

const char* const S = kSeparator10;

const std::vector<Entry>& table() {
    const char* F = "ファイル";
    const char* AF = "すべてのシート_ファイル";
    const char* E = "編集";
    const char* AE = "すべてのシート_編集";
    const char* V = "表示";
    const char* C = "セル";
    const char* AC = "すべてのシート_セル";
    const char* R = "行";
    const char* AR = "すべてのシート_行";
    const char* L = "列";
    const char* AL = "すべてのシート_列";
    const char* D = "データ";
    const char* AD = "すべてのシート_データ";
    const char* SH = "シート";
    const char* AS = "すべてのシート_シート";
    const char* T = "ツール";
    const char* AT = "すべてのシート_ツール";
    const char* X = "Excel";

    static const std::vector<Entry> rows = {
        // ファイル
        {F,
         "ファイル名を変えて保存",
         "",
         {"FileHenkan2", "FileHenkan2_T"},
         {option("how", "新しいファイル名",
                 {{"front", "先頭に文字を追加"}, {"end", "末尾に文字を追加"}, {"number", "新しい名前＋連番"}},
                 "end"),
          hist("text", "追加する文字・新しい名前", 0), number("digits", "連番の桁数", "3"),
          number("start", "連番の開始番号", "1"),
          folder("folder", "保存先フォルダー（空欄は元のフォルダー）"),
          check("remove", "元のファイルを削除する"), overwrite()}},
        {F,
         "ファイル名の一部を変更して保存",
         "",
         {"FileHenkan", "FileHenkan_T0", "FileHenkan_T1", "FileHenkan_T2"},
         {hist("search", "変更前の文字", 0), hist("replace", "変更後の文字", 1),
          option("which", "変更する箇所", {{"first", "最初の１か所"}, {"all", "すべて"}}, "all"),
          check("match_case", "大文字と小文字を区別する"),
          folder("folder", "保存先フォルダー（空欄は元のフォルダー）", 2),
          check("remove", "元のファイルを削除する"), overwrite()}},
        {F,
         "ファイル名にシート名を追加",
         "",
         {"FileSheet"},
         {name_sheet(), name_position(), text("delimiter", "区切り文字", "_"), substitute(),
          overwrite()}},
        {F,
         "ファイル名にセルの値を追加",
         "",
         {"FileCell", "FileCell_T"},
         {hist("cell", "セル（例：A1）", 0), name_sheet(), name_position(),
          text("delimiter", "区切り文字", "_"), substitute(), overwrite()}},
        {F, S, ""},
        {F,
         "同じファイル名でファイルを作成",
         "",
         {"File_Onaji", "File_Onaji_T0", "File_Onaji_T1"},
         {folder("folder", "作成先フォルダー", 0),
          file("template", "ひな形のブック（空欄は新しいブック）", 1), overwrite()}},
        {F,
         "セルの値をファイル名と扱いファイルを作成",
         "ファイル_セルの値でファイルを作成",
         {"File_CellOnaji", "File_CellOnaji_T0", "File_CellOnaji_T1"},
         fields({range4(),
                 {folder("folder", "作成先フォルダー", 0),
                  file("template", "ひな形のブック（空欄は新しいブック）", 1), substitute(),
                  overwrite()}})},
        {F,
         "セルの値でフォルダーに分類",
         "",
         {"Cell_Bunrui", "Cell_Bunrui_T"},
         {hist("cell", "セル（例：A1）", 0), name_sheet(), move_or_copy(),
          folder("folder", "分類先フォルダー（空欄は対象ファイルのフォルダー）"), substitute(),
          overwrite()}},
        {F,
         "セルの値をフォルダ名と扱いフォルダを作成",
         "ファイル_セルの値でフォルダを作成",
         {"File_CellFolder", "File_CellFolder_T"},
         fields({range4(), {folder("folder", "作成先フォルダー", 0), substitute()}})},
        {F, S, ""},
        {F,
         "拡張子変更(CSV・XLS・XLSX)",
         "ファイル_拡張子変更_XLS_CSV",
         {"File_Extenion", "File_Extenion_T"},
         {option("old_ext", "変更前の拡張子",
                 {{"xls", "XLS"}, {"xlsx", "XLSX"}, {"xlsm", "XLSM"}, {"csv", "CSV"}}, "xlsx"),
          option("new_ext", "変更後の拡張子",
                 {{"csv", "CSV"},
                  {"tsv", "TSV"},
                  {"txt", "TXT"},
                  {"xls", "XLS"},
                  {"xlsx", "XLSX"},
                  {"xlsm", "XLSM"}},
                 "csv"),
          option("txt_method", "TXTの編集方法", {{"comma", "カンマ区切り"}, {"tab", "タブ区切り"}},
                 "comma"),
          output_folder(0)}},
        {F, "間隔をあけて再登録", "", {"File_ReUpdate"}, {number("seconds", "間隔（秒）", "1")}},
        {F,
         "すべてのファイルを１つのファイルにまとめる",
         "ファイル_1つのファイルにまとめる",
         {"File_To_1File"},
         fields({{option("input", "入力シート",
                         {{"all", "すべてのシート"},
                          {"active", "アクティブシート"},
                          {"search", "シート名に検索文字列を含むシート"}},
                         "all")},
                 {check("keep_macros", "マクロを引き継ぐ（マクロ付きのブックがあれば .xlsm で保存）")},
                 {text("search1", "検索文字列１"), text("search2", "検索文字列２"),
                  text("search3", "検索文字列３"), text("search4", "検索文字列４"),
                  text("search5", "検索文字列５"), text("search6", "検索文字列６"),
                  text("search7", "検索文字列７"), text("search8", "検索文字列８"),
                  text("search9", "検索文字列９"), text("search10", "検索文字列１０")},
                 {output_folder(-1)}})},
        {F,
         "サブフォルダー⇔ファイル名",
         "",
         {"SubFolder_File", "SubFolder_File_T1", "SubFolder_File_T2"},
         {option("direction", "変換の向き",
                 {{"up", "サブフォルダーのファイルを、フォルダー名付きのファイル名にする"},
                  {"down", "ファイル名の区切り文字の前をサブフォルダーにする"}},
                 "up"),
          hist("delimiter_up", "区切り文字（フォルダー名→ファイル名）", 0),
          hist("delimiter_down", "区切り文字（ファイル名→フォルダー名）", 1), overwrite()}},
        {F, S, ""},
        {F,
         "パスワード変更１",
         "",
         {"Password", "Password_T0", "Password_T1", "Password_T2", "Password_T3"},
         {hist("old_open", "現在の読み取りパスワード（なければ空欄）", 0),
          hist("new_open", "新しい読み取りパスワード（空欄は解除）", 1),
          hist("old_modify", "現在の書き込みパスワード（なければ空欄）", 2),
          hist("new_modify", "新しい書き込みパスワード（空欄は解除）", 3),
          text("old_book", "現在のブック保護パスワード（なければ空欄）"),
          text("new_book", "新しいブック保護パスワード（空欄は保護を解除）")}},
        {F,
         "パスワード変更２",
         "",
         {"Password2"},
         {text("list",
               "パスワード一覧ファイル（1 行に ファイル名,現在の読み取りパスワード,"
               "新しい読み取りパスワード［,現在の書き込みパスワード,新しい書き込みパスワード"
               "［,現在のブック保護パスワード,新しいブック保護パスワード］］）")}},
        {F, S, ""},
        {F,
         "ファイル名の一部をセルの値にする",
         "",
         {"File_Moji"},
         {text("cell", "書き込むセル（例：A1）", "A1"), name_sheet(),
          option("part", "ファイル名の引用する部分",
                 {{"left", "先頭から"},
                  {"mid", "開始位置から"},
                  {"right", "末尾から"},
                  {"before", "区切り文字の前"},
                  {"after", "区切り文字の後"}},
                 "left"),
          number("start", "開始位置", "1"), number("length", "文字数"),
          text("delimiter", "区切り文字", "_")}},
        {F,
         "シートごとのファイルに分割",
         "",
         {"File_SheetBunkatu", "File_SheetBunkatu_T"},
         {output_folder(0)}},
        {F,
         "オブジェクトごとのファイルに分割",
         "",
         {"File_AutoShapeBunkatu", "File_AutoShapeBunkatu_T"},
         {output_folder(0)}},
        {F,
         "シート名でフォルダーに分類",
         "",
         {"File_Sheet_Bunrui", "File_Sheet_Bunrui_T"},
         {name_sheet(), move_or_copy(),
          folder("folder", "分類先フォルダー（空欄は対象ファイルのフォルダー）", 0), substitute(),
          overwrite()}},
        {F, S, ""},
        {F, "頁設定_一覧", "", {"Page_Display"}},
        {F,
         "頁設定_更新",
         "",
         {"PageSetup_1", "PageSetup_2", "PageSetup_3", "PageSetup_4"},
         {option("orientation", "印刷の向き", {{"", "変更しない"}, {"portrait", "縦"}, {"landscape", "横"}},
                 ""),
          option("paper", "用紙サイズ",
                 {{"", "変更しない"},
                  {"9", "A4"},
                  {"8", "A3"},
                  {"11", "A5"},
                  {"12", "B4"},
                  {"13", "B5"},
                  {"1", "レター"}},
                 ""),
          text("left", "左余白（cm、空欄は変更しない）"), text("right", "右余白（cm）"),
          text("top", "上余白（cm）"), text("bottom", "下余白（cm）"),
          text("header", "ヘッダー余白（cm）"), text("footer", "フッター余白（cm）"),
          header_text("left_header", "左ヘッダー（空欄は変更しない、「なし」で消去）", 0),
          header_text("center_header",
                      "中央ヘッダー（&P 頁番号、&N 総頁数、&D 日付、&A シート名、&F ファイル名）", 0),
          header_text("right_header", "右ヘッダー", 0), header_text("left_footer", "左フッター", 1),
          header_text("center_footer", "中央フッター", 1), header_text("right_footer", "右フッター", 1),
          hist("print_area", "印刷範囲（例 A1:F40、「なし」で解除）", 0),
          hist("title_rows", "行のタイトル（例 1:2、「なし」で解除）", 1),
          hist("title_columns", "列のタイトル（例 A:B、「なし」で解除）", 2),
          text("zoom", "拡大縮小（10～400 %）"),
          text("fit_wide", "次のページ数に合わせて印刷：横（0 は指定なし）"),
          text("fit_tall", "次のページ数に合わせて印刷：縦（0 は指定なし）"),
          option("center_h", "水平方向の中央", {{"", "変更しない"}, {"1", "する"}, {"0", "しない"}},
                 ""),
          option("center_v", "垂直方向の中央", {{"", "変更しない"}, {"1", "する"}, {"0", "しない"}},
                 "")},
         kNone,
         {"Page_Header1", "Page_Header2", "Page_Header2_Moji_T"}},
        {F, "印字した場合の頁情報", "", {"File_Page_Joho"}},
        {F, "印字", "", {"File_Page"}, printer_fields()},
        {F, "印字（色なし）", "ファイル_印字色なし", {"File_Page_None"}, printer_fields()},
        {F,
         "印字（ＰＤＦ・ＸＰＳ）",
         "ファイル_印字PDF",
         {"File_PagePDF", "File_PagePDF_T"},
         {pdf_format(), option("unit", "ファイルの単位", {{"book", "ブックごと"}, {"sheet", "シートごと"}}, "book"),
          output_folder(0)}},
        {F, S, ""},
        {F,
         "プロパティ一覧",
         "",
         {"File_PropertyPrint"},
         {check("empty", "値のない項目も一覧に入れる")}},
        {F,
         "プロパティ設定",
         "",
         {"File_PropertyUpdate", "File_PropertyUpdate_T0", "File_PropertyUpdate_T1",
          "File_PropertyUpdate_T2", "File_PropertyUpdate_T3", "File_PropertyUpdate_T4"},
         {hist("title", "タイトル", 0), hist("subject", "件名", 1), hist("author", "作成者", 2),
          hist("manager", "管理者", 3), hist("company", "会社名", 4), text("category", "分類"),
          text("keywords", "キーワード"), text("comments", "コメント"),
          text("custom_name", "ユーザー設定のプロパティ名"),
          text("custom_value", "ユーザー設定のプロパティの値"),
          option("blank", "空欄の項目",
                 {{"keep", "変更しない"}, {"clear", "値を削除する"}}, "keep")}},

        // すべてのシート_ファイル
        {AF, "ＣＳＶで出力", "", {"AllSheet_File_CSV", "AllSheet_File_CSV_T"}, {output_folder(0)}},
        {AF, "ＴＳＶで出力", "", {"AllSheet_File_TSV", "AllSheet_File_TSV_T"}, {output_folder(0)}},
        {AF,
         "ＴＸＴで出力",
         "",
         {"AllSheet_File_TXT", "AllSheet_File_TXT_T"},
         {output_folder(0), option("txt_method", "TXTの編集方法",
                                   {{"comma", "カンマ区切り"}, {"tab", "タブ区切り"}}, "comma")}},
        {AF, S, ""},
        {AF, "まとめて印字", "", {"AllSheet_File_Print"}, printer_fields()},
        {AF,
         "まとめて印字（ＰＤＦ・ＸＰＳ）",
         "すべてのシート_ファイル_まとめて印字PDF",
         {"AllSheet_File_PrintPDF", "AllSheet_File_PrintPDF_T"},
         {pdf_format(), output_folder(0)}},
        {AF,
         "シートを選択して印字",
         "",
         {"AllSheet_File_SelectPrint"},
         fields({{text("sheets", "印字するシート名（カンマ区切り）")}, printer_fields()})},
        {AF,
         "シートを選択してまとめて印字",
         "",
         {"AllSheet_File_SelectPrint2"},
         fields({{text("sheets", "印字するシート名（カンマ区切り）")}, printer_fields()})},
        {AF, S, ""},
        {AF, "頁設定_一覧", "", {}, {}, kShared},
        {AF, "頁設定_更新", "", {}, {}, kShared},

        // 編集
        {E,
         "コピー貼付",
         "",
         {"CopyPaste2", "CopyPaste2_T0", "CopyPaste2_T1"},
         paste_pane('c', "file")},
        {E,
         "コピー貼付_セル",
         "",
         {"CopyPaste", "CopyPaste_T0", "CopyPaste_T1"},
         paste_pane('c', "target")},
        {E,
         "コピー貼付_セル_特殊",
         "",
         {"CopyPaste_Tokusyu", "CopyPaste_Tokusyu_T0", "CopyPaste_Tokusyu_T1"},
         fields({paste_pane('c', "target"),
                 {option("paste", "貼り付けるもの",
                         {{"all", "すべて"},
                          {"values", "値"},
                          {"formulas", "数式"},
                          {"formats", "書式"},
                          {"widths", "列幅"}},
                         "values"),
                  check("transpose", "行列を入れ替える"),
                  check("skip_blanks", "空白セルを無視する")}}),
         kNone,
         {"CopyPaste_Tokusyu1"}},
        {E,
         "コピー貼付_行",
         "",
         {"CopyPaste_Gyo", "CopyPaste_Gyo_T0", "CopyPaste_Gyo_T1"},
         paste_pane('r', "target")},
        {E,
         "コピー貼付_列",
         "",
         {"CopyPaste_Retu", "CopyPaste_Retu_T0", "CopyPaste_Retu_T1"},
         paste_pane('l', "target")},
        {E, S, ""},
        {E,
         "切取り貼付_セル",
         "",
         {"CutPaste", "CutPaste_T0", "CutPaste_T1"},
         {text("sheet", "シート名（空白はアクティブシート）"),
          hist("range", "切り取るセル範囲（例 A1:C5）", 0),
          hist("dest", "貼り付け先のセル（例 E1）", 1)}},
        {E,
         "切取り貼付_行",
         "",
         {"CutPaste_Gyo", "CutPaste_Gyo_T0", "CutPaste_Gyo_T1"},
         {text("sheet", "シート名（空白はアクティブシート）"),
          hist("range", "切り取る行（例 5 または 5:9）", 0),
          hist("dest", "移動先（この行の前に挿入）", 1)}},
        {E,
         "切取り貼付_列",
         "",
         {"CutPaste_Retu", "CutPaste_Retu_T0", "CutPaste_Retu_T1"},
         {text("sheet", "シート名（空白はアクティブシート）"),
          hist("range", "切り取る列（例 C または C:F）", 0),
          hist("dest", "移動先（この列の前に挿入）", 1)}},
        {E, S, ""},
        {E,
         "コピー_シート１",
         "",
         {"Sheet_Copy", "Sheet_Copy_T"},
         {file("source_file", "コピー元のブック", 0),
          text("source_sheet", "コピー元のシート名（空白はアクティブシート）"),
          option("where", "コピー先の位置",
                 {{"front", "先頭"}, {"end", "末尾"}, {"position", "シート位置の前"}}, "end"),
          number("position", "シート位置", "1"),
          text("name", "コピー後のシート名（空白は元の名前）")}},
        {E,
         "コピー_シート２",
         "",
         {"Sheet_Insert2"},
         {text("source_sheet", "コピーするシート名（空白はアクティブシート）"),
          option("mode", "コピーのしかた", {{"count", "枚数を指定"}, {"names", "シート名ごと"}},
                 "count"),
          number("count", "枚数", "1"), text("names", "シート名（カンマ区切り）"),
          option("where", "コピー先の位置",
                 {{"after_source", "コピーするシートの後"},
                  {"front", "先頭"},
                  {"end", "末尾"},
                  {"position", "シート位置の前"}},
                 "after_source"),
          number("position", "シート位置", "1")},
         kNone,
         {"Sheet_Insert2_List"}},
        {E,
         "コピー_シート３",
         "",
         {"Hensyu_Sheet3", "Hensyu_Sheet3_T"},
         {hist("sheet", "集めるシート名（空白はアクティブシート）", 0),
          option("naming", "コピー後のシート名",
                 {{"file", "ファイル名"}, {"sheet", "元のシート名"}, {"both", "ファイル名_シート名"}},
                 "file")}},
        {E, S, ""},
        {E,
         "コピー貼付_頁設定",
         "",
         {"PageSetup_Copy", "PageSetup_Copy_T0", "PageSetup_Copy_T1"},
         {file("source_book", "コピー元のブック", 0),
          hist("source_sheet", "コピー元のシート名（空欄はアクティブシート）", 1)},
         kNone,
         {"PageSetup_Copy1"}},
        {E,
         "コピー貼付_オブジェクト",
         "",
         {"AutoShape_CopyPaste", "AutoShape_CopyPaste_T0", "AutoShape_CopyPaste_T1",
          "AutoShape_CopyPaste_T2"},
         {option("source", "コピー元", {{"target", "処理するブック"}, {"file", "別のブック"}}, "file"),
          file("source_file", "コピー元のブック", 0),
          hist("source_sheet", "コピー元のシート名（空白はアクティブシート）", 1),
          hist("names", "オブジェクト名（カンマ区切り、* ? 使用可）", 2),
          text("dest_sheet", "貼り付け先のシート名（空白はアクティブシート）"),
          text("dest", "貼り付け先のセル（空欄は元と同じ位置）")}},
        {E,
         "切取り貼付_オブジェクト",
         "",
         {"CutPaste_AutoShape", "CutPaste_AutoShape_T0", "CutPaste_AutoShape_T1",
          "CutPaste_AutoShape_Name_T"},
         {hist("source_sheet", "切り取るシート名（空白はアクティブシート）", 0),
          hist("dest_sheet", "貼り付け先のシート名", 1),
          hist("names", "オブジェクト名（カンマ区切り、* ? 使用可）", 2),
          text("dest", "貼り付け先のセル（空欄は元と同じ位置）")}},
        {E,
         "コピー貼付_条件付き書式",
         "",
         {"JokenSyosiki_CopyPaste", "JokenSyosiki_CopyPaste_T0", "JokenSyosiki_CopyPaste_T1"},
         paste_pane('c', "target")},
        {E,
         "コピー貼付_スタイル",
         "",
         {"CopyPaste_Style"},
         {file("source_file", "コピー元のブック"), text("styles", "スタイル名（カンマ区切り）")}},
        {E,
         "コピー貼付_すべてのスタイル",
         "",
         {"CopyPaste_StyleAll"},
         {file("source_file", "コピー元のブック")}},
        {E,
         "コピー貼付_コメント→セル",
         "",
         {"CopyPaste_Comment1", "CopyPaste_Comment_T0", "CopyPaste_Comment_T1"},
         fields({range4(),
                 {hist("row_offset", "書き込み先の行方向のずれ（例 0）", 0),
                  hist("col_offset", "書き込み先の列方向のずれ（例 1）", 1),
                  check("overwrite", "値のあるセルにも書き込む")}}),
         kNone,
         {"CopyPaste_Comment2"}},
        {E, S, ""},
        {E,
         "クリア",
         "",
         {"Clear"},
         fields({range4(),
                 {option("what", "クリアするもの",
                         {{"all", "すべて"},
                          {"contents", "数式と値"},
                          {"formats", "書式"},
                          {"comments", "コメント"}},
                         "contents")}})},
        {E,
         "クリア特殊",
         "",
         {"Clear2"},
         fields({range4(),
                 {option("kind", "クリアするセル",
                         {{"constants", "定数"},
                          {"formulas", "数式"},
                          {"numbers", "数値の定数"},
                          {"texts", "文字列の定数"},
                          {"errors", "エラー値"},
                          {"blank_formats", "書式だけの空白セル"}},
                         "constants"),
                  option("what", "クリアするもの", {{"contents", "数式と値"}, {"all", "書式も"}},
                         "contents")}}),
         kNone,
         {"Clear2_2"}},
        {E,
         "ジャンプ",
         "",
         {"Jump"},
         fields({{Field{"cell", FieldKind::Address, "ジャンプ先のセル（例 A1）", "A1", {}, -1, false}},
                 view_targets("all"),
                 {option("activate", "アクティブにするシート",
                         {{"keep", "変更しない"}, {"first", "先頭のシート"}, {"position", "シート位置"}},
                         "first"),
                  number("position", "シート位置", "1")}})},

        // すべてのシート_編集
        {AE, "クリア", "", {}, {}, kShared},
        {AE, "クリア特殊", "", {}, {}, kShared},
        {AE, "コピー貼付_頁設定", "", {}, {}, kShared},

        // 表示
        {V,
         "枠の固定",
         "",
         {"Sheet_Freeze"},
         fields({{option("action", "処理",
                         {{"freeze", "枠を固定する"}, {"unfreeze", "枠の固定・分割を解除する"}},
                         "freeze"),
                  cell_address("cell", "固定する位置のセル（例 B2）")},
                 view_targets("active")})},
        {V,
         "ズーム",
         "",
         {"Display"},
         fields({{number("zoom", "倍率（％、１０～４００）", "100")}, view_targets("all")})},
        {V,
         "レイアウト",
         "",
         {"Display_View"},
         fields({{option("view", "表示",
                         {{"normal", "標準"}, {"break", "改ページプレビュー"}, {"layout", "ページレイアウト"}},
                         "normal")},
                 view_targets("all")})},

        // セル
        {C,
         "削除",
         "",
         {"Cell_Delete"},
         fields({range4(),
                 {option("shift", "削除方法",
                         {{"up", "上方向にシフト"},
                          {"left", "左方向にシフト"},
                          {"row", "行全体"},
                          {"column", "列全体"}},
                         "up")}})},
        {C,
         "挿入",
         "",
         {"Cell_Insert"},
         fields({range4(),
                 {option("shift", "挿入方法",
                         {{"down", "下方向にシフト"},
                          {"right", "右方向にシフト"},
                          {"row", "行全体"},
                          {"column", "列全体"}},
                         "down")}})},
        {C, S, ""},
        {C, "書式設定１", "", {"Cell_Format1"}, fields({range4(), font_fields()})},
        {C,
         "書式設定２",
         "",
         {"Cell_Format2"},
         fields({range4(),
                 {option("horizontal", "横位置",
                         {{"keep", "変更しない"},
                          {"general", "標準"},
                          {"left", "左詰め"},
                          {"center", "中央揃え"},
                          {"right", "右詰め"},
                          {"fill", "繰り返し"},
                          {"justify", "両端揃え"},
                          {"centerContinuous", "選択範囲内で中央"},
                          {"distributed", "均等割り付け"}},
                         "keep"),
                  option("vertical", "縦位置",
                         {{"keep", "変更しない"},
                          {"top", "上詰め"},
                          {"center", "中央揃え"},
                          {"bottom", "下詰め"},
                          {"justify", "両端揃え"},
                          {"distributed", "均等割り付け"}},
                         "keep"),
                  switch3("wrap", "折り返して全体を表示する"),
                  switch3("shrink", "縮小して全体を表示する"),
                  number("indent", "インデント（0～15、空白は変更しない）"),
                  number("rotation", "文字の角度（-90～90、空白は変更しない）"),
                  switch3("vertical_text", "縦書き")}})},
        {C,
         "書式設定３",
         "",
         {"Cell_Format3"},
         fields({range4(),
                 {option("borders", "罫線",
                         {{"keep", "変更しない"},
                          {"all", "格子"},
                          {"outline", "外枠"},
                          {"inside", "内側"},
                          {"top", "上"},
                          {"bottom", "下"},
                          {"left", "左"},
                          {"right", "右"},
                          {"none", "罫線なし"}},
                         "keep"),
                  option("line", "線の種類",
                         {{"thin", "細線"},
                          {"medium", "中太線"},
                          {"thick", "太線"},
                          {"double", "二重線"},
                          {"dotted", "点線"},
                          {"dashed", "破線"},
                          {"hair", "極細線"}},
                         "thin"),
                  text("border_colour", "罫線の色（例 #0000FF、0,0,255。空白は自動）"),
                  option("fill", "塗りつぶし",
                         {{"keep", "変更しない"}, {"solid", "塗りつぶす"}, {"none", "塗りつぶしなし"}},
                         "keep"),
                  text("fill_colour", "塗りつぶしの色（例 #FFFF00、255,255,0）")}})},
        {C,
         "書式設定（数値表示）",
         "",
         {"Cell_Format_Number", "Cell_Format_Number_T"},
         fields({range4(),
                 {option("preset", "表示形式",
                         {{"general", "標準"},
                          {"number", "数値（0）"},
                          {"comma", "桁区切り（#,##0）"},
                          {"comma2", "桁区切り・小数2桁（#,##0.00）"},
                          {"currency", "通貨（¥#,##0）"},
                          {"percent", "パーセント（0%）"},
                          {"percent2", "パーセント・小数2桁（0.00%）"},
                          {"date", "日付（yyyy/m/d）"},
                          {"date_ja", "日付（yyyy年m月d日）"},
                          {"era", "和暦（令和元年5月1日）"},
                          {"time", "時刻（h:mm）"},
                          {"text", "文字列（@）"},
                          {"custom", "ユーザー定義"}},
                         "general"),
                  hist("code", "ユーザー定義の表示形式（例 #,##0\"円\"）", 0),
                  number("sample", "表示例に使う値", "1234.5")}})},
        {C,
         "書式設定（文字列の一部）",
         "",
         {"Cell_Format_Part", "Cell_Format_Part_T"},
         fields({range4(),
                 {hist("text", "書式を設定する文字列", 0),
                  check("match_case", "大文字と小文字を区別する")},
                 font_fields()})},
        {C, "書式一覧", "", {"Cell_Format_List"}, range4()},
        {C,
         "書式一括修正",
         "",
         {"Cell_Format_Update", "Cell_Format_Update_T0", "Cell_Format_Update_T1"},
         fields({range4(),
                 {option("property", "修正する書式",
                         {{"font_name", "フォント名"},
                          {"size", "フォントサイズ"},
                          {"number_format", "表示形式"},
                          {"font_colour", "文字の色"},
                          {"fill_colour", "塗りつぶしの色"}},
                         "font_name"),
                  hist("old", "修正前の値（色は #FF0000、255,0,0、自動）", 0),
                  hist("new", "修正後の値", 1)}})},
        {C, "書式ごとのセル一覧", "", {"Cell_Format_CellList"}, range4()},
        {C,
         "画像として印字",
         "",
         {"Cell_Picture"},
         fields({range4(),
                 {option("scale", "倍率", {{"1", "100%"}, {"2", "200%"}, {"3", "300%"}}, "2"),
                  check("save_files", "画像ファイル（PNG）も保存する"), output_folder(-1)}})},
        {C, S, ""},
        {C, "コメント書式一覧", "", {"Cell_Comment_FormatList"}, range4()},
        {C,
         "コメント書式設定",
         "",
         {"Cell_Comment_Format"},
         fields({range4(),
                 {number("width", "幅（ポイント、空白は変更しない）"),
                  number("height", "高さ（ポイント、空白は変更しない）"),
                  text("fill_colour", "塗りつぶしの色（例 #FFFFE1。空白は変更しない）"),
                  text("line_colour", "線の色（空白は変更しない）"),
                  number("line_weight", "線の太さ（ポイント、空白は変更しない）"),
                  option("visible", "表示",
                         {{"keep", "変更しない"}, {"show", "常に表示する"}, {"hide", "表示しない"}},
                         "keep"),
                  switch3("autosize", "サイズを自動調整する")}})},
        {C, "コメントの文字書式設定", "", {"Cell_Comment_Font"}, fields({range4(), font_fields()})},
        {C, S, ""},
        {C, "値の加算_画面表示", "", {"Cell_Sum_Display"}, {sum_cells()}},
        {C, "値の加算_EXCEL登録", "", {"Cell_Sum_Excel"}, sum_book()},
        {C, "値の加算_リンク登録", "", {"Cell_Sum_Link"}, sum_book()},
        {C,
         "セルの値でハイパーリンク作成",
         "",
         {"Cell_Hyperlink"},
         fields({range4(),
                 {text("display", "表示する文字（空白はセルの値のまま）"),
                  text("tooltip", "ヒントの文字（空白はなし）")}})},
        {C, S, ""},
        {C,
         "文字列設定１",
         "",
         {"Cell_Moji_Settei1", "Cell_Moji_Settei1_T"},
         {cell_address("address", "設定するセル（例 B3、B3:D5、Sheet2!B3）"),
          hist("value", "設定する値（文字・数値・=で始まる計算式）", 0)}},
        {C, "文字列設定２", "", {"Cell_Moji_Settei2"}, value_pairs()},
        {C,
         "文字列検索",
         "",
         {"Cell_Search", "Cell_Search_T"},
         fields({range4(), {hist("search", "検索文字", 0, true)}, match3(), {look_in()}})},
        {C,
         "文字列置換",
         "",
         {"Cell_Tikan", "Cell_Tikan_T0", "Cell_Tikan_T1"},
         fields({range4(),
                 {hist("search", "検索文字", 0, true), hist("replace", "置換後の文字", 1)},
                 match3()})},
        {C,
         "日付検索",
         "",
         {"Cell_DateSearch"},
         fields({range4(),
                 {text("from", "開始日（yyyy/mm/dd、空白は制限なし）"),
                  text("to", "終了日（yyyy/mm/dd、空白は制限なし）")}})},
        {C,
         "ふり仮名検索",
         "",
         {"Cell_Furigana"},
         fields({range4(),
                 {text("search", "検索するふりがな（空白はふりがなのあるすべてのセル）"),
                  option("action", "処理",
                         {{"list", "一覧にする"},
                          {"set", "見つかったセルのふりがなを設定する"},
                          {"remove", "見つかったセルのふりがなを削除する"}},
                         "list"),
                  text("reading", "設定するふりがな")}})},
        {C,
         "カナ→ローマ字",
         "",
         {"Cell_Romaji"},
         fields({range4(),
                 {option("style", "出力形式",
                         {{"hepburn", "ヘボン式（長音記号あり）"},
                          {"hepburn_capital", "ヘボン式・先頭大文字"},
                          {"hepburn_upper", "ヘボン式・大文字"},
                          {"hepburn_family_upper", "ヘボン式・姓のみ大文字"},
                          {"hepburn_reversed", "ヘボン式・名 姓"},
                          {"hepburn_reversed_capital", "ヘボン式・名 姓・先頭大文字"},
                          {"hepburn_reversed_upper", "ヘボン式・名 姓・大文字"},
                          {"hepburn_reversed_family_upper", "ヘボン式・名 姓・姓のみ大文字"},
                          {"simple", "簡易式（長音記号なし）"},
                          {"simple_capital", "簡易式・先頭大文字"},
                          {"simple_upper", "簡易式・大文字"},
                          {"simple_family_upper", "簡易式・姓のみ大文字"},
                          {"simple_reversed", "簡易式・名 姓"},
                          {"simple_reversed_capital", "簡易式・名 姓・先頭大文字"},
                          {"simple_reversed_upper", "簡易式・名 姓・大文字"},
                          {"simple_reversed_family_upper", "簡易式・名 姓・姓のみ大文字"}},
                         "hepburn"),
                  output_choice(),
                  number("offset", "書き込む列（右へ何列目か、0はそのセル）", "1")}})},
        {C, S, ""},
        {C,
         "条件付き書式設定",
         "",
         {"Cell_JokenSyosiki", "Cell_JokenSyosiki_T0", "Cell_JokenSyosiki_T1"},
         fields({range4(),
                 {option("kind", "条件",
                         {{"between", "セルの値が次の値の間"},
                          {"equal", "セルの値が次の値に等しい"},
                          {"greater", "セルの値が次の値より大きい"},
                          {"less", "セルの値が次の値より小さい"},
                          {"contains", "次の文字を含む"},
                          {"duplicate", "重複する値"},
                          {"unique", "一意の値"},
                          {"expression", "数式"},
                          {"colour_scale2", "２色スケール"},
                          {"colour_scale3", "３色スケール"},
                          {"data_bar", "データバー"},
                          {"remove", "範囲の条件付き書式をすべて削除"}},
                         "greater"),
                  hist("value1", "値１・文字・数式（=で始まる）", 0),
                  hist("value2", "値２（次の値の間のときの上限）", 1),
                  text("font_colour", "文字の色（空白は変更しない）", "#9C0006"),
                  check("bold", "太字にする"),
                  text("fill_colour", "塗りつぶしの色（空白は塗りつぶさない）", "#FFC7CE"),
                  text("colour1", "スケール・バーの色１（最小値）", "#F8696B"),
                  text("colour2", "スケールの色２（中間値・２色は最大値）", "#FFEB84"),
                  text("colour3", "スケールの色３（最大値）", "#63BE7B")}})},
        {C,
         "値のチェック",
         "",
         {"Cell_ValueCheck"},
         fields({range4(),
                 {option("rule", "チェック内容",
                         {{"number_text", "文字列として入力された数値"},
                          {"blanks", "前後に空白がある文字"},
                          {"full_digits", "全角の数字を含む文字"},
                          {"non_cp932", "Shift_JISで表せない文字を含む文字"},
                          {"empty", "範囲内の空白セル"},
                          {"too_long", "文字数が上限を超える値"}},
                         "number_text"),
                  number("max_length", "上限の文字数")}})},
        {C,
         "整数の桁数チェック",
         "",
         {"Cell_Seisu_Keta"},
         fields({range4(),
                 {number("digits", "整数部の桁数"),
                  option("value_kind", "チェックする値",
                         {{"value", "セルの値"}, {"display", "表示形式で表示した値"}}, "value")}})},
        {C,
         "小数の桁数チェック",
         "",
         {"Cell_Syosu_Keta"},
         fields({range4(),
                 {number("digits", "小数部の桁数"),
                  option("value_kind", "チェックする値",
                         {{"value", "セルの値"}, {"display", "表示形式で表示した値"}}, "value")}})},
        {C, "エラー表示一覧", "", {"Cell_ErrorList"}, range4()},
        {C,
         "カラーチェック",
         "",
         {"Cell_ColorCheck"},
         {check("font", "文字", "1"), check("interior", "背景", "1")}},
        {C, S, ""},
        {C,
         "文字の追加",
         "",
         {"Cell_Moji_Add", "Cell_Moji_Add_T"},
         fields(
             {range4(),
              {hist("text", "追加する文字", 0),
               option("position", "追加する位置",
                      {{"front", "先頭"}, {"end", "末尾"}, {"at", "指定した文字数の後"}}, "front"),
               number("at", "何文字目の後に追加するか"),
               check("numbers", "数値のセルにも追加する")}})},
        {C,
         "文字の操作１",
         "",
         {"Cell_Moji_Sosa1"},
         fields({range4(),
                 {option("conversion", "変換",
                         {{"to_full", "全角に変換"},
                          {"to_half", "半角に変換"},
                          {"to_katakana", "ひらがな→カタカナ"},
                          {"to_hiragana", "カタカナ→ひらがな"},
                          {"to_upper", "英字を大文字に"},
                          {"to_lower", "英字を小文字に"}},
                         "to_half"),
                  check("alnum", "英数字", "1"), check("kana", "カナ", "1"),
                  check("symbol", "記号・空白", "1"), output_choice()}})},
        {C,
         "文字の操作１_漢数字",
         "",
         {"Cell_Moji_Sosa1_Kansuji"},
         fields({range4(),
                 {option("mode", "変換方法",
                         {{"half", "漢数字→半角数字"},
                          {"full", "漢数字→全角数字"},
                          {"kanji", "数字→漢数字"}},
                         "half")}})},
        {C,
         "文字の操作２",
         "",
         {"Cell_Moji_Sosa2", "Cell_Moji_Sosa2_T"},
         fields({range4(),
                 {option("operation", "操作",
                         {{"trim", "前後の空白を削除"},
                          {"trim_left", "先頭の空白を削除"},
                          {"trim_right", "末尾の空白を削除"},
                          {"remove_spaces", "すべての空白を削除"},
                          {"remove_breaks", "改行を削除"},
                          {"remove_chars", "指定した文字を削除"},
                          {"digits_only", "数字だけを残す"}},
                         "trim"),
                  check("full_space", "全角の空白も対象にする", "1"),
                  hist("chars", "削除する文字", 0), output_choice()}})},
        {C, S, ""},
        {C, "計算式一覧", "", {"Cell_Formula_List"}, range4()},
        {C, "結合セル一覧", "", {"Cell_Merge_List"}, range4()},
        {C, "計算式解析", "", {"Cell_Formula_Kaiseki"}, range4()},
        {C,
         "計算式で影響するセル一覧",
         "",
         {"Cell_Formula_Precedents"},
         {cell_address("address", "調べるセル（例 B3、B3:D5、Sheet2!B3）"),
          option("direction", "調べる向き",
                 {{"precedents", "このセルの式が参照するセル"},
                  {"dependents", "このセルを参照する式のセル"}},
                 "dependents"),
          check("all_levels", "間接的に影響するセルも含める", "1")}},

        // すべてのシート_セル
        {AC,
         "文字列検索",
         "",
         {"Sheet_Search", "Sheet_Search_T"},
         fields({{hist("search", "検索文字", 0, true)}, match3(), {look_in()}})},
        {AC,
         "文字列置換",
         "",
         {"Sheet_Tikan", "Sheet_Tikan_T0", "Sheet_Tikan_T1"},
         fields({{hist("search", "検索文字", 0, true), hist("replace", "置換後の文字", 1)},
                 match3()})},
        {AC, "スタイル利用状況", "", {"AllSheet_Cell_StyleUse"}},
        {AC, S, ""},
        {AC, "削除", "", {}, {}, kShared},
        {AC, "書式設定１", "", {}, {}, kShared},
        {AC, "書式ごとのセル一覧", "", {}, {}, kShared},

        // 行
        {R, "削除", "", {"Gyo_Delete"}, delete_pane(true)},
        {R, "挿入１", "", {"Gyo_Insert"}, insert_pane(true)},
        {R,
         "挿入２",
         "",
         {"Gyo_Insert_2"},
         {option("mode", "挿入のしかた",
                 {{"every", "一定の行数ごと"}, {"change", "列の値が変わる位置"}}, "every"),
          row("from", "開始行"), number("interval", "行数", "1"),
          column("key", "値を調べる列")}},
        {R, "空白行削除", "", {"Gyo_NullDelete"}, blank_pane(true)},
        {R, S, ""},
        {R, "表示１", "", {"Gyo_Hidden"}, show_pane(true)},
        {R, "表示２", "", {"Gyo_Hidden2"}, show_by_value_pane(true)},
        {R, "高さ設定１", "", {"Gyo_RowHeight"}, size_pane(true)},
        {R, "高さ設定２", "", {"Gyo2_RowHeight", "Gyo2_RowHeight_T"}, size_list_pane(true)},
        {R, "高さ一覧", "", {"Gyo_Gamen"}, {row("lines", "行（空白はすべての行）")}},
        {R, S, ""},
        {R, "値あり行一覧", "", {"Gyo_Bottom"}, {formula_blank_check()}},
        {R, "グループ", "", {"Data_Gyo_Group"}, group_pane(true)},

        // すべてのシート_行
        {AR, "削除", "", {}, {}, kShared},
        {AR, "挿入１", "", {}, {}, kShared},
        {AR, "空白行削除", "", {}, {}, kShared},
        {AR, S, ""},
        {AR, "表示１", "", {}, {}, kShared},
        {AR, "高さ設定１", "", {}, {}, kShared},
        {AR, "高さ一覧", "", {}, {}, kShared},
        {AR, S, ""},
        {AR, "値あり行一覧", "", {}, {}, kShared},
        {AR, "グループ", "", {}, {}, kShared},

        // 列
        {L, "削除", "", {"Retu_Delete"}, delete_pane(false)},
        {L, "挿入", "", {"Retu_Insert"}, insert_pane(false)},
        {L, "空白列削除", "", {"Retu_NullDelete"}, blank_pane(false)},
        {L, S, ""},
        {L, "表示１", "", {"Retu_Hidden"}, show_pane(false)},
        {L, "表示２", "", {"Retu_Hidden2"}, show_by_value_pane(false)},
        {L, "幅設定１", "", {"Retu_ColumnWidth"}, size_pane(false)},
        {L, "幅設定２", "", {"Retu2_ColumnWidth", "Retu2_ColumnWidth_T"}, size_list_pane(false)},
        {L,
         "タイトル行を除いて列幅自動調整",
         "列_タイトル列幅自動調整",
         {"Data_Retu_Title_ColumnWidth"},
         {number("title_rows", "タイトル行数", "1"), column("from", "開始列（空白はすべての列）"),
          column("to", "終了列")}},
        {L, "幅一覧", "", {"Retu_Gamen"}, {column("lines", "列（空白はすべての列）")}},
        {L, S, ""},
        {L, "値あり列一覧", "", {"Retu_Right"}, {formula_blank_check()}},
        {L,
         "データ重複検索",
         "",
         {"Data_Retu_DataTyohuku"},
         {column("key", "調べる列"), number("title_rows", "タイトル行数", "1"),
          check("fold", "全角と半角を区別せず、前後の空白を除いて比べる")}},
        {L,
         "文字の分割",
         "",
         {"Retu_MojiBunkatu"},
         {column("key", "分割する列"), number("title_rows", "タイトル行数", "0"),
          option("method", "分割のしかた", {{"delimiter", "区切り文字"}, {"fixed", "固定長"}},
                 "delimiter"),
          text("delimiter", "区切り文字", ","), text("widths", "文字数（例 3,2,4）")},
         kNone,
         {"Retu_MojiBunkatu_2"}},
        {L, "グループ", "", {"Data_Retu_Group"}, group_pane(false)},

        // すべてのシート_列
        {AL, "削除", "", {}, {}, kShared},
        {AL, "挿入", "", {}, {}, kShared},
        {AL, "空白列削除", "", {}, {}, kShared},
        {AL, S, ""},
        {AL, "表示１", "", {}, {}, kShared},
        {AL, "幅設定１", "", {}, {}, kShared},
        {AL, "タイトル行を除いて列幅自動調整", "", {}, {}, kShared},
        {AL, "幅一覧", "", {}, {}, kShared},
        {AL, S, ""},
        {AL, "値あり列一覧", "", {}, {}, kShared},
        {AL, "グループ", "", {}, {}, kShared},

        // データ
        {D,
         "入力規則設定",
         "",
         {"Data_Input_Settei", "Data_Input_Settei_KM1_T", "Data_Input_Settei_KM2_T"},
         fields({range4(),
                 {option("kind", "入力値の種類", validation_kinds(false), "list"),
                  option("op", "データ（条件）", validation_operators(), "between"),
                  hist("value1", "値１（リストは a,b,c、範囲は =$A$1:$A$5、日付は yyyy/mm/dd）", 0),
                  hist("value2", "値２（次の値の間のときの上限）", 1),
                  check("blank", "空白を無視する", "1"),
                  check("dropdown", "ドロップダウンリストから選択する", "1"),
                  text("prompt_title", "入力時メッセージのタイトル"),
                  text("prompt", "入力時メッセージ"),
                  option("error_style", "エラーのスタイル",
                         {{"stop", "停止"}, {"warning", "注意"}, {"information", "情報"}}, "stop"),
                  text("error_title", "エラーメッセージのタイトル"),
                  text("error", "エラーメッセージ")}})},
        {D,
         "入力規則修正",
         "",
         {"Data_Input_Update", "Data_Input_Update_KM1_T0", "Data_Input_Update_KM1_T1",
          "Data_Input_Update_KM2_T0", "Data_Input_Update_KM2_T1"},
         fields({range4(),
                 {option("kind", "修正する入力規則の種類", validation_kinds(true), "all"),
                  hist("old1", "修正前の値１（空白はすべて）", 0),
                  hist("new1", "修正後の値１（空白は変更しない）", 1),
                  hist("old2", "修正前の値２（空白はすべて）", 2),
                  hist("new2", "修正後の値２（空白は変更しない）", 3)}})},
        {D, "入力規則削除", "", {"Data_Input_Delete"}, range4()},

        // すべてのシート_データ
        {AD, "入力規則設定", "", {}, {}, kShared},
        {AD, "入力規則修正", "", {}, {}, kShared},
        {AD, "入力規則削除", "", {}, {}, kShared},

        // シート
        {SH,
         "選択したシート以外、削除",
         "シート_選択以外削除",
         {"Sheet_SelectNotDelete"},
         {sheets("sheets", "残すシート")}},
        {SH,
         "シートを選択して削除",
         "シート_選択削除",
         {"Sheet_SelectDelete"},
         {sheets("sheets", "削除するシート")}},
        {SH, "初期化", "", {"Sheet_Syokika"}, view_targets("all")},
        {SH,
         "選択",
         "",
         {"Sheet_Select"},
         {option("by", "選択するシート", {{"name", "シート名"}, {"position", "シート位置"}}, "name"),
          text("name", "シート名"), number("position", "シート位置", "1")}},
        {SH,
         "移動",
         "",
         {"Sheet_Move", "Sheet_Move_T"},
         {option("source", "移動元", {{"name", "シート名"}, {"position", "シート位置"}}, "name"),
          hist("source_name", "移動元のシート名", 0),
          number("source_position", "移動元のシート位置"),
          number("target_position", "移動先のシート位置"),
          option("place", "移動先", {{"before", "指定位置の前"}, {"after", "指定位置の後"}},
                 "before")}},
        {SH,
         "挿入",
         "",
         {"Sheet_Insert"},
         {option("where", "挿入位置",
                 {{"front", "先頭"},
                  {"before_active", "アクティブシートの前"},
                  {"after_active", "アクティブシートの後"},
                  {"position", "シート位置"}},
                 "front"),
          number("position", "シート位置"), number("count", "挿入するシート数", "1"),
          option("kind", "挿入するシート",
                 {{"new", "新しいシート"}, {"copy", "アクティブシートのコピー"}}, "new")}},
        {SH,
         "削除",
         "",
         {"Sheet_Delete", "Sheet_Delete_T"},
         {option(
              "target", "削除するシート",
              {{"name", "シート名"}, {"active", "アクティブシート"}, {"part", "シート名（一部）"}},
              "name"),
          hist("name", "シート名", 0)}},
        {SH, "不要なシートを一括削除", "", {}},
        {SH,
         "表示",
         "",
         {"Sheet_Hidden"},
         {option("action", "処理",
                 {{"show", "表示する"},
                  {"hide", "非表示にする"},
                  {"very_hide", "完全に非表示にする（マクロからのみ再表示）"}},
                 "hide"),
          option("by", "対象シート",
                 {{"name", "シート名"},
                  {"position", "シート位置"},
                  {"pattern", "シート名のパターン（* ?）"}},
                 "name"),
          text("name", "シート名・シート位置・パターン")}},
        {SH, S, ""},
        {SH,
         "シート名一覧",
         "",
         {"Sheet_NameList"},
         {option("sort", "並び順",
                 {{"file", "ファイル名順"}, {"sheet", "シート名順"}, {"code", "コード名順"}},
                 "file")}},
        {SH,
         "シート名変更",
         "",
         {"Sheet_Name", "Sheet_Name_T0", "Sheet_Name_T1"},
         {hist("old", "変更前のシート名", 0), hist("new", "変更後のシート名", 1),
          option("basis", "変更基準",
                 {{"active", "アクティブシート"},
                  {"whole", "シート名（完全一致）"},
                  {"part", "シート名（一部）"}},
                 "whole")},
         kPlain},
        {SH,
         "シート名設定",
         "",
         {"Sheet_Name_Settei", "Sheet_Name_Settei_T"},
         {sheet_target(false), number("position", "シート位置"), hist("name", "シート名", 0)}},
        {SH,
         "シート名編集",
         "",
         {"Sheet_Name_Hensyu", "Sheet_Name_Hensyu_T"},
         {sheet_target(true), number("position", "シート位置"),
          option("method", "編集の方法",
                 {{"prefix", "先頭に文字を追加"},
                  {"suffix", "末尾に文字を追加"},
                  {"remove", "文字を削除"},
                  {"trim", "前後の空白を削除"},
                  {"nospace", "空白をすべて削除"},
                  {"wide", "全角に変換"},
                  {"narrow", "半角に変換"},
                  {"upper", "大文字に変換"},
                  {"lower", "小文字に変換"}},
                 "prefix"),
          hist("text", "編集する文字列", 0)}},
        {SH,
         "シート名をファイル名の一部から引用",
         "",
         {"Sheet_Name_FileName", "Sheet_Name_FileName_T"},
         {sheet_target(false), number("position", "シート位置"),
          option("part", "引用する部分",
                 {{"left", "先頭から"},
                  {"mid", "開始位置から"},
                  {"right", "末尾から"},
                  {"before", "区切り文字の前"},
                  {"after", "区切り文字の後"}},
                 "left"),
          number("start", "開始位置", "1"), number("length", "文字数"),
          hist("delimiter", "区切り文字", 0)}},
        {SH, "シート名順でソート", "", {}},
        {SH,
         "コード名変更",
         "",
         {"Sheet_CodeName"},
         {option("by", "対象シート", {{"name", "シート名"}, {"code", "コード名"}}, "name"),
          text("sheet", "対象のシート名・コード名"), text("new_code", "新しいコード名")}},
        {SH, S, ""},
        {SH,
         "見出し(TAB)の色設定",
         "シート_見出しの色設定",
         {"Sheet_TabColor"},
         {option("target", "対象シート", {{"active", "アクティブシート"}, {"all", "すべてのシート"}},
                 "active"),
          option("action", "設定方法", {{"set", "色を設定する"}, {"clear", "色をなくす"}}, "set"),
          number("colour_index", "色番号(ColorIndex １～５６)", "3")}},
        {SH, "見出し(TAB)の色一覧", "シート_見出しの色一覧", {"Sheet_TabColor_List"}},
        {SH,
         "見出し(TAB)のスクロール",
         "シート_見出しのスクロール",
         {"Sheet_TabScroll"},
         {number("position", "先頭に表示するシート位置", "1")}},
        {SH, S, ""},
        {SH,
         "ColorIndexカラー標準化",
         "",
         {"Sheet_ColorIndex1_Update"},
         colour_kinds(),
         kNone,
         {"Sheet_ColorIndex2_Update", "Sheet_ColorIndex3_Update"}},
        {SH, "Color2010カラー標準化", "", {"Sheet_Color2010_Update"}, colour_kinds()},
        {SH, "ColorIndexカラー標準以外の一覧", "", {"Sheet_ColorIndex_List"}, colour_kinds()},
        {SH, "Color2010カラー標準以外の一覧", "", {"Sheet_Color2010_List"}, colour_kinds()},
        {SH, S, ""},
        {SH, "オブジェクト一覧", "", {"Sheet_Object_List"}},
        {SH,
         "オブジェクト削除",
         "",
         {"Sheet_Object_Delete"},
         {check("comments", "コメント", "0"), check("ole_objects", "埋め込みOLEオブジェクト", "0"),
          check("charts", "グラフ", "1"), check("pictures", "図", "1"),
          check("shapes", "オートシェイプ", "1"), check("controls", "コントロール", "0"),
          check("hyperlinks", "ハイパーリンク", "0"), object_name_pattern()}},
        {SH,
         "オブジェクト移動",
         "",
         {"Sheet_Object_Move"},
         {object_name_pattern(), text("cell", "移動先のセル（例：A1）", "A1")}},
        {SH,
         "オブジェクト名の変更",
         "",
         {"Sheet_Object_Name"},
         {text("old_name", "変更前のオブジェクト名"), text("new_name", "変更後のオブジェクト名")}},
        {SH,
         "オブジェクト拡大縮小",
         "",
         {"Sheet_Object_Scale"},
         {object_name_pattern(), number("width", "幅の倍率(%)", "100"),
          number("height", "高さの倍率(%)", "100"),
          check("keep_ratio", "縦横比を保つ（高さは幅の倍率）", "1")}},
        {SH, S, ""},
        {SH,
         "保護",
         "",
         {"Sheet_Protect"},
         {option("action", "処理",
                 {{"protect", "シートを保護する"}, {"unprotect", "シートの保護を解除する"}},
                 "protect"),
          option("target", "対象シート",
                 {{"active", "アクティブシート"}, {"name", "シート名"}, {"all", "すべてのシート"}},
                 "active"),
          text("name", "シート名"), text("password", "パスワード（空欄はパスワードなし）"),
          check("select_locked", "ロックされたセル範囲の選択", "1"),
          check("select_unlocked", "ロックされていないセル範囲の選択", "1"),
          check("format_cells", "セルの書式設定"), check("format_columns", "列の書式設定"),
          check("format_rows", "行の書式設定"), check("insert_columns", "列の挿入"),
          check("insert_rows", "行の挿入"), check("insert_hyperlinks", "ハイパーリンクの挿入"),
          check("delete_columns", "列の削除"), check("delete_rows", "行の削除"),
          check("sort", "並べ替え"), check("auto_filter", "オートフィルターの使用"),
          check("pivot_tables", "ピボットテーブルとピボットグラフを使う"),
          check("edit_objects", "オブジェクトの編集"), check("edit_scenarios", "シナリオの編集")}},

        // すべてのシート_シート
        {AS, "シート名変更", "", {}, {}, kShared},
        {AS, "保護", "", {}, {}, kShared},

        // ツール
        {T,
         "マクロ内のプログラム検索",
         "",
         {"Tool_Macro_ProgramSearch", "Tool_Macro_ProgramSearch_T"},
         {hist("search", "検索文字", 0)}},
        {T, S, ""},
        {T,
         "マクロインポート(標準モージュール)",
         "ツール_マクロインポート_標準",
         {"Tool_Macro_Irekae", "Tool_Macro_Irekae_T"},
         {file("file", "マクロファイル(*.bas)", 0)}},
        {T,
         "マクロインポート(ThisWorkbook)",
         "ツール_マクロインポート_ThisWorkbook",
         {"Tool_Macro_ImportThisWorkbook", "Tool_Macro_ImportThisWorkbook_T"},
         {file("file", "マクロファイル(*.txt)", 0)}},
        {T,
         "マクロインポート(シート)",
         "",
         {"Tool_Macro_ImportSheet", "Tool_Macro_ImportSheet_T1", "Tool_Macro_ImportSheet_T2",
          "Tool_Macro_ImportSheet_T3"},
         {file("file", "マクロファイル(*.txt)", 0),
          option("target", "マクロインポート先", {{"name", "シート名"}, {"code", "コード名"}},
                 "name"),
          hist("sheet_name", "シート名", 1), hist("code_name", "コード名", 2)}},
        {T,
         "マクロエクスポート（すべて）",
         "ツール_マクロエクスポート",
         {"Tool_Macro_Exsport", "Tool_Macro_Exsport_T"},
         {folder("folder", "エクスポート先ディレクトリ", 0)}},
        {T,
         "マクロ削除１",
         "",
         {"Tool_Macro_Del"},
         {check("sheet_modules", "シートモジュールのマクロを削除（ThisWorkbookを除く）"),
          check("this_workbook", "ThisWorkbookのマクロを削除"),
          check("other_modules", "標準・クラス・フォームモジュールを削除")}},
        {T,
         "マクロ削除２",
         "",
         {"Tool_Macro_Del20"},
         {sheets("modules", "削除するマクロ")},
         kNone,
         {"Tool_Macro_Del21"}},
        {T,
         "マクロ削除３",
         "",
         {"Tool_Macro_Del3", "Tool_Macro_Del3_T0", "Tool_Macro_Del3_T1", "Tool_Macro_Del3_T2"},
         {option("target", "削除するマクロ",
                 {{"this_workbook", "ThisWorkbook"},
                  {"sheet", "シートモジュール"},
                  {"standard", "標準モジュール"}},
                 "standard"),
          option("sheet_by", "シートモジュール削除", {{"name", "シート名"}, {"code", "コード名"}},
                 "name"),
          hist("sheet_name", "シート名", 0), hist("code_name", "コード名", 1),
          hist("module_name", "標準モジュール名", 2)}},
        {T,
         "マクロ名変更(標準モージュール)",
         "ツール_マクロ名変更標準",
         {"Macro_HyojunName_Henko", "Macro_HyojunName_Henko_T0", "Macro_HyojunName_Henko_T1"},
         {hist("old_name", "変更前のモジュール名", 0),
          hist("new_name", "変更後のモジュール名", 1)}},
        {T,
         "マクロ名一覧",
         "",
         {"Tool_Macro_Print"},
         {option("kind", "一覧にする手続き",
                 {{"all", "すべて"}, {"function", "Functionのみ"}, {"sub", "Subのみ"}}, "all")}},
        {T, "マクロ最終改行のみ行削除", "", {}},
        {T,
         "外部マクロ実行",
         "",
         {"Tool_GaibuMCR", "Tool_GaibuMCR_Mdl", "Tool_GaibuMCR_Mcr", "Tool_GaibuMCR_File"},
         {file("book", "マクロのあるファイル", 2), hist("module", "モジュール名", 0),
          hist("macro", "マクロ名", 1), number("time_limit", "制限時間（秒）", "60")}},
        {T, S, ""},
        {T,
         "シート用オプション設定",
         "",
         {"Tool_Option_Sheet"},
         {three_way("gridlines", "枠線を表示"), three_way("headings", "行列番号を表示"),
          three_way("zeros", "ゼロ値を表示"), three_way("page_breaks", "改ページを表示"),
          three_way("formulas", "数式を表示（値の代わりに）"),
          three_way("right_to_left", "右から左へ表示"),
          three_way("ruler", "ルーラーを表示（ページレイアウト表示）")}},
        {T, "シート用オプション一覧", "", {"Tool_Option_SheetList"}},
        {T,
         "ブック用オプション設定",
         "",
         {"Tool_Option_Book"},
         {three_way("sheet_tabs", "シート見出しを表示"),
          three_way("horizontal_scroll", "水平スクロールバーを表示"),
          three_way("vertical_scroll", "垂直スクロールバーを表示"),
          option("calculation", "計算方法",
                 {{"keep", "変更しない"},
                  {"auto", "自動"},
                  {"semi", "データテーブル以外自動"},
                  {"manual", "手動"}},
                 "keep"),
          three_way("iteration", "反復計算を行う"),
          number("max_iterations", "最大反復回数（空欄は変更しない）"),
          text("max_change", "変化の最大値（空欄は変更しない）"),
          three_way("precision", "表示桁数で計算する"),
          three_way("date1904", "1904年から計算する"),
          check("confirm_1904", "日付の表示が1,462日ずれることを承知で1904年の設定を変更する"),
          three_way("save_link_values", "外部リンクの値を保存する")}},
        {T, "ブック用オプション一覧", "", {"Tool_Option_BookList"}},
        {T, S, ""},
        {T,
         "ブックの保護",
         "",
         {"Tool_Book_Protect"},
         {option("action", "処理",
                 {{"protect", "ブックを保護する"}, {"unprotect", "ブックの保護を解除する"}},
                 "protect"),
          text("password", "パスワード（空欄はパスワードなし）"),
          check("structure", "シート構成", "1"), check("windows", "ウィンドウ")}},
        {T,
         "ブックの共有",
         "",
         {"Tool_Book_Share"},
         {option("action", "処理（以前の「ブックの共有」機能。現在の共同編集では使いません）",
                 {{"share", "ブックを共有する"},
                  {"unshare", "共有を解除する"},
                  {"list", "共有の状態を一覧にする"}},
                 "list"),
          text("user", "変更履歴のユーザー名（空欄はログイン名）")}},
        {T,
         "水平スクロールバーの幅設定",
         "",
         {"Tool_Option_HorizontalScrollBar"},
         {number("ratio", "シート見出しの幅（％）", "60")}},
        {T, S, ""},
        {T, "スタイル定義一覧", "", {"Tool_Style_List"}},
        {T,
         "スタイル定義削除",
         "",
         {"Tool_Style_Delete"},
         {option("mode", "削除するスタイル",
                 {{"unused", "使われていないユーザー定義スタイル"},
                  {"all_custom", "すべてのユーザー定義スタイル"},
                  {"named", "名前を指定したスタイル"}},
                 "unused"),
          text("names", "スタイル名（複数は「,」で区切る）")}},

        // すべてのシート_ツール
        {AT, "シート用オプション設定", "", {}, {}, kShared},
        {AT, "シート用オプション一覧", "", {}, {}, kShared},

        // Excel: information lists; only the function list keeps a parameter file.
        {X, "Systemフォルダ一覧", ""},
        {X, "Excelバージョン一覧", ""},
        {X, S, ""},
        {X, "リボンフォント一覧", ""},
        {X, "スクリーンフォント一覧", ""},
        {X, "プリンターフォント一覧", ""},
        {X, "すべてのフォント一覧", ""},
        {X, "すべてのプリンターのフォント一覧", ""},
        {X, kSeparator5, ""},
        {X, "コマンドバー一覧", ""},
        {X, "コマンドメニュー一覧", ""},
        {X, S, ""},
        {X, "ColorIndex一覧", ""},
        {X, "Color2010一覧", ""},
        {X, S, ""},
        {X,
         "関数一覧",
         "",
         {"Excel_Func"},
         {option("category", "分類",
                 {{"all", "すべて"},
                  {"financial", "財務"},
                  {"datetime", "日付/時刻"},
                  {"math", "数学/三角"},
                  {"statistical", "統計"},
                  {"lookup", "検索/行列"},
                  {"database", "データベース"},
                  {"text", "文字列操作"},
                  {"logical", "論理"},
                  {"information", "情報"},
                  {"engineering", "エンジニアリング"},
                  {"cube", "キューブ"},
                  {"compatibility", "互換性"},
                  {"web", "Web"}},
                 "all"),
          text("name", "関数名の一部（空欄はすべて）")}},
        {X, "標準スタイル定義一覧", ""},
        {X, "列番号対応表", ""},
    };
    return rows;
}

// The procedure-safe form of a display name: full-width letters and digits become ASCII, an
// opening bracket becomes "_", a closing one is dropped, and arrows become "_".
std::string procedure_safe(const std::string& name) {
    std::u32string out;
    for (char32_t c : text::to_u32(name)) {
        if ((c >= U'０' && c <= U'９') || (c >= U'Ａ' && c <= U'Ｚ') || (c >= U'ａ' && c <= U'ｚ'))
            out.push_back(c - 0xFEE0);
        else if (c == U'（' || c == U'(' || c == U'→' || c == U'⇔')
            out.push_back(U'_');
        else if (c == U'）' || c == U')' || c == U'、')
            continue;
        else
            out.push_back(c);
    }
    return text::to_utf8(out);
}

std::vector<OperationDecl> build() {
    std::vector<OperationDecl> out;
    out.reserve(table().size());
    for (const Entry& e : table()) {
        OperationDecl d;
        d.category = e.category;
        d.name = e.name;
        d.key_name = text::upper(e.name);
        if (!d.is_separator())
            d.proc = e.proc.empty() ? e.category + "_" + procedure_safe(e.name) : e.proc;
        if (!e.files.empty()) {
            d.main_file = e.files.front() + ".txt";
            for (std::size_t i = 1; i < e.files.size(); ++i)
                d.history_files.push_back(e.files[i] + ".txt");
        }
        for (const std::string& x : e.extra) d.extra_files.push_back(x + ".txt");
        d.plain = (e.flags & kPlain) != 0;
        d.shares_base = (e.flags & kShared) != 0;
        d.fields = e.pane;
        out.push_back(std::move(d));
    }
    return out;
}

}  // namespace

const std::vector<OperationDecl>& declarations() {
    static const std::vector<OperationDecl> all = build();
    return all;
}

// The order in which Text_Update visits the operations that own parameter files. The desktop
// program's sequence is known from the file-name operations onwards; the operations before them
// (sorted by their stems in code page 932 order, which is how that sequence is ordered) come
// first.
const std::vector<const OperationDecl*>& text_update_order() {
    static const std::vector<const OperationDecl*> order = [] {
        static const char* const kKnown[] = {
            "ツール_マクロインポート_ThisWorkbook",
            "ツール_マクロインポート_シート",
            "ツール_マクロインポート_標準",
            "ツール_マクロエクスポート",
            "ツール_マクロ削除1",
            "ツール_マクロ削除2",
            "ツール_マクロ削除3",
            "ツール_マクロ内のプログラム検索",
            "ツール_マクロ名一覧",
            "ツール_マクロ名変更標準",
            "ツール_外部マクロ実行",
            "ツール_水平スクロールバーの幅設定",
            "データ_入力規則削除",
            "データ_入力規則修正",
            "データ_入力規則設定",
            "ファイル_1つのファイルにまとめる",
            "ファイル_オブジェクトごとのファイルに分割",
            "ファイル_サブフォルダー_ファイル名",
            "ファイル_シートごとのファイルに分割",
            "ファイル_シート名でフォルダーに分類",
            "ファイル_セルの値でファイルを作成",
            "ファイル_セルの値でフォルダを作成",
            "ファイル_セルの値でフォルダーに分類",
            "ファイル_パスワード変更1",
            "ファイル_パスワード変更2",
            "ファイル_ファイル名にシート名を追加",
            "ファイル_ファイル名にセルの値を追加",
            "ファイル_ファイル名の一部をセルの値にする",
            "ファイル_ファイル名の一部を変更して保存",
            "ファイル_ファイル名を変えて保存",
            "ファイル_プロパティ一覧",
            "ファイル_プロパティ設定",
            "ファイル_印字",
            "ファイル_印字PDF",
            "ファイル_印字した場合の頁情報",
            "ファイル_印字色なし",
            "ファイル_拡張子変更_XLS_CSV",
            "ファイル_間隔をあけて再登録",
            "ファイル_同じファイル名でファイルを作成",
            "ファイル_頁設定_一覧",
            "ファイル_頁設定_更新",
            "行_グループ",
            "行_空白行削除",
            "行_高さ一覧",
            "行_高さ設定1",
            "行_高さ設定2",
            "行_削除",
            "行_挿入1",
            "行_挿入2",
            "行_値あり行一覧",
            "行_表示1",
            "行_表示2",
            "表示_ズーム",
            "表示_レイアウト",
            "表示_枠の固定",
            "編集_クリア",
            "編集_クリア特殊",
            "編集_コピー_シート1",
            "編集_コピー_シート2",
            "編集_コピー_シート3",
            "編集_コピー貼付",
            "編集_コピー貼付_オブジェクト",
            "編集_コピー貼付_コメント_セル",
            "編集_コピー貼付_スタイル",
            "編集_コピー貼付_すべてのスタイル",
            "編集_コピー貼付_セル",
            "編集_コピー貼付_セル_特殊",
            "編集_コピー貼付_行",
            "編集_コピー貼付_条件付き書式",
            "編集_コピー貼付_頁設定",
            "編集_コピー貼付_列",
            "編集_ジャンプ",
            "編集_切取り貼付_オブジェクト",
            "編集_切取り貼付_セル",
            "編集_切取り貼付_行",
            "編集_切取り貼付_列",
            "列_グループ",
            "列_タイトル列幅自動調整",
            "列_データ重複検索",
            "列_空白列削除",
            "列_削除",
            "列_挿入",
            "列_値あり列一覧",
            "列_表示1",
            "列_表示2",
            "列_幅一覧",
            "列_幅設定1",
            "列_幅設定2",
            "列_文字の分割",
        };
        std::vector<const OperationDecl*> known, rest;
        for (const char* stem : kKnown)
            for (const OperationDecl& d : declarations())
                if (d.proc == stem && !d.shares_base) known.push_back(&d);
        for (const OperationDecl& d : declarations()) {
            if (d.is_separator() || d.shares_base || d.main_file.empty()) continue;
            if (std::find(known.begin(), known.end(), &d) == known.end()) rest.push_back(&d);
        }
        std::stable_sort(rest.begin(), rest.end(),
                         [](const OperationDecl* a, const OperationDecl* b) {
                             return text::to_cp932(a->proc) < text::to_cp932(b->proc);
                         });
        rest.insert(rest.end(), known.begin(), known.end());
        return rest;
    }();
    return order;
}

}  // namespace sheaflow::shell
