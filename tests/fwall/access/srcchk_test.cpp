// Who may use the proxy, and what follows from the answer.
#include "lib/fwall/access/srcchk.h"

#include "lib/fwall/access/srcrule.h"
#include "tests/case_lines.h"
#include "tests/fwall/proxy_setup.h"
#include "tests/kdev/loopback_sockets.h"
#include "tests/kdev/scripted_platform.h"

using namespace flatlink;

// The code, the line of `permit_confp` and the name to show; then what was asked and reported.
static std::string outcome_of(const proxy_setup &setup, const char *client)
{
    const sockaddr_in from = plain_address(client), local = plain_address("20.0.0.1");
    const int code = permit_src_addr_chk(&from, &local);
    EXPECT_STREQ(proxy_riaddr, client);
    return std::to_string(code) + " line " +
           (permit_confp == nullptr ? "-" : std::to_string(permit_confp->lineno)) + " as " +
           proxy_rladdr + '\n' + setup.asked_and_told();
}

// Walks over more lines, prepared and not, are compared in tests/fuzz.
TEST(PermitSrcAddrChk, LetsTheFirstMatchDecide)
{
    for (case_row &row : case_rows("fwall/sources", "from want"))
        for (const bool is_prepared : {false, true}) {
            SCOPED_TRACE(row["from"]);
            proxy_setup setup(row["from"], is_prepared);
            const scripted_platform no_device;
            setup.names.names = {{"10.0.0.1", "Mail.Office.LAN"}};
            EXPECT_EQ(outcome_of(setup, "10.0.0.1"), row["want"] + '\n');
        }
}

TEST(PermitSrcAddrChk, ComparesTheIdentityThatTheFirewallKnows)
{
    const auto checked_as = [](const char *lines, const std::string &display, bool prepared) {
        const proxy_setup setup(lines, prepared);
        scripted_platform device;
        device.vpn_open_error = 0;
        int questions = 0;
        device.on_vpn_ioctl = [&](unsigned long, byte_area message) {
            ++questions;
            EXPECT_EQ(dotted_at(message, 8) + ' ' + dotted_at(message, 12), "10.1.2.3 20.0.0.1");
            std::ranges::fill(message, std::uint8_t{0});
            std::ranges::copy(std::string("~alice"), message.begin() + 8);
            std::ranges::copy(display, message.begin() + 24);
            return 0;
        };
        const std::string outcome = outcome_of(setup, "10.1.2.3");
        return outcome + std::to_string(questions);
    };
    const auto checked = [&](const char *lines, const std::string &display) {
        const std::string outcome = checked_as(lines, display, false);
        EXPECT_EQ(checked_as(lines, display, true), outcome);
        return outcome;
    };
    EXPECT_EQ(checked("hosts ~bob ~carl\nhosts 11.* ~alice", "~A (home)"),
              "0 line 2 as ~A (home)\n1");
    EXPECT_EQ(checked("hosts ~bob ~alic ~alice2 ~Alice ~*", "~A"), "1 line - as unknown\n1");
    EXPECT_EQ(checked("hosts ~alice ~bob", "Alice"), "1 line - as unknown\n1"); // no `~`: not known
    EXPECT_EQ(checked("hosts 10.*\nhosts ~alice", "~A"), "0 line 1 as nodnsquery\n0");
    EXPECT_EQ(checked("use_name_logs on\ndeny-hosts ~alice", "~A"), "2 line 2 as ~A\n1");
}

TEST(PermitSrcAddrChk, AsksOnceForAClientWithAnEmptyName)
{
    for (const bool prepared : {false, true}) {
        proxy_setup setup("use_name_logs on\nhosts a.lan b.lan c\nhosts 10.*", prepared);
        setup.names.names = {{"10.0.0.1", ""}};
        EXPECT_EQ(outcome_of(setup, "10.0.0.1"), "0 line 3 as \naddr 10.0.0.1\n");
    }
}

TEST(PermitSrcAddrChk, KeepsTheLastMatchWithoutANewOne)
{
    const proxy_setup setup("hosts 10.*");
    EXPECT_EQ(outcome_of(setup, "10.1.2.3"), "0 line 1 as nodnsquery\n");
    EXPECT_EQ(outcome_of(setup, "11.1.2.3"), "1 line 1 as nodnsquery\n");
}

TEST(PermitSrcChk, FailsWithoutBothEnds)
{
    const proxy_setup setup("hosts *");
    scripted_platform device;
    const loopback_connection pair;
    device.on_fw_ioctl = [&](unsigned long, byte_area) {
        errno = EIO;
        return -1;
    };
    EXPECT_EQ(permit_src_chk(pair.server), -1);
    EXPECT_EQ(report_log::reports[0], "6509/0 syserr: cannot get peer name");
    EXPECT_EQ(permit_confp, nullptr);
    EXPECT_EQ(device.fw_requests.size(), 1U); // one question tells both ends
    EXPECT_EQ(rule_src_chk(pair.server, nullptr, "bob", true), 0);
}

