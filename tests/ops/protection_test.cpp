// Sheet and workbook protection over real workbooks: the protection elements read back from the
// package, the engine's view, wrong passwords, and LibreOffice honouring what the engine wrote.

#include <gtest/gtest.h>

#include "settings_helpers.h"

namespace sheaflow::test {
namespace {

class ProtectionOpsTest : public BookOpsTest {
protected:
    xl::SheetProtection protection_of(const std::string& file, const std::string& sheet) {
        auto app = xl::native::create_application();
        auto book = app->workbooks().open((in() / file).string(), true);
        if (!book) return {};
        xl::Worksheet* w = (*book)->worksheet(sheet);
        return w ? w->protection() : xl::SheetProtection{};
    }
};

TEST_F(ProtectionOpsTest, ProtectsEverySheetWithAHashedPasswordAndUnprotects) {
    add("xlsm/cal-issue281.xlsm", "m.xlsm");
    add("xlsx/cal-date_1904.xlsx", "d.xlsx");
    const Values protect = {{"password", "秘密pw"}, {"format_cells", "1"}, {"select_locked", "0"}};
    auto out = run("すべてのシート_シート", "保護", protect);
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.failed_files, 0) << out.error_text;
    // A protected sheet refuses a second protection (its password stays).
    out = run("すべてのシート_シート", "保護", protect);
    EXPECT_NE(out.error_text.find("シート「Sheet1」 シートは既に保護されています。"),
              std::string::npos)
        << out.error_text;

    std::string xml = part_text(in() / "m.xlsm", "xl/worksheets/sheet1.xml");
    EXPECT_NE(xml.find("<sheetProtection algorithmName=\"SHA-512\" hashValue=\""),
              std::string::npos);
    EXPECT_NE(xml.find("spinCount=\"100000\" sheet=\"1\" objects=\"1\" scenarios=\"1\" formatCells=\"0\" selectLockedCells=\"1\""),
              std::string::npos)
        << xml.substr(xml.find("<sheetProtection"), 300);
    xl::SheetProtection p = protection_of("m.xlsm", "Sheet2");
    EXPECT_TRUE(p.on);
    EXPECT_TRUE(p.has_password);
    EXPECT_TRUE(p.allow.format_cells);
    EXPECT_FALSE(p.allow.select_locked_cells);
    EXPECT_TRUE(p.allow.select_unlocked_cells);
    EXPECT_FALSE(p.allow.delete_rows);
    // The VBA project is untouched.
    EXPECT_EQ(part_text(in() / "m.xlsm", "xl/vbaProject.bin"),
              part_text(corpus("xlsm/cal-issue281.xlsm"), "xl/vbaProject.bin"));

    // A wrong password is an error line per sheet and leaves the protection.
    out = run("すべてのシート_シート", "保護", {{"action", "unprotect"}, {"password", "違う"}});
    EXPECT_NE(out.error_text.find("シート「Sheet1」 パスワードが正しくありません。"),
              std::string::npos)
        << out.error_text;
    EXPECT_TRUE(protection_of("m.xlsm", "Sheet1").on);

