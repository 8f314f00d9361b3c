// Passwords to open: the corpus's encrypted workbooks decrypted, the engine's encryption read back
// by the engine and by LibreOffice, the password operations with right and wrong passwords, and
// damaged containers refused.

#include "book_helpers.h"
#include "xl/native/compound_file.h"
#include "xl/native/encryption.h"
#include "xl/native/package.h"
#include "xl/native/password_hash.h"
#include "xl/structure_helpers.h"

namespace sheaflow::test {
namespace {

namespace fs = std::filesystem;
namespace enc = xl::native::encryption;
namespace cfb = xl::native::cfb;

const char* const kFile = "ファイル";

class BookPasswordTest : public BookOpsTest {
protected:
    // Opens a file with a password; the first cell of the first sheet, or "(error message)".
    static std::string first_cell(const fs::path& file, const std::string& password) {
        auto app = xl::native::create_application();
        app->open_password = password;
        auto book = app->workbooks().open(file.string(), true);
        if (!book) return "(" + book.error().message + ")";
        return (*book)->worksheet(1)->cell_text({1, 1});
    }
    static std::string workbook_xml(const fs::path& file) {
        return testing::part_of(file.string(), "xl/workbook.xml");
    }
    // Puts `element` into xl/workbook.xml right after <fileVersion> or the root's start.
    static void insert_into_workbook(const fs::path& file, const std::string& element) {
        auto pkg = xl::native::Package::open_file(file.string());
        ASSERT_TRUE(pkg.has_value());
        std::string xml = *(*pkg)->read("xl/workbook.xml");
        std::size_t at = xml.find("<sheets");
        ASSERT_NE(at, std::string::npos);
        xml.insert(at, element);
        (*pkg)->write("xl/workbook.xml", xml);
        ASSERT_TRUE((*pkg)->save(file.string()).has_value());
    }
    // Whether the attributes of the element named `tag` in `xml` carry the hash of `password`
    // as the application writes it (attribute names after `prefix`, "" or "workbook").
    static bool hash_opens(const std::string& xml, const std::string& tag,
                           const std::string& prefix, const std::string& password) {
        std::size_t start = xml.find("<" + tag);
        if (start == std::string::npos) return false;
        std::string e = xml.substr(start, xml.find('>', start) - start);
        auto attr = [&](std::string name) {
            if (!prefix.empty()) name = prefix + char(std::toupper(name[0])) + name.substr(1);
            std::size_t at = e.find(" " + name + "=\"");
            if (at == std::string::npos) return std::string();
            at += name.size() + 3;
            return e.substr(at, e.find('"', at) - at);
        };
        xl::native::PasswordHash h;
        h.algorithm = attr("algorithmName");
        h.hash = attr("hashValue");
        h.salt = attr("saltValue");
        h.spin_count = static_cast<std::uint32_t>(std::stoul("0" + attr("spinCount")));
        return h.algorithm == "SHA-512" && h.spin_count == 100000 &&
               xl::native::verify_password(h, password);
    }
};

TEST_F(BookPasswordTest, CorpusEncryptedPackagesAskForTheirPassword) {
    // The corpus names no password for these: each is refused with a line that asks for one and
    // stays as it was.
    for (const char* f : {"odd/olet-encrypted.xlsx", "odd/olet-encrypted.xlsm"}) {
        add(f, fs::path(f).filename().string());
        const std::string before = read_bytes(in() / fs::path(f).filename());
        EXPECT_NE(first_cell(in() / fs::path(f).filename(), "").find("パスワードを指定"),
                  std::string::npos)
            << f;
        auto out = run(kFile, "パスワード変更１", {{"old_open", "当て推量"}, {"new_open", "x"}});
        EXPECT_NE(out.error_text.find("パスワードが違います"), std::string::npos) << f;
        EXPECT_EQ(read_bytes(in() / fs::path(f).filename()), before) << f;
    }
    // An encrypted binary workbook inside is not a package the engine reads.
    EXPECT_NE(first_cell(corpus("odd/olet-encrypted.xlsb"), "").find("パスワード"),
              std::string::npos);
}

TEST_F(BookPasswordTest, SetChangeAndRemoveThePasswordToOpen) {
    add_made("a.xlsx", {{"S", {"秘密"}}});
    add_made("b.xlsx", {{"S", {"公開"}}});
    auto out = run(kFile, "パスワード変更１", {{"new_open", "合言葉1"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.error_text, "");
    fs::path a = in() / "a.xlsx";
    EXPECT_TRUE(cfb::is_compound_file(read_bytes(a)));
    EXPECT_EQ(first_cell(a, "合言葉1"), "秘密");
    EXPECT_NE(first_cell(a, "").find("パスワード"), std::string::npos);
    EXPECT_NE(first_cell(a, "違う").find("パスワードが違います"), std::string::npos);

    // A wrong current password: an error line per file, the files unchanged.
    const std::string before = read_bytes(a);
    out = run(kFile, "パスワード変更１", {{"old_open", "違う"}, {"new_open", "x"}});
    EXPECT_NE(out.error_text.find("パスワードが違います"), std::string::npos) << out.error_text;
    EXPECT_EQ(read_bytes(a), before);

    // Change, then remove.
    out = run(kFile, "パスワード変更１", {{"old_open", "合言葉1"}, {"new_open", "合言葉2"}});
    EXPECT_EQ(out.error_text, "");
    EXPECT_EQ(first_cell(a, "合言葉2"), "秘密");
    out = run(kFile, "パスワード変更１", {{"old_open", "合言葉2"}, {"new_open", ""}});
    EXPECT_EQ(out.error_text, "");
    EXPECT_EQ(read_bytes(a).substr(0, 2), "PK");
    EXPECT_EQ(first_cell(in() / "b.xlsx", ""), "公開");
}

TEST_F(BookPasswordTest, PasswordsPerFileFromAListFile) {
    add_made("a.xlsx", {{"S", {"1"}}});
    add_made("b.xlsx", {{"S", {"2"}}});
    add_made("c.xlsx", {{"S", {"3"}}});
    fs::path list = dir_ / "list.csv";
    std::ofstream(list) << "# ファイル名,現在,新\na.xlsx,,\"p,1\"\nb.xlsx,,p2\n";
    auto out = run(kFile, "パスワード変更２", {{"list", list.string()}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(first_cell(in() / "a.xlsx", "p,1"), "1");
    EXPECT_EQ(first_cell(in() / "b.xlsx", "p2"), "2");
    // Not in the list: a line for it, the file as it was.
    EXPECT_NE(out.error_text.find("c.xlsx"), std::string::npos) << out.error_text;
    EXPECT_EQ(read_bytes(in() / "c.xlsx").substr(0, 2), "PK");

    std::ofstream(list) << "a.xlsx;p\n";
    EXPECT_NE(check(kFile, "パスワード変更２", {{"list", list.string()}}).find("1 行目"),
              std::string::npos);
    EXPECT_EQ(check(kFile, "パスワード変更２", {}), "パスワード一覧ファイルを指定してください。");
    EXPECT_EQ(check(kFile, "パスワード変更１", {{"old_open", "x"}, {"new_open", "x"}}),
              "現在のパスワードと新しいパスワードが同じです。");
}

TEST_F(BookPasswordTest, SetChangeAndRemoveThePasswordToModify) {
    add_made("a.xlsx", {{"S", {"1"}}});
    const fs::path a = in() / "a.xlsx";
    auto out = run(kFile, "パスワード変更１", {{"new_modify", "書込1"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.error_text, "");
    std::string xml = workbook_xml(a);
    EXPECT_TRUE(hash_opens(xml, "fileSharing", "", "書込1")) << xml;
    EXPECT_FALSE(hash_opens(xml, "fileSharing", "", "書込2"));
    // Before <workbookPr>, where the schema puts it.
    EXPECT_LT(xml.find("<fileSharing"), xml.find("<workbookPr"));
    EXPECT_EQ(read_bytes(a).substr(0, 2), "PK");

    // A wrong current password: an error line, the file as it was; also when the password to
    // open would have changed with it.
    const std::string before = read_bytes(a);
    out = run(kFile, "パスワード変更１",
              {{"old_modify", "違う"}, {"new_modify", "書込2"}, {"new_open", "開く"}});
    EXPECT_NE(out.error_text.find("書き込みパスワードが正しくありません"), std::string::npos)
        << out.error_text;
    EXPECT_EQ(read_bytes(a), before);

    out = run(kFile, "パスワード変更１", {{"old_modify", "書込1"}, {"new_modify", "書込2"}});
    EXPECT_EQ(out.error_text, "");
    EXPECT_TRUE(hash_opens(workbook_xml(a), "fileSharing", "", "書込2"));
    out = run(kFile, "パスワード変更１", {{"old_modify", "書込2"}});
    EXPECT_EQ(out.error_text, "");
    EXPECT_EQ(workbook_xml(a).find("fileSharing"), std::string::npos);
}

TEST_F(BookPasswordTest, OlderPasswordsToModifyAndWhatTheElementKeeps) {
    // reservationPassword is the 16-bit hash: "CBEB" for "test". The recommendation to open
    // read-only and the user name stay when the password goes.
    add_made("a.xlsx", {{"S", {"1"}}});
    const fs::path a = in() / "a.xlsx";
    insert_into_workbook(
        a,
        "<fileSharing readOnlyRecommended=\"1\" userName=\"山田\" reservationPassword=\"CBEB\"/>");
    EXPECT_NE(run(kFile, "パスワード変更１", {{"old_modify", "tesT"}})
                  .error_text.find("正しくありません"),
              std::string::npos);
    EXPECT_EQ(run(kFile, "パスワード変更１", {{"old_modify", "test"}}).error_text, "");
    std::string xml = workbook_xml(a);
    EXPECT_NE(xml.find("<fileSharing readOnlyRecommended=\"1\" userName=\"山田\"/>"),
              std::string::npos)
        << xml;
    EXPECT_EQ(run(kFile, "パスワード変更１", {{"new_modify", "新"}}).error_text, "");
    xml = workbook_xml(a);
    EXPECT_TRUE(hash_opens(xml, "fileSharing", "", "新")) << xml;
    EXPECT_NE(xml.find("readOnlyRecommended=\"1\""), std::string::npos);
}

TEST_F(BookPasswordTest, ThePasswordOfTheWorkbookProtection) {
    add_made("a.xlsx", {{"S", {"1"}}});
    const fs::path a = in() / "a.xlsx";
    // Unprotected: the new password protects the structure.
    EXPECT_EQ(run(kFile, "パスワード変更１", {{"new_book", "構成1"}}).error_text, "");
    std::string xml = workbook_xml(a);
    EXPECT_TRUE(hash_opens(xml, "workbookProtection", "workbook", "構成1")) << xml;
    EXPECT_NE(xml.find("lockStructure=\"1\""), std::string::npos);

    const std::string before = read_bytes(a);
    auto out = run(kFile, "パスワード変更１", {{"old_book", "x"}, {"new_book", "構成2"}});
    EXPECT_NE(out.error_text.find("ブック保護のパスワードが正しくありません"), std::string::npos)
        << out.error_text;
    EXPECT_EQ(read_bytes(a), before);

    // A protection of the windows too keeps both under the new password.
    auto pkg_xml =
        text::replace_all(xml, "lockStructure=\"1\"", "lockStructure=\"1\" lockWindows=\"1\"");
    {
        auto pkg = xl::native::Package::open_file(a.string());
        ASSERT_TRUE(pkg.has_value());
        (*pkg)->write("xl/workbook.xml", pkg_xml);
        ASSERT_TRUE((*pkg)->save(a.string()).has_value());
    }
    EXPECT_EQ(
        run(kFile, "パスワード変更１", {{"old_book", "構成1"}, {"new_book", "構成2"}}).error_text,
        "");
    xml = workbook_xml(a);
    EXPECT_TRUE(hash_opens(xml, "workbookProtection", "workbook", "構成2")) << xml;
    EXPECT_NE(xml.find("lockWindows=\"1\""), std::string::npos);
    // No new password: unprotected.
    EXPECT_EQ(run(kFile, "パスワード変更１", {{"old_book", "構成2"}}).error_text, "");
    EXPECT_EQ(workbook_xml(a).find("workbookProtection"), std::string::npos);
}

TEST_F(BookPasswordTest, AllThreePasswordsFromTheListFile) {
    add_made("a.xlsx", {{"S", {"1"}}});
    add_made("b.xlsx", {{"S", {"2"}}});
    fs::path list = dir_ / "list.csv";
    std::ofstream(list) << "a.xlsx,,開,,書\nb.xlsx,,,,書b,,保b\n";
    auto out = run(kFile, "パスワード変更２", {{"list", list.string()}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.error_text, "");
    EXPECT_EQ(first_cell(in() / "a.xlsx", "開"), "1");
    // The package inside the encryption carries the password to modify.
    auto app = xl::native::create_application();
    app->open_password = "開";
    auto book = app->workbooks().open((in() / "a.xlsx").string(), true);
    ASSERT_TRUE(book.has_value());
    EXPECT_TRUE((*book)->has_modify_password());
    const std::string b = workbook_xml(in() / "b.xlsx");
    EXPECT_TRUE(hash_opens(b, "fileSharing", "", "書b")) << b;
    EXPECT_TRUE(hash_opens(b, "workbookProtection", "workbook", "保b")) << b;

    std::ofstream(list) << "a.xlsx,,開,,\n";
    EXPECT_EQ(check(kFile, "パスワード変更２", {{"list", list.string()}}), "");
    std::ofstream(list) << "a.xlsx,,開,書\n";
    EXPECT_NE(check(kFile, "パスワード変更２", {{"list", list.string()}}).find("1 行目"),
              std::string::npos);
}

TEST_F(BookPasswordTest, DamagedContainersAreRefusedCleanly) {
    add_made("a.xlsx", {{"S", {"1"}}});
    auto sealed = enc::encrypt(read_bytes(in() / "a.xlsx"), "pw");
    ASSERT_TRUE(sealed.has_value());
    auto root = cfb::read(*sealed, "a");
    ASSERT_TRUE(root.has_value());
    ASSERT_TRUE(enc::decrypt(*root, "pw").has_value());
    // Cut or flipped package bytes, a cut description, absurd spin counts: errors, no crash.
    for (int kind = 0; kind < 4; ++kind) {
        cfb::Node bad = *root;
        std::string& package = bad.child("EncryptedPackage")->data;
        std::string& info = bad.child("EncryptionInfo")->data;
        if (kind == 0) package.resize(package.size() - 7);
        if (kind == 1) package[100] = static_cast<char>(package[100] ^ 0x55);
        if (kind == 2) info.resize(info.size() / 2);
        if (kind == 3)
            info = text::replace_all(info, "spinCount=\"100000\"", "spinCount=\"4000000000\"");
        auto r = enc::decrypt(bad, "pw");
        if (kind == 1) {
            // A flipped byte inside the data decrypts to a package that the zip reader refuses.
            if (r) {
                EXPECT_NE(*r, read_bytes(in() / "a.xlsx"));
            }
            continue;
        }
        EXPECT_FALSE(r.has_value()) << kind;
    }
}

// What a command prints.
std::string output_of(const std::string& cmd) {
    FILE* p = ::popen(cmd.c_str(), "r");
    if (!p) return "(popen failed)";
    char buf[512] = {};
    std::string answer;
    while (std::fgets(buf, sizeof buf, p)) answer += buf;
    ::pclose(p);
    return answer;
}

// The answer of tests/data/lo_password.py for the given arguments.
std::string ask_office(const std::string& args) {
    return output_of("/usr/bin/python3 '" + std::string(SHEAFLOW_TEST_DATA_DIR) +
                     "/lo_password.py' " + args + " 2>/dev/null");
}

std::string ask_cli(const std::string& args) {
    return output_of(std::string(SHEAFLOW_CLI_PATH) + args);
}

TEST_F(BookPasswordTest, LibreOfficeReadsThePasswordToModify) {
    if (!testing::office_available()) GTEST_SKIP() << "LibreOffice (soffice) is not installed";
    add_made("a.xlsx", {{"S", {"42"}}});
    const std::string a = "'" + (in() / "a.xlsx").string() + "'";
    EXPECT_EQ(ask_office("--modify " + a), "42, editable\n");
    ASSERT_EQ(run(kFile, "パスワード変更１", {{"new_modify", "書込"}}).error_text, "");
    // Headless LibreOffice asks for no password to modify: it opens the workbook read-only.
    EXPECT_EQ(ask_office("--modify " + a), "42, read-only\n");
}

TEST_F(BookPasswordTest, AnXlsRefusesThePasswordToModifyAndStaysAsItWas) {
    if (!testing::office_available()) GTEST_SKIP() << "LibreOffice (soffice) is not installed";
    // LibreOffice writes the .xls and would drop the password: the file keeps its bytes. The
    // command line reaches LibreOffice.
    fs::copy_file(corpus("xls/cal-biff5-rich-text-string.xls"), in() / "a.xls");
    fs::permissions(in() / "a.xls", fs::perms::owner_write, fs::perm_options::add);
    const std::string before = read_bytes(in() / "a.xls");
    const std::string out =
        ask_cli(" run ファイル パスワード変更１ --folder '" + in().string() + "' --param-dir '" +
                (dir_ / "params").string() + "' --set new_modify=pw --yes 2>&1");
    EXPECT_NE(out.find("書き込みパスワードは変更できません"), std::string::npos) << out;
    EXPECT_EQ(read_bytes(in() / "a.xls"), before);
}

TEST_F(BookPasswordTest, LibreOfficeOpensTheEngineEncryptionWithThePassword) {
    if (!testing::office_available()) GTEST_SKIP() << "LibreOffice (soffice) is not installed";
    add_made("a.xlsx", {{"S", {"42"}}});
    ASSERT_EQ(run(kFile, "パスワード変更１", {{"new_open", "lo-pass"}}).error_text, "");
    const std::string answer = ask_office("'" + (in() / "a.xlsx").string() + "' lo-pass");
    // With the password the cell reads back; without it LibreOffice does not open the file.
    EXPECT_EQ(answer, "with: 42\nwithout: refused\n");
}

}  // namespace
}  // namespace sheaflow::test
