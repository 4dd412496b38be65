#include "flatlink/records/decoder.h"

#include "tests/flatlink/conversion_test.h"

using namespace flatlink;

class decoder : public conversion_test
{
};

// What lines may set besides the records.
static std::string settings()
{
    std::string text = anonsecret + "|" + clientIKEpolicy;
    for (const std::int32_t number : {klevelHardAccel, ulevelHardAccel, aggressiveMode,
                                      cryptoThreadCount, autosortold, swipelinks})
        text += "|" + std::to_string(number);
    return text + "|" + ip_hostname + "|" + ip_domainname + "|" + ip_myhostname;
}

TEST_F(decoder, stores_settings)
{
    static const std::string long_secret(200, 's');
    static const struct {
        std::string lines, wanted;
    } cases[] = {
        {"", "||1|1|0|2|0|0|||"},
        {"vpn_anonsecret=" + long_secret, long_secret.substr(0, 127) + "||1|1|0|2|0|0|||"},
        {"vpn_anonsecret=a\nvpn_anonsecret=", "||1|1|0|2|0|0|||"},
        {"vpn_clientIKEpolicy=vpn_ike_x", "|x|1|1|0|2|0|0|||"},
        {"vpn_clientIKEpolicy=vpn_ike_", "|vpn_ike_|1|1|0|2|0|0|||"},
        {"vpn_useracceleration=\nvpn_aggressivemode=ON", "||1|0|1|2|0|0|||"},
        {"vpn_threadcount=1", "||1|1|0|2|0|0|||"},
        {"vpn_threadcount=10", "||1|1|0|9|0|0|||"},
        {"vpn_threadcount=4x", "||1|1|0|4|0|0|||"},
        {"ip_hostname=gate\nip_hostname=\nip_domainname=a.b=c", "||1|1|0|2|0|0|gate|a.b=c|"},
        // What the finishing of older links looks at.
        {"link_0001_rkey=x", "||1|1|0|2|1|0|||"},
        {"pair_0001_lname=", "||1|1|0|2|1|0|||"},
        {"link_0001_mode=SWIPE", "||1|1|0|2|0|1|||"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.lines);
        start_anew();
        feed(c.lines);
        EXPECT_EQ(c.wanted, settings());
    }
}

TEST_F(decoder, takes_vpn_lines_only)
{
    for (const char *line : {"#vlink_1_lname=x", "", "a=b", "vlink_1_lname=x", "vpn_threadcount="})
        EXPECT_TRUE(decode_vpn_buffer(line)) << line;
    for (const char *line :
         {"ab=c", "VLINK_1_lname=x", " vlink_1_lname=x", "vpn_colour=red", "vpn_threadcount"})
        EXPECT_FALSE(decode_vpn_buffer(line)) << line;
    EXPECT_EQ(1u, linkinfos.size());
}

TEST_F(decoder, follows_interfaces_and_their_three_special_lists)
{
    static const char none[] = "0.0.0.0 255.255.255.255 ";
    static const struct {
        const char *lines;
        std::string elements, lists; // "list.element"; address mask interface
    } cases[] = {
        {"netobj_list_3_element_2_name=", "", none},
        {"netobj_list_x_element_2_name=n", "", none},
        {"netobj_list_3_element_-2_name=n", "", none},
        {"netobj_list_3_name=Outside\nnetobj_list_3_element_1_addr=10.0.0.1\n"
         "netobj_list_3_element_1_netmask=255.0.0.0\nnetobj_list_3_element_1_interface=hme0",
         "3.1 ", "10.0.0.1 255.0.0.0 hme0"},
        {"netobj_list_3_name=Inside\nnetobj_list_3_name=Outside\n" // the first of two names
         "netobj_list_3_element_1_addr=10.0.0.1",
         "3.1 ", "10.0.0.1 255.255.255.255 "},
        {"netobj_list_3_element_1_addr=10.0.0.1\nnetobj_list_3_name=Outside", "3.1 ", none},
        {"netobj_list_3_name=Outside\nnetobj_list_3_element_2_addr=10.0.0.1", "3.2 ", none},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.lines);
        start_anew();
        feed(c.lines);
        std::string elements;
        for (const auto &intf : intf_list)
            elements += std::to_string(intf->listno) + "." + std::to_string(intf->elemno) + " ";
        EXPECT_EQ(c.elements, elements);
        EXPECT_EQ(c.lists, format_address(outside_addr) + " " + format_address(outside_mask) + " " +
                               outside_face);
    }
    feed("netobj_list_4_name=Inside\nnetobj_list_5_name=Service\n"
         "netobj_list_4_element_1_addr=10.0.0.1\nnetobj_list_5_element_1_interface=qfe0");
    EXPECT_EQ("10.0.0.1", format_address(inside_addr));
    EXPECT_EQ("qfe0", thirdside_face);
}

TEST(make_line, cuts_at_the_room_for_a_line)
{
    for (const std::size_t size : {LINE_SIZE - 1, LINE_SIZE, 2 * LINE_SIZE}) {
        const std::string whole = "1_key=" + std::string(size - 6, 'x');
        EXPECT_EQ(whole.substr(0, LINE_SIZE - 1), make_line("1_", "key", whole.substr(6)));
    }
}