// What makes a table large must be settled without a closer look.
TEST(SrcPatterns, ExcludeByTheUsualForms)
{
    for (const char *pattern :
         {"10.*", "10.1.*", "10.1.2.*", "10.1.2.3", "10", "10.1", "10.1.2.0:255.255.255.0",
          "10.1.2.3-10.1.2.9", "*.Office.lan", "mail.office.lan", "*x.office.lan", "m*n", "~a"}) {
        const proxy_setup setup("k 1\nhosts " + std::string(pattern), true);
        src_client client(read_host_address("20.1.2.3"));
        client.know_name("www.office.com");
        client.keys[src_client::IDENTITY_KEY] = 0;
        int at = 0;
        EXPECT_EQ(next_candidate(cfg_first("hosts", proxy_confp)->patterns, client, at), nullptr)
            << pattern;
    }
}

TEST(SrcPatterns, EndWhereTheListHasGrown)
{
    proxy_setup setup("hosts 11.*\nk 1\nhosts 12.* -policy p\nhosts  \nk 2\npolicy-p: p 3\n"
                      "policy-p: deny-hosts 10.*",
                      true);
    EXPECT_EQ(get_policy_by_name("p"), 0);
    EXPECT_EQ(outcome_of(setup, "12.0.0.1"), "0 line 3 as nodnsquery\n");
    EXPECT_EQ(outcome_of(setup, "10.0.0.1"),
              "2 line 7 as nodnsquery\n"
              "11502/4 cfgerr: hosts takes at least one argument, line 4\n");
    EXPECT_EQ(cfg_first("p", proxy_confp)->lineno, 6);
    EXPECT_EQ(cfg_next("k", cfg_first("hosts", proxy_confp))->lineno, 2);
}

// A caller of permit_src_sub may have put any text there.
TEST(PermitSrcSub, ComparesTheTextOfTheAddress)
{
    for (const bool prepared : {false, true}) {
        const proxy_setup setup("hosts 10.1.* 0.0.0.0\nhosts 10.0.0.1\nhosts 10.1", prepared);
        const sockaddr_in local = plain_address("20.0.0.1");
        set_text(proxy_riaddr, "010.1");
        EXPECT_EQ(permit_src_sub(&local), SRC_PERMITTED);
        EXPECT_EQ(permit_confp->lineno, 3);
    }
}

// The usual answers, with the rule in each record and the word to the client, are in tests/system.
TEST(RuleSrcAddrChk, RefusesAllButAPermit)
{
    // The answer, and what the connection's context holds.
    const auto checked = [](const std::string &hosts) {
        static constexpr policy_option options[] = {{"-rule", POLICY_ARG_ONE, "ruleNumber"}, {}};
        const sockaddr_in from = plain_address("10.1.2.3"), local = plain_address("20.0.0.1");
        const proxy_setup setup(hosts + "\nruleNumber 7 x\nlogLevel 3x\npolicy-p: k 1");
        const int code = rule_src_addr_chk(&from, &local, options, "bob");
        char number[32] = {};
        setup.connection.GetRuleNumber(number, sizeof number);
        EXPECT_EQ(rule_src_sub(&local, options, "bob"), code);
        return std::to_string(code) + ' ' + number + '/' +
               std::to_string(setup.connection.GetLogLevel()) + ' ' + setup.connection.GetUser();
    };
    EXPECT_EQ(checked("permit-hosts 10.* -rule 9"), "1 9/3 bob");
    EXPECT_EQ(checked("permit-hosts 11.*"), "0 N/A/-1 bob");
    EXPECT_EQ(checked("deny-hosts 10.*"), "0 7/3 bob");
    EXPECT_EQ(checked("permit-hosts 10.* -policy p -rule 9 -policy none"), "0 N/A/-1 ");
}

TEST(RuleSrcChk, TellsADeniedClientNothingElse)
{
    // The last report.
    const auto told_of = [](const std::string &lines, bool say) {
        const proxy_setup setup("deny-hosts *\n" + lines);
        scripted_platform device;
        const loopback_connection pair;
        EXPECT_EQ(rule_src_chk(pair.server, nullptr, "bob", say), 0);
        char text[8];
        EXPECT_EQ(recv(pair.client, text, sizeof text, MSG_DONTWAIT), -1);
        return report_log::reports.back();
    };
    EXPECT_EQ(told_of("", false), "1503/0 deny host=nodnsquery/127.0.0.1 use of proxy");
    EXPECT_EQ(told_of("denial-msg /nowhere/x", true),
              "6508/0 syserr: cannot display denial-msg /nowhere/x: No such file or directory");
    for (const char *line : {"denial-msg a b", "denial-msg  "})
        EXPECT_EQ(told_of(line, true),
                  "11502/2 cfgerr: denial-msg must have one parameter, line 2");
}
