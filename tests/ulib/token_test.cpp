#include "lib/ulib/token.h"

#include "lib/ulib/strlist.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

TEST(Tokens, SplitsIntoWords)
{
    static const struct {
        const char *label, *text, *delimiter;
        std::vector<std::string> want;
    } cases[] = {
        {"blanks", "one two", " ", {"one", "two"}},
        {"one word", "one", " ", {"one"}},
        {"tabs beside the delimiter", "one\ttwo three", " ", {"one", "two", "three"}},
        {"a run is one separator", "one \t  two", " ", {"one", "two"}},
        {"front", "  one", " ", {"one"}},
        {"separator at the end", "one two ", " ", {"one", "two", ""}},
        {"run at the end", "one \t ", " ", {"one", ""}},
        {"separators only", " \t", " ", {""}},
        {"only the first character of the delimiter", "a.b,c", ".,", {"a", "b,c"}},
        {"no blank without a delimiter", "a b\tc", "", {"a b", "c"}},
        {"null delimiter", "a b\tc", nullptr, {"a b", "c"}},
        {"a line end is no separator", "a\nb", " ", {"a\nb"}},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        int count = -1;
        const heap_strlist list(tokens(row.text, row.delimiter, &count));
        ASSERT_NE(list, nullptr);
        ASSERT_EQ(count, static_cast<int>(row.want.size()));
        for (std::size_t i = 0; i < row.want.size(); ++i)
            EXPECT_EQ(list[i], row.want[i]);
        EXPECT_EQ(list[row.want.size()], nullptr);
    }
}

TEST(Tokens, GivesNoListForNoText)
{
    int count = 7;
    EXPECT_EQ(tokens(nullptr, " ", &count), nullptr);
    EXPECT_EQ(tokens("", " ", &count), nullptr);
    EXPECT_EQ(count, 7);
    const heap_strlist list(tokens("no counter", " ", nullptr));
    EXPECT_STREQ(list[1], "counter");
}

// Runs into the time limit of the whole program when the time grows with the square of the words.
TEST(Tokens, SplitsAVeryLongText)
{
    constexpr int WORDS = 2'000'000;
    std::string text;
    for (int i = 0; i < WORDS; ++i)
        text += "w ";
    int count = 0;
    const heap_strlist list(tokens(text.c_str(), " ", &count));
    EXPECT_EQ(count, WORDS + 1);
    EXPECT_STREQ(list[WORDS - 1], "w");
    EXPECT_STREQ(list[WORDS], "");
}

TEST(Getsep, SplitsAtTheFirstSeparator)
{
    static const struct {
        const char *label, *text, *separator;
        int rc;
        const char *left, *right;
    } cases[] = {
        {"key and value", "key=value", "=", 0, "key", "value"},
        {"first of several", "a=b=c", "=", 0, "a", "b=c"},
        {"two characters", "a::b", "::", 0, "a", ":b"},
        {"only half of the separator", "a:b", "::", 0, "a:b", ""},
        {"not found", "abc", "=", 0, "abc", ""},
        {"at the front", "=b", "=", 0, "", "b"},
        {"at the end", "a=", "=", 0, "a", ""},
        {"empty separator", "abc", "", 0, "", "bc"},
        {"null separator", "abc", nullptr, 0, "abc", ""},
        {"empty text", "", "=", -1, "", ""},
        {"null text", nullptr, "=", -1, "", ""},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        char *left = nullptr;
        char *right = nullptr;
        EXPECT_EQ(getsep(row.text, row.separator, &left, &right), row.rc);
        EXPECT_STREQ(left, row.left);
        EXPECT_STREQ(right, row.right);
    }
}

TEST(Getsep, CutsEachPartAtItsBuffer)
{
    static const struct {
        const char *label;
        std::size_t length, want;
    } cases[] = {
        {"fits", 1022, 1022},
        {"just fits", 1023, 1023},
        {"one too long", 1024, 1023},
        {"twice", 2048, 1023},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        char *left = nullptr;
        char *right = nullptr;
        const std::string a(row.length, 'a');
        const std::string b(row.length, 'b');
        EXPECT_EQ(getsep((a + "=" + b).c_str(), "=", &left, &right), 0);
        EXPECT_EQ(left, a.substr(0, row.want));
        EXPECT_EQ(right, b.substr(0, row.want));
        EXPECT_EQ(getsep(a.c_str(), "=", &left, &right), 0);
        EXPECT_EQ(left, a.substr(0, row.want));
        EXPECT_STREQ(right, "");
    }
}

TEST(Getsep, TakesItsOwnResultsApart)
{
    char *left = nullptr;
    char *right = nullptr;
    getsep("one,two,three", ",", &left, &right);
    getsep(right, ",", &left, &right);
    EXPECT_STREQ(left, "two");
    EXPECT_STREQ(right, "three");
    getsep("xx-one-two=rest", "=", &left, &right);
    getsep(left + 3, "-", &left, &right);
    EXPECT_STREQ(left, "one");
    EXPECT_STREQ(right, "two");
}
