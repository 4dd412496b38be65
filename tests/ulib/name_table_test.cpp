#include "lib/ulib/name_table.h"

#include <gtest/gtest.h>

static constexpr name_num names[] = {
    {"none", 0}, {"one", 1}, {"first", 1}, {"ONE", 11}, {"minus", -1},
};

TEST(Parsenametonum, TakesTheFirstRowWithoutRegardToCase)
{
    static const struct {
        const char *label;
        std::string_view name;
        std::int32_t want;
    } cases[] = {
        {"plain", "first", 1},     {"other case, first row", "ONE", 1},
        {"negative", "Minus", -1}, {"front of a name", "on", 0},
        {"longer", "ones", 0},     {"empty", "", 0},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        EXPECT_EQ(parsenametonum(names, row.name), row.want);
        EXPECT_EQ(parsenametonum({}, row.name), 0);
    }
}

TEST(Parsenumtoname, TakesTheFirstRow)
{
    EXPECT_EQ(parsenumtoname(names, 1), "one");
    EXPECT_EQ(parsenumtoname(names, -1), "minus");
    EXPECT_STREQ(parsenumtoname(names, 2).data(), "") << "a C text, too";
    EXPECT_STREQ(parsenumtoname({}, 0).data(), "");
}
