#include "lib/frag/merge.h"

#include <gtest/gtest.h>

#include "tests/frag/flat_tree.h"

TEST(Merge, NewNodesComeInOldOnesStay)
{
    static const struct {
        const char *label, *from, *into, *after;
    } cases[] = {
        {"nothing to add", "x=1\n", "d_a=1\n", "d_a=1\n"},
        {"all of it", "s_deny-a=1\ns_b_c=2\n", "d=0\n", "d=0\nd_deny-a=1\nd_b_c=2\n"},
        {"values that are there stay, the rest is added", "s_a=1\ns_a_x=2\ns_b=3\ns_b_y_z=4\n",
         "d_a=9\nd_a_w=8\nd_c=7\n", "d_b=3\nd_b_y_z=4\nd_a=9\nd_a_x=2\nd_a_w=8\nd_c=7\n"},
        {"a prefix becomes part of the name, an escape a path", "s_deny-a=1\ns_p%5Fq=2\n",
         "d_a=9\n", "d_p_q=2\nd_deny-a=1\nd_a=9\n"},
        {"a node that an earlier one made", "s_p%5Fq=2\ns_p_q=3\ns_p_r=4\n", "d_a=9\n",
         "d_p_r=4\nd_p_q=2\nd_a=9\n"},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        flat_tree from(row.from);
        flat_tree into(row.into);
        const std::string before = from.listing();
        frag *source = ffind(&from.head, "s");
        frag *nothing = nullptr;
        EXPECT_EQ(
            merge_fragtree(source != nullptr ? &source->child : &nothing, ffind(&into.head, "d")),
            0);
        EXPECT_EQ(into.listing(), row.after);
        EXPECT_EQ(from.listing(), before);
        expect_sound(&into.head);
    }
}
