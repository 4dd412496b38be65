// Network objects, as objects and as address text.
#include "lib/frag/netobj.h"

#include <gtest/gtest.h>
#include <string>

#include "lib/frag/frag_name.h"
#include "lib/frag/netobj_text.h"
#include "tests/frag/tree_text.h"
#include "tests/ulib/fake_log.h"

static constexpr const char *OBJECTS =
    "x=1 net{ipaddr{a_addr=1.1 b_addr=2.2 none= in_elem_1_obj=net_ipaddr_a} EMAIL_e_addr=a@b"
    " dns_d_addr= ipmask_m_addr=255.0 iprange{r{start=net_ipaddr_a end=net_ipaddr_b}"
    " s_start=net_ipaddr_a t{start=net_x end=net_ipaddr_b} u_start=net_ipaddr_none}"
    " ipnet{n{addr=net_ipaddr_a mask=net_ipmask_m} o_mask=net_ipmask_m} pattern{p_pat=10.* q=}"
    " vpnclient_all%5Fof= vpnnetwork{v{ip-address=net_ipaddr_b network=net_ipnet_n}"
    " off{ip-address=net_ipaddr_b network=net_ipnet_n include-sgo=OFF}"
    " on{ip-address=net_ipaddr_b include-sgo=no} lost{ip-address=net_x network=net_y}"
    " down{ip-address=net_ipaddr_none network=net_ipaddr_none}"
    " self{ip-address=net_ipaddr_b network=net_vpnnetwork_self}}"
    " group{g_elem{10{type=IPaddr obj=net_ipaddr_a} 9{type=emptygroup obj=net_ipnet_n}"
    " 8_obj=192.0.2.1 7=} bare= empty_elem= outer_elem{1{type=GROUP obj=net_group_inner}"
    " 2{type=group obj=net_group_inner} 3_obj=net_ipaddr_a} inner_elem_1_obj=net_ipaddr_b"
    " missing_elem{1_type=group 2{type=group obj=net_group_x} 3_type=ipaddr"
    " 4{type=ipaddr obj=net_ipaddr_x} 5_obj=net_ipaddr_a} ring_elem_1{type=group"
    " obj=net_group_gnir} gnir_elem{1{type=group obj=net_group_ring} 2_obj=net_ipaddr_a}"
    " own_elem{1{type=group obj=net_group_own_elem_2} 2_obj=net_ipaddr_a}"
    " last_elem{1_obj=net_ipaddr_a 2_obj=net_group_last}}}";

struct object_row {
    const char *key;
    std::string texts;        // each text with a bar behind it, the result, then what is reported
    std::string objects = ""; // key:type of each visit, the result, then what is reported
};

