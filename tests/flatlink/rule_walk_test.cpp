#include "flatlink/rule_walk.h"

#include "tests/flatlink/conversion_test.h"
#include "tests/ulib/fake_log.h"

// One object of each type that a rule may name.
static const char objects[] = "net_ipaddr_pc_addr=10.1.0.7\nnet_ipaddr_gate_addr=192.0.2.1\n"
                              "net_ipaddr_far_addr=10.2.0.7\n"
                              "net_vpnnetwork_quay_ip-address=net_ipaddr_gate\n"
                              "net_vpnnetwork_quay_network=net_ipaddr_far\n"
                              "net_vpnnetwork_quay_include-sgo=off\n"
                              "net_vpnclient_road_include-sgo=off\n"
                              "net_group_pcs_elem_2_type=dns\n"
                              "net_group_pcs_elem_2_obj=net_dns_web\n"
                              "net_group_pcs_elem_1_type=ipaddr\n"
                              "net_group_pcs_elem_1_obj=net_ipaddr_pc\n"
                              "net_group_pcs_elem_3_type=emptygroup\n"
                              "net_group_pcs_elem_3_obj=net_ipaddr_pc\n"
                              "net_group_peers_elem_1_type=vpnnetwork\n"
                              "net_group_peers_elem_1_obj=net_vpnnetwork_quay\n"
                              "net_group_peers_elem_2_type=vpnclient\n"
                              "net_group_peers_elem_2_obj=net_vpnclient_road\n"
                              "net_group_none_elem=\n"
                              "net_dns_web_addr=web.invalid\n"
                              "net_email_me_addr=me@x.invalid\n"
                              "net_destobj_quay_addr=net_vpnnetwork_quay\n"
                              "net_destobj_lost_addr=net_ipaddr_nowhere\n"
                              "net_destobj_bare_note=x\n"
                              "net_destobj_nest_inner_addr=net_vpnnetwork_quay\n";

class rule_walk : public conversion_test
{
  protected:
    // Walks a list of rules as read_vpndata does; `flags` as for the callback.
    static void walk(const char *key, std::uint32_t flags)
    {
        enum_rule_list(&def_database, node(key), [flags](frag **db, frag *rule, const char *word) {
            EXPECT_STREQ("rule", word);
            return vpn_enum_link_rules(db, rule, flags);
        });
    }
};

