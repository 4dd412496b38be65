#include "flatlink/add_link.h"

#include "tests/flatlink/conversion_test.h"

// Two peers with a gateway and a network each, and clients. Rows add to or replace these lines.
static const char peers[] = "net_ipaddr_pc_addr=10.9.0.7\n"
                            "net_ipaddr_agate_addr=192.0.2.1\nnet_ipaddr_afar_addr=10.1.0.7\n"
                            "net_vpnnetwork_a_ip-address=net_ipaddr_agate\n"
                            "net_vpnnetwork_a_network=net_ipaddr_afar\n"
                            "net_ipaddr_bgate_addr=192.0.2.2\nnet_ipaddr_bfar_addr=10.2.0.7\n"
                            "net_vpnnetwork_b_ip-address=net_ipaddr_bgate\n"
                            "net_vpnnetwork_b_network=net_ipaddr_bfar\n"
                            "net_vpnclient_c_note=x\nnet_vpnclient_d_note=x\n";

class add_link : public conversion_test
{
  protected:
    // "owner: remote local" of each link that was made.
    static std::string made()
    {
        std::string text;
        for (const auto &link : linkinfos)
            text += link->lname.substr(link->lname.find_last_of("_~") + 1) + ": " +
                    link->rnetwork_start_address + " " + link->lnetwork_start_address + "\n";
        return text;
    }
};

