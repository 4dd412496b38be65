#include "flatlink/trusted_link.h"

#include "flatlink/add_link.h"
#include "flatlink/post_decode.h"
#include "tests/flatlink/conversion_test.h"
#include "tests/ulib/fake_log.h"

static const char objects[] =
    "net_ipaddr_pc_addr=10.1.0.7\nnet_ipaddr_gate_addr=192.0.2.1\nnet_ipaddr_first_addr=10.2.0.5\n"
    "net_ipaddr_last_addr=10.2.0.9\nnet_ipaddr_base_addr=10.2.0.0\nnet_ipmask_m_addr=255.255.255."
    "0\n"
    "net_ipnet_far_addr=net_ipaddr_base\nnet_ipnet_far_mask=net_ipmask_m\n"
    "net_ipnet_bare_addr=net_ipaddr_base\nnet_ipnet_none_addr=lost\n"
    "net_iprange_some_start=net_ipaddr_first\nnet_iprange_some_end=net_ipaddr_last\n"
    "net_dns_web_addr=my-web.invalid\nnet_email_me_addr=me@x.invalid\n"
    "net_pattern_net_pat=10.3.*\nnet_pattern_name_pat=*.*.x.invalid\n"
    "net_pattern_full_pat=10.4.0.7\nnet_pattern_pair_pat=10.4.0.0:255.255.0.0\n"
    "net_pattern_all_pat=*\nnet_pattern_two_pat=10.5.0.7  10.6.*\n"
    "net_destobj_d_addr=net_ipaddr_pc\nnet_vpnclient_road_note=x\n"
    "net_group_g_elem_2_type=iprange\nnet_group_g_elem_2_obj=net_iprange_some\n"
    "net_group_g_elem_1_type=ipaddr\nnet_group_g_elem_1_obj=net_ipaddr_first\n"
    "net_group_g_elem_3_type=emptygroup\nnet_group_g_elem_3_obj=net_ipaddr_last\n"
    "net_vpnnetwork_quay_ip-address=net_ipaddr_gate\nnet_vpnnetwork_quay_name=q\n";

class trusted_link : public conversion_test
{
};

TEST_F(trusted_link, expands_the_remote_side)
{
    static const char local[] = " 10.1.0.7/255.255.255.255/1\n";
    static const struct {
        const char *remote;
        int result;
        std::vector<const char *> remotes; // start/delimiter/type of each link
    } cases[] = {
        {"net_ipaddr_first", 0, {"10.2.0.5/255.255.255.255/1"}},
        {"net_ipnet_far", 0, {"10.2.0.0/255.255.255.0/4"}},
        {"net_ipnet_bare", 0, {"10.2.0.0/255.255.255.255/4"}},
        {"net_ipnet_none", 0, {"0.0.0.0/0.0.0.0/4"}}, // no text is the widest pattern
        {"net_iprange_some", 0, {"10.2.0.5/10.2.0.9/7"}},
        {"net_dns_web", 0, {"my-web.invalid/255.255.255.255/2"}},
        {"net_pattern_net", 0, {"10.3.0.0/255.255.0.0/4"}},
        {"net_pattern_name", 0, {"x.invalid/255.255.255.255/2"}},
        {"net_pattern_full", 0, {"10.4.0.7/255.255.255.255/2"}},
        {"net_pattern_pair", 0, {"10.4.0.0/255.255.0.0/2"}},
        {"net_pattern_all", 0, {"0.0.0.0/0.0.0.0/4"}},
        {"net_pattern_two", 0, {"10.5.0.7/255.255.255.255/2", "10.6.0.0/255.255.0.0/4"}},
        {"net_group_g", 0, {"10.2.0.5/255.255.255.255/1", "10.2.0.5/10.2.0.9/7"}},
        {"net_vpnclient_road", 1, {}},
        {"net_email_me", 1, {}},
        {"net_destobj_d", 1, {}},
        {"net", 1, {}},
        {"net_lost", 1, {}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.remote);
        start_anew();
        load_tree(objects);
        EXPECT_EQ(c.result, vpn_add_trusted_link(&def_database, node("net_vpnnetwork_quay"),
                                                 node(c.remote), node("net_ipaddr_pc")));
        std::string wanted;
        int number = 0;
        for (const char *remote : c.remotes)
            wanted += std::to_string(++number) + " ~q " + remote + local;
        EXPECT_EQ(wanted, link_summary());
        EXPECT_EQ(number, linkno) << "what is refused uses no number";
    }
}

