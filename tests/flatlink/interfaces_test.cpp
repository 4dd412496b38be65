#include "flatlink/interfaces.h"

#include "tests/flatlink/conversion_test.h"

class interfaces : public conversion_test
{
  protected:
    // One interface as "list_element interface addr [field=value]...".
    static void add(std::int32_t listno, std::int32_t elemno, const char *face, const char *addr,
                    std::initializer_list<std::pair<const char *, const char *>> more = {})
    {
        add_partial_intf(listno, elemno, "interface", face);
        add_partial_intf(listno, elemno, "addr", addr);
        add_partial_intf(listno, elemno, "netmask", "255.255.255.0");
        for (const auto &[key, value] : more)
            add_partial_intf(listno, elemno, key, value);
    }

    // "interface name location broadcast" of each record.
    static std::string shown()
    {
        std::string text;
        for (const auto &intf : intf_list)
            text += intf->interface + " " + intf->name + " " + std::to_string(intf->location) +
                    " " + dotted(intf->broadcast) + "\n";
        return text;
    }
};

TEST_F(interfaces, are_written_with_the_numbers_they_came_with)
{
    add(3, 7, "hme0", "10.1.0.1",
        {{"name", "LAN"}, {"broadcast", "10.1.0.255"}, {"location", "inside"}, {"colour", "red"}});
    add(1, 9, "hme1", "10.2.0.1", {{"location", "Attic"}, {"name", "x"}, {"name", ""}});
    EXPECT_EQ("netobj_list_3_element_7_name=LAN\nnetobj_list_3_element_7_interface=hme0\n"
              "netobj_list_3_element_7_addr=10.1.0.1\n"
              "netobj_list_3_element_7_broadcast=10.1.0.255\n"
              "netobj_list_3_element_7_netmask=255.255.255.0\n"
              "netobj_list_3_element_7_location=Inside\n"
              "netobj_list_1_element_9_name=x\nnetobj_list_1_element_9_interface=hme1\n"
              "netobj_list_1_element_9_addr=10.2.0.1\n"
              "netobj_list_1_element_9_broadcast=0.0.0.0\n"
              "netobj_list_1_element_9_netmask=255.255.255.0\n"
              "netobj_list_1_element_9_location=Unknown\n",
              saved(save_intfs, intf_list));
}

TEST_F(interfaces, are_dropped_without_what_they_need)
{
    static const struct {
        const char *label, *key, *value;
        std::size_t kept;
    } cases[] = {
        {"whole", "name", "x", 1},
        {"no address", "addr", "0.0.0.0", 0},
        {"bad address", "addr", "rubbish", 0},
        {"broadcast address", "addr", "255.255.255.255", 0},
        {"no mask", "netmask", "0.0.0.0", 0},
        {"mask of one address", "netmask", "255.255.255.255", 0},
        {"bad mask", "netmask", "rubbish", 0},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        start_anew();
        add(1, 1, "hme0", "10.1.0.1", {{c.key, c.value}});
        finish_intfs();
        EXPECT_EQ(c.kept, intf_list.size());
    }
    start_anew();
    add(1, 1, "", "10.1.0.1");
    finish_intfs();
    EXPECT_TRUE(intf_list.empty()) << "no interface";
}

