#include "lib/fwall/inet_aton.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

TEST(InetAton, ReadsTheFormsOfAnAddress)
{
    static const struct {
        const char *text;
        int valid;
        std::uint32_t want;
    } cases[] = {
        {"1.2.3.4", 1, 0x01020304},
        {"255.255.255.255", 1, 0xFFFFFFFF},
        {"0", 1, 0},
        {"4294967295", 1, 0xFFFFFFFF},
        {"4294967296", 0, 0},
        {"18446744073709551617", 0, 0},
        {"1.16777215", 1, 0x01FFFFFF},
        {"1.16777216", 0, 0},
        {"1.2.65535", 1, 0x0102FFFF},
        {"1.2.65536", 0, 0},
        {"1.2.3.255", 1, 0x010203FF},
        {"1.2.3.256", 0, 0},
        {"256.1.1.1", 0, 0},
        {"1.256.1", 0, 0},
        {"0x7f.1", 1, 0x7F000001},
        {"0XfF.0Xa.010.007", 1, 0xFF0A0807},
        {"0xffffffff", 1, 0xFFFFFFFF},
        {"08.1.1.1", 0, 0},
        {"1a.1.1.1", 0, 0},
        {"0x", 0, 0},
        {"0x.1", 0, 0},
        {"0xg", 0, 0},
        {"1.2.3.4 x", 1, 0x01020304},
        {"1.2\tx", 1, 0x01000002},
        {"1.2.3.4x", 0, 0},
        {" 1.2.3.4", 0, 0},
        {"", 0, 0},
        {" ", 0, 0},
        {".", 0, 0},
        {"1.", 0, 0},
        {"1. ", 0, 0},
        {"1..2", 0, 0},
        {".1", 0, 0},
        {"1.2.3.4.", 0, 0},
        {"1.2.3.4.5", 0, 0},
        {"-1", 0, 0},
        {"1.2.3.4\xa0", 0, 0},
        {nullptr, 0, 0},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.text == nullptr ? "null" : row.text);
        in_addr got{.s_addr = 0x55555555};
        EXPECT_EQ(inet_aton(row.text, &got), row.valid);
        EXPECT_EQ(got.s_addr, row.valid == 1 ? htonl(row.want) : 0x55555555);
        EXPECT_EQ(inet_aton(row.text, nullptr), row.valid);
    }
}