TEST_F(trusted_link, expands_the_local_side)
{
    static const struct {
        const char *local;
        std::vector<const char *> locals;
    } cases[] = {
        {"net_ipaddr_pc", {"10.1.0.7/255.255.255.255/1"}},
        {"net_ipnet_far", {"10.2.0.0/255.255.255.0/4"}},
        {"net_iprange_some", {"10.2.0.5/10.2.0.9/7"}},
        {"net_dns_web", {"my-web.invalid/255.255.255.255/2"}},
        {"net_email_me", {"me@x.invalid/255.255.255.255/2"}},
        {"net_pattern_all", {"0.0.0.0/0.0.0.0/4"}},
        {"net_vpnclient_road", {"~road/255.255.255.255/2"}},
        {"net_destobj_d", {"net_destobj_d/255.255.255.255/2"}},
        {"net_group_g",
         {"10.2.0.5/255.255.255.255/2", "10.2.0.5/10.2.0.9/2", "10.2.0.9/255.255.255.255/2"}},
        {"net_pattern_two", {"10.5.0.7/255.255.255.255/2", "10.6.0.0/255.255.0.0/4"}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.local);
        start_anew();
        load_tree(objects);
        EXPECT_EQ(0, vpn_add_trusted_link(&def_database, node("net_vpnnetwork_quay"),
                                          node("net_ipaddr_first"), node(c.local)));
        std::string wanted;
        int number = 0;
        for (const char *local : c.locals)
            wanted += std::to_string(++number) + " ~q 10.2.0.5/255.255.255.255/1 " + local + "\n";
        EXPECT_EQ(wanted, link_summary());
    }
}

TEST_F(trusted_link, crosses_two_lists_with_the_remote_outermost)
{
    load_tree(objects);
    vpn_add_trusted_link(&def_database, node("net_vpnnetwork_quay"), node("net_pattern_two"),
                         node("net_pattern_two"));
    EXPECT_EQ("1 ~q 10.5.0.7/255.255.255.255/2 10.5.0.7/255.255.255.255/2\n"
              "2 ~q 10.5.0.7/255.255.255.255/2 10.6.0.0/255.255.0.0/4\n"
              "3 ~q 10.6.0.0/255.255.0.0/4 10.5.0.7/255.255.255.255/2\n"
              "4 ~q 10.6.0.0/255.255.0.0/4 10.6.0.0/255.255.0.0/4\n",
              link_summary());
}

TEST_F(trusted_link, is_refused_where_a_side_is_missing)
{
    load_tree(objects);
    frag *quay = node("net_vpnnetwork_quay");
    frag *pc = node("net_ipaddr_pc");
    EXPECT_EQ("TRACE trusted(<NULL>(q), net_ipaddr_pc)\n"
              "TRACE trusted(net_ipaddr_pc(q), <NULL>)\n"
              "TRACE trusted(net_ipaddr_pc(<NULL>), net_ipaddr_pc)\n",
              trace_of([&] {
                  EXPECT_EQ(1, vpn_add_trusted_link(&def_database, quay, nullptr, pc));
                  EXPECT_EQ(1, vpn_add_trusted_link(&def_database, quay, pc, nullptr));
                  EXPECT_EQ(1, vpn_add_trusted_link(&def_database, nullptr, pc, pc));
              }));
}

