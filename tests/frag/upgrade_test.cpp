#include "lib/frag/upgrade.h"

#include <set>
#include <string>

#include <gtest/gtest.h>

#include "lib/frag/proxy_map.h"
#include "tests/frag/flat_tree.h"

TEST(ProxyMap, SystemIsChosenByTheFirstNameThatBeginsTheValue)
{
    static const struct {
        const char *label, *tree;
        proxy_map wanted;
    } cases[] = {
        {"no key", "a=1\n", map_unix},
        {"no value", "OS_Type_x=NT\n", map_unix},
        {"exact", "OS_Type=NT\n", map_nt},
        {"longer", "OS_Type=NT40 SP6\n", map_nt},
        {"unix", "OS_Type=HPUX11\n", map_unix},
        {"case is minded", "OS_Type=nt\n", map_unix},
        {"in the middle", "OS_Type=WNT\n", map_unix},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        flat_tree tree(row.tree);
        EXPECT_EQ(determine_os_maprec(&tree.head).data(), row.wanted.data());
    }
}

TEST(ProxyMap, RowsAreTold)
{
    EXPECT_EQ(map_unix.size(), 37U);
    EXPECT_EQ(map_nt.size(), 30U);
    for (const proxy_map map : {map_unix, map_nt}) {
        std::set<std::string> states;
        for (const proxy_map_row &row : map) {
            SCOPED_TRACE(row.state);
            EXPECT_TRUE(states.insert(row.state).second);
            const proxy_map_row *first = find_row(map, &proxy_map_row::type, row.type);
            EXPECT_STREQ(first->program, row.program); // a type has one program
        }
        const proxy_map_row *plug = find_row(map, &proxy_map_row::node, "plug-relay");
        ASSERT_NE(plug, nullptr);
        EXPECT_STREQ(plug->type, "plug-relay");
    }
}

TEST(Upgrade, ClientAddress)
{
    static const pass_case cases[] = {
        {"a new entry behind the highest number", up41,
         "gui_client=10.0.0.9\n"
         "netobj_group_fw-admin_member_1=x\n"
         "netobj_list_fw-admin$LIST_element_7_addr=1.1.1.1\n"
         "netobj_list_fw-admin$LIST_element_2_addr=2.2.2.2\n",
         "gui\n"
         "netobj_group_fw-admin_member_1=x\n"
         "netobj_list_fw-admin$LIST_element_8_addr=10.0.0.9\n"
         "netobj_list_fw-admin$LIST_element_8_name=gui_client\n"
         "netobj_list_fw-admin$LIST_element_7_addr=1.1.1.1\n"
         "netobj_list_fw-admin$LIST_element_2_addr=2.2.2.2\n"},
        {"an entry with the address is reused", up41,
         "gui_client=2.2.2.2\n"
         "netobj_group_fw-admin=\n"
         "netobj_list_fw-admin$LIST_element_7_addr=1.1.1.1\n"
         "netobj_list_fw-admin$LIST_element_2=gone\n"
         "netobj_list_fw-admin$LIST_element_2_name=old\n"
         "netobj_list_fw-admin$LIST_element_2_addr=2.2.2.2\n",
         "gui\n"
         "netobj_group_fw-admin=\n"
         "netobj_list_fw-admin$LIST_element_7_addr=1.1.1.1\n"
         "netobj_list_fw-admin$LIST_element_2_name=gui_client\n"
         "netobj_list_fw-admin$LIST_element_2_addr=2.2.2.2\n"},
        {"the list is made", up41, "gui_client=1.1.1.1\nnetobj_group_fw-admin=\n",
         "gui\n"
         "netobj_list_fw-admin$LIST_element_1_addr=1.1.1.1\n"
         "netobj_list_fw-admin$LIST_element_1_name=gui_client\n"
         "netobj_group_fw-admin=\n"},
        {"the highest of numbers", up41,
         "gui_client=1.1.1.1\nnetobj_group_fw-admin=\n"
         "netobj_list_fw-admin$LIST_element_99999999999=\n",
         "gui\n"
         "netobj_group_fw-admin=\n"
         "netobj_list_fw-admin$LIST_element_2147483648_addr=1.1.1.1\n"
         "netobj_list_fw-admin$LIST_element_2147483648_name=gui_client\n"
         "netobj_list_fw-admin$LIST_element_99999999999=\n"},
        {"no group", up41, "gui_client=1.1.1.1\n", "gui_client=1.1.1.1\n"},
        {"no address", up41, "gui_client=\nnetobj_group_fw-admin=\n",
         "gui_client=\nnetobj_group_fw-admin=\n"},
    };
    expect_passes(cases);
}

