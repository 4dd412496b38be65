// The tree's calls: look-up with its index, changes, copies and the sort.
#include "lib/frag/tree/frag.h"

#include "lib/frag/tree/cftrie.h"
#include "lib/frag/tree/frag_sort.h"
#include "lib/frag/tree/name_index.h"
#include "lib/frag/tree/symbol.h"
#include "tests/frag/effort.h"
#include "tests/frag/tree_text.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <string>
#include <vector>

using namespace flatlink;

TEST(Ffind, Cases)
{
    static const struct {
        const char *key, *want; // the value found; of equal names only the first is looked into
    } rows[] = {
        {"a", "1"},       {"a_b", "2"},       {"a_b=x_y", "2"},
        {"t_x", "first"}, {"t_x_y", nullptr}, {"$LIST_*_p-r.x", "3"},
        {"all%5Fx", "4"}, {"all_x", nullptr}, {"all%5fx", nullptr},
        {"A", nullptr},   {"p", "5"},         {"permit-p", nullptr},
        {"al", nullptr},  {"ab", nullptr},    {"a_b_c", nullptr},
        {"a__d", "6"},    {"a_", ""},         {"", "7"},
        {"p_", nullptr},  {nullptr, nullptr},
    };
    owned_tree tree("a=1\na_b=2\na__d=6\na_=\n$LIST_*_p-r.x=3\nall%5Fx=4\npermit-p=5\n=7\n"
                    "t_<x>first</x><x>second<y>8</y></x>");
    for (const auto &row : rows)
        EXPECT_STREQ(fval(&tree.head, row.key), row.want) << testing::PrintToString(row.key);
    EXPECT_STREQ(ffind2(&tree.head, "$LIST_*", "p-r.x")->value, "3");
    EXPECT_EQ(ffind2(&tree.head, "c", "b"), nullptr);
    frag *empty = nullptr;
    EXPECT_EQ(fval(&empty, "a"), nullptr);
}

TEST(Fset, Cases)
{
    static const struct {
        const char *before, *key, *value, *want;
    } rows[] = {
        {"a=1 b=2", "c", "3", "c=3 a=1 b=2"}, // new ones come in front
        {"a_b=1", "a_c_d", "2", "a{c_d=2 b=1}"},
        {"a(1)=long{b=1}", "a", "x", "a(1)=x{b=1}"},
        {"a=1{b=2}", "a", nullptr, "a_b=2"},
        {"a='1 '/1", "a", "2  ", "a='2  '"},
        {"", "a_b=c", "1", "a_b=1"},
        {"", "_", "", "_="},
    };
    for (const auto &row : rows) {
        built_tree tree(row.before);
        const frag *node = fset(&tree.head, row.key, row.value);
        EXPECT_EQ(node, ffind(&tree.head, row.key));
        EXPECT_EQ(tree_text(tree.head), row.want);
    }
    built_tree tree("a=xyz");
    fset(&tree.head, "a", fval(&tree.head, "a") + 1); // which lies in the old value
    EXPECT_EQ(tree_text(tree.head), "a=yz");
}

// Who becomes the parent of what the calls make below `a`.
// Children beyond the sixteenth are in the trie and no longer counted: the count would reach bits
// that mean something else.
TEST(Fnewchild, CountsUpToSixteen)
{
    owned_tree tree("p=");
    frag *parent = tree.head;
    for (unsigned number = 1; number <= 20; ++number) {
        const std::string name = std::to_string(number);
        EXPECT_EQ(fnewchild(fsetp(&parent->child, name.c_str(), nullptr, parent)), 0);
        EXPECT_EQ(parent->flags, std::min(number, 16U) * FRAG_COUNT_ONE);
        EXPECT_EQ(parent->index != nullptr && cffind(&parent->index, name.c_str()) != nullptr,
                  number > 16);
    }
    fnewcleanup(&tree.head);
    EXPECT_EQ(parent->flags, 0U);
}