// The lines of one link, in order. The children stand in the tree in another one.
TEST_F(trusted_link, feeds_the_fields_of_a_peer)
{
    static const char wanted[] =
        "TRACE trusted(net_ipnet_far(q), net_ipaddr_pc)\n<<vlink_1_description=q\n"
        "<<vlink_1_rnetwork_start_address=10.2.0.0\n<<vlink_1_rnetwork_delimiter=255.255.255.0\n"
        "<<vlink_1_rnetwork_type=Subnet\n<<vlink_1_lnetwork_start_address=10.1.0.7\n"
        "<<vlink_1_lnetwork_delimiter=\n<<vlink_1_lnetwork_type=Host\n<<vlink_1_lname=~q\n"
        "<<vlink_1_gateway=192.0.2.1\n<<vlink_1_fixed_remote=On\n<<vlink_1_auth=v-auth\n"
        "<<vlink_1_df_bit=v-df\n<<vlink_1_ikepolicy=Standard\n<<vlink_1_secret=v-secret\n"
        "<<vlink_1_icn=v-icn\n<<vlink_1_io=v-ion\n<<vlink_1_iou=v-iou\n<<vlink_1_ic=v-ic\n"
        "<<vlink_1_ist=v-ist\n<<vlink_1_il=v-il\n<<vlink_1_isa=v-isa\n<<vlink_1_scn=v-scn\n"
        "<<vlink_1_so=v-son\n<<vlink_1_sou=v-sou\n<<vlink_1_sc=v-sc\n<<vlink_1_sst=v-sst\n"
        "<<vlink_1_sl=v-sl\n<<vlink_1_ssa=v-ssa\n<<vlink_1_san_content=v-san-content\n"
        "<<vlink_1_san_type=v-san-type\n<<vlink_1_auth=v-auth\n<<vlink_1_secret=v-secret\n"
        "<<vlink_1_df_bit=v-df\n<<vlink_1_ipsecpolicy=vpn_ipsec_p\n<<vlink_1_logging=1\n"
        "<<vlink_1_rulenumber=5\n<<vlink_1_rulelabel=label\n<<vlink_1_nesting-level=2\n";
    std::string lines = objects;
    for (const char *key : {"df",  "secret", "auth", "san-type", "san-content", "ssa", "sl",
                            "sst", "sc",     "sou",  "son",      "scn",         "isa", "il",
                            "ist", "ic",     "iou",  "ion",      "icn",         "vip", "use-xgw"})
        lines += std::string("net_vpnnetwork_quay_") + key + "=v-" + key + "\n";
    lines += "net_vpnnetwork_quay_ike=vpn_ike_p\nvpn_ike_p_name=Standard\n"
             "net_vpnnetwork_quay_ipsec=vpn_ipsec_p\n";
    load_tree(lines);
    rulenumber = 5;
    ruleloglevel = 1;
    rulelabel = "label";
    nestinglevel = 2;
    EXPECT_EQ(wanted, trace_of([] {
                  vpn_add_trusted_link(&def_database, node("net_vpnnetwork_quay"),
                                       node("net_ipnet_far"), node("net_ipaddr_pc"));
              }));
}

