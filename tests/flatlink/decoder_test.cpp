#include "flatlink/decoder.h"

#include <filesystem>
#include <fstream>

#include "flatlink/interfaces.h"
#include "tests/flatlink/conversion_test.h"

class decoder : public conversion_test
{
};

TEST_F(decoder, tells_lines_by_their_prefix)
{
    static const struct {
        const char *label, *line;
        bool is_taken;
        std::size_t made; // records in all lists
    } cases[] = {
        {"comment", "#vlink_1_lname=x", true, 0},
        {"empty", "", true, 0},
        {"three characters", "a=b", true, 0},
        {"four characters", "ab=c", false, 0},
        {"ike", "ikePolicy_a_name=b", true, 1},
        {"ipsec", "ipsecPolicy_a_name=b", true, 1},
        {"vlink", "vlink_1_lname=x", true, 1},
        {"pool", "mcpool_p_name=x", true, 1},
        {"link", "link_01_lname=x", true, 1},
        {"pair", "pair_01_lname=x", true, 1},
        {"pass", "pass_01_lname=x", true, 1},
        {"key", "key_0001_key=x", true, 1},
        {"another case of letters", "VLINK_1_lname=x", false, 0},
        {"refused by its parser", "ikePolicy_a_colour=red", true, 1},
        {"unknown setting", "vpn_colour=red", false, 0},
        {"setting without its sign", "vpn_threadcount", false, 0},
        {"prefix inside", " vlink_1_lname=x", false, 0},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        start_anew();
        bool is_taken = false;
        (void)messages_of([&] { is_taken = decode_vpn_buffer(c.line); });
        EXPECT_EQ(c.is_taken, is_taken);
        EXPECT_EQ(c.made, ikepolicy.size() + ipsecpolicy.size() + linkinfos.size() +
                              mcpools.size() + links.size() + swkeys.size());
    }
}

TEST_F(decoder, separates_the_older_families)
{
    static const struct {
        const char *line;
        int index, is_older_layout;
    } cases[] = {{"link_0007_lname=x", 7, 0},
                 {"pair_0007_lname=x", 4103, 1},
                 {"pass_0007_lname=x", 8199, 1},
                 {"link_0007_rname=x", 7, 1}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.line);
        start_anew();
        feed(c.line);
        ASSERT_EQ(1u, links.size());
        EXPECT_EQ(c.index, links[0]->index);
        EXPECT_EQ(c.is_older_layout, autosortold);
    }
}

TEST_F(decoder, stores_settings)
{
    static const std::string long_secret(200, 's');
    static const struct {
        const char *label;
        std::string lines;
        std::string (*got)();
        std::string wanted;
    } cases[] = {
        {"secret", "vpn_anonsecret=a = b", [] { return anonsecret; }, "a = b"},
        {"long secret", "vpn_anonsecret=" + long_secret, [] { return anonsecret; },
         long_secret.substr(0, 127)},
        {"empty secret replaces", "vpn_anonsecret=a\nvpn_anonsecret=", [] { return anonsecret; },
         ""},
        {"policy of eight", "vpn_clientIKEpolicy=12345678", [] { return clientIKEpolicy; },
         "12345678"},
        {"policy of nine", "vpn_clientIKEpolicy=123456789", [] { return clientIKEpolicy; }, "9"},
        {"policy's key", "vpn_clientIKEpolicy=vpn_ike_x", [] { return clientIKEpolicy; }, "x"},
        {"kernel", "vpn_kernelacceleration=off",
         [] { return std::to_string(klevelHardAccel) + std::to_string(ulevelHardAccel); }, "01"},
        {"user", "vpn_useracceleration=maybe",
         [] { return std::to_string(klevelHardAccel) + std::to_string(ulevelHardAccel); }, "10"},
        {"aggressive", "vpn_aggressivemode=ON", [] { return std::to_string(aggressiveMode); }, "1"},
        {"an empty switch is off",
         "vpn_useracceleration=", [] { return std::to_string(ulevelHardAccel); }, "0"},
        {"host", "ip_hostname=gate\nip_hostname=", [] { return ip_hostname; }, "gate"},
        {"domain", "ip_domainname=a.b=c", [] { return ip_domainname; }, "a.b=c"},
        {"own name is not read", "ip_myhostname=x", [] { return ip_myhostname; }, ""},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        start_anew();
        feed(c.lines);
        EXPECT_EQ(c.wanted, c.got());
    }
}

