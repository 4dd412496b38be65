#include "lib/frag/frag.h"

#include <cstring>
#include <gtest/gtest.h>

#include "lib/frag/frag_text.h"
#include "tests/frag/tree_text.h"

TEST(Ffind, Cases)
{
    static const struct {
        const char *label, *key, *want; // the value found; null: no such node
    } rows[] = {
        {"top", "a", "1"},
        {"below", "a_b", "2"},
        {"key ends at an equals sign", "a_b=x_y", "2"},
        {"first of equal names", "t_x", "first"},
        {"only the first is looked into", "t_x_y", nullptr},
        {"punctuation is plain", "$LIST_*_plug-relay.x", "3"},
        {"stored form of a name", "all%5Fx", "4"},
        {"plain form of a name", "all_x", nullptr},
        {"escapes in lower case", "all%5fx", nullptr},
        {"case", "A", nullptr},
        {"prefix is no part of a name", "p", "5"},
        {"key with a prefix", "permit-p", nullptr},
        {"beginning of a name", "al", nullptr},
        {"name and more", "ab", nullptr},
        {"too deep", "a_b_c", nullptr},
        {"empty part", "a__d", "6"},
        {"empty last part", "a_", ""},
        {"empty key", "", "7"},
        {"empty last part that is not there", "p_", nullptr},
    };
    owned_tree tree("a=1\na_b=2\na__d=6\na_=\n$LIST_*_plug-relay.x=3\nall%5Fx=4\npermit-p=5\n=7\n"
                    "t_<x>first</x><x>second<y>8</y></x>");
    for (const auto &row : rows) {
        SCOPED_TRACE(row.label);
        const frag *node = ffind(&tree.head, row.key);
        ASSERT_EQ(node != nullptr, row.want != nullptr);
        EXPECT_STREQ(fval(&tree.head, row.key), row.want);
        EXPECT_EQ(fnewfind(&tree.head, row.key), node);
    }
    EXPECT_EQ(ffind(&tree.head, nullptr), nullptr);
    EXPECT_STREQ(ffind2(&tree.head, "$LIST_*", "plug-relay.x")->value, "3");
    EXPECT_EQ(ffind2(&tree.head, "a", "c"), nullptr);
    EXPECT_EQ(ffind2(&tree.head, "c", "b"), nullptr);
    EXPECT_EQ(ffind2(&tree.head, "a", nullptr), nullptr);
    frag *empty = nullptr;
    EXPECT_EQ(ffind(&empty, "a"), nullptr);
    EXPECT_EQ(fval(&empty, "a"), nullptr);
}

TEST(Fset, Cases)
{
    static const struct {
        const char *label, *before, *key, *value, *want;
    } rows[] = {
        {"new, in front", "a=1\nb=2\n", "c", "3", R"(c="3" a="1" b="2")"},
        {"new path", "a_b=1\n", "a_c_d", "2", R"(a{c{d="2"} b="1"})"},
        {"value only", "permit-a_b=1\na=long\n", "a", "x", R"(a(1)="x"{b="1"})"},
        {"no value", "a=1\na_b=2\n", "a", nullptr, R"(a{b="2"})"},
        {"empty value", "a=1\n", "a", "", R"(a="")"},
        {"vlen becomes the length", "a=1  \n", "a", "2  ", R"(a="2  ")"},
        {"key ends at an equals sign", "", "a_b=c", "1", R"(a{b="1"})"},
        {"empty parts", "", "_", "1", R"({="1"})"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.label);
        owned_tree tree(row.before);
        const frag *node = fset(&tree.head, row.key, row.value);
        EXPECT_EQ(node, ffind(&tree.head, row.key));
        EXPECT_EQ(tree_text(tree.head), row.want);
    }
}

TEST(Fset, ValueThatLiesInTheOldOne)
{
    owned_tree tree("a=xyz\n");
    fset(&tree.head, "a", fval(&tree.head, "a") + 1);
    EXPECT_EQ(tree_text(tree.head), R"(a="yz")");
}

// Who becomes the parent of what the calls make below `a`.
TEST(Fset, Parents)
{
    owned_tree tree("a_b=1\n");
    frag *a = tree.head;
    EXPECT_EQ(fset(&a->child, "c", nullptr)->parent, nullptr);
    EXPECT_EQ(fset(&a->child, "d_e", nullptr)->parent, a->child);
    EXPECT_EQ(fset(&a->child, "b_c", nullptr)->parent, ffind(&a->child, "b"));
    EXPECT_EQ(fsetp(&a->child, "f_g", nullptr, a)->parent->parent, a);
    EXPECT_EQ(tree_text(tree.head), R"(a{f{g} d!parent{e} c!parent b="1"{c}})");
    EXPECT_EQ(fset_list(&a, "c", "2")->parent, a); // found, and mended
    EXPECT_EQ(fset_list(&a, "h", "3")->parent, a);
    EXPECT_EQ(fset_list(&a, "i_j_k", "4")->parent->parent->parent, a);
    EXPECT_EQ(tree_text(tree.head), R"(a{i{j{k="4"}} h="3" f{g} d!parent{e} c="2" b="1"{c}})");
}

