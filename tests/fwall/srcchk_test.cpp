#include "lib/fwall/srcchk.h"

#include "tests/fwall/proxy_setup.h"
#include "tests/kdev/loopback_sockets.h"
#include "tests/kdev/scripted_platform.h"

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

// Plainer walks over more lines, and patterns made ready, are compared in tests/fuzz.
TEST(PermitSrcAddrChk, LetsTheFirstMatchDecide)
{
    static const struct {
        const char *lines, *want, *client = "10.0.0.1"; // mail.office.lan
    } cases[] = {
        {"k 1", "1 line - as unknown\n"},
        {"permit-hosts 10.*", "0 line 1 as nodnsquery\n"},
        {"absorb-hosts 10.*", "0 line 1 as nodnsquery\n"},
        {"deny-hosts 10.*", "2 line 1 as nodnsquery\n"},
        {"hosts 11.* 10.2", "1 line - as unknown\n"},
        {"deny-hosts 10.0.0.*\nhosts 10.*", "2 line 1 as nodnsquery\n"},
        {"hosts 10.*\ndeny-hosts 10.0.0.*", "0 line 1 as nodnsquery\n"},
        {"hosts 11.* -policy p 10.*\nhosts -policy p *\npolicy-p: k 1", "1 line - as unknown\n"},
        {"deny-hosts  \nhosts 10.*",
         "0 line 2 as nodnsquery\n11502/1 cfgerr: hosts takes at least one argument, line 1\n"},
        {"hosts a.lan b.lan\nhosts mail.*", "0 line 2 as nodnsquery\naddr 10.0.0.1\n"},
        {"hosts *.lan\ndeny-hosts unknown", "2 line 2 as nodnsquery\naddr 10.0.0.9\n", "10.0.0.9"},
        {"rev_dns 11.* 10.0.0.1\nhosts *.lan unknown nodnsquery", "1 line - as unknown\n"},
        {"rev_dns 10.0.0.0-10.0.0.1\nhosts *.lan", "1 line - as unknown\n"},
        {"rev_dns  \nrev_dns 10.0.0.2-10.0.0.9\nhosts *.lan",
         "0 line 3 as nodnsquery\naddr 10.0.0.1\n"
         "11502/1 vhltcfgerr: rev_dns takes at least one argument, line 1\n"},
        {"use_name_logs yes\nhosts 10.*", "0 line 2 as mail.office.lan\naddr 10.0.0.1\n"},
        {"use_name_logs no\nhosts *.lan", "0 line 2 as nodnsquery\naddr 10.0.0.1\n"},
        {"use_name_logs  \nhosts 10.*", "0 line 2 as nodnsquery\n"},
        {"use_name_logs on\nrev_dns *\nhosts 10.*", "0 line 3 as nodnsquery\n"},
        {"hosts ~alice ~\nhosts ''", "0 line 2 as nodnsquery\n"}, // no device knows an identity
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.lines);
        for (const bool prepared : {false, true}) {
            proxy_setup setup(row.lines, prepared);
            const scripted_platform no_device;
            setup.names.names = {{"10.0.0.1", "Mail.Office.LAN"}};
            EXPECT_EQ(outcome_of(setup, row.client), row.want);
        }
    }
}

TEST(PermitSrcAddrChk, ComparesTheIdentityThatTheFirewallKnows)
{
    static const struct {
        const char *lines, *display, *want;
        std::size_t requests = 1;
    } cases[] = {
        {"hosts ~bob ~carl\nhosts ~alice", "~Alice (home)", "0 line 2 as ~Alice (home)\n"},
        {"deny-hosts ~alice", "~A", "2 line 1 as ~A\n"},
        {"hosts ~bob ~alic ~alice2 ~Alice ~*", "~A", "1 line - as unknown\n"},
        {"hosts ~alice", "Alice", "1 line - as unknown\n"}, // no `~`: not known
        {"hosts 10.*\nhosts ~alice", "~A", "0 line 1 as nodnsquery\n", 0},
        {"use_name_logs on\nhosts ~alice", "~A", "0 line 2 as ~A\n"},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.lines);
        for (const bool prepared : {false, true}) {
            const proxy_setup setup(row.lines, prepared);
            scripted_platform device;
            device.vpn_open_error = 0;
            device.on_vpn_ioctl = [&row](byte_area message) {
                std::fill(message.begin(), message.end(), std::uint8_t{0});
                std::copy_n("~alice", 6, message.begin() + 8);
                std::copy_n(row.display, strlen(row.display), message.begin() + 24);
                return 0;
            };
            EXPECT_EQ(outcome_of(setup, "10.1.2.3"), row.want);
            ASSERT_EQ(device.vpn_requests.size(), row.requests);
            if (row.requests == 0)
                continue;
            EXPECT_EQ(at<u32>(device.vpn_requests[0].message, 8), inet_addr("10.1.2.3"));
            EXPECT_EQ(at<u32>(device.vpn_requests[0].message, 12), inet_addr("20.0.0.1"));
        }
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
    for (const int good_requests : {0, 1}) {
        const proxy_setup setup("hosts *");
        scripted_platform device;
        const loopback_connection pair;
        int requests = 0;
        device.on_fw_ioctl = [&](unsigned long, byte_area) {
            errno = requests++ < good_requests ? ENOENT : EIO;
            return -1;
        };
        EXPECT_EQ(permit_src_chk(pair.server), -1);
        EXPECT_EQ(report_log::lines(), good_requests == 0 ? "6509/0 syserr: cannot get peer name\n"
                                                          : "6509/0 syserr: cannot get own name\n");
        EXPECT_EQ(permit_confp, nullptr);
    }
}
