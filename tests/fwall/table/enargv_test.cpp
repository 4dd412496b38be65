#include "lib/fwall/table/enargv.h"

#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

using namespace std::string_view_literals;

// The result, then each argument after a bar. Exactly sized arrays on the heap, so that a byte too
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
    const std::pair<std::string_view, const char *> cases[] = {
        // The front is skipped; unprintable is dropped, and alone makes no argument.
        {" ,\t,\x01\xff,one", "1|one"},
        {" ,\x01, ", "0"},
        {"one  two\tthree\v\f\r\nfour ", "4|one|two|three|four"},
        {"a\x01g \x80 h\x7f", "2|ag|h"},
        {"a\0b \0 'c\0d' a\\\0b \\x\0c \\\0"sv, "4|ab|cd|ab|xc"},
        // Quotes join; one may be open to the end.
        {"'',a", "1|,a"},
        {"a\"b c\"d 'a'\"b\"", "2|ab cd|ab"},
        {"\"it's\" '\"' \"\" x''", "4|it's|\"||x"},
        {"' ,a\t' 'a\x02\x90g'", "2| ,a\t|ag"},
        // The character after an escape is taken as it is.
        {"\\na\\tb \\x\\\\y\\,", "2|\na\tb|x\\y\\,"},
        {"a \\ ", "2|a| "},
        {"\\a  b", "2|a |b"},
        {"\\a\"b c\"", "2|a\"b|c"},
        {"\\a\\n", "1|a\\n"},
        {"\\a\x01g x\\\x01", "2|a\x01g|x\x01"},
        {"'a\\'b' c", "2|a'b|c"},
        {"a \\", "1|a"},
        {"'\\", "1|"},
    };
    for (const auto &[text, want] : cases)
        EXPECT_EQ(split(text), want) << text;
}

// That smaller arrays lose the end and nothing else is tried in tests/fuzz.
TEST(Enargv, KeepsToItsArrays)
{
    EXPECT_EQ(split("a b c d e f g", 4), "3|a|b|c");
    EXPECT_EQ(split("a b", 1), "0");
    EXPECT_EQ(split("ab c", 8, 5), "2|ab|c");
    EXPECT_EQ(split("ab c", 8, 4), "-1|ab"); // no room for the last terminator
    EXPECT_EQ(split("\\abc", 8, 1), "-1");
    EXPECT_EQ(split("''", 8, 0), "-1");
    EXPECT_EQ(enargv("a", nullptr, 0, nullptr, 0), -1);
}
