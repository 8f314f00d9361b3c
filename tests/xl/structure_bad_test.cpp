// Sheet structure on workbooks whose structure is inconsistent: each case is handled or refused
// with a clear message, never a crash, and what is saved opens again.

#include <gtest/gtest.h>

#include "structure_helpers.h"
#include "util/text.h"

namespace sheaflow::testing {
namespace {

using Names = std::vector<std::string>;

// The structure fixture with some parts replaced (an empty text removes the part).
std::string damaged(EngineTempDir& dir, const std::string& name,
                    const std::vector<std::pair<std::string, std::string>>& parts) {
    auto pkg = xl::native::Package::open_file(structure_fixture());
    EXPECT_TRUE(pkg.has_value());
    for (const auto& [part, text] : parts) {
        if (text.empty())
            (*pkg)->remove(part);
        else
            (*pkg)->write(part, text);
    }
    std::string path = dir.file(name);
    EXPECT_TRUE((*pkg)->save(path).has_value());
    return path;
}

std::string fixture_part(const std::string& part) { return part_of(structure_fixture(), part); }

TEST(SheetStructureBadInput, SheetWithoutItsPartIsRefusedAtOpening) {
    EngineTempDir dir;
    std::string path = damaged(dir, "nopart.xlsx", {{"xl/worksheets/sheet4.xml", ""}});
    OpenBook b(path);
    EXPECT_EQ(b.book, nullptr);
    EXPECT_NE(b.error.find("Hidden"), std::string::npos) << b.error;
}

TEST(SheetStructureBadInput, DuplicateNamesCanBeRenamedAndDeleted) {
    EngineTempDir dir;
    std::string wb =
        text::replace_all(fixture_part("xl/workbook.xml"), "name=\"My Sheet\"", "name=\"DATA\"");
    OpenBook b(damaged(dir, "dup.xlsx", {{"xl/workbook.xml", wb}}));
    ASSERT_NE(b.book, nullptr) << b.error;
    // The duplicate cannot take a name in use, but a new one puts the workbook right.
    EXPECT_FALSE(b.book->sheet(2)->set_name("Summary").has_value());
    ASSERT_TRUE(b.book->sheet(2)->set_name("Second").has_value());
    EXPECT_EQ(b.names(), (Names{"Data", "Second", "Summary", "Hidden"}));
    ASSERT_TRUE(b.book->sheet(1)->delete_sheet().has_value());
    OpenBook again(b.save(), "again.xlsx");
    ASSERT_NE(again.book, nullptr) << again.error;
    EXPECT_EQ(again.names(), (Names{"Second", "Summary", "Hidden"}));
}

TEST(SheetStructureBadInput, DanglingRelationshipDoesNotStopCopiesOrDeletion) {
    EngineTempDir dir;
    std::string rels = text::replace_all(
        fixture_part("xl/worksheets/_rels/sheet2.xml.rels"), "</Relationships>",
        "<Relationship Id=\"rId9\" Type=\"http://schemas.openxmlformats.org/officeDocument/2006/"
        "relationships/drawing\" Target=\"../drawings/missing.xml\"/></Relationships>");
    OpenBook b(damaged(dir, "dangling.xlsx", {{"xl/worksheets/_rels/sheet2.xml.rels", rels}}));
    ASSERT_NE(b.book, nullptr) << b.error;
    auto within = b.ws("My Sheet").copy(nullptr, b.book->worksheet("Hidden"));
    ASSERT_TRUE(within.has_value()) << within.error().message;
    auto dest = b.app->workbooks().add();
    ASSERT_TRUE(dest.has_value());
    auto across = b.ws("My Sheet").copy((*dest)->worksheet(1), nullptr);
    ASSERT_TRUE(across.has_value()) << across.error().message;
    ASSERT_TRUE(b.ws("My Sheet").delete_sheet().has_value());
    OpenBook again(b.save(), "again.xlsx");
    ASSERT_NE(again.book, nullptr) << again.error;
    EXPECT_EQ(again.names(), (Names{"Data", "Summary", "Hidden", "My Sheet (2)"}));
    std::string other = b.dir.file("other.xlsx");
    ASSERT_TRUE((*dest)->save_as(other, xl::xlOpenXMLWorkbook).has_value());
    OpenBook copy(other, "copy.xlsx");
    ASSERT_NE(copy.book, nullptr) << copy.error;
    EXPECT_EQ(copy.ws("My Sheet").cell_value({2, 2}), xl::Value{10.0});
}

TEST(SheetStructureBadInput, UnreadableSheetIsNotCopiedAndOthersStillChange) {
    EngineTempDir dir;
    OpenBook b(damaged(dir, "broken.xlsx",
                       {{"xl/worksheets/sheet4.xml", "<worksheet><sheetData><row r=\"1\"><c"}}));
    ASSERT_NE(b.book, nullptr) << b.error;
    auto copied = b.ws("Hidden").copy(nullptr, b.book->worksheet("Hidden"));
    ASSERT_FALSE(copied.has_value());
    EXPECT_FALSE(copied.error().message.empty());
    // A rename still rewrites the readable sheets, and the broken one is kept as it was.
    ASSERT_TRUE(b.ws("Data").set_name("Numbers").has_value());
    EXPECT_EQ(b.ws("Summary").cell_formula({1, 1}), "=SUM(Numbers!A1:A3)+'My Sheet'!B2");
    std::string out = b.save();
    EXPECT_EQ(part_of(out, "xl/worksheets/sheet4.xml"), "<worksheet><sheetData><row r=\"1\"><c");
    ASSERT_TRUE(b.ws("Hidden").delete_sheet().has_value());
    OpenBook again(b.save("out2.xlsx"), "again.xlsx");
    ASSERT_NE(again.book, nullptr) << again.error;
    EXPECT_EQ(again.names(), (Names{"Numbers", "My Sheet", "Summary"}));
}

}  // namespace
}  // namespace sheaflow::testing
