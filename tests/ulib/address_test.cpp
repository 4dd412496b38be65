#include "lib/ulib/address.h"

#include "lib/ulib/addr_mask.h"
#include "lib/ulib/host_length.h"
#include "tests/ulib/fake_log.h"

#include <gtest/gtest.h>

TEST(Address, ReadsTextAsAddressAndAsNetwork)
{
    static const struct {
        const char *text, *address, *network;
    } cases[] = {
        {"10.1.2.3", "10.1.2.3", "10.1.2.3"},
        {"10.1", "10.0.0.1", "0.0.10.1"}, // only an address has its last part filled up
        {"0x0a.010.1.1", "10.8.1.1", "10.8.1.1"},
        {"10.1.2.256", "255.255.255.255", "255.255.255.255"},
        {"10.1.2.3.4", "255.255.255.255", "255.255.255.255"},
        {"", "255.255.255.255", "255.255.255.255"},
    };
    for (const auto &row : cases) {
        EXPECT_EQ(dotted(address_of(row.text)), row.address) << row.text;
        EXPECT_EQ(dotted(network_of(row.text)), row.network) << row.text;
    }
    EXPECT_EQ(host_order(address_of("10.1.2.3")), 0x0A010203U);
}

TEST(AddrMask, WnetExpandsToFourOctets)
{
    static const struct {
        const char *text, *fill, *wild, *want;
    } cases[] = {
        {"10.1", "", "0", "10.1.255.255"},   {"10", "0", "9", "10.9.9.9"},
        {"1.*.01.*x", "7", "9", "1.9.9.9"},  {"1.1.0.*", "5", nullptr, "255.255.0.0"},
        {"1.1.0.*", "5", "", "255.255.0.0"}, {nullptr, "7", "0", "7.7.7.7"},
        {"1.2.3.4.5", "", "0", "1.2.3.4"},   {".1..2\t3.", "", "0", "1.2.3.255"},
    };
    for (const auto &row : cases)
        EXPECT_STREQ(wnet(row.text, row.fill, row.wild), row.want);
    for (const std::size_t length : {115U, 116U, 256U}) {
        const std::string word(length, '9');
        EXPECT_EQ(wnet(word.c_str(), nullptr, "0"), (word + ".255.255.255").substr(0, 127));
    }
    EXPECT_STREQ(wnet(wnet("10.1.*", "0", "0"), nullptr, nullptr), "255.255.0.0"); // its own text
}

TEST(AddrMask, WaddrmaskReadsAddressAndMask)
{
    static const struct {
        const char *text, *addr, *mask;
        int rc;
    } cases[] = {
        {"10.1.2.3", "10.1.2.3", "255.255.255.255", 0},
        {"10.1.0.*", "10.1.0.0", "255.255.0.0", 0},
        {"10.1.*", "10.1.0.255", "255.255.0.255", 0},
        {"10.1.2.0:255.255.255.0", "10.1.2.0", "255.255.255.0", 1},
        {"10.1.2.0:255.255", "10.1.2.0", "255.255.255.255", 1},
        {":255.0.0.0", "255.255.255.255", "255.0.0.0", 1},
        {"10.1.2.0:255.0.0.9:1", "10.1.2.0", "255.255.255.255", 1},
        {"no.address", "255.255.255.255", "255.255.255.255", 0},
        {nullptr, "255.255.255.255", "255.255.255.255", 0},
    };
    for (const auto &row : cases) {
        u32 addr = 1, mask = 1;
        EXPECT_EQ(waddrmask(row.text, &addr, &mask), row.rc);
        EXPECT_EQ(dotted(addr), row.addr);
        EXPECT_EQ(dotted(mask), row.mask);
    }
    u32 result = 7;
    EXPECT_EQ(waddrmask("10.1.2.3", nullptr, &result), -1);
    EXPECT_EQ(waddrmask("10.1.2.3", &result, nullptr), -1);
    EXPECT_EQ(result, 7U);
}

TEST(HLengthCorrect, TakesFourBytesOnly)
{
    const fake_log log;
    EXPECT_TRUE(h_lengthCorrect(4, "host"));
    EXPECT_EQ(fake_log::calls, 0);
    for (const int length : {0, 16, -4}) {
        EXPECT_FALSE(h_lengthCorrect(length, std::string(200, 'h').c_str()));
        EXPECT_EQ(fake_log::text, "securityalert: invalid host address length (" +
                                      std::to_string(length) + ") hostname " +
                                      std::string(128, 'h'));
    }
    EXPECT_EQ(fake_log::uniq.event, 10504);
    EXPECT_EQ(fake_log::priority, 5);
}
