#include "util/datetime.h"

#include <gtest/gtest.h>

namespace sheaflow::datetime {
namespace {

TEST(DateTime, WriteFormReadsBack) {
    auto t = parse("2023-11-30 23:59:58");
    ASSERT_TRUE(t);
    EXPECT_EQ(format(*t), "2023-11-30 23:59:58");
    EXPECT_EQ(format_write(*t), "#2023-11-30 23:59:58#");
    EXPECT_EQ(parse(format_write(*t)), t);
    auto midnight = parse("#2024-02-29#");
    ASSERT_TRUE(midnight);
    EXPECT_EQ(format_write(*midnight), "#2024-02-29#");
    EXPECT_EQ(parse("2024/2/29 7:05"), parse("2024-02-29 07:05:00"));
}

TEST(DateTime, RejectsWhatIsNoDate) {
    for (const char* bad :
         {"", "#", "2024-02-30 00:00:00", "2023-02-29", "2024-13-01", "2024-01-01 24:00:00",
          "2024-01-01x", "20240101", "2024-01-01 10", "2024-01/01", "abc"})
        EXPECT_FALSE(parse(bad)) << bad;
}

}  // namespace
}  // namespace sheaflow::datetime
