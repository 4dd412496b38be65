#include "lib/frag/cftrie.h"

#include <gtest/gtest.h>
#include <string>

#include "lib/frag/frag.h"
#include "tests/frag/tree_text.h"

TEST(Cftrie, AnswersByWholeParts)
{
    cfnode *index = nullptr;
    const frag_ptr a(newsymfrag("a"));
    const frag_ptr b(newsymfrag("b"));
    EXPECT_EQ(cffind(&index, "abc"), nullptr);
    cfnode *abc = cfset(&index, "abc_rest", a.get());
    ASSERT_NE(abc, nullptr);
    EXPECT_EQ(abc->character, 'c');
    EXPECT_EQ(cfset(&index, "\xFF", b.get())->character, -1);

    static const struct {
        const char *key;
        bool is_found;
    } rows[] = {
        {"abc", true},   {"abc_x", true}, {"ab", false},  {"abcd", false}, {"", false},
        {"abc=", false}, {"\xFF", true},  {"ABC", false}, {"_abc", false},
    };
    for (const auto &row : rows)
        EXPECT_EQ(cffind(&index, row.key) != nullptr, row.is_found) << row.key;
    EXPECT_EQ(index->character, -1); // new characters stand in front

    EXPECT_EQ(cfset(&index, "abc", b.get()), abc); // the later one stays
    EXPECT_EQ(cffind(&index, "abc")->node, b.get());
    EXPECT_EQ(cffreetree(&index), 0);
    EXPECT_EQ(index, nullptr);
    EXPECT_EQ(cffreetree(nullptr), 1);
    EXPECT_EQ(cffree(nullptr), 1);
    EXPECT_EQ(cffree(cfnew('x')), 0);
}

TEST(Fnewchild, CountsToSixteenAndThenIndexes)
{
    owned_tree tree("p=\n");
    frag *parent = tree.head;
    EXPECT_EQ(fnewchild(nullptr), 1);
    EXPECT_EQ(fnewchild(parent), 1);
    for (int count = 1; count <= 18; ++count) {
        SCOPED_TRACE(count);
        frag *child = fsetp(&parent->child, std::to_string(count).c_str(), nullptr, parent);
        EXPECT_EQ(fnewchild(child), 0);
        EXPECT_EQ(parent->flags, FRAG_COUNT_ONE * static_cast<unsigned>(std::min(count, 16)));
        EXPECT_EQ(parent->index != nullptr, count >= 17);
    }
    // The seventeenth enters all; later ones are entered alone, and only if they are told of.
    fsetp(&parent->child, "x", nullptr, parent);
    for (const char *key : {"p_1", "p_16", "p_17", "p_18"})
        EXPECT_NE(ffind(&tree.head, key), nullptr) << key;
    EXPECT_EQ(ffind(&tree.head, "p_x"), nullptr);
    EXPECT_EQ(ffind(&tree.head, "p_18="), nullptr); // the trie ends no part at '='
    EXPECT_NE(fsetp(&parent->child, "x", "1", parent), nullptr);
    EXPECT_STREQ(parent->child->value, "1"); // which found it without the trie
    EXPECT_EQ(fnewcleanup(&tree.head), 0);
    EXPECT_STREQ(fval(&tree.head, "p_x"), "1");
    EXPECT_EQ(parent->index, nullptr);
}

TEST(Fnewcleanup, TurnsEveryListAndKeepsPrefixes)
{
    owned_tree tree("permit-a_x=1\na_y_p=2\na_y_q=3\nb=4\n");
    tree.head->flags |= FRAG_COUNT_FULL | FRAG_WALKED;
    EXPECT_EQ(fnewcleanup(&tree.head), 0);
    EXPECT_EQ(tree_text(tree.head), R"(b="4" a(1){y{q="3" p="2"} x="1"})");
    frag *empty = nullptr;
    EXPECT_EQ(fnewcleanup(&empty), 0);
}
