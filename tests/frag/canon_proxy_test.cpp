#include "lib/frag/canon_proxy.h"

#include <gtest/gtest.h>

#include "tests/frag/flat_tree.h"

static int canon_parm_of_p(frag **head)
{
    return canon_parm(ffind(head, "p"), "parm", "num_parms", "num");
}

TEST(CanonProxy, Parameters)
{
    static const pass_case cases[] = {
        {"names and values; what lacks one is dropped; counters go", canon_parm_of_p,
         "p_state=on\n"
         "p_num_parms=4\n"
         "p_parm_1_name=timeout\np_parm_1_value=30\n"
         "p_parm_2_name=no value\n"
         "p_parm_3_value=no name\n"
         "p_parm_4_name_x=1\np_parm_4_value=name without text\n",
         "p_timeout=30\np_state=on\n"},
        {"a second value replaces the first, what else is counted stays", canon_parm_of_p,
         "p_num_parms=2\np_num_more=1\n"
         "p_parm_1_name=a\np_parm_1_value=1\n"
         "p_parm_2_name=a\np_parm_2_value=2\n",
         "p_a=2\np_num_more=1\n"},
        {"two levels with a digit, one with anything else behind the first mark", canon_parm_of_p,
         "p_parm_1_name=host_1\np_parm_1_value=a\n"
         "p_parm_2_name=host_2_x\np_parm_2_value=b\n"
         "p_parm_3_name=max_size\np_parm_3_value=c\n"
         "p_parm_4_name=end_\np_parm_4_value=d\n",
         "p_end%5F=d\np_max%5Fsize=c\np_host_2_x=b\np_host_1=a\n"},
        {"the first level loses the value it had", canon_parm_of_p,
         "p_parm_1_name=host\np_parm_1_value=a\n"
         "p_parm_2_name=host_1\np_parm_2_value=b\n",
         "p_host_1=b\n"},
        {"prefixes become flags of the last node, and replace what was there", canon_parm_of_p,
         "p_deny-y=0\n"
         "p_parm_1_name=permit-x\np_parm_1_value=1\n"
         "p_parm_2_name=Deny-ONLYON-w_v\np_parm_2_value=2\n"
         "p_parm_3_name=absorb-host_1\np_parm_3_value=3\n"
         "p_parm_4_name=y\np_parm_4_value=4\n"
         "p_parm_5_name=permit-relay\np_parm_5_value=5\n",
         "p_relay-permit=5\np_host_absorb-1=3\np_deny-w%5Fv=2\np_permit-x=1\np_y=4\n"},
        {"access and url are joined where both have values", canon_parm_of_p,
         "p_cyberurl_1=old\np_cyberurl_1_url=site\np_cyberurl_1_access=deny\np_cyberurl_1_x=1\n"
         "p_cyberurl_2_url=site\n"
         "p_cyberurl_3_url_x=1\np_cyberurl_3_access=deny\n",
         "p_url_1=deny site\n"
         "p_url_2_url=site\n"
         "p_url_3_url_x=1\np_url_3_access=deny\n"},
    };
    expect_passes(cases);
}

TEST(CanonProxy, ParametersKeepTrailingBlanksThatTheImportDidNotCount)
{
    flat_tree tree("p_parm_1_name=a\np_parm_1_value=set  \n"
                   "p_parm_2_name=b_c\np_parm_2_value=moved  \n");
    canon_parm_of_p(&tree.head);
    EXPECT_EQ(tree.listing(), "p_b%5Fc=moved\np_a=set  \n");
}

TEST(CanonProxy, Proxies)
{
    static const pass_case cases[] = {
        {"named, with parameters", canon_def,
         "def_proxy_1_realname=ftp_x\n"
         "def_proxy_1_parm_1_name=a\ndef_proxy_1_parm_1_value=1\n"
         "def_proxy_2_parm_1_name=b\ndef_proxy_2_parm_1_value=2\n"
         "def_proxy_3_realname_x=1\n",
         "def_proxy_ftp%5Fx_a=1\ndef_proxy_2_b=2\ndef_proxy_3\n"},
    };
    expect_passes(cases);
}

TEST(CanonProxy, CustomProxies)
{
    static const pass_case cases[] = {
        {"no custom proxies", canon_cust, "a=1\n", "a=1\n"},
        {"the last comes first in its owner", canon_cust,
         "def_proxy_plug_x=1\n"
         "cust_proxy_1_realname=plug\ncust_proxy_1_name=a_b\n"
         "cust_proxy_2_realname=plug\ncust_proxy_2_name=c\n"
         "cust_proxy_2_num_parms=1\n"
         "cust_proxy_2_parm_1_name=port\ncust_proxy_2_parm_1_value=25\n",
         "def_proxy_plug_config-sets_c_port=25\n"
         "def_proxy_plug_config-sets_a%5Fb\n"
         "def_proxy_plug_x=1\ncust_proxy\n"},
        {"without an owner its own name is one; an owner's mark is a path", canon_cust,
         "cust_proxy_1_realname=\ncust_proxy_1_name=a_b\n"
         "cust_proxy_2_realname=x_y\n"
         "cust_proxy_3_z=1\n",
         "def_proxy_3_config-sets_3_z=1\n"
         "def_proxy_x_y_config-sets_2\n"
         "def_proxy_a%5Fb_config-sets_a%5Fb\n"
         "cust_proxy\n"},
    };
    expect_passes(cases);
}

TEST(CanonProxy, Policies)
{
    const auto pass = [](frag **head) { return canon_policy(head, "policy"); };
    const pass_case cases[] = {
        {"names, counters and parameters", pass,
         "policy_num_entries=1\n"
         "policy_1_name=all_day\npolicy_1_num_proxies=0\npolicy_1_num_parms=1\n"
         "policy_1_parm_1_name=log\npolicy_1_parm_1_value=on\npolicy_1_parm_1_x=1\n"
         "policy_1_parm_2_name=lost\n"
         "policy_1_parm_3_value=lost\n",
         "policy_all%5Fday_parm_log=on\npolicy_all%5Fday_parm_log_x=1\n"
         "policy_all%5Fday_parm_2\npolicy_all%5Fday_parm_3\n"},
        {"the first proxy that has the config set owns it", pass,
         "policy_1_proxy_1=gone\npolicy_1_proxy_1_name=news\n"
         "policy_1_proxy_2=gone\npolicy_1_proxy_2_name=none\n"
         "policy_1_proxy_3=gone\n"
         "def_proxy_a_config-sets_other=1\n"
         "def_proxy_deny-b%5Fb_config-sets_news=1\n"
         "def_proxy_c_config-sets_news=1\n"
         "def_proxy_c_config-sets_3=1\n",
         "policy_1_proxy_news=deny-b_b\n"
         "policy_1_proxy_none\n"
         "policy_1_proxy_3=c\n"
         "def_proxy_a_config-sets_other=1\n"
         "def_proxy_deny-b%5Fb_config-sets_news=1\n"
         "def_proxy_c_config-sets_news=1\n"
         "def_proxy_c_config-sets_3=1\n"},
    };
    expect_passes(cases);
}
