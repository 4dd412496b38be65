#include "lib/fwall/srcchk.h"

#include "tests/fwall/proxy_setup.h"
#include "tests/kdev/loopback_sockets.h"
#include "tests/kdev/scripted_platform.h"

#include <gtest/gtest.h>

using questions = std::vector<std::string>;

static int check(const char *client)
{
    const sockaddr_in from = plain_address(client), local = plain_address("20.0.0.1");
    return permit_src_addr_chk(&from, &local);
}

TEST(PermitSrcAddrChk, LetsTheFirstMatchDecide)
{
    static const struct {
        const char *label, *table, *client;
        int want;
        int line; // of the entry that fits, 0 for none
        const char *shown;
        questions asked;
        std::vector<told> reports;
    } cases[] = {
        {"no entries", "n: k 1\n", "10.1.2.3", 1, 0, "unknown", {}, {}},
        {"entries of others", "m: hosts *\n", "10.1.2.3", 1, 0, "unknown", {}, {}},
        {"permit", "n: permit-hosts 10.*\n", "10.1.2.3", 0, 1, "nodnsquery", {}, {}},
        {"no prefix", "n: hosts 10.*\n", "10.1.2.3", 0, 1, "nodnsquery", {}, {}},
        {"absorb", "n: absorb-hosts 10.*\n", "10.1.2.3", 0, 1, "nodnsquery", {}, {}},
        {"deny", "n: deny-hosts 10.*\n", "10.1.2.3", 2, 1, "nodnsquery", {}, {}},
        {"no match", "n: hosts 11.* 10.2\n", "10.1.2.3", 1, 0, "unknown", {}, {}},
        {"deny first",
         "n: deny-hosts 10.1.2.*\nn: permit-hosts 10.*\n",
         "10.1.2.3",
         2,
         1,
         "nodnsquery",
         {},
         {}},
        {"permit first",
         "n: permit-hosts 10.*\nn: deny-hosts 10.1.2.*\n",
         "10.1.2.3",
         0,
         1,
         "nodnsquery",
         {},
         {}},
        {"range", "n: hosts 10.1.2.1-10.1.2.9\n", "10.1.2.3", 0, 1, "nodnsquery", {}, {}},
        {"behind an option",
         "n: hosts 11.* -policy p 10.*\npolicy-p: k 1\n",
         "10.1.2.3",
         1,
         0,
         "unknown",
         {},
         {}},
        {"options alone",
         "n: hosts -policy p *\npolicy-p: k 1\n",
         "10.1.2.3",
         1,
         0,
         "unknown",
         {},
         {}},
        {"a bad entry is passed over",
         "n: hosts  \nn: deny-hosts  \nn: hosts 10.*\n",
         "10.1.2.3",
         0,
         3,
         "nodnsquery",
         {},
         {{11502, 1, "cfgerr: hosts takes at least one argument, line 1"},
          {11502, 2, "cfgerr: hosts takes at least one argument, line 2"}}},
        {"name", "n: hosts *.lan\n", "10.0.0.1", 0, 1, "nodnsquery", {"addr 10.0.0.1"}, {}},
        {"one look-up",
         "n: hosts a.lan b.lan\nn: deny-hosts *.wan\nn: hosts mail.*\n",
         "10.0.0.1",
         0,
         3,
         "nodnsquery",
         {"addr 10.0.0.1"},
         {}},
        {"no name",
         "n: hosts *.lan\nn: deny-hosts unknown\n",
         "10.0.0.9",
         2,
         2,
         "nodnsquery",
         {"addr 10.0.0.9"},
         {}},
        {"no look-up when an address decides",
         "n: hosts 10.* *.lan\n",
         "10.0.0.1",
         0,
         1,
         "nodnsquery",
         {},
         {}},
        {"rev_dns",
         "n: rev_dns 11.* 10.0.0.1\nn: hosts *.lan unknown nodnsquery\nn: hosts 10\n",
         "10.0.0.1",
         0,
         3,
         "nodnsquery",
         {},
         {}},
        {"rev_dns range",
         "n: rev_dns 10.0.0.0-10.0.0.1\nn: hosts *.lan\n",
         "10.0.0.1",
         1,
         0,
         "unknown",
         {},
         {}},
        {"rev_dns of others",
         "n: rev_dns  \nn: rev_dns 10.0.0.2-10.0.0.9\nn: hosts *.lan\n",
         "10.0.0.1",
         0,
         3,
         "nodnsquery",
         {"addr 10.0.0.1"},
         {{11502, 1, "vhltcfgerr: rev_dns takes at least one argument, line 1"}}},
        {"use_name_logs",
         "n: use_name_logs yes\nn: hosts 10.*\n",
         "10.0.0.1",
         0,
         2,
         "mail.office.lan",
         {"addr 10.0.0.1"},
         {}},
        {"use_name_logs, remembered",
         "n: use_name_logs on\nn: hosts *.lan\n",
         "10.0.0.1",
         0,
         2,
         "mail.office.lan",
         {"addr 10.0.0.1"},
         {}},
        {"use_name_logs off",
         "n: use_name_logs no\nn: hosts *.lan\n",
         "10.0.0.1",
         0,
         2,
         "nodnsquery",
         {"addr 10.0.0.1"},
         {}},
        {"use_name_logs without argument",
         "n: use_name_logs  \nn: hosts 10.*\n",
         "10.0.0.1",
         0,
         2,
         "nodnsquery",
         {},
         {}},
        {"use_name_logs and rev_dns",
         "n: use_name_logs on\nn: rev_dns *\nn: hosts 10.*\n",
         "10.0.0.1",
         0,
         3,
         "nodnsquery",
         {},
         {}},
        {"use_name_logs, no name",
         "n: use_name_logs on\nn: hosts *\n",
         "10.0.0.9",
         0,
         2,
         "unknown",
         {"addr 10.0.0.9"},
         {}},
        {"use_name_logs, no match",
         "n: use_name_logs on\nn: hosts 11.*\n",
         "10.0.0.1",
         1,
         0,
         "unknown",
         {},
         {}},
        {"mask that can't match",
         "n: deny-hosts 10.1.0.0:255.0.0.0\nn: hosts 10.*\n",
         "10.1.2.3",
         0,
         2,
         "nodnsquery",
         {},
         {{11502, 0, "cfgerr: pat:mask can never match anything, 10.1.0.0:255.0.0.0"}}},
        {"identity without a device",
         "n: hosts ~alice ~\nn: hosts ''\n",
         "10.1.2.3",
         0,
         2,
         "nodnsquery",
         {},
         {}},
    };
    // Patterns that are read at the check and patterns made ready before it give the same.
    for (std::size_t i = 0; i < 2 * std::size(cases); ++i) {
        const auto &row = cases[i / 2];
        SCOPED_TRACE(row.label);
        proxy_setup setup(row.table, i % 2 == 1);
        const scripted_platform device;
        setup.names.names = {{"10.0.0.1", "Mail.Office.LAN"}};
        EXPECT_EQ(check(row.client), row.want);
        EXPECT_EQ(permit_confp == nullptr ? 0 : permit_confp->lineno, row.line);
        EXPECT_STREQ(proxy_riaddr, row.client);
        EXPECT_STREQ(proxy_rladdr, row.shown);
        EXPECT_EQ(setup.names.asked, row.asked);
        EXPECT_EQ(report_log::reports, row.reports);
        EXPECT_TRUE(device.vpn_requests.empty());
    }
}

