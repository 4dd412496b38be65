#include "flatlink/records/link_sort.h"

#include "flatlink/records/interfaces.h"
#include "tests/flatlink/conversion_test.h"

using namespace flatlink;

class link_sort : public conversion_test
{
  protected:
    // The names in list order, after `finish`. `records` holds the lines of each record, which
    // '|' separates. Without lines a record has a fixed gateway and is a host on both sides.
    static std::string sorted(const std::string &records, void (*finish)() = finish_linkinfos)
    {
        start_anew();
        feed("netobj_list_1_element_1_addr=10.1.0.1");
        ip_myhostname = "here.invalid";
        char name = 'a';
        for (const std::string &lines : lines_of(records, '|')) {
            const std::string start = "vlink_" + std::to_string(name - 'a' + 1) + "_";
            feed(each_behind(start, std::string("lname=") + name + "\nsecret=" + name +
                                        "\ngateway=192.0.2.1\nrulenumber=1\n"
                                        "lnetwork_start_address=10.1.0.7\n"
                                        "rnetwork_start_address=10.2.0.7\n" +
                                        lines));
            ++name;
        }
        finish();
        std::string names;
        for (const auto &link : linkinfos)
            names += link->lname;
        return names;
    }
};

TEST_F(link_sort, compares_one_key_after_the_other)
{
    static const std::string net_24 = "lnetwork_type=Subnet\nlnetwork_delimiter=255.255.255.0\n";
    static const std::string far_8 = "rnetwork_type=Subnet\nrnetwork_delimiter=255.0.0.0\n";
    static const struct {
        const char *label;
        std::string records;
        const char *order;
    } cases[] = {
        {"rule number", "rulenumber=10|rulenumber=9|rulenumber=-1|rulenumber=1", "cdba"},
        {"proxy rules last", "rulenumber=1073741825|rulenumber=5000", "ba"},
        {"deeper first", "|nesting-level=1|nesting-level=-1", "cba"}, // unsigned
        {"smaller local network", net_24 + "|rulenumber=1", "ba"},
        {"smaller remote network",
         far_8 + "|" + far_8 + "rnetwork_delimiter=255.255.0.0|rulenumber=1", "cba"},
        {"more certificate conditions", "|ic=x|icn=x|sc=x|scn=x", "edcba"},
        {"alternative name with its kind", "san_content=x|scn=x|san_content=x\nsan_type=DNS",
         "cba"},
        {"range counts its addresses",
         "lnetwork_type=Range\nlnetwork_delimiter=10.17.66.71|" + net_24, "ba"},
        {"the whole space has size 0",
         "|lnetwork_start_address=0.0.0.0\nlnetwork_type=Subnet\nlnetwork_delimiter=0.0.0.0", "ba"},
        {"its interface too", "|lnetwork_start_address=10.1.0.1", "ba"},
        {"but not an interface's subnet", "|lnetwork_start_address=10.1.0.1\n" + net_24, "ab"},
        {"the gateway has size 0", "|rnetwork_start_address=192.0.2.1", "ba"},
        {"fixed ones before clients", "fixed_remote=Off|gateway=*|rulenumber=9", "cab"},
        {"clients: subject before issuer", "gateway=*\nicn=x\nio=x|gateway=*\nsc=x", "ba"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        EXPECT_EQ(c.order, sorted(c.records));
    }
    // A record that never got a local text is the firewall's.
    sorted("rulenumber=1");
    feed("vlink_2_lname=b\nvlink_2_gateway=192.0.2.1\nvlink_2_rulenumber=1\n"
         "vlink_2_rnetwork_start_address=10.2.0.7");
    vpnauto_sort();
    EXPECT_EQ("b", linkinfos[0]->lname);
}

TEST_F(link_sort, settles_addresses_on_the_way)
{
    own_address_towards["192.0.2.1"] = "198.51.100.9";
    host_names.hosts = {{"peer.invalid", {{"192.0.2.7"}}},
                        {"here.invalid", {{"10.1.0.9"}}},
                        {"there.invalid", {{"10.2.0.9"}}},
                        {"six.invalid", {{"10.3.0.9"}, 16}}};
    static const struct {
        const char *label, *lines;
        const char *wanted; // gateway, local and remote: start delimiter type
    } cases[] = {
        {"names",
         "gateway=peer.invalid\nlnetwork_start_address=here.invalid\nlnetwork_type=DNSname\n"
         "rnetwork_start_address=there.invalid\nrnetwork_type=DNSname",
         "192.0.2.7 | 10.1.0.9 - 1 | 10.2.0.9 - 1"},
        {"names without an address", "gateway=six.invalid\nrnetwork_start_address=none.invalid",
         "- | 10.1.0.7 - 1 | - - 1"},
        {"firewall: its address towards the gateway", "lnetwork_start_address=127.0.0.01",
         "192.0.2.1 | 198.51.100.9 - 1 | 10.2.0.7 - 1"},
        {"firewall without a route: its name's address",
         "gateway=192.0.2.2\nlnetwork_start_address=127.0.0.1",
         "192.0.2.2 | 10.1.0.9 - 1 | 10.2.0.7 - 1"},
        {"client of the firewall", "gateway=*\nlnetwork_start_address=localhost",
         "0.0.0.0 | - - 255 | - - 0"},
        {"ranges of one address",
         "lnetwork_type=Range\nlnetwork_delimiter=10.1.0.7\n"
         "rnetwork_type=Range\nrnetwork_delimiter=10.2.0.7",
         "192.0.2.1 | 10.1.0.7 - 1 | 10.2.0.7 - 1"},
        {"over the external gateway", "use_xgw=On", "192.0.2.1 | 0.0.0.0 0.0.0.0 4 | 10.2.0.7 - 1"},
    };
    const auto shown = [](u32 addr) { return addr == NOT_AN_ADDRESS ? "-" : format_address(addr); };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        ASSERT_EQ("a", sorted(c.lines));
        const linkinfo &link = *linkinfos[0];
        EXPECT_EQ(c.wanted, shown(link.gateway_addr) + " | " + shown(link.lnetwork_start) + " " +
                                shown(link.lnetwork_delimiter) + " " +
                                std::to_string(link.lnetwork_type) + " | " +
                                shown(link.rnetwork_start) + " " + shown(link.rnetwork_delimiter) +
                                " " + std::to_string(link.rnetwork_type));
    }
}

