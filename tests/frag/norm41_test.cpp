#include "lib/frag/norm41.h"

#include <random>
#include <set>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "lib/frag/canon.h"
#include "lib/frag/export.h"
#include "lib/frag/symbol.h"
#include "tests/frag/flat_tree.h"
#include "tests/frag/temp_file.h"

TEST(Norm41, States)
{
    static const pass_case cases[] = {
        {"no proxies", norm41states, "OS_Type=NT\n", "OS_Type=NT\n"},
        {"states stay with the proxies on Unix", norm41states, "def_proxy_ftp-proxy_state=on\n",
         "proxy\ndef_proxy_ftp-proxy_state=on\n"},
        {"rows of the map in order, old states replaced", norm41states,
         "OS_Type=NT\nproxy_telnet=old\nproxy_other=1\n"
         "def_proxy_telnet-proxy_state=off\n"
         "def_proxy_ftp-proxy_state=on\n"
         "def_proxy_http-proxy_state_x=1\n"
         "def_proxy_x11-proxy_state=on\n",
         "OS_Type=NT\nproxy_http=\nproxy_ftp=on\nproxy_telnet=off\nproxy_other=1\n"
         "def_proxy_telnet-proxy_state=off\n"
         "def_proxy_ftp-proxy_state=on\n"
         "def_proxy_http-proxy_state_x=1\n"
         "def_proxy_x11-proxy_state=on\n"},
    };
    expect_passes(cases);
    flat_tree without("a=1\n");
    EXPECT_EQ(norm41states(&without.head), 1);
}

// The listing without the lists and counters that norm41 makes in every tree.
static std::string listing_without_bare_lists(const flat_tree &tree)
{
    static const std::set<std::string> bare = {
        "nat_numrules=0",
        "dest_num_entries=0",
        "sroute_num_entries=0",
        "map_num_entries=0",
        "netobj_num_list=4",
        "netobj_list_1_name=all_interfaces",
        "netobj_list_1_num_elements=0",
        "netobj_list_1_element",
        "netobj_list_2_name=Inside",
        "netobj_list_2_num_elements=0",
        "netobj_list_2_element",
        "netobj_list_3_name=Outside",
        "netobj_list_3_num_elements=0",
        "netobj_list_3_element",
        "netobj_list_4_name=Service",
        "netobj_list_4_num_elements=0",
        "netobj_list_4_element",
    };
    std::istringstream stream(tree.listing());
    std::string text;
    std::size_t left_out = 0;
    for (std::string line; std::getline(stream, line);) {
        if (bare.contains(line))
            ++left_out;
        else
            text += line + "\n";
    }
    EXPECT_GE(left_out, 13U) << tree.listing();
    return text;
}

TEST(Norm41, ProxiesPoliciesAndLists)
{
    static const struct {
        const char *label, *before, *after;
    } cases[] = {
        {"no proxies", "a=1\n", "cust_num_proxies=0\ncust_proxy\na=1\n"},
        {"proxies against their order, config sets as custom proxies",
         "def_proxy_ftp_timeout=5\n"
         "def_proxy_plug_name=The plug\n"
         "def_proxy_plug_config-sets_news_port=119\n"
         "def_proxy_plug_config-sets_mail=\n",
         "cust_num_proxies=2\n"
         "cust_proxy_1=\ncust_proxy_1_realname=plug\ncust_proxy_1_name=mail\n"
         "cust_proxy_1_num_parms=0\ncust_proxy_1_parm\n"
         "cust_proxy_2_realname=plug\ncust_proxy_2_name=news\ncust_proxy_2_num_parms=1\n"
         "cust_proxy_2_parm_1_value=119\ncust_proxy_2_parm_1_name=port\n"
         "def_num_proxies=2\n"
         "def_proxy_1_name=The plug\ndef_proxy_1_realname=plug\ndef_proxy_1_num_parms=0\n"
         "def_proxy_1_parm\n"
         "def_proxy_2_name=ftp\ndef_proxy_2_realname=ftp\ndef_proxy_2_num_parms=1\n"
         "def_proxy_2_parm_1_value=5\ndef_proxy_2_parm_1_name=timeout\n"},
        {"policies against their order, their proxies in it",
         "policy_day_proxy_news=plug\npolicy_day_proxy_a%5Fb=x\n"
         "policy_day_parm_log=on\npolicy_day_parm=x\npolicy_night=\n",
         "cust_num_proxies=0\ncust_proxy\n"
         "policy_num_entries=2\n"
         "policy_1=\npolicy_1_parm\npolicy_1_num_parms=0\npolicy_1_num_proxies=0\n"
         "policy_1_proxy\npolicy_1_name=night\n"
         "policy_2_parm_1_value=on\npolicy_2_parm_1_name=log\npolicy_2_num_parms=1\n"
         "policy_2_num_proxies=2\npolicy_2_name=day\n"
         "policy_2_proxy_1_name=news\npolicy_2_proxy_2_name=a_b\n"},
        {"other lists",
         "map_numrules=1\nmap_5_x=1\nnat_rule_9_x=2\nmenu_meta_b=3\nmenu_meta_a=4\n"
         "link_7_x=5\nkey_8_x=6\npfedit_fwd_3_type=deny\nnetobj_group_g_member_b=7\n",
         "cust_num_proxies=0\ncust_proxy\nmap_1_x=1\nmap_num_entries=1\n"
         "nat_numrules=1\nnat_rule_1_x=2\nmenu_meta_1=4\nmenu_meta_2=3\n"
         "link_0001_x=5\nkey_0001_x=6\n"
         "pfedit_fwd_numrules=1\npfedit_fwd_rule1=deny+++++++++\nnetobj_num_group=1\n"
         "netobj_group_1_num_members=1\nnetobj_group_1_name=g\nnetobj_group_1_member_1=7\n"},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        flat_tree tree(row.before);
        EXPECT_EQ(norm41(&tree.head), 0);
        EXPECT_EQ(listing_without_bare_lists(tree), row.after);
        expect_sound(&tree.head);
    }
}

