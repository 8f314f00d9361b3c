// The VBA project of macro workbooks: compression, reading, editing and writing back.

#include <gtest/gtest.h>

#include <map>
#include <regex>

#include "engine_helpers.h"
#include "xl/native/compound_file.h"
#include "xl/native/engine.h"
#include "xl/native/package.h"
#include "xl/native/vba_compression.h"
#include "xl/native/vba_project.h"

namespace sheaflow::testing {
namespace {

using xl::native::vba::compress;
using xl::native::vba::decompress;

std::string hex_bytes(const std::string& s) {
    static const char* d = "0123456789ABCDEF";
    std::string out;
    for (unsigned char c : s) {
        if (!out.empty()) out += ' ';
        out += d[c >> 4];
        out += d[c & 15];
    }
    return out;
}

TEST(vba_compression, matches_the_format_example_and_round_trips) {
    std::string plain = "abcdefghijklmnopqrstuv.";
    EXPECT_EQ(hex_bytes(compress(plain)),
              "01 19 B0 00 61 62 63 64 65 66 67 68 00 69 6A 6B 6C 6D 6E 6F 70 00 71 72 73 74 75 "
              "76 2E");
    // Long, repetitive and incompressible inputs across chunk borders.
    std::string text, noise;
    for (int i = 0; i < 900; ++i) text += "Sub Proc" + std::to_string(i % 37) + "()\r\n";
    unsigned x = 12345;
    for (int i = 0; i < 9000; ++i) noise.push_back(static_cast<char>((x = x * 1103515245 + 12345) >> 16));
    for (const std::string& s : {text, noise, std::string(4096, 'a'), std::string(1, 'z')}) {
        auto back = decompress(compress(s));
        ASSERT_TRUE(back) << back.error().message;
        EXPECT_EQ(back->substr(0, s.size()), s);
    }
    EXPECT_LT(compress(text).size(), text.size() / 4);
}

TEST(vba_compression, refuses_damaged_containers) {
    std::string good = compress("Attribute VB_Name = \"Module1\"\r\nSub A()\r\nEnd Sub\r\n");
    for (std::string bad : {std::string(), std::string("\x02", 1), good.substr(0, 2),
                            std::string("\x01\x05\xB0\x01\xFF\xFF", 6)}) {
        EXPECT_FALSE(decompress(bad)) << hex_bytes(bad);
    }
}

}  // namespace
}  // namespace sheaflow::testing

#include "vba_decoder.h"

