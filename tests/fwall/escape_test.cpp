#include "lib/fwall/escape.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

static const struct {
    const char *label, *source, *extra;
    int limit, count;
    const char *want;
} cases[] = {
    {"empty", "", ",", 10, 0, ""},
    {"null", nullptr, ",", 10, 0, ""},
    {"plain ends of the range", " ~", "", 10, 2, " ~"},
    {"outside the range", "\x1f\x7f\x80\xff\n", "", 20, 15, "%1F%7F%80%FF%0A"},
    {"percent", "a%b", "", 10, 5, "a%25b"},
    {"extras", "a,b;", ",;", 10, 8, "a%2Cb%3B"},
    {"no extras", "a,b", nullptr, 10, 3, "a,b"},
    {"one less than the limit", "abc", "", 5, 3, "abc"},
    {"just fits", "abcd", "", 5, 4, "abcd"},
    {"one more", "abcde", "", 5, 5, "abcd"},
    {"twice", "abcdefgh", "", 5, 8, "abcd"},
    {"escape just fits", "a,", ",", 5, 4, "a%2C"},
    {"escape does not fit", "ab,", ",", 5, 5, "ab"},
    {"nothing behind what does not fit", "ab,c", ",", 5, 6, "ab"},
    {"room for the terminator only", "a", "", 1, 1, ""},
    {"no room", "a", "", 0, 1, nullptr},
    {"negative", "a", "", -3, 1, nullptr},
};

TEST(HexescNonAsciiPlus, EscapesWithinItsLimit)
{
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        std::vector<char> buffer(static_cast<std::size_t>(std::max(row.limit, 1)), '?');
        EXPECT_EQ(hexescNonAsciiPlus(buffer.data(), row.source, row.limit, row.extra), row.count);
        if (row.want == nullptr)
            EXPECT_EQ(buffer[0], '?');
        else
            EXPECT_STREQ(buffer.data(), row.want);
    }
}

TEST(HexescNonAscii, LeavesCommas)
{
    char buffer[16];
    EXPECT_EQ(hexescNonAscii(buffer, "a,b\t%", sizeof buffer), 9);
    EXPECT_STREQ(buffer, "a,b%09%25");
}