// Brings a canonical tree to a file in the numbered layout and back.
static std::string there_and_back(flat_tree &tree)
{
    const temp_file file;
    cur_database = &tree.head;
    EXPECT_EQ(exportenv(file.path(), EXPORT_NUMBERED), 0);
    const std::string written = file.text();
    EXPECT_EQ(exportenv(file.path(), EXPORT_NUMBERED), 0);
    EXPECT_EQ(file.text(), written);
    cur_database = nullptr;
    flat_tree again(written);
    norm_fragtree(&again.head);
    return again.sorted_listing();
}

// A canonical tree of some proxies, policies, lists and rules. What the numbered layout cannot
// hold is not in it: config sets of a proxy whose name has a '_', which reads as a path there,
// and the order of several aliases of one interface.
static std::string random_canonical_text(unsigned seed)
{
    std::mt19937 random(seed);
    const auto up_to = [&random](int most) {
        return static_cast<int>(random() % static_cast<unsigned>(most + 1));
    };
    std::ostringstream text;
    for (int proxy = up_to(4); proxy > 0; --proxy) {
        const std::string key = "def_proxy_p" + std::to_string(proxy) + "_";
        text << key << "timeout=" << up_to(99) << "\n";
        for (int host = up_to(3); host > 0; --host)
            text << key << "host_" << host << "=h" << up_to(9) << "\n";
        text << key << "max%5Fsize=1\n" << key << "permit-relay=yes\n";
        text << key << "deny-cmd=" << up_to(9) << "\n";
        for (int set = up_to(3); set > 0; --set) {
            const std::string name = "s" + std::to_string(proxy) + "%5F" + std::to_string(set);
            text << key << "config-sets_" << name << "_port=" << up_to(99) << "\n";
            text << "policy_all%5Fday_proxy_" << name << "=p" << proxy << "\n";
        }
    }
    for (int parm = up_to(3); parm > 0; --parm)
        text << "policy_night_parm_p%5F" << parm << "=" << up_to(9) << "\n";
    int entry = 0;
    for (int interface = up_to(3); interface > 0; --interface)
        text << "netobj_list_Inside_element_" << ++entry << "_interface=eth" << interface << "\n";
    if (entry > 0 && up_to(1) == 1) {
        text << "netobj_list_Inside_element_" << ++entry << "_interface=eth1:1\n";
        text << "netobj_list_Inside_element_" << entry << "_alias=yes\n";
    }
    for (int rule = up_to(12); rule > 0; --rule)
        text << "pfedit_lcl_" << rule << "_type=deny\npfedit_lcl_" << rule << "_comment=a note\n";
    for (int group = up_to(3); group > 0; --group)
        text << "netobj_group_g%5F" << group << "_member_1_addr=10.0.0." << up_to(9) << "\n";
    for (int route = up_to(3); route > 0; --route)
        text << "sroute_" << route << "_dest=10.0.0." << up_to(9) << "\n";
    return text.str();
}

// Lines that the numbered layout adds to a canonical tree for good.
static bool is_added(const std::string &line)
{
    return line.find('=') == std::string::npos || line.starts_with("version_") ||
           line.starts_with("netobj_list_all%5Finterfaces_") || line == "nat_numrules=0" ||
           (line.starts_with("def_proxy_p") && line.find("_name=p") != std::string::npos);
}

static std::string without_added_lines(const std::string &text)
{
    std::istringstream stream(text);
    std::string rest;
    for (std::string line; std::getline(stream, line);)
        if (!is_added(line))
            rest += line + "\n";
    return rest;
}

TEST(Norm41, ThereAndBackIsTheSameCanonicalTree)
{
    for (unsigned seed = 0; seed < 200; ++seed) {
        SCOPED_TRACE(seed);
        // Proxies are known as such by their counter, which an empty list has as well.
        flat_tree tree("def_proxy=\n" + random_canonical_text(seed));
        const std::string back = without_added_lines(there_and_back(tree));
        ASSERT_EQ(back, tree.sorted_listing());
    }
}
