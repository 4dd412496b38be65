#include "lib/frag/canon.h"

#include <gtest/gtest.h>

#include "lib/frag/frag_sort.h"
#include "tests/frag/flat_tree.h"

TEST(Canon, ObjectLists)
{
    static const pass_case cases[] = {
        {"object takes its name, counters go",
         [](frag **head) { return canon_netobj(head, "netobj_list"); },
         "netobj_list_1_name=lan_a\n"
         "netobj_list_1_num_elements=1\n"
         "netobj_list_1_num_members=1\n"
         "netobj_list_1_element_1_addr=10.0.0.1\n",
         "netobj_list_lan%5Fa_element_1_addr=10.0.0.1\n"},
        {"other counters keep num alive, no name keeps the number",
         [](frag **head) { return canon_netobj(head, "netobj_group"); },
         "netobj_group_7_num_members=1\n"
         "netobj_group_7_num_other=2\n",
         "netobj_group_7_num_other=2\n"},
        {"a name without text", [](frag **head) { return canon_netobj(head, "netobj_group"); },
         "netobj_group_7_name_x=1\n", "netobj_group_7\n"},
    };
    expect_passes(cases);
}

TEST(Canon, InterfaceAliases)
{
    const auto inside = [](frag **head) { return canon_if(head, "netobj_list_Inside"); };
    const auto elsewhere = [](frag **head) { return canon_if(head, "list"); };
    const pass_case cases[] = {
        {"no list of lists, none made", elsewhere, "list_element_1_interface=eth0\n",
         "list_element_1_interface=eth0\n"},
        {"missing list is made", inside, "a=1\n", "netobj_list_Inside_element\na=1\n"},
        {"aliases number on from the count", inside,
         "netobj_list_Inside_element_5_interface=eth0\n"
         "netobj_list_Inside_element_9_interface=eth1\n"
         "netobj_list_eth0_INTERFACE_num_elements=2\n"
         "netobj_list_eth0_INTERFACE_element_1_addr=10.0.0.1\n"
         "netobj_list_eth0_INTERFACE_element_2=lost\n"
         "netobj_list_eth0_INTERFACE_element_2_addr=10.0.0.2\n"
         "netobj_list_eth0_INTERFACE_element_2_alias=no\n",
         "netobj_list_Inside_element_3_alias=yes\n"
         "netobj_list_Inside_element_3_addr=10.0.0.1\n"
         "netobj_list_Inside_element_4_addr=10.0.0.2\n"
         "netobj_list_Inside_element_4_alias=yes\n"
         "netobj_list_Inside_element_5_interface=eth0\n"
         "netobj_list_Inside_element_9_interface=eth1\n"
         "netobj_list_eth0\n"},
        {"an alias has no aliases, one that says no has", inside,
         "netobj_list_Inside_element_1_interface=eth0\n"
         "netobj_list_Inside_element_1_alias= Yes\n"
         "netobj_list_Inside_element_2_interface=eth1\n"
         "netobj_list_Inside_element_2_alias=no\n"
         "netobj_list_Inside_element_3_interface=\n"
         "netobj_list_eth0_INTERFACE_element_1_addr=10.0.0.1\n"
         "netobj_list_eth1_INTERFACE_element_1_addr=10.0.1.1\n"
         "netobj_list__INTERFACE_element_1_addr=10.0.2.1\n",
         "netobj_list_Inside_element_1_interface=eth0\n"
         "netobj_list_Inside_element_1_alias= Yes\n"
         "netobj_list_Inside_element_2_interface=eth1\n"
         "netobj_list_Inside_element_2_alias=no\n"
         "netobj_list_Inside_element_3_interface=\n"
         "netobj_list_Inside_element_4_alias=yes\n"
         "netobj_list_Inside_element_4_addr=10.0.1.1\n"
         "netobj_list_eth0_INTERFACE_element_1_addr=10.0.0.1\n"
         "netobj_list_eth1\n"
         "netobj_list__INTERFACE_element_1_addr=10.0.2.1\n"},
        {"an interface whose '=' ends the key at the list itself, or at one of its entries", inside,
         "netobj_list_Inside_element_1_interface=Inside=\n"
         "netobj_list_Inside_element_2_interface=Inside_element=\n"
         "netobj_list_Inside_element_3_interface=Inside_element_3=\n"
         "netobj_list_Inside_element_4_interface=eth0\n",
         "netobj_list_Inside_element_1_interface=Inside=\n"
         "netobj_list_Inside_element_2_interface=Inside_element=\n"
         "netobj_list_Inside_element_4_interface=eth0\n"},
    };
    expect_passes(cases);
}

TEST(Canon, PacketFilterRules)
{
    static const pass_case cases[] = {
        {"fields are named, empty ones counted", canon_pfrules,
         "pfedit_lcl_numrules=2\n"
         "pfedit_lcl_rule10=permit+eth0+tcp++10.0.0.1+255.0.0.0+80+any++a note+rest\n"
         "pfedit_lcl_rule2=deny\n"
         "pfedit_fwd_rule1=+++++++++\n",
         "pfedit_lcl_2_type=deny\n"
         "pfedit_lcl_10_comment=a note\n"
         "pfedit_lcl_10_dstaddr=any\n"
         "pfedit_lcl_10_dstport=80\n"
         "pfedit_lcl_10_srcmask=255.0.0.0\n"
         "pfedit_lcl_10_srcaddr=10.0.0.1\n"
         "pfedit_lcl_10_proto=tcp\n"
         "pfedit_lcl_10_interface=eth0\n"
         "pfedit_lcl_10_type=permit\n"
         "pfedit_fwd_1\n"},
        {"names that are no rule numbers, values that are missing or empty", canon_pfrules,
         "pfedit_lcl_rule0=a\n"
         "pfedit_lcl_Rule1=b\n"
         "pfedit_lcl_rule7_type=gone\n"
         "pfedit_lcl_rule07x=\n",
         "pfedit_lcl_7\n"
         "pfedit_lcl_Rule1_type=b\n"
         "pfedit_lcl_rule0_type=a\n"},
        {"a list without rules", canon_pfrules, "pfedit_lcl_numrules=0\n", "pfedit_lcl\n"},
    };
    expect_passes(cases);
}