TEST_F(interfaces, of_one_address_become_one)
{
    using fields = std::initializer_list<std::pair<const char *, const char *>>;
    static const struct {
        const char *label, *first_face;
        fields first;
        const char *second_face;
        fields second;
        const char *wanted;
    } cases[] = {
        {"the first stays",
         "hme0",
         {{"name", "a"}, {"location", "Inside"}},
         "hme1",
         {{"name", "b"}, {"location", "Outside"}},
         "hme0 a 1 0.0.0.0\n"},
        {"location of the second",
         "hme0",
         {{"name", "a"}},
         "hme1",
         {{"location", "Outside"}},
         "hme0 a 3 0.0.0.0\n"},
        {"broadcast of the second",
         "hme0",
         {{"name", "a"}},
         "hme1",
         {{"broadcast", "10.1.0.255"}},
         "hme0 a 0 10.1.0.255\n"},
        {"bad broadcast counts as none",
         "hme0",
         {{"name", "a"}, {"broadcast", "x"}},
         "hme1",
         {{"broadcast", "10.1.0.255"}},
         "hme0 a 0 10.1.0.255\n"},
        {"broadcast of the first",
         "hme0",
         {{"name", "a"}, {"broadcast", "10.1.0.127"}},
         "hme1",
         {{"broadcast", "10.1.0.255"}},
         "hme0 a 0 10.1.0.127\n"},
        {"alias first: the second's names",
         "hme0:1",
         {{"name", "a"}},
         "hme1",
         {{"name", "b"}},
         "hme1 b 0 0.0.0.0\n"},
        {"alias first, the second has no name",
         "hme0:1",
         {{"name", "a"}},
         "hme1",
         {},
         "hme1  0 0.0.0.0\n"},
        {"alias second", "hme0", {{"name", "a"}}, "hme0:1", {{"name", "b"}}, "hme0 a 0 0.0.0.0\n"},
        {"alias second, the first has no name",
         "hme0",
         {},
         "hme0:1",
         {{"name", "b"}},
         "hme0 b 0 0.0.0.0\n"},
        {"two aliases",
         "hme0:1",
         {{"name", "a"}},
         "hme0:2",
         {{"name", "b"}},
         "hme0:1 a 0 0.0.0.0\n"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        start_anew();
        add(1, 1, c.first_face, "10.1.0.1", c.first);
        add(2, 1, c.second_face, "10.1.0.1", c.second);
        finish_intfs();
        EXPECT_EQ(c.wanted, shown());
    }
}

TEST_F(interfaces, merge_what_is_dropped_into_none_and_all_others_into_the_first)
{
    add(1, 1, "", "10.1.0.1", {{"name", "dropped"}});
    add(1, 2, "hme0:1", "10.1.0.1", {{"name", "a"}});
    add(1, 3, "hme1", "10.2.0.1", {{"name", "other"}});
    add(1, 4, "hme0:2", "10.1.0.1", {{"broadcast", "10.1.0.255"}});
    add(1, 5, "hme0", "10.1.0.1", {{"name", "b"}, {"location", "Inside"}});
    finish_intfs();
    EXPECT_EQ("hme0 b 1 10.1.0.255\nhme1 other 0 0.0.0.0\n", shown());
    EXPECT_EQ(2, intf_list[0]->elemno);
}

TEST_F(interfaces, are_ordered_by_location)
{
    int element = 0;
    for (const char *location : {"Heartbeat", "?", "Outside", "SERVICE", "Inside", "Outside"}) {
        ++element;
        add(1, element, ("if" + std::to_string(element)).c_str(),
            ("10.1.0." + std::to_string(element)).c_str(), {{"location", location}});
    }
    finish_intfs();
    std::string order;
    for (const auto &intf : intf_list)
        order += intf->interface + " ";
    EXPECT_EQ("if5 if4 if3 if6 if1 if2 ", order);
    EXPECT_EQ("10.1.0.0", dotted(intf_list[0]->network));
}

TEST_F(interfaces, are_found_by_address_and_name)
{
    EXPECT_TRUE(isfwaddr(address_of("127.0.0.1")));
    add(1, 1, "hme0", "10.1.0.1");
    add(1, 2, "hme0", "10.1.0.2");
    EXPECT_TRUE(isfwaddr(address_of("10.1.0.2")));
    add(1, 2, "hme0", "10.1.0.3"); // its address changes
    EXPECT_FALSE(isfwaddr(address_of("10.1.0.2")));
    EXPECT_TRUE(isfwaddr(address_of("10.1.0.3")));
    EXPECT_FALSE(isfwaddr(address_of("10.1.0.4")));
    EXPECT_EQ("10.1.0.1", dotted(ifname2addr("hme0"))) << "the first of that name";
    EXPECT_EQ(0u, ifname2addr("HME0"));
    EXPECT_EQ(0u, ifname2addr("hme"));
}
