#include "lib/ulib/address.h"

#include "lib/ulib/addr_mask.h"

#include <gtest/gtest.h>

using namespace flatlink;

TEST(Address, ReadsTextAsAddressAndAsNetwork)
{
    const auto read = [](const char *text) {
        return format_address(parse_address(text)) + " " + format_address(parse_network(text));
    };
    EXPECT_EQ(read("10.1"), "10.0.0.1 0.0.10.1"); // only an address has its last part filled up
    EXPECT_EQ(read("0x0a.010.1.1"), "10.8.1.1 10.8.1.1");
    for (const char *none : {"10.1.2.256", ""})
        EXPECT_EQ(read(none), "255.255.255.255 255.255.255.255");
    EXPECT_EQ(host_order(parse_address("10.1.2.3")), 0x0A010203U);
}

TEST(AddrMask, ReadsAddressAndMask)
{
    static const struct {
        const char *text, *want; // result, address and mask
    } cases[] = {
        {"10.1.2.3", "0 10.1.2.3 255.255.255.255"},
        {"10.1.0.*", "0 10.1.0.0 255.255.0.0"},
        {"10.1.*", "0 10.1.0.255 255.255.0.255"},
        {".10..1\t2.", "0 10.1.2.255 255.255.255.255"},
        {"10.1.2.0:255.255.255.0", "1 10.1.2.0 255.255.255.0"},
        {"10.1.2.0:255.255", "1 10.1.2.0 255.255.255.255"},
        {":255.0.0.0", "1 255.255.255.255 255.0.0.0"},
        {"10.1.2.0:255.0.0.9:1", "1 10.1.2.0 255.255.255.255"},
        {"no.address", "0 255.255.255.255 255.255.255.255"},
        {nullptr, "0 255.255.255.255 255.255.255.255"},
    };
    for (const auto &[text, want] : cases) {
        u32 addr = 1, mask = 1;
        const int result = waddrmask(text, &addr, &mask);
        EXPECT_EQ(std::to_string(result) + " " + format_address(addr) + " " + format_address(mask),
                  want);
        EXPECT_EQ(waddrmask(text, nullptr, &mask), -1);
        EXPECT_EQ(waddrmask(text, &addr, nullptr), -1);
    }
    const std::string word(256, '9');
    EXPECT_EQ(wnet(word.c_str(), nullptr, "0"), word.substr(129)); // its shared text is full
}
