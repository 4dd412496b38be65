#include "lib/ulib/address.h"

#include <gtest/gtest.h>

TEST(Address, ReadsTextAsAddressAndAsNetwork)
{
    static const struct {
        const char *text, *address, *network;
    } cases[] = {
        {"10.1.2.3", "10.1.2.3", "10.1.2.3"},
        {"255.255.0.0", "255.255.0.0", "255.255.0.0"},
        {"0.0.0.0", "0.0.0.0", "0.0.0.0"},
        {"10.1", "10.0.0.1", "0.0.10.1"}, // only an address has its last part filled up
        {"10", "0.0.0.10", "0.0.0.10"},
        {"0x0a.010.1.1", "10.8.1.1", "10.8.1.1"},
        {"10.1.2.256", "255.255.255.255", "255.255.255.255"},
        {"10.1.2.3.4", "255.255.255.255", "255.255.255.255"},
        {"host", "255.255.255.255", "255.255.255.255"},
        {"", "255.255.255.255", "255.255.255.255"},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(dotted(address_of(row.text)), row.address);
        EXPECT_EQ(dotted(network_of(row.text)), row.network);
    }
    EXPECT_EQ(address_of("no address"), NOT_AN_ADDRESS);
}

TEST(Address, OrdersByTheFirstOctet)
{
    EXPECT_EQ(host_order(address_of("10.1.2.3")), 0x0A010203U);
    EXPECT_EQ(network_order(0x0A010203U), address_of("10.1.2.3"));
}