TEST(PermitSrcAddrChk, ComparesTheIdentityThatTheFirewallKnows)
{
    static const struct {
        const char *label, *table, *identity, *display;
        int want;
        const char *shown;
        std::size_t requests;
    } cases[] = {
        {"known", "n: hosts ~alice\n", "~alice", "~Alice (home)", 0, "~Alice (home)", 1},
        {"known, denied", "n: deny-hosts ~alice\n", "~alice", "~Alice", 2, "~Alice", 1},
        {"asked once", "n: hosts ~bob ~carl\nn: hosts ~alice\n", "~alice", "~A", 0, "~A", 1},
        {"other", "n: hosts ~bob ~alic ~alice2 ~*\n", "~alice", "~Alice", 1, "unknown", 1},
        {"case counts", "n: hosts ~Alice\n", "~alice", "~Alice", 1, "unknown", 1},
        {"field full", "n: hosts ~23456789abcdefg\n", "~23456789abcdefghij", "~A", 0, "~A", 1},
        {"not known", "n: hosts ~alice\n", "~alice", "Alice", 1, "unknown", 1},
        {"not reached", "n: hosts 10.*\nn: hosts ~alice\n", "~alice", "~A", 0, "nodnsquery", 0},
        {"the name is not shown for it", "n: use_name_logs on\nn: hosts ~alice\n", "~alice", "~A",
         0, "~A", 1},
    };
    for (std::size_t i = 0; i < 2 * std::size(cases); ++i) {
        const auto &row = cases[i / 2];
        SCOPED_TRACE(row.label);
        const proxy_setup setup(row.table, i % 2 == 1);
        scripted_platform device;
        device.vpn_open_error = 0;
        device.on_vpn_ioctl = [&row](byte_area message) {
            const std::string_view identity(row.identity), display(row.display);
            std::fill(message.begin(), message.end(), std::uint8_t{0});
            std::copy_n(identity.begin(), std::min<std::size_t>(identity.size(), 16),
                        message.begin() + 8);
            std::copy(display.begin(), display.end(), message.begin() + 24);
            return 0;
        };
        EXPECT_EQ(check("10.1.2.3"), row.want);
        EXPECT_STREQ(proxy_rladdr, row.shown);
        EXPECT_TRUE(setup.names.asked.empty());
        ASSERT_EQ(device.vpn_requests.size(), row.requests);
        if (row.requests > 0) {
            EXPECT_EQ(at<u32>(device.vpn_requests[0].message, 8), inet_addr("10.1.2.3"));
            EXPECT_EQ(at<u32>(device.vpn_requests[0].message, 12), inet_addr("20.0.0.1"));
        }
    }
}

