#include "lib/frag/norm_interfaces.h"

#include <gtest/gtest.h>

#include "tests/frag/flat_tree.h"

TEST(NormInterfaces, OneList)
{
    static const auto pass = [](frag **head) { return norm_if(head, "netobj_list_Inside"); };
    static const auto elsewhere = [](frag **head) { return norm_if(head, "list"); };
    static const pass_case cases[] = {
        {"made if missing", pass, "a=\n",
         "netobj_list_Inside_num_elements=0\n"
         "netobj_list_Inside_element\na=\n"},
        {"no alias, no list of lists", elsewhere, "list_element_1_x=1\n",
         "list_num_elements=0\nlist_element\n"},
        {"sorted, numbered, gathered; without an interface an entry goes", pass,
         "netobj_list_Inside_num_elements=9\n"
         "netobj_list_Inside_element_10_interface=eth1\n"
         "netobj_list_Inside_element_10_alias=no\n"
         "netobj_list_Inside_element_9_interface=eth0\n"
         "netobj_list_Inside_element_3_interface= \t\n"
         "netobj_list_Inside_element_4_addr=1.1.1.1\n",
         "netobj_list_all%5Finterfaces_element_2_location=Inside\n"
         "netobj_list_all%5Finterfaces_element_2_interface=eth0\n"
         "netobj_list_all%5Finterfaces_element_1_location=Inside\n"
         "netobj_list_all%5Finterfaces_element_1_interface=eth1\n"
         "netobj_list_eth0_INTERFACE_num_elements=0\n"
         "netobj_list_eth0_INTERFACE_element\n"
         "netobj_list_eth1_INTERFACE_num_elements=0\n"
         "netobj_list_eth1_INTERFACE_element\n"
         "netobj_list_Inside_num_elements=2\n"
         "netobj_list_Inside_element_1_interface=eth0\n"
         "netobj_list_Inside_element_2_interface=eth1\n"},
        {"aliases leave for the list of their interface", pass,
         "netobj_list_eth0_INTERFACE_element_7_addr=7.7.7.7\n"
         "netobj_list_Inside_element_1_interface=eth0:1\n"
         "netobj_list_Inside_element_1_alias=yes\n"
         "netobj_list_Inside_element_2_interface=eth0\n"
         "netobj_list_Inside_element_2_alias=1\n",
         "netobj_list_eth0_INTERFACE_num_elements=3\n"
         "netobj_list_eth0_INTERFACE_element_3_interface=eth0\n"
         "netobj_list_eth0_INTERFACE_element_2_interface=eth0:1\n"
         "netobj_list_eth0_INTERFACE_element_7_addr=7.7.7.7\n"
         "netobj_list_Inside_num_elements=0\n"
         "netobj_list_Inside_element\n"},
        {"an entry that was gathered with its white space cut gives way to its equal", pass,
         "netobj_list_Inside_element_1_interface=eth0 \n"
         "netobj_list_Inside_element_1_x=1\n"
         "netobj_list_Inside_element_2_interface=eth0\n",
         "netobj_list_all%5Finterfaces_element_1_location=Inside\n"
         "netobj_list_all%5Finterfaces_element_1_interface=eth0\n"
         "netobj_list_eth0_INTERFACE_num_elements=0\n"
         "netobj_list_eth0_INTERFACE_element\n"
         "netobj_list_eth0 _INTERFACE_num_elements=0\n"
         "netobj_list_eth0 _INTERFACE_element\n"
         "netobj_list_Inside_num_elements=2\n"
         "netobj_list_Inside_element_1_interface=eth0\n"
         "netobj_list_Inside_element_1_x=1\n"
         "netobj_list_Inside_element_2_interface=eth0\n"},
        {"an interface whose '=' ends the key early, at the list itself or in it", pass,
         "netobj_list_Inside_element_1_interface=Inside_element=\n"
         "netobj_list_Inside_element_1_alias=yes\n"
         "netobj_list_Inside_element_2_interface=Inside_element_2=\n"
         "netobj_list_Inside_element_2_alias=yes\n",
         "netobj_list_Inside_num_elements=2\n"
         "netobj_list_Inside_element_1_1_interface=Inside_element=\n"
         "netobj_list_Inside_element_2_elements=1\n"},
    };
    expect_passes(cases);
}

