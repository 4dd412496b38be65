#include "lib/frag/netobj.h"

#include <gtest/gtest.h>
#include <string>

#include "lib/frag/frag.h"
#include "lib/frag/frag_name.h"
#include "tests/frag/report_lines.h"
#include "tests/frag/tree_text.h"

static constexpr const char *OBJECTS = "net_ipaddr_a_addr=10.0.0.1\nnet_ipaddr_b_addr=10.0.0.2\n";

TEST(EnumGroup, Cases)
{
    static const struct {
        const char *label, *tree, *key;
        const char *want; // key:type of each visit
        const char *reports;
    } rows[] = {
        {"plain object", "", "net_ipaddr_a", "net_ipaddr_a:ipaddr ", ""},
        {"object at the top", "x=1\n", "x", "x:unknown ", ""},
        {"members in sorted order, types as written",
         "net_group_g_elem_10_type=IPaddr\nnet_group_g_elem_10_obj=net_ipaddr_a\n"
         "net_group_g_elem_9_type=emptygroup\nnet_group_g_elem_9_obj=net_ipaddr_b\n"
         "net_group_g_elem_8_obj=net_ipaddr_a\n",
         "net_group_g", "net_ipaddr_a:null net_ipaddr_b:emptygroup net_ipaddr_a:IPaddr ", ""},
        {"no members", "net_group_g=1\n", "net_group_g", "", ""},
        {"no members in any case", "net_GROUP_g_elem=\n", "net_GROUP_g", "", ""},
        {"members outweigh the type", "net_ipaddr_g_elem_1_obj=net_ipaddr_a\n", "net_ipaddr_g",
         "net_ipaddr_a:null ", ""},
        {"a member stands for its list",
         "net_group_g_elem_1_obj=net_ipaddr_a\nnet_group_g_elem_2_obj=net_ipaddr_b\n",
         "net_group_g_elem_2", "net_ipaddr_a:null net_ipaddr_b:null ", ""},
        {"groups in a group",
         "net_group_g_elem_1_type=GROUP\nnet_group_g_elem_1_obj=net_group_h\n"
         "net_group_h_elem_1_obj=net_ipaddr_b\n"
         "net_group_g_elem_2_type=group\nnet_group_g_elem_2_obj=net_ipaddr_a\n",
         "net_group_g", "net_ipaddr_b:null net_ipaddr_a:ipaddr ", ""},
        {"missing parts",
         "net_group_g_elem_1_type=group\n" // without a report
         "net_group_g_elem_2_type=group\nnet_group_g_elem_2_obj=net_group_x\n"
         "net_group_g_elem_3_type=ipaddr\n"
         "net_group_g_elem_4_type=ipaddr\nnet_group_g_elem_4_obj=net_ipaddr_x\n"
         "net_group_g_elem_5_obj=net_ipaddr_a\n",
         "net_group_g", "net_ipaddr_a:null ",
         "DEBUG enum group: didn't find group obj net_group_g_elem_2_obj\n"
         "DEBUG no obj key for net_group_g_elem_3\n"
         "DEBUG enum group: didn't find obj net_group_g_elem_4_obj\n"},
        {"a group in itself",
         "net_group_g_elem_1_type=group\nnet_group_g_elem_1_obj=net_group_g\n"
         "net_group_g_elem_2_obj=net_ipaddr_a\n",
         "net_group_g", "net_ipaddr_a:null ", "vhltcfgerr: Object net_group_g is recursive.\n"},
        {"groups in a circle",
         "net_group_g_elem_1_type=group\nnet_group_g_elem_1_obj=net_group_h\n"
         "net_group_h_elem_1_type=group\nnet_group_h_elem_1_obj=net_group_g\n"
         "net_group_h_elem_2_type=ipaddr\nnet_group_h_elem_2_obj=net_ipaddr_a\n",
         "net_group_g", "net_ipaddr_a:ipaddr ", "vhltcfgerr: Object net_group_g is recursive.\n"},
        {"a member that names a member of its list",
         "net_group_g_elem_1_type=group\nnet_group_g_elem_1_obj=net_group_g_elem_2\n"
         "net_group_g_elem_2_obj=net_ipaddr_a\n",
         "net_group_g", "net_ipaddr_a:null net_ipaddr_a:null ",
         "vhltcfgerr: Object net_group_g_elem_1 is recursive.\n"},
        {"a group twice is no circle",
         "net_group_g_elem_1_type=group\nnet_group_g_elem_1_obj=net_group_h\n"
         "net_group_g_elem_2_type=group\nnet_group_g_elem_2_obj=net_group_h\n"
         "net_group_h_elem_1_obj=net_ipaddr_a\n",
         "net_group_g", "net_ipaddr_a:null net_ipaddr_a:null ", ""},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.label);
        const report_lines reports;
        owned_tree tree(std::string(OBJECTS) + row.tree);
        std::string visits;
        const int result = enum_group(&tree.head, ffind(&tree.head, row.key),
                                      [&](frag **db, frag *obj, const char *type) {
                                          EXPECT_EQ(db, &tree.head);
                                          visits += std::string(fragkeyname(obj)) + ":" +
                                                    (type == nullptr ? "null" : type) + " ";
                                          return 7;
                                      });
        EXPECT_EQ(visits, row.want);
        EXPECT_EQ(report_lines::text, row.reports);
        // A list has no result of its own, an object gives the callback's.
        EXPECT_EQ(result, visits == std::string(row.key) + ":" +
                                        type_of_key(ffind(&tree.head, row.key)) + " "
                              ? 7
                              : 0);
        EXPECT_EQ(tree_text(tree.head).find('('), std::string::npos) << "a mark left behind";
    }
}

