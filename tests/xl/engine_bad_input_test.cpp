// Files that are not workbooks, or damaged ones: each gives one clear Japanese error and never a
// crash, a hang or an open workbook that would later write garbage.

#include <gtest/gtest.h>

#include <filesystem>

#include "engine_helpers.h"
#include "xl/native/compound_file.h"
#include "xl/native/engine.h"

namespace sheaflow::xl::native {
namespace {

using testing::EngineTempDir;

std::string fixture_bytes() {
    return testing::read_file(std::string(SHEAFLOW_TEST_DATA_DIR) + "/engine/cells.xlsx");
}

// The central directory record of an entry ("PK\1\2" ... name).
std::size_t central_record(const std::string& zip, const std::string& name) {
    std::size_t pos = 0;
    while ((pos = zip.find(std::string("PK\x01\x02", 4), pos)) != std::string::npos) {
        auto u16 = [&](std::size_t at) {
            return static_cast<unsigned char>(zip[at]) | static_cast<unsigned char>(zip[at + 1])
                                                             << 8;
        };
        std::size_t len = u16(pos + 28);
        if (zip.compare(pos + 46, len, name) == 0) return pos;
        pos += 4;
    }
    return std::string::npos;
}

TEST(EngineBadInput, each_kind_of_bad_file_gives_a_message) {
    EngineTempDir dir;
    std::string good = fixture_bytes();
    ASSERT_FALSE(good.empty());
    // A part that claims to inflate to 4 GB.
    std::string bomb = good;
    std::size_t rec = central_record(bomb, "xl/workbook.xml");
    ASSERT_NE(rec, std::string::npos);
    for (int i = 0; i < 4; ++i) bomb[rec + 24 + i] = static_cast<char>(0xF0 | (i == 0 ? 0 : 0x0F));
    // The workbook part replaced by text that is not XML (same length keeps the zip intact).
    struct Case {
        const char* name;
        std::string bytes;
        const char* expected;  // part of the message
    } cases[] = {
        {"empty.xlsx", "", "空です"},
        {"text.xlsx", "氏名,住所\r\n山田,東京\r\n", "Excel のブックではありません"},
        {"half.xlsx", good.substr(0, good.size() / 2), "を開けません"},
        {"tail.xlsx", good.substr(good.size() / 2), "を開けません"},
        {"bomb.xlsx", bomb, "上限"},
        {"ole.xlsx",
         std::string("\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1", 8) + std::string(600, '\0') +
             std::string("E\0n\0c\0r\0y\0p\0t\0e\0d\0P\0a\0c\0k\0a\0g\0e\0", 32),
         "暗号化"},
        {"biff.xls", std::string("\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1", 8) + std::string(600, '\0'),
         "LibreOffice"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        testing::write_file(dir.file(c.name), c.bytes);
        auto app = create_application();
        auto book = app->workbooks().open(dir.file(c.name), false);
        ASSERT_FALSE(book);
        EXPECT_NE(book.error().message.find(c.expected), std::string::npos) << book.error().message;
        EXPECT_NE(book.error().message.find(c.name), std::string::npos) << book.error().message;
        EXPECT_EQ(app->workbooks().count(), 0);
    }
    auto app = create_application();
    auto missing = app->workbooks().open(dir.file("nothing.xlsx"), true);
    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error().code, Error::Code::NotFound);
}

// A BIFF record: id, length, data.
std::string record(unsigned id, const std::string& data) {
    std::string r;
    for (unsigned v : {id, static_cast<unsigned>(data.size())}) {
        r += static_cast<char>(v & 0xFF);
        r += static_cast<char>(v >> 8);
    }
    return r + data;
}

std::string container(const std::vector<std::pair<std::string, std::string>>& streams) {
    cfb::Node root;
    root.name = "Root Entry";
    root.storage = true;
    for (const auto& [name, data] : streams) root.stream(name).data = data;
    auto bytes = cfb::write(root);
    EXPECT_TRUE(bytes);
    return bytes ? *bytes : std::string();
}

TEST(EngineBadInput, encrypted_workbooks_are_told_apart_from_binary_ones) {
    const std::string bof = record(0x0809, std::string(16, '\x06'));
    const std::string eof = record(0x000A, "");
    // RC4 and XOR obfuscation both announce themselves with FILEPASS right after the BOF.
    const std::string rc4 = container({{"Workbook", bof + record(0x002F, std::string(54, '\x01')) +
                                                        record(0x0042, "\xA4\x03") + eof}});
    const std::string xor_obf =
        container({{"Book", bof + record(0x002F, std::string(6, '\0')) + eof}});
    const std::string plain = container({{"Workbook", bof + record(0x0042, "\xA4\x03") + eof +
                                                          record(0x002F, "after the globals")}});
    const std::string ooxml =
        container({{"EncryptionInfo", std::string(64, '\x04')}, {"EncryptedPackage", "x"}});
    EXPECT_TRUE(cfb::encrypted_workbook(rc4));
    EXPECT_TRUE(cfb::encrypted_workbook(xor_obf));
    EXPECT_TRUE(cfb::encrypted_workbook(ooxml));
    EXPECT_FALSE(cfb::encrypted_workbook(plain));

    EngineTempDir dir;
    for (const auto& [name, bytes, expected] :
         {std::tuple{"locked.xls", rc4, "パスワードで保護（暗号化）されたブックです"},
          std::tuple{"locked.xlsx", ooxml, "パスワードで保護（暗号化）されたブックです"},
          std::tuple{"plain.xls", plain, "LibreOffice"}}) {
        SCOPED_TRACE(name);
        testing::write_file(dir.file(name), bytes);
        auto app = create_application();
        auto book = app->workbooks().open(dir.file(name), false);
        ASSERT_FALSE(book);
        EXPECT_NE(book.error().message.find(expected), std::string::npos) << book.error().message;
    }
    // The corpus's password-protected workbooks, of every kind of protection, are told so.
    for (const char* name :
         {"olet-encrypted.xls", "olet-encrypted.xlsx", "olet-encrypted.xlsm",
          "sjs-password_2002_128_enhrsasc.xls", "sjs-password_2002_128_strong.xls",
          "sjs-password_2002_40_dhsc.xls", "sjs-password_2002_40_dss.xls",
          "sjs-password_2002_40_xor.xls"}) {
        const std::string path = testing::corpus(std::string("odd/") + name);
        if (!std::filesystem::exists(path)) continue;
        auto app = create_application();
        auto book = app->workbooks().open(path, true);
        ASSERT_FALSE(book) << name;
        EXPECT_NE(book.error().message.find("パスワードで保護（暗号化）されたブックです"),
                  std::string::npos)
            << name << ": " << book.error().message;
    }
    // No binary workbook of the corpus reads as encrypted.
    const std::string xls = testing::corpus("xls");
    if (!std::filesystem::exists(xls)) return;
    for (const auto& e : std::filesystem::directory_iterator(xls))
        EXPECT_FALSE(cfb::encrypted_workbook(testing::read_file(e.path().string())))
            << e.path();
}

TEST(EngineBadInput, a_damaged_sheet_is_reported_and_refuses_changes) {
    // Same length as the original part keeps the archive valid: the sheet's XML is cut short.
    std::string bytes = fixture_bytes();
    EngineTempDir dir;
    std::string path = dir.file("damaged.xlsx");
    {
        // Rewrite the sheet part through the package layer.
        auto pkg = Package::open_memory(bytes);
        ASSERT_TRUE(pkg);
        auto sheet = (*pkg)->read("xl/worksheets/sheet1.xml");
        ASSERT_TRUE(sheet);
        (*pkg)->write("xl/worksheets/sheet1.xml", sheet->substr(0, sheet->size() / 2));
        ASSERT_TRUE((*pkg)->save(path));
    }
    auto app = create_application();
    auto book = app->workbooks().open(path, false);
    ASSERT_TRUE(book) << book.error().message;  // the book itself opens
    Worksheet* ws = (*book)->worksheet(1);
    auto check = ws->check();
    ASSERT_FALSE(check);
    EXPECT_NE(check.error().message.find("データ"), std::string::npos);
    EXPECT_EQ(ws->cell_value({1, 1}), Value{});
    EXPECT_FALSE(ws->set_cell_value({1, 1}, 1.0));
    ReplaceOptions o;
    o.what = "a";
    o.replacement = "b";
    EXPECT_FALSE(ws->cells().replace(o));
    // The other sheet is fine, and a save keeps the damaged part as it was.
    EXPECT_EQ((*book)->worksheet(2)->cell_value({1, 2}), Value(2.0));
    ASSERT_TRUE((*book)->save_as(dir.file("again.xlsx"), xlOpenXMLWorkbook));
    EXPECT_EQ(testing::package_difference(path, dir.file("again.xlsx")), "");
}

TEST(EngineActivate, the_active_sheet_and_selected_tabs_follow_activate) {
    EngineTempDir dir;
    auto app = create_application();
    auto book =
        app->workbooks().open(std::string(SHEAFLOW_TEST_DATA_DIR) + "/engine/cells.xlsx", false);
    ASSERT_TRUE(book);
    ASSERT_TRUE((*book)->worksheet("Prefixed")->activate());
    ASSERT_TRUE((*book)->save_as(dir.file("a.xlsx"), xlOpenXMLWorkbook));
    auto pkg = Package::open_file(dir.file("a.xlsx"));
    ASSERT_TRUE(pkg);
    EXPECT_NE((*(*pkg)->read("xl/workbook.xml")).find("activeTab=\"2\""), std::string::npos);
    EXPECT_EQ((*(*pkg)->read("xl/worksheets/sheet1.xml")).find("tabSelected"), std::string::npos);
    EXPECT_NE((*(*pkg)->read("xl/worksheets/sheet2.xml")).find("tabSelected=\"1\""),
              std::string::npos);
    auto app2 = create_application();
    auto again = app2->workbooks().open(dir.file("a.xlsx"), true);
    ASSERT_TRUE(again);
    EXPECT_EQ((*again)->active_sheet()->name(), "Prefixed");
}

}  // namespace
}  // namespace sheaflow::xl::native
