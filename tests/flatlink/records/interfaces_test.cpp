#include "flatlink/records/interfaces.h"

#include "tests/flatlink/conversion_test.h"

using namespace flatlink;

class Interfaces : public conversion_test
{
  protected:
    // "interface name location broadcast" of each record, finished; `fields` are those of several
    // elements, told apart by '|'.
    static std::string finished(const std::string &elements)
    {
        int number = 0;
        for (const std::string &fields : pieces_of(elements, '|'))
            feed(each_behind("netobj_list_1_element_" + std::to_string(++number) + "_", fields));
        finish_intfs();
        std::string text;
        for (const auto &intf : intf_list)
            text += intf->interface + " " + intf->name.value_or("-") + " " +
                    std::to_string(intf->location) + " " + format_address(intf->broadcast) + "\n";
        return text;
    }
};

TEST_F(Interfaces, OfOneAddressBecomeOne)
{
    static const char usable[] = "addr=10.1.0.1\nnetmask=255.255.255.0\n";
    for (case_row &c : case_rows("flatlink/interface_pairs", "want")) {
        SCOPED_TRACE(c["case"]);
        start_anew();
        std::string &both = c["case"];
        both.insert(both.find('|') + 1, usable);
        EXPECT_EQ(finished(usable + both), c["want"] + '\n');
    }
    for (const char *missing : {"addr=0.0.0.0", "addr=rubbish", "netmask=0.0.0.0", "netmask=x"}) {
        SCOPED_TRACE(missing);
        start_anew();
        EXPECT_EQ(finished(usable + std::string("name=no interface|") + usable +
                           "interface=hme0\nname=a\n" + missing + "|" + usable + "interface=hme1"),
                  "hme1 - 0 0.0.0.0\n");
    }
}

// Lines without a value never come here; fields of the tree may.
TEST_F(Interfaces, TakeEmptyValuesLikeOthers)
{
    static const char fields[] = "addr=10.1.0.1\nnetmask=255.255.255.0\ninterface=hme0\nname=a";
    add_partial_intf(1, 1, "name", "");
    add_partial_intf(1, 2, "broadcast", "");
    EXPECT_EQ(
        finished("addr=10.1.0.1\nnetmask=255.255.255.0\ninterface=hme0|" + std::string(fields)),
        "hme0  0 255.255.255.255\n")
        << "an empty name is a name";
}

TEST_F(Interfaces, AreOrderedByLocation)
{
    std::string elements;
    int number = 0;
    for (const std::string location : {"Heartbeat", "?", "Outside", "SERVICE", "Inside", "Outside"})
        elements += "netmask=255.0.0.0\ninterface=" + location + "\nlocation=" + location +
                    "\naddr=10.1.0." + std::to_string(++number) + "|";
    EXPECT_EQ(finished(elements), "Inside - 1 0.0.0.0\nSERVICE - 2 0.0.0.0\nOutside - 3 0.0.0.0\n"
                                  "Outside - 3 0.0.0.0\nHeartbeat - 4 0.0.0.0\n? - 0 0.0.0.0\n");
    EXPECT_EQ(format_address(intf_list[0]->network), "10.0.0.0");
    EXPECT_EQ(format_address(intf_list[2]->addr), "10.1.0.3") << "equal ones keep their order";
}

TEST_F(Interfaces, AreFoundByAddressAndName)
{
    EXPECT_TRUE(isfwaddr(parse_address("127.0.0.1")));
    add_partial_intf(1, 1, "addr", "10.1.0.1");
    EXPECT_TRUE(isfwaddr(parse_address("10.1.0.1")));
    add_partial_intf(1, 1, "addr", "10.1.0.2");
    EXPECT_FALSE(isfwaddr(parse_address("10.1.0.1")));
    EXPECT_TRUE(isfwaddr(parse_address("10.1.0.2")));
    add_partial_intf(1, 1, "interface", "hme0");
    add_partial_intf(1, 2, "interface", "hme0");
    EXPECT_EQ(format_address(ifname2addr("hme0")), "10.1.0.2") << "the first of that name";
    EXPECT_EQ(ifname2addr("HME0"), 0u);
}
