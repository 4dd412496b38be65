#include "flatlink/records/post_decode.h"

#include "flatlink/records/ike_policy.h"
#include "flatlink/records/interfaces.h"
#include "flatlink/records/ipsec_policy.h"
#include "flatlink/records/pools.h"
#include "tests/flatlink/conversion_test.h"

using namespace flatlink;

class Finishing : public conversion_test
{
};

TEST_F(Finishing, DropsWhatHasNoNameAndUpgradesOlderLinks)
{
    feed("link_0001_type=pass\nlink_0002_lname=a\nlink_0002_mode=swipe\npair_0001_lname=b\n"
         "pair_0001_rname=c\nvlink_1_secret=s\nvlink_2_lname=d\nvlink_3_secret=s\n"
         "key_0001_id=x\nkey_0002_key=k\nkey_0003_type=DNS\n");
    EXPECT_EQ(post_decode(), 0);
    ASSERT_EQ(links.size(), 2u);
    EXPECT_EQ(links[0]->lname, "a");
    EXPECT_EQ(links[0]->mode, 0);
    EXPECT_EQ(links[1]->lname, "b <=> c");
    EXPECT_EQ(autosortold + swipelinks, 0);
    EXPECT_EQ(values_of(saved(save_linkinfos, linkinfos), "lname"), "d ");
    ASSERT_EQ(swkeys.size(), 1u);
    EXPECT_EQ(swkeys[0]->key, "k");
}

TEST_F(Finishing, FindsTheDefaultRoute)
{
    for (const char *lines : {"1_addr=10.1.0.1\n1_netmask=255.255.255.0\n1_interface=a",
                              "2_addr=10.2.0.1\n2_netmask=255.255.255.0\n2_interface=b",
                              "3_addr=10.1.0.9\n3_netmask=255.255.255.0\n3_interface=c\n"
                              "3_location=Inside"})
        feed(each_behind("netobj_list_1_element_", lines));
    for (const auto &[router, route] :
         {std::pair{"", "0.0.0.0"}, std::pair{"10.2.0.254", "10.2.0.1"},
          std::pair{"10.1.0.254", "10.1.0.9"}, // on two subnets: the first in their order
          std::pair{"10.3.0.254", "10.3.0.254"}, std::pair{"x.invalid", "255.255.255.255"}}) {
        my_def_interface = router;
        post_decode();
        EXPECT_EQ(format_address(my_def_route), route);
    }
}

TEST_F(Finishing, KnowsInterfacesAndTheHostNameBeforeItSorts)
{
    int number = 0;
    for (const std::string local : {"10.1.0.7", "10.1.0.1", "gate.x.invalid"})
        feed(each_behind("vlink_" + std::to_string(++number) + "_",
                         "lname=" + local + "\nlnetwork_start_address=" + local +
                             "\ngateway=192.0.2.1\nrnetwork_start_address=10.9.0.1\n"
                             "rulenumber=1"));
    feed(each_behind("netobj_list_1_element_1_",
                     "interface=a\naddr=10.1.0.1\nnetmask=255.255.255.0"));
    feed("netobj_list_1_element_2_addr=10.1.0.7"); // no interface, and dropped
    feed("ip_hostname=gate\nip_domainname=x.invalid");
    post_decode();
    EXPECT_EQ(values_of(saved(save_linkinfos, linkinfos), "lname"),
              "10.1.0.1 gate.x.invalid 10.1.0.7 ");
}

// A reload, or a second file, goes through what the first one left.
TEST_F(Finishing, KeepsTheOrderOfWhatIsFinished)
{
    const auto policies = [](const std::string &names) {
        std::string lines;
        for (const char name : names)
            for (const char number : {'2', '1'}) {
                const std::string end = std::string{name} + "_prop_" + number + "_";
                lines += each_behind("ikePolicy_" + end, "hash=MD5\nencryption=DES\n"
                                                         "diffie-helman=768-bit\nlifetime=" +
                                                             std::string{number});
                lines += each_behind("ipsecPolicy_" + end,
                                     "esp_encryption=DES\nlifetime_mb=" + std::string{number});
            }
        return lines;
    };
    const auto shown = [](std::string_view ending) {
        return values_of(saved(save_ikepols, ikepolicy) + saved(save_ipsecpols, ipsecpolicy) +
                             saved(save_mcpools, mcpools),
                         ending);
    };
    feed(policies("ba") + "mcpool_p_mask=255.0.0.0\nmcpool_p_addr_7=10.9.0.7\n"
                          "mcpool_p_addr_8=10.9.0.8\nmcpool_p_net_3_addr=10.0.0.3\n"
                          "mcpool_p_dns_3=10.0.0.3\n");
    for (int run = 0; run < 2; ++run) {
        post_decode();
        EXPECT_EQ(shown("_name"), "b a b a p ") << run;
        EXPECT_EQ(shown("lifetime"), "1 2 1 2 ") << run;
        EXPECT_EQ(shown("lifetime_mb"), "1 2 1 2 ") << run;
    }
    feed(policies("ca") + "mcpool_p_addr_1=10.9.0.1\nmcpool_p_net_0_addr=10.0.0.4\n"
                          "mcpool_p_dns_0=10.0.0.4\n");
    post_decode();
    EXPECT_EQ(shown("_name"), "b a c b a c p ");
    EXPECT_EQ(shown("lifetime_mb"), "1 2 1 2 1 2 1 2 ") << "new proposals come last";
    EXPECT_EQ(shown("addr_1") + shown("addr_2"), "10.9.0.7 10.9.0.1 ")
        << "what stayed has moved up, to the numbers from 0";
    EXPECT_EQ(shown("net_1_addr") + shown("dns_1"), "10.0.0.4 10.0.0.4 ");
}

TEST_F(Finishing, AsksNamesAnew)
{
    for (const char *addr : {"192.0.2.1", "192.0.2.2"}) {
        host_names.hosts["peer.invalid"] = {{addr}};
        feed("vlink_1_lname=a\nvlink_1_gateway=peer.invalid");
        post_decode();
        EXPECT_EQ(format_address(linkinfos[0]->gateway_addr), addr);
    }
}
