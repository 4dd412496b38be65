#include "flatlink/records/link_sort.h"

#include "flatlink/records/interfaces.h"
#include "tests/case_lines.h"
#include "tests/flatlink/conversion_test.h"

using namespace flatlink;

class LinkSort : public conversion_test
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
        for (const std::string &lines : pieces_of(records, '|')) {
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

TEST_F(LinkSort, ComparesOneKeyAfterTheOther)
{
    for (case_row &c : case_rows("flatlink/link_order", "from want")) {
        SCOPED_TRACE(c["case"]);
        EXPECT_EQ(sorted(c["from"]), c["want"]);
    }
    // A record that never got a local text is the firewall's.
    sorted("rulenumber=1");
    feed("vlink_2_lname=b\nvlink_2_gateway=192.0.2.1\nvlink_2_rulenumber=1\n"
         "vlink_2_rnetwork_start_address=10.2.0.7");
    vpnauto_sort();
    EXPECT_EQ(linkinfos[0]->lname, "b");
}

TEST_F(LinkSort, SettlesAddressesOnTheWay)
{
    own_address_towards["192.0.2.1"] = "198.51.100.9";
    host_names.hosts = {{"peer.invalid", {{"192.0.2.7"}}},
                        {"here.invalid", {{"10.1.0.9"}}},
                        {"there.invalid", {{"10.2.0.9"}}},
                        {"six.invalid", {{"10.3.0.9"}, 16}}};
    const auto shown = [](u32 addr) { return addr == NOT_AN_ADDRESS ? "-" : format_address(addr); };
    for (case_row &c : case_rows("flatlink/link_addresses", "from want")) {
        SCOPED_TRACE(c["case"]);
        ASSERT_EQ(sorted(c["from"]), "a");
        const linkinfo &link = *linkinfos[0];
        EXPECT_EQ(shown(link.gateway_addr) + " | " + shown(link.lnetwork_start) + " " +
                      shown(link.lnetwork_delimiter) + " " + std::to_string(link.lnetwork_type) +
                      " | " + shown(link.rnetwork_start) + " " + shown(link.rnetwork_delimiter) +
                      " " + std::to_string(link.rnetwork_type),
                  c["want"]);
    }
}

TEST_F(LinkSort, AsksEachNameAndRouteOnce)
{
    host_names.hosts["peer.invalid"] = {{"192.0.2.1"}};
    own_address_towards["192.0.2.1"] = "198.51.100.9";
    static const char lines[] = "gateway=peer.invalid\nlnetwork_start_address=127.0.0.1\n"
                                "rnetwork_start_address=peer.invalid\n";
    sorted(lines + std::string("|") + lines);
    EXPECT_EQ(host_names.lines(), "name peer.invalid\n");
    EXPECT_EQ(kernel.route_opens, 1);
    EXPECT_EQ(format_address(linkinfos[1]->lnetwork_start), "198.51.100.9");
    clear_lookups();
    EXPECT_EQ(format_address(getdnsname("peer.invalid")), "192.0.2.1");
    EXPECT_EQ(host_names.asked.size(), 2);
}

TEST_F(LinkSort, TakesLinkNumbersWhereNoRuleHasOne)
{
    for (const auto &[records, rules] : {std::pair{"rulenumber=0|rulenumber=0", "1 2 "},
                                         std::pair{"rulenumber=0|rulenumber=7", "0 7 "}}) {
        sorted(records);
        std::string got;
        for (const auto &link : linkinfos)
            got += std::to_string(link->rulenumber) + " ";
        EXPECT_EQ(got, rules);
    }
}

// Each line is one more for the second of two equal records.
TEST_F(LinkSort, RemovesTwinsThatAgreeInAllThatCounts)
{
    static const char equal[] = "secret=s\nauth=pre\nlnetwork_type=Subnet\nrnetwork_type=Subnet\n"
                                "lnetwork_delimiter=255.255.255.0\n"
                                "rnetwork_delimiter=255.255.255.0\n";
    const auto kept = [](const std::string &line) {
        const std::string names = sorted(equal + std::string("|") + equal + line, [] {
            const linkinfo *second = linkinfos[1].get();
            const bool are_twins = find_twin_linkinfo(second, linkinfos) != second;
            finish_linkinfos();
            EXPECT_EQ(linkinfos.size(), are_twins ? 1u : 2u) << "removed like found";
        });
        return names.size();
    };
    for (const char *line : {"lname=other", "gateway=192.0.2.001"})
        EXPECT_EQ(kept(line), 1u) << line;
    for (const char *line : {"gateway=192.0.2.2", "use_xgw=On", "isa=v"})
        EXPECT_EQ(kept(line), 2u) << line;
    EXPECT_EQ(sorted("rulenumber=2\nsecret=s|secret=s|secret=t|rulenumber=9\nsecret=s"), "bc")
        << "the first of their order stays";
    EXPECT_EQ(sorted("secret=s\nuse_xgw=On|secret=s\nuse_xgw=On\n"
                     "lnetwork_start_address=10.1.0.2"),
              "a");
    EXPECT_EQ(linkinfos[0]->lnetwork_start_address, "10.1.0.7") << "the text stays";
}
