#include "lib/fwall/table/enargv.h"

#include "tests/case_lines.h"

#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

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
    for (case_row &row : case_rows("fwall/arguments", "from want"))
        EXPECT_EQ(split(bytes_of(row["from"])), bytes_of(row["want"])) << row["from"];
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
