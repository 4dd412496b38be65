// The passes from the numbered layout to the canonical one.
#include "lib/frag/canon.h"

#include <gtest/gtest.h>

#include "lib/frag/canon_proxy.h"
#include "tests/frag/tree_text.h"

TEST(Canon, ListsOfObjectsInterfacesAndRules)
{
    // An object takes its name if that has a text, and loses its counters, but no other ones.
    expect_passes([](frag **head) { canon_netobj(head, "netobj_list"); },
                  {{"objects",
                    "netobj_list{1{name=lan_a num{elements=1 members=1} element_1_x=2}"
                    " 7_num{members=1 other=2} 8_name_x=1}",
                    "netobj_list{lan%5Fa_element_1_x=2 7_num_other=2 8}"}});
    expect_passes(
        [](frag **head) { canon_if(head, "netobj_list_Inside"); },
        {{"aliases number on from the count; an alias has none itself",
          "netobj_list{Inside_element{3_interface=eth0 9{interface=eth1 alias=no}"
          " 1{interface=eth2 alias=' Yes'} 8_interface=} eth0_INTERFACE{num_elements=2"
          " element{1_addr=10.0.0.1 2=lost{addr=10.0.0.2 alias=no}}} "
          "eth1_INTERFACE_element_1_addr=3"
          " eth2_INTERFACE_element_1_addr=4"
          " _INTERFACE_element_1_addr=5}",
          "netobj_list{Inside_element{1{interface=eth2 alias=' Yes'} 3_interface=eth0"
          " 5{alias=yes addr=10.0.0.1} 6{addr=10.0.0.2 alias=yes} 7{alias=yes addr=3} 8_interface="
          " 9{interface=eth1 alias=no}} eth0 eth1 eth2_INTERFACE_element_1_addr=4"
          " _INTERFACE_element_1_addr=5}"},
         {"a '=' that ends the key at the list itself, or at one of its entries",
          "netobj_list_Inside_element{1_interface=Inside= 2_interface=Inside_element="
          " 3_interface=Inside_element_3= 4_interface=eth0}",
          "netobj_list_Inside_element{1_interface=Inside= 2_interface=Inside_element="
          " 4_interface=eth0}"}});
    expect_passes(canon_pfrules,
                  {{"packet filter rules are named fields; others are no rules",
                    "pfedit{lcl{numrules=2 rule10='permit+eth0+tcp++1+2+80+any++a note+rest'"
                    " rule2=deny rule0=a Rule1=b rule7_type=gone rule07x=} fwd_rule1=+++++++++}",
                    "pfedit{lcl{2_type=deny 7 10{comment='a note' dstaddr=any dstport=80 srcmask=2"
                    " srcaddr=1 proto=tcp interface=eth0 type=permit} Rule1_type=b rule0_type=a}"
                    " fwd_1}"}});
}

TEST(Canon, InterfaceAddresses)
{
    expect_passes(
        canon_ip,
        {{"a new entry, one with the address, and a number that is taken",
          "ip{hostname=gate insideaddr=1 insidemask=2 insidbcast=3 insidiface=eth0"
          " insidifaceflags=up outsideaddr=XXX.XXX.XXX.XXX outsidemask=4 thirdaddr=5}"
          " netobj_list{Outside_element{4_addr=7 7{addr=XXX.XXX.XXX.XXX netmask=0}}"
          " Service_element{3_addr=7 2_addr=8}}",
          "ip_hostname=gate netobj_list{Inside_element_1{broadcast=3 interfaceflags=up"
          " interface=eth0 netmask=2 addr=1} Outside_element{4_addr=7"
          " 7{addr=XXX.XXX.XXX.XXX netmask=4}} Service_element{3_addr=5 3_addr=7 2_addr=8}}"},
         {"a placeholder makes no entry; without an address only the mask goes",
          "ip{insideaddr=none insidiface=eth0 outsidemask=2 outsidiface=eth1 thirdaddr_x=1"
          " thirdiface=eth2}",
          "netobj_list_Inside_element ip{outsidiface=eth1 thirdiface=eth2}"}});
}

