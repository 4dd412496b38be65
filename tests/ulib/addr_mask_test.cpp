#include "lib/ulib/addr_mask.h"

#include <gtest/gtest.h>

TEST(Wnet, ExpandsToFourOctets)
{
    static const struct {
        const char *label, *text, *fill, *wild, *want;
    } cases[] = {
        {"complete", "10.1.2.3", nullptr, "0", "10.1.2.3"},
        {"missing octets", "10.1", nullptr, "0", "10.1.255.255"},
        {"empty fill", "10.1", "", "0", "10.1.255.255"},
        {"own fill", "10.1", "7", "0", "10.1.7.7"},
        {"fill that is a wildcard", "10", "0", "9", "10.9.9.9"},
        {"wildcards", "10.*.01.*x", nullptr, "9", "10.9.9.9"},
        {"mask", "10.1.0.*", "255", nullptr, "255.255.0.0"},
        {"mask, empty wildcard text", "10.1.0.*", "255", "", "255.255.0.0"},
        {"no text", "", "7", "0", "7.7.7.7"},
        {"null text", nullptr, nullptr, nullptr, "255.255.255.255"},
        {"too many octets", "1.2.3.4.5", nullptr, "0", "1.2.3.4"},
        {"runs of points and tabs", ".1..2\t3.", nullptr, "0", "1.2.3.255"},
        {"points only", "...", nullptr, "0", "255.255.255.255"},
        {"words stay as they are", "a.b", nullptr, "0", "a.b.255.255"},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        EXPECT_STREQ(wnet(row.text, row.fill, row.wild), row.want);
    }
}

TEST(Wnet, CutsAtItsText)
{
    static const struct {
        std::size_t word, want;
    } cases[] = {{114, 126}, {115, 127}, {116, 127}, {256, 127}};
    for (const auto &row : cases) {
        SCOPED_TRACE(row.word);
        const std::string word(row.word, '9');
        EXPECT_EQ(wnet(word.c_str(), nullptr, "0"), (word + ".255.255.255").substr(0, row.want));
    }
}

TEST(Wnet, TakesItsOwnResult)
{
    EXPECT_STREQ(wnet(wnet("10.1.*", "0", "0"), nullptr, nullptr), "255.255.0.0");
}

TEST(Waddrmask, ReadsAddressAndMask)
{
    static const struct {
        const char *text, *addr, *mask;
        int rc;
    } cases[] = {
        {"10.1.2.3", "10.1.2.3", "255.255.255.255", 0},
        {"10.1.0.0", "10.1.0.0", "255.255.0.0", 0},
        {"10.1.*.*", "10.1.0.0", "255.255.0.0", 0},
        {"10.1", "10.1.255.255", "255.255.255.255", 0},
        {"10.1.*", "10.1.0.255", "255.255.0.255", 0},
        {"10.1.2.0:255.255.255.0", "10.1.2.0", "255.255.255.0", 1},
        {"10.1.2.0:255.255", "10.1.2.0", "255.255.255.255", 1},
        {"10.1.2.0:", "10.1.2.0", "255.255.255.255", 1},
        {":255.0.0.0", "255.255.255.255", "255.0.0.0", 1},
        {"10.1.2.0:255.0.0.9:1", "10.1.2.0", "255.255.255.255", 1},
        {"no.address", "255.255.255.255", "255.255.255.255", 0},
        {"", "255.255.255.255", "255.255.255.255", 0},
        {nullptr, "255.255.255.255", "255.255.255.255", 0},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.text == nullptr ? "null" : row.text);
        u32 addr = 1;
        u32 mask = 1;
        EXPECT_EQ(waddrmask(row.text, &addr, &mask), row.rc);
        EXPECT_EQ(dotted(addr), row.addr);
        EXPECT_EQ(dotted(mask), row.mask);
    }
}

TEST(Waddrmask, RefusesWithoutAPlaceForBothResults)
{
    u32 result = 7;
    EXPECT_EQ(waddrmask("10.1.2.3", nullptr, &result), -1);
    EXPECT_EQ(waddrmask("10.1.2.3", &result, nullptr), -1);
    EXPECT_EQ(result, 7U);
}
