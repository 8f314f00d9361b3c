// Passwords to open: the corpus's encrypted workbooks decrypted, the engine's encryption read back
// by the engine and by LibreOffice, the password operations with right and wrong passwords, and
// damaged containers refused.

#include "book_helpers.h"
#include "xl/native/compound_file.h"
#include "xl/native/encryption.h"
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

TEST_F(BookPasswordTest, LibreOfficeOpensTheEngineEncryptionWithThePassword) {
    if (!testing::office_available()) GTEST_SKIP() << "LibreOffice (soffice) is not installed";
    add_made("a.xlsx", {{"S", {"42"}}});
    ASSERT_EQ(run(kFile, "パスワード変更１", {{"new_open", "lo-pass"}}).error_text, "");
    const std::string script = std::string(SHEAFLOW_TEST_DATA_DIR) + "/lo_password.py";
    const std::string cmd = "/usr/bin/python3 '" + script + "' '" + (in() / "a.xlsx").string() +
                            "' lo-pass 2>/dev/null";
    FILE* p = ::popen(cmd.c_str(), "r");
    ASSERT_NE(p, nullptr);
    char buf[256] = {};
    std::string answer;
    while (std::fgets(buf, sizeof buf, p)) answer += buf;
    ::pclose(p);
    // With the password the cell reads back; without it LibreOffice does not open the file.
    EXPECT_EQ(answer, "with: 42\nwithout: refused\n");
}

}  // namespace
}  // namespace sheaflow::test
