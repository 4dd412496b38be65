#include "lib/frag/name_index.h"

#include <gtest/gtest.h>
#include <random>
#include <string>

#include "lib/frag/frag.h"
#include "lib/frag/frag_sort.h"
#include "lib/frag/symbol.h"
#include "tests/frag/effort.h"
#include "tests/frag/tree_text.h"

static frag *walked(frag *node, std::string_view name)
{
    while (node != nullptr && node->name != name)
        node = node->next;
    return node;
}

namespace
{

// Changes one list, the children of `parent` or the default tree, in every way there is.
class list_changer
{
  public:
    list_changer(frag **head, frag *parent, unsigned seed)
        : head_(head), parent_(parent), random_(seed)
    {
    }

    void change()
    {
        const std::string name = random_name();
        switch (random_() % 16) {
        case 0:
            fset(head_, name.c_str(), "v"); // leaves a new first node without a parent
            break;
        case 1:
            fset(head_, (name + "_" + random_name()).c_str(), "v");
            break;
        case 2:
            set_as_child(name);
            break;
        case 3:
        case 4:
        case 5:
            freefrag(fdel(head_, name.c_str()));
            break;
        case 6:
            if (frag *node = walked(*head_, name))
                renamefrag(node, random_name().c_str());
            break;
        case 7:
            sort_frags(head_);
            break;
        case 8:
            reverse_tree(head_);
            break;
        case 9:
            remove_through_other_head(name);
            break;
        default:
            fsetp(head_, name.c_str(), "v", parent_);
        }
    }

    // Every name, so that no index can hide an answer.
    void expect_first_of_each_name()
    {
        for (int number = 0; number < NAMES; ++number) {
            const std::string name = std::to_string(number);
            frag *want = walked(*head_, name);
            ASSERT_EQ(find_in_list(head_, name), want) << name;
            ASSERT_EQ(ffind(head_, name.c_str()), want) << name;
        }
    }

  private:
    static constexpr int NAMES = 60;

    std::string random_name() { return std::to_string(random_() % NAMES); }

    void set_as_child(const std::string &name)
    {
        if (parent_ != nullptr)
            fset_list(&parent_, name.c_str(), "v");
    }

    // As a function does that was given the list by value.
    void remove_through_other_head(const std::string &name)
    {
        frag *other = *head_;
        frag *taken = fdel(&other, name.c_str());
        *head_ = other;
        freefrag(taken);
    }

    frag **head_;
    frag *parent_;
    std::mt19937 random_;
};

} // namespace

TEST(NameIndex, AgreesWithAPlainWalk)
{
    for (unsigned seed = 0; seed < 40; ++seed) {
        SCOPED_TRACE(seed);
        owned_tree tree("p=\n");
        list_changer below(&tree.head->child, tree.head, seed);
        list_changer top(&def_database, nullptr, seed + 1000);
        for (int step = 0; step < 1000 / SLOWDOWN; ++step) {
            below.change();
            top.change();
            if (step % 3 != 0)
                continue;
            below.expect_first_of_each_name();
            top.expect_first_of_each_name();
            if (HasFatalFailure())
                return;
        }
        free_fraglist(&def_database);
    }
}

// A list of forty names below `p`, looked up so that they are indexed.
static void fill(owned_tree &tree)
{
    for (int number = 0; number < 40; ++number)
        fset(&tree.head, ("p_" + std::to_string(number)).c_str(), "");
    ASSERT_NE(ffind(&tree.head, "p_0"), nullptr);
}

TEST(NameIndex, ForgetsANodeBehindOneWithoutParent)
{
    owned_tree tree;
    fill(tree);
    frag *p = tree.head;
    fset(&p->child, "x", nullptr);
    freefrag(fdel(&p->child, "3"));
    fset_list(&p, "x", nullptr);
    EXPECT_EQ(ffind(&p->child, "3"), nullptr);
}

TEST(NameIndex, ForgetsWhatGoesThroughAnotherHead)
{
    owned_tree tree;
    fill(tree);
    def_database = std::exchange(tree.head->child, nullptr);
    for (frag *node = def_database; node != nullptr; node = node->next)
        node->parent = nullptr;
    ASSERT_NE(ffind(&def_database, "0"), nullptr);
    frag *other = def_database;
    freefrag(fdel(&other, "3"));
    EXPECT_EQ(ffind(&def_database, "3"), nullptr);
    free_fraglist(&def_database);
}

TEST(NameIndex, FirstOfEqualNames)
{
    owned_tree tree;
    fill(tree);
    frag *p = tree.head;
    frag *front = newsymfrag("7");
    front->parent = p;
    push_front(&p->child, front);
    EXPECT_EQ(ffind(&p->child, "7"), front);
    freefrag(fdel(&p->child, "7"));
    EXPECT_EQ(ffind(&p->child, "7"), walked(p->child, "7"));
    ASSERT_NE(ffind(&p->child, "7"), nullptr);
}

TEST(NameIndex, NamesWithEqualBeginnings)
{
    owned_tree tree;
    std::string name;
    for (int length = 0; length < 40; ++length, name += 'n')
        fset(&tree.head, ("p_" + name).c_str(), "");
    for (std::string rest = name; !rest.empty(); rest.pop_back())
        EXPECT_EQ(ffind(&tree.head, ("p_" + rest).c_str()) != nullptr, rest != name) << rest;
}
