// The policies of a table, and the terms that the options of a `hosts` line make.
#include "lib/fwall/access/policy.h"

#include "tests/fwall/proxy_setup.h"

#include <cstdlib>

static const std::string LONG_NAME(80, 'l'), LONG_EXPANSION = "deny-x " + std::string(1024, 'x');

static const policy_option options[] = {
    {"-flag", POLICY_ARG_NONE, "keyword a 'b c'"},
    {"-bare", POLICY_ARG_NONE, nullptr},
    {"-xyz", POLICY_ARG_ONE, ""},
    {"-one", POLICY_ARG_ONE, "deny-destination fixed"},
    {"-list", POLICY_ARG_LIST, "Permit-ports fixed"},
    {"-rest", POLICY_ARG_REST, "absorb-rest fixed"},
    {"-odd", 4, "DENY-odd fixed"},
    {"-nameless", POLICY_ARG_NONE, "deny-"},
    {"-policy", POLICY_ARG_NONE, "mine"},
    {"-", POLICY_ARG_NONE, " , "},
    {"-long", POLICY_ARG_NONE, LONG_EXPANSION.c_str()},
    {},
};

// "LINE keyword(FLAGS) arguments;" for each record up to `end`.
static std::string records(const cfgrec *list, const cfgrec *end = nullptr)
{
    std::string text;
    for (; list != end; list = list->next) {
        text += std::to_string(list->lineno) + ' ' + list->keyword + '(' +
                std::to_string(list->flags) + ')';
        for (int i = 0; i < list->argc; ++i)
            text += std::string(" ") + list->argv[i];
        text += ';';
    }
    return text;
}

// What options make stands in front of the table's own entries, what policies add after them.
TEST(GetPolicy, PutsTheTermsOfALineInOrder)
{
    static const std::string P = "5 k(0) 1;7 m(0) 3 4;", Q = "6 l(2) 2;";
    static const struct {
        const char *words;
        std::string made, added;
    } cases[] = {
        {"a -flag -policy p -one x -policy q -rest y -flag",
         "1 keyword(0) a b c;1 destination(2) fixed x;1 absorb-rest(0) fixed y -flag;", P + Q},
        {"a -policy q -list { x -flag } -list y -list { } -policy p -xyz { -bare",
         "1 ports(1) fixed x -flag;1 ports(1) fixed y;1 ports(1) fixed;1 xyz(0) {;1 bare(0);",
         Q + P},
        {"-policy p -policy p", "", P + P},
        {"a -list {lost x }lost -bare", "1 ports(1) fixed x;1 bare(0);", ""},
        {"a b", "", ""},
    };
    for (const auto &row : cases) {
        const proxy_setup setup("hosts " + std::string(row.words) +
                                "\nhosts b -policy p\nhosts c -policy q\nk 0\n"
                                "policy-p: k 1\npolicy-q: deny-l 2\npolicy-p: m 3 4");
        const std::string own = records(proxy_confp);
        EXPECT_EQ(get_policy(proxy_confp, options), 0);
        EXPECT_EQ(records(policy_confp), row.made + own + row.added) << row.words;
        EXPECT_EQ(report_log::lines(), "");
    }
}

TEST(GetPolicy, ReportsFaultsAndGoesOn)
{
    static const struct {
        const char *words, *want, *report;
    } cases[] = {
        {"a -bare -xyz 5 -nameless -", "1 bare(0);1 xyz(0) 5;1 nameless(2);1 (0);", ""},
        {"a -one", "1 destination(2);", "missing argument for '-one', line 1\n"},
        {"a -list x y", "1 ports(1) fixed x;", "unknown argument name y\n"},
        {"a -list { x -bare", "1 ports(1) fixed x -bare;", "missing end of list '}', line 1\n"},
        {"a -list", "1 ports(1);", "-list needs at least one argument, line 1\n"},
        {"a -rest", "1 absorb-rest(0);", "-rest needs atleast one argument, line 1\n"},
        {"a -odd x", "1 odd(2);", "unknown argument name x\n"},
        {"a -fifteen-letters-and -bare", "1 bare(0);", "unknown argument name -fifteen-l\n"},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.words);
        const proxy_setup setup("permit-hosts " + std::string(row.words));
        EXPECT_EQ(get_policy(proxy_confp, options), 0);
        EXPECT_EQ(records(policy_confp, proxy_confp), row.want);
        EXPECT_EQ(report_log::lines(),
                  *row.report == '\0' ? "" : std::string("11502/1 cfgerr: ") + row.report);
    }
}

