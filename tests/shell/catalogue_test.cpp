// The catalogue data: keys, separators, shared rows, file names and pane declarations.
#include "shell/catalogue.h"

#include <gtest/gtest.h>

#include <map>
#include <set>

#include "util/text.h"

namespace sheaflow::shell {
namespace {

TEST(Catalogue, CategoriesInCatalogueOrderWithAllSheetsBesideTheirBase) {
    Catalogue cat;
    const std::vector<std::string> expected = {"ファイル",
                                               "すべてのシート_ファイル",
                                               "編集",
                                               "すべてのシート_編集",
                                               "表示",
                                               "セル",
                                               "すべてのシート_セル",
                                               "行",
                                               "すべてのシート_行",
                                               "列",
                                               "すべてのシート_列",
                                               "データ",
                                               "すべてのシート_データ",
                                               "シート",
                                               "すべてのシート_シート",
                                               "ツール",
                                               "すべてのシート_ツール",
                                               "Excel"};
    EXPECT_EQ(cat.categories(), expected);
}

TEST(Catalogue, DispatchKeysAreUpperCasedOnlyInLatinLetters) {
    const OperationDecl* d = find_declaration("Excel", "ColorIndex一覧");
    ASSERT_NE(d, nullptr);
    EXPECT_EQ(d->key_name, "COLORINDEX一覧");
    EXPECT_EQ(find_declaration("Excel", "colorindex一覧"), d);
    EXPECT_EQ(find_declaration("Excel", "COLOR2010一覧")->name, "Color2010一覧");
    EXPECT_EQ(find_declaration("シート", "COLORINDEXカラー標準化")->proc,
              "シート_ColorIndexカラー標準化");
    EXPECT_EQ(find_declaration("セル", "文字列置換")->proc, "セル_文字列置換");
    EXPECT_EQ(find_declaration("すべてのシート_ファイル", "ＣＳＶで出力")->proc,
              "すべてのシート_ファイル_CSVで出力");
    EXPECT_EQ(find_declaration("セル", "書式設定（数値表示）")->proc, "セル_書式設定_数値表示");
    EXPECT_EQ(find_declaration("シート", "見出し(TAB)の色設定")->proc, "シート_見出しの色設定");
    EXPECT_EQ(find_declaration("ファイル", "印字（ＰＤＦ・ＸＰＳ）")->proc, "ファイル_印字PDF");
    EXPECT_EQ(find_declaration("セル", "なし"), nullptr);
    EXPECT_EQ(find_declaration("セル", kSeparator10), nullptr) << "a separator is no operation";
}

TEST(Catalogue, EveryCategoryStartsWithAnOperationAndHasSeparatorRows) {
    Catalogue cat;
    int five = 0;
    for (const std::string& c : cat.categories()) {
        auto rows = cat.rows_of(c);
        ASSERT_FALSE(rows.empty());
        EXPECT_FALSE(rows.front()->decl->is_separator()) << c;
        EXPECT_FALSE(rows.back()->decl->is_separator()) << c;
        for (const auto* r : rows) five += r->decl->name == kSeparator5;
    }
    EXPECT_EQ(five, 1);
    int ops = 0;
    for (const auto& r : cat.rows()) ops += !r.decl->is_separator();
    EXPECT_GT(ops, 185);
}

TEST(Catalogue, ProceduresAreValidIdentifiersAndUnique) {
    std::set<std::string> procs;
    for (const OperationDecl& d : declarations()) {
        if (d.is_separator()) continue;
        for (char32_t c : text::to_u32(d.proc)) {
            // Characters that a C++ identifier cannot hold.
            EXPECT_TRUE(c != U'（' && c != U'(' && c != U'→' && c != U'⇔' && c != U'、' &&
                        c != U' ' && c != U'─')
                << d.proc;
        }
        if (!d.shares_base) {
            EXPECT_TRUE(procs.insert(d.proc).second) << d.proc;
        }
    }
}

TEST(Catalogue, SharedRowsFindTheirBaseRow) {
    for (const OperationDecl& d : declarations()) {
        if (!d.shares_base) continue;
        const OperationDecl& owner = params_owner(d);
        EXPECT_NE(&owner, &d) << d.category << " " << d.name;
        EXPECT_EQ(owner.key_name, d.key_name);
        EXPECT_EQ(d.category, kAllSheetsPrefix + owner.category);
    }
    EXPECT_EQ(params_owner(*find_declaration("すべてのシート_セル", "文字列置換")).main_file,
              "Sheet_Tikan.txt")
        << "the all-sheets replace has files of its own";
}

TEST(Catalogue, ParameterFileNamesAreUniqueAcrossTheCatalogue) {
    std::map<std::string, std::string> seen;
    for (const OperationDecl& d : declarations()) {
        std::vector<std::string> files = d.history_files;
        if (!d.main_file.empty()) files.push_back(d.main_file);
        files.insert(files.end(), d.extra_files.begin(), d.extra_files.end());
        for (const std::string& f : files) {
            EXPECT_NE(f, ".txt") << d.proc;
            auto [it, fresh] = seen.emplace(text::upper(f), d.proc);
            EXPECT_TRUE(fresh) << f << " of " << d.proc << " and " << it->second;
        }
    }
}

TEST(Catalogue, PaneDeclarationsAreConsistent) {
    for (const OperationDecl& d : declarations()) {
        std::set<std::string> keys;
        std::set<int> histories;
        for (const Field& f : d.fields) {
            EXPECT_TRUE(keys.insert(f.key).second) << d.proc << " " << f.key;
            for (char c : f.key)
                EXPECT_TRUE(c == '_' || std::isalnum(static_cast<unsigned char>(c)));
            if (f.kind == FieldKind::HistoryText) {
                EXPECT_GE(f.history, 0) << d.proc << " " << f.key;
            }
            if (f.history >= 0) {
                EXPECT_LT(f.history, static_cast<int>(d.history_slots())) << d.proc;
                // A history file belongs to one field; an extra file's history may be shared.
                if (f.history < static_cast<int>(d.history_files.size())) {
                    EXPECT_TRUE(histories.insert(f.history).second) << d.proc << " " << f.key;
                }
            }
            EXPECT_LT(f.stored_in, static_cast<int>(d.extra_files.size())) << d.proc;
            if (f.kind == FieldKind::Option) {
                bool ok = f.default_value.empty();
                for (const Choice& c : f.choices) ok |= c.key == f.default_value;
                EXPECT_TRUE(ok) << d.proc << " " << f.key;
            }
        }
        if (!d.fields.empty()) {
            EXPECT_FALSE(d.main_file.empty()) << d.proc;
        }
    }
}

TEST(Catalogue, TextReplacePaneHasTheNineLinesOfItsFile) {
    const OperationDecl& d = *find_declaration("セル", "文字列置換");
    std::vector<std::string> keys;
    int lines = 0;
    for (const Field& f : d.fields) {
        keys.push_back(f.key);
        lines += OperationDecl::line_count(f);
    }
    EXPECT_EQ(keys,
              (std::vector<std::string>{"col_from", "row_from", "col_to", "row_to", "search",
                                        "replace", "match_case", "match_byte", "whole_cell"}));
    EXPECT_EQ(lines, 9);
    EXPECT_TRUE(d.field("search")->reduce_quotes);
    EXPECT_FALSE(d.field("replace")->reduce_quotes);
}

TEST(Catalogue, TextUpdateOrderCoversEveryFileOwnerOnce) {
    const auto& order = text_update_order();
    std::set<const OperationDecl*> unique(order.begin(), order.end());
    EXPECT_EQ(unique.size(), order.size());
    std::size_t owners = 0;
    for (const OperationDecl& d : declarations())
        owners += !d.is_separator() && !d.shares_base && !d.main_file.empty();
    EXPECT_EQ(order.size(), owners);
    auto pos = [&](const char* proc) {
        for (std::size_t i = 0; i < order.size(); ++i)
            if (order[i]->proc == proc) return i;
        ADD_FAILURE() << proc << " missing";
        return order.size();
    };
    // The known sequence is kept where a plain code-page sort would differ.
    EXPECT_LT(pos("ファイル_セルの値でフォルダを作成"), pos("ファイル_セルの値でフォルダーに分類"));
    EXPECT_LT(pos("ツール_マクロインポート_ThisWorkbook"),
              pos("ツール_水平スクロールバーの幅設定"));
    EXPECT_EQ(order.back()->proc, "列_文字の分割");
    EXPECT_EQ(order.front()->proc, "Excel_関数一覧");
    EXPECT_LT(pos("セル_文字列置換"), pos("ツール_マクロインポート_ThisWorkbook"));
}

TEST(Catalogue, MostRecentPrefersTheLaterTimeAndTheFirstOfEqualOnes) {
    Catalogue cat;
    auto base = cat.rows().front().last_used;
    EXPECT_EQ(cat.most_recent("行")->decl->name, "削除");
    ASSERT_TRUE(cat.stamp("行", "高さ一覧", base + std::chrono::seconds(5)));
    ASSERT_TRUE(cat.stamp("行", "グループ", base + std::chrono::seconds(5)));
    EXPECT_EQ(cat.most_recent("行")->decl->name, "高さ一覧");
    EXPECT_EQ(cat.most_recent("")->decl->name, "高さ一覧");
    ASSERT_TRUE(cat.stamp("Excel", "colorindex一覧", base + std::chrono::seconds(9)));
    EXPECT_EQ(cat.most_recent("")->decl->name, "ColorIndex一覧");
    EXPECT_EQ(cat.most_recent("行")->decl->name, "高さ一覧");
    EXPECT_EQ(cat.most_recent("ない"), nullptr);
    EXPECT_FALSE(cat.stamp("行", "ない", base));
}

}  // namespace
}  // namespace sheaflow::shell