TEST_F(trusted_link, feeds_the_fields_of_a_client)
{
    static const char wanted[] =
        "TRACE trusted(net_pattern_all(net_vpnclient_road), net_ipaddr_pc)\n"
        "<<vlink_1_description=net_vpnclient_road\n<<vlink_1_rnetwork_start_address=0.0.0.0\n"
        "<<vlink_1_rnetwork_delimiter=0.0.0.0\n<<vlink_1_rnetwork_type=Subnet\n"
        "<<vlink_1_lnetwork_start_address=10.1.0.7\n<<vlink_1_lnetwork_delimiter=\n"
        "<<vlink_1_lnetwork_type=Host\n<<vlink_1_lname=~road\n<<vlink_1_fixed_remote=Off\n"
        "<<vlink_1_auth=Certificate based\n<<vlink_1_modecfg=vpn_mcpool_p\n<<vlink_1_icn=v-icn\n"
        "<<vlink_1_io=v-ion\n<<vlink_1_iou=v-iou\n<<vlink_1_ic=v-ic\n<<vlink_1_ist=v-ist\n"
        "<<vlink_1_il=v-il\n<<vlink_1_isa=v-isa\n<<vlink_1_scn=v-scn\n<<vlink_1_so=v-son\n"
        "<<vlink_1_sou=v-sou\n<<vlink_1_sc=v-sc\n<<vlink_1_sst=v-sst\n<<vlink_1_sl=v-sl\n"
        "<<vlink_1_ssa=v-ssa\n<<vlink_1_san_content=v-san-content\n"
        "<<vlink_1_san_type=v-san-type\n<<vlink_1_xgwenforced=v-enforce-xgw\n"
        "<<vlink_1_use_xgw=v-use-xgw\n<<vlink_1_df_bit=v-df\n<<vlink_1_modecfg=Pool\n"
        "<<vlink_1_ipsecpolicy=Strong\n<<vlink_1_logging=2\n<<vlink_1_rulenumber=1073741825\n";
    std::string lines = objects;
    for (const char *key :
         {"df",  "use-xgw", "enforce-xgw", "san-type", "san-content", "ssa",    "sl",
          "sst", "sc",      "sou",         "son",      "scn",         "isa",    "il",
          "ist", "ic",      "iou",         "ion",      "icn",         "secret", "auth"})
        lines += std::string("net_vpnclient_road_") + key + "=v-" + key + "\n";
    lines += "net_vpnclient_road_vip=vpn_mcpool_p\nvpn_mcpool_p_name=Pool\n"
             "net_vpnclient_road_ipsec=vpn_ipsec_p\nvpn_ipsec_p_name=Strong\n"
             "net_vpnclient_road_ike=vpn_ike_p\n";
    load_tree(lines);
    rulenumber = static_cast<std::int32_t>(PROXY_RULE | 1);
    ruleloglevel = 2;
    rulelabel = nullptr;
    EXPECT_EQ(wanted, trace_of([] {
                  vpn_add_trusted_link(&def_database, node("net_vpnclient_road"),
                                       node("net_pattern_all"), node("net_ipaddr_pc"));
              }));
    EXPECT_EQ("Pool", linkinfos[0]->modecfg);
}

TEST_F(trusted_link, cuts_what_is_too_long)
{
    // Stored names hold 127 bytes, so a key of 150 takes two. Cut, it names another object.
    const std::string long_key = "net_ipaddr_" + std::string(117, 'k');
    ASSERT_EQ(LINK_TEXT_SIZE, long_key.size());
    const std::string long_name(200, 'n');
    const std::string long_text(200, 't');
    load_tree(objects + long_key + "_addr=10.7.0.1\n" + long_key + "x_addr=10.7.0.2\n" +
              "net_dns_long_addr=" + long_text + "\nnet_vpnnetwork_long_name=" + long_name + "\n" +
              "net_vpnnetwork_long_secret=" + std::string(9000, 's') + "\n");
    fset(&def_database, (long_key + "x_addr").c_str(), "10.7.0.2");
    const std::string trace = trace_of([&] {
        vpn_add_trusted_link(&def_database, node("net_vpnnetwork_long"),
                             node((long_key + "x").c_str()), node("net_dns_long"));
        vpn_add_trusted_link(&def_database, node("net_vpnnetwork_long"), node("net_dns_long"),
                             node("net_ipaddr_pc"));
    });
    ASSERT_EQ(2u, linkinfos.size());
    EXPECT_EQ("10.7.0.1", linkinfos[0]->rnetwork_start_address);
    EXPECT_EQ("~" + long_name.substr(0, 128), linkinfos[0]->lname);
    EXPECT_EQ(long_text, linkinfos[0]->lnetwork_start_address) << "the local text is not cut";
    EXPECT_EQ(long_text.substr(0, 128), linkinfos[1]->rnetwork_start_address);
    EXPECT_EQ(LINE_SIZE - 1 - std::string("1_secret=").size(), linkinfos[0]->peer.secret.size());
    EXPECT_EQ(0u, trace.find("TRACE trusted(" + long_key + "(" + long_name.substr(0, 128) + "), "));
}

