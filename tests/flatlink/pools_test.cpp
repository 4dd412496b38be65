#include "flatlink/pools.h"

#include "tests/flatlink/conversion_test.h"

class pools : public conversion_test
{
};

// Feeds lines behind "mcpool_p_", finishes, and gives what is written.
static std::string finished(const std::string &lines)
{
    for (const std::string &line : lines_of(lines))
        feed("mcpool_p_" + line);
    finish_mcpools();
    return saved(save_mcpools, mcpools);
}

static const char plain_lines[] = "mask=255.255.255.0\naddr_1=10.9.0.1\n";

TEST_F(pools, store_and_finish_each_field)
{
    const std::string plain = finished(plain_lines);
    EXPECT_EQ("mcpool_1_name=p\nmcpool_1_description=\nmcpool_1_mask=255.255.255.0\n"
              "mcpool_1_expiry=0\nmcpool_1_stale_limit=0\nmcpool_1_ifname=\n"
              "mcpool_1_addr_1=10.9.0.1\nmcpool_1_addr2_1=0.0.0.0\n",
              plain);
    static const struct {
        const char *in, *out;
    } cases[] = {
        {"name=q", ""},
        {"description=d = e", "description=d = e"},
        {"mask=255.0.0.0", "mask=255.0.0.0"},
        {"mask=rubbish", "mask=255.255.255.255"},
        {"expiry=-60x", "expiry=-60"},
        {"stale_limit=7", "stale_limit=7"},
        {"ifname=hme0", "ifname=hme0"},
        {"addr2_1=10.9.0.9", "addr2_1=10.9.0.9"},
        {"addr2_1=rubbish", "addr2_1=255.255.255.255"},
        {"addr2_2=10.9.0.9", ""}, // a range without its start
        {"addr_0=10.9.0.7", "addr_1=10.9.0.7\naddr_2=10.9.0.1\naddr2_2=0.0.0.0"},
        {"addr_x=10.9.0.7", "addr_1=10.9.0.7\naddr_2=10.9.0.1\naddr2_2=0.0.0.0"},
        {"addr_2000000000=10.9.0.7", "addr_2=10.9.0.7\naddr2_2=0.0.0.0"},
        {"addr_2=0.0.0.0", ""},
        {"addr_2=rubbish", ""},
        {"nbns_1=10.0.0.1\nnbns_2=0.0.0.0\nnbns_3=x\nnbns_4=10.0.0.2",
         "nbns_1=10.0.0.1\nnbns_2=10.0.0.2"},
        {"dns_5=10.0.0.1\ndns_2=10.0.0.2\ndns_9=255.255.255.255", "dns_1=10.0.0.2\ndns_2=10.0.0.1"},
        {"dns_2147483647=10.0.0.1", "dns_1=10.0.0.1"},
        {"net_1_addr=10.0.0.0\nnet_1_mask=255.0.0.0", "net_1_addr=10.0.0.0\nnet_1_mask=255.0.0.0"},
        {"net_1_mask=255.0.0.0\nnet_1_addr=10.0.0.0", "net_1_addr=10.0.0.0\nnet_1_mask=255.0.0.0"},
        {"net_1_addr=10.0.0.7", "net_1_addr=10.0.0.7\nnet_1_mask=255.255.255.255"},
        {"net_1_mask=255.0.0.0", ""},
        {"net_1_addr=0.0.0.0", ""},
        {"net_1_addr=0.0.0.0\nnet_1_mask=255.0.0.0", "net_1_addr=0.0.0.0\nnet_1_mask=255.0.0.0"},
        {"net_1_addr=10.0.0.7\nnet_2_addr=0.0.0.0\nnet_2_mask=0.0.0.0\nnet_3_addr=10.0.0.8",
         "net_1_addr=0.0.0.0\nnet_1_mask=0.0.0.0"},
        {"net_2000000000_addr=10.0.0.7\nnet_3_addr=10.0.0.8",
         "net_1_addr=10.0.0.8\nnet_1_mask=255.255.255.255\n"
         "net_2_addr=10.0.0.7\nnet_2_mask=255.255.255.255"},
        {"description=", ""},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.in);
        start_anew();
        std::string got;
        EXPECT_EQ("", messages_of([&] { got = finished(plain_lines + std::string(c.in)); }));
        std::string wanted;
        for (const std::string &line : lines_of(c.out))
            wanted += "mcpool_1_" + line + "\n";
        EXPECT_EQ(wanted, new_lines(plain, got));
    }
}

