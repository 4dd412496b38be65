#include "flatlink/records/address_expr.h"

#include <gtest/gtest.h>

using namespace flatlink;

TEST(Sraddrmask, ReadsEachFormOfExpression)
{
    static const struct {
        const char *text;
        int kind;
        const char *addr, *mask;
    } cases[] = {
        {nullptr, 4, "0.0.0.0", "0.0.0.0"},
        {"0.0.0.0", 4, "0.0.0.0", "0.0.0.0"},
        {"10.1.2.3:255.255.255.255", 1, "10.1.2.3", "255.255.255.255"},
        {"10.0.0.5-10.0.0.5", 1, "10.0.0.5", "255.255.255.255"},
        {"10.1-10.1", 7, "10.1.0.0", "10.1.255.255"},
        {"127.0.0.1-128.0.0.1", 7, "127.0.0.1", "128.0.0.1"}, // no sign
        {"1.0.0.2-2.0.0.1", 7, "1.0.0.2", "2.0.0.1"},
        {"10.0.0.1-10.0.0.5:255.0.0.0", 7, "10.0.0.1", "255.255.255.255"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.text == nullptr ? "null" : c.text);
        u32 addr = 1;
        u32 mask = 1;
        EXPECT_EQ(sraddrmask(c.text, &addr, &mask), c.kind);
        EXPECT_EQ(format_address(addr), c.addr);
        EXPECT_EQ(format_address(mask), c.mask);
    }
    EXPECT_EQ(sraddrmask_fill("10.*.*x.1", "255"), "10.255.255.1");
    EXPECT_EQ(sraddrmask_fill("1234567890123456.1234567890123456.1", "0"),
              "1234567890123456.12345678901234");
}
