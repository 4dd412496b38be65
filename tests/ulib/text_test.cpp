#include "lib/ulib/text.h"

#include <climits>
#include <gtest/gtest.h>

TEST(Numbers, AreReadFromTheFront)
{
    static const struct {
        const char *label;
        std::string_view text;
        long want;
        std::string_view rest;
        std::int32_t lenient;
    } cases[] = {
        {"plain", "20", 20, "", 20},
        {"rest", "20 x", 20, " x", 20},
        {"white space before", " \t\n\v\f\r7", 7, "", 7},
        {"plus", "+7", 7, "", 7},
        {"minus", "-7a", -7, "a", -7},
        {"two signs", "+-7", 0, "+-7", 0},
        {"blank behind the sign", "- 7", 0, "- 7", 0},
        {"sign only", " -", 0, " -", 0},
        {"no digits", "x7", 0, "x7", 0},
        {"empty", "", 0, "", 0},
        {"decimal only", "0x10", 0, "x10", 0},
        {"leading zeros", "0010", 10, "", 10},
        {"32 bits, highest", "2147483647", 2147483647, "", INT_MAX},
        {"32 bits, above", "2147483648", 2147483648, "", INT_MAX},
        {"32 bits, lowest", "-2147483648", -2147483648, "", INT_MIN},
        {"32 bits, below", "-2147483649", -2147483649, "", INT_MIN},
        {"highest", "9223372036854775807", LONG_MAX, "", INT_MAX},
        {"above", "9223372036854775808!", LONG_MAX, "!", INT_MAX},
        {"far above", "99999999999999999999990", LONG_MAX, "", INT_MAX},
        {"lowest", "-9223372036854775808", LONG_MIN, "", INT_MIN},
        {"below", "-9223372036854775809", LONG_MIN, "", INT_MIN},
        {"digit below zero", "7/", 7, "/", 7},
        {"digit above nine", "7:", 7, ":", 7},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        std::string_view text = row.text;
        EXPECT_EQ(take_number(text), row.want);
        EXPECT_EQ(text, row.rest);
        EXPECT_EQ(lenient_number(row.text), row.lenient);
    }
}

TEST(Words, CompareWithoutCase)
{
    static const struct {
        std::string_view a, b;
        bool same, begins;
    } cases[] = {
        {"Any", "aNY", true, true},
        {"any", "an", false, true},
        {"an", "any", false, false},
        {"", "", true, true},
        {"any", "", false, true},
        {"@[`{", "`{@[", false, false}, // the neighbours of the letters
        {"\xc4", "\xe4", false, false}, // letters in other alphabets only
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(std::string(row.a) + " " + std::string(row.b));
        EXPECT_EQ(same_word(row.a, row.b), row.same);
        EXPECT_EQ(begins_with_word(row.a, row.b), row.begins);
    }
}

TEST(TakePrefix, RemovesItOnlyWhenThere)
{
    std::string_view text = "net.10";
    EXPECT_FALSE(take_prefix(text, "Net."));
    EXPECT_EQ(text, "net.10");
    EXPECT_TRUE(take_prefix(text, "net."));
    EXPECT_EQ(text, "10");
    EXPECT_FALSE(take_prefix(text, "100"));
    EXPECT_EQ(text_of(nullptr), "");
}