TEST(PermitSrcAddrChk, KeepsTheLastMatchWithoutANewOne)
{
    const proxy_setup setup("n: hosts 10.*\n");
    EXPECT_EQ(check("10.1.2.3"), 0);
    EXPECT_EQ(check("11.1.2.3"), 1);
    EXPECT_EQ(permit_confp, proxy_confp);
    EXPECT_STREQ(proxy_rladdr, "nodnsquery");
    EXPECT_STREQ(setup.connection.GetSrcIPAddress(), "");
}

TEST(PermitSrcChk, TakesTheTrueEnds)
{
    proxy_setup setup("n: hosts 10.1.2.3\n");
    scripted_platform device;
    const loopback_connection pair;
    device.on_fw_ioctl = [](unsigned long, byte_area record) {
        put_end(record, 4, "10.1.2.3", 1024);
        put_end(record, 20, "20.0.0.1", 80);
        return 0;
    };
    EXPECT_EQ(permit_src_chk(pair.server), 0);
    EXPECT_STREQ(setup.connection.GetSrcIPAddress(), "10.1.2.3");
    EXPECT_EQ(setup.connection.GetSrcPort(), 1024);
}

TEST(PermitSrcChk, FailsWithoutBothEnds)
{
    static const struct {
        const char *label;
        int good_requests;
        told report;
    } cases[] = {
        {"far end", 0, {6509, 0, "syserr: cannot get peer name"}},
        {"near end", 1, {6509, 0, "syserr: cannot get own name"}},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        const proxy_setup setup("n: hosts *\n");
        scripted_platform device;
        const loopback_connection pair;
        int requests = 0;
        device.on_fw_ioctl = [&](unsigned long, byte_area) {
            errno = requests++ < row.good_requests ? ENOENT : EIO;
            return -1;
        };
        EXPECT_EQ(permit_src_chk(pair.server), -1);
        EXPECT_EQ(report_log::reports, std::vector{row.report});
        EXPECT_EQ(permit_confp, nullptr);
    }
}
