#include "flatlink/derive/rule_walk.h"

#include "lib/frag/objects/object_run.h"
#include "tests/flatlink/conversion_test.h"
#include "tests/ulib/report_log.h"

// One object of each type that a rule may name. A peer has a gateway (g) and a network (n).
static const std::string objects = each_behind(
    "net_", "ipaddr_pc_addr=10.1.0.7\nipaddr_ag_addr=1.0.0.1\nipaddr_an_addr=1.0.0.2\n"
            "vpnnetwork_a_ip-address=net_ipaddr_ag\nvpnnetwork_a_network=net_ipaddr_an\n"
            "vpnnetwork_a_include-sgo=off\n"
            "ipaddr_bg_addr=2.0.0.1\nipaddr_bn_addr=2.0.0.2\n"
            "vpnnetwork_b_ip-address=net_ipaddr_bg\nvpnnetwork_b_network=net_ipaddr_bn\n"
            "vpnclient_c_include-sgo=off\n"
            "group_pcs_elem_2_type=dns\ngroup_pcs_elem_2_obj=net_dns_web\n"
            "group_pcs_elem_1_type=ipaddr\ngroup_pcs_elem_1_obj=net_ipaddr_pc\n"
            "group_pcs_elem_3_type=emptygroup\ngroup_pcs_elem_3_obj=net_ipaddr_pc\n"
            "group_peers_elem_1_type=vpnnetwork\ngroup_peers_elem_1_obj=net_vpnnetwork_a\n"
            "group_peers_elem_2_type=vpnclient\ngroup_peers_elem_2_obj=net_vpnclient_c\n"
            "dns_web_addr=web.invalid\nemail_me_addr=me@x.invalid\n"
            "destobj_a_addr=net_vpnnetwork_a\ndestobj_lost_addr=net_ipaddr_nowhere\n"
            "vpnnetwork_e_ip-address=lost\ndestobj_bare_note=x\ndestobj_nest_inner_addr=net_"
            "vpnnetwork_a\n");

class rule_walk : public conversion_test
{
  protected:
    // Walks a list of rules as read_vpndata does; `flags` as for the callback.
    static void walk(const char *key, std::uint32_t flags)
    {
        enum_rule_list(&def_database, node(key), [flags](frag **db, frag *rule, const char *) {
            return vpn_enum_link_rules(db, rule, flags);
        });
    }
};

