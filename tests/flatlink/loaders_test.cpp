#include "flatlink/loaders.h"

#include "flatlink/ike_policy.h"
#include "flatlink/ipsec_policy.h"
#include "tests/flatlink/conversion_test.h"

class loaders : public conversion_test
{
};

TEST_F(loaders, feed_policies_by_the_names_of_lines)
{
    static const struct {
        const char *label, *policy, *ike, *ipsec; // what is new in the saved policy
    } cases[] = {
        {"description", "p_description=d\n", "description=d", "description=d"},
        {"cipher", "p_select_1_cipher=CAST\n", "prop_1_encryption=CAST",
         "prop_1_esp_encryption=CAST"},
        {"keys", "p_select_1_keys=5\n", "prop_1_key_count=5", nullptr},
        {"key names in any case", "p_select_1_CIPHER=CAST\n", "prop_1_encryption=CAST",
         "prop_1_esp_encryption=CAST"},
        {"lifetime", "p_select_1_lifetime=7\n", "prop_1_lifetime=7", "prop_1_lifetime_minutes=7"},
        {"group of a proposal", "p_select_1_dh=1536-bit\n", "prop_1_diffie-helman=1536-bit",
         nullptr},
        {"hash", "p_select_1_hash=MD5\n", "prop_1_hash=MD5", nullptr},
        {"hash of ESP", "p_select_1_hash=HMAC-MD5\n", nullptr, "prop_1_esp_hash=HMAC-MD5"},
        {"hash of AH", "p_select_1_ah=KPDK\n", nullptr, "prop_1_ah_hash=KPDK"},
        {"compression", "p_select_1_ippcp=LZS\n", nullptr, "prop_1_ipcomp_algorithm=LZS"},
        {"transfer limit", "p_select_1_transfer-limit=7\n", nullptr, "prop_1_lifetime_mb=7"},
        {"group of a policy", "p_pfs=768-bit\np_select_1_allow-pfs=On\n", nullptr,
         "group=768-bit\nprop_1_pfs=On"},
        {"keys of lines go as they are", "p_select_1_key_count=5\n", nullptr, nullptr},
        {"empty value", "p_select_1_lifetime=\np_description=\n", "", ""},
    };
    // The policy that each row adds to; a proposal in it that both kinds keep.
    static const char ike_base[] = "p_select_1_hash=SHA-1\np_select_1_cipher=DES\n"
                                   "p_select_1_dh=768-bit\n";
    static const char ipsec_base[] = "p_select_1_cipher=DES\n";
    const auto loaded = [](const std::string &policy, bool is_ike) {
        start_anew();
        load_tree(policy);
        is_ike ? load_ike(node("p")) : load_ipsec(node("p"));
        finish_ikepols();
        finish_ipsecpols();
        return is_ike ? saved(save_ikepols, ikepolicy) : saved(save_ipsecpols, ipsecpolicy);
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        for (const bool is_ike : {true, false}) {
            const char *lines = is_ike ? c.ike : c.ipsec;
            if (lines == nullptr)
                continue;
            const std::string base = is_ike ? ike_base : ipsec_base;
            std::string wanted;
            for (const std::string &line : lines_of(lines))
                wanted += (is_ike ? "ikePolicy_1_" : "ipsecPolicy_1_") + line + "\n";
            EXPECT_EQ(wanted, new_lines(loaded(base, is_ike), loaded(base + c.policy, is_ike)));
        }
    }
}

TEST_F(loaders, take_policies_without_proposals)
{
    load_tree("p_name=x\np_description=d\nq_select=x\n");
    EXPECT_EQ("", messages_of([] {
                  load_ike(node("p"));
                  load_ipsec(node("p"));
                  load_ike(node("q"));
              }));
    ASSERT_EQ(1u, ikepolicy.size()) << "one gave no line at all";
    EXPECT_EQ("p", ikepolicy[0]->name) << "by its node, not by its name";
    EXPECT_EQ("d", ikepolicy[0]->description);
    EXPECT_EQ(1u, ipsecpolicy.size());
}

TEST_F(loaders, pass_unknown_keys_on_to_the_parser)
{
    load_tree("p_select_one_hash=MD5\np_select_1_colour=red\n");
    EXPECT_EQ("vpndata:Unrecognized field: ikePolicy_1_prop_one_hash=MD5\n"
              "vpndata:Unrecognized field: ikePolicy_1_colour=red\n",
              messages_of([] { load_ike(node("p")); }));
}

TEST_F(loaders, feed_settings)
{
    static const struct {
        const char *label, *settings, *wanted; // secret, policy, kernel, user, aggressive
    } cases[] = {
        {"none", "s_other=1\n", "||1|1|0"},
        {"all",
         "s_anonsecret=a b\ns_ike=vpn_ike_p\ns_ipsec-acceleration=off\ns_ike-acceleration=Off\n"
         "s_aggressive-mode=on\n",
         "a b|p|0|0|1"},
        {"empty ones act", "s_anonsecret=\ns_ike=\ns_ipsec-acceleration=\ns_ike-acceleration=\n",
         "||0|0|0"},
        {"kernel and user apart", "s_ipsec-acceleration=off\n", "||0|1|0"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        start_anew();
        load_tree(c.settings);
        load_settings(node("s"));
        EXPECT_EQ(c.wanted,
                  anonsecret + "|" + clientIKEpolicy + "|" + std::to_string(klevelHardAccel) + "|" +
                      std::to_string(ulevelHardAccel) + "|" + std::to_string(aggressiveMode));
    }
}

TEST_F(loaders, number_interface_lists_one_after_the_other)
{
    load_tree("l_element_2_name=b\nl_element_x_name=c\nl_element_1_name=a\nl_element_1_addr=\n"
              "m_name=no elements\nn_element_1_interface=hme0\n");
    load_interfaces(node("l"));
    load_interfaces(node("m"));
    load_interfaces(node("n"));
    load_interfaces(node("l"));
    ASSERT_EQ(7u, intf_list.size());
    const int first = intf_list[0]->listno;
    std::string shown;
    for (const auto &intf : intf_list)
        shown += std::to_string(intf->listno - first) + "." + std::to_string(intf->elemno) + " " +
                 intf->name + intf->interface + "\n";
    EXPECT_EQ("0.2 b\n0.0 c\n0.1 a\n2.1 hme0\n3.2 b\n3.0 c\n3.1 a\n", shown)
        << "a list without elements takes a number too";
}
