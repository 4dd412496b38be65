#include "lib/frag/symbol.h"

#include <gtest/gtest.h>

#include "tests/frag/tree_text.h"

TEST(Symbols, WorkOnTheCurrentTree)
{
    cur_database = nullptr;
    symset("a_b", "1");
    EXPECT_EQ(cur_database, &def_database);
    const frag *c = symfset("c", nullptr);
    EXPECT_EQ(c, def_database);
    EXPECT_EQ(symffind("a"), def_database->next);

    owned_tree other("a_b=2\n");
    cur_database = &other.head;
    EXPECT_STREQ(symval("a_b"), "2");
    EXPECT_EQ(symval("c"), nullptr);
    cur_database = nullptr;
    EXPECT_STREQ(symval("a_b"), "1");
    free_fraglist(&def_database);
    EXPECT_EQ(symffind("a"), nullptr);
    cur_database = nullptr;
}
