#include "lib/fwall/policy.h"

#include "tests/fwall/proxy_setup.h"

static const std::string long_expansion = "deny-destination " + std::string(1024, 'x');

static const policy_option OPTIONS[] = {
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
    {"-long", POLICY_ARG_NONE, long_expansion.c_str()},
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

TEST(GetPolicy, MakesRecordsOfOptions)
{
    static const struct {
        const char *words, *want, *reports = "";
    } cases[] = {
        {"a b", ""},
        {"-flag", "1 keyword(0) a b c;"},
        {"a -bare -xyz 5", "1 bare(0);1 xyz(0) 5;"},
        {"a -one -flag", "1 destination(2) fixed -flag;"},
        {"a -one", "1 destination(2);", "11502/1 cfgerr: missing argument for '-one', line 1\n"},
        {"a -list x y", "1 ports(1) fixed x;", "11502/1 cfgerr: unknown argument name y\n"},
        {"a -list { x y } -bare", "1 ports(1) fixed x y;1 bare(0);"},
        {"a -list {lost }lost", "1 ports(1) fixed;"},
        {"a -list { x -bare", "1 ports(1) fixed x -bare;",
         "11502/1 cfgerr: missing end of list '}', line 1\n"},
        {"a -list", "1 ports(1);", "11502/1 cfgerr: -list needs at least one argument, line 1\n"},
        {"a -rest x -b -policy", "1 absorb-rest(0) fixed x -b -policy;"},
        {"a -rest", "1 absorb-rest(0);",
         "11502/1 cfgerr: -rest needs atleast one argument, line 1\n"},
        {"a -odd x", "1 odd(2);", "11502/1 cfgerr: unknown argument name x\n"},
        {"a -nameless -", "1 nameless(2);1 (0);"},
        {"a -fifteen-letters-and -FLAG -bare", "1 bare(0);",
         "11502/1 cfgerr: unknown argument name -fifteen-l\n"
         "11502/1 cfgerr: unknown argument name -FLAG\n"},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.words);
        const proxy_setup setup("permit-hosts " + std::string(row.words));
        EXPECT_EQ(get_policy(proxy_confp, OPTIONS), 0);
        EXPECT_EQ(records(policy_confp, proxy_confp), row.want);
        EXPECT_EQ(report_log::lines(), row.reports);
    }
}

TEST(GetPolicy, PutsOptionsInFrontAndPoliciesBehind)
{
    const proxy_setup setup("hosts a -policy p -flag -policy q -bare\nhosts b -policy q\n"
                            "policy-p: k 1\npolicy-q: k 2\npolicy-q: deny-k 3");
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
    EXPECT_EQ(report_log::lines(), "");
}

TEST(GetPolicy, RefusesHalfOfTheTerms)
{
    const std::string long_name(60, 'l');
    const struct {
        std::string words, report;
    } cases[] = {
        {"-policy", "11502/1 cfgerr: -policy needs an argument, line 1\n"},
        {"-policy none", "11503/1 cfgerr: could not find policy-none, line 1\n"},
        {"-policy " + long_name,
         "11503/1 cfgerr: could not find policy-" + std::string(50, 'l') + ", line 1\n"},
        {"-long", "11502/1 cfgerr: expansion of -long too long, line 1\n"},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.words);
        const proxy_setup setup("hosts a -flag -policy p " + row.words +
                                "\nhosts b -policy p\npolicy-p: k 1");
        EXPECT_EQ(get_policy(proxy_confp, OPTIONS), 1);
        EXPECT_EQ(policy_confp, proxy_confp);
        EXPECT_EQ(report_log::lines(), row.report);
    }
}

TEST(GetPolicyByName, TakesWhatTheTableHas)
{
    const proxy_setup setup("hosts a -policy p\npolicy-p: k 1\npolicy-q: k 2");
    policy_confp = nullptr;
    EXPECT_EQ(get_policy_by_name("q"), -1);
    EXPECT_EQ(get_policy_by_name(nullptr), -1);
    EXPECT_EQ(policy_confp, nullptr);
    EXPECT_EQ(get_policy_by_name("p"), 0);
    EXPECT_EQ(records(policy_confp), "2 k(0) 1;");
}
