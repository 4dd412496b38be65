#include "lib/frag/netobj_text.h"

#include <gtest/gtest.h>
#include <string>

#include "lib/frag/frag.h"
#include "lib/frag/frag_name.h"
#include "tests/frag/report_lines.h"
#include "tests/frag/tree_text.h"

static constexpr const char *OBJECTS =
    "net_ipaddr_a_addr=10.0.0.1\nnet_ipaddr_b_addr=10.0.0.2\nnet_ipaddr_none=\n"
    "net_ipmask_m_addr=255.0.0.0\nnet_ipnet_n_addr=net_ipaddr_a\nnet_ipnet_n_mask=net_ipmask_m\n";

struct text_row {
    const char *label, *tree, *key;
    const char *want; // each text with a bar behind it
    int result;       // the callback gives 1, 2, 3, ...
    const char *reports = "";
};

TEST(EnumNetobj, Cases)
{
    static const text_row rows[] = {
        {"ipaddr", "", "net_ipaddr_a", "10.0.0.1|", 1},
        {"type in any case", "net_EMAIL_e_addr=a@b\n", "net_EMAIL_e", "a@b|", 1},
        {"dns", "net_dns_d_addr=h.invalid\n", "net_dns_d", "h.invalid|", 1},
        {"no address", "", "net_ipaddr_none", "net_ipaddr_none|", 1},
        {"empty address", "net_dns_d_addr=\n", "net_dns_d", "|", 1},
        {"iprange", "net_iprange_r_start=net_ipaddr_a\nnet_iprange_r_end=net_ipaddr_b\n",
         "net_iprange_r", "10.0.0.1-10.0.0.2|", 1},
        {"iprange without end", "net_iprange_r_start=net_ipaddr_a\n", "net_iprange_r", "10.0.0.1|",
         1},
        {"iprange whose start is missing",
         "net_iprange_r_start=net_ipaddr_x\nnet_iprange_r_end=net_ipaddr_b\n", "net_iprange_r",
         "10.0.0.2|", 1},
        {"iprange of nothing", "net_iprange_r_start=net_ipaddr_none\n", "net_iprange_r", "", 0},
        {"ipnet", "", "net_ipnet_n", "10.0.0.1:255.0.0.0|", 1},
        {"ipnet without address", "net_ipnet_x_mask=net_ipmask_m\n", "net_ipnet_x", "255.0.0.0|",
         1},
        {"pattern", "net_pattern_p_pat=10.*\n", "net_pattern_p", "10.*|", 1},
        {"pattern without text", "net_pattern_p=\n", "net_pattern_p", "", 0},
        {"client", "net_vpnclient_all%5Fof=\n", "net_vpnclient_all%5Fof", "~all%5Fof|", 1},
        {"unknown type", "", "net_ipmask_m", "net_ipmask_m|", 1},
        {"no object", "", "192.0.2.1", "192.0.2.1|", 1},
        {"object at the top", "x_addr=1\n", "x", "x|", 1},
        {"group", // sorted; a missing object gives its name, no object the group's key
         "net_group_g_elem_10_obj=net_ipaddr_a\nnet_group_g_elem_9_obj=net_ipnet_n\n"
         "net_group_g_elem_8_obj=192.0.2.1\nnet_group_g_elem_7=\n",
         "net_group_g", "net_group_g|192.0.2.1|10.0.0.1:255.0.0.0|10.0.0.1|", 4},
        {"group without elem", "net_group_g=\n", "net_group_g", "", 0},
        {"group without members", "net_group_g_elem=\n", "net_group_g", "", 0},
        {"groups in a group",
         "net_group_g_elem_1_obj=net_group_h\nnet_group_g_elem_2_obj=net_ipaddr_b\n"
         "net_group_h_elem_1_obj=net_ipaddr_none\n",
         "net_group_g", "net_ipaddr_none|10.0.0.2|", 2},
        {"groups in a circle",
         "net_group_g_elem_1_obj=net_group_h\nnet_group_h_elem_1_obj=net_group_g\n"
         "net_group_h_elem_2_obj=net_ipaddr_a\n",
         "net_group_g", "10.0.0.1|", 1, "vhltcfgerr: Object net_group_g is recursive.\n"},
        {"the last member's result counts",
         "net_group_g_elem_1_obj=net_ipaddr_a\nnet_group_g_elem_2_obj=net_group_g\n", "net_group_g",
         "10.0.0.1|", 0, "vhltcfgerr: Object net_group_g is recursive.\n"},
        {"peer", "net_vpnnetwork_v_ip-address=net_ipaddr_b\nnet_vpnnetwork_v_network=net_ipnet_n\n",
         "net_vpnnetwork_v", "10.0.0.2|10.0.0.1:255.0.0.0|", 2},
        {"peer without its gateway",
         "net_vpnnetwork_v_ip-address=net_ipaddr_b\nnet_vpnnetwork_v_network=net_ipnet_n\n"
         "net_vpnnetwork_v_include-sgo=OFF\n",
         "net_vpnnetwork_v", "10.0.0.1:255.0.0.0|", 1},
        {"peer with a gateway that is on",
         "net_vpnnetwork_v_ip-address=net_ipaddr_b\nnet_vpnnetwork_v_include-sgo=no\n",
         "net_vpnnetwork_v", "10.0.0.2|net_vpnnetwork_v|", 2},
        {"peer with missing objects",
         "net_vpnnetwork_v_ip-address=net_x\nnet_vpnnetwork_v_network=net_y\n", "net_vpnnetwork_v",
         "net_vpnnetwork_v|", 1},
        {"the peer's key goes down",
         "net_vpnnetwork_v_ip-address=net_ipaddr_none\nnet_vpnnetwork_v_network=net_ipaddr_none\n",
         "net_vpnnetwork_v", "net_vpnnetwork_v|net_vpnnetwork_v|", 2},
        {"a peer whose network is itself",
         "net_vpnnetwork_v_ip-address=net_ipaddr_b\nnet_vpnnetwork_v_network=net_vpnnetwork_v\n",
         "net_vpnnetwork_v", "10.0.0.2|", 0, "vhltcfgerr: Object net_vpnnetwork_v is recursive.\n"},
    };
    for (const text_row &row : rows) {
        SCOPED_TRACE(row.label);
        const report_lines reports;
        owned_tree tree(std::string(OBJECTS) + row.tree);
        std::string texts;
        int calls = 0;
        const int result = enum_netobj(&tree.head, row.key, [&](frag *element, const char *text) {
            EXPECT_EQ(element, nullptr);
            texts += std::string(text) + "|";
            return ++calls;
        });
        EXPECT_EQ(texts, row.want);
        EXPECT_EQ(result, row.result);
        EXPECT_EQ(report_lines::text, row.reports);
        EXPECT_EQ(tree_text(tree.head).find('('), std::string::npos) << "a mark left behind";
    }
}

