#include "xl/native/numfmt.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <thread>
#include <vector>

namespace numfmt = sheaflow::xl::native::numfmt;

namespace {

struct Row {
    double value;
    std::string code;
    std::string expected;
    bool date1904 = false;
};

void check_rows(const std::vector<Row>& rows) {
    for (const Row& r : rows) {
        EXPECT_EQ(numfmt::format_number(r.value, r.code, r.date1904), r.expected)
            << "value " << r.value << " code " << r.code;
    }
}

TEST(numfmt_test, general_fits_eleven_characters) {
    check_rows({
        {0, "General", "0"},
        {123, "General", "123"},
        {-123, "General", "-123"},
        {2.5, "", "2.5"},
        {2.5, "G/標準", "2.5"},
        {12345678901, "General", "12345678901"},
        {-12345678901, "General", "-12345678901"},
        {123456789012, "General", "1.23457E+11"},
        {-123456789012, "General", "-1.23457E+11"},
        {1e11, "General", "1E+11"},
        {99999999999.6, "General", "1E+11"},
        {1234567890.12, "General", "1234567890"},
        {1234567.891234, "General", "1234567.891"},
        {0.123456789012, "General", "0.123456789"},
        {0.1 + 0.2, "General", "0.3"},
        {0.0001, "General", "0.0001"},
        {0.00001, "General", "1E-05"},
        {0.0000123, "General", "1.23E-05"},
        {1e100, "General", "1E+100"},
        {1e-100, "General", "1E-100"},
        {-1e-10, "General", "-1E-10"},
        {9.9999999e20, "General", "1E+21"},  // the mantissa rounds up to 10
        {99999999999, "General", "99999999999"},
        {1.23456789012345, "General", "1.23456789"},
        {123456.123456, "General", "123456.1235"},
        {-0.5, "General", "-0.5"},
        {5, "[Red]General", "5"},
        {-5, "General;(General)", "(5)"},
    });
}

TEST(numfmt_test, fixed_decimals_round_half_away_from_zero) {
    check_rows({
        {1234.5, "0", "1235"},
        {-1234.5, "0", "-1235"},
        {2.675, "0.00", "2.68"},  // the double is just below 2.675
        {1.005, "0.00", "1.01"},
        {-0.4, "0", "-0"},
        {1.5, "0.00", "1.50"},
        {0.5, "#.##", ".5"},
        {0.5, "0.0#", "0.5"},
        {5, "0.0?", "5.0 "},
        {1e20, "0", "100000000000000000000"},
        {1234567890123456789.0, "0", "1234567890123460000"},
        {12, "00000", "00012"},
        {1234567, "000-0000", "123-4567"},
        {1.2, "???.??", "  1.2 "},
        {12, "???", " 12"},
        // Only 15 significant digits exist; the rest are zeros.
        {0.1 + 0.2, "0.00000000000000000", "0.30000000000000000"},
        {1.0 / 3, "0.000000000000000000", "0.333333333333333000"},
    });
}

TEST(numfmt_test, thousands_scaling_and_percent) {
    check_rows({
        {1234567.891, "#,##0.00", "1,234,567.89"},
        {-1234567.891, "#,##0", "-1,234,568"},
        {0, "#,##0", "0"},
        {999, "#,##0", "999"},
        {5, "0,000", "0,005"},
        {1234567, "#,##0,", "1,235"},
        {1234567, "0.0,,", "1.2"},
        {12345, "0,.0", "12.3"},
        {-1234567, "#,##0,,\"百万\"", "-1百万"},
        {123, "#,##0,\"千円\"", "0千円"},
        {0.125, "0.0%", "12.5%"},
        {0.07, "0%", "7%"},
        {-0.5, "0%", "-50%"},
    });
}

TEST(numfmt_test, scientific_and_engineering) {
    check_rows({
        {12345, "0.00E+00", "1.23E+04"},
        {0.00012345, "0.00E+00", "1.23E-04"},
        {-12345, "0.00E+00", "-1.23E+04"},
        {0, "0.00E+00", "0.00E+00"},
        {9.999, "0.00E+00", "1.00E+01"},
        {12345, "0.0E-0", "1.2E4"},
        {12345, "##0.0E+0", "12.3E+3"},
        {0.001234, "##0.0E+0", "1.2E-3"},
        {1234567, "##0.0E+0", "1.2E+6"},
    });
}

TEST(numfmt_test, fractions) {
    check_rows({
        {1.5, "# ?/?", "1 1/2"},
        {-1.25, "# ?/?", "-1 1/4"},
        {3.14159, "# ?\?/??", "3 14/99"},
        {0.3, "?/8", "2/8"},
        {2.5, "?/?", "5/2"},
        {5, "# ?/?", "5    "},
        {1.99, "# ?/?", "2    "},
        {0.5, "# ?\?/??", "  1/2 "},
        {0.25, "0/100", "25/100"},
        {-0.5, "?/?", "-1/2"},
        {0.5, "0 ?/?", "0 1/2"},
    });
}

// Long denominators are found through the continued fraction, not by trying each one: the result
// must still be the closest fraction that fits, checked here by brute force up to 99,999.
TEST(numfmt_test, long_denominators_give_the_closest_fraction) {
    for (double x : {0.1428571, 0.3183099, 0.7071067811, 0.0001234, 0.999991, 0.5}) {
        std::string text = numfmt::format_number(x, "????\?/?????");
        auto slash = text.find('/');
        ASSERT_NE(slash, std::string::npos) << x << " -> " << text;
        double p = std::stod(text.substr(0, slash));
        double q = std::stod(text.substr(slash + 1));
        ASSERT_LE(q, 99999) << text;
        double best = 1;
        for (int d = 1; d <= 99999; ++d) {
            double n = std::round(x * d);
            best = std::min(best, std::fabs(x - n / d));
        }
        EXPECT_LE(std::fabs(x - p / q), best + 1e-12) << x << " -> " << text;
    }
}

TEST(numfmt_test, sections_and_minus_sign) {
    check_rows({
        {-5, "0;(0)", "(5)"},
        {-5, "0;0", "5"},
        {-1.5, "0.00;0.00", "1.50"},
        {-1234, "#,##0;[Red]-#,##0", "-1,234"},
        {-1234, "#,##0;[赤]\\-#,##0", "-1,234"},
        {0, "0;-0;\"zero\"", "zero"},
        {0.001, "0;-0;\"zero\"", "0"},
        {-0.001, "0;(0);\"zero\"", "(0)"},
        {0, "0;-0;;@", ""},
        {5, "0;-0;;@", "5"},
        {-5, "0;;", ""},
        {5, "@", "5"},
        {-5, "\"x\"@", "-5"},
        {5, "\"Total \"0", "Total 5"},
    });
}

TEST(numfmt_test, conditions) {
    check_rows({
        {150, "[>=100]0.0;0", "150.0"},
        {50, "[>=100]0.0;0", "50"},
        {-50, "[>=100]0.0;0", "-50"},
        {-5, "[>=100]0.0;[<0]\"(\"0\")\";0", "(5)"},
        {5, "[>=100]0.0;[<0]\"(\"0\")\";0", "5"},
        {150, "[Red][<=100]0;[Blue][>100]\"big \"0", "big 150"},
        {100, "[Red][<=100]0;[Blue][>100]\"big \"0", "100"},
        {2500000, "[>=1000000]0.0,,\"M\";[>=1000]0,\"K\";0", "2.5M"},
        {2500, "[>=1000000]0.0,,\"M\";[>=1000]0,\"K\";0", "3K"},
        {-7, "[>=1000000]0.0,,\"M\";[>=1000]0,\"K\";0", "-7"},
        {-3, "[<=-1]0;0", "3"},
        {5, "[=5]\"five\";0", "five"},
        {6, "[=5]\"five\";0", "6"},
        {5, "[<>5]\"other\";\"five\"", "five"},
        {0.5, "[<0.75]\"low\";\"high\"", "low"},
        // A value that no section admits cannot be shown.
        {5, "[>=100]0", "#######"},
    });
}

TEST(numfmt_test, literals_escapes_padding_and_currency) {
    check_rows({
        {5, "[Color10]0\"円\"", "5円"},
        {5, "\\$0", "$5"},
        {5, "$0", "$5"},
        {5, "0_)", "5 "},
        {-5, "0_);(0)", "(5)"},
        {5, "**0", "5"},
        {1234, "[$¥-411]#,##0", "¥1,234"},
        {-1234, "[$¥-411]#,##0", "-¥1,234"},
        {1234, "[$USD-409] #,##0.00", "USD 1,234.00"},
        {1234, numfmt::builtin_code(42), " ¥1,234 "},
        {-1234, numfmt::builtin_code(6), "¥-1,234"},
        {0, numfmt::builtin_code(41), " - "},
        {5, "0 \"a;b\"", "5 a;b"},
        {5, "0\\;0", "0;5"},  // an escaped literal between placeholders
        {5, "0\\;\\x", "5;x"},
    });
}

TEST(numfmt_test, odd_codes_render_without_failing) {
    check_rows({
        {5, "\"abc", "abc"},
        {5, "0\\", "5"},
        {5, "0_", "5 "},
        {5, "0*", "5"},
        {5, "[Red", ""},
        {5, ";;;", ""},
        {5, "0;0;0;0;0", "5"},
        {5, "abc", "abc"},
        {5, "[$-411]", ""},
        {1e300, "0", "1" + std::string(300, '0')},
        {1e300, "yyyy", "#######"},
        {45293, "yyyy\"年\"", "2024年"},
    });
}

TEST(numfmt_test, dates_and_names) {
    check_rows({
        {45293, "yyyy/m/d", "2024/1/2"},
        {45293, "yyyy/mm/dd", "2024/01/02"},
        {45293, "yy/m/d", "24/1/2"},
        {45293.5, "yyyy/m/d h:mm", "2024/1/2 12:00"},
        {45293, "d-mmm-yy", "2-Jan-24"},
        {45293, "mmmm", "January"},
        {45293, "mmmmm", "J"},
        {45293, "ddd", "Tue"},
        {45293, "dddd", "Tuesday"},
        {45293, "aaa", "火"},
        {45293, "(aaaa)", "(火曜日)"},
        {45293, "[$-411]ddd", "火"},
        {45293, "[$-411]mmm", "1月"},
        {45293.123456789, "yyyy-mm-dd hh:mm:ss.000", "2024-01-02 02:57:46.667"},
        {45293, numfmt::builtin_code(14), "2024/1/2"},
        {45293, numfmt::builtin_code(31), "2024年1月2日"},
        {45293, numfmt::builtin_code(35), "1月2日"},
        {45293, "[$-F800]dddd, mmmm dd, yyyy", "2024年1月2日"},
        {45293.5, "[$-x-sysdate]dddd, mmmm dd, yyyy", "2024年1月2日"},
    });
}

TEST(numfmt_test, times_and_elapsed) {
    const double second = 1.0 / 86400;
    check_rows({
        {0.75, "h:mm AM/PM", "6:00 PM"},
        {0, "h:mm AM/PM", "12:00 AM"},
        {0.5, "h:mm A/P", "12:00 P"},
        {0.25, "hh:mm a/p", "06:00 a"},
        {0.25, "午前/午後h\"時\"mm\"分\"", "午前6時00分"},
        {0.75, "[$-411]AM/PM h:mm", "午後 6:00"},
        {0.5, "[$-F400]h:mm:ss AM/PM", "12:00:00"},
        {0.75, "[$-x-systime]h:mm:ss AM/PM", "18:00:00"},
        {3905 * second, "h:m", "1:5"},
        {3905 * second, "h:mm:ss", "1:05:05"},
        {65 * second, "mm:ss", "01:05"},
        {65 * second, "m:s", "1:5"},
        {45293, "m/d", "1/2"},
        {45293 + 3905 * second, "yyyy/m/d h:mm", "2024/1/2 1:05"},
        {1.5, "[h]:mm:ss", "36:00:00"},
        {900 * second, "[mm]:ss", "15:00"},
        {150 * second, "[s]", "150"},
        {1.234 * second, "ss.00", "01.23"},
        {61.26 * second, numfmt::builtin_code(47), "01:01.3"},
        {45292.9999999, "yyyy/m/d h:mm:ss", "2024/1/2 0:00:00"},
        {29.6 * second, "h:mm:ss", "0:00:30"},
        {45293.99999999, "yyyy/m/d", "2024/1/3"},
        {0.5, "h:mm:ss AM/PM", "12:00:00 PM"},
        {13.0 / 24, "hh AM/PM", "01 PM"},
        {1.75, "h", "18"},
    });
}

TEST(numfmt_test, date_systems_and_limits) {
    check_rows({
        {60, "yyyy/m/d", "1900/2/29"},
        {59, "yyyy/m/d", "1900/2/28"},
        {61, "yyyy/m/d", "1900/3/1"},
        {0, "yyyy/m/d", "1900/1/0"},
        {1, "yyyy/m/d dddd", "1900/1/1 Sunday"},
        {61, "ddd", "Thu"},
        {0, "yyyy/m/d", "1904/1/1", true},
        {0, "ddd", "Fri", true},
        {45293 - 1462, "yyyy/m/d", "2024/1/2", true},
        {2958465, "yyyy/m/d", "9999/12/31"},
        {2958466, "yyyy/m/d", "#######"},
        {-1, "yyyy/m/d", "#######"},
        {-0.5, "h:mm", "#######"},
        {-0.5, "h:mm", "-12:00", true},
    });
}

TEST(numfmt_test, japanese_eras_at_their_boundaries) {
    const char* long_era = "[$-411]ggge\"年\"m\"月\"d\"日\"";
    check_rows({
        {45293, long_era, "令和6年1月2日"},
        {45293, numfmt::builtin_code(27), "R6.1.2"},
        {45293, "[$-411]gge", "令6"},
        {45293, "[$-411]ggg ee", "令和 06"},
        {43586, long_era, "令和1年5月1日"},
        {43585, long_era, "平成31年4月30日"},
        {32516, long_era, "平成1年1月8日"},
        {32515, long_era, "昭和64年1月7日"},
        {9856, long_era, "昭和1年12月25日"},
        {9855, long_era, "大正15年12月24日"},
        {4595, long_era, "大正1年7月30日"},
        {4594, long_era, "明治45年7月29日"},
        {1, long_era, "明治33年1月1日"},
        {43586, "[$-ja-JP-x-gannen]ggge\"年\"", "令和元年"},
        {43586 - 1462, long_era, "令和1年5月1日", true},
    });
}

TEST(numfmt_test, text_cells) {
    EXPECT_EQ(numfmt::format_text("abc", "General"), "abc");
    EXPECT_EQ(numfmt::format_text("abc", "0.00"), "abc");
    EXPECT_EQ(numfmt::format_text("abc", "@"), "abc");
    EXPECT_EQ(numfmt::format_text("abc", "\"名前:\"@"), "名前:abc");
    EXPECT_EQ(numfmt::format_text("abc", "0;0;0;\"[\"@\"]\""), "[abc]");
    EXPECT_EQ(numfmt::format_text("abc", "0;-0;0;"), "");
    EXPECT_EQ(numfmt::format_text("abc", ";;;"), "");
    EXPECT_EQ(numfmt::format_text("abc", "0;-0;0"), "abc");
    EXPECT_EQ(numfmt::format_text("abc", "h:mm;@"), "abc");
    EXPECT_EQ(numfmt::format_text("abc", numfmt::builtin_code(44)), " abc ");
}

TEST(numfmt_test, date_codes_are_recognised) {
    struct Case {
        const char* code;
        bool date;
    };
    for (const Case& c : std::vector<Case>{
             {"yyyy/m/d", true},
             {"[h]:mm", true},
             {"h:mm;@", true},
             {"[$-411]ggge\"年\"", true},
             {"aaa", true},
             {"General", false},
             {"0.00E+00", false},
             {"\"d\"0", false},
             {"0;@", false},
             {"[Red]#,##0", false},
             {"\\h0", false},
             {"@", false},
         }) {
        EXPECT_EQ(numfmt::is_date_code(c.code), c.date) << c.code;
    }
}

TEST(numfmt_test, builtin_and_local_codes) {
    EXPECT_EQ(numfmt::builtin_code(0), "General");
    EXPECT_EQ(numfmt::builtin_code(14), "yyyy/m/d");
    EXPECT_EQ(numfmt::builtin_code(58), numfmt::builtin_code(28));
    EXPECT_EQ(numfmt::builtin_code(57), numfmt::builtin_code(27));
    EXPECT_EQ(numfmt::builtin_code(49), "@");
    EXPECT_EQ(numfmt::builtin_code(100), "");
    EXPECT_EQ(numfmt::builtin_code(-1), "");

    EXPECT_EQ(numfmt::local_code("General"), "G/標準");
    EXPECT_EQ(numfmt::local_code("#,##0;[Red]-#,##0"), "#,##0;[赤]-#,##0");
    EXPECT_EQ(numfmt::local_code("[Color10]0;[BLUE]0"), "[色10]0;[青]0");
    EXPECT_EQ(numfmt::local_code("\"General\"0"), "\"General\"0");
    EXPECT_EQ(numfmt::local_code("[$-411]ggge\"年\""), "[$-411]ggge\"年\"");
    // The local form renders like the original.
    EXPECT_EQ(numfmt::format_number(-3, numfmt::local_code("General;[Red]\\-General")), "-3");
}

TEST(numfmt_test, compiled_format_matches_free_functions) {
    auto f = numfmt::CompiledFormat::compile("#,##0.0;[Red](#,##0.0);\"-\";@\"様\"");
    EXPECT_EQ(f.render(1234.56), "1,234.6");
    EXPECT_EQ(f.render(-1234.56), "(1,234.6)");
    EXPECT_EQ(f.render(0), "-");
    EXPECT_EQ(f.render_text("山田"), "山田様");
    EXPECT_FALSE(f.is_date());
    EXPECT_TRUE(numfmt::CompiledFormat::compile("yyyy").is_date());
    EXPECT_EQ(numfmt::CompiledFormat().render(123456789012), "1.23457E+11");
}

TEST(numfmt_test, cache_survives_many_distinct_codes) {
    EXPECT_EQ(numfmt::format_number(1.5, "0.00"), "1.50");
    for (int i = 0; i < 5000; ++i) {
        std::string code = "0\"" + std::to_string(i) + "\"";
        ASSERT_EQ(numfmt::format_number(7, code), "7" + std::to_string(i));
    }
    EXPECT_EQ(numfmt::format_number(1.5, "0.00"), "1.50");
}

// Each thread keeps its own cache of compiled codes.
TEST(numfmt_test, threads_render_the_same_codes) {
    std::vector<std::thread> threads;
    std::vector<int> wrong(4, 0);
    for (std::size_t t = 0; t < wrong.size(); ++t) {
        threads.emplace_back([&wrong, t] {
            for (int i = 0; i < 2000; ++i) {
                wrong[t] += numfmt::format_number(-1234.5, "#,##0.0;[Red](#,##0.0)") != "(1,234.5)";
                wrong[t] += numfmt::format_number(45293, "yyyy/m/d") != "2024/1/2";
            }
        });
    }
    for (std::thread& th : threads) th.join();
    EXPECT_EQ(wrong, std::vector<int>(4, 0));
}

}  // namespace
