#include "flatlink/pool_loader.h"

#include "tests/flatlink/conversion_test.h"
#include "tests/ulib/fake_log.h"

static const char objects[] =
    "net_ipaddr_pc_addr=10.1.0.7\nnet_ipaddr_first_addr=10.2.0.5\nnet_ipaddr_last_addr=10.2.0.9\n"
    "net_ipaddr_base_addr=10.2.3.4\nnet_ipmask_m24_addr=255.255.255.0\n"
    "net_ipmask_wild_addr=255.0.255.0\nnet_ipmask_bare_note=x\nnet_ipmask_empty_addr=\n"
    "net_ipnet_far_addr=net_ipaddr_base\nnet_ipnet_far_mask=net_ipmask_m24\n"
    "net_ipnet_odd_addr=net_ipaddr_base\nnet_ipnet_odd_mask=net_ipmask_wild\n"
    "net_iprange_some_start=net_ipaddr_first\nnet_iprange_some_end=net_ipaddr_last\n"
    "net_dns_web_addr=web.invalid\nnet_pattern_net_pat=10.3.*\nnet_pattern_full_pat=10.4.0.7\n"
    "net_pattern_two_pat=10.5.* 10.4.0.7 10.6.*\nnet_email_me_addr=me@x.invalid\n"
    "net_vpnclient_road_note=x\n"
    "net_group_g_elem_1_type=ipaddr\nnet_group_g_elem_1_obj=net_ipaddr_pc\n"
    "net_group_g_elem_2_type=emptygroup\nnet_group_g_elem_2_obj=net_ipaddr_pc\n"
    "net_group_g_elem_3_type=ipnet\nnet_group_g_elem_3_obj=net_ipnet_far\n";

class pool_loader : public conversion_test
{
  protected:
    // The lines that a pool "p" is fed, without their start.
    static std::string fed(const std::string &pool)
    {
        start_anew();
        load_tree(objects + pool);
        std::string lines;
        for (const std::string &line :
             lines_of(trace_of([] { load_mcpool(&def_database, node("p")); })))
            lines += line.substr(std::string("<<mcpool_p_").size()) + "\n";
        return lines;
    }
};

TEST_F(pool_loader, feeds_what_each_row_takes)
{
    static const struct {
        const char *object, *addr, *net, *dns;
    } cases[] = {
        {"net_ipaddr_pc", "addr_1=10.1.0.7\naddr2_1=10.1.0.7\n", "", "dns_1=10.1.0.7\n"},
        {"net_ipnet_far", "addr_1=10.2.3.0\naddr2_1=10.2.3.255\n",
         "net_1_addr=10.2.3.4\nnet_1_mask=255.255.255.0\n", ""},
        {"net_ipnet_odd", "addr_1=10.0.3.0\naddr2_1=10.255.3.255\n",
         "net_1_addr=10.2.3.4\nnet_1_mask=255.0.255.0\n", ""},
        {"net_iprange_some", "addr_1=10.2.0.5\naddr2_1=10.2.0.9\n", "", ""},
        {"net_dns_web", "", "", ""},
        {"net_pattern_net", "addr_1=10.3.0.0\naddr2_1=10.3.255.255\n",
         "net_1_addr=10.3.0.0\nnet_1_mask=255.255.0.0\n", ""},
        {"net_pattern_full", "", "", ""},
        {"net_pattern_two",
         "addr_1=10.5.0.0\naddr2_1=10.5.255.255\naddr_2=10.6.0.0\naddr2_2=10.6.255.255\n",
         "net_1_addr=10.5.0.0\nnet_1_mask=255.255.0.0\n"
         "net_2_addr=10.6.0.0\nnet_2_mask=255.255.0.0\n",
         ""},
        {"net_group_g", "addr_1=10.1.0.7\naddr2_1=10.1.0.7\naddr_2=10.2.3.0\naddr2_2=10.2.3.255\n",
         "net_1_addr=10.2.3.4\nnet_1_mask=255.255.255.0\n", "dns_1=10.1.0.7\n"},
        {"net_email_me", "", "", ""},
        {"net_vpnclient_road", "", "", ""},
        {"net_lost", "", "", ""},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.object);
        EXPECT_EQ(c.addr, fed(std::string("p_addr_1_network=") + c.object + "\n"));
        EXPECT_EQ(c.net, fed(std::string("p_net_1_network=") + c.object + "\n"));
        EXPECT_EQ(c.dns, fed(std::string("p_dns_1_network=") + c.object + "\n"));
        std::string nbns = c.dns;
        if (!nbns.empty())
            nbns.replace(0, 3, "nbns");
        EXPECT_EQ(nbns, fed(std::string("p_nbns_1_network=") + c.object + "\n"));
    }
}