TEST_F(rule_walk, makes_links_by_the_types_of_both_sides)
{
    static const struct {
        const char *src, *dst, *links;
        const char *lines = ""; // that change the objects
    } cases[] = {
        {"vpnnetwork_a", "ipaddr_pc", "a: 1.0.0.2 10.1.0.7\n"},
        {"ipaddr_pc", "vpnnetwork_a", "a: 1.0.0.2 10.1.0.7\n"},
        {"vpnnetwork_a", "group_pcs", "a: 1.0.0.2 10.1.0.7\na: 1.0.0.2 web.invalid\n"},
        {"group_pcs", "group_peers",
         "a: 1.0.0.2 10.1.0.7\nc: 0.0.0.0 10.1.0.7\na: 1.0.0.2 web.invalid\n"
         "c: 0.0.0.0 web.invalid\n"},
        {"ipaddr_pc", "destobj_a", "a: 1.0.0.2 10.1.0.7\n"},
        {"ipaddr_pc", "destobj_nest_inner", "a: 1.0.0.2 10.1.0.7\n"},
        // What a list entry does not lead to stays, and its key is the peer.
        {"vpnnetwork_a", "destobj_lost", "a: 1.0.0.2 net_destobj_lost\n"},
        {"email_me", "vpnnetwork_a", "a: 1.0.0.2 me@x.invalid\n"},
        // Gateways are peers too, and so is the firewall then.
        {"vpnnetwork_b", "ipaddr_pc",
         "b: 2.0.0.1 127.0.0.1\nb: 2.0.0.2 127.0.0.1\nb: 2.0.0.1 10.1.0.7\n"
         "b: 2.0.0.2 10.1.0.7\n"},
        {"vpnnetwork_b", "ipaddr_pc", "b: 2.0.0.2 10.1.0.7\n", "vpnnetwork_b_include-sgo=OFF"},
        {"vpnnetwork_b", "ipaddr_pc", "b: 2.0.0.1 127.0.0.1\nb: 2.0.0.1 10.1.0.7\n",
         "vpnnetwork_b_network=x"},
        {"vpnnetwork_a", "ipaddr_pc", "", "vpnnetwork_a_network=x"},
        {"vpnnetwork_a", "ipaddr_pc", "", "vpnnetwork_a_ip-address=x"},
        {"vpnclient_c", "ipaddr_pc", "c: 0.0.0.0 127.0.0.1\nc: 0.0.0.0 10.1.0.7\n",
         "vpnclient_c_include-sgo=no"},
        {"VPNCLIENT_d", "ipaddr_pc", "d: 0.0.0.0 10.1.0.7\n", "VPNCLIENT_d_include-sgo=off"},
        // Two VPN objects are chained, the second's links first.
        {"vpnnetwork_a", "vpnnetwork_b",
         "b: 2.0.0.1 127.0.0.1\nb: 2.0.0.2 127.0.0.1\nb: 2.0.0.1 1.0.0.2\nb: 2.0.0.2 1.0.0.2\n"
         "a: 1.0.0.2 2.0.0.1\na: 1.0.0.2 2.0.0.2\n"},
        {"vpnnetwork_a", "vpnnetwork_b", "", "vpnnetwork_b_ip-address=x"},
        {"vpnnetwork_b", "vpnclient_c", "c: 0.0.0.0 2.0.0.1\nc: 0.0.0.0 2.0.0.2\n"},
        {"vpnclient_c", "vpnnetwork_b", "c: 0.0.0.0 2.0.0.1\nc: 0.0.0.0 2.0.0.2\n"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(std::string(c.src) + " to " + c.dst + " with " + c.lines);
        start_anew();
        load_tree(objects + each_behind("net_", c.lines) + "r_1_src=net_" + c.src +
                  "\nr_1_dst=net_" + c.dst + "\n");
        walk("r", 0);
        EXPECT_EQ(c.links, made_links());
    }
}

TEST_F(rule_walk, traces_what_it_finds_and_misses)
{
    static const struct {
        std::string rule, trace;
        const char *src_after = "net_ipaddr_pc"; // the tree's name of the source
    } cases[] = {
        {"src=net_ipaddr_pc\ndst=net_dns_web", "Dst dns check"},
        {"src=net_ipaddr_pc\ndst=net_destobj_bare", "Dst destobj not found\nDst destobj check"},
        {"src=net_ipaddr_pc\ndst=net_destobj_lost",
         "Dst destobj net_ipaddr_nowhere\nDst destobj check"},
        {"src=net_vpnnetwork_e\ndst=net_ipaddr_pc",
         "Src VPN with dest ipaddr\nfind_sgo_ip cannot find sgo (lost)\n"
         "Cannot find network/sgo 0/0",
         "net_vpnnetwork_e"},
        {"src=net_vpnclient_c\ndst=net_vpnclient_c",
         "Src VPN with dest vpnclient\nTRACE chained(net_vpnclient_c, net_vpnclient_c)",
         "net_vpnclient_c"},
        {"src=net_group_pcs\ndst=net_dns_web", "Src group check pcs\nDst dns check\nDst dns check",
         "net_group_pcs"},
        {"src=net_ipaddr_pc_mask\ndst=net_ipaddr_ag_x", "Dst ipaddr check"}, // keys of parts
        {"src=net_ipaddr_pc\ndest=net_ipaddr_pc", "vpn enum rule, dst not found: (<NULL>)"},
        {"src=_lost", "vpn enum rule, src not found: (_lost)", "_lost"},
        {"src=net_ipaddr_lost_addr", "vpn enum rule, src not found: (net_ipaddr_lost)",
         "net_ipaddr_lost"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.rule);
        start_anew();
        load_tree(objects + each_behind("r_1_", c.rule));
        EXPECT_EQ(c.trace + "\n", trace_of([] { walk("r", 0); }));
        EXPECT_STREQ(c.src_after, fval(&def_database, "r_1_src"));
    }
    start_anew();
    load_tree(objects + "r_1_src=net_ipaddr_pc\nr_1_dst=net_ipaddr_pc\n");
    EXPECT_EQ("vpn enum rule, dst not found: (<NULL>)\n", trace_of([] { walk("r", PROXY_RULE); }))
        << "a proxy rule has dest";
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
        {"neither: the rule before", "r_5_src=x\nr_web_src=x\n", 0, "5 2 -\n5 2 -\n"},
        {"bit of a proxy in the number", "r_1073741826_src=x\n", 0, "2 2 -\n"},
        {"level and label", "r_1_loglevel_number=4x\nr_1_rulelabel=a b\n", 0, "1 4 a b\n"},
        {"empty level and label", "r_1_loglevel_number=\nr_1_rulelabel=\n", 0, "1 0 \n"},
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
}

TEST_F(rule_walk, reports_lost_objects_up_to_a_bound)
{
    std::string lines = objects;
    for (int i = 1; i <= 2 * MAX_OBJECT_REPORTS; ++i)
        lines += "net_group_lost_elem_" + std::to_string(i) + "_obj=net_ipaddr_lost\n";
    load_tree(lines);
    const report_log log;
    vpn_check_link_pair(&def_database, node("net_group_lost"), node("net_vpnnetwork_a"));
    EXPECT_EQ(MAX_OBJECT_REPORTS, report_log::calls);
    EXPECT_EQ("vhltcfgerr: Further reports about objects are left out.", report_log::text);
}
