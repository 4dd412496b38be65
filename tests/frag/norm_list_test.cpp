#include "lib/frag/norm_list.h"

#include <gtest/gtest.h>

#include "tests/frag/flat_tree.h"

template <int SORT> static int rules_of_a(frag **head)
{
    return norm_list(head, ffind(head, "r_a"), "attrs_seq", SORT, "x_rule");
}

TEST(NormList, ChildrenBecomeSiblings)
{
    static const auto top = [](frag **head) {
        return norm_list(head, ffind(head, "%61"), "attrs_name", 0, nullptr);
    };
    static const pass_case cases[] = {
        {"no children, no change", rules_of_a<1>, "r_a=1\nr_b=2\n", "r_a=1\nr_b=2\n"},
        {"in the place of the list, sorted", rules_of_a<1>,
         "r_first=1\nr_a=own\nr_a_10=lost\nr_a_10_x=b\nr_a_9_attrs_y=c\nr_a_9_x=a\nr_last=2\n",
         "r_first=1\n"
         "r_x%5Frule=own\nr_x%5Frule_attrs_seq=9\nr_x%5Frule_attrs_y=c\nr_x%5Frule_x=a\n"
         "r_x_rule_attrs_seq=10\nr_x_rule_x=b\n"
         "r_last=2\n"},
        {"unsorted", rules_of_a<0>, "r_a_10=\nr_a_9=\n",
         "r_x%5Frule_attrs_seq=10\nr_x_rule_attrs_seq=9\n"},
        {"at the top; names are stored in the mark, decoded in the siblings", top,
         "%61_b%5Fc_x=1\n%61_d_y=2\nz=\n",
         "%61_attrs_name=b%5Fc\n%61_x=1\na_attrs_name=d\na_y=2\nz=\n"},
    };
    expect_passes(cases);
}

TEST(NormList, Groups)
{
    static const auto groups = [](frag **head) { return norm_groups(head, *head); };
    static const auto both = [](frag **head) {
        return norm_groups(head, *head) + norm_groups2(head, *head);
    };
    static const pass_case cases[] = {
        {"wherever they stand, in any case", groups,
         "net_Group_a_x=1\nnet_Group_b_y=2\nnet_z=3\ngroup_c=\n",
         "net_Group_attrs_gname=a\nnet_Group_x=1\nnet_Group_attrs_gname=b\nnet_Group_y=2\n"
         "net_z=3\ngroup_attrs_gname=c\n"},
        {"innermost first", groups, "group_a_group_b_x=1\ngroup_a_group_c_x=2\n",
         "group_attrs_gname=a\n"
         "group_group_attrs_gname=b\ngroup_group_x=1\n"
         "group_group_attrs_gname=c\ngroup_group_x=2\n"},
        {"members in number order, what is behind them stays behind", both,
         "net_group_g_elem_10_x=b\nnet_group_g_elem_9_x=a\nnet_group_g_note=n\n"
         "net_other_elem_1_x=c\n",
         "net_group_attrs_gname=g\n"
         "net_group_elem_attrs_seq=9\nnet_group_elem_x=a\n"
         "net_group_elem_attrs_seq=10\nnet_group_elem_x=b\n"
         "net_group_note=n\n"
         "net_other_elem_1_x=c\n"},
    };
    expect_passes(cases);
}
