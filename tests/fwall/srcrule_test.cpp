#include "lib/fwall/srcrule.h"

#include "lib/fwall/srcchk.h"
#include "tests/fwall/proxy_setup.h"
#include "tests/kdev/loopback_sockets.h"
#include "tests/kdev/scripted_platform.h"

static constexpr policy_option OPTIONS[] = {{"-rule", POLICY_ARG_ONE, "ruleNumber"}, {}};

static std::string rule_of(const CConnectionContext &connection)
{
    char number[32] = {}, label[32] = {};
    connection.GetRuleNumber(number, sizeof number);
    connection.GetRuleLabel(label, sizeof label);
    return std::string(number) + '/' + label + '/' + std::to_string(connection.GetLogLevel());
}

// The usual answers to a client are in tests/system.
TEST(RuleSrcAddrChk, RefusesAllButAPermit)
{
    static const struct {
        const char *hosts;
        int want;
        const char *rule, *reports, *user = "bob";
    } cases[] = {
        {"permit-hosts 10.*", 1, "7/mail/3", ""},
        {"permit-hosts 10.* -rule 9", 1, "9/mail/3", ""},
        {"permit-hosts 11.*", 0, "N/A//-1",
         "1503/0 deny host=unknown/10.1.2.3 no rule assigned to use of relay proxy.\n"},
        {"deny-hosts 10.*", 0, "7/mail/3", "1503/0 deny host=nodnsquery/10.1.2.3 use of proxy\n"},
        {"permit-hosts 10.* -policy p -rule 9 -policy none", 0, "N/A//-1",
         "11503/1 cfgerr: could not find policy-none, line 1\n", ""},
    };
    const sockaddr_in from = plain_address("10.1.2.3"), local = plain_address("20.0.0.1");
    for (const auto &row : cases) {
        SCOPED_TRACE(row.hosts);
        const proxy_setup setup(std::string(row.hosts) + "\nruleNumber 7 x\nruleName mail\n"
                                                         "logLevel 3\npolicy-p: k 1");
        EXPECT_EQ(rule_src_addr_chk(&from, &local, OPTIONS, "bob"), row.want);
        EXPECT_EQ(rule_of(setup.connection), row.rule);
        EXPECT_EQ(report_log::lines(), row.reports);
        EXPECT_STREQ(setup.connection.GetUser(), row.user);
        set_text(proxy_riaddr, "10.1.2.3");
        EXPECT_EQ(rule_src_sub(&local, OPTIONS, "bob"), row.want);
    }
}

TEST(RuleSrcRecord, FindsTheRuleInAPolicy)
{
    const proxy_setup setup("hosts * -policy p\npolicy-p: ruleNumber 12\npolicy-p: logLevel 4x\n"
                            "policy-p: ruleName  ");
    const sockaddr_in local = plain_address("20.0.0.1");
    set_text(proxy_riaddr, "10.1.1.1");
    EXPECT_EQ(rule_src_sub(&local, nullptr, nullptr), 1);
    EXPECT_EQ(rule_of(setup.connection), "12//4");
    rule_src_record(SRC_FAILED, policy_confp);
    EXPECT_EQ(rule_of(setup.connection), "N/A//-1");
    rule_src_record(SRC_DENIED, policy_confp);
    EXPECT_EQ(rule_of(setup.connection), "12//4");
    rule_src_record(SRC_PERMITTED, nullptr);
    EXPECT_EQ(rule_of(setup.connection), "N/A//-1");
}

TEST(RuleSrcChk, TellsTheClientOfADenial)
{
    const table_file message("Go away.\n%s\n");
    const std::string file = "denial-msg " + message.path + "\n";
    const std::string denied = "1503/0 deny host=nodnsquery/10.1.2.3 use of proxy\n";
    const std::string malformed = "11502/2 cfgerr: denial-msg must have one parameter, line 2\n";
    const struct {
        std::string lines, heard, reports;
        int want = 0, open_error = 0;
        bool say = true;
    } cases[] = {
        {.lines = "deny-hosts *\n" + file, .heard = "", .reports = denied, .say = false},
        {"deny-hosts *", "nodnsquery/10.1.2.3 is not authorized to use the relay proxy\r\n",
         denied},
        {"deny-hosts *\n" + file, "Go away.\r\n%s\r\n", denied},
        {"deny-hosts *\ndenial-msg /nowhere/x", "",
         denied +
             "6508/0 syserr: cannot display denial-msg /nowhere/x: No such file or directory\n"},
        {"deny-hosts *\ndenial-msg a b", "", denied + malformed},
        {"deny-hosts *\ndenial-msg  ", "", denied + malformed},
        {file, "", "1503/0 deny host=unknown/10.1.2.3 no rule assigned to use of relay proxy.\n"},
        {"hosts *\n" + file, "", "", 1},
        {"hosts *\nruleNumber 7", "", "6509/0 syserr: cannot get peer name\n", 0, EACCES},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.lines);
        const proxy_setup setup(row.lines);
        scripted_platform device;
        loopback_connection pair;
        device.fw_open_error = row.open_error;
        device.on_fw_ioctl = [](unsigned long, byte_area record) {
            put_end(record, 4, "10.1.2.3", 1024);
            put_end(record, 20, "20.0.0.1", 80);
            return 0;
        };
        EXPECT_EQ(rule_src_chk(pair.server, nullptr, "bob", row.say), row.want);
        shutdown(pair.server, SHUT_WR);
        char text[2048];
        const ssize_t length = recv(pair.client, text, sizeof text, MSG_WAITALL);
        EXPECT_EQ(std::string(text, static_cast<std::size_t>(length)), row.heard);
        EXPECT_EQ(report_log::lines(), row.reports);
        EXPECT_EQ(rule_of(setup.connection), "N/A//-1");
    }
}