    out = run("すべてのシート_シート", "保護", {{"action", "unprotect"}, {"password", "秘密pw"}});
    EXPECT_TRUE(out.error_text.find("m.xlsm") == std::string::npos) << out.error_text;
    EXPECT_FALSE(protection_of("m.xlsm", "Sheet1").on);
    EXPECT_FALSE(protection_of("m.xlsm", "Sheet3").on);
    EXPECT_FALSE(protection_of("d.xlsx", "Sheet1").on);
    EXPECT_EQ(part_text(in() / "m.xlsm", "xl/worksheets/sheet1.xml").find("sheetProtection"),
              std::string::npos);
}

TEST_F(ProtectionOpsTest, ChoosesTheSheetByNameAndChecksThePane) {
    add("xlsm/cal-issue281.xlsm", "m.xlsm");
    auto out = run("シート", "保護", {{"target", "name"}, {"name", "Sheet2"}});
    EXPECT_EQ(out.failed_files, 0) << out.error_text;
    EXPECT_FALSE(protection_of("m.xlsm", "Sheet1").on);
    EXPECT_TRUE(protection_of("m.xlsm", "Sheet2").on);
    EXPECT_FALSE(protection_of("m.xlsm", "Sheet2").has_password);
    // Protected without a password, it opens with any.
    out = run("シート", "保護",
              {{"action", "unprotect"}, {"target", "name"}, {"name", "Sheet2"}, {"password", "x"}});
    EXPECT_EQ(out.failed_files, 0) << out.error_text;
    EXPECT_FALSE(protection_of("m.xlsm", "Sheet2").on);

    out = run("シート", "保護", {{"target", "name"}, {"name", "無い"}});
    EXPECT_NE(out.error_text.find("シート「無い」がありません。"), std::string::npos);
    EXPECT_EQ(check("シート", "保護", {{"target", "name"}, {"name", " "}}),
              "シート名を入力してください。");
    EXPECT_EQ(check("シート", "保護", {{"action", ""}}), "保護・解除の指定が不正です。");
    EXPECT_EQ(check("シート", "保護", {{"password", std::string(256, 'x')}}),
              "パスワードは２５５文字以内で入力してください。");
}

TEST_F(ProtectionOpsTest, ProtectsAndUnprotectsTheWorkbookStructure) {
    add("xlsx/cal-date_iso.xlsx", "b.xlsx");
    auto out = run("ツール", "ブックの保護", {{"password", "book"}, {"windows", "1"}});
    EXPECT_EQ(out.failed_files, 0) << out.error_text;
    std::string wb = part_text(in() / "b.xlsx", "xl/workbook.xml");
    EXPECT_NE(wb.find("<workbookProtection workbookAlgorithmName=\"SHA-512\" workbookHashValue="),
              std::string::npos)
        << wb;
    EXPECT_NE(wb.find("workbookSpinCount=\"100000\" lockStructure=\"1\" lockWindows=\"1\"/>"),
              std::string::npos);
    out = run("ツール", "ブックの保護", {{"password", "book"}});
    EXPECT_NE(out.error_text.find("ブックは既に保護されています。"), std::string::npos);
    out = run("ツール", "ブックの保護", {{"action", "unprotect"}, {"password", "x"}});
    EXPECT_NE(out.error_text.find("パスワードが正しくありません。"), std::string::npos);
    out = run("ツール", "ブックの保護", {{"action", "unprotect"}, {"password", "book"}});
    EXPECT_TRUE(out.error_text.find("b.xlsx") == std::string::npos) << out.error_text;
    EXPECT_EQ(part_text(in() / "b.xlsx", "xl/workbook.xml").find("workbookProtection"),
              std::string::npos);
    EXPECT_EQ(check("ツール", "ブックの保護", {{"structure", "0"}}),
              "保護する対象（シート構成・ウィンドウ）を選んでください。");
}

TEST_F(ProtectionOpsTest, LibreOfficeRefusesEditsAndAcceptsTheEnginesPassword) {
    if (!have_soffice()) GTEST_SKIP() << "no soffice";
    // (LibreOffice does not take a workbook's structure protection from these files at all, so
    // only the sheets are checked through it.)
    add("xlsm/cal-issue281.xlsm", "m.xlsm");
    ASSERT_EQ(run("シート", "保護", {{"password", "秘密pw"}}).failed_files, 0);
    EXPECT_EQ(libreoffice_protection(in() / "m.xlsm", "秘密pw"),
              "Sheet1\t1\t1\tok\nSheet2\t0\t0\t-\nSheet3\t0\t0\t-\nbook\t0\t-\n");
    EXPECT_EQ(libreoffice_protection(in() / "m.xlsm", "wrong"),
              "Sheet1\t1\t1\trefused\nSheet2\t0\t0\t-\nSheet3\t0\t0\t-\nbook\t0\t-\n");
}

TEST_F(ProtectionOpsTest, AnXlsKeepsAPasswordLibreOfficeAccepts) {
    if (!have_soffice()) GTEST_SKIP() << "no soffice";
    // An .xls holds only the legacy hash; LibreOffice writes the file for the program, so the
    // command line (which reaches LibreOffice) runs it.
    std::filesystem::copy_file(corpus("xls/xlrd-Formate.xls"), in() / "f.xls");
    std::filesystem::permissions(in() / "f.xls", std::filesystem::perms::owner_write,
                                 std::filesystem::perm_options::add);
    std::string run_output = command_output(
        std::string(SHEAFLOW_CLI_PATH) + " run シート 保護 --folder '" + in().string() +
        "' --param-dir '" + (dir_ / "params").string() + "' --set password=pw --yes 2>&1");
    EXPECT_NE(run_output.find("エラー 0 件"), std::string::npos) << run_output;
    std::string report = libreoffice_protection(in() / "f.xls", "pw");
    EXPECT_NE(report.find("\t1\t1\tok\n"), std::string::npos) << report;
    EXPECT_EQ(report.find("refused"), std::string::npos) << report;
}

}  // namespace
}  // namespace sheaflow::test