TEST_F(add_link, pairs_gateway_and_network_with_firewall_and_peer)
{
    static const struct {
        const char *label, *lines, *vpnobj;
        int result;
        const char *links;
    } cases[] = {
        {"peer", "", "net_vpnnetwork_a", 0,
         "a: 192.0.2.1 127.0.0.1\na: 10.1.0.7 127.0.0.1\na: 192.0.2.1 10.9.0.7\n"
         "a: 10.1.0.7 10.9.0.7\n"},
        {"peer without its gateway", "net_vpnnetwork_a_include-sgo=OFF\n", "net_vpnnetwork_a", 0,
         "a: 10.1.0.7 10.9.0.7\n"},
        {"other words leave the gateway in", "net_vpnnetwork_a_include-sgo=no\n",
         "net_vpnnetwork_a", 0,
         "a: 192.0.2.1 127.0.0.1\na: 10.1.0.7 127.0.0.1\na: 192.0.2.1 10.9.0.7\n"
         "a: 10.1.0.7 10.9.0.7\n"},
        {"peer without a network", "net_vpnnetwork_a_network=net_ipaddr_lost\n", "net_vpnnetwork_a",
         0, "a: 192.0.2.1 127.0.0.1\na: 192.0.2.1 10.9.0.7\n"},
        {"neither", "net_vpnnetwork_a_network=x\nnet_vpnnetwork_a_include-sgo=off\n",
         "net_vpnnetwork_a", 1, ""},
        {"gateway that is missing", "net_vpnnetwork_a_ip-address=x\n", "net_vpnnetwork_a", 1, ""},
        {"gateway that is missing and not wanted",
         "net_vpnnetwork_a_ip-address=x\nnet_vpnnetwork_a_include-sgo=off\n", "net_vpnnetwork_a", 1,
         ""},
        {"client", "", "net_vpnclient_c", 0, "c: 0.0.0.0 127.0.0.1\nc: 0.0.0.0 10.9.0.7\n"},
        {"client without the firewall", "net_vpnclient_c_include-sgo=off\n", "net_vpnclient_c", 0,
         "c: 0.0.0.0 10.9.0.7\n"},
        {"type in another case of letters", "net_VPNCLIENT_e_include-sgo=off\n", "net_VPNCLIENT_e",
         0, "e: 0.0.0.0 10.9.0.7\n"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        start_anew();
        load_tree(std::string(peers) + c.lines);
        EXPECT_EQ(c.result, vpn_add_link(&def_database, node(c.vpnobj), node("net_ipaddr_pc")));
        EXPECT_EQ(c.links, made());
    }
}

TEST_F(add_link, traces_what_it_misses)
{
    static const struct {
        const char *label, *lines, *vpnobj, *trace;
    } cases[] = {
        {"gateway's object", "net_vpnnetwork_a_ip-address=lost\nnet_vpnnetwork_a_network=lost\n",
         "net_vpnnetwork_a", "find_sgo_ip cannot find sgo (lost)\nCannot find network/sgo 0/0\n"},
        {"gateway's key", "net_vpnnetwork_e_include-sgo=off\n", "net_vpnnetwork_e",
         "find_sgo_ip cannot find sgo (NULL)\nCannot find network/sgo 0/0\n"},
        {"another type", "", "net_ipaddr_pc", "Wrong type for vpn_add_link (ipaddr)\n"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        start_anew();
        load_tree(std::string(peers) + c.lines);
        EXPECT_EQ(c.trace, trace_of([&] {
                      vpn_add_link(&def_database, node(c.vpnobj), node("net_ipaddr_pc"));
                  }));
    }
}

TEST_F(add_link, offers_each_side_of_a_chain_to_the_other)
{
    static const char a_with_b[] = "a: 192.0.2.1 127.0.0.1\na: 10.1.0.7 127.0.0.1\n"
                                   "a: 192.0.2.1 192.0.2.2\na: 10.1.0.7 192.0.2.2\n"
                                   "a: 192.0.2.1 127.0.0.1\na: 10.1.0.7 127.0.0.1\n"
                                   "a: 192.0.2.1 10.2.0.7\na: 10.1.0.7 10.2.0.7\n";
    static const struct {
        const char *label, *lines, *first, *second;
        int result;
        std::string links;
    } cases[] = {
        {"two peers", "", "net_vpnnetwork_a", "net_vpnnetwork_b", 0,
         "b: 192.0.2.2 127.0.0.1\nb: 10.2.0.7 127.0.0.1\nb: 192.0.2.2 192.0.2.1\n"
         "b: 10.2.0.7 192.0.2.1\nb: 192.0.2.2 127.0.0.1\nb: 10.2.0.7 127.0.0.1\n"
         "b: 192.0.2.2 10.1.0.7\nb: 10.2.0.7 10.1.0.7\n" +
             std::string(a_with_b)},
        {"the first leaves its gateway out", "net_vpnnetwork_a_include-sgo=off\n",
         "net_vpnnetwork_a", "net_vpnnetwork_b", 0,
         "b: 192.0.2.2 127.0.0.1\nb: 10.2.0.7 127.0.0.1\nb: 192.0.2.2 10.1.0.7\n"
         "b: 10.2.0.7 10.1.0.7\na: 10.1.0.7 192.0.2.2\na: 10.1.0.7 10.2.0.7\n"},
        {"the first has no gateway", "net_vpnnetwork_a_ip-address=lost\n", "net_vpnnetwork_a",
         "net_vpnnetwork_b", 0, ""},
        {"the second has no gateway", "net_vpnnetwork_b_ip-address=lost\n", "net_vpnnetwork_a",
         "net_vpnnetwork_b", 1, ""},
        {"peer and client", "net_vpnclient_c_include-sgo=off\n", "net_vpnnetwork_a",
         "net_vpnclient_c", 0, "c: 0.0.0.0 192.0.2.1\nc: 0.0.0.0 10.1.0.7\n"},
        {"client and peer", "net_vpnclient_c_include-sgo=off\n", "net_vpnclient_c",
         "net_vpnnetwork_a", 0, "c: 0.0.0.0 192.0.2.1\nc: 0.0.0.0 10.1.0.7\n"},
        {"two clients", "", "net_vpnclient_c", "net_vpnclient_d", 0, ""},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        start_anew();
        load_tree(std::string(peers) + c.lines);
        EXPECT_EQ(c.result, vpn_add_chained_links(&def_database, node(c.first), node(c.second)));
        EXPECT_EQ(c.links, made());
    }
}

TEST_F(add_link, makes_the_pseudo_objects_once)
{
    load_tree(std::string(peers) + "net_ipaddr_localhost_addr=10.9.9.9\n");
    int flag = -1;
    EXPECT_EQ(node("net_ipaddr_agate"),
              find_sgo_ip(&def_database, node("net_vpnnetwork_a"), &flag));
    EXPECT_EQ(1, flag);
    EXPECT_EQ(node("net_ipaddr_localhost"), vpn_flocal);
    EXPECT_STREQ("127.0.0.1", fval(&def_database, "net_ipaddr_localhost_addr"));
    EXPECT_STREQ("*", fval(&def_database, "net_pattern_any_pat"));
    fset(&def_database, "net_pattern_any_pat", "10.*");
    EXPECT_EQ(nullptr, find_sgo_ip(&def_database, node("net_vpnclient_c"), &flag));
    EXPECT_STREQ("10.*", fval(&def_database, "net_pattern_any_pat")) << "made once a run";
}

TEST_F(add_link, names_objects)
{
    load_tree(std::string(peers) + "net_ipaddr_pc_name=My PC\nnet_ipaddr_pc2_name_x=y\n"
                                   "net_vpnnetwork_e_ip-address=net_ipaddr_pc2\n");
    static const struct {
        const char *key, *name;
    } names[] = {{"net_ipaddr_pc", "My PC"},
                 {"net_ipaddr_agate", "net_ipaddr_agate"},
                 {"net_ipaddr_pc2", "net_ipaddr_pc2"}, // its name has no value
                 {"net_lost", "net_lost"},
                 {"", ""},
                 {nullptr, ""}};
    for (const auto &c : names)
        EXPECT_STREQ(c.name, name_of_object(&def_database, c.key));
    EXPECT_STREQ("192.0.2.1", name_of_sgo_object(&def_database, node("net_vpnnetwork_a")));
    EXPECT_STREQ("", name_of_sgo_object(&def_database, node("net_vpnnetwork_e")));
    EXPECT_STREQ("", name_of_sgo_object(&def_database, node("net_vpnclient_c")));
}
