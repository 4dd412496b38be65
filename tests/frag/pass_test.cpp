// The passes from one layout of the tree to another.
#include "lib/frag/export/export.h"
#include "lib/frag/export/xml_layout.h"
#include "lib/frag/import/import.h"
#include "lib/frag/layout/canon.h"
#include "lib/frag/layout/canon_proxy.h"
#include "lib/frag/layout/norm.h"
#include "lib/frag/layout/norm41.h"
#include "lib/frag/layout/norm_interfaces.h"
#include "lib/frag/layout/norm_list.h"
#include "lib/frag/layout/upgrade.h"
#include "lib/frag/tree/frag_sort.h"
#include "lib/frag/tree/merge.h"
#include "tests/case_lines.h"
#include "tests/frag/tree_text.h"

#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <string>

using namespace flatlink;

using tree_pass = std::function<void(frag **head)>;

static tree_pass below_first(int (*rename)(frag *))
{
    return [rename](frag **head) { rename((*head)->child); };
}

// The text after the word "pass" in tests/data/passes.
static const std::map<std::string, tree_pass> passes = {
    {"canon_netobj", [](frag **head) { canon_netobj(head, "netobj_list"); }},
    {"canon_if", [](frag **head) { canon_if(head, "netobj_list_Inside"); }},
    {"canon_pfrules", canon_pfrules},
    {"canon_ip", canon_ip},
    {"canon_parm", [](frag **head) { canon_parm(ffind(head, "p"), "parm", "num_parms", "num"); }},
    {"canon_def", canon_def},
    {"canon_cust", canon_cust},
    {"canon_policy", [](frag **head) { canon_policy(head, "policy"); }},
    {"norm_fragtree", norm_fragtree},
    {"shape_for_xml", shape_for_xml},
    {"norm_list", [](frag **head) { norm_list(head, *head, "attrs_name", 0, nullptr); }},
    {"canon_xml", canon_xml},
    {"xml_rename_list", below_first(xml_rename_list)},
    {"xml_regname_list", below_first(xml_regname_list)},
    {"xml_renumber_list", below_first(xml_renumber_list)},
    {"xml_resequence_list", below_first(xml_resequence_list)},
    {"norm_netobj",
     [](frag **head) {
         EXPECT_EQ(norm_netobj(ffind(head, "o")->child, "element", "num_elements"), 4);
     }},
    {"norm_renumber",
     [](frag **head) { norm_renumber(head, "map", "map_num_entries", "map_num"); }},
    {"norm_renumber_bare", [](frag **head) { norm_renumber(head, "map", nullptr, nullptr); }},
    {"norm_pfrules", [](frag **head) { norm_pfrules(head, "lcl", "lcl_numrules"); }},
    {"norm_vpndata", [](frag **head) { norm_vpndata(head, "link"); }},
    {"norm_ip32", norm_ip32},
    {"norm_parm", [](frag **head) { norm_parm(ffind(head, "p"), "parm", "num_parms", 0); }},
    {"flags_to_name",
     [](frag **head) {
         for (frag *node = *head; node != nullptr; node = node->next)
             flags_to_name(node, node->child);
     }},
    {"norm_if", [](frag **head) { norm_if(head, "netobj_list_Inside"); }},
    {"add_to_allif",
     [](frag **head) { add_to_allif(head, ffind(head, "netobj_list_Out%5Fside_element_1")); }},
    {"norm_interfaces", norm_interfaces},
    {"norm41states", norm41states},
    {"norm41", norm41},
    {"up41_client", [](frag **head) { EXPECT_EQ(up41(head), 1); }},
    {"up41", [](frag **head) { EXPECT_EQ(up41(head), 0); }},
    {"merge_fragtree",
     [](frag **head) { EXPECT_EQ(merge_fragtree(&ffind(head, "s")->child, ffind(head, "d")), 0); }},
    {"sort_frags", sort_frags},
};

TEST(Passes, Cases)
{
    std::set<std::string> seen;
    for (const char *file : {"passes/canon", "passes/norm", "passes/xml", "passes/trees"}) {
        std::map<std::string, std::string> last; // line of each word
        for (const auto &[word, text] : case_lines(file)) {
            last[word] = text;
            if (word != "to")
                continue;
            SCOPED_TRACE(last["pass"] + ": " + last["case"]);
            seen.insert(last["pass"]);
            built_tree tree(last["from"]);
            passes.at(last["pass"])(&tree.head);
            EXPECT_EQ(tree_text(tree.head), text);
            expect_sound(&tree.head);
        }
        EXPECT_EQ(last.size(), 4U) << "a word that is none";
    }
    EXPECT_EQ(seen.size(), passes.size()) << "a pass without a case";
}

// The numbered layout adds some lines to a canonical tree, once.
TEST(Norm41, ThereAndBackLosesNothing)
{
    owned_tree tree;
    ASSERT_EQ(importffile(TEST_DATA_DIR "/layouts/current.in", &tree.head, 0), 0);
    const std::string numbered = exported(&tree.head, EXPORT_NUMBERED);
    EXPECT_EQ(exported(&tree.head, EXPORT_NUMBERED), numbered); // the tree stays
    owned_tree again(numbered);
    norm_fragtree(&again.head);
    const auto back = lines_of(exported(&again.head, EXPORT_FLAT));
    for (const std::string &line : lines_of(exported(&tree.head, EXPORT_FLAT)))
        EXPECT_TRUE(back.contains(line)) << line;
}
