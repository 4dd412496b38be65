#include "lib/frag/frag_sort.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

#include "lib/frag/frag.h"
#include "tests/frag/effort.h"
#include "tests/frag/tree_text.h"

TEST(Fragmatch, Cases)
{
    static const struct {
        const char *a, *b;
        int want; // its sign; the other way round gives the opposite
    } rows[] = {
        {"2", "10", -1},
        {"9", "10", -1},
        {"10", "11", -1},
        {"7", "7", 0},
        {"007", "7", 0},
        {"007", "10", -1},
        {"0", "000", 0},
        {"00", "1", -1},
        {"0", "0a", -1},
        {"9a", "10", 1},
        {"10a", "10", 1},
        {"10", "100a", -1},
        {"010a", "10a", 0},
        {"9a", "10a", 1},
        {"abc", "10", 1},
        {"a", "b", -1},
        {"a2", "a10", 1},
        {"abc", "abd", -1},
        {"A", "a", -1},
        {"", "0", -1},
        {"", "", 0},
        {"-1", "1", -1},
        {"\xFF", "a", 1},
        {"1", "1 ", -1},
        {"99999999999999999999", "100000000000000000000", -1},
    };
    const auto sign = [](int result) { return (result > 0) - (result < 0); };
    for (const auto &row : rows) {
        EXPECT_EQ(sign(fragmatch(row.a, row.b)), row.want) << row.a << " " << row.b;
        EXPECT_EQ(sign(fragmatch(row.b, row.a)), -row.want) << row.b << " " << row.a;
    }
}

// A sibling: its name, and a value that tells it from those of equal name.
struct named {
    std::string name;
    std::string mark;
};
using named_list = std::vector<named>;

static std::string text_of_list(const named_list &list)
{
    std::string text;
    for (const named &item : list)
        text += (text.empty() ? "" : " ") + item.name + "=\"" + item.mark + "\"";
    return text;
}

static std::string sorted_by_frags(const named_list &list)
{
    owned_tree tree;
    for (auto item = list.rbegin(); item != list.rend(); ++item) {
        frag *node = newsymfrag(item->name);
        set_frag_value(node, item->mark.data(), item->mark.size());
        node->next = std::exchange(tree.head, node);
    }
    EXPECT_EQ(sort_frags(&tree.head), 0);
    return tree_text(tree.head);
}

TEST(SortFrags, Cases)
{
    static const struct {
        const char *label;
        named_list list;
        const char *want; // marks in order
    } rows[] = {
        {"none", {}, ""},
        {"one", {{"b", "1"}}, "1"},
        {"equal names stay", {{"b", "1"}, {"b", "2"}, {"b", "3"}}, "123"},
        {"in reverse order", {{"10", "1"}, {"9", "2"}, {"2", "3"}}, "321"},
        {"a tie does not reverse", {{"b", "1"}, {"a", "2"}, {"a", "3"}}, "231"},
        {"equal names turn with the list",
         {{"c", "1"}, {"b", "2"}, {"b", "3"}, {"a", "4"}},
         "4321"},
        {"the first half goes first", {{"a", "1"}, {"b", "2"}, {"a", "3"}, {"b", "4"}}, "1324"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.label);
        const std::string sorted = sorted_by_frags(row.list);
        std::string marks;
        for (std::size_t pos = 0; (pos = sorted.find('"', pos)) != std::string::npos; pos += 3)
            marks += sorted[pos + 1];
        EXPECT_EQ(marks, row.want);
    }
}

static bool goes_before(const named &a, const named &b)
{
    return fragmatch(a.name.c_str(), b.name.c_str()) < 0;
}

// The rules of the sort on a plain array.
static named_list sorted_by_rules(named_list list)
{
    int descents = 0;
    int others = 0;
    for (std::size_t pos = 1; pos < list.size(); ++pos)
        (goes_before(list[pos], list[pos - 1]) ? descents : others) += 1;
    std::size_t first_half = (list.size() + 1) / 2;
    if (descents > others) {
        std::reverse(list.begin(), list.end());
        std::swap(descents, others);
        first_half = list.size() + 1 - first_half; // the node in the middle stays in it
    }
    if (descents == 0)
        return list;
    const auto cut = list.begin() + static_cast<std::ptrdiff_t>(first_half);
    const named_list left = sorted_by_rules({list.begin(), cut});
    const named_list right = sorted_by_rules({cut, list.end()});
    named_list merged;
    std::merge(left.begin(), left.end(), right.begin(), right.end(), std::back_inserter(merged),
               goes_before);
    return merged;
}

TEST(SortFrags, AgreesWithItsRules)
{
    std::mt19937 random(7);
    for (int round = 0; round < 4000 / SLOWDOWN; ++round) {
        named_list list;
        const auto names = 1 + random() % 30;
        for (auto count = random() % 50; count > 0; --count) {
            std::string name = std::to_string(random() % names);
            if (random() % 3 == 0)
                name.insert(0, random() % 3, '0');
            if (names > 20 && random() % 2 == 0)
                name.insert(0, "x");
            list.push_back({name, std::to_string(count)});
        }
        ASSERT_EQ(sorted_by_frags(list), text_of_list(sorted_by_rules(list))) << text_of_list(list);
    }
}

TEST(SortFrags, AgreesWithAnyStableSortOnDistinctNames)
{
    std::mt19937 random(8);
    for (const std::size_t size : {2UL, 3UL, 17UL, 1000UL, 20000UL}) {
        named_list list;
        for (std::size_t number = 0; number < size; ++number)
            list.push_back({std::to_string(number), "v"});
        std::shuffle(list.begin(), list.end(), random);
        const std::string sorted = sorted_by_frags(list);
        std::stable_sort(list.begin(), list.end(), goes_before);
        ASSERT_TRUE(sorted == text_of_list(list)) << size;
    }
}

TEST(ReverseTree, TurnsEveryList)
{
    owned_tree tree("a_x=1\na_y_p=2\na_y_q=3\nb=4\nc_z=5\n");
    EXPECT_EQ(reverse_tree(&tree.head), 0);
    EXPECT_EQ(tree_text(tree.head), R"(c{z="5"} b="4" a{y{q="3" p="2"} x="1"})");
    frag *empty = nullptr;
    EXPECT_EQ(reverse_tree(&empty), 0);
}
