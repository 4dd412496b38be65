#include "lib/fwall/policy_table.h"

#include "lib/fwall/proxy.h"
#include "tests/fwall/report_log.h"
#include "tests/fwall/table_file.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <memory>
#include <vector>

using names = std::vector<std::string>;

// Reads the table's entries of "n" as those of the proxy.
struct proxy_entries {
    table_file table;
    report_log log;

    explicit proxy_entries(const std::string &text) : table(text) { proxy_confp = cfg_read("n"); }
    ~proxy_entries()
    {
        free_cfglist();
        cfg_free(proxy_confp);
        proxy_confp = nullptr;
    }
};

struct found_names {
    std::vector<char *> slots = std::vector<char *>(POLICY_SLOTS);
    int count = cfg_findPolicyNames(slots.data());

    found_names() = default;
    ~found_names()
    {
        for (char **name = slots.data(); *name != nullptr; ++name)
            std::free(*name);
    }
    found_names(const found_names &) = delete;
    found_names &operator=(const found_names &) = delete;

    names list() const
    {
        names all;
        for (char *const *name = slots.data(); *name != nullptr; ++name)
            all.emplace_back(*name);
        return all;
    }
};

TEST(CfgFindPolicyNames, TakesTheFirstOptionOfEachLine)
{
    static const struct {
        const char *label, *table;
        names want;
        std::vector<told> reports;
    } cases[] = {
        {"no entries", "m: hosts * -policy a\n", {}, {}},
        {"all kinds of hosts lines",
         "n: permit-hosts * -policy a\nn: deny-hosts x y -policy b -other\nn: hosts -policy c\n"
         "n: host * -policy d\n",
         {"a", "b", "c"},
         {}},
        {"each once, by its whole name",
         "n: hosts * -policy a\nn: hosts * -policy A\nn: hosts * "
         "-policy a\nn: hosts * -policy ''\n",
         {"a", "A", ""},
         {}},
        {"faults",
         "n: hosts  \nn: hosts a b\nn: hosts a -x -policy p\nn: hosts a -policyx p\n"
         "n: hosts a -policy\nn: hosts a -policy -policy\n",
         {"-policy"},
         {{11502, 1, "cfgerr: hosts takes at least one argument, line 1"},
          {11502, 2, "cfgerr: permit-hosts line must have -policy flag, line 2"},
          {11502, 3, "cfgerr: permit-hosts line must have -policy flag, line 3"},
          {11502, 4, "cfgerr: permit-hosts line must have -policy flag, line 4"},
          {11502, 5, "cfgerr: -policy needs an argument, line 5"}}},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        const proxy_entries entries(row.table);
        const found_names found;
        EXPECT_EQ(found.count, static_cast<int>(row.want.size()));
        EXPECT_EQ(found.list(), row.want);
        EXPECT_EQ(report_log::reports, row.reports);
    }
}

static std::string many_policies(int count)
{
    std::string text;
    for (int i = 0; i < count; ++i)
        text += "n: hosts * -policy p" + std::to_string(i) + "\n";
    return text;
}

TEST(CfgFindPolicyNames, HoldsUpToItsLimit)
{
    static const struct {
        const char *label;
        int policies, count;
    } cases[] = {{"one less", 2047, 2047},
                 {"full", 2048, 2048},
                 {"one more", 2049, -1},
                 {"far more", 4096, -1}};
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        // A name seen before needs no room.
        const proxy_entries entries(many_policies(row.policies) + "n: hosts * -policy p7\n");
        const found_names found;
        EXPECT_EQ(found.count, row.count);
        EXPECT_EQ(static_cast<int>(found.list().size()), std::min(row.policies, POLICIES_MAX));
        std::vector<told> want;
        if (row.count < 0)
            want.push_back({11502, 0, "cfgerr: Too many policies!"});
        EXPECT_EQ(report_log::reports, want);
    }
}

static std::string found_policy(const char *name)
{
    cfgrec *list = cfg_find(name);
    std::string text;
    for (const cfgrec *record = list; record != nullptr; record = record->next)
        text += record->keyword + std::string(" ") + record->argv[0] + ";";
    cfg_free(list);
    return text;
}

TEST(CfgBldCFGlist, ReadsEachPolicyOnce)
{
    const std::string long_name(80, 'l');
    const proxy_entries entries("n: hosts * -policy a\nn: hosts x -policy " + long_name +
                                "\npolicy-a: k 1\npolicy-a: k 2\npolicy-b: k 3\npolicy-" +
                                long_name.substr(0, 50) + ": k 4\n");
    for (int round = 0; round < 2; ++round) { // the second builds it anew
        EXPECT_EQ(cfg_bldCFGlist(), 2);
        EXPECT_EQ(found_policy("a"), "k 1;k 2;");
        EXPECT_EQ(found_policy(long_name.c_str()), "k 4;");
        EXPECT_EQ(found_policy(long_name.substr(0, 50).c_str()), "");
        EXPECT_EQ(cfg_find("b"), nullptr);
        EXPECT_EQ(cfg_find(nullptr), nullptr);
    }
    EXPECT_TRUE(report_log::reports.empty());
    free_cfglist();
    EXPECT_EQ(cfg_find("a"), nullptr);
}

TEST(CfgBldCFGlist, FailsForAPolicyWithoutEntries)
{
    const std::string long_name(80, 'l');
    const proxy_entries entries("n: hosts * -policy a\nn: hosts x -policy " + long_name +
                                "\nn: hosts * -policy c\npolicy-a: k 1\npolicy-c: k 2\n");
    EXPECT_EQ(cfg_bldCFGlist(), -1);
    const std::vector<told> want = {
        {11503, 0, "cfgerr: could not find Policy : " + long_name + "."}};
    EXPECT_EQ(report_log::reports, want);
    EXPECT_EQ(found_policy("a"), "k 1;");
    EXPECT_EQ(cfg_find("c"), nullptr); // never read: refused
}

TEST(CfgBldCFGlist, IsEmptyAfterTooManyPolicies)
{
    const proxy_entries entries(many_policies(3000) + "policy-p0: k 1\n");
    EXPECT_EQ(cfg_bldCFGlist(), -1);
    EXPECT_EQ(cfg_find("p0"), nullptr);
}
