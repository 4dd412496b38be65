#include "lib/frag/norm.h"

#include <string>

#include <gtest/gtest.h>

#include "tests/frag/flat_tree.h"

static int norm_parm_of_p(frag **head)
{
    return norm_parm(ffind(head, "p"), "parm", "num_parms", 0);
}

TEST(Norm, Objects)
{
    static const auto pass = [](frag **head) {
        return norm_netobj(ffind(head, "o")->child, "element", "num_elements");
    };
    static const pass_case cases[] = {
        {"named, numbered, counted", pass,
         "o_a%5Fb_element_10_x=1\no_a%5Fb_element_9_x=2\no_deny-c_element=\no_d_name=old\n",
         "o_1_num_elements=2\no_1_name=a_b\no_1_element_1_x=2\no_1_element_2_x=1\n"
         "o_deny-2_num_elements=0\no_deny-2_name=deny-c\no_deny-2_element=\n"
         "o_3_name=d\n"},
    };
    expect_passes(cases);
    flat_tree tree("o_a=\no_b=\n");
    EXPECT_EQ(norm_netobj(ffind(&tree.head, "o")->child, "element", "num_elements"), 3);
    EXPECT_EQ(norm_netobj(nullptr, "element", "num_elements"), 1);
}

TEST(Norm, Parameters)
{
    static const pass_case cases[] = {
        {"all children of the node", norm_parm_of_p, "p_a=1\np_b_x=2\n",
         "p_num_parms=2\n"
         "p_parm_2_value_x=2\np_parm_2_name=b\n"
         "p_parm_1_value=1\np_parm_1_name=a\n"},
        {"only those of its list", norm_parm_of_p, "p_a=1\np_parm_b%5Fc=2\n",
         "p_num_parms=1\np_parm_1_value=2\np_parm_1_name=b_c\np_a=1\n"},
        {"an empty list", norm_parm_of_p, "p_a=1\np_parm=\n", "p_num_parms=0\np_parm\np_a=1\n"},
        {"no children", norm_parm_of_p, "p=\n", "p=\np_num_parms=0\np_parm\n"},
        {"a family with numbers", norm_parm_of_p,
         "p_host=lost\np_host_1=a\np_host_deny-2=b\np_host_x_y=c\np_z=d\n",
         "p_num_parms=4\n"
         "p_parm_4_value=d\np_parm_4_name=z\n"
         "p_parm_3_value\np_parm_3_name=host_x\n"
         "p_parm_2_value=b\np_parm_2_name=deny-host_2\n"
         "p_parm_1_value=a\np_parm_1_name=host_1\n"},
        {"flags become text", norm_parm_of_p,
         "p_permit-a=1\np_permit-relay=2\np_onlyon-b=3\np_deny-permit-c=4\n",
         "p_num_parms=4\n"
         "p_parm_4_value=4\np_parm_4_name=permit-deny-c\n"
         "p_parm_3_value=3\np_parm_3_name=onlyon-b\n"
         "p_parm_2_value=2\np_parm_2_name=permit-relay\n"
         "p_parm_1_value=1\np_parm_1_name=permit-a\n"},
    };
    expect_passes(cases);
}

TEST(Norm, FlagsAndTheTextOfAName)
{
    static const struct {
        const char *label;
        unsigned flags;
        const char *text, *after;
        unsigned flags_after;
    } cases[] = {
        {"permit goes first", 0, "deny-Permit-x", "permit-deny-x", 3},
        {"flags of the node", FRAG_DENY, "x", "deny-x", 2},
        {"repeated", 0, "deny-DENY-deny-x", "deny-x", 2},
        {"other prefixes end the search", 0, "deny-absorb-permit-x", "deny-absorb-permit-x", 2},
        {"no text", FRAG_PERMIT | FRAG_ABSORB, nullptr, "permit-", 5},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        const frag_ptr node(newsymfrag("n"));
        const frag_ptr name(newsymfrag("name"));
        node->flags = row.flags;
        if (row.text != nullptr)
            set_frag_value(name.get(), row.text, std::string_view(row.text).size());
        flags_to_name(node.get(), name.get());
        EXPECT_STREQ(name->value, row.after);
        EXPECT_EQ(name->vlen, static_cast<int>(std::string_view(row.after).size()));
        EXPECT_EQ(node->flags, row.flags_after);
    }
}

