#include "flatlink/records/address_expr.h"

#include <gtest/gtest.h>

using namespace flatlink;

TEST(sraddrmask, reads_each_form_of_expression)
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
        EXPECT_EQ(c.kind, sraddrmask(c.text, &addr, &mask));
        EXPECT_EQ(c.addr, format_address(addr));
        EXPECT_EQ(c.mask, format_address(mask));
    }
    EXPECT_EQ("10.255.255.1", sraddrmask_fill("10.*.*x.1", "255"));
    EXPECT_EQ("1234567890123456.12345678901234",
              sraddrmask_fill("1234567890123456.1234567890123456.1", "0"));
}
