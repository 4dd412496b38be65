// From an older layout to the current one, and the merge of one tree into another.
#include "lib/frag/upgrade.h"

#include <string>

#include <gtest/gtest.h>

#include "lib/frag/merge.h"
#include "lib/frag/proxy_map.h"
#include "tests/frag/tree_text.h"

TEST(ProxyMap, SystemIsChosenByTheFrontOfItsName)
{
    const auto is_nt = [](const char *text) {
        built_tree tree(text);
        return determine_os_maprec(&tree.head).data() == map_nt.data();
    };
    for (const char *text : {"OS_Type=NT", "OS_Type='NT40 SP6'"})
        EXPECT_TRUE(is_nt(text)) << text;
    for (const char *text : {"a=1", "OS_Type_x=NT", "OS_Type=nt", "OS_Type=WNT"})
        EXPECT_FALSE(is_nt(text)) << text;
}

TEST(Upgrade, ClientAddress)
{
    expect_passes(
        [](frag **head) { EXPECT_EQ(up41(head), 1); },
        {{"a new entry behind the highest number",
          "gui_client=9 netobj{group_fw-admin= list_fw-admin$LIST_element{7_addr=1 2_addr=2}}",
          "gui netobj{group_fw-admin= list_fw-admin$LIST_element{8{addr=9 name=gui_client} 7_addr=1"
          " 2_addr=2}}"},
         {"an entry with the address is reused",
          "gui_client=2 netobj{group_fw-admin= list_fw-admin$LIST_element{7_addr=1"
          " 2=gone{name=old addr=2}}}",
          "gui netobj{group_fw-admin= list_fw-admin$LIST_element{7_addr=1"
          " 2{name=gui_client addr=2}}}"},
         {"the list is made", "gui_client=1 netobj_group_fw-admin=",
          "gui netobj{list_fw-admin$LIST_element_1{addr=1 name=gui_client} group_fw-admin=}"},
         {"the highest of numbers",
          "gui_client=1 netobj{group_fw-admin= list_fw-admin$LIST_element_99999999999=}",
          "gui netobj{group_fw-admin= list_fw-admin$LIST_element{2147483648{addr=1"
          " name=gui_client} 99999999999=}}"},
         {"no group", "gui_client=1", "gui_client=1"},
         {"no address",
          "gui_client= netobj_group_fw-admin=", "gui_client= netobj_group_fw-admin="}});
}

TEST(Upgrade, Proxies)
{
    const std::string filled = "def_proxy{ftp-proxy_x=1 a{proxy-type=plug-relay port=1}}";
    expect_passes(
        [](frag **head) { EXPECT_EQ(up41(head), 0); },
        {{"each config set becomes a proxy with the relay's settings; a '_' in its name is a path",
          "def_proxy{plug-relay{timeout=5 log_x=1 config-sets{news{port=119 host=h} mail_host=m"
          " a%5Fb_port_x=1}} news_dropped=1 ftp_x=1}",
          "def_proxy{a_b{bind-port= proxy-type=plug-relay config-sets_a%5Fb timeout=5 log_x=1}"
          " mail{proxy-type=plug-relay config-sets_mail_host=m timeout=5 log_x=1}"
          " news{bind-port=119 proxy-type=plug-relay config-sets_news_host=h timeout=5 log_x=1}"
          " ftp_x=1}"},
         {"a relay without config sets goes", "def_proxy{plug-relay_x=1 a=}", "def_proxy_a="},
         {"states the map knows move or vanish, the others stay reversed",
          "proxy{a=1 ftp=on telnet=off custom3=on b=2} def_proxy_ftp-proxy_state=old",
          "proxy{b=2 a=1} def_proxy_ftp-proxy{proxy-exec=./ftp-proxy proxy-type=ftp-proxy"
          " bind-port=ftp state=on}"},
         {"the port stays, the type does not; a program of the other platform",
          "OS_Type=NT40 proxy_x= def_proxy{http-proxy{bind-port=8080 proxy-type=mine}"
          " x11-proxy_x=1}",
          "OS_Type=NT40 proxy_x= def_proxy{http-proxy{proxy-exec=http-proxy.exe bind-port=8080"
          " proxy-type=http-proxy} x11-proxy_x=1}"},
         {"a row without a port sets the empty one",
          "proxy_x= def_proxy_plug-relay_config-sets_plug-relay_a=1",
          "proxy_x= def_proxy_plug-relay{proxy-exec=./plug-relay bind-port= proxy-type=plug-relay"
          " config-sets_plug-relay_a=1}"},
         {"a program of one's own stays, a type that nobody knows gets none",
          "proxy_x= def_proxy{a{proxy-type=ftp-proxy proxy-exec=/bin/mine} b_proxy-type=nobody}",
          "proxy_x= def_proxy{a{proxy-type=ftp-proxy proxy-exec=/bin/mine} b_proxy-type=nobody}"},
         {"ports and hosts of plug proxies; the last port wins",
          "proxy_x= def_proxy_a{proxy-type=plug-relay proxy-exec= port=1"
          " config-sets{s{port=2 host=h} t{port=3 x=y}}}",
          "proxy_x= def_proxy_a{bind-port=3 proxy-type=plug-relay proxy-exec="
          " config-sets{s t_x=y}}"},
         {"without the list of states nothing is filled in", filled, filled}});
}

TEST(Merge, NewNodesComeInOldOnesStay)
{
    expect_passes(
        [](frag **head) {
            frag *source = ffind(head, "s");
            EXPECT_EQ(merge_fragtree(&source->child, ffind(head, "d")), 0);
        },
        {{"nothing to add", "s= d_a=1", "s= d_a=1"},
         {"all of it", "s{a(2)=1 b_c=2} d=0", "s{a(2)=1 b_c=2} d=0{a(2)=1 b_c=2}"},
         {"values that are there stay, the rest is added", "s{a=1{x=2} b=3{y_z=4}} d{a=9{w=8} c=7}",
          "s{a=1{x=2} b=3{y_z=4}} d{b=3{y_z=4} a=9{x=2 w=8} c=7}"},
         {"a prefix becomes part of the name, an escape a path, which a later one finds",
          "s{a(2)=1 p%5Fq=2 p{q=3 r=4}} d_a=9",
          "s{a(2)=1 p%5Fq=2 p{q=3 r=4}} d{p{r=4 q=2} deny-a=1 a=9}"}});
}