TEST_F(trusted_link, leaves_out_members_by_their_exact_word)
{
    load_tree(objects);
    const trust_context context{node("net_vpnnetwork_quay"), node("net_ipaddr_pc")};
    frag *first = node("net_ipaddr_first");
    EXPECT_EQ(0, vpn_enum_add_trust(&def_database, first, "emptygroup", context));
    EXPECT_EQ(0, vpn_enum_add_trust(&def_database, nullptr, "ipaddr", context));
    EXPECT_EQ(0, vpn_enum_add_trust_dst(&def_database, nullptr, "pattern", context));
    EXPECT_TRUE(linkinfos.empty());
    EXPECT_EQ(0, vpn_enum_add_trust(&def_database, first, nullptr, context));
    EXPECT_EQ(0, vpn_enum_add_trust_dst(&def_database, first, "emptygroup", context));
    EXPECT_EQ("1 ~q 10.2.0.5/255.255.255.255/1 10.1.0.7/255.255.255.255/1\n"
              "2 ~q 10.1.0.7/255.255.255.255/1 10.2.0.5/255.255.255.255/1\n",
              link_summary());
}

TEST_F(trusted_link, stops_at_the_bound_of_a_run)
{
    load_tree(objects);
    const fake_log log;
    linkno = MAX_LINKS - 1;
    const auto add = [] {
        return vpn_add_trusted_link(&def_database, node("net_vpnnetwork_quay"),
                                    node("net_ipaddr_first"), node("net_ipaddr_pc"));
    };
    EXPECT_EQ(0, add());
    EXPECT_EQ(0, fake_log::calls);
    EXPECT_EQ(1, add());
    EXPECT_EQ(1, add());
    EXPECT_EQ(1, fake_log::calls) << "reported once";
    EXPECT_EQ(MAX_LINKS, linkno);
}

// ---- peers inside of peers

// A chain p1, p2, ... of peers, each the network of the one before; the last one's is `end`.
static std::string chain(int length, const std::string &end)
{
    std::string lines = "net_ipaddr_pc_addr=10.1.0.7\nnet_ipaddr_far_addr=10.2.0.7\n";
    for (int i = 1; i <= length; ++i) {
        const std::string number = std::to_string(i);
        const std::string start = "net_vpnnetwork_p" + number + "_";
        lines += "net_ipaddr_g" + number + "_addr=192.0.2." + number + "\n" + start +
                 "ip-address=net_ipaddr_g" + number + "\n" + start + "include-sgo=off\n" + start +
                 "network=" + (i < length ? "net_vpnnetwork_p" + std::to_string(i + 1) : end) +
                 "\n";
    }
    return lines;
}

TEST_F(trusted_link, puts_inner_peers_first)
{
    load_tree(chain(3, "net_ipaddr_far"));
    vpn_add_link(&def_database, node("net_vpnnetwork_p1"), node("net_ipaddr_pc"));
    std::string shown;
    for (const auto &link : linkinfos)
        shown += link->lname + " " + link->rnetwork_start_address + " " +
                 std::to_string(link->nesting_level) + "\n";
    // All peers leave their gateways out, so that each text is the innermost network alone.
    EXPECT_EQ("~net_vpnnetwork_p3 10.2.0.7 2\n~net_vpnnetwork_p2 10.2.0.7 1\n"
              "~net_vpnnetwork_p1 10.2.0.7 0\n",
              shown);
    EXPECT_EQ(0, nestinglevel);
}

TEST_F(trusted_link, refuses_an_inner_peer_without_a_gateway)
{
    load_tree(chain(2, "net_ipaddr_far") + "net_vpnnetwork_p2_ip-address=lost\n");
    EXPECT_EQ(1, vpn_add_trusted_link(&def_database, node("net_vpnnetwork_p1"),
                                      node("net_vpnnetwork_p2"), node("net_ipaddr_pc")));
    EXPECT_EQ("", link_summary());
}