TEST_F(rule_walk, makes_links_by_the_types_of_both_sides)
{
    static const struct {
        const char *src, *dst, *links; // "remote local" of each link, without their types
    } cases[] = {
        {"net_vpnnetwork_quay", "net_ipaddr_pc", "10.2.0.7 10.1.0.7\n"},
        {"net_ipaddr_pc", "net_vpnnetwork_quay", "10.2.0.7 10.1.0.7\n"},
        {"net_vpnclient_road", "net_ipaddr_pc", "0.0.0.0 10.1.0.7\n"},
        {"net_ipaddr_pc", "net_vpnclient_road", "0.0.0.0 10.1.0.7\n"},
        {"net_ipaddr_pc", "net_dns_web", ""},
        {"net_vpnnetwork_quay", "net_vpnclient_road", "0.0.0.0 10.2.0.7\n"},
        {"net_vpnclient_road", "net_vpnnetwork_quay", "0.0.0.0 10.2.0.7\n"},
        {"net_vpnclient_road", "net_vpnclient_road", ""},
        {"net_vpnnetwork_quay", "net_group_pcs", "10.2.0.7 10.1.0.7\n10.2.0.7 web.invalid\n"},
        {"net_group_pcs", "net_vpnnetwork_quay", "10.2.0.7 10.1.0.7\n10.2.0.7 web.invalid\n"},
        {"net_group_pcs", "net_group_peers",
         "10.2.0.7 10.1.0.7\n0.0.0.0 10.1.0.7\n10.2.0.7 web.invalid\n0.0.0.0 web.invalid\n"},
        {"net_group_peers", "net_group_pcs",
         "10.2.0.7 10.1.0.7\n10.2.0.7 web.invalid\n0.0.0.0 10.1.0.7\n0.0.0.0 web.invalid\n"},
        {"net_group_pcs", "net_group_pcs", ""},
        {"net_group_none", "net_vpnnetwork_quay", ""},
        {"net_ipaddr_pc", "net_destobj_quay", "10.2.0.7 10.1.0.7\n"},
        {"net_ipaddr_pc", "net_destobj_nest_inner", "10.2.0.7 10.1.0.7\n"},
        {"net_group_pcs", "net_destobj_quay", "10.2.0.7 10.1.0.7\n10.2.0.7 web.invalid\n"},
        // What a list entry does not lead to stays, and its key is the peer.
        {"net_vpnnetwork_quay", "net_destobj_lost", "10.2.0.7 net_destobj_lost\n"},
        {"net_vpnnetwork_quay", "net_destobj_bare", "10.2.0.7 net_destobj_bare\n"},
        {"net_ipaddr_pc", "net_destobj_lost", ""},
        {"net_email_me", "net_vpnnetwork_quay", "10.2.0.7 me@x.invalid\n"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(std::string(c.src) + " to " + c.dst);
        start_anew();
        load_tree(objects);
        vpn_check_link_pair(&def_database, node(c.src), node(c.dst));
        std::string made;
        for (const auto &link : linkinfos)
            made += link->rnetwork_start_address + " " + link->lnetwork_start_address + "\n";
        EXPECT_EQ(c.links, made);
        EXPECT_EQ(0, vpn_check_link_pair(&def_database, nullptr, node(c.dst)));
        EXPECT_EQ(0, vpn_check_link_pair(&def_database, node(c.src), nullptr));
    }
}

TEST_F(rule_walk, traces_how_it_judged)
{
    static const struct {
        const char *src, *dst, *trace;
    } cases[] = {
        {"net_ipaddr_pc", "net_dns_web", "Dst dns check\n"},
        {"net_ipaddr_pc", "net_destobj_bare", "Dst destobj not found\nDst destobj check\n"},
        {"net_ipaddr_pc", "net_destobj_lost",
         "Dst destobj net_ipaddr_nowhere\nDst destobj check\n"},
        {"net_vpnclient_road", "net_vpnclient_road",
         "Src VPN with dest vpnclient\n"
         "TRACE chained(net_vpnclient_road, net_vpnclient_road)\n"},
        {"net_group_pcs", "net_dns_web", "Src group check pcs\nDst dns check\nDst dns check\n"},
        {"net_ipaddr_pc", "net_group_none", "Dst group check\n"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(std::string(c.src) + " to " + c.dst);
        start_anew();
        load_tree(objects);
        EXPECT_EQ(c.trace,
                  trace_of([&] { vpn_check_link_pair(&def_database, node(c.src), node(c.dst)); }));
    }
}

TEST_F(rule_walk, sets_the_state_of_each_rule)
{
    static const struct {
        const char *label, *rules;
        std::uint32_t flags;
        const char *state; // "number level label" of each rule
    } cases[] = {
        {"sorted by number", "r_10_src=x\nr_9_src=x\n", 0, "9 2 -\n10 2 -\n"},
        {"number child", "r_web_number=7\n", 0, "7 2 -\n"},
        {"the name goes first", "r_3_number=7\n", 0, "3 2 -\n"},
        {"name 0 takes the child", "r_0_number=7\n", 0, "7 2 -\n"},
        {"neither: the rule before", "r_5_src=x\nr_web_src=x\n", 0, "5 2 -\n5 2 -\n"},
        {"the first of all without one", "r_0_src=x\n", 0, "0 2 -\n"},
        {"negative counts as none", "r_-4_number=-3\n", 0, "0 2 -\n"},
        {"number behind text", "r_4x_src=x\n", 0, "4 2 -\n"},
        {"proxy", "r_1_src=x\n", PROXY_RULE, "1073741825 2 -\n"},
        {"proxy without a number", "r_0_src=x\n", PROXY_RULE, "1073741824 2 -\n"},
        {"bit of a proxy in the number", "r_1073741826_src=x\n", 0, "2 2 -\n"},
        {"level and label", "r_1_loglevel_number=4x\nr_1_rulelabel=a b\n", 0, "1 4 a b\n"},
        {"empty level and label", "r_1_loglevel_number=\nr_1_rulelabel=\n", 0, "1 0 \n"},
        {"level without a number", "r_1_loglevel_name=x\n", 0, "1 2 -\n"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        start_anew();
        load_tree(c.rules);
        std::string state;
        nestinglevel = 3;
        enum_rule_list(&def_database, node("r"), [&](frag **db, frag *rule, const char *) {
            EXPECT_EQ(0, vpn_enum_link_rules(db, rule, c.flags));
            EXPECT_EQ(0, nestinglevel);
            state += std::to_string(rulenumber) + " " + std::to_string(ruleloglevel) + " " +
                     (rulelabel != nullptr ? rulelabel : "-") + "\n";
            return 0;
        });
        EXPECT_EQ(c.state, state);
    }
    EXPECT_EQ(1, enum_rule_list(&def_database, nullptr, nullptr));
    EXPECT_EQ(0, vpn_enum_link_rules(&def_database, nullptr, 0));
}

TEST_F(rule_walk, keeps_the_number_over_lists)
{
    load_tree("r_5_src=x\nq_0_src=x\n");
    walk("r", 0);
    walk("q", PROXY_RULE);
    EXPECT_EQ(static_cast<std::int32_t>(PROXY_RULE | 5), rulenumber);
}

TEST_F(rule_walk, finds_both_sides_or_says_so)
{
    static const struct {
        const char *label, *rule, *trace_start, *src_after;
    } cases[] = {
        {"no source", "r_1_dst=net_ipaddr_pc\n", "vpn enum rule, src not found: (<NULL>)\n",
         nullptr},
        {"source without a value", "r_1_src_x=y\n", "vpn enum rule, src not found: (<NULL>)\n",
         nullptr},
        {"no destination", "r_1_src=net_ipaddr_pc\n", "vpn enum rule, dst not found: (<NULL>)\n",
         "net_ipaddr_pc"},
        {"the other list's destination", "r_1_src=net_ipaddr_pc\nr_1_dest=net_ipaddr_pc\n",
         "vpn enum rule, dst not found: (<NULL>)\n", "net_ipaddr_pc"},
        {"key of a part", "r_1_src=net_ipaddr_pc_mask\nr_1_dst=net_ipaddr_gate_x\n",
         "Dst ipaddr check\n", "net_ipaddr_pc"},
        {"lost altogether", "r_1_src=net_ipaddr_lost_addr\n",
         "vpn enum rule, src not found: (net_ipaddr_lost)\n", "net_ipaddr_lost"},
        {"no part to lose", "r_1_src=lost\n", "vpn enum rule, src not found: (lost)\n", "lost"},
        {"part at the very start stays", "r_1_src=_lost\n",
         "vpn enum rule, src not found: (_lost)\n", "_lost"},
        {"empty", "r_1_src=\n", "vpn enum rule, src not found: ()\n", ""},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        start_anew();
        load_tree(objects + std::string(c.rule));
        EXPECT_EQ(c.trace_start, trace_of([] { walk("r", 0); }));
        const char *src = fval(&def_database, "r_1_src");
        EXPECT_STREQ(c.src_after, src);
    }
    start_anew();
    load_tree(objects + std::string("r_1_src=net_ipaddr_pc\nr_1_dst=net_ipaddr_pc\n"));
    EXPECT_EQ("vpn enum rule, dst not found: (<NULL>)\n", trace_of([] { walk("r", PROXY_RULE); }))
        << "a proxy rule has dest";
}

TEST_F(rule_walk, passes_over_empty_groups_by_their_exact_word)
{
    load_tree(objects);
    for (const char *type : {"emptygroup", "EMPTYGROUP"}) {
        SCOPED_TRACE(type);
        vpn_enum_link_src(&def_database, node("net_ipaddr_pc"), type, node("net_vpnnetwork_quay"));
        vpn_enum_link_dst(&def_database, node("net_ipaddr_pc"), type, node("net_vpnnetwork_quay"));
        EXPECT_EQ(is_empty_group(type) ? 0u : 2u, linkinfos.size());
    }
    EXPECT_FALSE(is_empty_group(nullptr));
}

TEST_F(rule_walk, reports_lost_objects_up_to_a_bound)
{
    std::string lines = objects;
    for (int i = 1; i <= 2 * MAX_OBJECT_REPORTS; ++i)
        lines += "net_group_lost_elem_" + std::to_string(i) + "_obj=net_ipaddr_lost\n";
    load_tree(lines);
    const fake_log log;
    vpn_check_link_pair(&def_database, node("net_group_lost"), node("net_vpnnetwork_quay"));
    EXPECT_EQ(MAX_OBJECT_REPORTS, fake_log::calls);
    EXPECT_EQ("vhltcfgerr: Further reports about objects are left out.", fake_log::text);
}

TEST_F(rule_walk, visits_as_many_objects_in_the_next_run)
{
    while (count_object_visit()) {
    }
    start_rule_walk();
    EXPECT_TRUE(count_object_visit());
}