TEST(EnumNetobj6, TextsAreCut)
{
    const std::string half(OBJECT_TEXT_SIZE / 2 + 1, 'x'); // with the mark one too many
    owned_tree tree("net_dns_l_addr=" + half + "\nnet_ipnet_n_addr=net_dns_l\n" +
                    "net_ipnet_n_mask=net_dns_l\n");
    frag *client = newsymfrag(half + half);
    frag *clients = fset(&tree.head, "net_vpnclient", nullptr);
    client->parent = clients;
    clients->child = client;
    const auto text_of_node = [&](frag *obj) {
        std::string given;
        enum_netobj6(&tree.head, obj, "key", [&](frag *, const char *text) {
            given = text;
            return 0;
        });
        return given;
    };
    EXPECT_EQ(text_of_node(ffind(&tree.head, "net_ipnet_n")),
              (half + ":" + half).substr(0, OBJECT_TEXT_SIZE));
    EXPECT_EQ(text_of_node(client), ("~" + half + half).substr(0, OBJECT_TEXT_SIZE));
    EXPECT_EQ(text_of_node(nullptr), "key");
}

TEST(EnumNetobj42, OlderForm)
{
    static constexpr const char *TREE =
        "netobj_list_l_element_b=1\nnetobj_list_l_element_a=2\nnetobj_list_empty_element=\n"
        "netobj_list_none=\nnetobj_group_none=\nnetobj_group_empty_member=\n"
        "netobj_group_g_member_2_name=l\nnetobj_group_g_member_2_type=List\n"
        "netobj_group_g_member_1_name=h\nnetobj_group_g_member_1_type=Group\n"
        "netobj_group_g_member_3_name=l\nnetobj_group_g_member_3_type=list\n"
        "netobj_group_g_member_4_name=x\nnetobj_group_g_member_4_type=G\n"
        "netobj_group_g_member_5_type=G\nnetobj_group_g_member_6_name=empty\n"
        "netobj_group_h_member_1_name=g\nnetobj_group_h_member_1_type=G\n"
        "netobj_group_h_member_2_name=l\nnetobj_group_h_member_2_type=L\n"
        "netobj_group_lost_member_1_name=x\nnetobj_group_lost_member_1_type=L\n"
        "netobj_group_lost_member_2_name=l\nnetobj_group_lost_member_2_type=L\n";
    static const struct {
        const char *label, *key;
        int stop_at; // the call that gives 5; the others give 0
        const char *want;
        int result;
    } rows[] = {
        {"list in tree order", "l", 0, "l_element_b:l l_element_a:l ", 0},
        {"list that is stopped", "l", 1, "l_element_b:l ", 5},
        {"list without entries", "empty", 0, "", 0},
        {"list without element", "none", 0, "", 1},
        {"no list", "x", 0, "null:x ", 0},
        {"no list, result", "x", 1, "null:x ", 5},
        {"groups in a circle", "$$NETOBJ.g", 0,
         "l_element_b:l l_element_a:l l_element_b:l l_element_a:l ", 0},
        {"group that is stopped", "$$NETOBJ.g", 3, "l_element_b:l l_element_a:l l_element_b:l ", 5},
        {"group without member", "$$NETOBJ.none", 0, "", 1},
        {"group without members", "$$NETOBJ.empty", 0, "", 0},
        {"a missing list stops", "$$NETOBJ.lost", 0, "", 1},
        {"no group", "$$NETOBJ.x", 0, "", 1},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.label);
        owned_tree tree(TREE);
        const std::string before = tree_text(tree.head);
        std::string calls;
        int count = 0;
        const text_callback callback = [&](frag *element, const char *text) {
            constexpr std::size_t BEFORE_NAME = std::string_view("netobj_list_").size();
            calls += element == nullptr ? "null" : fragkeyname(element) + BEFORE_NAME;
            calls += std::string(":") + text + " ";
            return ++count == row.stop_at ? 5 : 0;
        };
        EXPECT_EQ(enum_netobj42(&tree.head, row.key, callback), row.result);
        EXPECT_EQ(calls, row.want);
        EXPECT_EQ(tree_text(tree.head), before); // the guard in the groups is gone
        if (row.key[0] != '$')
            continue;
        calls.clear();
        count = 0;
        EXPECT_EQ(enum_netobj(&tree.head, row.key, callback), row.result);
        EXPECT_EQ(calls, row.want);
    }
}