TEST(Norm, InterfaceAddresses)
{
    static const auto pass = [](frag **head) {
        norm_ip32(head);
        return 0;
    };
    static const pass_case cases[] = {
        {"no ip", pass, "netobj_list_Inside_element_1_addr=1.1.1.1\n",
         "netobj_list_Inside_element_1_addr=1.1.1.1\n"},
        {"first entries and placeholders", pass,
         "ip_insidemask=old\n"
         "netobj_list_Inside_element_2_addr=2.2.2.2\n"
         "netobj_list_Inside_element_1_addr=1.1.1.1\n"
         "netobj_list_Inside_element_1_netmask=255.0.0.0\n"
         "netobj_list_Inside_element_1_interface=eth0\n"
         "netobj_list_Service_element_1_addr=\n"
         "netobj_list_Service_element_1_netmask=255.0.0.0\n",
         "ip_thirdaddr=none\n"
         "ip_outsideaddr=XXX.XXX.XXX.XXX\n"
         "ip_insidiface=eth0\n"
         "ip_insideaddr=1.1.1.1\n"
         "ip_insidemask=255.0.0.0\n"
         "netobj_list_Inside_element_2_addr=2.2.2.2\n"
         "netobj_list_Inside_element_1_addr=1.1.1.1\n"
         "netobj_list_Inside_element_1_netmask=255.0.0.0\n"
         "netobj_list_Inside_element_1_interface=eth0\n"
         "netobj_list_Service_element_1_addr=\n"
         "netobj_list_Service_element_1_netmask=255.0.0.0\n"},
    };
    expect_passes(cases);
}

TEST(Norm, Renumber)
{
    static const auto map = [](frag **head) {
        return norm_renumber(head, "map", "map_num_entries", "map_num");
    };
    static const auto bare = [](frag **head) {
        return norm_renumber(head, "map", nullptr, nullptr);
    };
    static const pass_case cases[] = {
        {"sorted and counted", map, "map_num_entries=9\nmap_num_x=1\nmap_10=b\nmap_9=a\nmap_x=c\n",
         "map_1=a\nmap_2=b\nmap_3=c\nmap_num_entries=3\n"},
        {"no list", map, "a=\n", "map_num_entries=0\na=\n"},
        {"no other keys", bare, "map_num_entries=9\nmap_3=a\n", "map_1=a\nmap_2_entries=9\n"},
        {"no other keys and no list", bare, "a=\n", "a=\n"},
    };
    expect_passes(cases);
}

TEST(Norm, PacketFilterRules)
{
    static const auto pass = [](frag **head) {
        return norm_pfrules(head, "pfedit_lcl", "pfedit_lcl_numrules");
    };
    static const pass_case cases[] = {
        {"packed in order, counted", pass,
         "pfedit_lcl_numrules=7\n"
         "pfedit_lcl_10_type=deny\npfedit_lcl_10_comment=a note\n"
         "pfedit_lcl_9_more=stays\npfedit_lcl_9_dstport_x=1\n",
         "pfedit_lcl_numrules=2\n"
         "pfedit_lcl_rule1=+++++++++\npfedit_lcl_rule1_more=stays\n"
         "pfedit_lcl_rule2=deny+++++++++a note\n"},
        {"rules in the old form are passed over", pass,
         "pfedit_lcl_rule1=permit\npfedit_lcl_5_type=deny\npfedit_lcl_Rule=x\n",
         "pfedit_lcl_numrules=2\n"
         "pfedit_lcl_rule1=deny+++++++++\npfedit_lcl_rule2=+++++++++\n"
         "pfedit_lcl_rule1=permit\n"},
        {"no list, no counter", pass, "pfedit_fwd_1_type=deny\n", "pfedit_fwd_1_type=deny\n"},
    };
    expect_passes(cases);
}

TEST(Norm, APackedRuleHasALimit)
{
    for (const std::size_t length : {116U, 117U, 118U, 300U}) {
        SCOPED_TRACE(length);
        flat_tree tree("l_1_x=\n");
        frag *rule = ffind(&tree.head, "l_1");
        fset_list(&rule, "comment", std::string(length, 'c').c_str());
        norm_pfrules(&tree.head, "l", "l_n");
        EXPECT_EQ(fval(&tree.head, "l_rule1"),
                  ("+++++++++" + std::string(length, 'c')).substr(0, 126));
    }
}

TEST(Norm, FourDigitNames)
{
    static const auto pass = [](frag **head) { return norm_vpndata(head, "link"); };
    static const pass_case cases[] = {
        {"only numbers, gaps close", pass, "link_10=b\nlink_name=x\nlink_9=a\nlink_9x=c\n",
         "link_0001=a\nlink_0002=b\nlink_0003=c\nlink_name=x\n"},
        {"no list", pass, "a=\n", "a=\n"},
    };
    expect_passes(cases);
}