TEST(NormInterfaces, AnAliasLeavesByItsKey)
{
    // Two entries of one name, as the notation with tags can make them: the first of them goes.
    flat_tree tree("<netobj><list><Inside><element>"
                   "<e><interface>eth0</interface></e>"
                   "<e><interface>eth1</interface><alias>yes</alias></e>"
                   "</element></Inside></list></netobj>");
    norm_if(&tree.head, "netobj_list_Inside");
    EXPECT_STREQ(fval(&tree.head, "netobj_list_Inside_element_1_interface"), "eth1");
    EXPECT_EQ(ffind(&tree.head, "netobj_list_Inside_element_2"), nullptr);
    EXPECT_STREQ(fval(&tree.head, "netobj_list_eth1_INTERFACE_element_1_interface"), "eth1");
}

TEST(NormInterfaces, ListOfAllInterfaces)
{
    static const auto pass = [](frag **head) {
        return add_to_allif(head, ffind(head, "netobj_list_Out%5Fside_element_1"));
    };
    static const pass_case cases[] = {
        {"in place of its equals, with the last number and in front", pass,
         "netobj_list_all%5Finterfaces_element_30_interface=eth0\n"
         "netobj_list_all%5Finterfaces_element_20_interface=ETH1\n"
         "netobj_list_all%5Finterfaces_element_10_x=1\n"
         "netobj_list_all%5Finterfaces_element_40_interface=Eth1\n"
         "netobj_list_Out%5Fside_element_1_interface=eth1\n"
         "netobj_list_Out%5Fside_element_1_location=old\n",
         "netobj_list_all%5Finterfaces_element_3_interface=eth1\n"
         "netobj_list_all%5Finterfaces_element_3_location=Out_side\n"
         "netobj_list_all%5Finterfaces_element_1_x=1\n"
         "netobj_list_all%5Finterfaces_element_2_interface=eth0\n"
         "netobj_list_Out%5Fside_element_1_interface=eth1\n"
         "netobj_list_Out%5Fside_element_1_location=old\n"},
    };
    expect_passes(cases);

    flat_tree blank("netobj_list_a_element_1_interface= \n");
    EXPECT_EQ(add_to_allif(&blank.head, ffind(&blank.head, "netobj_list_a_element_1")), 1);
    EXPECT_EQ(blank.listing(), "netobj_list_a_element_1_interface=\n");
}

TEST(NormInterfaces, IsInList)
{
    flat_tree tree("netobj_list_a_element_1_addr=1.1.1.1\n"
                   "netobj_list_a_element_2_interface=eth0\n"
                   "netobj_list_b_x=1\n");
    static const struct {
        const char *label, *list, *interface;
        int wanted;
    } cases[] = {
        {"there", "a", "eth0", 1},        {"case is minded", "a", "ETH0", 0},
        {"no such list", "c", "eth0", 0}, {"a list without entries", "b", "eth0", 0},
        {"no list", nullptr, "eth0", 0},  {"no interface", "a", nullptr, 0},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        EXPECT_EQ(is_in_list(&tree.head, row.list, row.interface), row.wanted);
    }
    flat_tree empty("");
    EXPECT_EQ(is_in_list(&empty.head, "a", "eth0"), 0);
}

TEST(NormInterfaces, TheInsideEntryWinsAndStrayOnesAreUnknown)
{
    flat_tree tree("netobj_list_Inside_element_1_interface=eth0\n"
                   "netobj_list_Outside_element_1_interface=eth0\n"
                   "netobj_list_Service_element_1_interface=eth2\n"
                   "netobj_list_Heartbeat_element_1_interface=eth8\n"
                   "netobj_list_all%5Finterfaces_num_elements=7\n"
                   "netobj_list_all%5Finterfaces_element_1_interface=eth9\n"
                   "netobj_list_all%5Finterfaces_element_1_location=Inside\n"
                   "netobj_list_all%5Finterfaces_element_2_interface=eth8\n"
                   "netobj_list_all%5Finterfaces_element_2_location=Heartbeat\n"
                   "netobj_list_all%5Finterfaces_element_3_x=1\n");
    EXPECT_EQ(norm_interfaces(&tree.head), 0);
    flat_tree all("");
    frag *list = ffind(&tree.head, "netobj_list_all%5Finterfaces");
    all.head = copy_fragtree(&list->child, nullptr);
    EXPECT_EQ(all.listing(), "num_elements=5\n"
                             "element_5_location=Inside\nelement_5_interface=eth0\n"
                             "element_1_interface=eth9\nelement_1_location=Unknown\n"
                             "element_2_interface=eth8\nelement_2_location=Heartbeat\n"
                             "element_3_location=Unknown\nelement_3_x=1\n"
                             "element_4_location=Service\nelement_4_interface=eth2\n");
    expect_sound(&tree.head);
}