namespace sheaflow::testing {
namespace {

const std::string kClassHeader = "VERSION 1.0 CLASS\r\nBEGIN\r\n  MultiUse = -1  'True\r\nEND\r\n";

std::string vba_bin_of(const std::string& path) {
    auto pkg = xl::native::Package::open_file(path);
    if (!pkg) return "";
    auto bin = (*pkg)->read("xl/vbaProject.bin");
    return bin ? *bin : "";
}

// Every module the engine exports equals what the independent reader decodes from the file.
void expect_exports_match_decoder(xl::Workbook& book, const std::string& path,
                                  const EngineTempDir& tmp) {
    auto decoded = decode_vba_modules(vba_bin_of(path));
    ASSERT_TRUE(decoded) << path;
    auto project = book.vb_project();
    ASSERT_TRUE(project) << project.error().message;
    xl::VBComponents& c = (*project)->vb_components();
    EXPECT_EQ(static_cast<std::size_t>(c.count()), decoded->size()) << path;
    for (int i = 1; i <= c.count(); ++i) {
        xl::VBComponent* m = c.item(i);
        if (m->type() == xl::vbext_ct_MSForm) {
            // The designer's properties with the blob's line, then the source; the designer's
            // storage beside it as a compound file.
            ASSERT_TRUE(m->export_file(tmp.file("フォーム.frm"))) << m->name();
            const std::string frm = read_file(tmp.file("フォーム.frm"));
            EXPECT_EQ(frm.rfind("VERSION 5.00\r\nBegin {C62A69F0-16DC-11CE-9E98-00AA00574A4F} " + m->name(), 0), 0u) << frm;
            const std::string blob = "   OleObjectBlob   =   \"\x83t\x83H\x81[\x83\x80.frx\":0000\r\n";
            EXPECT_NE(frm.find("ClientWidth"), std::string::npos) << frm;
            EXPECT_LT(frm.find("ClientWidth"), frm.find(blob)) << frm;
            EXPECT_LT(frm.find(blob), frm.find("StartUpPosition")) << frm;
            EXPECT_NE(frm.find("End\r\n" + (*decoded)[m->name()]), std::string::npos) << frm;
            auto frx = xl::native::cfb::read(read_file(tmp.file("フォーム.frx")), "frx");
            ASSERT_TRUE(frx) << m->name();
            EXPECT_NE(frx->child("f"), nullptr);
            EXPECT_NE(frx->child("o"), nullptr);
            EXPECT_EQ(frx->child("\x03VBFrame"), nullptr);
            continue;
        }
        std::string out = tmp.file(m->name() + ".txt");
        ASSERT_TRUE(m->export_file(out)) << m->name();
        std::string want = (*decoded)[m->name()];
        if (m->type() != xl::vbext_ct_StdModule) want = kClassHeader + want;
        EXPECT_EQ(read_file(out), want) << path << " " << m->name();
    }
}

TEST(vba_project, exports_of_corpus_macro_workbooks_match_an_independent_reader) {
    EngineTempDir tmp;
    auto app = xl::native::create_application();
    int with_project = 0;
    for (const std::string& path : corpus_files("xlsm", {".xlsm"})) {
        auto book = app->workbooks().open(path, true);
        ASSERT_TRUE(book) << path;
        auto project = (*book)->vb_project();
        ASSERT_TRUE(project) << path << ": " << project.error().message;
        if ((*project)->exists()) {
            ++with_project;
            expect_exports_match_decoder(**book, path, tmp);
        } else {
            EXPECT_EQ((*project)->vb_components().count(), 0);
            EXPECT_FALSE((*project)->vb_components().import_file(tmp.file("none.bas")));
        }
        (*book)->close();
    }
    EXPECT_GE(with_project, 8);
}

TEST(vba_project, edits_saved_are_read_back_by_both_readers_with_nothing_else_changed) {
    EngineTempDir tmp;
    const std::string src = corpus("xlsm/sjs-BlankSheetTypes.xlsm");
    auto before = decode_vba_modules(vba_bin_of(src));
    ASSERT_TRUE(before);
    write_file(tmp.file("New.bas"),
               "Attribute VB_Name = \"Module1\"\nOption Explicit\nSub Hello()\nEnd Sub\n");
    {
        auto app = xl::native::create_application();
        auto book = app->workbooks().open(src, false);
        ASSERT_TRUE(book);
        xl::VBComponents& c = (*(*book)->vb_project())->vb_components();
        // An import whose name is in use gets a number, as the editor names it.
        auto added = c.import_file(tmp.file("New.bas"));
        ASSERT_TRUE(added) << added.error().message;
        EXPECT_EQ((*added)->name(), "Module11");
        ASSERT_TRUE(c.item("Class1")->set_name("Renamed"));
        EXPECT_FALSE(c.item("Renamed")->set_name("module1"));  // in use, whatever the case
        EXPECT_FALSE(c.item("Sheet1")->set_name("9bad"));
        ASSERT_TRUE(c.remove(*c.item("UserForm1")));
        EXPECT_FALSE(c.remove(*c.item("ThisWorkbook")));
        xl::CodeModule& code = c.item("Module1")->code_module();
        ASSERT_TRUE(code.delete_lines(1, 1));
        ASSERT_TRUE(code.insert_lines(1, "' first"));
        ASSERT_TRUE((*book)->save_as(tmp.file("out.xlsm"), xl::xlOpenXMLWorkbookMacroEnabled));
        (*book)->close();
    }
    std::string bin = vba_bin_of(tmp.file("out.xlsm"));
    auto after = decode_vba_modules(bin);
    ASSERT_TRUE(after);
    std::map<std::string, std::string> want = *before;
    want.erase("UserForm1");
    std::string cls = want["Class1"];
    want.erase("Class1");
    want["Renamed"] = std::regex_replace(cls, std::regex("VB_Name = \"Class1\""), "VB_Name = \"Renamed\"");
    std::string& m1 = want["Module1"];
    // This project's source has LF line ends, and keeps them.
    std::size_t code_start = m1.find('\n') + 1;  // after Attribute VB_Name
    std::size_t first_end = m1.find('\n', code_start) + 1;
    m1 = m1.substr(0, code_start) + "' first\n" + m1.substr(first_end);
    want["Module11"] = "Attribute VB_Name = \"Module11\"\r\nOption Explicit\r\nSub Hello()\r\nEnd Sub\r\n";
    EXPECT_EQ(*after, want);

    // The project compiles again from source: caches and the designer of the removed form go.
    auto root = xl::native::cfb::read(bin, "out");
    ASSERT_TRUE(root);
    EXPECT_EQ(root->at("VBA/_VBA_PROJECT")->data, std::string("\xCC\x61\xFF\xFF\x00\x01\x00", 7));
    EXPECT_EQ(root->child("UserForm1"), nullptr);
    for (const auto& n : root->at("VBA")->children) EXPECT_NE(n.name.rfind("__SRP_", 0), 0u);
    std::string project = root->child("PROJECT")->data;
    EXPECT_NE(project.find("Class=Renamed\r\n"), std::string::npos);
    EXPECT_NE(project.find("Module=Module11\r\n"), std::string::npos);
    EXPECT_EQ(project.find("UserForm1"), std::string::npos);

    // The engine reads its own output the same way.
    auto app = xl::native::create_application();
    auto book = app->workbooks().open(tmp.file("out.xlsm"), true);
    ASSERT_TRUE(book);
    expect_exports_match_decoder(**book, tmp.file("out.xlsm"), tmp);
}

TEST(vba_project, japanese_text_goes_into_a_cp932_project_in_its_code_page) {
    EngineTempDir tmp;
    write_file(tmp.file("ja.bas"), "\xEF\xBB\xBF" "Attribute VB_Name = \"集計\"\r\n' 日本語\r\n");
    auto app = xl::native::create_application();
    auto book = app->workbooks().open(corpus("xlsm/cal-issue281.xlsm"), false);
    ASSERT_TRUE(book);
    auto added = (*(*book)->vb_project())->vb_components().import_file(tmp.file("ja.bas"));
    ASSERT_TRUE(added) << added.error().message;
    EXPECT_EQ((*added)->code_module().lines(1, 1), "' 日本語");
    ASSERT_TRUE((*book)->save_as(tmp.file("out.xlsm"), xl::xlOpenXMLWorkbookMacroEnabled));
    auto root = xl::native::cfb::read(vba_bin_of(tmp.file("out.xlsm")), "out");
    ASSERT_TRUE(root);
    // Module names in the PROJECT stream are in the code page too.
    EXPECT_NE(root->child("PROJECT")->data.find("Module=\x8F\x57\x8C\x76\r\n"), std::string::npos);
    auto reread = app->workbooks().open(tmp.file("out.xlsm"), true);
    ASSERT_TRUE(reread);
    xl::VBComponent* m = (*(*reread)->vb_project())->vb_components().item("集計");
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->code_module().lines(1, 1), "' 日本語");
}

TEST(vba_project, a_signed_project_loses_its_signature_when_changed_and_keeps_it_otherwise) {
    EngineTempDir tmp;
    const std::string src = corpus("xlsm/xw-macro04.xlsm");
    auto app = xl::native::create_application();
    auto book = app->workbooks().open(src, false);
    ASSERT_TRUE(book);
    ASSERT_TRUE((*book)->vb_project());
    ASSERT_TRUE((*book)->save_as(tmp.file("same.xlsm"), xl::xlOpenXMLWorkbookMacroEnabled));
    EXPECT_EQ(vba_bin_of(tmp.file("same.xlsm")), vba_bin_of(src));
    xl::VBComponents& c = (*(*book)->vb_project())->vb_components();
    ASSERT_TRUE(c.item("Module1")->code_module().insert_lines(1, "' changed"));
    ASSERT_TRUE((*book)->save_as(tmp.file("changed.xlsm"), xl::xlOpenXMLWorkbookMacroEnabled));
    auto root = xl::native::cfb::read(vba_bin_of(tmp.file("changed.xlsm")), "changed");
    ASSERT_TRUE(root);
    for (const auto& n : root->children) EXPECT_EQ(n.name.find("DigitalSignature"), std::string::npos);
    auto pkg = xl::native::Package::open_file(tmp.file("changed.xlsm"));
    ASSERT_TRUE(pkg);
    for (const std::string& part : (*pkg)->part_names())
        EXPECT_EQ(part.find("Signature"), std::string::npos) << part;
}

TEST(vba_project, a_project_made_from_nothing_is_tied_to_the_sheets_and_follows_them) {
    EngineTempDir tmp;
    auto app = xl::native::create_application();
    // A macro-enabled workbook without a project.
    auto book = app->workbooks().open(corpus("xlsm/cal-issue221.xlsm"), false);
    ASSERT_TRUE(book);
    xl::VBProject* project = *(*book)->vb_project();
    ASSERT_FALSE(project->exists());
    ASSERT_TRUE(project->create(nullptr));
    EXPECT_FALSE(project->create(nullptr));  // only once
    xl::VBComponents& c = project->vb_components();
    ASSERT_EQ(c.count(), 2);
    const std::string sheet_code = (*book)->sheet(1)->code_name();
    EXPECT_EQ(c.item(1)->name(), "ThisWorkbook");
    EXPECT_EQ(c.item(2)->name(), sheet_code);
    EXPECT_EQ(c.item(2)->type(), xl::vbext_ct_Document);
    ASSERT_TRUE(c.item(2)->code_module().insert_lines(1, "' シートのコード"));
    write_file(tmp.file("m.bas"), "Attribute VB_Name = \"Module1\"\r\nSub A()\r\nEnd Sub\r\n");
    ASSERT_TRUE(c.import_file(tmp.file("m.bas")));
    // A sheet added gets its module, a sheet deleted takes its own along; a sheet copied
    // brings its code.
    auto added = (*book)->add_worksheet(nullptr, (*book)->sheet(1));
    ASSERT_TRUE(added);
    const std::string added_code = (*added)->code_name();
    EXPECT_NE(c.item(added_code), nullptr);
    ASSERT_TRUE((*added)->delete_sheet());
    EXPECT_EQ(c.item(added_code), nullptr);
    ASSERT_TRUE((*book)->sheet(1)->copy(nullptr, (*book)->sheet(1)));
    const std::string copy_code = (*book)->sheet(2)->code_name();
    ASSERT_NE(c.item(copy_code), nullptr);
    EXPECT_EQ(c.item(copy_code)->code_module().lines(1, 1), "' シートのコード");
    ASSERT_TRUE((*book)->save_as(tmp.file("new.xlsm"), xl::xlOpenXMLWorkbookMacroEnabled));
    (*book)->close();

    // Read back by the independent reader and by the engine, with its part, relationship and
    // type in the package, and the workbook tied to its module.
    auto decoded = decode_vba_modules(vba_bin_of(tmp.file("new.xlsm")));
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->size(), 4u);
    EXPECT_NE((*decoded)["Module1"].find("Sub A()"), std::string::npos);
    EXPECT_NE((*decoded)[copy_code].find("VB_Base = \"0{00020820-"), std::string::npos);
    auto pkg = xl::native::Package::open_file(tmp.file("new.xlsm"));
    ASSERT_TRUE(pkg);
    EXPECT_NE((*(*pkg)->read("xl/_rels/workbook.xml.rels")).find("vbaProject.bin"), std::string::npos);
    EXPECT_NE((*(*pkg)->read("[Content_Types].xml")).find("application/vnd.ms-office.vbaProject"),
              std::string::npos);
    EXPECT_NE((*(*pkg)->read("xl/workbook.xml")).find("codeName=\"ThisWorkbook\""), std::string::npos);
    auto reread = app->workbooks().open(tmp.file("new.xlsm"), true);
    ASSERT_TRUE(reread);
    expect_exports_match_decoder(**reread, tmp.file("new.xlsm"), tmp);
    (*reread)->close();

