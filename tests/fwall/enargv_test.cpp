#include "lib/fwall/enargv.h"

#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

using namespace std::string_view_literals;

// The result, then each argument behind a bar. Exactly sized arrays on the heap, so that a byte too
// far is seen.
static std::string split(std::string_view text, int capacity = 256, int size = 1024)
{
    static char untouched = '?';
    std::vector<char *> argv(static_cast<std::size_t>(capacity), &untouched);
    std::vector<char> buffer(static_cast<std::size_t>(size));
    std::string shown = std::to_string(enargv(text, argv.data(), capacity, buffer.data(), size));
    for (char *const *arg = argv.data(); *arg != nullptr; ++arg)
        shown += std::string("|") + *arg;
    return shown;
}

TEST(Enargv, SplitsInEveryState)
{
    static const struct {
        std::string_view text;
        const char *want;
    } cases[] = {
        {"", "0"},
        {"one  two\tthree\v\f\r\nfour ", "4|one|two|three|four"},
        {" ,\t,\x01\xff,one", "1|one"}, // the front is passed over
        {" ,\x01, ", "0"},
        {"a,b c ,d", "3|a,b|c|,d"},
        {"'',a", "1|,a"},
        {"a\x01g \x80 h\x7f", "2|ag|h"}, // unprintable is dropped, and no argument alone
        {"a\0b \0 'c\0d'"sv, "2|ab|cd"},
        {"a\\\0b \\x\0c \\\0"sv, "2|ab|xc"},
        {"a\"b c\"d", "1|ab cd"},
        {"\"it's\" '\"'", "2|it's|\""},
        {"\"\" '' x''", "3|||x"},
        {"'a'\"b\"", "1|ab"},
        {"' ,a\t'", "1| ,a\t"},
        {"'a\x02\x90g'", "1|ag"},
        {"a \"abc def", "2|a|abc def"}, // open to the end
        {"\"", "1|"},
        {"\\na\\tb", "1|\na\tb"},
        {"\\x\\\\y\\,", "1|x\\y\\,"},
        {"a \\ ", "2|a| "},
        {"a\\ b c", "2|a b|c"},
        {"\\a b", "1|a b"}, // what is behind an escape is taken as it is
        {"\\a  b", "2|a |b"},
        {"\\a\"b c\"", "2|a\"b|c"},
        {"\\a\\n", "1|a\\n"},
        {"\\a\x01g", "1|a\x01g"},
        {"x\\\x01", "1|x\x01"},
        {"'a\\'' b", "1|a'' b"},
        {"'a\\'b' c", "2|a'b|c"},
        {"\\, b", "1|, b"},
        {"a\\", "1|a"},
        {"a \\", "1|a"},
        {"'\\", "1|"},
        {"a\\n", "1|a\n"},
    };
    for (const auto &row : cases)
        EXPECT_EQ(split(row.text), row.want) << row.text;
}

TEST(Enargv, KeepsToTheVector)
{
    EXPECT_EQ(split("a b c", 4), "3|a|b|c");
    EXPECT_EQ(split("a b c d e f g", 4), "3|a|b|c");
    EXPECT_EQ(split("a ''", 2), "1|a");
    EXPECT_EQ(split("a \\b c", 2), "1|a");
    EXPECT_EQ(split("a b", 1), "0");
    EXPECT_EQ(enargv("a", nullptr, 0, nullptr, 0), -1);
    char *argv[1];
    EXPECT_EQ(enargv(static_cast<const char *>(nullptr), argv, 1, nullptr, 0), 0);
    EXPECT_EQ(argv[0], nullptr);
}

TEST(Enargv, RefusesWhatTheBufferDoesNotHold)
{
    EXPECT_EQ(split("ab c", 8, 5), "2|ab|c");
    EXPECT_EQ(split("ab c", 8, 4), "-1|ab"); // no room for the last terminator
    EXPECT_EQ(split("ab c", 8, 3), "-1|ab");
    EXPECT_EQ(split("ab c", 8, 2), "-1");
    EXPECT_EQ(split("ab\\c", 8, 2), "-1");
    EXPECT_EQ(split("\\abc", 8, 1), "-1");
    EXPECT_EQ(split("''", 8, 0), "-1");
    EXPECT_EQ(split(" , ", 8, 0), "0");
}
