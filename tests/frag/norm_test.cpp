// The passes back to the numbered layout, as older releases read it.
#include "lib/frag/norm.h"

#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "lib/frag/canon.h"
#include "lib/frag/export.h"
#include "lib/frag/import.h"
#include "lib/frag/norm41.h"
#include "lib/frag/norm_interfaces.h"
#include "tests/frag/tree_text.h"

TEST(Norm, ObjectsAndRules)
{
    expect_passes(
        [](frag **head) {
            EXPECT_EQ(norm_netobj(ffind(head, "o")->child, "element", "num_elements"), 4);
        },
        {{"objects are named, numbered, counted",
          "o{a%5Fb_element{10_x=1 9_x=2} c(2)_element= d_name=old}",
          "o{1{num_elements=2 name=a_b element{1_x=2 2_x=1}}"
          " 2(2){num_elements=0 name=deny-c element=} 3_name=d}"}});
    expect_passes(
        [](frag **head) { norm_renumber(head, "map", "map_num_entries", "map_num"); },
        {{"renumbered", "map{num{entries=9 x=1} 10=b 9=a x=c}", "map{1=a 2=b 3=c num_entries=3}"},
         {"no list", "a=", "map_num_entries=0 a="}});
    expect_passes([](frag **head) { norm_renumber(head, "map", nullptr, nullptr); },
                  {{"no other keys", "map{num_entries=9 3=a}", "map{1=a 2_entries=9}"},
                   {"no other keys and no list", "a=", "a="}});
    const std::string note(118, 'n');
    expect_passes(
        [](frag **head) { norm_pfrules(head, "lcl", "lcl_numrules"); },
        {{"packed in order, counted; one in the old form is passed over; cut at the limit",
          "lcl{numrules=7 rule1=old 10{type=deny comment='a note'} Rule=x 11_comment=" + note +
              " 9{more=stays dstport_x=1}}",
          "lcl{numrules=4 rule1=+++++++++{more=stays} rule2='deny+++++++++a note'"
          " rule3=+++++++++" +
              note.substr(1) + " rule4=+++++++++ rule1=old}"},
         {"no list, no counter", "fwd_1_type=deny", "fwd_1_type=deny"}});
    expect_passes([](frag **head) { norm_vpndata(head, "link"); },
                  {{"only numbers, gaps close", "link{10=b name=x 9=a 9x=c}",
                    "link{0001=a 0002=b 0003=c name=x}"}});
    expect_passes(norm_ip32, {{"first entries and placeholders",
                               "ip_insidemask=old netobj_list{Inside_element{2_addr=2 1{addr=1"
                               " netmask=3 interface=eth0}} Service_element_1{addr= netmask=4}}",
                               "ip{thirdaddr=none outsideaddr=XXX.XXX.XXX.XXX insidiface=eth0"
                               " insideaddr=1 insidemask=3} netobj_list{Inside_element{2_addr=2"
                               " 1{addr=1 netmask=3 interface=eth0}}"
                               " Service_element_1{addr= netmask=4}}"}});
}

TEST(Norm, Parameters)
{
    expect_passes([](frag **head) { norm_parm(ffind(head, "p"), "parm", "num_parms", 0); },
                  {{"only those of the list", "p{a=1 parm_b%5Fc=2}",
                    "p{num_parms=1 parm_1{value=2 name=b_c} a=1}"},
                   {"no children", "p=", "p={num_parms=0 parm}"},
                   {"all children, a family with numbers each by itself",
                    "p{host=lost{1=a 2(2)=b x_y=c} z_x=d}",
                    "p{num_parms=4 parm{4{value_x=d name=z} 3{value name=host_x}"
                    " 2{value=b name=deny-host_2} 1{value=a name=host_1}}}"},
                   {"flags become text", "p{a(1)=1 relay-permit=2 b(8)=3 c(3)=4}",
                    "p{num_parms=4 parm{4{value=4 name=permit-deny-c} 3{value=3 name=onlyon-b}"
                    " 2{value=2 name=permit-relay} 1{value=1 name=permit-a}}}"}});
    // Prefixes in the text and flags of the node become one; others end the search.
    expect_passes(
        [](frag **head) {
            for (frag *node = *head; node != nullptr; node = node->next)
                flags_to_name(node, node->child);
        },
        {{"flags and text",
          "a_n=deny-Permit-x b(2)_n=x c_n=deny-DENY-y d_n=deny-absorb-permit-x e(5)_n",
          "a(3)_n=permit-deny-x b(2)_n=deny-x c(2)_n=deny-y d(2)_n=deny-absorb-permit-x"
          " e(5)_n=permit-"}});
}

