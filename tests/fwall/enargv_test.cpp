#include "lib/fwall/enargv.h"

#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

using namespace std::string_view_literals;
using words = std::vector<std::string>;

// Exactly sized arrays on the heap, so that a byte too far is seen.
struct scanned {
    std::vector<char *> argv;
    std::vector<char> buffer;
    int argc;

    scanned(std::string_view text, int capacity, int size)
        : argv(static_cast<std::size_t>(capacity), &untouched),
          buffer(static_cast<std::size_t>(size)),
          argc(enargv(text, argv.data(), capacity, buffer.data(), size))
    {
    }

    words arguments() const
    {
        words found;
        for (char *const *arg = argv.data(); *arg != nullptr; ++arg)
            found.emplace_back(*arg);
        return found;
    }

    static inline char untouched = '?';
};

TEST(Enargv, SplitsInEveryState)
{
    static const struct {
        const char *label;
        std::string_view text;
        words want;
    } cases[] = {
        {"empty", "", {}},
        {"words", "one two\tthree\v\f\r\nfour", {"one", "two", "three", "four"}},
        {"front is passed over", " ,\t,\x01\xff,one", {"one"}},
        {"nothing but a front", " ,\x01, ", {}},
        {"comma behind the front", "a,b c ,d", {"a,b", "c", ",d"}},
        {"comma behind a quote that opens the text", "'',a", {",a"}},
        {"runs of white space", "  a   b  ", {"a", "b"}},
        {"unprintable is dropped",
         "a\x01"
         "b \x80 c\x7f",
         {"ab", "c"}},
        {"zero bytes too", "a\0b \0 'c\0d'"sv, {"ab", "cd"}},
        {"and behind a backslash", "a\\\0b \\x\0c \\\0"sv, {"ab", "xc"}},
        {"unprintable is no argument", "a \x01\x02 b", {"a", "b"}},
        {"quotes join", "a\"b c\"d", {"ab cd"}},
        {"the other quote inside", "\"it's\" '\"'", {"it's", "\""}},
        {"empty ones", "\"\" '' x''", {"", "", "x"}},
        {"quote joins a quote", "'a'\"b\"", {"ab"}},
        {"white space and commas in a quote", "' ,a\t'", {" ,a\t"}},
        {"unprintable in a quote",
         "'a\x02\x90"
         "b'",
         {"ab"}},
        {"open to the end", "a \"abc def", {"a", "abc def"}},
        {"lone quote", "\"", {""}},
        {"newline and tab", "\\na\\tb", {"\na\tb"}},
        {"other escapes", "\\x\\\\y\\,", {"x\\y\\,"}},
        {"escaped blank begins an argument", "a \\ ", {"a", " "}},
        {"escaped blank joins", "a\\ b c", {"a b", "c"}},
        {"behind an escape: white space", "\\a b", {"a b"}},
        {"behind an escape: the test is back", "\\a  b", {"a ", "b"}},
        {"behind an escape: a quote", "\\a\"b c\"", {"a\"b", "c"}},
        {"behind an escape: a backslash", "\\a\\n", {"a\\n"}},
        {"two backslash pairs", "\\\\\\\\", {"\\\\"}},
        {"behind an escape: unprintable",
         "\\a\x01"
         "b",
         {"a\x01"
          "b"}},
        {"escaped unprintable", "x\\\x01", {"x\x01"}},
        {"escaped quote in a quote, its end lost", "'a\\'' b", {"a'' b"}},
        {"escaped quote in a quote", "'a\\'b' c", {"a'b", "c"}},
        {"escape at the front", "\\, b", {", b"}},
        {"backslash at the end", "a\\", {"a"}},
        {"backslash at the end of nothing", "a \\", {"a"}},
        {"lone backslash", "\\", {}},
        {"backslash at the end of a quote", "'\\", {""}},
        {"escape at the end", "a\\n", {"a\n"}},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        const scanned got(row.text, 256, 1024);
        EXPECT_EQ(got.argc, static_cast<int>(row.want.size()));
        EXPECT_EQ(got.arguments(), row.want);
    }
}

TEST(Enargv, KeepsToTheVector)
{
    static const struct {
        const char *label, *text;
        int capacity;
        words want;
    } cases[] = {
        {"one less", "a b", 4, {"a", "b"}},
        {"just fits", "a b c", 4, {"a", "b", "c"}},
        {"one more", "a b c d", 4, {"a", "b", "c"}},
        {"twice", "a b c d e f g", 4, {"a", "b", "c"}},
        {"an empty one is too many", "a ''", 2, {"a"}},
        {"an escape is too many", "a \\b c", 2, {"a"}},
        {"white space is none", "a  ", 2, {"a"}},
        {"room for the null only", "a b", 1, {}},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        const scanned got(row.text, row.capacity, 64);
        EXPECT_EQ(got.argc, static_cast<int>(row.want.size()));
        EXPECT_EQ(got.arguments(), row.want);
    }
    EXPECT_EQ(enargv("a", nullptr, 0, nullptr, 0), -1);
    char *argv[1] = {&scanned::untouched};
    const char *const nothing = nullptr;
    EXPECT_EQ(enargv(nothing, argv, 1, nullptr, 0), 0);
    EXPECT_EQ(argv[0], nullptr);
}

TEST(Enargv, RefusesWhatTheBufferDoesNotHold)
{
    static const struct {
        const char *label, *text;
        int size, argc;
        words want;
    } cases[] = {
        {"exactly", "ab c", 5, 2, {"ab", "c"}},
        {"no room for the last terminator", "ab c", 4, -1, {"ab"}},
        {"no room for the last character", "ab c", 3, -1, {"ab"}},
        {"no room for the first terminator", "ab c", 2, -1, {}},
        {"no room for an escape", "ab\\c", 2, -1, {}},
        {"no room behind an escape", "\\abc", 1, -1, {}},
        {"no room for an empty one", "''", 0, -1, {}},
        {"nothing needs none", " , ", 0, 0, {}},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        const scanned got(row.text, 8, row.size);
        EXPECT_EQ(got.argc, row.argc);
        EXPECT_EQ(got.arguments(), row.want);
    }
}