TEST(Canon, ParametersOfAProxy)
{
    expect_passes(
        [](frag **head) { canon_parm(ffind(head, "p"), "parm", "num_parms", "num"); },
        {{"one without name or value is dropped; the later value wins; counters go",
          "p{state=on num{parms=4 more=1} parm{1{name=timeout value=30} 2_name='no value'"
          " 3_value='no name' 4{name_x=1 value=v} 5{name=a value=1} 6{name=a value='set '/3}}}",
          "p{a='set ' timeout=30 state=on num_more=1}"},
         {"two levels with a digit behind the first mark, else one",
          "p_parm{1{name=host value=lost} 2{name=host_1 value=a} 3{name=host_2_x value=b}"
          " 4{name=max_size value='moved '/5} 5{name=end_ value=d}}",
          "p{end%5F=d max%5Fsize='moved '/5 host{2_x=b 1=a}}"},
         {"prefixes become flags of the last node, and replace what was there",
          "p{y(2)=0 parm{1{name=permit-x value=1} 2{name=Deny-ONLYON-w_v value=2}"
          " 3{name=absorb-host_1 value=3} 4{name=y value=4} 5{name=permit-relay value=5}}}",
          "p{relay-permit=5 host_1(4)=3 w%5Fv(10)=2 x(1)=1 y=4}"},
         {"access and url are joined where both have values",
          "p_cyberurl{1=old{url=site access=deny x=1} 2_url=site 3{url_x=1 access=deny}}",
          "p_url{1='deny site' 2_url=site 3{url_x=1 access=deny}}"}});
}

TEST(Canon, ProxiesAndPolicies)
{
    expect_passes(canon_def,
                  {{"named, with parameters",
                    "def_proxy{1{realname=ftp_x parm_1{name=a value=1}} 2_parm_1{name=b value=2}"
                    " 3_realname_x=1}",
                    "def_proxy{ftp%5Fx_a=1 2_b=2 3}"}});
    expect_passes(
        canon_cust,
        {{"no custom proxies", "a=1", "a=1"},
         {"the last comes first in its owner; without one its own name is the owner's",
          "def_proxy_plug_x=1 cust_proxy{1{realname=plug name=a_b} 2{realname=plug name=c"
          " num_parms=1 parm_1{name=port value=25}} 3{realname= name=a_b} 4_realname=x_y 5_z=1}",
          "def_proxy{5_config-sets_5_z=1 x_y_config-sets_4 a%5Fb_config-sets_a%5Fb"
          " plug{config-sets{c_port=25 a%5Fb} x=1}} cust_proxy"}});
    expect_passes(
        [](frag **head) { canon_policy(head, "policy"); },
        {{"the first proxy that has a config set owns it",
          "policy{num_entries=1 1{name=all_day num{proxies=0 parms=1} parm{1{name=log value=on x=1}"
          " 2_name=lost 3_value=lost}} 2_proxy{1=gone{name=news} 2=gone{name=none} 3=gone}}"
          " def_proxy{a_config-sets_other=1 b%5Fb(2)_config-sets_news=1 c_config-sets{news=1 3=1}}",
          "policy{all%5Fday_parm{log=on{x=1} 2 3} 2_proxy{news=deny-b_b none 3=c}}"
          " def_proxy{a_config-sets_other=1 b%5Fb(2)_config-sets_news=1"
          " c_config-sets{news=1 3=1}}"}});
}

// The three lists stand in front afterwards.
static std::string behind_lists(const std::string &rest)
{
    return "netobj_list{Service_element Outside_element Inside_element} " + rest;
}

TEST(Canon, WholeTree)
{
    expect_passes(
        norm_fragtree,
        {{"counters of lists, settings for all proxies",
          "netobj_num{list=1 group=1} map_num=1 sroute_num_entries=1 dest{num=1 1_x=2}"
          " def_proxy{global_x=old *_x=new}",
          behind_lists("map sroute dest_1_x=2 def_proxy_global{name=global x=new}")},
         {"proxies stay numbered without their counter",
          "def_proxy_1_realname=a cust_num_proxies=0",
          behind_lists("def_proxy_1_realname=a cust_num_proxies=0")},
         {"custom proxies stay without theirs",
          "def{num_proxies=1 proxy_1_realname=a} cust_proxy_1_realname=a",
          behind_lists("def{num proxy_a} cust_proxy_1_realname=a")},
         {"policies know the config sets of custom proxies",
          "def{num_proxies=1 proxy_1_realname=plug} cust{num_proxies=1 proxy_1{realname=plug"
          " name=news}} policy_1{name=all proxy_1_name=news}",
          behind_lists("def{num proxy_plug_config-sets_news} cust{num proxy}"
                       " policy_all_proxy_news=plug")}});
}