TEST(Upgrade, PlugRelay)
{
    static const pass_case cases[] = {
        {"each config set becomes a proxy with the relay's settings", up41,
         "def_proxy_plug-relay_timeout=5\n"
         "def_proxy_plug-relay_log_x=1\n"
         "def_proxy_plug-relay_config-sets_news_port=119\n"
         "def_proxy_plug-relay_config-sets_news_host=h\n"
         "def_proxy_plug-relay_config-sets_mail_host=m\n"
         "def_proxy_news_dropped=1\n"
         "def_proxy_ftp_x=1\n",
         "def_proxy_mail_proxy-type=plug-relay\n"
         "def_proxy_mail_config-sets_mail_host=m\n"
         "def_proxy_mail_timeout=5\n"
         "def_proxy_mail_log_x=1\n"
         "def_proxy_news_bind-port=119\n"
         "def_proxy_news_proxy-type=plug-relay\n"
         "def_proxy_news_config-sets_news_host=h\n"
         "def_proxy_news_timeout=5\n"
         "def_proxy_news_log_x=1\n"
         "def_proxy_ftp_x=1\n"},
        {"a port without a value", up41, "def_proxy_plug-relay_config-sets_a_port_x=1\n",
         "def_proxy_a_bind-port=\n"
         "def_proxy_a_proxy-type=plug-relay\n"
         "def_proxy_a_config-sets_a\n"},
        {"a decoded mark in the name is a path", up41,
         "def_proxy_plug-relay_config-sets_a%5Fb_x=1\n",
         "def_proxy_a_b_proxy-type=plug-relay\n"
         "def_proxy_a_b_config-sets_a%5Fb_x=1\n"},
        {"a relay without config sets goes", up41, "def_proxy_plug-relay_x=1\ndef_proxy_a=\n",
         "def_proxy_a=\n"},
    };
    expect_passes(cases);
}

TEST(Upgrade, StatesTypesPortsAndPrograms)
{
    static const pass_case cases[] = {
        {"states the map knows move or vanish, the others stay reversed", up41,
         "proxy_a=1\nproxy_ftp=on\nproxy_telnet=off\nproxy_custom3=on\nproxy_b=2\n"
         "def_proxy_ftp-proxy_state=old\n",
         "proxy_b=2\nproxy_a=1\n"
         "def_proxy_ftp-proxy_proxy-exec=./ftp-proxy\n"
         "def_proxy_ftp-proxy_proxy-type=ftp-proxy\n"
         "def_proxy_ftp-proxy_bind-port=ftp\n"
         "def_proxy_ftp-proxy_state=on\n"},
        {"the port stays, the type does not; a program of the other platform", up41,
         "OS_Type=NT40\nproxy_x=\n"
         "def_proxy_http-proxy_bind-port=8080\ndef_proxy_http-proxy_proxy-type=mine\n"
         "def_proxy_x11-proxy_x=1\n",
         "OS_Type=NT40\nproxy_x=\n"
         "def_proxy_http-proxy_proxy-exec=http-proxy.exe\n"
         "def_proxy_http-proxy_bind-port=8080\ndef_proxy_http-proxy_proxy-type=http-proxy\n"
         "def_proxy_x11-proxy_x=1\n"},
        {"a row without a port sets the empty one", up41,
         "proxy_x=\ndef_proxy_plug-relay_config-sets_plug-relay_a=1\n",
         "proxy_x=\n"
         "def_proxy_plug-relay_proxy-exec=./plug-relay\n"
         "def_proxy_plug-relay_bind-port=\n"
         "def_proxy_plug-relay_proxy-type=plug-relay\n"
         "def_proxy_plug-relay_config-sets_plug-relay_a=1\n"},
        {"a program of one's own stays, a type that nobody knows gets none", up41,
         "proxy_x=\n"
         "def_proxy_a_proxy-type=ftp-proxy\ndef_proxy_a_proxy-exec=/bin/mine\n"
         "def_proxy_b_proxy-type=nobody\n",
         "proxy_x=\n"
         "def_proxy_a_proxy-type=ftp-proxy\ndef_proxy_a_proxy-exec=/bin/mine\n"
         "def_proxy_b_proxy-type=nobody\n"},
        {"ports and hosts of plug proxies; the last port wins", up41,
         "proxy_x=\n"
         "def_proxy_a_proxy-type=plug-relay\ndef_proxy_a_proxy-exec=\ndef_proxy_a_port=1\n"
         "def_proxy_a_config-sets_s_port=2\ndef_proxy_a_config-sets_s_host=h\n"
         "def_proxy_a_config-sets_t_port=3\ndef_proxy_a_config-sets_t_x=y\n",
         "proxy_x=\n"
         "def_proxy_a_bind-port=3\n"
         "def_proxy_a_proxy-type=plug-relay\ndef_proxy_a_proxy-exec=\n"
         "def_proxy_a_config-sets_s\n"
         "def_proxy_a_config-sets_t_x=y\n"},
        {"without the list of states nothing is filled in", up41,
         "def_proxy_ftp-proxy_x=1\ndef_proxy_a_proxy-type=plug-relay\ndef_proxy_a_port=1\n",
         "def_proxy_ftp-proxy_x=1\ndef_proxy_a_proxy-type=plug-relay\ndef_proxy_a_port=1\n"},
    };
    expect_passes(cases);
}

TEST(Upgrade, ResultTellsWhetherThereAreProxies)
{
    flat_tree without("a=1\n");
    EXPECT_EQ(up41(&without.head), 1);
    flat_tree with("def_proxy=\n");
    EXPECT_EQ(up41(&with.head), 0);
}