TEST(EnumGroup, NothingToWalk)
{
    frag *empty = nullptr;
    const auto callback = [](frag **, frag *, const char *) { return 7; };
    EXPECT_EQ(enum_group(&empty, nullptr, callback), 0);
    EXPECT_EQ(enum_list(&empty, nullptr, callback), 0);
    EXPECT_EQ(enum_list(&empty, &empty, callback), 0);
    EXPECT_STREQ(type_of_key(nullptr), "unknown");
    EXPECT_EQ(child_value(nullptr, "x"), nullptr);
}

// A process that reads its database again must not find less in it.
TEST(EnumGroup, EachRunHasItsShareOfVisits)
{
    const report_lines reports;
    owned_tree tree(OBJECTS + std::string("net_group_g_elem_1_obj=net_ipaddr_a\n"));
    int visits = 0;
    const auto walk = [&] {
        enum_group(&tree.head, ffind(&tree.head, "net_group_g"),
                   [&](frag **, frag *, const char *) {
                       ++visits;
                       return 0;
                   });
    };
    while (count_object_visit()) {
    }
    walk();
    EXPECT_EQ(visits, 0);
    start_object_walks();
    walk();
    EXPECT_EQ(visits, 1);
}

TEST(EnumGroup, NestingEnds)
{
    constexpr int LEVELS = MAX_OBJECT_NESTING; // a group and its member count apart
    std::string text = OBJECTS;
    for (int level = 1; level <= LEVELS; ++level) {
        const std::string group = "net_group_" + std::to_string(level) + "_elem_";
        text += group + "1_type=group\n" + group + "1_obj=net_group_" + std::to_string(level + 1) +
                "\n" + group + "2_obj=net_ipaddr_a\n";
    }
    const report_lines reports;
    owned_tree tree(text);
    int visits = 0;
    enum_group(&tree.head, ffind(&tree.head, "net_group_1"), [&](frag **, frag *, const char *) {
        ++visits;
        return 0;
    });
    EXPECT_EQ(report_lines::text, "vhltcfgerr: Object net_group_" + std::to_string(LEVELS / 2 + 1) +
                                      " is nested too deeply.\n");
    EXPECT_EQ(visits, LEVELS / 2);
    EXPECT_EQ(tree_text(tree.head).find('('), std::string::npos);
}
