// The formula tokenizer: the kinds and parts of tokens, printing them back, the grammar check, and
// every formula of the corpus (cells, shared formulas, names, validation, conditional formats).

#include <gtest/gtest.h>

#include <cstdio>

#include "engine_helpers.h"
#include "xl/native/package.h"
#include "xl/xl.h"

namespace sheaflow::xl {
namespace {

// "Kind:text" of the tokens that are not blanks, joined by " ".
std::string kinds(std::string_view formula) {
    static const char* const names[] = {"num", "str",  "bool", "err", "ref", "name",
                                        "fn",  "tab",  "op",   "(",   ")",   ",",
                                        "{",   "}",    ";",    "sp",  "bad"};
    std::string out;
    for (const FormulaToken& t : tokenize_formula(formula)) {
        if (t.kind == TokenKind::Space) continue;
        if (!out.empty()) out += ' ';
        out += names[static_cast<int>(t.kind)];
        out += ':';
        out += t.text;
    }
    return out;
}

TEST(FormulaTokens, kinds_of_the_grammar) {
    struct Case {
        const char* formula;
        const char* tokens;
    } cases[] = {
        {"=SUM(A1:B2,$C$3)*2%", "fn:SUM (:( ref:A1:B2 ,:, ref:$C$3 ):) op:* num:2 op:%"},
        {"Sheet1!A1+'My sheet'!$B:$D", "ref:Sheet1!A1 op:+ ref:'My sheet'!$B:$D"},
        {"SUM(Jan:Mar!A1)+SUM('Q 1:Q 4'!1:3)", "fn:SUM (:( ref:Jan:Mar!A1 ):) op:+ fn:SUM (:( "
                                                 "ref:'Q 1:Q 4'!1:3 ):)"},
        {"[1]Data!A1+'[2]Other sheet'!B2+[1]!Total",
         "ref:[1]Data!A1 op:+ ref:'[2]Other sheet'!B2 op:+ name:[1]!Total"},
        {"'C:\\dir\\[Book.xlsx]Sheet1'!$A$1", "ref:'C:\\dir\\[Book.xlsx]Sheet1'!$A$1"},
        {"Rate*Table1[[#This Row],[Qty]]+[@Price]+Table1[#All]",
         "name:Rate op:* tab:Table1[[#This Row],[Qty]] op:+ tab:[@Price] op:+ tab:Table1[#All]"},
        {"IF(A1<>\"a\"\"b\",TRUE,#N/A)", "fn:IF (:( ref:A1 op:<> str:\"a\"\"b\" ,:, bool:TRUE "
                                         ",:, err:#N/A ):)"},
        {"{1,-2.5;\"x\",FALSE}", "{:{ num:1 ,:, op:- num:2.5 ;:; str:\"x\" ,:, bool:FALSE }:}"},
        {"Sheet2!#REF!+1E+10+.5", "err:Sheet2!#REF! op:+ num:1E+10 op:+ num:.5"},
        {"_xlfn.XLOOKUP(A1,B:B,C:C)>=A1#",
         "fn:_xlfn.XLOOKUP (:( ref:A1 ,:, ref:B:B ,:, ref:C:C ):) op:>= ref:A1 op:#"},
        {"ABCD1+XFD1048576+XFE1+A1048577", "name:ABCD1 op:+ ref:XFD1048576 op:+ name:XFE1 op:+ "
                                            "name:A1048577"},
        {"A1:INDEX(B:B,2)", "ref:A1 op:: fn:INDEX (:( ref:B:B ,:, num:2 ):)"},
        {"売上!A1+税率", "ref:売上!A1 op:+ name:税率"},
        {"\"open", "bad:\"open"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.formula);
        EXPECT_EQ(kinds(c.formula), c.tokens);
    }
}

TEST(FormulaTokens, references_carry_their_sheet_book_and_area) {
    auto t = tokenize_formula("'[1]It''s:Mar'!$B5:A$1");
    ASSERT_EQ(t.size(), 1u);
    EXPECT_EQ(t[0].book, "[1]");
    EXPECT_EQ(t[0].sheet, "It's");
    EXPECT_EQ(t[0].last_sheet, "Mar");
    EXPECT_TRUE(t[0].quoted);
    EXPECT_EQ(t[0].area, (Area{1, 1, 5, 2}));
    EXPECT_TRUE(t[0].swapped_rows);
    EXPECT_TRUE(t[0].swapped_cols);
    EXPECT_EQ(token_text(t[0]), "'[1]It''s:Mar'!$B5:A$1");

    auto rows = tokenize_formula("Sheet1!$3:5");
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].shape, RefShape::Rows);
    EXPECT_EQ(rows[0].area, (Area{3, 1, 5, 16384}));
    // A moved reference prints its new place.
    rows[0].area.first_row = 4;
    EXPECT_EQ(formula_from_tokens(rows), "Sheet1!$4:5");
}

