// Trees far deeper and wider than any real one: no call may exhaust the stack, or take time that
// grows with the square.
#include <algorithm>
#include <ctime>
#include <gtest/gtest.h>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "lib/frag/cftrie.h"
#include "lib/frag/frag.h"
#include "lib/frag/frag_name.h"
#include "lib/frag/frag_sort.h"
#include "lib/frag/frag_text.h"
#include "lib/frag/import.h"
#include "tests/frag/effort.h"
#include "tests/frag/tree_text.h"

static constexpr int MANY = 1'000'000 / SLOWDOWN;

static std::string times(int count, std::string_view text)
{
    std::string all;
    all.reserve(static_cast<std::size_t>(count) * text.size());
    while (count-- > 0)
        all += text;
    return all;
}

static int depth_of(const frag *node)
{
    int depth = 0;
    for (; node != nullptr; node = node->child) {
        if (std::string_view(node->name) == "attrs" && node->next != nullptr)
            node = node->next;
        ++depth;
    }
    return depth;
}

static int length_of(const frag *node)
{
    int length = 0;
    for (; node != nullptr; node = node->next)
        ++length;
    return length;
}

TEST(DeepTree, EveryNotation)
{
    const struct {
        const char *label;
        std::string file;
    } rows[] = {
        {"flat", times(MANY - 1, "a_") + "a=1\n"},
        {"section", "[" + times(MANY, "a\\") + "b=1\n"},
        {"elements that end", times(MANY, "<a>") + times(MANY, "</a>")},
        {"elements that do not", times(MANY, "<a>")},
        {"elements with text", times(MANY, "<a>x")},
        {"elements with attributes", times(MANY / 2, "<a b='c'>")},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.label);
        owned_tree tree(row.file);
        EXPECT_GE(depth_of(tree.head), MANY / 2);
    }
}

TEST(DeepTree, EveryCall)
{
    const std::string key = times(MANY - 1, "a_") + "a";
    owned_tree tree;
    fset(&tree.head, key.c_str(), "1 ");
    EXPECT_STREQ(fval(&tree.head, key.c_str()), "1 ");
    reverse_tree(&tree.head);
    fnewcleanup(&tree.head);
    strip_crlf_tree(&tree.head);
    EXPECT_STREQ(fval(&tree.head, key.c_str()), "1");
    EXPECT_EQ(std::string_view(fragkeyname(ffind(&tree.head, key.c_str()))).size(), 1023);
    frag_ptr copy(copy_fragtree(&tree.head, nullptr));
    EXPECT_EQ(depth_of(copy.get()), MANY);
    freefrag(fdel(&tree.head, key.c_str()));
    EXPECT_EQ(depth_of(tree.head), MANY - 1);
}

// Numbered texts in a random order; fewer, since each step then goes far in memory.
static constexpr int SHUFFLED = MANY / 10;

static std::string shuffled(std::string_view before, std::string_view after)
{
    std::vector<int> numbers(SHUFFLED);
    std::iota(numbers.begin(), numbers.end(), 0);
    std::shuffle(numbers.begin(), numbers.end(), std::mt19937(11));
    std::string text;
    for (const int number : numbers)
        text.append(before).append(std::to_string(number)).append(after);
    return text;
}

TEST(WideTree, EveryNotation)
{
    const struct {
        const char *label;
        std::string file;
    } rows[] = {
        {"flat", shuffled("p_", "=\n")},
        {"section", "[p]\n" + shuffled("", "=\n")},
        {"attributes", "<p " + shuffled(" ", "=''") + ">"},
        {"elements", "<p>" + times(MANY, "<a></a>")},
        {"empty elements on one line", "<p>" + times(MANY, "<a/>")},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.label);
        owned_tree tree(row.file);
        frag *list = tree.head->child;
        if (list->child != nullptr && list->next == nullptr)
            list = list->child; // the attributes
        EXPECT_GE(length_of(list), SHUFFLED);
    }
}

TEST(WideTree, TopLevel)
{
    const struct {
        const char *label;
        std::string file;
    } rows[] = {
        {"flat", shuffled("", "=\n")},
        {"empty elements on one line", times(MANY, "<a/>")},
        {"declarations on one line", times(MANY, "<!d>") + times(MANY, "<a/>")},
        {"comments on one line", times(MANY / 2, "<!-- -->") + times(MANY, "<a/>")},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.label);
        owned_tree tree(row.file);
        EXPECT_GE(length_of(tree.head), SHUFFLED);
    }
}

// Seconds of processor time that an import takes.
static double import_time_s(const std::string &file, std::size_t piece_size)
{
    owned_tree tree;
    const std::clock_t start = std::clock();
    tree.import(file, 0, piece_size);
    return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

// Looking through the rest of the piece at each element would take thousands of times as long.
TEST(WideTree, OneLineCostsTheSameInOnePiece)
{
    const std::string file = times(MANY, "<a/>");
    EXPECT_LT(import_time_s(file, 0), 20 * import_time_s(file, 1000) + 0.2);
}

TEST(WideTree, EveryCall)
{
    std::string lines;
    for (int number = 0; number < MANY; ++number)
        lines += std::to_string(number) + "=1 \n";
    owned_tree tree(lines);
    reverse_tree(&tree.head);
    owned_tree copy;
    copy.head = copy_fragtree(&tree.head, nullptr);
    sort_frags(&copy.head); // from the reverse order
    EXPECT_STREQ(copy.head->name, "0");
    reverse_tree(&copy.head);
    EXPECT_STREQ(copy.head->name, std::to_string(MANY - 1).c_str());
    strip_crlf_tree(&copy.head);
    EXPECT_EQ(length_of(copy.head), MANY);
}

TEST(WideTree, ShuffledNames)
{
    owned_tree tree("p=\n" + shuffled("p_", "=\n"));
    frag *p = tree.head;
    for (int number = 0; number < SHUFFLED; ++number)
        ASSERT_NE(ffind(&p->child, std::to_string(number).c_str()), nullptr);
    sort_frags(&p->child);
    EXPECT_STREQ(p->child->name, "0");
    // From the front, where a look-up is short without an index: a deletion drops the list's.
    for (int number = 0; number < SHUFFLED; ++number)
        freefrag(fdel(&p->child, std::to_string(number).c_str()));
    EXPECT_EQ(p->child, nullptr);
}

TEST(WideTree, OneValueInManyPieces)
{
    constexpr int PIECES = MANY / SLOWDOWN; // each may move the value
    owned_tree tree("a=" + times(PIECES, "x\r") + "\n");
    EXPECT_EQ(tree.head->vlen, PIECES);
    owned_tree text("<a>" + times(PIECES / 4, "x<b></b>"));
    EXPECT_EQ(text.head->vlen, PIECES / 4);
}
