#include "flatlink/records/decoder.h"

#include "tests/case_lines.h"
#include "tests/flatlink/conversion_test.h"

using namespace flatlink;

class Decoder : public conversion_test
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

TEST_F(Decoder, StoresSettings)
{
    for (case_row &c : case_rows("flatlink/settings", "want")) {
        SCOPED_TRACE(c["case"]);
        start_anew();
        feed(c["case"]);
        EXPECT_EQ(settings(), c["want"]);
    }
}

TEST_F(Decoder, TakesVpnLinesOnly)
{
    for (const char *line : {"#vlink_1_lname=x", "", "a=b", "vlink_1_lname=x", "vpn_threadcount="})
        EXPECT_TRUE(decode_vpn_buffer(line)) << line;
    for (const char *line :
         {"ab=c", "VLINK_1_lname=x", " vlink_1_lname=x", "vpn_colour=red", "vpn_threadcount"})
        EXPECT_FALSE(decode_vpn_buffer(line)) << line;
    EXPECT_EQ(linkinfos.size(), 1u);
}

TEST_F(Decoder, FollowsInterfacesAndTheirThreeSpecialLists)
{
    for (case_row &c : case_rows("flatlink/interface_lists", "from elem want")) {
        SCOPED_TRACE(c["from"]);
        start_anew();
        feed(c["from"]);
        std::string elements;
        for (const auto &intf : intf_list)
            elements += (elements.empty() ? "" : " ") + std::to_string(intf->listno) + "." +
                        std::to_string(intf->elemno);
        EXPECT_EQ(elements, c["elem"]);
        EXPECT_EQ(format_address(outside_addr) + " " + format_address(outside_mask) +
                      (outside_face.empty() ? "" : " ") + outside_face,
                  c["want"]);
    }
    feed("netobj_list_4_name=Inside\nnetobj_list_5_name=Service\n"
         "netobj_list_4_element_1_addr=10.0.0.1\nnetobj_list_5_element_1_interface=qfe0");
    EXPECT_EQ(format_address(inside_addr), "10.0.0.1");
    EXPECT_EQ(thirdside_face, "qfe0");
}

TEST(MakeLine, CutsAtTheRoomForALine)
{
    for (const std::size_t size : {LINE_SIZE - 1, LINE_SIZE, 2 * LINE_SIZE}) {
        const std::string whole = "1_key=" + std::string(size - 6, 'x');
        EXPECT_EQ(make_line("1_", "key", whole.substr(6)), whole.substr(0, LINE_SIZE - 1));
    }
}