TEST(Fset, Parents)
{
    built_tree tree("a_b=1");
    frag *a = tree.head;
    fset(&a->child, "c", nullptr);
    fset(&a->child, "d_e", nullptr);
    fset(&a->child, "b_c", nullptr);
    fsetp(&a->child, "f_g", nullptr, a);
    EXPECT_EQ(tree_text(tree.head), "a{f_g d!parent_e c!parent b=1{c}}");
    fset_list(&a, "c", "2"); // found, and mended
    fset_list(&a, "h", "3");
    fset_list(&a, "i_j_k", "4");
    EXPECT_EQ(tree_text(tree.head), "a{i_j_k=4 h=3 f_g d!parent_e c=2 b=1{c}}");
}

TEST(Fdel, Cases)
{
    static const struct {
        const char *key, *taken, *want; // the node taken with all below it
    } rows[] = {
        {"a", "a=1{x=2}", "b=3{y=4 z=5} c=6"},   {"b", "b=3{y=4 z=5}", "a=1{x=2} c=6"},
        {"c", "c=6", "a=1{x=2} b=3{y=4 z=5}"},   {"a_x", "x=2", "a=1 b=3{y=4 z=5} c=6"},
        {"b_y", "y=4", "a=1{x=2} b=3{z=5} c=6"},
    };
    const std::string whole = "a=1{x=2} b=3{y=4 z=5} c=6";
    for (const auto &row : rows) {
        built_tree tree(whole);
        const frag *next = ffind(&tree.head, row.key)->next;
        const frag_ptr taken(fdel(&tree.head, row.key));
        EXPECT_EQ(tree_text(tree.head), row.want);
        EXPECT_EQ(std::exchange(taken->next, nullptr), next);
        EXPECT_EQ(tree_text(taken.get()), row.taken);
        taken->next = tree.head; // its release leaves siblings alone
    }
    built_tree tree(whole);
    for (const char *key : {"b_x", "d_x", static_cast<const char *>(nullptr)})
        EXPECT_EQ(fdel(&tree.head, key), nullptr);
    EXPECT_EQ(tree_text(tree.head), whole);
}

TEST(CopyFragtree, IsIndependentAndCut)
{
    built_tree tree("a(1)='1 '/1{b= c_d=2} x=3");
    owned_tree copy;
    copy.head = copy_fragtree(&tree.head, nullptr);
    fset(&tree.head, "a_b", "changed");
    freefrag(fdel(&tree.head, "a_c"));
    EXPECT_EQ(tree_text(tree.head), "a(1)='1 '/1{b=changed} x=3");
    built_tree other("p=");
    other.head->child = copy_fragtree(&copy.head, other.head);
    EXPECT_EQ(tree_text(other.head), "p={a(1)=1{b= c_d=2} x=3}");
}

TEST(Renamefrag, Escapes)
{
    const frag_ptr node(newsymfrag(std::string_view("a_b%c", 4)));
    EXPECT_STREQ(node->name, "a_b%"); // as it stands
    renamefrag(node.get(), "__x%5F\xFF");
    EXPECT_STREQ(node->name, "%5F%5Fx%255F\xFF");
}

namespace
{

constexpr unsigned NAMES = 60;

// Changes one list, the children of `parent` or the default tree, in every way there is.
struct list_changer {
    frag **head;
    frag *parent;
    std::mt19937 random;
    bool by_hand; // also as a program may that does not know of indexes
    bool is_long; // an index answers, which sees no node that is only moved
    owned_tree moved{};

    std::string name() { return std::to_string(random() % NAMES); }

    frag *walked(std::string_view name) const
    {
        frag *node = *head;
        while (node != nullptr && node->name != name)
            node = node->next;
        return node;
    }

    // Unlinks the node at `link` and those after it, one or all, and frees them.
    void free_by_hand(frag **link, bool all)
    {
        do {
            frag *node = *link;
            *link = node->next;
            node->parent = random() % 2 == 0 ? nullptr : node->parent;
            freefrag(node);
        } while (all && *link != nullptr);
    }

