#include "flatctl/options.h"

#include "tests/case_lines.h"

#include <gtest/gtest.h>

using namespace flatlink;

TEST(Options, CommandLines)
{
    request asked;
    for (case_row &row : case_rows("flatctl/command_lines", "want"))
        EXPECT_EQ(parse_options(pieces_of(row["case"], ' '), asked = {}), row["want"]);
    const std::vector<std::string> odd{"x\033[2J", "db"};
    EXPECT_EQ(parse_options(odd, asked = {}), "no verb 'x\\x1b[2J'");
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