TEST(Canon, InterfaceAddresses)
{
    static const pass_case cases[] = {
        {"a new entry", canon_ip,
         "ip_hostname=gate\n"
         "ip_insideaddr=10.0.0.1\n"
         "ip_insidemask=255.0.0.0\n"
         "ip_insidbcast=10.255.255.255\n"
         "ip_insidiface=eth0\n"
         "ip_insidifaceflags=up\n",
         "netobj_list_Inside_element_1_broadcast=10.255.255.255\n"
         "netobj_list_Inside_element_1_interfaceflags=up\n"
         "netobj_list_Inside_element_1_interface=eth0\n"
         "netobj_list_Inside_element_1_netmask=255.0.0.0\n"
         "netobj_list_Inside_element_1_addr=10.0.0.1\n"
         "ip_hostname=gate\n"},
        {"an entry with the address is updated, even with a placeholder", canon_ip,
         "ip_outsideaddr=XXX.XXX.XXX.XXX\n"
         "ip_outsidemask=255.0.0.0\n"
         "netobj_list_Outside_element_4_addr=1.1.1.1\n"
         "netobj_list_Outside_element_7_addr=XXX.XXX.XXX.XXX\n"
         "netobj_list_Outside_element_7_netmask=0\n",
         "ip\n"
         "netobj_list_Outside_element_4_addr=1.1.1.1\n"
         "netobj_list_Outside_element_7_addr=XXX.XXX.XXX.XXX\n"
         "netobj_list_Outside_element_7_netmask=255.0.0.0\n"},
        {"the number counts the entries passed, and may be taken", canon_ip,
         "ip_thirdaddr=3.3.3.3\n"
         "netobj_list_Service_element_3_addr=1.1.1.1\n"
         "netobj_list_Service_element_2_addr=2.2.2.2\n",
         "ip\n"
         "netobj_list_Service_element_3_addr=3.3.3.3\n"
         "netobj_list_Service_element_3_addr=1.1.1.1\n"
         "netobj_list_Service_element_2_addr=2.2.2.2\n"},
        {"a placeholder makes no entry; without an address only the mask goes", canon_ip,
         "ip_insideaddr=none\n"
         "ip_insidiface=eth0\n"
         "ip_outsidemask=255.0.0.0\n"
         "ip_outsidiface=eth1\n"
         "ip_thirdaddr_x=1\n"
         "ip_thirdiface=eth2\n",
         "netobj_list_Inside_element\n"
         "ip_outsidiface=eth1\n"
         "ip_thirdiface=eth2\n"},
    };
    expect_passes(cases);
}

static const char *const EMPTY_INTERFACE_LISTS = "netobj_list_Service_element\n"
                                                 "netobj_list_Outside_element\n"
                                                 "netobj_list_Inside_element\n";

TEST(Canon, WholeTree)
{
    static const struct {
        const char *label, *before, *after;
    } cases[] = {
        {"counters of lists",
         "netobj_num_list=1\n"
         "netobj_num_group=1\n"
         "map_num=1\nsroute_num_entries=1\ndest_num=1\ndest_1_x=2\n",
         "map\nsroute\ndest_1_x=2\n"},
        {"proxies stay numbered without their counter",
         "def_proxy_1_realname=a\ncust_num_proxies=0\n",
         "def_proxy_1_realname=a\ncust_num_proxies=0\n"},
        {"custom proxies stay without theirs",
         "def_num_proxies=1\ndef_proxy_1_realname=a\ncust_proxy_1_realname=a\n",
         "def_num\ndef_proxy_a\ncust_proxy_1_realname=a\n"},
        {"settings for all proxies", "def_proxy_global_x=old\ndef_proxy_*_x=new\n",
         "def_proxy_global_name=global\ndef_proxy_global_x=new\n"},
        {"policies know the config sets of custom proxies",
         "def_num_proxies=1\ncust_num_proxies=1\n"
         "def_proxy_1_realname=plug\n"
         "cust_proxy_1_realname=plug\ncust_proxy_1_name=news\n"
         "policy_1_name=all\npolicy_1_proxy_1_name=news\n",
         "def_num\ndef_proxy_plug_config-sets_news\ncust_num\ncust_proxy\n"
         "policy_all_proxy_news=plug\n"},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        flat_tree tree(row.before);
        EXPECT_EQ(norm_fragtree(&tree.head), 0);
        std::string after = tree.listing();
        // The three lists stand at the front of `netobj`, which may be new itself.
        const std::size_t lists = after.find(EMPTY_INTERFACE_LISTS);
        ASSERT_NE(lists, std::string::npos) << after;
        after.erase(lists, std::string_view(EMPTY_INTERFACE_LISTS).size());
        EXPECT_EQ(after, row.after);
        expect_sound(&tree.head);
    }
}