TEST_F(link_sort, asks_each_name_and_route_once)
{
    host_names.hosts["peer.invalid"] = {{"192.0.2.1"}};
    own_address_towards["192.0.2.1"] = "198.51.100.9";
    static const char lines[] = "gateway=peer.invalid\nlnetwork_start_address=127.0.0.1\n"
                                "rnetwork_start_address=peer.invalid\n";
    sorted(lines + std::string("|") + lines);
    EXPECT_EQ("name peer.invalid\n", host_names.lines());
    EXPECT_EQ(1, kernel.route_opens);
    EXPECT_EQ("198.51.100.9", format_address(linkinfos[1]->lnetwork_start));
    clear_lookups();
    EXPECT_EQ("192.0.2.1", format_address(getdnsname("peer.invalid")));
    EXPECT_EQ(2, host_names.asked.size());
}

TEST_F(link_sort, takes_link_numbers_where_no_rule_has_one)
{
    for (const auto &[records, rules] : {std::pair{"rulenumber=0|rulenumber=0", "1 2 "},
                                         std::pair{"rulenumber=0|rulenumber=7", "0 7 "}}) {
        sorted(records);
        std::string got;
        for (const auto &link : linkinfos)
            got += std::to_string(link->rulenumber) + " ";
        EXPECT_EQ(rules, got);
    }
}

// Each line is one more for the second of two equal records.
TEST_F(link_sort, removes_twins_that_agree_in_all_that_counts)
{
    static const char equal[] = "secret=s\nauth=pre\nlnetwork_type=Subnet\nrnetwork_type=Subnet\n"
                                "lnetwork_delimiter=255.255.255.0\n"
                                "rnetwork_delimiter=255.255.255.0\n";
    const auto kept = [](const std::string &line) {
        const std::string names = sorted(equal + std::string("|") + equal + line, [] {
            const linkinfo *second = linkinfos[1].get();
            const bool are_twins = find_twin_linkinfo(second, linkinfos) != second;
            finish_linkinfos();
            EXPECT_EQ(are_twins ? 1u : 2u, linkinfos.size()) << "removed like found";
        });
        return names.size();
    };
    for (const char *line : {"lname=other", "gateway=192.0.2.001"})
        EXPECT_EQ(1u, kept(line)) << line;
    for (const char *line : {"gateway=192.0.2.2", "use_xgw=On", "isa=v"})
        EXPECT_EQ(2u, kept(line)) << line;
    EXPECT_EQ("bc", sorted("rulenumber=2\nsecret=s|secret=s|secret=t|rulenumber=9\nsecret=s"))
        << "the first of their order stays";
    EXPECT_EQ("a", sorted("secret=s\nuse_xgw=On|secret=s\nuse_xgw=On\n"
                          "lnetwork_start_address=10.1.0.2"));
    EXPECT_EQ("10.1.0.7", linkinfos[0]->lnetwork_start_address) << "the text stays";
}
