#include "lib/fwall/alldi.h"

#include <gtest/gtest.h>

TEST(Isalldigits, KnowsItsTexts)
{
    static const struct {
        const char *text;
        bool want;
    } cases[] = {{"", true},    {"0123456789", true}, {"1x", false},   {"-1", false},
                 {"1 ", false}, {" 1", false},        {nullptr, false}};
    for (const auto &row : cases)
        EXPECT_EQ(isalldigits(row.text), row.want) << (row.text == nullptr ? "null" : row.text);
}