TEST_F(trusted_link, ends_where_peers_lie_inside_of_themselves)
{
    static const struct {
        const char *label;
        int length;
        const char *end;
    } cases[] = {
        {"directly", 1, "net_vpnnetwork_p1"},  {"over another", 2, "net_vpnnetwork_p1"},
        {"over many", 9, "net_vpnnetwork_p1"}, {"further in", 3, "net_vpnnetwork_p2"},
        {"over a group", 2, "net_group_ring"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        start_anew();
        const fake_log log;
        load_tree(chain(c.length, c.end) + "net_group_ring_elem_1_type=vpnnetwork\n"
                                           "net_group_ring_elem_1_obj=net_vpnnetwork_p1\n"
                                           "net_vpnnetwork_other_ip-address=net_ipaddr_g1\n"
                                           "net_vpnnetwork_other_network=net_ipaddr_far\n"
                                           "net_vpnnetwork_other_include-sgo=off\n");
        vpn_check_link_pair(&def_database, node("net_vpnnetwork_p1"), node("net_ipaddr_pc"));
        EXPECT_GT(fake_log::calls, 0);
        EXPECT_NE(std::string::npos, fake_log::text.find(" is recursive."));
        const std::size_t before = linkinfos.size();
        vpn_check_link_pair(&def_database, node("net_vpnnetwork_other"), node("net_ipaddr_pc"));
        EXPECT_EQ(before + 1, linkinfos.size()) << "the walk goes on";
    }
}

TEST_F(trusted_link, bounds_the_depth_of_peers)
{
    const fake_log log;
    load_tree(chain(60, "net_ipaddr_far"));
    vpn_add_link(&def_database, node("net_vpnnetwork_p1"), node("net_ipaddr_pc"));
    EXPECT_EQ("vhltcfgerr: Object net_vpnnetwork_p14 is nested too deeply.", fake_log::text);
    EXPECT_EQ(1, fake_log::calls);
    EXPECT_EQ(0, nestinglevel);
}

TEST_F(trusted_link, bounds_the_reports_about_deep_peers)
{
    std::string lines = chain(MAX_PEER_NESTING + 1, "net_group_many");
    for (int i = 1; i <= 2 * MAX_OBJECT_REPORTS; ++i) {
        const std::string member = "net_group_many_elem_" + std::to_string(i);
        lines += member + "_type=vpnnetwork\n" + member + "_obj=net_vpnnetwork_quay\n";
    }
    const fake_log log;
    load_tree(objects + lines);
    vpn_add_link(&def_database, node("net_vpnnetwork_p1"), node("net_ipaddr_pc"));
    EXPECT_EQ(MAX_OBJECT_REPORTS, fake_log::calls);
    EXPECT_EQ("vhltcfgerr: Further reports about objects are left out.", fake_log::text);
}

// ---- texts

TEST(split_address, cuts_addresses_but_no_names)
{
    static const struct {
        const char *text, *first, *second;
    } cases[] = {
        {"10.1.0.0:255.255.0.0", "10.1.0.0", "255.255.0.0"},
        {"10.1.0.1-10.1.0.9", "10.1.0.1", "10.1.0.9"},
        {"10.1.0.1", "10.1.0.1", ""},
        {"10.1.0.1-10.1.0.9:x", "10.1.0.1", "10.1.0.9:x"},
        {"my-web.invalid", "my-web.invalid", ""},
        {"10.web-1:2", "10.web-1:2", ""},
        {":255.0.0.0", "", "255.0.0.0"},
        {"10.1.0.1-", "10.1.0.1", ""},
        {"", "", ""},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.text);
        const address_parts parts = split_address(c.text);
        EXPECT_EQ(c.first, parts.first);
        EXPECT_EQ(c.second, parts.second);
    }
}
