#include "lib/fwall/cfgrec.h"

#include "tests/fwall/cfg_list.h"
#include "tests/fwall/table_file.h"

TEST(CfgGet, WalksWithOnePlaceForTheProcess)
{
    const table_file table("n: a 1\nn: b 2\nn: a 3\nn: A 4\nn: b 5\n");
    cfg_list list(cfg_read("n"));
    const cfgrec *first = cfg_get("a", list.get());
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->lineno, 1);
    EXPECT_EQ(cfg_next("b", first)->lineno, 2); // does not move the place
    EXPECT_EQ(cfg_first("A", list.get())->lineno, 4);
    EXPECT_EQ(cfg_get("a", nullptr)->lineno, 3);
    EXPECT_EQ(cfg_get("b", nullptr)->lineno, 5);
    EXPECT_EQ(cfg_get("b", nullptr), nullptr);
    EXPECT_EQ(cfg_get("a", nullptr), nullptr);
    EXPECT_EQ(cfg_get("a", cfg_failure()), nullptr);
    EXPECT_EQ(cfg_next("a", nullptr), nullptr);
    ASSERT_NE(cfg_get("a", list.get()), nullptr);
    list.reset();
    EXPECT_EQ(cfg_get("b", nullptr), nullptr); // the place went with its list
}

TEST(CfgCopy, IsDeepAndKeepsOrder)
{
    const table_file table("n: permit-a 1 2\nn: b  \nn: deny-c 3\n");
    cfg_list list(cfg_read("n"));
    EXPECT_NE(list->next->argv, nullptr);
    const std::string want = shown(list.get());
    const cfg_list copy(cfg_copy(list.get()));
    list.reset();
    EXPECT_EQ(copy->next->argv, nullptr);
    char *none[1] = {nullptr};
    copy->next->argv = none;
    EXPECT_EQ(shown(copy.get()), want);
    EXPECT_EQ(cfg_copy(nullptr), nullptr);
    EXPECT_EQ(cfg_copy(cfg_failure()), cfg_failure());
}