TEST(Fdel, Cases)
{
    static const struct {
        const char *label, *key, *taken, *want; // the node taken with all below it
    } rows[] = {
        {"first", "a", R"(a="1"{x="2"})", R"(b="3"{y="4" z="5"} c="6")"},
        {"middle", "b", R"(b="3"{y="4" z="5"})", R"(a="1"{x="2"} c="6")"},
        {"last", "c", R"(c="6")", R"(a="1"{x="2"} b="3"{y="4" z="5"})"},
        {"the only one", "a_x", R"(x="2")", R"(a="1" b="3"{y="4" z="5"} c="6")"},
        {"first below", "b_y", R"(y="4")", R"(a="1"{x="2"} b="3"{z="5"} c="6")"},
        {"absent", "b_x", nullptr, R"(a="1"{x="2"} b="3"{y="4" z="5"} c="6")"},
        {"absent on the way", "d_x", nullptr, R"(a="1"{x="2"} b="3"{y="4" z="5"} c="6")"},
        {"no key", nullptr, nullptr, R"(a="1"{x="2"} b="3"{y="4" z="5"} c="6")"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.label);
        owned_tree tree("a=1\na_x=2\nb=3\nb_y=4\nb_z=5\nc=6\n");
        const frag *found = ffind(&tree.head, row.key);
        const frag *next = found == nullptr ? nullptr : found->next;
        const frag_ptr taken(fdel(&tree.head, row.key));
        EXPECT_EQ(tree_text(tree.head), row.want);
        ASSERT_EQ(taken.get(), found);
        if (taken == nullptr)
            continue;
        EXPECT_EQ(taken->next, next);
        taken->next = nullptr;
        EXPECT_EQ(tree_text(taken.get()), row.taken);
    }
    frag *empty = nullptr;
    EXPECT_EQ(fdel(&empty, "a"), nullptr);
}

TEST(Freefrag, LeavesSiblings)
{
    owned_tree tree("a_b=1\nc=2\n");
    frag *a = fdel(&tree.head, "a");
    freefrag(a); // its `next` still points at c
    freefrag(nullptr);
    EXPECT_EQ(tree_text(tree.head), R"(c="2")");
}

TEST(CopyFragtree, IsIndependentAndCut)
{
    owned_tree tree("permit-a=1 \na_b=\na_c_d=2\nx=3\n");
    owned_tree copy;
    copy.head = copy_fragtree(&tree.head, nullptr);
    fset(&tree.head, "a_b", "changed");
    freefrag(fdel(&tree.head, "a_c"));
    EXPECT_EQ(tree_text(copy.head), R"(a(1)="1"{b="" c{d="2"}} x="3")");
    EXPECT_EQ(tree_text(tree.head), R"(a(1)="1 "/1{b="changed"} x="3")");

    owned_tree other("p=\n");
    other.head->child = copy_fragtree(&copy.head, other.head);
    EXPECT_EQ(tree_text(other.head), R"(p=""{a(1)="1"{b="" c{d="2"}} x="3"})");
    frag *empty = nullptr;
    EXPECT_EQ(copy_fragtree(&empty, nullptr), nullptr);
}

TEST(Names, EscapedAndCutOut)
{
    const frag_ptr node(newsymfrag(std::string_view("a_b%c", 4)));
    EXPECT_EQ(tree_text(node.get()), "a_b%"); // as it stands
    renamefrag(node.get(), "__x%\xFF");
    EXPECT_EQ(tree_text(node.get()), "%5F%5Fx%25\xFF");
    renamefrag(node.get(), ""); // again, and to nothing
    EXPECT_EQ(tree_text(node.get()), "");
    EXPECT_EQ(escaped_name("%5F"), "%255F");
}

TEST(Renamefrag, IsFoundByTheNewName)
{
    owned_tree tree;
    for (int number = 0; number < 40; ++number)
        fset(&tree.head, ("p_" + std::to_string(number)).c_str(), "");
    frag *node = ffind(&tree.head, "p_3");
    ASSERT_NE(ffind(&tree.head, "p_1"), nullptr);
    renamefrag(node, "new_name");
    EXPECT_EQ(ffind(&tree.head, "p_new%5Fname"), node);
    EXPECT_EQ(ffind(&tree.head, "p_3"), nullptr);
}
