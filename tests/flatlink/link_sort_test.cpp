#include "flatlink/link_sort.h"

#include "flatlink/interfaces.h"
#include "tests/flatlink/conversion_test.h"

class link_sort : public conversion_test
{
  protected:
    // The names in list order, after `sort`. `records` holds the lines of each record, which '|'
    // separates. Without lines a record has a fixed gateway and is a host on both sides.
    static std::string sorted(const std::string &records, void (*sort)())
    {
        start_anew();
        char name = 'a';
        for (std::size_t pos = 0; pos <= records.size(); ++name) {
            const std::size_t end = std::min(records.find('|', pos), records.size());
            const std::string start = "vlink_" + std::to_string(name - 'a' + 1) + "_";
            for (const std::string &line :
                 {std::string("lname=") + name, std::string("secret=") + name,
                  std::string("gateway=192.0.2.1"), std::string("rulenumber=1"),
                  std::string("lnetwork_start_address=10.1.0.7"),
                  std::string("rnetwork_start_address=10.2.0.7")})
                feed(start + line);
            for (const std::string &line : lines_of(records.substr(pos, end - pos)))
                feed(start + line);
            pos = end + 1;
        }
        sort();
        std::string names;
        for (const auto &link : linkinfos)
            names += link->lname;
        return names;
    }
};