TEST(FormulaTokens, grammar_faults_are_named) {
    struct Case {
        const char* formula;
        const char* fault;  // a part of the message; "" for none
    } cases[] = {
        {"SUM(A1", "閉じ括弧"},
        {"A1)", "括弧の対応"},
        {"A1+", "演算子の後"},
        {"*A1", "演算子の前"},
        {"A1 B1", ""},  // an intersection
        {"(A1,B1)", ""},
        {"IF(A1,,)", ""},
        {"1 2", ""},
        {"A1 1", ""},
        {"{1,A1}", "配列の値"},
        {"A1'", "解釈できない"},
        {"", "空"},
        {"SUM(1)2", "演算子がありません"},
        {"-A1%+@B1", ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.formula);
        std::string e = formula_syntax_error(tokenize_formula(c.formula));
        if (*c.fault == '\0')
            EXPECT_EQ(e, "");
        else
            EXPECT_NE(e.find(c.fault), std::string::npos) << e;
    }
}

// The XML text of an element's content, entities decoded.
std::string unescape(std::string_view s) {
    std::string out;
    for (std::size_t i = 0; i < s.size(); ++i) {
        if (s[i] != '&') {
            out += s[i];
            continue;
        }
        std::size_t semi = s.find(';', i);
        if (semi == std::string_view::npos) {
            out += s[i];
            continue;
        }
        std::string_view e = s.substr(i + 1, semi - i - 1);
        if (e == "amp") out += '&';
        else if (e == "lt") out += '<';
        else if (e == "gt") out += '>';
        else if (e == "quot") out += '"';
        else if (e == "apos") out += '\'';
        else if (!e.empty() && e[0] == '#') {
            unsigned long cp = e.size() > 1 && (e[1] == 'x' || e[1] == 'X')
                                   ? std::stoul(std::string(e.substr(2)), nullptr, 16)
                                   : std::stoul(std::string(e.substr(1)));
            if (cp < 0x80) out += static_cast<char>(cp);
            else out += "?";
        } else {
            out.append(s.substr(i, semi - i + 1));
            continue;
        }
        i = semi;
    }
    return out;
}

// The contents of every <tag ...>...</tag> of a part, with or without a namespace prefix.
void collect(std::string_view xml, std::string_view tag, std::vector<std::string>& out) {
    std::size_t i = 0;
    while ((i = xml.find('<', i)) != std::string_view::npos) {
        std::size_t name_at = i + 1;
        std::size_t name_end = xml.find_first_of(" />", name_at);
        if (name_end == std::string_view::npos) break;
        std::string_view name = xml.substr(name_at, name_end - name_at);
        std::size_t colon = name.find(':');
        std::string_view local = colon == std::string_view::npos ? name : name.substr(colon + 1);
        std::size_t close = xml.find('>', name_end);
        if (local != tag || close == std::string_view::npos || xml[close - 1] == '/') {
            i = name_at;
            continue;
        }
        std::string end_tag = "</" + std::string(name) + ">";
        std::size_t end = xml.find(end_tag, close);
        if (end == std::string_view::npos) break;
        std::string text = unescape(xml.substr(close + 1, end - close - 1));
        if (!text.empty()) out.push_back(text);
        i = end;
    }
}

TEST(FormulaTokens, every_formula_of_the_corpus_parses_and_prints_back) {
    auto files = testing::corpus_files("xlsx", {".xlsx"});
    auto macro = testing::corpus_files("xlsm", {".xlsm"});
    files.insert(files.end(), macro.begin(), macro.end());
    if (files.empty()) GTEST_SKIP() << "no corpus";
    std::size_t total = 0, parsed = 0;
    std::vector<std::string> faults;
    for (const std::string& f : files) {
        auto pkg = native::Package::open_file(f);
        if (!pkg) continue;
        std::vector<std::string> formulas;
        for (const std::string& part : (*pkg)->part_names()) {
            if (!part.ends_with(".xml")) continue;
            auto xml = (*pkg)->read(part);
            if (!xml) continue;
            for (const char* tag : {"f", "definedName", "formula", "formula1", "formula2"})
                collect(*xml, tag, formulas);
        }
        for (const std::string& formula : formulas) {
            ++total;
            auto tokens = tokenize_formula(formula);
            EXPECT_EQ(formula_from_tokens(tokens), formula) << f;
            std::string e = formula_syntax_error(tokens);
            if (e.empty())
                ++parsed;
            else if (faults.size() < 20)
                faults.push_back(f.substr(f.rfind('/') + 1) + ": " + formula + " -> " + e);
        }
    }
    ASSERT_GT(total, 1000u);
    std::printf("corpus formulas: %zu, parsed: %zu (%.2f%%)\n", total, parsed,
                100.0 * static_cast<double>(parsed) / static_cast<double>(total));
    for (const std::string& s : faults) std::printf("  %s\n", s.c_str());
    EXPECT_EQ(parsed, total);
}

}  // namespace
}  // namespace sheaflow::xl
