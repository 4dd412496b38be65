#include "lib/frag/token_symbol.h"

#include "lib/frag/frag.h"
#include "lib/frag/symbol.h"
#include "tests/ulib/fake_log.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

// A current tree of its own.
struct own_tree {
    frag *head = nullptr;
    frag **before = cur_database;

    own_tree() { cur_database = &head; }
    ~own_tree()
    {
        cur_database = before;
        free_fraglist(&head);
    }
    own_tree(const own_tree &) = delete;
    own_tree &operator=(const own_tree &) = delete;
};

TEST(LoadTokens, MergesAFileIntoTheCurrentTree)
{
    std::string name = (std::filesystem::temp_directory_path() / "tokens-XXXXXX").string();
    const std::filesystem::path folder = mkdtemp(name.data());
    std::ofstream(folder / "tokens") << "a_b=one\na_c=\n";
    own_tree tree;
    const fake_log log;
    symset("a_b", "zero");
    symset("a_d", "two");
    EXPECT_EQ(load_tokens((folder / "tokens").c_str()), 0);
    EXPECT_EQ(fake_log::calls, 0);
    static const struct {
        const char *key, *want;
    } cases[] = {{"a_b", "one"}, {"a_c", ""}, {"a_d", "two"}};
    for (const auto &row : cases) {
        std::string got = "before";
        EXPECT_EQ(get_token(row.key, &got), 0) << row.key;
        EXPECT_EQ(got, row.want) << row.key;
    }
    std::filesystem::remove_all(folder);
    EXPECT_EQ(load_tokens((folder / "tokens").c_str()), 1);
    EXPECT_EQ(fake_log::text, "libtoken: Error reading " + (folder / "tokens").string());
    EXPECT_EQ(fake_log::uniq.event, 11500);
    EXPECT_EQ(fake_log::priority, 5);
    EXPECT_EQ(load_tokens(nullptr), 1);
}

TEST(GetToken, ReportsAKeyWithoutValue)
{
    own_tree tree;
    symset("a_b", "one");
    const fake_log log;
    for (const char *key : {"a", "x", "a_b_c"}) { // the first is a node that has only children
        std::string got = "before";
        EXPECT_EQ(get_token(key, &got), 1);
        EXPECT_EQ(got, "before");
        EXPECT_EQ(fake_log::text, std::string("libtoken: No token found ") + key);
        EXPECT_EQ(fake_log::uniq.event, 11503);
    }
    fake_log::calls = 0;
    EXPECT_EQ(get_token("a_b", nullptr), 1);
    EXPECT_EQ(fake_log::calls, 0);
}
