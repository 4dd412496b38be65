// One firewall in three clothes: the current layout, layout 4.1, and the numbered one.
#include <string>

#include <gtest/gtest.h>

#include "lib/frag/canon.h"
#include "lib/frag/import.h"
#include "lib/frag/upgrade.h"
#include "tests/frag/flat_tree.h"

// The sorted lines of a database in the current layout, empty nodes left out.
static std::string upgraded(const std::string &file)
{
    flat_tree tree("");
    EXPECT_EQ(importffile((std::string(TEST_DATA_DIR) + "/" + file).c_str(), &tree.head, 0), 0);
    if (ffind(&tree.head, "def_num_proxies") != nullptr)
        norm_fragtree(&tree.head);
    if (ffind(&tree.head, "gui_client") != nullptr)
        up41(&tree.head);
    expect_sound(&tree.head);
    return sorted_lines(tree.listing(), lines::with_values);
}

TEST(Layout, EveryLayoutBecomesTheCurrentOne)
{
    const std::string wanted = upgraded("layouts/current.in");
    EXPECT_NE(wanted.find("rule_pffwd_1_dst=net_vpnnetwork_depot\n"), std::string::npos);
    EXPECT_EQ(upgraded("layouts/41.in"), wanted);
    EXPECT_EQ(upgraded("layouts/numbered.in"), wanted);
}
