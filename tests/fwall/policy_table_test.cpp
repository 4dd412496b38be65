#include "lib/fwall/policy_table.h"

#include "tests/fwall/proxy_setup.h"

#include <cstdlib>

// The names that are found, a line each, behind their number.
static std::string found_names()
{
    std::vector<char *> slots(POLICY_SLOTS);
    std::string names = std::to_string(cfg_findPolicyNames(slots.data())) + "\n";
    for (char **name = slots.data(); *name != nullptr; ++name) {
        names += *name + std::string("\n");
        std::free(*name);
    }
    return names;
}

TEST(CfgFindPolicyNames, TakesTheFirstOptionOfEachLine)
{
    static const struct {
        const char *lines, *want, *reports = "";
    } cases[] = {
        {"k 1", "0\n"},
        {"permit-hosts * -policy a\ndeny-hosts x y -policy b -other\nhosts -policy c\n"
         "host * -policy d",
         "3\na\nb\nc\n"},
        {"hosts * -policy a\nhosts * -policy A\nhosts * -policy a\nhosts * -policy ''",
         "3\na\nA\n\n"},
        {"hosts  \nhosts a b\nhosts a -x -policy p\nhosts a -policyx p\nhosts a -policy\n"
         "hosts a -policy -policy",
         "1\n-policy\n",
         "11502/1 cfgerr: hosts takes at least one argument, line 1\n"
         "11502/2 cfgerr: permit-hosts line must have -policy flag, line 2\n"
         "11502/3 cfgerr: permit-hosts line must have -policy flag, line 3\n"
         "11502/4 cfgerr: permit-hosts line must have -policy flag, line 4\n"
         "11502/5 cfgerr: -policy needs an argument, line 5\n"},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.lines);
        const proxy_setup setup(row.lines);
        EXPECT_EQ(found_names(), row.want);
        EXPECT_EQ(report_log::lines(), row.reports);
    }
}

TEST(CfgFindPolicyNames, HoldsUpToItsLimit)
{
    for (const int policies : {2047, 2048, 2049, 4096}) {
        std::string lines, want = std::to_string(policies > 2048 ? -1 : policies) + "\n";
        for (int i = 0; i < policies; ++i) {
            lines += "hosts * -policy p" + std::to_string(i) + "\n";
            want += i < 2048 ? "p" + std::to_string(i) + "\n" : "";
        }
        // A name seen before needs no room.
        const proxy_setup setup(lines + "hosts * -policy p7\npolicy-p0: k 1");
        EXPECT_EQ(found_names(), want);
        EXPECT_EQ(report_log::lines(),
                  policies > 2048 ? "11502/0 cfgerr: Too many policies!\n" : "");
        EXPECT_EQ(cfg_bldCFGlist(), -1);
        cfgrec *first = cfg_find("p0");
        EXPECT_EQ(first != nullptr, policies <= 2048); // nothing is left of too many
        cfg_free(first);
    }
}

static std::string found_policy(const std::string &name)
{
    cfgrec *list = cfg_find(name.c_str());
    std::string text;
    for (const cfgrec *record = list; record != nullptr; record = record->next)
        text += record->keyword + std::string(" ") + record->argv[0] + ";";
    cfg_free(list);
    return text;
}

TEST(CfgBldCFGlist, ReadsEachPolicyOnce)
{
    const std::string long_name(80, 'l'), cut = long_name.substr(0, 50);
    const proxy_setup setup("hosts * -policy a\nhosts x -policy " + long_name +
                            "\npolicy-a: k 1\npolicy-a: k 2\npolicy-b: k 3\npolicy-" + cut +
                            ": k 4");
    EXPECT_EQ(cfg_bldCFGlist(), 2); // anew: start-up has built it
    EXPECT_EQ(found_policy("a"), "k 1;k 2;");
    EXPECT_EQ(found_policy(long_name), "k 4;");
    EXPECT_EQ(found_policy(cut) + found_policy("b"), "");
    EXPECT_EQ(cfg_find(nullptr), nullptr);
    EXPECT_EQ(report_log::lines(), "");
    free_cfglist();
    EXPECT_EQ(cfg_find("a"), nullptr);
}

TEST(CfgBldCFGlist, FailsForAPolicyWithoutEntries)
{
    const std::string long_name(80, 'l');
    const proxy_setup setup("hosts * -policy a\nhosts x -policy " + long_name +
                            "\nhosts * -policy c\npolicy-a: k 1\npolicy-c: k 2");
    EXPECT_EQ(cfg_bldCFGlist(), -1);
    EXPECT_EQ(report_log::lines(), "11503/0 cfgerr: could not find Policy : " + long_name + ".\n");
    EXPECT_EQ(found_policy("a"), "k 1;");
    EXPECT_EQ(cfg_find("c"), nullptr); // never read: refused
}
