// The macro operations that read module code line by line: the program search, the list of
// procedures (マクロ名一覧) and the removal of trailing blank lines (which lists what it removed).

#include <string>

#include "ops/registry.h"
#include "ops/tool/macro_support.h"
#include "report/result_table.h"
#include "run/session.h"
#include "util/text.h"
#include "xl/xl.h"

namespace sheaflow::ops {
namespace {

std::string component_label(xl::VBComponent& m) {
    return std::string(macro::kind_of(m.type()).name) + "_" + m.name();
}

// A line of nothing but blanks (spaces, tabs, ideographic spaces) counts as a bare line end.
bool bare(const std::string& line) {
    return text::trim(text::replace_all(line, "　", " ")).empty();
}

}  // namespace

std::string Check_ツール_マクロ内のプログラム検索(const shell::Params& p, std::string_view) {
    if (p.text("search").empty()) return "検索文字を入力してください。";
    return "";
}

Result<void> Excel_ツール_マクロ内のプログラム検索(run::Session& s) {
    auto c = macro::components(s);
    if (!c) return c.error();
    const std::string what = text::upper(s.params.text("search"));
    report::ResultTable& t = s.table;
    for (int i = 1; i <= (*c)->count(); ++i) {
        if (s.yield()) return {};
        xl::VBComponent* m = (*c)->item(i);
        xl::CodeModule& code = m->code_module();
        for (int n = 1; n <= code.count_of_lines(); ++n) {
            std::string line = code.lines(n, 1);
            std::size_t at = text::find(text::upper(line), what);
            if (at == std::string::npos) continue;
            t.new_row();
            t.set_title(0, "ファイル名");
            t.set_title(1, "マクロ名");
            t.set_title(2, "行");
            t.set_title(3, "ｶﾗﾑ");
            t.set_title(4, "プログラム");
            t.set(0, s.file_name);
            t.set(1, component_label(*m));
            t.set(2, std::to_string(n));
            t.set(3, std::to_string(at + 1));
            t.set(4, line);
        }
    }
    return {};
}

std::string Check_ツール_マクロ名一覧(const shell::Params&, std::string_view) { return ""; }

// The procedure of a code line when the list's option takes its kind.
std::optional<macro::Procedure> Excel_ツール_マクロ名一覧_FuncSub(std::string_view line,
                                                                  const std::string& option) {
    auto p = macro::procedure_on(line);
    if (!p) return std::nullopt;
    if (option == "function" && p->kind != "Function") return std::nullopt;
    if (option == "sub" && p->kind != "Sub") return std::nullopt;
    return p;
}

// An empty row between the workbooks of the list.
void Excel_ツール_マクロ名一覧_空白行(report::ResultTable& t) {
    if (!t.empty()) t.new_row();
}

// One row of the list.
void Excel_ツール_マクロ名一覧_X(report::ResultTable& t, const std::string& file,
                                 xl::VBComponent& m, const macro::Procedure& p, int line) {
    t.new_row();
    const char* titles[] = {"ファイル名", "マクロタイプ", "モジュール名", "種類", "マクロ名", "行"};
    for (int i = 0; i < 6; ++i) t.set_title(i, titles[i]);
    t.set(0, file);
    t.set(1, std::string(macro::kind_of(m.type()).name));
    t.set(2, m.name());
    t.set(3, p.kind);
    t.set(4, p.name);
    t.set(5, std::to_string(line));
}

Result<void> Excel_ツール_マクロ名一覧(run::Session& s) {
    auto c = macro::components(s);
    if (!c) return c.error();
    const std::string option = s.params.option("kind");
    bool first = true;
    for (int i = 1; i <= (*c)->count(); ++i) {
        if (s.yield()) return {};
        xl::VBComponent* m = (*c)->item(i);
        xl::CodeModule& code = m->code_module();
        for (int n = 1; n <= code.count_of_lines(); ++n) {
            auto p = Excel_ツール_マクロ名一覧_FuncSub(code.lines(n, 1), option);
            if (!p) continue;
            if (first) Excel_ツール_マクロ名一覧_空白行(s.table);
            first = false;
            Excel_ツール_マクロ名一覧_X(s.table, s.file_name, *m, *p, n);
        }
    }
    return {};
}

std::string Check_ツール_マクロ最終改行のみ行削除(const shell::Params&, std::string_view) {
    return "";
}

// Removes a component left without lines and lists it; sheet and workbook modules stay, since
// they cannot be removed.
Result<void> Excel_ツール_マクロ最終改行のみ行削除_X(run::Session& s, xl::VBComponents& c,
                                                     xl::VBComponent& m) {
    if (m.type() == xl::vbext_ct_Document) return {};
    std::string kind(macro::kind_of(m.type()).name), name = m.name();
    if (auto r = c.remove(m); !r) return r;
    report::ResultTable& t = s.table;
    t.new_row();
    t.set_title(0, "マクロタイプ");
    t.set_title(1, "ファイル名");
    t.set_title(2, "マクロ名");
    t.set_title(3, "処理");
    t.set(0, kind);
    t.set(1, s.file_name);
    t.set(2, name);
    t.set(3, "行数がないので削除");
    return {};
}

Result<void> Excel_ツール_マクロ最終改行のみ行削除(run::Session& s) {
    auto c = macro::components(s);
    if (!c) return c.error();
    for (int i = (*c)->count(); i >= 1; --i) {
        if (s.yield()) return {};
        xl::VBComponent* m = (*c)->item(i);
        xl::CodeModule& code = m->code_module();
        // Bare lines from the end; then once more, taking "Option Explicit" lines as bare too.
        for (bool option_explicit : {false, true}) {
            for (int n = code.count_of_lines(); n >= 1; --n) {
                std::string line = code.lines(n, 1);
                if (!bare(line) && !(option_explicit && line == "Option Explicit")) break;
                if (auto r = code.delete_lines(n, 1); !r) return r;
            }
        }
        if (code.count_of_lines() == 0)
            if (auto r = Excel_ツール_マクロ最終改行のみ行削除_X(s, **c, *m); !r) return r;
    }
    return {};
}

std::span<const Procedures> macro_list_procedures() {
    static const Procedures table[] = {
        {"ツール", "マクロ内のプログラム検索", Check_ツール_マクロ内のプログラム検索,
         Excel_ツール_マクロ内のプログラム検索},
        {"ツール", "マクロ名一覧", Check_ツール_マクロ名一覧, Excel_ツール_マクロ名一覧},
        {"ツール", "マクロ最終改行のみ行削除", Check_ツール_マクロ最終改行のみ行削除, Excel_ツール_マクロ最終改行のみ行削除,
         nullptr, nullptr, nullptr, true},
    };
    return table;
}

}  // namespace sheaflow::ops