TEST_F(decoder, keeps_the_thread_count_in_its_range)
{
    static const struct {
        const char *value;
        int wanted;
    } cases[] = {{"-7", 2}, {"1", 2}, {"2", 2},  {"3", 3},   {"9", 9},
                 {"10", 9}, {"", 2},  {"4x", 4}, {"100", 9}, {"x", 2}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.value);
        feed(std::string("vpn_threadcount=") + c.value);
        EXPECT_EQ(c.wanted, cryptoThreadCount);
    }
}

TEST_F(decoder, takes_interface_lines_apart)
{
    static const struct {
        const char *label, *lines, *saved_names; // "list element name" of each record
    } cases[] = {
        {"plain", "netobj_list_3_element_2_name=n", "3 2 n\n"},
        {"zeros", "netobj_list_0_element_0_name=n", "0 0 n\n"},
        {"unknown field makes a record", "netobj_list_3_element_2_colour=red", "3 2 \n"},
        {"empty value", "netobj_list_3_element_2_name=", ""},
        {"no equals sign", "netobj_list_3_element_2_name", ""},
        {"no number", "netobj_list_x_element_2_name=n", ""},
        {"negative list", "netobj_list_-1_element_2_name=n", ""},
        {"negative element", "netobj_list_3_element_-2_name=n", ""},
        {"number with a tail", "netobj_list_3x_element_2_name=n", ""},
        {"no element", "netobj_list_3_element_2=n", ""},
        {"another word", "netobj_list_3_elements_2_name=n", ""},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        start_anew();
        feed(c.lines);
        std::string names;
        for (const auto &intf : intf_list)
            names += std::to_string(intf->listno) + " " + std::to_string(intf->elemno) + " " +
                     intf->name + "\n";
        EXPECT_EQ(c.saved_names, names);
    }
}

TEST_F(decoder, follows_the_three_special_lists)
{
    static const struct {
        const char *label, *lines;
        std::string wanted; // outside, inside, service: address mask interface
    } cases[] = {
        {"outside",
         "netobj_list_3_name=Outside\nnetobj_list_3_element_1_addr=10.0.0.1\n"
         "netobj_list_3_element_1_netmask=255.0.0.0\nnetobj_list_3_element_1_interface=hme0",
         "10.0.0.1 255.0.0.0 hme0|0.0.0.0 255.255.255.255 |0.0.0.0 255.255.255.255 "},
        {"inside and service",
         "netobj_list_4_name=Inside\nnetobj_list_5_name=Service\n"
         "netobj_list_4_element_1_addr=10.0.0.1\nnetobj_list_5_element_1_interface=qfe0",
         "0.0.0.0 255.255.255.255 |10.0.0.1 255.255.255.255 |0.0.0.0 255.255.255.255 qfe0"},
        {"elements before the name",
         "netobj_list_3_element_1_addr=10.0.0.1\nnetobj_list_3_name=Outside",
         "0.0.0.0 255.255.255.255 |0.0.0.0 255.255.255.255 |0.0.0.0 255.255.255.255 "},
        {"not the first element",
         "netobj_list_3_name=Outside\nnetobj_list_3_element_2_addr=10.0.0.1",
         "0.0.0.0 255.255.255.255 |0.0.0.0 255.255.255.255 |0.0.0.0 255.255.255.255 "},
        {"another case of letters",
         "netobj_list_3_name=outside\nnetobj_list_3_element_1_addr=10.0.0.1",
         "0.0.0.0 255.255.255.255 |0.0.0.0 255.255.255.255 |0.0.0.0 255.255.255.255 "},
        {"one list under two names",
         "netobj_list_3_name=Inside\nnetobj_list_3_name=Outside\n"
         "netobj_list_3_element_1_addr=10.0.0.1",
         "10.0.0.1 255.255.255.255 |0.0.0.0 255.255.255.255 |0.0.0.0 255.255.255.255 "},
    };
    const auto shown = [](u32 addr, u32 mask, const std::string &face) {
        return dotted(addr) + " " + dotted(mask) + " " + face;
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        start_anew();
        feed(c.lines);
        EXPECT_EQ(c.wanted, shown(outside_addr, outside_mask, outside_face) + "|" +
                                shown(inside_addr, inside_mask, inside_face) + "|" +
                                shown(thirdside_addr, thirdside_mask, thirdside_face));
    }
}

