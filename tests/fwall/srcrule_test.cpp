#include "lib/fwall/srcrule.h"

#include "lib/fwall/srcchk.h"
#include "tests/fwall/proxy_setup.h"
#include "tests/kdev/loopback_sockets.h"
#include "tests/kdev/scripted_platform.h"

#include <gtest/gtest.h>

static constexpr policy_option OPTIONS[] = {{"-rule", POLICY_ARG_ONE, "ruleNumber"}, {}};

static std::string rule_of(const CConnectionContext &connection)
{
    char number[32] = {}, label[32] = {};
    connection.GetRuleNumber(number, sizeof number);
    connection.GetRuleLabel(label, sizeof label);
    return std::string(field_text(number)) + '/' + std::string(field_text(label)) + '/' +
           std::to_string(connection.GetLogLevel());
}

TEST(RuleSrcAddrChk, RefusesAllButAPermit)
{
    static const struct {
        const char *label, *hosts;
        int want;
        const char *rule;
        std::vector<told> reports;
    } cases[] = {
        {"permitted", "permit-hosts 10.*", 1, "7/mail/3", {}},
        {"option first", "permit-hosts 10.* -rule 9", 1, "9/mail/3", {}},
        {"unknown option",
         "permit-hosts 10.* -other",
         1,
         "7/mail/3",
         {{11502, 1, "cfgerr: unknown argument name -other"}}},
        {"no rule",
         "permit-hosts 11.*",
         0,
         "N/A//-1",
         {{1503, 0, "deny host=unknown/10.1.2.3 no rule assigned to use of relay proxy."}}},
        {"denied",
         "deny-hosts 10.*",
         0,
         "7/mail/3",
         {{1503, 0, "deny host=nodnsquery/10.1.2.3 use of proxy"}}},
        {"policy that leads nowhere",
         "permit-hosts 10.* -policy p -rule 9 -policy none",
         0,
         "N/A//-1",
         {{11503, 1, "cfgerr: could not find policy-none, line 1"}}},
    };
    const sockaddr_in from = plain_address("10.1.2.3"), local = plain_address("20.0.0.1");
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        const proxy_setup setup("n: " + std::string(row.hosts) +
                                "\nn: ruleNumber 7 x\nn: ruleName mail\nn: logLevel 3\n"
                                "policy-p: k 1\n");
        EXPECT_EQ(rule_src_addr_chk(&from, &local, OPTIONS, "bob"), row.want);
        EXPECT_EQ(rule_of(setup.connection), row.rule);
        EXPECT_EQ(report_log::reports, row.reports);
        const bool stopped = std::string_view(row.label).starts_with("policy");
        EXPECT_STREQ(setup.connection.GetUser(), stopped ? "" : "bob");
    }
}

TEST(RuleSrcSub, TakesTheAddressThatIsSet)
{
    const proxy_setup setup("n: hosts 10.*\n");
    const sockaddr_in local = plain_address("20.0.0.1");
    set_text(proxy_riaddr, "10.1.1.1");
    EXPECT_EQ(rule_src_sub(&local, nullptr, nullptr), 1);
    set_text(proxy_riaddr, "11.1.1.1");
    EXPECT_EQ(rule_src_sub(&local, nullptr, nullptr), 0);
}

TEST(RuleSrcRecord, FindsTheRuleInAPolicy)
{
    const proxy_setup setup("n: hosts * -policy p\npolicy-p: ruleNumber 12\npolicy-p: logLevel 4x\n"
                            "policy-p: ruleName  \n");
    const sockaddr_in local = plain_address("20.0.0.1");
    set_text(proxy_riaddr, "10.1.1.1");
    EXPECT_EQ(rule_src_sub(&local, nullptr, nullptr), 1);
    EXPECT_EQ(rule_of(setup.connection), "12//4");
    rule_src_record(SRC_FAILED, policy_confp);
    EXPECT_EQ(rule_of(setup.connection), "N/A//-1");
    rule_src_record(SRC_DENIED, policy_confp);
    EXPECT_EQ(rule_of(setup.connection), "12//4");
    rule_src_record(SRC_NO_RULE, policy_confp);
    EXPECT_EQ(rule_of(setup.connection), "N/A//-1");
    rule_src_record(SRC_PERMITTED, nullptr);
    EXPECT_EQ(rule_of(setup.connection), "N/A//-1");
}

// What a client hears of a check.
static std::string heard(loopback_connection &pair)
{
    shutdown(pair.server, SHUT_WR);
    std::string text;
    char piece[2048];
    for (ssize_t got; (got = recv(pair.client, piece, sizeof piece, 0)) > 0;)
        text.append(piece, static_cast<std::size_t>(got));
    return text;
}

TEST(RuleSrcChk, TellsTheClientOfADenial)
{
    const table_file message("Go away.\n%s\n");
    const std::string deny = "n: deny-hosts *\n", file = "n: denial-msg " + message.path + "\n";
    const told denied{1503, 0, "deny host=nodnsquery/10.1.2.3 use of proxy"};
    const struct {
        const char *label;
        std::string table;
        bool say;
        int want;
        std::string heard;
        std::vector<told> reports;
    } cases[] = {
        {"silent", deny + file, false, 0, "", {denied}},
        {"standard",
         deny,
         true,
         0,
         "nodnsquery/10.1.2.3 is not authorized to use the relay proxy\r\n",
         {denied}},
        {"file", deny + file, true, 0, "Go away.\r\n%s\r\n", {denied}},
        {"no file",
         deny + "n: denial-msg /nowhere/x\n",
         true,
         0,
         "",
         {denied,
          {6508, 0, "syserr: cannot display denial-msg /nowhere/x: No such file or directory"}}},
        {"two files",
         deny + "n: denial-msg a b\n",
         true,
         0,
         "",
         {denied, {11502, 2, "cfgerr: denial-msg must have one parameter, line 2"}}},
        {"no argument",
         deny + "n: denial-msg  \n",
         true,
         0,
         "",
         {denied, {11502, 2, "cfgerr: denial-msg must have one parameter, line 2"}}},
        {"no rule",
         file,
         true,
         0,
         "",
         {{1503, 0, "deny host=unknown/10.1.2.3 no rule assigned to use of relay proxy."}}},
        {"permitted", "n: hosts *\n" + file, true, 1, "", {}},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        const proxy_setup setup(row.table);
        scripted_platform device;
        loopback_connection pair;
        device.on_fw_ioctl = [](unsigned long, byte_area record) {
            put_end(record, 4, "10.1.2.3", 1024);
            put_end(record, 20, "20.0.0.1", 80);
            return 0;
        };
        EXPECT_EQ(rule_src_chk(pair.server, nullptr, "bob", row.say), row.want);
        EXPECT_EQ(heard(pair), row.heard);
        EXPECT_EQ(report_log::reports, row.reports);
    }
}

TEST(RuleSrcChk, RefusesAClientWithoutAnAddress)
{
    const proxy_setup setup("n: hosts *\nn: ruleNumber 7\n");
    scripted_platform device;
    device.fw_open_error = EACCES;
    loopback_connection pair;
    EXPECT_EQ(rule_src_chk(pair.server, nullptr, "bob", true), 0);
    EXPECT_EQ(heard(pair), "");
    EXPECT_EQ(rule_of(setup.connection), "N/A//-1");
    const std::vector<told> want = {{6509, 0, "syserr: cannot get peer name"}};
    EXPECT_EQ(report_log::reports, want);
}