TEST(NormInterfaces, OneList)
{
    expect_passes(
        [](frag **head) { norm_if(head, "netobj_list_Inside"); },
        {{"made if missing", "a=", "netobj_list_Inside{num_elements=0 element} a="},
         {"sorted, numbered, gathered; without an interface an entry goes",
          "netobj_list_Inside{num_elements=9 element{10{interface=eth1 alias=no} 9_interface=eth0"
          " 3_interface=' ' 4_addr=1}}",
          "netobj_list{all%5Finterfaces_element{2{location=Inside interface=eth0}"
          " 1{location=Inside interface=eth1}} eth0_INTERFACE{num_elements=0 element}"
          " eth1_INTERFACE{num_elements=0 element}"
          " Inside{num_elements=2 element{1_interface=eth0 2_interface=eth1}}}"},
         {"aliases leave for the list of their interface",
          "netobj_list{eth0_INTERFACE_element_7_addr=7 Inside_element{1{interface=eth0:1 alias=yes}"
          " 2{interface=eth0 alias=1}}}",
          "netobj_list{eth0_INTERFACE{num_elements=3 element{3_interface=eth0 2_interface=eth0:1"
          " 7_addr=7}} Inside{num_elements=0 element}}"},
         {"an alias leaves by its key: of two entries of one name the first",
          "netobj_list_Inside_element{e_interface=eth0 e{interface=eth1 alias=yes}}",
          "netobj_list{all%5Finterfaces_element_1{location=Inside interface=eth1}"
          " eth1_INTERFACE{num_elements=1 element_1_interface=eth1}"
          " eth0_INTERFACE{num_elements=0 element}"
          " Inside{num_elements=1 element_1_interface=eth1}}"},
         {"one gathered with its white space cut gives way to its equal",
          "netobj_list_Inside_element{1{interface='eth0 '/4 x=1} 2_interface=eth0}",
          "netobj_list{all%5Finterfaces_element_1{location=Inside interface=eth0}"
          " eth0_INTERFACE{num_elements=0 element} eth0 _INTERFACE{num_elements=0 element}"
          " Inside{num_elements=2 element{1{interface='eth0 '/4 x=1} 2_interface=eth0}}}"},
         {"a '=' that ends the key early, at the list itself or in it",
          "netobj_list_Inside_element{1{interface=Inside_element= alias=yes}"
          " 2{interface=Inside_element_2= alias=yes}}",
          "netobj_list_Inside{num_elements=2 element{1_1_interface=Inside_element="
          " 2_elements=1}}"}});
}

TEST(NormInterfaces, ListOfAll)
{
    expect_passes(
        [](frag **head) { add_to_allif(head, ffind(head, "netobj_list_Out%5Fside_element_1")); },
        {{"in place of its equals, with the last number and in front",
          "netobj_list{all%5Finterfaces_element{30_interface=eth0 20_interface=ETH1 10_x=1"
          " 40_interface=Eth1} Out%5Fside_element_1{interface=eth1 location=old}}",
          "netobj_list{all%5Finterfaces_element{3{interface=eth1 location=Out_side} 1_x=1"
          " 2_interface=eth0} Out%5Fside_element_1{interface=eth1 location=old}}"},
         {"blank", "netobj_list_Out%5Fside_element_1_interface=",
          "netobj_list_Out%5Fside_element_1_interface="}});
    // The inside entry wins; one that is in no list has an unknown location.
    const std::string heartbeat = "Heartbeat_element_1_interface=eth8";
    expect_passes(
        norm_interfaces,
        {{"locations",
          "netobj_list{Inside_element_1_interface=eth0 Outside_element_1_interface=eth0"
          " Service_element_1_interface=eth2 " +
              heartbeat +
              " all%5Finterfaces{num_elements=7"
              " element{1{interface=eth9 location=Inside} 2{interface=eth8 location=Heartbeat}"
              " 3_x=1}}}",
          "netobj_list{eth0_INTERFACE{num_elements=0 element}"
          " eth2_INTERFACE{num_elements=0 element} Inside{num_elements=1 element_1_interface=eth0}"
          " Outside{num_elements=1 element_1_interface=eth0}"
          " Service{num_elements=1 element_1_interface=eth2} " +
              heartbeat +
              " all%5Finterfaces{num_elements=5 element{5{location=Inside interface=eth0}"
              " 1{interface=eth9 location=Unknown} 2{interface=eth8 location=Heartbeat}"
              " 3{location=Unknown x=1} 4{location=Service interface=eth2}}}}"}});
}

