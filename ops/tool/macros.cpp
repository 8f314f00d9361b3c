// The macro module operations that change the project or write module files: the three
// imports, the export of every module, the three deletions and the rename of a standard module.

#include <string>

#include "ops/registry.h"
#include "ops/tool/macro_support.h"
#include "run/session.h"
#include "util/file.h"
#include "util/text.h"
#include "xl/xl.h"

namespace sheaflow::ops {
namespace {

using macro::components;
using macro::kThisWorkbook;

constexpr const char* kNoFile = "マクロファイルが記述されてません。";
constexpr const char* kMissingFile = "マクロファイルがありません。";

std::string missing_line(const std::string& name) { return "「" + name + "」がありません。"; }

// The checks every import pane starts with.
std::string check_macro_file(const std::string& path) {
    if (path.empty()) return kNoFile;
    if (!file::exists(path) || file::is_directory(path)) return kMissingFile;
    return "";
}

}  // namespace

// Check_ツール_マクロ_Attribute: the module name that the file's first line assigns to VB_Name.
std::string Check_ツール_マクロ_Attribute(const std::string& path) {
    std::string bytes, decoded;
    if (!file::read_all(path, bytes) || !text::decode_file_text(bytes, decoded)) return "";
    std::string first = decoded.substr(0, decoded.find_first_of("\r\n"));
    if (first.find("Attribute") == std::string::npos) return "";
    std::size_t q1 = first.find('"');
    std::size_t q2 = q1 == std::string::npos ? q1 : first.find('"', q1 + 1);
    return q2 == std::string::npos ? "" : first.substr(q1 + 1, q2 - q1 - 1);
}

// Check_File_FullName: an export folder must be an absolute path that is not a file.
std::string Check_File_FullName(const std::string& label, const std::string& path) {
    if (path.empty() || path.front() != '/' || path.find('\0') != std::string::npos)
        return label + "が不明です。";
    if (file::exists(path) && !file::is_directory(path)) return label + "が不明です。";
    return "";
}

std::string Check_ツール_マクロインポート_標準(const shell::Params& p, std::string_view) {
    const std::string& path = p.text("file");
    if (std::string m = check_macro_file(path); !m.empty()) return m;
    if (Check_ツール_マクロ_Attribute(path).empty())
        return "マクロに記述されているマクロ名(Attribute名)不明です。";
    return "";
}

Result<void> Excel_ツール_マクロインポート_標準(run::Session& s) {
    const std::string& path = s.params.text("file");
    std::string name = Check_ツール_マクロ_Attribute(path);
    if (!macro::may_hold_macros(s)) {
        s.append_error_line("マクロ" + name + "　インポート先ファイルの拡張子によりインポート不可 " +
                            s.full_path());
        s.error_flag = true;
        return {};
    }
    auto c = macro::components_for_import(s);
    if (!c) return c.error();
    // The module of that name goes first, so that the import replaces it rather than adding a
    // numbered copy.
    for (int i = (*c)->count(); i >= 1; --i) {
        xl::VBComponent* m = (*c)->item(i);
        if (m->type() == xl::vbext_ct_StdModule && text::upper(m->name()) == text::upper(name)) {
            if (auto r = (*c)->remove(*m); !r) return r;
            break;
        }
    }
    auto added = (*c)->import_file(path);
    if (!added) return added.error();
    return {};
}

std::string Check_ツール_マクロインポート_ThisWorkbook(const shell::Params& p, std::string_view) {
    return check_macro_file(p.text("file"));
}

// Replaces the whole code of a document module by the file's text.
Result<void> replace_code(xl::VBComponent& m, const std::string& path) {
    if (auto r = macro::clear_code(m); !r) return r;
    return m.code_module().add_from_file(path);
}

Result<void> Excel_ツール_マクロインポート_ThisWorkbook(run::Session& s) {
    if (!macro::may_hold_macros(s)) {
        s.append_error_line(
            "マクロ(ThisWorkbook)　挿入先ファイルの拡張子によりインポート不可 " + s.full_path());
        s.error_flag = true;
        return {};
    }
    auto c = macro::components_for_import(s);
    if (!c) return c.error();
    xl::VBComponent* m = (*c)->item(kThisWorkbook);
    if (!m || m->type() != xl::vbext_ct_Document) {
        s.update_error_text(missing_line(std::string(kThisWorkbook)));
        return {};
    }
    return replace_code(*m, s.params.text("file"));
}

std::string Check_ツール_マクロインポート_シート(const shell::Params& p, std::string_view) {
    if (std::string m = check_macro_file(p.text("file")); !m.empty()) return m;
    const std::string& by = p.option("target");
    if (by.empty()) return "マクロインポート先オプションが設定されていません。";
    if (by == "code" && text::trim(p.text("code_name")).empty())
        return "マクロインポート先のシートのコード名を入力してください。";
    if (by == "name" && p.text("sheet_name").empty())
        return "マクロインポートするシート名を入力してください。";
    return "";
}

Result<void> Excel_ツール_マクロインポート_シート(run::Session& s) {
    if (!macro::may_hold_macros(s)) {
        s.append_error_line("マクロ(シート)　挿入先ファイルの拡張子によりインポート不可 " +
                            s.full_path());
        s.error_flag = true;
        return {};
    }
    auto c = macro::components_for_import(s);
    if (!c) return c.error();
    bool by_code = s.params.option("target") == "code";
    std::string name = by_code ? text::trim(s.params.text("code_name")) : s.params.text("sheet_name");
    xl::VBComponent* m = macro::sheet_module(*s.book(), **c, by_code, name);
    if (!m) {
        s.update_error_text(missing_line(name));
        return {};
    }
    return replace_code(*m, s.params.text("file"));
}

std::string Check_ツール_マクロエクスポート(const shell::Params& p, std::string_view) {
    const std::string& folder = p.text("folder");
    if (!folder.empty()) return Check_File_FullName("エクスポート先ディレクトリ", folder);
    return "";
}

// Writes the code lines of a sheet or workbook module, without the header the editor exports.
Result<void> export_code_lines(xl::VBComponent& m, const std::string& path) {
    xl::CodeModule& code = m.code_module();
    std::string out;
    for (int i = 1; i <= code.count_of_lines(); ++i) out += code.lines(i, 1) + "\r\n";
    return file::write_all(path, text::to_cp932(out, '?'));
}

Result<void> Excel_ツール_マクロエクスポート(run::Session& s) {
    std::string folder = s.params.text("folder");
    if (folder.empty()) folder = s.folder;
    std::string stem = s.file_name.substr(0, s.file_name.rfind('.'));
    auto c = components(s);
    if (!c) return c.error();
    if ((*c)->count() == 0) return {};
    if (!file::make_directories(folder))
        return Error::make(Error::Code::Io, "フォルダー「" + folder + "」を作れません。", folder);
    const std::string base = file::join(folder, stem);
    for (int i = 1; i <= (*c)->count(); ++i) {
        if (s.yield()) return {};
        xl::VBComponent* m = (*c)->item(i);
        const macro::Kind& kind = macro::kind_of(m->type());
        Result<void> r;
        if (m->type() != xl::vbext_ct_Document) {
            r = m->export_file(base + "_" + std::string(kind.name) + "_" + m->name() + "." +
                               std::string(kind.extension));
        } else if (m->name() == kThisWorkbook) {
            r = export_code_lines(*m, base + "_" + std::string(kThisWorkbook) + ".txt");
        } else {
            std::string sheet = macro::sheet_name_from_code_name(*s.book(), m->name());
            r = export_code_lines(*m, base + "_" + std::string(kind.name) + "_" + m->name() + "(" +
                                          sheet + ").txt");
        }
        // A module that cannot be written (a form) gets its line; the others are still written.
        if (!r) s.update_error_text(r.error().message);
    }
    return {};
}

std::string Check_ツール_マクロ削除１(const shell::Params& p, std::string_view) {
    if (!p.check("sheet_modules") && !p.check("this_workbook") && !p.check("other_modules"))
        return "マクロ削除オプションが設定されていません。";
    return "";
}

Result<void> Excel_ツール_マクロ削除１(run::Session& s) {
    auto c = components(s);
    if (!c) return c.error();
    for (int i = (*c)->count(); i >= 1; --i) {
        xl::VBComponent* m = (*c)->item(i);
        bool document = m->type() == xl::vbext_ct_Document;
        bool this_workbook = document && m->name() == kThisWorkbook;
        Result<void> r;
        if (this_workbook ? s.params.check("this_workbook")
                          : document && s.params.check("sheet_modules"))
            r = macro::clear_code(*m);
        else if (!document && s.params.check("other_modules"))
            r = (*c)->remove(*m);
        if (!r) return r;
    }
    return {};
}

std::string Check_ツール_マクロ削除２(const shell::Params& p, std::string_view) {
    if (p.list("modules").empty()) return "マクロ名一覧がありません。";
    return "";
}

Result<void> Excel_ツール_マクロ削除２(run::Session& s) {
    auto c = components(s);
    if (!c) return c.error();
    for (const std::string& name : s.params.list("modules")) {
        xl::VBComponent* m = (*c)->item(name);
        if (!m) continue;  // the list came from another workbook
        Result<void> r = m->type() == xl::vbext_ct_Document ? macro::clear_code(*m) : (*c)->remove(*m);
        if (!r) return r;
    }
    return {};
}

std::string Check_ツール_マクロ削除３(const shell::Params& p, std::string_view) {
    const std::string& target = p.option("target");
    if (target.empty()) return "マクロ削除オプションが設定されていません。";
    if (target == "sheet") {
        const std::string& by = p.option("sheet_by");
        if (by.empty()) return "シートモジュール削除オプションが設定されていません。";
        if (by == "code" && text::trim(p.text("code_name")).empty())
            return "シートモジュール削除のシート名のコード名を入力してください。";
        if (by == "name" && p.text("sheet_name").empty())
            return "シートモジュール削除のシート名を入力してください。";
    }
    if (target == "standard" && text::trim(p.text("module_name")).empty())
        return "標準モジュール削除のモジュール名を入力してください。";
    return "";
}

Result<void> Excel_ツール_マクロ削除3シート(run::Session& s) {
    auto c = components(s);
    if (!c) return c.error();
    bool by_code = s.params.option("sheet_by") == "code";
    std::string name = by_code ? text::trim(s.params.text("code_name")) : s.params.text("sheet_name");
    xl::VBComponent* m = macro::sheet_module(*s.book(), **c, by_code, name);
    if (!m) {
        s.update_error_text(missing_line(name));
        return {};
    }
    return macro::clear_code(*m);
}

Result<void> Excel_ツール_マクロ削除3標準(run::Session& s) {
    auto c = components(s);
    if (!c) return c.error();
    std::string name = text::trim(s.params.text("module_name"));
    for (int i = (*c)->count(); i >= 1; --i) {
        xl::VBComponent* m = (*c)->item(i);
        if (m->type() == xl::vbext_ct_StdModule && text::upper(m->name()) == text::upper(name))
            return (*c)->remove(*m);
    }
    s.update_error_text("マクロ" + name + "なし ");
    return {};
}

Result<void> Excel_ツール_マクロ削除３(run::Session& s) {
    const std::string& target = s.params.option("target");
    if (target == "sheet") return Excel_ツール_マクロ削除3シート(s);
    if (target == "standard") return Excel_ツール_マクロ削除3標準(s);
    if (!macro::may_hold_macros(s)) {
        s.append_error_line("マクロ(ThisWorkbook)　挿入先ファイルの拡張子により削除不可 " +
                            s.full_path());
        s.error_flag = true;
        return {};
    }
    auto c = components(s);
    if (!c) return c.error();
    xl::VBComponent* m = (*c)->item(kThisWorkbook);
    if (!m || m->type() != xl::vbext_ct_Document) {
        s.update_error_text(missing_line(std::string(kThisWorkbook)));
        return {};
    }
    return macro::clear_code(*m);
}

std::string Check_ツール_マクロ名変更標準(const shell::Params& p, std::string_view) {
    std::string old_name = text::trim(p.text("old_name")), new_name = text::trim(p.text("new_name"));
    if (old_name.empty()) return "変更前のモジュール名を入力してください。";
    if (new_name.empty()) return "変更後のモジュール名を入力してください。";
    if (text::upper(old_name) == text::upper(new_name))
        return "変更前と変更後のモジュール名が同じです。";
    return "";
}

// The worker: the standard module of the old name takes the new one.
std::string Excel_ツール_マクロ名変更標準_X0(xl::VBComponents& c, const std::string& old_name,
                                             const std::string& new_name) {
    for (int i = 1; i <= c.count(); ++i) {
        xl::VBComponent* m = c.item(i);
        if (m->type() != xl::vbext_ct_StdModule || text::upper(m->name()) != text::upper(old_name))
            continue;
        auto r = m->set_name(new_name);
        return r ? "" : r.error().message;
    }
    return "マクロ名「" + old_name + "」がありません。";
}

Result<void> Excel_ツール_マクロ名変更標準(run::Session& s) {
    auto c = components(s);
    if (!c) return c.error();
    s.update_error_text(Excel_ツール_マクロ名変更標準_X0(**c, text::trim(s.params.text("old_name")),
                                                        text::trim(s.params.text("new_name"))));
    return {};
}

std::span<const Procedures> macro_procedures() {
    static const Procedures table[] = {
        {"ツール", "マクロインポート(標準モージュール)", Check_ツール_マクロインポート_標準,
         Excel_ツール_マクロインポート_標準, nullptr, nullptr, nullptr, true},
        {"ツール", "マクロインポート(THISWORKBOOK)", Check_ツール_マクロインポート_ThisWorkbook,
         Excel_ツール_マクロインポート_ThisWorkbook, nullptr, nullptr, nullptr, true, false, true,
         nullptr, nullptr, nullptr, false, false, true},
        {"ツール", "マクロインポート(シート)", Check_ツール_マクロインポート_シート,
         Excel_ツール_マクロインポート_シート, nullptr, nullptr, nullptr, true, false, true,
         nullptr, nullptr, nullptr, false, false, true},
        {"ツール", "マクロエクスポート（すべて）", Check_ツール_マクロエクスポート,
         Excel_ツール_マクロエクスポート},
        {"ツール", "マクロ削除１", Check_ツール_マクロ削除１, Excel_ツール_マクロ削除１, nullptr,
         nullptr, nullptr, true},
        {"ツール", "マクロ削除２", Check_ツール_マクロ削除２, Excel_ツール_マクロ削除２, nullptr,
         nullptr, nullptr, true},
        {"ツール", "マクロ削除３", Check_ツール_マクロ削除３, Excel_ツール_マクロ削除３, nullptr,
         nullptr, nullptr, true},
        {"ツール", "マクロ名変更(標準モージュール)", Check_ツール_マクロ名変更標準,
         Excel_ツール_マクロ名変更標準, nullptr, nullptr, nullptr, true},
    };
    return table;
}

}  // namespace sheaflow::ops
