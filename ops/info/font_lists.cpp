// The font and printer lists: リボンフォント一覧 (the fonts the desktop's standard names resolve
// to, which the program's own windows show), スクリーンフォント一覧 (one row per family),
// すべてのフォント一覧 (every face with its style and file), プリンターフォント一覧 (the default
// printer's fonts) and すべてのプリンターのフォント一覧 (every printer's).

#include <map>

#include "ops/info/info_common.h"
#include "ops/registry.h"
#include "run/session.h"
#include "util/system_info.h"

namespace sheaflow::ops {
namespace {

using info::row;

const char* japanese_mark(bool japanese) { return japanese ? "○" : ""; }

Result<void> Excel_Excel_リボンフォント一覧(run::Session& s) {
    report::ResultTable& t = s.table;
    info::titles(t, {"用途", "フォント名", "スタイル", "日本語", "ファイル"});
    const std::pair<const char*, const char*> uses[] = {
        {"標準（日本語）", "sans-serif:lang=ja"}, {"明朝（日本語）", "serif:lang=ja"},
        {"等幅（日本語）", "monospace:lang=ja"},  {"標準（英語）", "sans-serif:lang=en"},
        {"明朝（英語）", "serif:lang=en"},        {"等幅（英語）", "monospace:lang=en"},
    };
    for (const auto& [use, pattern] : uses) {
        sysinfo::FontFace f = sysinfo::match_font(pattern);
        if (f.family.empty()) continue;
        row(t, {use, f.family, f.style, japanese_mark(f.japanese), f.file});
    }
    if (t.empty()) s.append_error_line("フォントが見つかりません。");
    return {};
}

Result<void> Excel_Excel_スクリーンフォント一覧(run::Session& s) {
    report::ResultTable& t = s.table;
    info::titles(t, {"フォント名", "スタイル数", "日本語", "種類"});
    struct Family {
        int styles = 0;
        bool japanese = false;
        bool scalable = false;
    };
    std::map<std::string, Family> families;
    for (const sysinfo::FontFace& f : sysinfo::font_faces()) {
        Family& fam = families[f.family];
        ++fam.styles;
        fam.japanese = fam.japanese || f.japanese;
        fam.scalable = fam.scalable || f.scalable;
    }
    for (const auto& [name, fam] : families) {
        if (s.yield()) return {};
        row(t, {name, std::to_string(fam.styles), japanese_mark(fam.japanese),
                fam.scalable ? "アウトライン" : "ビットマップ"});
    }
    if (families.empty()) s.append_error_line("フォントが見つかりません。");
    return {};
}

Result<void> Excel_Excel_すべてのフォント一覧(run::Session& s) {
    report::ResultTable& t = s.table;
    info::titles(t, {"フォント名", "スタイル", "日本語", "種類", "ファイル"});
    std::vector<sysinfo::FontFace> faces = sysinfo::font_faces();
    for (const sysinfo::FontFace& f : faces) {
        if (s.yield()) return {};
        row(t, {f.family, f.style, japanese_mark(f.japanese),
                f.scalable ? "アウトライン" : "ビットマップ", f.file});
    }
    if (faces.empty()) s.append_error_line("フォントが見つかりません。");
    return {};
}

// One row per font of each printer; a printer without fonts of its own prints with the
// system's outline fonts, which the list names once as such.
void list_printers(run::Session& s, bool default_only) {
    report::ResultTable& t = s.table;
    info::titles(t, {"プリンター名", "既定", "機種", "場所", "フォント名", "フォントの種類"});
    std::vector<sysinfo::Printer> printers = sysinfo::printers();
    std::vector<std::string> system_fonts;
    bool listed = false;
    for (const sysinfo::Printer& p : printers) {
        if (default_only && !p.is_default) continue;
        listed = true;
        const std::string is_default = p.is_default ? "○" : "";
        if (!p.fonts.empty()) {
            for (const std::string& f : p.fonts)
                row(t, {p.name, is_default, p.make_model, p.location, f, "プリンター内蔵"});
            continue;
        }
        if (system_fonts.empty()) {
            std::string last;
            for (const sysinfo::FontFace& f : sysinfo::font_faces())
                if (f.scalable && f.family != last) system_fonts.push_back(last = f.family);
        }
        for (const std::string& f : system_fonts) {
            if (s.yield()) return;
            row(t, {p.name, is_default, p.make_model, p.location, f, "システム（印刷時に埋め込み）"});
        }
    }
    if (printers.empty())
        s.append_error_line("プリンターが登録されていません。");
    else if (!listed)
        s.append_error_line("既定のプリンターが設定されていません。");
}

Result<void> Excel_Excel_プリンターフォント一覧(run::Session& s) {
    list_printers(s, true);
    return {};
}

Result<void> Excel_Excel_すべてのプリンターのフォント一覧(run::Session& s) {
    list_printers(s, false);
    return {};
}

}  // namespace

std::span<const Procedures> font_list_procedures() {
    static const Procedures table[] = {
        {"Excel", "リボンフォント一覧", info::Check_Info_List, Excel_Excel_リボンフォント一覧,
         nullptr, nullptr, nullptr, false, false, false},
        {"Excel", "スクリーンフォント一覧", info::Check_Info_List,
         Excel_Excel_スクリーンフォント一覧, nullptr, nullptr, nullptr, false, false, false},
        {"Excel", "すべてのフォント一覧", info::Check_Info_List, Excel_Excel_すべてのフォント一覧,
         nullptr, nullptr, nullptr, false, false, false},
        {"Excel", "プリンターフォント一覧", info::Check_Info_List,
         Excel_Excel_プリンターフォント一覧, nullptr, nullptr, nullptr, false, false, false},
        {"Excel", "すべてのプリンターのフォント一覧", info::Check_Info_List,
         Excel_Excel_すべてのプリンターのフォント一覧, nullptr, nullptr, nullptr, false, false,
         false},
    };
    return table;
}

}  // namespace sheaflow::ops