TEST(Norm41, States)
{
    const std::string proxies = "def_proxy{telnet-proxy_state=off ftp-proxy_state=on"
                                " http-proxy_state_x=1 x11-proxy_state=on}";
    expect_passes([](frag **head) { norm41states(head); },
                  {{"no proxies", "OS_Type=NT", "OS_Type=NT"},
                   {"they stay with the proxies on one platform", proxies, "proxy " + proxies},
                   {"rows of the map in order, old states replaced",
                    "OS_Type=NT proxy{telnet=old other=1} " + proxies,
                    "OS_Type=NT proxy{http= ftp=on telnet=off other=1} " + proxies}});
}

TEST(Norm41, WholeTree)
{
    const std::string counters = "dest_num_entries=0 sroute_num_entries=0 ";
    const std::string lists = "list{1{name=all_interfaces num_elements=0 element}"
                              " 2{name=Inside num_elements=0 element}"
                              " 3{name=Outside num_elements=0 element}"
                              " 4{name=Service num_elements=0 element}}";
    const std::string front =
        "nat_numrules=0 " + counters + "map_num_entries=0 netobj{num_list=4 " + lists + "} ";
    expect_passes(
        norm41,
        {{"proxies against their order, config sets as custom proxies",
          "def_proxy{ftp_timeout=5 plug{name='The plug' config-sets{news_port=119 mail=}}}",
          front + "cust{num_proxies=2 proxy{1={realname=plug name=mail num_parms=0 parm}"
                  " 2{realname=plug name=news num_parms=1 parm_1{value=119 name=port}}}}"
                  " def{num_proxies=2 proxy{1{name='The plug' realname=plug num_parms=0 parm}"
                  " 2{name=ftp realname=ftp num_parms=1 parm_1{value=5 name=timeout}}}}"},
         {"policies against their order, their proxies in it",
          "policy{day{proxy{news=plug a%5Fb=x} parm=x{log=on}} night=}",
          front + "cust{num_proxies=0 proxy} policy{num_entries=2"
                  " 1={parm num{parms=0 proxies=0} proxy name=night}"
                  " 2{parm_1{value=on name=log} num{parms=1 proxies=2} name=day"
                  " proxy{1_name=news 2_name=a_b}}}"},
         {"other lists",
          "map{numrules=1 5_x=1} nat_rule_9_x=2 menu_meta{b=3 a=4} link_7_x=5 key_8_x=6"
          " pfedit_fwd_3_type=deny netobj_group_g_member_b=7",
          counters +
              "cust{num_proxies=0 proxy} map{1_x=1 num_entries=1}"
              " nat{numrules=1 rule_1_x=2} menu_meta{1=4 2=3} link_0001_x=5 key_0001_x=6"
              " pfedit_fwd{numrules=1 rule1=deny+++++++++} netobj{num{list=4 group=1} " +
              lists + " group_1{num_members=1 name=g member_1=7}}"}});
}

// The numbered layout adds some lines to a canonical tree, once.
TEST(Norm41, ThereAndBackLosesNothing)
{
    owned_tree tree;
    ASSERT_EQ(importffile(TEST_DATA_DIR "/layouts/current.in", &tree.head, 0), 0);
    const std::string numbered = exported(&tree.head, EXPORT_NUMBERED);
    EXPECT_EQ(exported(&tree.head, EXPORT_NUMBERED), numbered); // the tree stays
    owned_tree again(numbered);
    norm_fragtree(&again.head);
    const std::string back = exported(&again.head, EXPORT_FLAT);
    std::istringstream canonical(exported(&tree.head, EXPORT_FLAT));
    for (std::string line; std::getline(canonical, line);)
        EXPECT_NE(("\n" + back).find("\n" + line + "\n"), std::string::npos) << line;
}
