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

// Walks for each keyword find the same records in a list with marks, also once it has grown.
TEST(CfgMarkRuns, LeavesEveryWalkAsItWas)
{
    const table_file table("n: b 1\nn: b 2\nn: a 3\nn: b 4\nn: b 5\nn: c 6\nn: c 7\n");
    const auto walks = [](cfgrec *list) {
        std::string lines;
        for (const char *keyword : {"a", "b", "c", "d"})
            for (const cfgrec *record = cfg_first(keyword, list); record != nullptr;
                 record = cfg_next(keyword, record))
                lines += std::to_string(record->lineno) + ' ';
        return lines;
    };
    const auto grow = [](cfgrec *list) {
        cfg_last(list)->next = cfg_make("c", 0, 8, 0, nullptr);
        cfg_last(list)->next = cfg_make("a", 0, 9, 0, nullptr);
        cfgrec *front = cfg_make("b", 0, 0, 0, nullptr);
        front->next = list;
        return front;
    };
    cfgrec *marked = cfg_read("n");
    cfg_mark_runs(marked);
    const cfg_list plain(grow(cfg_read("n")));
    EXPECT_EQ(walks(marked), "3 1 2 4 5 6 7 ");
    const cfg_list grown(grow(marked));
    EXPECT_EQ(walks(grown.get()), "3 9 0 1 2 4 5 6 7 8 ");
    EXPECT_EQ(walks(plain.get()), walks(grown.get()));
    cfg_mark_runs(nullptr);
    cfg_mark_runs(cfg_failure());
}