// The callback of the texts gives 1, 2, 3, ...; a list has no result of its own.
static const object_row object_rows[] = {
    {"net_ipaddr_a", "1.1|1 ", "net_ipaddr_a:ipaddr 7 "},
    {"net_EMAIL_e", "a@b|1 "},
    {"net_ipaddr_none", "net_ipaddr_none|1 "},
    {"net_dns_d", "|1 "},
    {"net_ipaddr_in", "net_ipaddr_in|1 ", "net_ipaddr_a:null 0 "}, // members outweigh the type
    {"net_iprange_r", "1.1-2.2|1 "},
    {"net_iprange_s", "1.1|1 "},
    {"net_iprange_t", "2.2|1 "},
    {"net_iprange_u", "0 "},
    {"net_ipnet_n", "1.1:255.0|1 "},
    {"net_ipnet_o", "255.0|1 "},
    {"net_pattern_p", "10.*|1 "},
    {"net_pattern_q", "0 "},
    {"net_vpnclient_all%5Fof", "~all%5Fof|1 "},
    {"net_ipmask_m", "net_ipmask_m|1 "},
    {"192.0.2.1", "192.0.2.1|1 ", "0 "},
    {"x", "x|1 ", "x:unknown 7 "},
    // Members in sorted order, types as they are written.
    {"net_group_g", "net_group_g|192.0.2.1|1.1:255.0|1.1|4 ",
     "net_ipnet_n:emptygroup net_ipaddr_a:IPaddr 0 DEBUG no obj key for net_group_g_elem_7\n"
     "DEBUG enum group: didn't find obj net_group_g_elem_8_obj\n"},
    {"net_group_bare", "0 ", "0 "},
    {"net_group_empty", "0 ", "0 "},
    // A group twice is no circle; a member stands for its list.
    {"net_group_outer", "2.2|2.2|1.1|3 ",
     "net_ipaddr_b:null net_ipaddr_b:null net_ipaddr_a:null 0 "},
    {"net_group_outer_elem_2", "net_group_outer_elem_2|1 ",
     "net_ipaddr_b:null net_ipaddr_b:null net_ipaddr_a:null 0 "},
    {"net_group_missing", "net_group_missing|net_group_x|net_group_missing|net_ipaddr_x|1.1|5 ",
     "net_ipaddr_a:null 0 DEBUG enum group: didn't find group obj net_group_missing_elem_2_obj\n"
     "DEBUG no obj key for net_group_missing_elem_3\n"
     "DEBUG enum group: didn't find obj net_group_missing_elem_4_obj\n"},
    {"net_group_ring", "1.1|1 vhltcfgerr: Object net_group_ring is recursive.\n",
     "net_ipaddr_a:null 0 vhltcfgerr: Object net_group_ring is recursive.\n"},
    {"net_group_own", "net_group_own_elem_2|1.1|2 ",
     "net_ipaddr_a:null net_ipaddr_a:null 0 vhltcfgerr: Object net_group_own_elem_1 is "
     "recursive.\n"},
    {"net_group_last", "1.1|0 vhltcfgerr: Object net_group_last is recursive.\n"},
    {"net_vpnnetwork_v", "2.2|1.1:255.0|2 "},
    {"net_vpnnetwork_off", "1.1:255.0|1 "},
    {"net_vpnnetwork_on", "2.2|net_vpnnetwork_on|2 "},
    {"net_vpnnetwork_lost", "net_vpnnetwork_lost|1 "},
    {"net_vpnnetwork_down", "net_vpnnetwork_down|net_vpnnetwork_down|2 "},
    {"net_vpnnetwork_self", "2.2|0 vhltcfgerr: Object net_vpnnetwork_self is recursive.\n"},
};

// What enum_group visits.
static std::string visited(frag **head, frag *obj)
{
    std::string objects;
    const fake_log log;
    const int result = enum_group(head, obj, [&](frag **db, frag *found, const char *type) {
        EXPECT_EQ(db, head);
        objects += std::string(fragkeyname(found)) + ":" + (type == nullptr ? "null" : type) + " ";
        return 7;
    });
    return objects + std::to_string(result) + " " + fake_log::texts;
}

TEST(Netobj, ObjectsAndTexts)
{
    for (const object_row &row : object_rows) {
        SCOPED_TRACE(row.key);
        built_tree tree(OBJECTS);
        if (!row.objects.empty()) {
            EXPECT_EQ(visited(&tree.head, ffind(&tree.head, row.key)), row.objects);
        }
        const fake_log log;
        std::string texts;
        int calls = 0;
        const int result = enum_netobj(&tree.head, row.key, [&](frag *element, const char *text) {
            EXPECT_EQ(element, nullptr);
            texts += std::string(text) + "|";
            return ++calls;
        });
        EXPECT_EQ(texts + std::to_string(result) + " " + fake_log::texts, row.texts);
        EXPECT_EQ(tree_text(tree.head).find('('), std::string::npos) << "a mark left behind";
    }
}

// A process that reads its database again must not find less in it.
TEST(Netobj, EachRunHasItsShareOfVisits)
{
    built_tree tree(OBJECTS);
    const auto inner = [&] { return visited(&tree.head, ffind(&tree.head, "net_group_inner")); };
    while (count_object_visit()) {
    }
    EXPECT_EQ(inner(), "0 ");
    start_object_walks();
    EXPECT_EQ(inner(), "net_ipaddr_b:null 0 ");
}

TEST(Netobj, NestingEnds)
{
    std::string text = "a=\n", want; // a group and its member count apart
    for (int level = 1; level <= MAX_OBJECT_NESTING; ++level) {
        const std::string group = "g" + std::to_string(level) + "_elem_";
        text += group + "1_type=group\n" + group + "1_obj=g" + std::to_string(level + 1) + "\n" +
                group + "2_obj=a\n";
        want += level <= MAX_OBJECT_NESTING / 2 ? "a:null " : "";
    }
    owned_tree tree(text);
    EXPECT_EQ(visited(&tree.head, ffind(&tree.head, "g1")),
              want + "0 vhltcfgerr: Object g201 is nested too deeply.\n");
    EXPECT_EQ(tree_text(tree.head).find('('), std::string::npos);
}