// ---- whole flat files

class flat_file : public conversion_test
{
  protected:
    std::string path = testing::TempDir() + "flat_file_" + std::to_string(getpid());
    ~flat_file() override { std::filesystem::remove(path); }
    void write(const std::string &text) { std::ofstream(path) << text; }
};

TEST_F(flat_file, is_read_and_finished)
{
    write("vlink_7_lname=a\nvlink_7_gateway=10.0.0.1\nip_hostname=gate\nlast line=1");
    read_vpndata55(path.c_str(), false);
    EXPECT_EQ(1u, linkinfos.size());
    EXPECT_EQ("gate", ip_myhostname);
    EXPECT_EQ(path, network_database);

    start_anew();
    read_vpndata55(path.c_str(), true);
    EXPECT_EQ(1u, linkinfos.size());
    EXPECT_EQ("", ip_myhostname) << "host lines are skipped";
}

TEST_F(flat_file, falls_into_pieces_where_a_line_is_too_long)
{
    // A piece holds 1023 characters: what follows is a line of its own.
    const std::string start = "vpn_anonsecret=x";
    write(start + std::string(1023 - start.size(), 'y') +
          "vpn_threadcount=5\nvpn_aggressivemode=On\n");
    read_vpndata55(path.c_str(), false);
    EXPECT_EQ(127u, anonsecret.size());
    EXPECT_EQ(5, cryptoThreadCount);
    EXPECT_EQ(1, aggressiveMode);

    // With one character less the newline is in the piece.
    start_anew();
    write(start + std::string(1022 - start.size(), 'y') + "\nvpn_threadcount=5\n");
    read_vpndata55(path.c_str(), false);
    EXPECT_EQ(5, cryptoThreadCount);
}

TEST_F(flat_file, that_is_missing_ends_the_program)
{
    const std::string missing = path + "-missing";
    EXPECT_EXIT(read_vpndata55(missing.c_str(), false), testing::ExitedWithCode(1),
                "^vpndata:Can't open database " + missing + "\n$");
}

