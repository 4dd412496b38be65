#include "lib/fwall/policy.h"

#include "tests/fwall/proxy_setup.h"

#include <gtest/gtest.h>

static constexpr policy_option OPTIONS[] = {
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

static told bad(const char *text)
{
    return {11502, 1, text};
}

TEST(GetPolicy, MakesRecordsOfOptions)
{
    static const struct {
        const char *line, *want;
        std::vector<told> reports;
    } cases[] = {
        {"a b", "", {}},
        {"-flag", "1 keyword(0) a b c;", {}},
        {"a -bare -xyz 5", "1 bare(0);1 xyz(0) 5;", {}},
        {"a -one x", "1 destination(2) fixed x;", {}},
        {"a -one -flag", "1 destination(2) fixed -flag;", {}},
        {"a -one", "1 destination(2);", {bad("cfgerr: missing argument for '-one', line 1")}},
        {"a -list x y", "1 ports(1) fixed x;", {bad("cfgerr: unknown argument name y")}},
        {"a -list { x y } -bare", "1 ports(1) fixed x y;1 bare(0);", {}},
        {"a -list { }", "1 ports(1) fixed;", {}},
        {"a -list {lost x }lost y",
         "1 ports(1) fixed x;",
         {bad("cfgerr: unknown argument name y")}},
        {"a -list { x -bare",
         "1 ports(1) fixed x -bare;",
         {bad("cfgerr: missing end of list '}', line 1")}},
        {"a -list {", "1 ports(1) fixed;", {bad("cfgerr: missing end of list '}', line 1")}},
        {"a -list", "1 ports(1);", {bad("cfgerr: -list needs at least one argument, line 1")}},
        {"a -rest x -b -policy", "1 absorb-rest(0) fixed x -b -policy;", {}},
        {"a -rest", "1 absorb-rest(0);", {bad("cfgerr: -rest needs atleast one argument, line 1")}},
        {"a -odd x", "1 odd(2);", {bad("cfgerr: unknown argument name x")}},
        {"a -nameless", "1 nameless(2);", {}},
        {"a -", "1 (0);", {}},
        {"a -fifteen-letters-and -FLAG -bare",
         "1 bare(0);",
         {bad("cfgerr: unknown argument name -fifteen-l"),
          bad("cfgerr: unknown argument name -FLAG")}},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.line);
        const proxy_setup setup("n: permit-hosts " + std::string(row.line) + "\n");
        EXPECT_EQ(get_policy(proxy_confp, OPTIONS), 0);
        EXPECT_EQ(records(policy_confp, proxy_confp), row.want);
        EXPECT_EQ(report_log::reports, row.reports);
    }
}

TEST(GetPolicy, PutsOptionsInFrontAndPoliciesBehind)
{
    const proxy_setup setup("n: hosts a -policy p -flag -policy q -bare\nn: hosts b -policy q\n"
                            "policy-p: k 1\npolicy-q: k 2\npolicy-q: deny-k 3\n");
    const cfgrec *hosts = proxy_confp;
    EXPECT_EQ(get_policy(hosts, OPTIONS), 0);
    const std::string entries = "1 hosts(0) a -policy p -flag -policy q -bare;"
                                "2 hosts(0) b -policy q;3 k(0) 1;4 k(0) 2;5 k(2) 3;";
    EXPECT_EQ(records(policy_confp), "1 keyword(0) a b c;1 bare(0);" + entries);
    EXPECT_EQ(records(proxy_confp), entries);
    EXPECT_STREQ(policy_name, "policy-q");
    EXPECT_EQ(get_policy(nullptr, OPTIONS), 0);
    EXPECT_EQ(get_policy(hosts->next, nullptr), 0);
    EXPECT_EQ(records(proxy_confp), entries + "4 k(0) 2;5 k(2) 3;");
    EXPECT_TRUE(report_log::reports.empty());
}

TEST(GetPolicy, RefusesAPolicyThatLeadsNowhere)
{
    const std::string long_name(60, 'l');
    const struct {
        std::string line;
        told report;
    } cases[] = {
        {"a -flag -policy", {11502, 1, "cfgerr: -policy needs an argument, line 1"}},
        {"a -flag -policy p -policy", {11502, 1, "cfgerr: -policy needs an argument, line 1"}},
        {"a -flag -policy p -policy none",
         {11503, 1, "cfgerr: could not find policy-none, line 1"}},
        {"a -flag -policy p -policy " + long_name,
         {11503, 1, "cfgerr: could not find policy-" + std::string(50, 'l') + ", line 1"}},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.line);
        const proxy_setup setup("n: hosts " + row.line + "\nn: hosts b -policy p\npolicy-p: k 1\n");
        EXPECT_EQ(get_policy(proxy_confp, OPTIONS), 1);
        EXPECT_EQ(policy_confp, proxy_confp);
        EXPECT_EQ(report_log::reports, std::vector{row.report});
    }
}

TEST(GetPolicy, RefusesAnExpansionThatDoesNotFit)
{
    const std::string expansion = "deny-destination " + std::string(1024, 'x');
    const policy_option options[] = {{"-long", POLICY_ARG_NONE, expansion.c_str()}, {}};
    const proxy_setup setup("n: hosts a -long\n");
    EXPECT_EQ(get_policy(proxy_confp, options), 1);
    EXPECT_EQ(policy_confp, proxy_confp);
    EXPECT_EQ(report_log::reports, std::vector{bad("cfgerr: expansion of -long too long, line 1")});
}

TEST(GetPolicyByName, TakesWhatTheTableHas)
{
    const proxy_setup setup("n: hosts a -policy p\npolicy-p: k 1\npolicy-q: k 2\n");
    policy_confp = nullptr;
    EXPECT_EQ(get_policy_by_name("q"), -1);
    EXPECT_EQ(get_policy_by_name(nullptr), -1);
    EXPECT_EQ(policy_confp, nullptr);
    EXPECT_EQ(get_policy_by_name("p"), 0);
    EXPECT_EQ(records(policy_confp), "2 k(0) 1;");
}
