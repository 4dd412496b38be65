#include "lib/fwall/mapu.h"

#include "lib/fwall/mapg.h"

#include <gtest/gtest.h>

TEST(MapuidMapgid, TakeNumbersAndNames)
{
    static const struct {
        const char *name;
        int want;
    } cases[] = {{"", 0},
                 {"0", 0},
                 {"0042", 42},
                 {"root", 0},
                 {"no-such-name", -1},
                 {"-1", -1},
                 {"12 ", -1},
                 {"99999999999999999999", 2147483647},
                 {nullptr, -1}};
    for (const auto &row : cases) {
        SCOPED_TRACE(row.name == nullptr ? "null" : row.name);
        EXPECT_EQ(mapuid(row.name), row.want);
        EXPECT_EQ(mapgid(row.name), row.want);
    }
}
