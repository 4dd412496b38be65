#include "flatlink/post_decode.h"

#include "flatlink/interfaces.h"
#include "tests/flatlink/conversion_test.h"

class finishing : public conversion_test
{
};

TEST_F(finishing, drops_what_has_no_name)
{
    feed("link_0001_type=pass\nlink_0002_lname=a\nlink_0003_type=pass\n"
         "vlink_1_secret=s\nvlink_2_lname=b\nvlink_3_secret=s\n"
         "key_0001_id=x\nkey_0002_key=k\nkey_0003_type=DNS\n");
    EXPECT_EQ(0, post_decode());
    ASSERT_EQ(1u, links.size());
    EXPECT_EQ("a", links[0]->lname);
    ASSERT_EQ(1u, linkinfos.size());
    EXPECT_EQ("b", linkinfos[0]->lname);
    ASSERT_EQ(1u, swkeys.size());
    EXPECT_EQ("k", swkeys[0]->key);
}

TEST_F(finishing, upgrades_older_links_when_a_line_asks_for_it)
{
    feed("link_0001_lname=a\nlink_0001_mode=swipe\npair_0001_lname=b\npair_0001_rname=c\n");
    post_decode();
    EXPECT_EQ(0, links[0]->mode);
    EXPECT_EQ("b <=> c", links[1]->lname);
    EXPECT_EQ(0, autosortold);
    EXPECT_EQ(0, swipelinks);
}

TEST_F(finishing, builds_the_host_name)
{
    static const struct {
        const char *host, *domain, *wanted;
    } cases[] = {
        {"gate", "x.invalid", "gate.x.invalid"},
        {"gate", "", "gate"},
        {"", "x.invalid", ".x.invalid"},
        {"", "", ""},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.wanted);
        ip_hostname = c.host;
        ip_domainname = c.domain;
        ip_myhostname = "old";
        post_decode();
        EXPECT_EQ(c.wanted, ip_myhostname);
    }
}

TEST_F(finishing, finds_the_default_route)
{
    static const struct {
        const char *label, *router, *route;
    } cases[] = {
        {"no router", "", "0.0.0.0"},
        {"on the second subnet", "10.2.0.254", "10.2.0.1"},
        {"on two subnets: the first in their order", "10.1.0.254", "10.1.0.9"},
        {"on none", "10.3.0.254", "10.3.0.254"},
        {"no address", "router.invalid", "255.255.255.255"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        start_anew();
        feed("netobj_list_1_element_1_interface=a\nnetobj_list_1_element_1_addr=10.1.0.1\n"
             "netobj_list_1_element_1_netmask=255.255.255.0\n"
             "netobj_list_1_element_2_interface=b\nnetobj_list_1_element_2_addr=10.2.0.1\n"
             "netobj_list_1_element_2_netmask=255.255.255.0\n"
             "netobj_list_1_element_3_interface=c\nnetobj_list_1_element_3_addr=10.1.0.9\n"
             "netobj_list_1_element_3_netmask=255.255.255.0\n"
             "netobj_list_1_element_3_location=Inside\n");
        my_def_interface = c.router;
        post_decode();
        EXPECT_EQ(c.route, dotted(my_def_route));
    }
}

TEST_F(finishing, knows_interfaces_and_the_host_name_before_it_sorts)
{
    const auto link = [](const char *number, const char *local) {
        const std::string start = std::string("vlink_") + number + "_";
        feed(start + "lname=" + local + "\n" + start + "gateway=192.0.2.1\n" + start +
             "rnetwork_start_address=10.9.0.1\n" + start + "rulenumber=1\n" + start +
             "lnetwork_start_address=" + local);
    };
    link("1", "10.1.0.7");
    link("2", "10.1.0.1");
    link("3", "gate.x.invalid");
    feed(
        "netobj_list_1_element_1_interface=a\nnetobj_list_1_element_1_addr=10.1.0.1\n"
        "netobj_list_1_element_1_netmask=255.255.255.0\nip_hostname=gate\nip_domainname=x.invalid");
    post_decode();
    std::string order;
    for (const auto &info : linkinfos)
        order += info->lname + " ";
    EXPECT_EQ("10.1.0.1 gate.x.invalid 10.1.0.7 ", order);
}

TEST_F(finishing, asks_names_anew)
{
    scripted_names::addresses["peer.invalid"] = "192.0.2.1";
    feed("vlink_1_lname=a\nvlink_1_gateway=peer.invalid");
    post_decode();
    EXPECT_EQ("192.0.2.1", dotted(linkinfos[0]->gateway_addr));
    scripted_names::addresses["peer.invalid"] = "192.0.2.2";
    feed("vlink_1_gateway=peer.invalid");
    post_decode();
    EXPECT_EQ("192.0.2.2", dotted(linkinfos[0]->gateway_addr));
}
