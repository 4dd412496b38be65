#include "lib/frag/tree/symbol.h"

#include "lib/frag/import/token_symbol.h"
#include "tests/frag/tree_text.h"
#include "tests/fuzz/path_file.h"
#include "tests/ulib/report_log.h"

#include <gtest/gtest.h>

using namespace flatlink;

TEST(Symbols, WorkOnTheCurrentTree)
{
    cur_database = nullptr;
    symset("a_b", "1");
    EXPECT_EQ(symfset("c", nullptr), def_database);
    built_tree other("a_b=2");
    cur_database = &other.head;
    EXPECT_STREQ(symval("a_b"), "2");
    EXPECT_EQ(symffind("c"), nullptr);
    cur_database = nullptr;
    EXPECT_STREQ(symval("a_b"), "1");
    free_fraglist(&def_database);
    EXPECT_EQ(symffind("a"), nullptr);
}

TEST(Tokens, AreMergedIntoTheCurrentTreeAndMissingOnesReported)
{
    const report_log log;
    path_file file;
    file.set_text("a_b=one\na_c=\n");
    built_tree tree("a{b=zero d=two}");
    cur_database = &tree.head;
    EXPECT_EQ(load_tokens(file.path().c_str()), 0);
    EXPECT_EQ(tree_text(tree.head), "a{d=two b=one c=}");
    std::string got = "before";
    for (const char *key : {"a", "x", "a_b_c"}) // the first is a node that has only children
        EXPECT_EQ(get_token(key, &got), 1);
    EXPECT_EQ(got, "before");
    EXPECT_EQ(report_log::texts, "libtoken: No token found a\nlibtoken: No token found x\n"
                                 "libtoken: No token found a_b_c\n");
    EXPECT_EQ(report_log::uniq.event, 11503);
    EXPECT_EQ(get_token("a_b", nullptr), 1);
    EXPECT_EQ(get_token("a_b", &got), 0);
    EXPECT_EQ(got, "one");
    EXPECT_EQ(load_tokens(nullptr), 1);
    EXPECT_EQ(load_tokens("/no/such/file"), 1);
    EXPECT_EQ(report_log::text, "libtoken: Error reading /no/such/file");
    EXPECT_EQ(report_log::uniq.event, 11500);
    EXPECT_EQ(report_log::priority, 5);
    EXPECT_EQ(report_log::calls, 5);
    cur_database = nullptr;
}