TEST(GetPolicy, RefusesHalfOfTheTerms)
{
    const std::pair<std::string, std::string> cases[] = {
        {"-policy", "11502/1 cfgerr: -policy needs an argument, line 1\n"},
        {"-policy none", "11503/1 cfgerr: could not find policy-none, line 1\n"},
        {"-policy " + LONG_NAME,
         "11503/1 cfgerr: could not find policy-" + LONG_NAME.substr(0, 50) + ", line 1\n"},
        {"-long", "11502/1 cfgerr: expansion of -long too long, line 1\n"},
    };
    for (const auto &[words, report] : cases) {
        const proxy_setup setup("hosts a -flag -policy p " + words +
                                "\nhosts b -policy p\npolicy-p: k 1");
        EXPECT_EQ(get_policy(proxy_confp, options), 1);
        EXPECT_EQ(policy_confp, proxy_confp);
        EXPECT_EQ(report_log::lines(), report);
    }
}

// What the table of policies has for a name.
static std::string found(const std::string &name)
{
    cfgrec *list = cfg_find(name.c_str());
    const std::string text = records(list);
    cfg_free(list);
    policy_confp = nullptr;
    EXPECT_EQ(get_policy_by_name(name.c_str()), text.empty() ? -1 : 0);
    EXPECT_EQ(records(policy_confp), text);
    cfg_free(policy_confp);
    policy_confp = proxy_confp;
    return text;
}

TEST(CfgBldCFGlist, ReadsThePolicyOfEachLineOnce)
{
    const std::string cut = LONG_NAME.substr(0, 50);
    const proxy_setup setup("permit-hosts * -policy a\nhosts  \nhosts a b\nhosts a -x -policy p\n"
                            "hosts a -policy\ndeny-hosts x y -policy " +
                            LONG_NAME + " -other\nhosts -policy a\nhosts * -policy A\n" +
                            "policy-a: k 1\npolicy-b: k 3\npolicy-a: k 2\npolicy-A: k 5\npolicy-" +
                            cut + ": k 4");
    EXPECT_EQ(cfg_bldCFGlist(), 3); // again: start-up has built it
    EXPECT_EQ(report_log::lines(),
              "11502/2 cfgerr: hosts takes at least one argument, line 2\n"
              "11502/3 cfgerr: permit-hosts line must have -policy flag, line 3\n"
              "11502/4 cfgerr: permit-hosts line must have -policy flag, line 4\n"
              "11502/5 cfgerr: -policy needs an argument, line 5\n");
    EXPECT_EQ(found("a") + found("A"), "9 k(0) 1;11 k(0) 2;12 k(0) 5;");
    EXPECT_EQ(found(LONG_NAME), "13 k(0) 4;");
    EXPECT_EQ(found(cut) + found("b"), "");
    EXPECT_EQ(cfg_find(nullptr), nullptr);
    free_cfglist();
    EXPECT_EQ(found("a"), "");
}

TEST(CfgBldCFGlist, FailsForAPolicyWithoutEntries)
{
    const proxy_setup setup("hosts * -policy a\nhosts x -policy b\nhosts * -policy c\n"
                            "policy-a: k 1\npolicy-c: k 2");
    EXPECT_EQ(cfg_bldCFGlist(), -1);
    EXPECT_EQ(report_log::lines(), "11503/0 cfgerr: could not find Policy : b.\n");
    EXPECT_EQ(found("a") + found("c"), "4 k(0) 1;"); // c was never read: refused
}

TEST(CfgFindPolicyNames, HoldsUpToItsLimit)
{
    for (const int policies : {2048, 2049, 4096}) {
        std::string lines;
        for (int i = 0; i < policies; ++i)
            lines += "hosts * -policy p" + std::to_string(i) + "\n";
        // A name seen before needs no room.
        const proxy_setup setup(lines + "hosts * -policy p7\npolicy-p0: k 1");
        std::vector<char *> names(POLICY_SLOTS);
        EXPECT_EQ(cfg_findPolicyNames(names.data()), policies > 2048 ? -1 : policies);
        for (int i = 0; i < 2048; ++i) {
            EXPECT_EQ(names[static_cast<std::size_t>(i)], "p" + std::to_string(i));
            std::free(names[static_cast<std::size_t>(i)]);
        }
        EXPECT_EQ(names[2048], nullptr);
        EXPECT_EQ(report_log::lines(),
                  policies > 2048 ? "11502/0 cfgerr: Too many policies!\n" : "");
        EXPECT_EQ(found("p0").empty(), policies > 2048); // nothing is left of too many
    }
}