TEST_F(pool_loader, numbers_what_it_takes_without_gaps)
{
    EXPECT_EQ("addr_1=10.2.0.5\naddr2_1=10.2.0.9\naddr_2=10.1.0.7\naddr2_2=10.1.0.7\n"
              "net_1_addr=10.2.3.4\nnet_1_mask=255.255.255.0\ndns_1=10.1.0.7\n",
              fed("p_dns_1_network=net_ipnet_far\np_dns_7_network=net_ipaddr_pc\n"
                  "p_addr_10_network=net_ipaddr_pc\np_addr_9_network=net_iprange_some\n"
                  "p_addr_2_network=net_dns_web\np_addr_1_name=no network\n"
                  "p_net_1_network=net_ipnet_far\n"))
        << "rows in their order, entries in theirs";
}

TEST_F(pool_loader, feeds_fields_in_their_order)
{
    EXPECT_EQ("name=n\ndescription=d\nmask=255.255.255.0\nifname=hme0\nexpiry=60\nstale_limit=\n",
              fed("p_stale-limit=\np_expiry=60\np_ifname=hme0\np_mask=m24\np_description=d\n"
                  "p_name=n\np_colour=red\n"));
}

TEST_F(pool_loader, looks_masks_up)
{
    static const std::string long_mask(300, '1');
    static const struct {
        const char *label;
        std::string mask, fed;
    } cases[] = {
        {"short name", "m24", "255.255.255.0"},
        {"key", "net_ipmask_m24", "255.255.255.0"},
        {"dotted: no such object", "255.255.0.0", "net_ipmask_255.255.0.0"},
        {"lost", "net_lost", "net_lost"},
        {"no address", "bare", "net_ipmask_bare"},
        {"address without a value", "empty", ""},
        {"empty", "", "net_ipmask_"},
        {"long", long_mask, "net_ipmask_" + long_mask.substr(0, 256)},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        EXPECT_EQ("mask=" + c.fed + "\n", fed("p_mask=" + c.mask + "\n"));
    }
}

TEST_F(pool_loader, follows_entries_of_other_pools)
{
    EXPECT_EQ("addr_1=10.1.0.7\naddr2_1=10.1.0.7\n",
              fed("p_addr_1_network=q_addr_5\nq_addr_5_network=net_ipaddr_pc\n"));
    // An object whose type is the row's key counts as an entry.
    EXPECT_EQ("", fed("p_dns_1_network=net_dns_web\n"));
}

TEST_F(pool_loader, ends_where_entries_lead_back)
{
    const fake_log log;
    EXPECT_EQ("addr_1=10.1.0.7\naddr2_1=10.1.0.7\n",
              fed("p_addr_1_network=p_addr_1\np_addr_2_network=p_addr_1\n"
                  "p_addr_3_network=net_ipaddr_pc\n"));
    EXPECT_GT(fake_log::calls, 0);
    fed("p_addr_1_network=net_group_ring\nnet_group_ring_elem_1_type=group\n"
        "net_group_ring_elem_1_obj=net_group_ring\n");
    EXPECT_EQ("vhltcfgerr: Object net_group_ring is recursive.", fake_log::text);
}