TEST(Netobj, OlderForm)
{
    static constexpr const char *LISTS =
        "netobj{list{l_element{b=1 a=2} empty_element= none=} group{none= empty_member="
        " g_member{2{name=l type=List} 1{name=h type=Group} 3{name=l type=list} 4{name=x type=G}"
        " 5_type=G 6_name=empty} h_member{1{name=g type=G} 2{name=l type=L}}"
        " lost_member{1{name=x type=L} 2{name=l type=L}}}}";
    static const struct {
        const char *key;
        int stop_at;      // the call that gives 5; the others give 0
        const char *want; // the elements' names, the text for none
        int result;
    } rows[] = {
        {"l", 0, "ba", 0},
        {"l", 1, "b", 5},
        {"x", 1, "x", 5},
        {"none", 0, "", 1},
        {"empty", 0, "", 0},
        {"$$NETOBJ.g", 0, "baba", 0},
        {"$$NETOBJ.g", 3, "bab", 5},
        {"$$NETOBJ.x", 0, "", 1},
        {"$$NETOBJ.none", 0, "", 1},
        {"$$NETOBJ.empty", 0, "", 0},
        {"$$NETOBJ.lost", 0, "", 1},
    };
    for (const auto &row : rows) {
        built_tree tree(LISTS);
        std::string calls;
        int count = 0;
        const auto walk = row.key[0] == '$' ? enum_netobj : enum_netobj42;
        const int result = walk(&tree.head, row.key, [&](frag *element, const char *text) {
            calls += element == nullptr ? text : element->name;
            EXPECT_STREQ(text, element == nullptr ? row.key : "l");
            return ++count == row.stop_at ? 5 : 0;
        });
        EXPECT_EQ(calls, row.want) << row.key;
        EXPECT_EQ(result, row.result) << row.key;
        EXPECT_EQ(tree_text(tree.head), LISTS); // the guard in the groups is gone
    }
    built_tree tree(LISTS); // the other call knows the mark, too
    EXPECT_EQ(enum_netobj42(&tree.head, "$$NETOBJ.g", [](frag *, const char *) { return 5; }), 5);
    EXPECT_EQ(enum_netobj42(&tree.head, "$$NETOBJ.x", n2n_func), 1);
}

TEST(Netobj, OneLineOfTextsIsCut)
{
    const std::string half(OBJECT_TEXT_SIZE / 2 + 1, 'x'); // with the mark one too many
    const std::string fits(NETPERM_TEXT_SIZE - 10, 'y');
    built_tree tree("net{dns{h_addr=" + half + " f_addr=" + fits + "} ipnet_n{addr=net_dns_h" +
                    " mask=net_dns_h} vpnclient_" + half + half +
                    "= group{g_elem{1_obj=net_dns_f 2_obj=123456789} h_elem{1_obj=net_dns_f"
                    " 2_obj=1234567890 3_obj=z} i_elem{1_obj=a 2_obj=b}}}"
                    " netobj{list_l_element_1= group_g_member_1{name=l type=L}}");
    const auto one_text = [&](const std::string &key) {
        std::string given;
        enum_netobj(&tree.head, key.c_str(), [&](frag *, const char *text) {
            given = text;
            return 0;
        });
        return given;
    };
    EXPECT_EQ(one_text("net_ipnet_n"), (half + ":" + half).substr(0, OBJECT_TEXT_SIZE));
    EXPECT_EQ(one_text("net_vpnclient_" + half + half),
              ("~" + half + half).substr(0, OBJECT_TEXT_SIZE));
    EXPECT_EQ(netobj_to_netperm(&tree.head, "net_group_g"), fits + " 123456789");
    EXPECT_EQ(netobj_to_netperm(&tree.head, "net_group_h"), fits + " 123456789");
    EXPECT_EQ(netobj_to_netperm(&tree.head, "net_group_i"), "a b");
    EXPECT_EQ(netobj_to_netperm(&tree.head, "10.0.0.9"), ""); // no object
    EXPECT_EQ(netobj_to_netperm(&tree.head, "$$NETOBJ.g"), "");
}

TEST(Netobj, IsAuthon)
{
    for (const char *text : {"", "never", "NEVER", "Inherit"})
        EXPECT_FALSE(is_authon(text)) << text;
    for (const char *text : {"never ", "always", "off"})
        EXPECT_TRUE(is_authon(text)) << text;
    EXPECT_FALSE(is_authon(nullptr));
}
