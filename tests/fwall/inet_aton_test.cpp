// The readers of texts of one kind: addresses, digits, users and groups.
#include "lib/fwall/inet_aton.h"

#include "lib/fwall/alldi.h"
#include "lib/fwall/mapg.h"
#include "lib/fwall/mapu.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

TEST(InetAton, ReadsTheFormsOfAnAddress)
{
    static const struct {
        const char *text;
        std::uint32_t want;
    } cases[] = {
        {"1.2.3.255", 0x010203FF},
        {"4294967295", 0xFFFFFFFF},
        {"1.16777215", 0x01FFFFFF},
        {"1.2.65535", 0x0102FFFF},
        {"0x7f.1", 0x7F000001},
        {"0XfF.0Xa.010.007", 0xFF0A0807},
        {"0", 0},
        {"1.2.3.4 x", 0x01020304},
        {"1.2\tx", 0x01000002},
    };
    for (const auto &row : cases) {
        in_addr got{.s_addr = 0x55555555};
        EXPECT_EQ(inet_aton(row.text, &got), 1) << row.text;
        EXPECT_EQ(got.s_addr, htonl(row.want)) << row.text;
        EXPECT_EQ(inet_aton(row.text, nullptr), 1);
    }
    for (const char *text : {"4294967296", "18446744073709551617",
                             "1.16777216", "1.2.65536",
                             "1.2.3.256",  "256.1.1.1",
                             "1.256.1",    "08.1.1.1",
                             "1a.1.1.1",   "0x",
                             "0x.1",       "0xg",
                             "1.2.3.4x",   " 1.2.3.4",
                             "",           " ",
                             ".",          "1.",
                             "1. ",        "1..2",
                             ".1",         "1.2.3.4.",
                             "1.2.3.4.5",  "-1",
                             "1.2.3.4\xa0"}) {
        in_addr got{.s_addr = 0x55555555};
        EXPECT_EQ(inet_aton(text, &got), 0) << text;
        EXPECT_EQ(got.s_addr, 0x55555555) << text;
    }
    EXPECT_EQ(inet_aton(nullptr, nullptr), 0);
}

TEST(Isalldigits, KnowsItsTexts)
{
    for (const char *text : {"", "0123456789"})
        EXPECT_TRUE(isalldigits(text)) << text;
    for (const char *text : {"1x", "-1", "1 ", " 1"})
        EXPECT_FALSE(isalldigits(text)) << text;
    EXPECT_FALSE(isalldigits(nullptr));
}

TEST(MapuidMapgid, TakeNumbersAndNames)
{
    static const struct {
        const char *name;
        int want;
    } cases[] = {{"", 0},
                 {"0042", 42},
                 {"root", 0},
                 {"no-such-name", -1},
                 {"-1", -1},
                 {"12 ", -1},
                 {"99999999999999999999", 2147483647},
                 {nullptr, -1}};
    for (const auto &row : cases) {
        EXPECT_EQ(mapuid(row.name), row.want);
        EXPECT_EQ(mapgid(row.name), row.want);
    }
}