// A file that was written reads back to the same file, apart from what writing loses for good:
// policies and pools take their numbers for names, and the own host name is built anew.
TEST_F(flat_file, comes_out_as_it_went_in)
{
    const std::string text =
        "vpn_anonsecret=s3cret\nvpn_clientIKEpolicy=short\nvpn_kernelacceleration=Off\n"
        "vpn_useracceleration=On\nvpn_aggressivemode=On\n"
        "key_0001_type=KeyID (hex)\nkey_0001_id=me\nkey_0001_kidnum=-3\nkey_0001_key=00ff\n"
        "vlink_1_lname=~Quay\nvlink_1_description=Quay\nvlink_1_gateway=192.0.2.9\n"
        "vlink_1_fixed_remote=On\nvlink_1_use_xgw=On\nvlink_1_xgwenforced=Enforce\n"
        "vlink_1_auth=pre\nvlink_1_ikepolicy=1\nvlink_1_ipsecpolicy=1\n"
        "vlink_1_lnetwork_start_address=10.1.0.0\nvlink_1_lnetwork_delimiter=0.0.0.0\n"
        "vlink_1_lnetwork_type=Subnet\nvlink_1_rnetwork_start_address=10.2.0.0\n"
        "vlink_1_rnetwork_delimiter=10.2.0.9\nvlink_1_rnetwork_type=Range\n"
        "vlink_1_modecfg=Any\nvlink_1_secret=a = b\nvlink_1_key=00012\nvlink_1_scn=n\n"
        "vlink_1_so=o\nvlink_1_sou=u\nvlink_1_sc=c\nvlink_1_sst=st\nvlink_1_sl=l\nvlink_1_ssa=sa\n"
        "vlink_1_san_content=c\nvlink_1_san_type=IP Address\nvlink_1_icn=n\nvlink_1_io=o\n"
        "vlink_1_iou=u\nvlink_1_ic=c\nvlink_1_ist=st\nvlink_1_il=l\nvlink_1_isa=sa\n"
        "vlink_1_maxdepth=-4\nvlink_1_logging=High\nvlink_1_df_bit=Set\n"
        "vlink_2_lname=~road\nvlink_2_gateway=*\nvlink_2_fixed_remote=Off\nvlink_2_use_xgw=Off\n"
        "vlink_2_auth=\nvlink_2_lnetwork_start_address=10.1.0.7\n"
        "vlink_2_lnetwork_delimiter=255.255.255.255\nvlink_2_lnetwork_type=Host\n"
        "vlink_2_rnetwork_delimiter=255.255.255.255\nvlink_2_rnetwork_type=\n"
        "vlink_2_modecfg=pool\nvlink_2_key=00000\nvlink_2_san_type=Don't check\n"
        "vlink_2_maxdepth=0\nvlink_2_logging=Critical\nvlink_2_df_bit=\n"
        "ikePolicy_1_name=1\nikePolicy_1_description=d\nikePolicy_1_prop_1_hash=Tiger\n"
        "ikePolicy_1_prop_1_encryption=Blowfish\nikePolicy_1_prop_1_diffie-helman=1536-bit\n"
        "ikePolicy_1_prop_1_lifetime=480\nikePolicy_1_prop_1_key_count=65535\n"
        "ipsecPolicy_1_name=1\nipsecPolicy_1_description=\nipsecPolicy_1_group=768-bit\n"
        "ipsecPolicy_1_prop_1_pfs=On\nipsecPolicy_1_prop_1_ah_hash=KPDK\n"
        "ipsecPolicy_1_prop_1_esp_hash=DES-MAC\nipsecPolicy_1_prop_1_esp_encryption=IDEA\n"
        "ipsecPolicy_1_prop_1_ipcomp_algorithm=V42BIS\nipsecPolicy_1_prop_1_lifetime_minutes=-1\n"
        "ipsecPolicy_1_prop_1_lifetime_mb=7\n"
        "mcpool_1_name=1\nmcpool_1_description=d\nmcpool_1_mask=255.255.255.0\nmcpool_1_expiry=60\n"
        "mcpool_1_stale_limit=2\nmcpool_1_ifname=hme0\nmcpool_1_addr_1=10.9.0.1\n"
        "mcpool_1_addr2_1=10.9.0.9\nmcpool_1_nbns_1=10.0.0.3\nmcpool_1_dns_1=10.0.0.4\n"
        "mcpool_1_dns_2=10.0.0.5\nmcpool_1_net_1_addr=10.0.0.0\nmcpool_1_net_1_mask=255.0.0.0\n"
        "netobj_list_2_element_5_name=LAN\nnetobj_list_2_element_5_interface=hme0\n"
        "netobj_list_2_element_5_addr=10.1.0.1\nnetobj_list_2_element_5_broadcast=10.1.0.255\n"
        "netobj_list_2_element_5_netmask=255.255.255.0\nnetobj_list_2_element_5_location=Service\n"
        "ip_myhostname=gate.x.invalid\nip_hostname=gate\nip_domainname=x.invalid\n";
    write(text);
    EXPECT_EQ("", messages_of([this] { read_vpndata55(path.c_str(), false); }));
    EXPECT_EQ(0, save_vpndata(nullptr));
    fout = nullptr;
    std::ifstream file(path);
    EXPECT_EQ(text, std::string(std::istreambuf_iterator<char>(file), {}));
}

TEST_F(decoder, loads_interfaces_alone)
{
    load_tree("netobj_list_Heartbeat_element_1_interface=qfe3\n"
              "netobj_list_Heartbeat_element_1_addr=10.255.0.1\n"
              "netobj_list_Heartbeat_element_1_netmask=255.255.255.252\n"
              "netobj_list_all_interfaces_element_1_interface=hme0\n"
              "netobj_list_all_interfaces_element_1_addr=10.1.0.1\n"
              "netobj_list_all_interfaces_element_1_netmask=255.255.255.0\n"
              "netobj_list_all_interfaces_element_2_interface=hme1\n"
              "rule_pffwd_1_src=x\n");
    build_interface_list(&def_database);
    ASSERT_EQ(2u, intf_list.size()) << "one has no address";
    EXPECT_EQ("hme0", intf_list[0]->interface);
    EXPECT_EQ("qfe3", intf_list[1]->interface);
    EXPECT_EQ(intf_list[0]->listno + 1, intf_list[1]->listno);
    EXPECT_EQ("10.1.0.0", dotted(intf_list[0]->network));
    EXPECT_EQ("", ip_hostname);
}