TEST(NetobjToNetperm, Cases)
{
    const std::string long_text(NETPERM_TEXT_SIZE - 10, 'x');
    const struct {
        const char *label, *key;
        std::string tree, want;
    } rows[] = {
        {"one text", "net_ipaddr_a", "", "10.0.0.1"},
        {"three texts", "net_group_g",
         "net_group_g_elem_1_obj=net_ipaddr_a\nnet_group_g_elem_2_obj=net_ipnet_n\n"
         "net_group_g_elem_3_obj=10.9.*\n",
         "10.0.0.1 10.0.0.1:255.0.0.0 10.9.*"},
        {"missing object", "10.0.0.9", "", ""},
        {"older group", "$$NETOBJ.g",
         "netobj_group_g_member_1_name=l\nnetobj_group_g_member_1_type=L\n"
         "netobj_list_l_element_1=x\n",
         ""},
        {"as long as fits", "net_group_g",
         "net_dns_d_addr=" + long_text + "\nnet_group_g_elem_1_obj=net_dns_d\n" +
             "net_group_g_elem_2_obj=123456789\n",
         long_text + " 123456789"},
        {"longer", "net_group_g",
         "net_dns_d_addr=" + long_text + "\nnet_group_g_elem_1_obj=net_dns_d\n" +
             "net_group_g_elem_2_obj=1234567890\nnet_group_g_elem_3_obj=y\n",
         long_text + " 123456789"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.label);
        owned_tree tree(OBJECTS + row.tree);
        EXPECT_EQ(netobj_to_netperm(&tree.head, row.key), row.want);
    }
}

TEST(IsAuthon, Cases)
{
    static const struct {
        const char *text;
        bool want;
    } rows[] = {{nullptr, false},   {"", false},      {"never", false}, {"NEVER", false},
                {"Inherit", false}, {"never ", true}, {"always", true}, {"off", true}};
    for (const auto &row : rows)
        EXPECT_EQ(is_authon(row.text), row.want) << testing::PrintToString(row.text);
}
