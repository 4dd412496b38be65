#include "flatlink/address_expr.h"

#include <gtest/gtest.h>

TEST(sraddrmask, reads_each_form_of_expression)
{
    static const struct {
        const char *label, *text;
        int kind;
        const char *addr, *mask;
    } cases[] = {
        {"null", nullptr, 4, "0.0.0.0", "0.0.0.0"},
        {"empty", "", 4, "0.0.0.0", "0.0.0.0"},
        {"star", "*", 4, "0.0.0.0", "0.0.0.0"},
        {"host", "10.1.2.3", 1, "10.1.2.3", "255.255.255.255"},
        {"host of zeros is the whole space", "0.0.0.0", 4, "0.0.0.0", "0.0.0.0"},
        {"partial host", "10.1", 1, "10.1.0.0", "255.255.255.255"},
        {"star part", "10.*.2.3", 1, "10.0.2.3", "255.255.255.255"},
        {"network", "10.1.2.3:255.255.0.0", 4, "10.1.0.0", "255.255.0.0"},
        {"partial mask", "10.1.2.3:255", 4, "10.0.0.0", "255.0.0.0"},
        {"mask of one host", "10.1.2.3:255.255.255.255", 1, "10.1.2.3", "255.255.255.255"},
        {"no mask behind the mark", "10.1.2.3:", 4, "0.0.0.0", "0.0.0.0"},
        {"range", "10.0.0.1-10.0.0.5", 7, "10.0.0.1", "10.0.0.5"},
        {"range filled up to its last", "10.1-10.1", 7, "10.1.0.0", "10.1.255.255"},
        {"range over the signed middle", "127.0.0.1-128.0.0.1", 7, "127.0.0.1", "128.0.0.1"},
        {"range that falls", "10.0.0.5-10.0.0.1", 1, "10.0.0.5", "255.255.255.255"},
        {"range of one", "10.0.0.5-10.0.0.5", 1, "10.0.0.5", "255.255.255.255"},
        {"rises although an octet falls", "1.0.0.2-2.0.0.1", 7, "1.0.0.2", "2.0.0.1"},
        {"end that is no address", "10.0.0.1-10.0.0.5:255.0.0.0", 7, "10.0.0.1", "255.255.255.255"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        u32 addr = 1;
        u32 mask = 1;
        EXPECT_EQ(c.kind, sraddrmask(c.text, &addr, &mask));
        EXPECT_EQ(c.addr, dotted(addr));
        EXPECT_EQ(c.mask, dotted(mask));
    }
}

TEST(sraddrmask_fill, makes_four_parts)
{
    static const struct {
        const char *label, *text, *filler, *wanted;
    } cases[] = {
        {"empty", "", "255", "255.255.255.255"},
        {"one part", "10", "0", "10.0.0.0"},
        {"stars", "10.*.*x.1", "255", "10.255.255.1"},
        {"more than four parts", "1.2.3.4.5", "0", "1.2.3.4"},
        {"longer than a part may be", "1234567890123456.1234567890123456.1", "0",
         "1234567890123456.12345678901234"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        EXPECT_EQ(c.wanted, sraddrmask_fill(c.text, c.filler));
    }
}