    // Saved as .xlsx, a workbook holds no project.
    auto again = app->workbooks().open(tmp.file("new.xlsm"), false);
    ASSERT_TRUE(again);
    ASSERT_TRUE((*(*again)->vb_project())->vb_components().item("Module1")->code_module().insert_lines(1, "'"));
    ASSERT_TRUE((*again)->save_as(tmp.file("plain.xlsx"), xl::xlOpenXMLWorkbook));
    auto plain = xl::native::Package::open_file(tmp.file("plain.xlsx"));
    ASSERT_TRUE(plain);
    for (const std::string& part : (*plain)->part_names()) EXPECT_EQ(part.find("vbaProject"), std::string::npos);
}

}  // namespace
TEST(vba_project, references_of_another_project_are_added_once_after_the_own_ones) {
    // The corpus projects with their references; two whose lists differ make the case.
    std::vector<std::pair<std::string, xl::native::vba::Project>> projects;
    for (const std::string& path : corpus_files("xlsm", {".xlsm"})) {
        auto pkg = xl::native::Package::open_file(path);
        if (!pkg || !(*pkg)->has("xl/vbaProject.bin")) continue;
        auto p = xl::native::vba::Project::parse(*(*pkg)->read("xl/vbaProject.bin"), path);
        if (p) projects.emplace_back(path, std::move(*p));
    }
    auto lacking = [](const std::vector<std::string>& have, const std::vector<std::string>& from) {
        std::vector<std::string> out;
        for (const std::string& n : from)
            if (std::find(have.begin(), have.end(), n) == have.end()) out.push_back(n);
        return out;
    };
    bool tried = false;
    for (auto& [a_path, a] : projects) {
        for (auto& [b_path, b] : projects) {
            const auto a_names = a.reference_names(), b_names = b.reference_names();
            if (lacking(a_names, b_names).empty()) continue;
            tried = true;
            auto merged = xl::native::vba::Project::create(&a);
            merged.add_references_of(b);
            merged.add_references_of(b);  // a second time adds nothing
            auto bin = merged.serialize();
            ASSERT_TRUE(bin) << bin.error().message;
            auto back = xl::native::vba::Project::parse(*bin, "merged");
            ASSERT_TRUE(back) << a_path << " + " << b_path << ": " << back.error().message;
            std::vector<std::string> want = a_names;
            for (const std::string& n : lacking(a_names, b_names)) want.push_back(n);
            EXPECT_EQ(back->reference_names(), want) << a_path << " + " << b_path;
        }
        if (tried) break;
    }
    ASSERT_TRUE(tried) << "no two corpus projects with different references";
    EXPECT_EQ(xl::native::vba::Project::create().reference_names(),
              (std::vector<std::string>{"stdole", "Office"}));
}

}  // namespace sheaflow::testing
