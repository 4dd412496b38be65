#include "flatctl/options.h"

#include <gtest/gtest.h>

using namespace flatlink;

TEST(Options, CommandLines)
{
    static const struct {
        std::vector<std::string> words;
        const char *error; // empty: it parses
    } cases[] = {
        {{"preview", "db"}, ""},
        {{"preview", "-"}, ""},
        {{"preview", "--names", "hosts", "db", "-q"}, ""},
        {{"preview", "--", "--names"}, ""},
        {{"--version"}, ""},
        {{"preview", "--help"}, ""}, // without the operand that it needs
        {{"preveiw", "db"}, "no verb 'preveiw'; did you mean preview?"},
        {{"x\033[2J", "db"}, "no verb 'x\\x1b[2J'"},
        {{"--quiet"}, "a verb is missing"},
        {{"preview"}, "preview needs DB"},
        {{"preview", "a", "b"}, "preview takes no 'b'"},
        {{"preview", "--naems=x", "db"}, "no option '--naems'; did you mean --names?"},
        {{"preview", "db", "--names"}, "--names needs an argument: FILE"},
        {{"preview", "--reveal=on", "db"}, "--reveal takes no argument"},
        {{"undo", "--format", "json", "db"}, "undo takes no --format"},
        {{"preview", "--color", "red", "db"}, "--color takes auto, always, never, not 'red'"},
        {{"preview", "--memory", "0", "db"}, "--memory needs a number from 1 on, not '0'"},
        {{"preview", "--memory", "9x", "db"}, "--memory needs a number from 1 on, not '9x'"},
    };
    for (const auto &row : cases) {
        request asked;
        EXPECT_EQ(parse_options(row.words, asked), row.error);
    }
}

TEST(Options, ArgumentsAndOperands)
{
    const std::vector<std::string> words = {"preview", "--names=a=b", "--memory",
                                            "12",      "db",          "--resolve"};
    request asked;
    EXPECT_EQ(parse_options(words, asked), "");
    EXPECT_EQ(asked.verb, find_verb("preview"));
    EXPECT_EQ(asked.names, "a=b");
    EXPECT_EQ(asked.memory_mib, 12);
    EXPECT_TRUE(asked.resolve);
    EXPECT_EQ(asked.operands, std::vector<std::string>{"db"});
}