TEST_F(link_sort, compares_one_key_after_the_other)
{
    static const char subnet_24[] = "lnetwork_type=Subnet\nlnetwork_delimiter=255.255.255.0\n";
    static const struct {
        const char *label;
        std::string records;
        const char *order;
    } cases[] = {
        {"equal ones stay", "|||", "abcd"},
        {"rule number", "rulenumber=10|rulenumber=9|rulenumber=11", "bac"},
        {"rule number is signed", "rulenumber=1|rulenumber=-1", "ba"},
        {"proxy rules last", "rulenumber=1073741825|rulenumber=5000", "ba"},
        {"rule number before nesting", "rulenumber=2\nnesting-level=5|", "ba"},
        {"deeper first", "|nesting-level=1|nesting-level=2", "cba"},
        {"nesting is unsigned", "nesting-level=1|nesting-level=-1", "ba"},
        {"nesting before size", subnet_24 + std::string("nesting-level=1|"), "ab"},
        {"smaller local network", subnet_24 + std::string("|"), "ba"},
        {"local before remote",
         subnet_24 + std::string("|rnetwork_type=Subnet\nrnetwork_delimiter=255.0.0.0"), "ba"},
        {"smaller remote network",
         "rnetwork_type=Subnet\nrnetwork_delimiter=255.255.255.0|"
         "rnetwork_type=Subnet\nrnetwork_delimiter=255.255.255.254|",
         "cba"},
        {"remote before certificates", "rnetwork_type=Subnet\nrnetwork_delimiter=255.0.0.0\nscn=x|",
         "ba"},
        {"more certificate conditions", "|ic=x|icn=x|sc=x|scn=x", "edcba"},
        {"alternative name", "san_content=x|scn=x|san_content=x\nsan_type=DNS", "cba"},
        {"range counts its addresses",
         "lnetwork_type=Range\nlnetwork_delimiter=10.17.66.71|" + std::string(subnet_24), "ba"},
        {"range of one is a host", "lnetwork_type=Range\nlnetwork_delimiter=10.1.0.7|", "ab"},
        {"the whole space has size 0",
         "|lnetwork_start_address=0.0.0.0\nlnetwork_type=Subnet\nlnetwork_delimiter=0.0.0.0", "ba"},
        {"the firewall has size 0", "|lnetwork_start_address=127.0.0.1", "ba"},
        {"the gateway has size 0", "|rnetwork_start_address=192.0.2.1", "ba"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        EXPECT_EQ(c.order, sorted(c.records, vpnauto_sort));
        for (std::size_t i = 0; i < linkinfos.size(); ++i)
            EXPECT_EQ(i + 1, linkinfos[i]->linkno);
    }
}

TEST_F(link_sort, puts_clients_behind_by_their_conditions)
{
    static const struct {
        const char *label, *records, *order;
    } cases[] = {
        {"fixed first", "rulenumber=1\nfixed_remote=Off|rulenumber=9", "ba"},
        {"no gateway is a client", "gateway=*|rulenumber=9", "ba"},
        {"fixed ones keep their order", "rulenumber=2|gateway=*|rulenumber=1", "cab"},
        {"more conditions first", "gateway=*\nso=x|gateway=*\nscn=x", "ba"},
        {"subject before issuer", "gateway=*\nicn=x\nio=x|gateway=*\nsc=x", "ba"},
        {"then the issuer", "gateway=*\nsc=x\nic=x|gateway=*\nsc=x\nist=x", "ba"},
        {"equal ones keep the order of the rules",
         "gateway=*\nsc=x\nrulenumber=2|gateway=*\nsc=x\nrulenumber=1", "ba"},
        {"alternative name above all, with a kind",
         "gateway=*\nscn=x|gateway=*\nsan_content=x|gateway=*\nsan_content=x\nsan_type=DNS", "cab"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        EXPECT_EQ(c.order, sorted(c.records, finish_linkinfos));
    }
}

TEST_F(link_sort, settles_addresses_on_the_way)
{
    own_address_towards["192.0.2.1"] = "198.51.100.9";
    scripted_names::addresses = {{"peer.invalid", "192.0.2.7"},
                                 {"here.invalid", "10.1.0.9"},
                                 {"there.invalid", "10.2.0.9"},
                                 {"six.invalid", "v6"}};
    static const struct {
        const char *label, *lines;
        const char *wanted; // gateway, local and remote: start delimiter type
    } cases[] = {
        {"nothing to do", "", "192.0.2.1|10.1.0.7 255.255.255.255 1|10.2.0.7 255.255.255.255 1"},
        {"subnet stays", "rnetwork_type=Subnet\nrnetwork_delimiter=255.255.0.0",
         "192.0.2.1|10.1.0.7 255.255.255.255 1|10.2.0.7 255.255.0.0 4"},
        {"range of one", "lnetwork_type=Range\nlnetwork_delimiter=10.1.0.7",
         "192.0.2.1|10.1.0.7 255.255.255.255 1|10.2.0.7 255.255.255.255 1"},
        {"named kind becomes a host", "rnetwork_type=DNSname\nrnetwork_delimiter=255.0.0.0",
         "192.0.2.1|10.1.0.7 255.255.255.255 1|10.2.0.7 255.255.255.255 1"},
        {"names",
         "gateway=peer.invalid\nlnetwork_start_address=here.invalid\nlnetwork_type=DNSname\n"
         "rnetwork_start_address=there.invalid\nrnetwork_type=DNSname",
         "192.0.2.7|10.1.0.9 255.255.255.255 1|10.2.0.9 255.255.255.255 1"},
        {"names without an address", "gateway=six.invalid\nrnetwork_start_address=none.invalid",
         "255.255.255.255|10.1.0.7 255.255.255.255 1|255.255.255.255 255.255.255.255 1"},
        {"firewall: its address towards the gateway", "lnetwork_start_address=127.0.0.1",
         "192.0.2.1|198.51.100.9 255.255.255.255 1|10.2.0.7 255.255.255.255 1"},
        {"firewall by another text", "lnetwork_start_address=127.0.0.01",
         "192.0.2.1|198.51.100.9 255.255.255.255 1|10.2.0.7 255.255.255.255 1"},
        {"firewall by word", "lnetwork_start_address=localhost\nlnetwork_type=Subnet",
         "192.0.2.1|198.51.100.9 255.255.255.255 1|10.2.0.7 255.255.255.255 1"},
        {"firewall without a route: its name's address",
         "gateway=192.0.2.2\nlnetwork_start_address=127.0.0.1",
         "192.0.2.2|10.1.0.9 255.255.255.255 1|10.2.0.7 255.255.255.255 1"},
        {"another case of letters is another name", "lnetwork_start_address=Localhost",
         "192.0.2.1|255.255.255.255 255.255.255.255 1|10.2.0.7 255.255.255.255 1"},
        {"client", "fixed_remote=Off\nrnetwork_type=Subnet\nrnetwork_delimiter=255.0.0.0",
         "0.0.0.0|10.1.0.7 255.255.255.255 1|255.255.255.255 255.255.255.255 0"},
        {"client of the firewall", "gateway=*\nlnetwork_start_address=127.0.0.1",
         "0.0.0.0|127.0.0.1 255.255.255.255 255|255.255.255.255 255.255.255.255 0"},
    };
    const auto side = [](u32 start, u32 delimiter, int type) {
        return "|" + dotted(start) + " " + dotted(delimiter) + " " + std::to_string(type);
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        sorted(c.lines, [] {
            ip_myhostname = "here.invalid";
            vpnauto_sort();
        });
        ASSERT_EQ(1u, linkinfos.size());
        const linkinfo &link = *linkinfos[0];
        EXPECT_EQ(c.wanted,
                  dotted(link.gateway_addr) +
                      side(link.lnetwork_start, link.lnetwork_delimiter, link.lnetwork_type) +
                      side(link.rnetwork_start, link.rnetwork_delimiter, link.rnetwork_type));
    }
}

TEST_F(link_sort, takes_own_addresses_and_the_own_name_for_the_firewall)
{
    static const struct {
        const char *label, *records, *order;
    } cases[] = {
        {"interface", "|lnetwork_start_address=10.1.0.1", "ba"},
        {"whole subnet of an interface",
         "|lnetwork_start_address=10.1.0.1\nlnetwork_type=Subnet\nlnetwork_delimiter=255.255.0.0",
         "ab"},
        {"own name", "|lnetwork_start_address=gate.invalid", "ba"},
        {"no local text", "|lnetwork_delimiter=255.255.255.255", "ab"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        EXPECT_EQ(c.order, sorted(c.records, [] {
                      feed("netobj_list_1_element_1_addr=10.1.0.1");
                      ip_myhostname = "gate.invalid";
                      vpnauto_sort();
                  }));
    }
    // A record that never got a local text.
    start_anew();
    feed("vlink_1_lname=a\nvlink_1_gateway=192.0.2.1\nvlink_1_rnetwork_start_address=10.2.0.7\n"
         "vlink_1_lnetwork_start_address=10.1.0.7\nvlink_2_lname=b\nvlink_2_gateway=192.0.2.1\n"
         "vlink_2_rnetwork_start_address=10.2.0.7\nvlink_1_rulenumber=1\nvlink_2_rulenumber=1");
    vpnauto_sort();
    EXPECT_EQ("b", linkinfos[0]->lname);
}

TEST_F(link_sort, asks_each_name_and_route_once)
{
    std::string lines;
    for (const char *number : {"1", "2", "3"}) {
        const std::string start = std::string("vlink_") + number + "_";
        lines += start + "lname=a\n" + start + "gateway=peer.invalid\n" + start +
                 "lnetwork_start_address=127.0.0.1\n" + start +
                 "rnetwork_start_address=peer.invalid\n";
    }
    scripted_names::addresses["peer.invalid"] = "192.0.2.1";
    own_address_towards["192.0.2.1"] = "198.51.100.9";
    feed(lines);
    vpnauto_sort();
    EXPECT_EQ(1, scripted_names::lookups["peer.invalid"]);
    EXPECT_EQ(1, kernel.route_opens);
    EXPECT_EQ("198.51.100.9", dotted(linkinfos[2]->lnetwork_start));
    forget_lookups();
    EXPECT_EQ("192.0.2.1", dotted(getdnsname("peer.invalid")));
    EXPECT_EQ(2, scripted_names::lookups["peer.invalid"]);
}

TEST_F(link_sort, knows_no_address_for_no_name)
{
    EXPECT_EQ(NOT_AN_ADDRESS, getdnsname(nullptr));
    EXPECT_EQ(NOT_AN_ADDRESS, getdnsname("none.invalid"));
    EXPECT_EQ(1u, scripted_names::lookups.size());
    vpnauto_sort();
    vpn_clientsort();
    EXPECT_TRUE(linkinfos.empty());
}

TEST_F(link_sort, takes_link_numbers_where_no_rule_has_one)
{
    static const struct {
        const char *label, *lines, *wanted;
    } cases[] = {
        {"none has one", "vlink_2_rulenumber=0\nvlink_1_rulenumber=0", "1 2 "},
        {"one has", "vlink_2_rulenumber=0\nvlink_1_rulenumber=7", "0 7 "},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        start_anew();
        feed("vlink_2_lname=b\nvlink_2_secret=s\nvlink_1_lname=a");
        feed(c.lines);
        finish_linkinfos();
        std::string rules;
        for (const auto &link : linkinfos)
            rules += std::to_string(link->rulenumber) + " ";
        EXPECT_EQ(c.wanted, rules);
    }
}