    void change_by_hand(unsigned way, const std::string &key)
    {
        frag *node = walked(key);
        if (node == nullptr)
            return;
        frag **link = head;
        while (*link != node)
            link = &(*link)->next;
        if (way <= 11) {
            free_by_hand(link, way == 11 && random() % 4 == 0);
        } else if (way == 12 && !is_long) {
            *link = newsymfrag(name());
            (*link)->parent = parent;
            (*link)->next = node;
        } else if (way == 13 && !is_long) {
            *link = node->next;
            node->parent = nullptr;
            push_front(&moved.head, node);
        }
    }

    void change()
    {
        const std::string key = name();
        const unsigned way = random() % 16;
        if (by_hand && way >= 10 && way <= 13)
            return change_by_hand(way, key);
        frag *other = *head; // as a function has it that was given the list by value
        if (way == 0) {
            fset(head, key.c_str(), "v"); // leaves a new first node without a parent
        } else if (way == 1) {
            fset(head, (key + "_" + name()).c_str(), "v");
        } else if (way == 2 && parent != nullptr) {
            fset_list(&parent, key.c_str(), "v");
        } else if (way <= 5) {
            freefrag(fdel(head, key.c_str()));
        } else if (way == 6 && walked(key) != nullptr) {
            renamefrag(walked(key), name().c_str());
        } else if (way == 7) {
            sort_frags(head);
        } else if (way == 8) {
            reverse_tree(head);
        } else if (way == 9) {
            frag *taken = fdel(&other, key.c_str());
            *head = other;
            freefrag(taken);
        } else {
            fsetp(head, key.c_str(), "v", parent);
        }
    }

    // Every name, so that no index can hide an answer.
    void expect_first_of_each_name()
    {
        for (unsigned number = 0; number < NAMES; ++number) {
            const std::string key = std::to_string(number);
            ASSERT_EQ(find_in_list(head, key), walked(key)) << key;
            ASSERT_EQ(ffind(head, key.c_str()), walked(key)) << key;
        }
    }
};

} // namespace

TEST(NameIndex, AgreesWithAPlainWalk)
{
    for (unsigned seed = 0; seed < 40; ++seed) {
        SCOPED_TRACE(seed);
        const auto steady = seed % 4 < 2 ? std::make_unique<steady_lists>() : nullptr;
        const bool by_hand = steady == nullptr, is_long = seed % 4 == 3;
        built_tree tree("p=");
        list_changer lists[] = {
            {&tree.head->child, tree.head, std::mt19937(seed), by_hand, is_long},
            {&def_database, nullptr, std::mt19937(seed + 1000), by_hand, is_long}};
        for (int number = 0; is_long && number < CHECKED_NODES + 20; ++number) {
            fsetp(&tree.head->child, ("x" + std::to_string(number)).c_str(), "", tree.head);
            fset(&def_database, ("x" + std::to_string(number)).c_str(), "");
        }
        for (int step = 0; step < 1000 / SLOWDOWN; ++step) {
            for (list_changer &list : lists) {
                list.change();
                if (step % 3 == 0)
                    list.expect_first_of_each_name();
            }
            if (HasFatalFailure())
                return;
        }
        free_fraglist(&def_database);
    }
}

TEST(Fragmatch, Cases)
{
    for (
        const std::string row :
        {"2<10",   "9<10",    "10<11",    "7=7",    "007=7",
         "007<10", "0=000",   "00<1",     "0<0a",   "9a>10",
         "10a>10", "10<100a", "010a=10a", "9a>10a", "abc>10",
         "a<b",    "a2>a10",  "abc<abd",  "A<a",    "<0",
         "-1<1",   "\xFF>a",  "1<1 ",     "=",      "99999999999999999999<100000000000000000000"}) {
        const std::size_t sign = row.find_first_of("<=>");
        const std::string a = row.substr(0, sign), b = row.substr(sign + 1);
        const int want = row[sign] == '<' ? -1 : row[sign] == '>' ? 1 : 0;
        const auto sign_of = [](int result) { return (result > 0) - (result < 0); };
        EXPECT_EQ(sign_of(fragmatch(a.c_str(), b.c_str())), want) << row;
        EXPECT_EQ(sign_of(fragmatch(b.c_str(), a.c_str())), -want) << row << " turned";
    }
}