TEST_F(pools, write_their_entries_kind_by_kind)
{
    const std::string text =
        finished("net_1_addr=10.0.0.0\ndns_1=10.0.0.2\nnbns_1=10.0.0.3\naddr_2=10.9.1.1\n"
                 "addr2_2=10.9.1.9\naddr_1=10.9.0.1\naddr2_1=10.9.0.9\nmask=255.0.0.0");
    EXPECT_EQ("mcpool_1_name=p\nmcpool_1_description=\nmcpool_1_mask=255.0.0.0\n"
              "mcpool_1_expiry=0\nmcpool_1_stale_limit=0\nmcpool_1_ifname=\n"
              "mcpool_1_addr_1=10.9.0.1\nmcpool_1_addr2_1=10.9.0.9\nmcpool_1_addr_2=10.9.1.1\n"
              "mcpool_1_addr2_2=10.9.1.9\nmcpool_1_nbns_1=10.0.0.3\nmcpool_1_dns_1=10.0.0.2\n"
              "mcpool_1_net_1_addr=10.0.0.0\nmcpool_1_net_1_mask=255.255.255.255\n",
              text);
}

TEST_F(pools, are_dropped_without_a_mask_or_a_range)
{
    feed("mcpool_nomask_addr_1=10.9.0.1\nmcpool_b_mask=255.0.0.0\nmcpool_b_addr_1=10.9.0.1\n"
         "mcpool_norange_mask=255.0.0.0\nmcpool_norange_addr_1=0.0.0.0\n"
         "mcpool_zero_mask=0.0.0.0\nmcpool_zero_addr_1=10.9.0.1\n"
         "mcpool_a_mask=255.0.0.0\nmcpool_a_addr_1=10.9.0.1\nmcpool_b_ifname=x");
    EXPECT_EQ(5, mcpools.back()->seq);
    finish_mcpools();
    ASSERT_EQ(2u, mcpools.size());
    EXPECT_EQ("b", mcpools[0]->name) << "in order of appearance";
    EXPECT_EQ(1, mcpools[0]->seq);
    EXPECT_EQ("a", mcpools[1]->name);
    EXPECT_EQ(2, mcpools[1]->seq);
}

TEST_F(pools, report_lines_that_cannot_be_used)
{
    static const struct {
        const char *label, *line, *message;
        int result;
        std::size_t made;
    } cases[] = {
        {"no underscore", "p", "vpndata: BAD format mcpool_p\n", 1, 0},
        {"no equals sign", "p_mask", "vpndata: BAD format mcpool_p_mask\n", 1, 0},
        {"no underscore, but a value", "p=x", "vpndata: BAD format mcpool_p=x\n", 1, 0},
        {"nothing", "", "vpndata: BAD format mcpool_\n", 1, 0},
        {"empty value", "p_mask=", "", 0, 0},
        {"empty value of an unknown field", "p_colour=", "", 0, 0},
        {"used", "p_mask=255.0.0.0", "", 0, 1},
        {"negative number", "p_addr_-1=10.9.0.1", "", 1, 1},
        {"negative server", "p_dns_-1=10.9.0.1", "", 1, 1},
        {"negative network", "p_net_-1_addr=10.9.0.1", "", 1, 1},
        {"negative before unknown", "p_net_-1_colour=10.9.0.1", "", 1, 1},
        {"unknown field", "p_colour=red",
         "vpndata: Unrecognized VPN field (colour=red) on mcpool_p\n", 1, 1},
        {"unknown field of a network", "p_net_4_colour=red",
         "vpndata: Unrecognized VPN field (_colour=red) on mcpool_p_net_4\n", 1, 1},
        {"network without a field", "p_net_4=red",
         "vpndata: Unrecognized VPN field (=red) on mcpool_p_net_4\n", 1, 1},
        {"network without a number", "p_net_x_addr=red",
         "vpndata: Unrecognized VPN field (x_addr=red) on mcpool_p_net_0\n", 1, 1},
        {"field with a longer key", "p_masks=1",
         "vpndata: Unrecognized VPN field (masks=1) on mcpool_p\n", 1, 1},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        start_anew();
        int result = -1;
        std::string messages;
        const std::string trace =
            trace_of([&] { messages = messages_of([&] { result = add_partial_mcpool(c.line); }); });
        EXPECT_EQ(c.result, result);
        EXPECT_EQ(c.message, messages);
        EXPECT_EQ(std::string("<<mcpool_") + c.line + "\n", trace) << "each line is echoed";
        EXPECT_EQ(c.made, mcpools.size());
    }
}
