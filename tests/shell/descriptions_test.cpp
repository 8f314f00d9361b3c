// Every catalogue entry is described in one line; all-sheets entries borrow their base entry's.
#include <gtest/gtest.h>

#include "shell/catalogue.h"
#include "shell/descriptions.h"

namespace sheaflow::shell {
namespace {

TEST(Descriptions, every_entry_has_one_line) {
    for (const OperationDecl& d : declarations()) {
        const std::string text = description(d.category, d.name);
        if (d.is_separator()) {
            EXPECT_EQ(text, "");
            continue;
        }
        EXPECT_FALSE(text.empty()) << d.category << " " << d.name;
        EXPECT_EQ(text.find('\n'), std::string::npos) << d.name;
    }
}

TEST(Descriptions, all_sheets_entries_and_destructive_ones_say_so) {
    EXPECT_EQ(description("すべてのシート_セル", "文字列置換"),
              description("セル", "文字列置換") + "（すべてのワークシートが対象）");
    for (const char* name : {"削除", "不要なシートを一括削除", "選択したシート以外、削除"})
        EXPECT_NE(description("シート", name).find("元に戻せません"), std::string::npos) << name;
    EXPECT_EQ(description("セル", "無い処理"), "");
}

}  // namespace
}  // namespace sheaflow::shell
